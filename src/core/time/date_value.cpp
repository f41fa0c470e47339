#include "core/time/date_value.h"

#include <algorithm>
#include <cmath>
#include <limits>
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

// The text of one date or time value is built in a buffer on the stack and turned into a QString
// once: a history reader writes a million of them.
class TextBuffer {
public:
    void append(char16_t c) {
        if (size_ < kCapacity) data_[size_] = c;
        ++size_;
    }
    void append(const QString& text) {
        for (const QChar c : text) append(c.unicode());
    }
    void number(int value, int width) {
        char16_t digits[12];
        int n = 0;
        unsigned v = static_cast<unsigned>(value < 0 ? -value : value);
        do {
            digits[n++] = static_cast<char16_t>(u'0' + v % 10);
            v /= 10;
        } while (v);
        if (value < 0) append(u'-');
        for (int pad = n; pad < width; ++pad) append(u'0');
        while (n) append(digits[--n]);
    }
    // False when the text did not fit (a locale with very long month names): then the caller
    // writes it again into a QString.
    bool fits() const { return size_ <= kCapacity; }
    QStringView view() const { return QStringView(data_, std::min(size_, kCapacity)); }

private:
    static constexpr qsizetype kCapacity = 128;
    char16_t data_[kCapacity];
    qsizetype size_ = 0;
};

// The two patterns of a locale, worked out once: conversions run per row. Every piece of text
// the patterns write (literal text, month names, AM/PM) has its no-break spaces made plain here,
// so the written text needs no second pass.
struct Patterns {
    QLocale locale;
    QString shortDate;
    QString longTime;
    std::vector<Token> date;
    std::vector<Token> time;
    QString am[2], pm[2];  // as the locale writes them, and upper-cased
    QStringList monthsShort, monthsLong;
    bool dateNeedsTime = false;  // a date pattern with time fields cannot be kept per day
    bool timeNeedsDate = false;  // a time pattern with date fields (no locale has one)
    // The date part of the last day written, which the next row most often shares.
    qint64 cachedDay = std::numeric_limits<qint64>::min();
    QString cachedDate;
};

bool timeField(const Token& token) {
    switch (token.kind) {
        case Token::Hour12: case Token::Hour24: case Token::Minute: case Token::Second: case Token::AmPm: return true;
        default: return false;
    }
}

Patterns& patternsOf(const QLocale& locale) {
    // One per thread, as the remembered day is written on every use.
    static thread_local Patterns cached{QLocale::c(), {}, {}, {}, {}, {}, {}, {}, {}, false, false, 0, {}};  // filled on first use
    if (cached.shortDate.isEmpty() || cached.locale != locale) {
        QString date = locale.dateFormat(QLocale::ShortFormat);
        if (!date.contains(QLatin1String("yyyy"))) date.replace(QLatin1String("yy"), "yyyy");
        const QString time = plainSpaces(withoutZone(locale.timeFormat(QLocale::LongFormat)));
        cached = Patterns{locale, date, time, compile(date), compile(time),
                          {plainSpaces(locale.amText()), plainSpaces(locale.amText().toUpper())},
                          {plainSpaces(locale.pmText()), plainSpaces(locale.pmText().toUpper())}, {}, {}, false, false,
                          std::numeric_limits<qint64>::min(), {}};
        for (std::vector<Token>* tokens : {&cached.date, &cached.time}) {
            for (Token& token : *tokens) token.text = plainSpaces(token.text);
        }
        for (int m = 1; m <= 12; ++m) {
            cached.monthsShort << plainSpaces(locale.monthName(m, QLocale::ShortFormat));
            cached.monthsLong << plainSpaces(locale.monthName(m, QLocale::LongFormat));
        }
        cached.dateNeedsTime = std::any_of(cached.date.begin(), cached.date.end(), timeField);
        cached.timeNeedsDate = std::any_of(cached.time.begin(), cached.time.end(),
                                           [](const Token& token) { return token.kind != Token::Text && !timeField(token); });
    }
    return cached;
}

