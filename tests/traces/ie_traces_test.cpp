// Internet Explorer's kinds: the real history container with every record's own times, the
// content cache index, and cookie text files (a damaged record does not take the next one along).
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "support/temp_volume.h"
#include "support/trace_collector.h"
#include "traces/ie/ie_sources.h"

namespace kestrova {
namespace {

TEST(IeTraces, EveryRecordOfTheRealHistoryAndCacheIndexesWithTheirTimes) {
    REALDATA_OR_SKIP(history, "History.IE5-index.dat");
    REALDATA_OR_SKIP(content, "Content.IE5-index.dat");
    test::TempVolume volume;
    volume.copy(history, "Users/alice/AppData/Local/Microsoft/Windows/History/History.IE5/index.dat");
    volume.copy(history, "Users/alice/AppData/Local/Microsoft/Windows/History/History.IE5/MSHist012011062020110627/index.dat");
    volume.copy(content, "Users/alice/AppData/Local/Microsoft/Windows/Temporary Internet Files/Content.IE5/index.dat");
    const auto system = volume.open();
    QTemporaryDir temp;
    const test::TraceCollector got = test::readTraces(*system, {"ie.history", "ie.cache"}, temp.path());
    const auto records = got.of("ie.history");
    ASSERT_EQ(records.size() % 2, 0u);
    const size_t perContainer = records.size() / 2;
    EXPECT_GE(perContainer, 15u);
    const test::TraceRecord& first = records[0];
    EXPECT_EQ(first["container"], "History.IE5");
    EXPECT_EQ(first["user"], "alice");
    EXPECT_FALSE(first["url"].startsWith("Visited:"));
    EXPECT_TRUE(first["last_visited"].endsWith("+00:00"));
    // In a daily or weekly container the second time is local time: it is not given as exact.
    const test::TraceRecord& daily = records[perContainer];
    EXPECT_EQ(daily["container"], "MSHist012011062020110627");
    EXPECT_FALSE(daily.fields.contains("last_updated"));
    EXPECT_TRUE(first.fields.contains("last_updated"));
    bool visitor = false;
    for (const auto& r : records) visitor |= r["visited_as"] == "gold_administrator";
    EXPECT_TRUE(visitor);
    EXPECT_EQ(got.of("ie.cache").size(), 21u);  // its URL records; the 14 REDR records hold no times
}

TEST(IeTraces, CookieFilesRecordByRecordAndADamagedRecordSkipped) {
    const QByteArray file = "id\nabc\nie.example/\n0\n2916341504\n31233235\n1455141504\n31111111\n*\n"
                            "broken\nonly\n*\n"
                            "token\nxyz\nie.example/account/\n8193\n2916341504\n31233235\n1455141504\n31111111\n*\n";
    const auto cookies = parseCookieFile(file);
    ASSERT_EQ(cookies.size(), 2u);
    EXPECT_EQ(cookies[1].name, "token");
    EXPECT_EQ(cookies[1].path, "/account/");
    EXPECT_EQ(cookies[1].flags, 8193u);
    ASSERT_TRUE(cookies[0].expires);
    EXPECT_EQ(IsoTimeWriter().text(*cookies[0].expires), "2026-02-03T06:09:38.962406+00:00");
    EXPECT_TRUE(parseCookieFile("").empty());
    EXPECT_TRUE(parseCookieFile("a\nb\n*\n").empty());
}

}  // namespace
}  // namespace kestrova

namespace kestrova {
namespace {

// A WebCacheV01.dat libesedb cannot read is said to be so, and the index.dat records beside it
// are still read: the database is parsed in a contained child, whatever its bytes.
TEST(IeTraces, AWebCacheDatabaseThatIsNoneIsAFindingAndTheOtherSourcesStay) {
    REALDATA_OR_SKIP(history, "History.IE5-index.dat");
    test::TempVolume volume;
    volume.copy(history, "Users/alice/AppData/Local/Microsoft/Windows/History/History.IE5/index.dat");
    QByteArray junk(64 * 1024, '\0');
    for (qsizetype i = 0; i < junk.size(); ++i) junk[i] = static_cast<char>((i * 2654435761u) >> 13);
    junk.replace(4, 4, QByteArray::fromHex("efcdab89"));  // ESE's signature, over bytes that are not a header
    volume.file("Users/alice/AppData/Local/Microsoft/Windows/WebCache/WebCacheV01.dat", junk);
    const auto system = volume.open();
    QTemporaryDir temp;
    test::TraceCollector got;
    TraceContext context(*system, temp.path());
    runTraceKind(*findTraceKind("ie.history"), context, got);
    EXPECT_GE(got.records.size(), 15u);
    bool said = false;
    for (const Finding& f : system->findings().all()) said |= f.what.contains("WebCacheV01.dat") && f.kind == FindingKind::Damaged;
    EXPECT_TRUE(said);
}

}  // namespace
}  // namespace kestrova
