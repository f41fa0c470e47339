// The clock conversions with their kept quirks, at pinned clocks: table-driven.
#include <QRandomGenerator>
#include <array>
#include <cmath>
#include <iomanip>
#include <gtest/gtest.h>

#include "core/common/runtime_error.h"
#include "core/time/mod_covert.h"
#include "core/time/mod_time_stamp.h"

namespace kestrova {
namespace {

CalendarRecord at(int day, int hour, int minute, int month = 1, int year = 2020) {
    return CalendarRecord{year, month, 0, day, hour, minute, 0, 0};
}

// A clock whose local time is UTC + hours.
FixedClock offsetClock(double hours) {
    const QDateTime utc(QDate(2020, 6, 15), QTime(12, 0), Qt::UTC);
    const QDateTime local = utc.addSecs(static_cast<qint64>(hours * 3600));
    return FixedClock(at(local.date().day(), local.time().hour(), local.time().minute(), 6),
                      at(15, 12, 0, 6));
}

QString text(DateValue v) { return toDateTime(v).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")); }

TEST(LocalTimeOffsetHours, ComparesDayOfMonthOnlyAndBorrowsForMinutes) {
    struct Case { CalendarRecord local, utc; float hours; };
    const Case cases[] = {
        {at(15, 10, 15), at(15, 4, 45), 5.5f},
        {at(14, 23, 0), at(15, 4, 30), -5.5f},
        {at(15, 12, 0), at(15, 12, 0), 0.0f},
        {at(1, 1, 0, 2), at(31, 23, 0, 1), -46.0f},  // month boundary: 48 hours off, kept
        {at(15, 18, 15), at(15, 12, 30), 5.75f},
    };
    for (const Case& c : cases) {
        FixedClock clock(c.local, c.utc);
        EXPECT_FLOAT_EQ(ModTimeStamp(clock).LocalTimeOffsetHours(), c.hours);
    }
}

TEST(IsLeapYear, FollowsTheGregorianRule) {
    EXPECT_TRUE(ModTimeStamp::IsLeapYear(1972));
    EXPECT_FALSE(ModTimeStamp::IsLeapYear(1970));
    EXPECT_FALSE(ModTimeStamp::IsLeapYear(1900));
    EXPECT_TRUE(ModTimeStamp::IsLeapYear(2000));
}

TEST(WrapDifference, BringsTheDifferenceIntoRange) {
    EXPECT_EQ(ModTimeStamp::WrapDifference(45, 15, 60), 30);
    EXPECT_EQ(ModTimeStamp::WrapDifference(15, 45, 60), 30);
    EXPECT_EQ(ModTimeStamp::WrapDifference(20, 20, 60), 0);
}

TEST(UnixSecondsToLocalDate, WalksTheCalendarWithItsKeptQuirks) {
    struct Case { double offset; double seconds; const char* expected; };
    const Case cases[] = {
        {0, 0, "1970-01-01 00:00:00"},
        {0, 94651200, "1972-01-01 12:00:00"},     // 31 Dec 1972 (leap) becomes 1 Jan 1972
        {2, 31528800, "1971-01-01 00:00:00"},
        {-5, 0, "1970-12-31 19:00:00"},           // 1969 after the offset lands in 1970
        {0, 951782400, "2000-02-29 00:00:00"},
        {0, 1262304000.75, "2010-01-01 00:00:00"}, // fractions are dropped, never rounded up
        {0, 1300000000, "2011-03-13 07:06:40"},
        {5.5, 1300000000, "2011-03-13 12:36:40"},
    };
    for (const Case& c : cases) {
        const FixedClock clock = offsetClock(c.offset);
        EXPECT_EQ(text(ModTimeStamp(clock).UnixSecondsToLocalDate(c.seconds)), c.expected)
            << c.seconds << " at offset " << c.offset;
    }
}

TEST(WebKitMicrosecondsToLocalDate, StartsTheWalkIn1601) {
    const FixedClock clock = offsetClock(0);
    const ModTimeStamp stamps(clock);
    EXPECT_EQ(text(stamps.WebKitMicrosecondsToLocalDate(11644473600000000.0)), "1970-01-01 00:00:00");
    EXPECT_EQ(text(stamps.WebKitMicrosecondsToLocalDate(12940000000999000.0)), "2011-01-20 12:26:40");
    EXPECT_EQ(text(stamps.WebKitMicrosecondsToLocalDate(0)), "1601-01-01 00:00:00");
}

TEST(LocalTimeOffsetHours, IsMeasuredAgainWhenTheClockMovesOnASecond) {
    // A clock that crosses into another zone offset (the clocks going forward): the offset kept
    // for one second must not outlive it, and a clock that cannot tell its second is read anew.
    struct MovingClock : Clock {
        CalendarRecord local = at(15, 1, 59), utc = at(15, 0, 59);
        std::optional<int64_t> second = 100;
        CalendarRecord localNow() const override { return local; }
        CalendarRecord utcNow() const override { return utc; }
        std::optional<int64_t> secondNow() const override { return second; }
        int64_t currentUtcOffsetSeconds() const override { return 0; }
    } clock;
    const ModTimeStamp stamps(clock);
    EXPECT_FLOAT_EQ(stamps.LocalTimeOffsetHours(), 1.0f);
    clock.local = at(15, 3, 0);
    clock.utc = at(15, 1, 0);
    EXPECT_FLOAT_EQ(stamps.LocalTimeOffsetHours(), 1.0f);  // still the same second
    clock.second = 101;
    EXPECT_FLOAT_EQ(stamps.LocalTimeOffsetHours(), 2.0f);
    clock.second = std::nullopt;
    clock.local = at(15, 4, 0);
    EXPECT_FLOAT_EQ(stamps.LocalTimeOffsetHours(), 3.0f);
}

TEST(UnixSecondsToLocalDate, YearOverflowIsARuntimeError) {
    const FixedClock clock = offsetClock(0);
    EXPECT_THROW(ModTimeStamp(clock).UnixSecondsToLocalDate(1e15), RuntimeError);
    EXPECT_THROW(ModTimeStamp(clock).UnixSecondsToLocalDate(std::nan("")), RuntimeError);
}

TEST(PRTimeToText, GivesTheGeneralDateOrNothing) {
    const FixedClock clock = offsetClock(-5);
    const ModTimeStamp stamps(clock);
    const ModCovert covert(stamps);
    EXPECT_EQ(covert.PRTimeToText(QStringLiteral("0")), "");
    EXPECT_EQ(covert.PRTimeToText(QString()), "");
    EXPECT_EQ(covert.PRTimeToText(QStringLiteral("abc")), "");
    EXPECT_EQ(covert.PRTimeToText(QStringLiteral("1")), "12/31/1970 7:00:00 PM");
    // Midnight shows the date alone.
    EXPECT_EQ(covert.PRTimeToText(QStringLiteral("18000000000")), "1/1/1970");
    EXPECT_EQ(covert.PRTimeToText(QStringLiteral("1300000000123456")), "3/13/2011 2:06:40 AM");
}

TEST(LeadingNumber, ReadsTheNumberATextBeginsWith) {
    const std::pair<const char*, double> cases[] = {
        {"1300000000123456", 1300000000123456.0}, {"  42abc", 42}, {"+7", 7}, {"-2.5", -2.5}, {".5", 0.5},
        {"5.", 5}, {"1e3x", 1000}, {"1E+2", 100}, {"2e", 2}, {"2e-", 2}, {"1.2.3", 1.2}, {"abc", 0}, {"", 0},
        {"-", 0}, {"+", 0}, {".", 0}, {"--1", 0}, {"1e999", 0}, {"0x1A", 0},
        // More digits than a short buffer holds still read whole.
        {"0000000000000000000000000000000000000000000000000000000000000000000000000012", 12},
    };
    for (const auto& [text, value] : cases) EXPECT_DOUBLE_EQ(leadingNumber(QString::fromLatin1(text)), value) << text;
}

TEST(SystemLocaleClass, SortsLocalesIntoThreeClasses) {
    EXPECT_EQ(ModCovert::SystemLocaleClass(1041), "jan");
    for (uint32_t id : {2052u, 1028u, 1042u, 2066u, 3076u, 4100u}) {
        EXPECT_EQ(ModCovert::SystemLocaleClass(id), "asia") << id;
    }
    EXPECT_EQ(ModCovert::SystemLocaleClass(1033), "en");
    EXPECT_EQ(ModCovert::SystemLocaleClass(0), "en");
}

TEST(TrimAtNull, CutsAtTheFirstNul) {
    EXPECT_EQ(ModTimeStamp::TrimAtNull(QString("abc") + QChar(0) + "def"), "abc");
    EXPECT_EQ(ModTimeStamp::TrimAtNull(QStringLiteral("abc")), "abc");
}

TEST(FileTimeToLocalDate, ShiftsTheStoredTimeOnEveryRead) {
    const FixedClock clock = offsetClock(2);
    FileTime stored{};
    const uint64_t ticks = 116444736000000000ULL + 10000000ULL * 1300000000ULL + 9999999ULL;
    stored.low = static_cast<uint32_t>(ticks);
    stored.high = static_cast<uint32_t>(ticks >> 32);
    EXPECT_EQ(text(FileTimeToLocalDate(stored, clock)), "2011-03-13 09:06:40");
    EXPECT_EQ(text(FileTimeToLocalDate(stored, clock)), "2011-03-13 11:06:40");
}

TEST(GeneralDateText, UsesShortDateAndLongTimeOfTheLocale) {
    EXPECT_EQ(generalDateText(makeDateValue(1970, 1, 1, 19, 0, 0)), "1/1/1970 7:00:00 PM");
    EXPECT_EQ(generalDateText(makeDateValue(1970, 1, 1, 0, 0, 0)), "1/1/1970");
    EXPECT_EQ(generalDateText(makeDateValue(1601, 1, 1, 6, 30, 0)), "1/1/1601 6:30:00 AM");
    EXPECT_EQ(parseDateText(QStringLiteral("11/21/2026")), QDate(2026, 11, 21));
    EXPECT_FALSE(parseDateText(QStringLiteral("not a date")).isValid());
}

TEST(GeneralDateText, WritesWhatTheLocalesOwnFormattingWritesForEveryKindOfValue) {
    // Held against Qt's own formatting of the same patterns; the values run through one day
    // several times, jump between days and back (the per-day memory of the date part), cross
    // midnight by rounding, and lie before the epoch.
    const double values[] = {46000.25, 46000.75, 46001.25, 46000.5, 46000.0, 46000.999999999, 1.5, 0.0,
                             -1.25, -700000.5, 2958465.99998843, 46000.25};
    for (const char* name : {"C", "en_US", "en_GB", "de_DE", "fr_FR", "ja_JP"}) {
        const QLocale locale((QString::fromLatin1(name)));
        for (const double ole : values) {
            const QDateTime dt = toDateTime(DateValue{ole});
            QString expected = locale.toString(dt.date(), shortDateFormat(locale));
            if (dt.time() != QTime(0, 0)) expected += ' ' + locale.toString(dt.time(), longTimeFormat(locale));
            expected.replace(QChar(0x202F), ' ').replace(QChar(0x00A0), ' ');
            EXPECT_EQ(generalDateText(DateValue{ole}, locale), expected) << name << " " << ole;
        }
    }
}

TEST(ParseDateText, ReadsEveryUnambiguousFormWhateverTheLocale) {
    const QDate day(2026, 11, 21);
    const char* const texts[] = {"2026-11-21", "21 Nov 2026", "21 November 2026", "Nov 21, 2026", "11/21/2026",
                                 "21.11.2026", "2026/11/21", "21-Nov-2026", " 21 nov 2026 "};
    for (const char* name : {"C", "en_US", "en_GB", "de_DE", "fr_FR", "ja_JP"}) {
        const QLocale locale(QString::fromLatin1(name));
        for (const char* text : texts) EXPECT_EQ(parseDateText(text, locale), day) << name << ": " << text;
        // Every locale's short date reads anywhere; long dates with English month names too, and
        // each locale reads its own long form.
        for (const char* writer : {"C", "en_US", "en_GB", "de_DE", "fr_FR", "ja_JP"}) {
            const QLocale written((QString::fromLatin1(writer)));
            EXPECT_EQ(parseDateText(shortDateText(day, written), locale), day) << writer << " read as " << name;
            if (written.language() == QLocale::English || written == locale) {
                const QString longText = written.toString(day, QLocale::LongFormat);
                EXPECT_EQ(parseDateText(longText, locale), day) << longText.toStdString() << " read as " << name;
            }
        }
    }
    EXPECT_EQ(parseDateText("21 novembre 2026", QLocale("fr_FR")), day);
    EXPECT_EQ(parseDateText("21. November 2026", QLocale("de_DE")), day);
}

TEST(ParseDateText, AmbiguousDatesFollowTheLocaleAndTwoDigitYearsPivotAt30) {
    EXPECT_EQ(parseDateText("03/04/2026", QLocale("en_US")), QDate(2026, 3, 4));
    EXPECT_EQ(parseDateText("03/04/2026", QLocale("en_GB")), QDate(2026, 4, 3));
    EXPECT_EQ(parseDateText("11/21/29", QLocale("en_US")), QDate(2029, 11, 21));
    EXPECT_EQ(parseDateText("11/21/30", QLocale("en_US")), QDate(1930, 11, 21));
    EXPECT_EQ(parseDateText("21.11.05", QLocale("de_DE")), QDate(2005, 11, 21));
    for (const char* bad : {"", "unknown value", "yesterday", "2026-13-40", "31/31/2026"}) {
        EXPECT_FALSE(parseDateText(bad, QLocale("en_GB")).isValid()) << bad;
    }
}

TEST(CalendarWalk, TheTableOfYearStartsStopsWhereTheYearByYearWalkStops) {
    QRandomGenerator rng(1601);
    int compared = 0;
    for (int i = 0; i < 1000000; ++i) {
        const int start = i % 2 ? 1970 : 1601;
        // Whole and fractional seconds, and the edges of years (a leap year's last day).
        double s = rng.bounded(40000000000.0);
        if (i % 5 == 0) s = std::floor(s);
        if (i % 7 == 0) {
            double probe = 0;
            int year = start;
            for (int k = 0; k < rng.bounded(300); ++k, ++year) probe += ModTimeStamp::IsLeapYear(static_cast<int16_t>(year)) ? 31622400.0 : 31536000.0;
            s = probe + std::array{-86400.0, -1.0, 0.0, 0.5, 31535999.0, 31536000.0, 31622399.0}[static_cast<size_t>(rng.bounded(7))];
            if (s < 0) continue;
        }
        double a = s, b = s;
        int yearA = start, yearB = start;
        ModTimeStamp::walkForward(a, yearA);
        if (!ModTimeStamp::walkForwardByTable(b, yearB)) continue;
        ASSERT_EQ(yearA, yearB) << std::setprecision(17) << s << " from " << start;
        ASSERT_EQ(a, b) << std::setprecision(17) << s << " from " << start;
        ++compared;
    }
    EXPECT_GT(compared, 900000);
}

}  // namespace
}  // namespace kestrova
