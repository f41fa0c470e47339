#include "core/time/date_value.h"

#include <cmath>
#include <vector>

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
    // A date value is a calendar reading with no zone: its arithmetic is done as UTC, which has
    // no gaps (a local 02:30 on the day clocks spring forward still exists here) and needs no
    // zone lookup.
    return QDateTime(date, QTime(0, 0), Qt::UTC).addSecs(seconds);
}

DateValue fromDateTime(const QDateTime& local) {
    const QTime t = local.time();
    return makeDateValue(local.date().year(), local.date().month(), local.date().day(), t.hour(),
                         t.minute(), t.second());
}

// A date or time pattern taken apart once into fields and literal text, so that a value is
// written with a few number conversions instead of a pattern parse per row. The fields are the
// ones the short date and long time patterns of the locales use; anything else stays literal.
struct Token {
    enum Kind { Text, Day, Month, MonthShort, MonthLong, Year2, Year4, Hour12, Hour24, Minute, Second, AmPm } kind;
    int width = 1;  // 2: zero-padded; AmPm: 1 for upper case
    QString text;   // Text
};

std::vector<Token> compile(const QString& pattern) {
    std::vector<Token> tokens;
    for (qsizetype i = 0; i < pattern.size();) {
        const QChar c = pattern[i];
        qsizetype run = 1;
        while (i + run < pattern.size() && pattern[i + run] == c) ++run;
        const int w = static_cast<int>(run);
        switch (c.unicode()) {
            case 'd': tokens.push_back(w <= 2 ? Token{Token::Day, w, {}} : Token{Token::Text, 0, QString(run, c)}); break;
            case 'M':
                tokens.push_back(w <= 2 ? Token{Token::Month, w, {}} : Token{w == 3 ? Token::MonthShort : Token::MonthLong, 0, {}});
                break;
            case 'y': tokens.push_back(Token{w >= 4 ? Token::Year4 : Token::Year2, w, {}}); break;
            case 'h': tokens.push_back(Token{Token::Hour12, std::min(w, 2), {}}); break;
            case 'H': tokens.push_back(Token{Token::Hour24, std::min(w, 2), {}}); break;
            case 'm': tokens.push_back(Token{Token::Minute, std::min(w, 2), {}}); break;
            case 's': tokens.push_back(Token{Token::Second, std::min(w, 2), {}}); break;
            case 'A':
            case 'a':
                tokens.push_back(Token{Token::AmPm, c == QLatin1Char('A') ? 1 : 0, {}});  // width 1: upper case
                if (i + run < pattern.size() && pattern[i + run].toLower() == QLatin1Char('p')) ++run;
                break;
            case '\'':
                {
                    const qsizetype close = pattern.indexOf(QLatin1Char('\''), i + 1);
                    const qsizetype end = close < 0 ? pattern.size() : close;
                    tokens.push_back(Token{Token::Text, 0, end == i + 1 ? QStringLiteral("'") : pattern.mid(i + 1, end - i - 1)});
                    run = end - i + 1;
                }
                break;
            default: tokens.push_back(Token{Token::Text, 0, QString(run, c)}); break;
        }
        i += run;
    }
    return tokens;
}

void number(QString& out, int value, int width) {
    char digits[12];
    int n = 0;
    unsigned v = static_cast<unsigned>(value < 0 ? -value : value);
    do {
        digits[n++] = static_cast<char>('0' + v % 10);
        v /= 10;
    } while (v);
    if (value < 0) out += QLatin1Char('-');
    for (int pad = n; pad < width; ++pad) out += QLatin1Char('0');
    while (n) out += QLatin1Char(digits[--n]);
}

// The two patterns of a locale, worked out once: conversions run per row.
struct Patterns {
    QLocale locale;
    QString shortDate;
    QString longTime;
    std::vector<Token> date;
    std::vector<Token> time;
    QString am[2], pm[2];  // as the locale writes them, and upper-cased
    QStringList monthsShort, monthsLong;
};

const Patterns& patternsOf(const QLocale& locale) {
    static Patterns cached{QLocale::c(), {}, {}, {}, {}, {}, {}, {}, {}};  // filled on first use
    if (cached.shortDate.isEmpty() || cached.locale != locale) {
        QString date = locale.dateFormat(QLocale::ShortFormat);
        if (!date.contains(QLatin1String("yyyy"))) date.replace(QLatin1String("yy"), "yyyy");
        const QString time = plainSpaces(withoutZone(locale.timeFormat(QLocale::LongFormat)));
        cached = Patterns{locale, date, time, compile(date), compile(time), {locale.amText(), locale.amText().toUpper()},
                          {locale.pmText(), locale.pmText().toUpper()}, {}, {}};
        for (int m = 1; m <= 12; ++m) {
            cached.monthsShort << locale.monthName(m, QLocale::ShortFormat);
            cached.monthsLong << locale.monthName(m, QLocale::LongFormat);
        }
    }
    return cached;
}

void write(QString& out, const std::vector<Token>& tokens, const Patterns& p, const QDate& d, const QTime& t) {
    for (const Token& token : tokens) {
        switch (token.kind) {
            case Token::Text: out += token.text; break;
            case Token::Day: number(out, d.day(), token.width); break;
            case Token::Month: number(out, d.month(), token.width); break;
            case Token::MonthShort: out += p.monthsShort[d.month() - 1]; break;
            case Token::MonthLong: out += p.monthsLong[d.month() - 1]; break;
            case Token::Year2: number(out, d.year() % 100, 2); break;
            case Token::Year4: number(out, d.year(), 4); break;
            case Token::Hour12: number(out, t.hour() % 12 == 0 ? 12 : t.hour() % 12, token.width); break;
            case Token::Hour24: number(out, t.hour(), token.width); break;
            case Token::Minute: number(out, t.minute(), token.width); break;
            case Token::Second: number(out, t.second(), token.width); break;
            case Token::AmPm: out += (t.hour() < 12 ? p.am : p.pm)[token.width]; break;
        }
    }
}

QString shortDateFormat(const QLocale& locale) { return patternsOf(locale).shortDate; }

QString longTimeFormat(const QLocale& locale) { return patternsOf(locale).longTime; }

QString shortDateText(const QDate& date, const QLocale& locale) {
    return plainSpaces(locale.toString(date, shortDateFormat(locale)));
}

QString generalDateText(DateValue value, const QLocale& locale) {
    const QDateTime dt = toDateTime(value);
    const Patterns& patterns = patternsOf(locale);
    QString text;
    text.reserve(24);
    write(text, patterns.date, patterns, dt.date(), dt.time());
    if (dt.time() != QTime(0, 0)) {
        text += QLatin1Char(' ');
        write(text, patterns.time, patterns, dt.date(), dt.time());
    }
    return plainSpaces(text);
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
