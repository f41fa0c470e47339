// DateValue: a local calendar date-time as an automation date (days since 1899-12-30, the time
// of day as the fraction, whole seconds), and its text in the locale's general date form.
#pragma once

#include <QDateTime>
#include <QLocale>
#include <QString>
#include <optional>

namespace kestrova {

struct DateValue {
    double ole = 0.0;
    bool operator==(const DateValue&) const = default;
};

// Builds a date the way a date serial does: a day beyond the month's end rolls into the next
// month. Times are whole seconds.
DateValue makeDateValue(int year, int month, int day, int hour, int minute, int second);
QDateTime toDateTime(DateValue value);
DateValue fromDateTime(const QDateTime& local);

// The locale's short date, as Windows shows it (four-digit year).
QString shortDateFormat(const QLocale& locale = QLocale());
// The locale's long time without a zone name.
QString longTimeFormat(const QLocale& locale = QLocale());
// Short date, a blank and the long time; the date alone when the time is exactly 00:00:00.
QString generalDateText(DateValue value, const QLocale& locale = QLocale());
QString shortDateText(const QDate& date, const QLocale& locale = QLocale());
// Reads a date text as a desktop program's date conversion does: the locale's own short and long
// forms first (so an ambiguous text means what it means here), then any form that is unambiguous
// whatever locale wrote it: ISO yyyy-MM-dd, day month year with an English or local month name,
// the US form, day.month.year. Two-digit years 00-29 are 2000s, 30-99 1900s. An invalid QDate
// when the text is no date at all.
QDate parseDateText(const QString& text, const QLocale& locale = QLocale());
// A text generalDateText wrote, read back as seconds on a running count (what sorting by time
// needs: earlier is smaller); nullopt for any other text ("", "error440", a URL).
std::optional<qint64> generalDateSeconds(QStringView text, const QLocale& locale = QLocale());

}  // namespace kestrova