template <typename Out>
void write(Out& out, const std::vector<Token>& tokens, const Patterns& p, const QDate& d, int hour, int minute, int second) {
    for (const Token& token : tokens) {
        switch (token.kind) {
            case Token::Text: out.append(token.text); break;
            case Token::Day: out.number(d.day(), token.width); break;
            case Token::Month: out.number(d.month(), token.width); break;
            case Token::MonthShort: out.append(p.monthsShort[d.month() - 1]); break;
            case Token::MonthLong: out.append(p.monthsLong[d.month() - 1]); break;
            case Token::Year2: out.number(d.year() % 100, 2); break;
            case Token::Year4: out.number(d.year(), 4); break;
            case Token::Hour12: out.number(hour % 12 == 0 ? 12 : hour % 12, token.width); break;
            case Token::Hour24: out.number(hour, token.width); break;
            case Token::Minute: out.number(minute, token.width); break;
            case Token::Second: out.number(second, token.width); break;
            case Token::AmPm: out.append((hour < 12 ? p.am : p.pm)[token.width]); break;
        }
    }
}

// The QString twin of TextBuffer, for a text too long for the buffer.
struct StringOut {
    QString text;
    void append(char16_t c) { text.append(QChar(c)); }
    void append(const QString& piece) { text.append(piece); }
    void number(int value, int width) {
        TextBuffer digits;
        digits.number(value, width);
        text.append(digits.view());
    }
};

template <typename Out>
void writeGeneral(Out& out, const Patterns& p, const QDate& d, int hour, int minute, int second) {
    write(out, p.date, p, d, hour, minute, second);
    if (hour != 0 || minute != 0 || second != 0) {
        out.append(u' ');
        write(out, p.time, p, d, hour, minute, second);
    }
}

QString shortDateFormat(const QLocale& locale) { return patternsOf(locale).shortDate; }

QString longTimeFormat(const QLocale& locale) { return patternsOf(locale).longTime; }

QString shortDateText(const QDate& date, const QLocale& locale) {
    return plainSpaces(locale.toString(date, shortDateFormat(locale)));
}

QString generalDateText(DateValue value, const QLocale& locale) {
    Patterns& patterns = patternsOf(locale);
    const double days = std::trunc(value.ole);
    if (!std::isfinite(value.ole) || std::fabs(days) > 1e8) {
        // Far outside any calendar the readers produce: through QDateTime, whatever it makes of it.
        const QDateTime dt = toDateTime(value);
        StringOut out;
        writeGeneral(out, patterns, dt.date(), dt.time().hour(), dt.time().minute(), dt.time().second());
        return out.text;
    }
    // As toDateTime reads it: whole days from the epoch, then the fraction's seconds counted
    // forward from midnight (a fraction that rounds to a whole day is the next midnight).
    qint64 day = static_cast<qint64>(days);
    qint64 seconds = std::llround(std::fabs(value.ole - days) * 86400.0);
    day += seconds / 86400;
    seconds %= 86400;
    const int hour = static_cast<int>(seconds / 3600), minute = static_cast<int>(seconds / 60 % 60),
              second = static_cast<int>(seconds % 60);
    // The calendar date only where something is written from it: most rows share the last one's.
    QDate date;
    const auto dateOf = [&] {
        if (!date.isValid()) date = kOleEpoch.addDays(day);
        return date;
    };
    TextBuffer out;
    if (patterns.dateNeedsTime) {
        write(out, patterns.date, patterns, dateOf(), hour, minute, second);
    } else {
        if (day != patterns.cachedDay) {
            TextBuffer dateText;
            write(dateText, patterns.date, patterns, dateOf(), 0, 0, 0);
            if (dateText.fits()) {
                patterns.cachedDay = day;
                patterns.cachedDate = dateText.view().toString();
            }
        }
        if (day == patterns.cachedDay) {
            out.append(patterns.cachedDate);
        } else {
            write(out, patterns.date, patterns, dateOf(), hour, minute, second);
        }
    }
    if (hour != 0 || minute != 0 || second != 0) {
        out.append(u' ');
        write(out, patterns.time, patterns, patterns.timeNeedsDate ? dateOf() : QDate(), hour, minute, second);
    }
    if (out.fits()) return out.view().toString();
    StringOut longText;
    writeGeneral(longText, patterns, dateOf(), hour, minute, second);
    return longText.text;
}

