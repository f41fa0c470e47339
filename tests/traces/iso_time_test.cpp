// Exact times: the stored formats turned into UTC microseconds, and ISO 8601 texts in a zone,
// across daylight-saving changes and far from 1970.
#include <gtest/gtest.h>

#include "core/time/iso_time.h"

namespace kestrova {
namespace {

TEST(IsoTime, StoredFormatsBecomeTheSameMoment) {
    constexpr int64_t moment = 1308852040123456;  // 2011-06-23T18:00:40.123456Z
    EXPECT_EQ(utc::fromWebKit(moment + 11644473600000000), moment);
    EXPECT_EQ(utc::fromFileTime(static_cast<uint64_t>(moment + 11644473600000000) * 10), moment);
    EXPECT_EQ(utc::fromPrTime(moment), moment);
    EXPECT_EQ(utc::fromUnixSeconds(1308852040), 1308852040000000);
    EXPECT_EQ(utc::fromUnixMillis(1308852040123), 1308852040123000);
    // "Never" and damage are absent, not 1601 or 1970.
    EXPECT_EQ(utc::fromWebKit(0), std::nullopt);
    EXPECT_EQ(utc::fromFileTime(0), std::nullopt);
    EXPECT_EQ(utc::fromFileTime(0xFFFFFFFFFFFFFFFF), std::nullopt);
    EXPECT_EQ(utc::fromPrTime(0), std::nullopt);
    EXPECT_EQ(utc::fromUnixSeconds(INT64_MAX), std::nullopt);
}

TEST(IsoTime, TextsInUtcAndInZonesWithTheirOffsetAtThatMoment) {
    const IsoTimeWriter utcWriter;
    const IsoTimeWriter berlin(QTimeZone("Europe/Berlin"));
    const IsoTimeWriter newYork(QTimeZone("America/New_York"));
    const struct {
        int64_t time;
        const char *utc, *berlin, *newYork;
    } cases[] = {
        {1308852040123456, "2011-06-23T18:00:40.123456+00:00", "2011-06-23T20:00:40.123456+02:00", "2011-06-23T14:00:40.123456-04:00"},
        {1293840000000000, "2011-01-01T00:00:00.000000+00:00", "2011-01-01T01:00:00.000000+01:00", "2010-12-31T19:00:00.000000-05:00"},
        // The last second before Berlin's clocks went forward, and the first after.
        {1301187599999999, "2011-03-27T00:59:59.999999+00:00", "2011-03-27T01:59:59.999999+01:00", "2011-03-26T20:59:59.999999-04:00"},
        {1301187600000000, "2011-03-27T01:00:00.000000+00:00", "2011-03-27T03:00:00.000000+02:00", "2011-03-26T21:00:00.000000-04:00"},
        {-1, "1969-12-31T23:59:59.999999+00:00", "1970-01-01T00:59:59.999999+01:00", "1969-12-31T18:59:59.999999-05:00"},
        {-11644473600000000, "1601-01-01T00:00:00.000000+00:00", nullptr, nullptr},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(utcWriter.text(c.time), QLatin1String(c.utc));
        if (c.berlin) EXPECT_EQ(berlin.text(c.time), QLatin1String(c.berlin));
        if (c.newYork) EXPECT_EQ(newYork.text(c.time), QLatin1String(c.newYork));
    }
    // Times in any order: the cached stretch of one offset never answers for another.
    EXPECT_EQ(berlin.text(1301187600000000), "2011-03-27T03:00:00.000000+02:00");
    EXPECT_EQ(berlin.text(1293840000000000), "2011-01-01T01:00:00.000000+01:00");
}

TEST(IsoTime, TextsReadBackAsTheMomentsTheyName) {
    const QTimeZone berlin("Europe/Berlin");
    EXPECT_EQ(parseIsoTime("2011-06-23T18:00:40.123456+00:00", berlin), 1308852040123456);
    EXPECT_EQ(parseIsoTime("2011-06-23T18:00:40.5Z", berlin), 1308852040500000);
    EXPECT_EQ(parseIsoTime("2011-06-23 20:00:40", berlin), 1308852040000000);
    EXPECT_EQ(parseIsoTime("2011-06-23", QTimeZone::utc()), 1308787200000000);
    EXPECT_EQ(parseIsoTime("2011-06-23T14:00-0400", berlin), 1308852000000000);
    EXPECT_EQ(parseIsoTime("2011-13-01", berlin), std::nullopt);
    EXPECT_EQ(parseIsoTime("yesterday", berlin), std::nullopt);
}

}  // namespace
}  // namespace kestrova
