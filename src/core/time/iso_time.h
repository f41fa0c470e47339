// Exact times as the traces layer keeps and writes them. A time is a count of microseconds since
// 1970-01-01 00:00:00 UTC in an int64; the formats Windows and the browsers store are turned into
// it here, once, and it is written as ISO 8601 at the edge, in a chosen zone:
//   2011-06-23T18:00:40.123456+00:00
// The classic categories keep their own calendar walk and local texts (mod_time_stamp); nothing
// here is used by them.
#pragma once

#include <QTimeZone>
#include <cstdint>
#include <optional>

namespace kestrova {

using UtcMicros = int64_t;

namespace utc {
// FILETIME: 100-nanosecond intervals since 1601-01-01 UTC (Windows, Internet Explorer).
std::optional<UtcMicros> fromFileTime(uint64_t filetime);
// WebKit/Chromium time: microseconds since 1601-01-01 UTC.
std::optional<UtcMicros> fromWebKit(int64_t micros);
// PRTime (Firefox): microseconds since 1970-01-01 UTC.
std::optional<UtcMicros> fromPrTime(int64_t micros);
// Unix seconds (old Chromium download times, Firefox cookie expiry).
std::optional<UtcMicros> fromUnixSeconds(int64_t seconds);
// Firefox's milliseconds (form history, some annotations are microseconds, cookie times vary).
std::optional<UtcMicros> fromUnixMillis(int64_t millis);
}  // namespace utc

// Writes times in one zone. Offsets are looked up once per stretch between two of the zone's
// transitions, so writing a million times costs a million digit conversions, not a million zone
// lookups.
class IsoTimeWriter {
public:
    // UTC, the default of every trace output.
    IsoTimeWriter() = default;
    explicit IsoTimeWriter(QTimeZone zone);

    // Writes the text (at most kMaxSize bytes) at `to`; returns where it ends.
    static constexpr int kMaxSize = 40;
    char* write(char* to, UtcMicros time) const;
    QString text(UtcMicros time) const;
    // The offset east of UTC, in seconds, that applies at that time.
    int offsetAt(UtcMicros time) const;

private:
    bool utc_ = true;
    QTimeZone zone_;
    // The stretch [from, to) the cached offset holds for.
    mutable UtcMicros from_ = 0, to_ = 0;
    mutable int offset_ = 0;
    mutable bool cached_ = false;
};

// Year, month, day of a day count since 1970-01-01 (proleptic Gregorian), any count.
struct CivilDate {
    int64_t year;
    unsigned month, day;
};
CivilDate civilFromDays(int64_t days);
int64_t daysFromCivil(int64_t year, unsigned month, unsigned day);

// An ISO 8601 text ("2011-06-23", "2011-06-23T18:00", "…:40.5Z", "…+02:00") as a time; a text
// without an offset is read in the given zone. nullopt when it is none.
std::optional<UtcMicros> parseIsoTime(const QString& text, const QTimeZone& zone);
// A calendar date and time as a clock in `zone` showed it (a SYSTEMTIME, a task file's local
// time); nullopt when it is no such moment.
std::optional<UtcMicros> fromCivilTime(int year, int month, int day, int hour, int minute, int second, int millisecond, const QTimeZone& zone);

}  // namespace kestrova
