#include "core/time/iso_time.h"

#include <QDateTime>
#include <QRegularExpression>
#include <charconv>
#include <limits>

namespace kestrova {
namespace {

constexpr int64_t kMicrosPerSecond = 1'000'000;
constexpr int64_t kMicrosPerDay = 86'400 * kMicrosPerSecond;
// Seconds from 1601-01-01 to 1970-01-01.
constexpr int64_t kEpochDelta1601 = 11'644'473'600;

int64_t floorDiv(int64_t a, int64_t b) {
    const int64_t q = a / b;
    return (a % b != 0 && ((a < 0) != (b < 0))) ? q - 1 : q;
}

char* two(char* to, unsigned value) {
    to[0] = static_cast<char>('0' + value / 10);
    to[1] = static_cast<char>('0' + value % 10);
    return to + 2;
}

// Stored times outside these years are damage, not history: they are kept absent rather than
// written as a year 30828.
constexpr int64_t kFirstMicros = -11'644'473'600 * kMicrosPerSecond;  // 1601-01-01
constexpr int64_t kLastMicros = 253'402'300'799 * kMicrosPerSecond;   // 9999-12-31T23:59:59

std::optional<UtcMicros> inRange(int64_t micros) {
    if (micros < kFirstMicros || micros > kLastMicros) return std::nullopt;
    return micros;
}

}  // namespace

namespace utc {
// A stored 0 is "never" in every one of these formats: such a time is absent.
std::optional<UtcMicros> fromFileTime(uint64_t filetime) {
    if (filetime == 0 || filetime > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) return std::nullopt;
    return inRange(static_cast<int64_t>(filetime / 10) - kEpochDelta1601 * kMicrosPerSecond);
}
std::optional<UtcMicros> fromWebKit(int64_t micros) {
    if (micros <= 0) return std::nullopt;
    return inRange(micros - kEpochDelta1601 * kMicrosPerSecond);
}
std::optional<UtcMicros> fromPrTime(int64_t micros) {
    if (micros == 0) return std::nullopt;
    return inRange(micros);
}
std::optional<UtcMicros> fromUnixSeconds(int64_t seconds) {
    if (seconds == 0 || seconds > kLastMicros / kMicrosPerSecond || seconds < kFirstMicros / kMicrosPerSecond) return std::nullopt;
    return seconds * kMicrosPerSecond;
}
std::optional<UtcMicros> fromUnixMillis(int64_t millis) {
    if (millis == 0 || millis > kLastMicros / 1000 || millis < kFirstMicros / 1000) return std::nullopt;
    return millis * 1000;
}
}  // namespace utc

// Howard Hinnant's days_from_civil / civil_from_days.
CivilDate civilFromDays(int64_t days) {
    days += 719468;
    const int64_t era = floorDiv(days, 146097);
    const auto doe = static_cast<unsigned>(days - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    const unsigned day = doy - (153 * mp + 2) / 5 + 1;
    const unsigned month = mp < 10 ? mp + 3 : mp - 9;
    return {static_cast<int64_t>(yoe) + era * 400 + (month <= 2), month, day};
}

int64_t daysFromCivil(int64_t year, unsigned month, unsigned day) {
    year -= month <= 2;
    const int64_t era = floorDiv(year, 400);
    const auto yoe = static_cast<unsigned>(year - era * 400);
    const unsigned doy = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

IsoTimeWriter::IsoTimeWriter(QTimeZone zone) : utc_(false), zone_(std::move(zone)) {
    if (!zone_.isValid() || zone_ == QTimeZone::utc()) utc_ = true;
}

int IsoTimeWriter::offsetAt(UtcMicros time) const {
    if (utc_) return 0;
    if (cached_ && time >= from_ && time < to_) return offset_;
    const qint64 ms = floorDiv(time, 1000);
    const QDateTime at = QDateTime::fromMSecsSinceEpoch(ms, QTimeZone::utc());
    offset_ = zone_.offsetFromUtc(at);
    // The stretch the offset holds for: from the last transition up to the next one.
    const auto previous = zone_.previousTransition(at.addMSecs(1));
    const auto next = zone_.nextTransition(at);
    from_ = previous.atUtc.isValid() ? previous.atUtc.toMSecsSinceEpoch() * 1000 : std::numeric_limits<int64_t>::min();
    to_ = next.atUtc.isValid() ? next.atUtc.toMSecsSinceEpoch() * 1000 : std::numeric_limits<int64_t>::max();
    if (time < from_ || time >= to_) from_ = to_ = time;  // a zone that answers oddly: no cache
    cached_ = from_ != to_;
    return offset_;
}

char* IsoTimeWriter::write(char* to, UtcMicros time) const {
    const int offset = offsetAt(time);
    const int64_t local = time + static_cast<int64_t>(offset) * kMicrosPerSecond;
    const int64_t days = floorDiv(local, kMicrosPerDay);
    const int64_t inDay = local - days * kMicrosPerDay;
    const CivilDate date = civilFromDays(days);
    if (date.year >= 0 && date.year <= 9999) {
        const auto y = static_cast<unsigned>(date.year);
        to = two(to, y / 100);
        to = two(to, y % 100);
    } else {
        to = std::to_chars(to, to + 24, date.year).ptr;
    }
    *to++ = '-';
    to = two(to, date.month);
    *to++ = '-';
    to = two(to, date.day);
    *to++ = 'T';
    const auto seconds = static_cast<unsigned>(inDay / kMicrosPerSecond);
    to = two(to, seconds / 3600);
    *to++ = ':';
    to = two(to, seconds / 60 % 60);
    *to++ = ':';
    to = two(to, seconds % 60);
    *to++ = '.';
    auto micros = static_cast<unsigned>(inDay % kMicrosPerSecond);
    for (int i = 5; i >= 0; --i) {
        to[i] = static_cast<char>('0' + micros % 10);
        micros /= 10;
    }
    to += 6;
    *to++ = offset < 0 ? '-' : '+';
    const unsigned east = static_cast<unsigned>(offset < 0 ? -offset : offset) / 60;
    to = two(to, east / 60);
    *to++ = ':';
    return two(to, east % 60);
}

QString IsoTimeWriter::text(UtcMicros time) const {
    char buffer[kMaxSize];
    return QString::fromLatin1(buffer, write(buffer, time) - buffer);
}

std::optional<UtcMicros> parseIsoTime(const QString& text, const QTimeZone& zone) {
    static const QRegularExpression pattern(QStringLiteral(
        R"(^(\d{4})-(\d{2})-(\d{2})(?:[T ](\d{2}):(\d{2})(?::(\d{2})(?:\.(\d{1,6}))?)?)?\s*(Z|[+-]\d{2}:?\d{2})?$)"));
    const auto m = pattern.match(text.trimmed());
    if (!m.hasMatch()) return std::nullopt;
    const int year = m.captured(1).toInt(), month = m.captured(2).toInt(), day = m.captured(3).toInt();
    const int hour = m.captured(4).toInt(), minute = m.captured(5).toInt(), second = m.captured(6).toInt();
    if (month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 || second > 60) return std::nullopt;
    QString fraction = m.captured(7);
    const int64_t micros = fraction.isEmpty() ? 0 : fraction.leftJustified(6, QLatin1Char('0')).toLongLong();
    const int64_t local = (daysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day)) * 86400 +
                           hour * 3600 + minute * 60 + second) * kMicrosPerSecond + micros;
    const QString offsetText = m.captured(8);
    if (offsetText == QLatin1String("Z")) return local;
    if (!offsetText.isEmpty()) {
        const QString digits = QString(offsetText).remove(QLatin1Char(':'));
        const int east = (digits.mid(1, 2).toInt() * 60 + digits.mid(3, 2).toInt()) * 60 * (digits[0] == QLatin1Char('-') ? -1 : 1);
        return local - static_cast<int64_t>(east) * kMicrosPerSecond;
    }
    if (!zone.isValid() || zone == QTimeZone::utc()) return local;
    // A local time of the zone: the offset that applies there (the earlier one in a repeated hour).
    const QDateTime dt(QDate(year, month, day), QTime(hour, minute, second), zone);
    if (!dt.isValid()) return local - static_cast<int64_t>(zone.offsetFromUtc(QDateTime::fromMSecsSinceEpoch(local / 1000, QTimeZone::utc()))) * kMicrosPerSecond;
    return dt.toMSecsSinceEpoch() * 1000 + micros;
}

std::optional<UtcMicros> fromCivilTime(int year, int month, int day, int hour, int minute, int second, int millisecond, const QTimeZone& zone) {
    if (year < 1 || year > 9999 || millisecond < 0 || millisecond > 999) return std::nullopt;
    return parseIsoTime(QStringLiteral("%1-%2-%3T%4:%5:%6.%7")
                            .arg(year, 4, 10, QLatin1Char('0'))
                            .arg(month, 2, 10, QLatin1Char('0'))
                            .arg(day, 2, 10, QLatin1Char('0'))
                            .arg(hour, 2, 10, QLatin1Char('0'))
                            .arg(minute, 2, 10, QLatin1Char('0'))
                            .arg(second, 2, 10, QLatin1Char('0'))
                            .arg(millisecond, 3, 10, QLatin1Char('0')),
                        zone);
}

}  // namespace kestrova
