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

QDate parseShortDate(const QString& text, const QLocale& locale) {
    const QString trimmed = text.trimmed();
    QDate date = locale.toDate(trimmed, shortDateFormat(locale));
    if (!date.isValid()) date = locale.toDate(trimmed, locale.dateFormat(QLocale::ShortFormat));
    // A file written under another locale still reads: the US form and ISO dates are accepted.
    if (!date.isValid()) date = QLocale(QLocale::English, QLocale::UnitedStates).toDate(trimmed, QStringLiteral("M/d/yyyy"));
    if (!date.isValid()) date = QDate::fromString(trimmed, Qt::ISODate);
    return date;
}

}  // namespace kestrova
