#include "core/time/date_value.h"

#include <cmath>

namespace kestrova {
namespace {

const QDate kOleEpoch(1899, 12, 30);

QString withoutZone(QString format) {
    // Windows' long time has no zone; drop Qt's "t" token and the blank before it.
    format.remove(QLatin1String(" t"));
    format.remove(QLatin1Char('t'));
    return format.trimmed();
}

QString plainSpaces(QString text) {
    // Newer locale data puts a narrow no-break space before AM/PM; Windows writes a blank.
    text.replace(QChar(0x202F), QLatin1Char(' '));
    text.replace(QChar(0x00A0), QLatin1Char(' '));
    return text;
}

}  // namespace

DateValue makeDateValue(int year, int month, int day, int hour, int minute, int second) {
    const QDate first(year, month, 1);
    const QDate date = first.addDays(day - 1);
    const double days = static_cast<double>(kOleEpoch.daysTo(date));
    const double fraction = (hour * 3600 + minute * 60 + second) / 86400.0;
    // Before the epoch the integer part counts days back and the fraction still runs forward.
    return DateValue{days >= 0 ? days + fraction : days - fraction};
}

QDateTime toDateTime(DateValue value) {
    const double days = std::trunc(value.ole);
    const double fraction = std::fabs(value.ole - days);
    const qint64 seconds = std::llround(fraction * 86400.0);
    const QDate date = kOleEpoch.addDays(static_cast<qint64>(days));
    return QDateTime(date, QTime(0, 0)).addSecs(seconds);
}

DateValue fromDateTime(const QDateTime& local) {
    const QTime t = local.time();
    return makeDateValue(local.date().year(), local.date().month(), local.date().day(), t.hour(),
                         t.minute(), t.second());
}

QString shortDateFormat(const QLocale& locale) {
    QString format = locale.dateFormat(QLocale::ShortFormat);
    if (!format.contains(QLatin1String("yyyy"))) format.replace(QLatin1String("yy"), "yyyy");
    return format;
}

QString longTimeFormat(const QLocale& locale) {
    return plainSpaces(withoutZone(locale.timeFormat(QLocale::LongFormat)));
}

QString shortDateText(const QDate& date, const QLocale& locale) {
    return plainSpaces(locale.toString(date, shortDateFormat(locale)));
}

QString generalDateText(DateValue value, const QLocale& locale) {
    const QDateTime dt = toDateTime(value);
    const QString date = shortDateText(dt.date(), locale);
    if (dt.time() == QTime(0, 0)) return date;
    return date + QLatin1Char(' ') + plainSpaces(locale.toString(dt.time(), longTimeFormat(locale)));
}

QDate parseDateText(const QString& text, const QLocale& locale) {
    const QString trimmed = plainSpaces(text).trimmed();
    if (trimmed.isEmpty()) return {};
    const QLocale english(QLocale::English, QLocale::UnitedStates);
    // The local forms first, so that an ambiguous text (03/04/2026) means what it means here;
    // then every form that is unambiguous whatever locale wrote it.
    const std::pair<QLocale, QString> forms[] = {
        {locale, locale.dateFormat(QLocale::ShortFormat)},
        {locale, shortDateFormat(locale)},
        {locale, locale.dateFormat(QLocale::LongFormat)},
        {locale, locale.dateFormat(QLocale::NarrowFormat)},
        {english, QStringLiteral("yyyy-M-d")},
        {english, QStringLiteral("yyyy/M/d")},
        {locale, QStringLiteral("d MMM yyyy")},
        {locale, QStringLiteral("d MMMM yyyy")},
        {locale, QStringLiteral("d. MMMM yyyy")},
        {english, QStringLiteral("d MMM yyyy")},
        {english, QStringLiteral("d MMMM yyyy")},
        {english, QStringLiteral("d-MMM-yyyy")},
        {english, QStringLiteral("MMM d, yyyy")},
        {english, QStringLiteral("MMMM d, yyyy")},
        {english, QStringLiteral("dddd, MMMM d, yyyy")},
        {english, QStringLiteral("dddd, d MMMM yyyy")},
        {english, QStringLiteral("M/d/yyyy")},
        {english, QStringLiteral("d/M/yyyy")},
        {english, QStringLiteral("d.M.yyyy")},
        {english, QStringLiteral("d-M-yyyy")},
        {english, QStringLiteral("M/d/yy")},
        {english, QStringLiteral("d/M/yy")},
        {english, QStringLiteral("d.M.yy")},
    };
    for (const auto& [in, format] : forms) {
        QDate date = in.toDate(trimmed, format);
        if (!date.isValid()) continue;
        // A two-digit year means 2000-2029 for 00-29 and 1930-1999 for 30-99, as Windows reads it.
        if (!format.contains(QLatin1String("yyyy")) && date.year() < 1930) date = date.addYears(100);
        return date;
    }
    return {};
}

}  // namespace kestrova