namespace {

// Reads a text written by write() from the same tokens; false when it does not match them.
class TokenReader {
public:
    explicit TokenReader(QStringView text) : text_(text) {}
    bool read(const std::vector<Token>& tokens, const Patterns& p) {
        for (const Token& token : tokens) {
            switch (token.kind) {
                case Token::Text:
                    if (!text_.mid(at_).startsWith(token.text)) return false;
                    at_ += token.text.size();
                    break;
                case Token::Day: if (!number(&day)) return false; break;
                case Token::Month: if (!number(&month)) return false; break;
                case Token::MonthShort: if (!name(p.monthsShort, &month)) return false; break;
                case Token::MonthLong: if (!name(p.monthsLong, &month)) return false; break;
                case Token::Year2:
                    if (!number(&year)) return false;
                    year += year < 30 ? 2000 : 1900;
                    break;
                case Token::Year4: if (!number(&year)) return false; break;
                case Token::Hour12: if (!number(&hour)) return false; break;
                case Token::Hour24:
                    if (!number(&hour)) return false;
                    twelveHour = false;
                    break;
                case Token::Minute: if (!number(&minute)) return false; break;
                case Token::Second: if (!number(&second)) return false; break;
                case Token::AmPm:
                    if (matches(p.pm[token.width])) {
                        pm = true;
                    } else if (!matches(p.am[token.width])) {
                        return false;
                    }
                    break;
            }
        }
        return true;
    }
    bool atEnd() const { return at_ == text_.size(); }
    bool skip(QChar c) {
        if (at_ >= text_.size() || text_[at_] != c) return false;
        ++at_;
        return true;
    }
    int day = 0, month = 0, year = 0, hour = 0, minute = 0, second = 0;
    bool pm = false, twelveHour = true;

private:
    bool number(int* into) {
        qsizetype end = at_;
        while (end < text_.size() && end - at_ < 6 && text_[end].isDigit()) ++end;
        if (end == at_) return false;
        *into = text_.mid(at_, end - at_).toInt();
        at_ = end;
        return true;
    }
    bool matches(const QString& word) {
        if (word.isEmpty() || !text_.mid(at_).startsWith(word, Qt::CaseInsensitive)) return false;
        at_ += word.size();
        return true;
    }
    // The longest name that the text goes on with (a long name may begin with a short one).
    bool name(const QStringList& names, int* into) {
        qsizetype best = 0;
        for (int m = 0; m < names.size(); ++m) {
            if (names[m].size() > best && text_.mid(at_).startsWith(names[m], Qt::CaseInsensitive)) {
                best = names[m].size();
                *into = m + 1;
            }
        }
        at_ += best;
        return best > 0;
    }
    QStringView text_;
    qsizetype at_ = 0;
};

}  // namespace

std::optional<qint64> generalDateSeconds(QStringView text, const QLocale& locale) {
    const Patterns& patterns = patternsOf(locale);
    TokenReader reader(text);
    if (!reader.read(patterns.date, patterns)) return std::nullopt;
    if (!reader.atEnd() && !(reader.skip(QLatin1Char(' ')) && reader.read(patterns.time, patterns) && reader.atEnd())) {
        return std::nullopt;
    }
    int hour = reader.hour;
    if (reader.twelveHour) hour = hour % 12 + (reader.pm ? 12 : 0);
    const QDate date(reader.year, reader.month, reader.day);
    if (!date.isValid() || hour > 23 || reader.minute > 59 || reader.second > 59) return std::nullopt;
    return date.toJulianDay() * 86400 + hour * 3600 + reader.minute * 60 + reader.second;
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
