#include "core/time/mod_covert.h"

#include <charconv>
#include <string>

namespace kestrova {

namespace {

// A character of any view as a UTF-16 code unit.
char16_t unitAt(QStringView text, qsizetype k) { return text[k].unicode(); }
char16_t unitAt(QLatin1StringView text, qsizetype k) { return static_cast<unsigned char>(text[k].toLatin1()); }
char16_t unitAt(QUtf8StringView text, qsizetype k) { return static_cast<unsigned char>(text[k]); }  // no number has other bytes

template <typename View>
double leadingNumberOf(View text) {
    // Blanks, a sign, digits with at most one point, an exponent; parsed by hand, because it
    // runs on every time column of every row.
    qsizetype i = 0;
    const qsizetype n = text.size();
    const auto at = [&](qsizetype k) { return k < n ? unitAt(text, k) : u'\0'; };
    while (i < n && QChar(unitAt(text, i)).isSpace()) ++i;
    qsizetype start = i;
    if (at(i) == u'+' || at(i) == u'-') ++i;
    qsizetype digits = 0;
    while (at(i) >= u'0' && at(i) <= u'9') ++i, ++digits;
    if (at(i) == u'.') {
        ++i;
        while (at(i) >= u'0' && at(i) <= u'9') ++i, ++digits;
    }
    if (digits == 0) return 0.0;
    if (at(i) == u'e' || at(i) == u'E') {
        qsizetype e = i + 1;
        if (at(e) == u'+' || at(e) == u'-') ++e;
        if (at(e) >= u'0' && at(e) <= u'9') {
            while (at(e) >= u'0' && at(e) <= u'9') ++e;
            i = e;
        }
    }
    // Everything between start and i is ASCII now; std::from_chars reads it without the
    // locale machinery QString's conversion goes through (that was most of a history reader's time).
    if (at(start) == u'+') ++start;
    const qsizetype length = i - start;
    char small[64];
    std::string large;
    char* chars = small;
    if (length > qsizetype(sizeof small)) {
        large.resize(static_cast<size_t>(length));
        chars = large.data();
    }
    for (qsizetype k = 0; k < length; ++k) chars[k] = static_cast<char>(unitAt(text, start + k));
    double value = 0.0;
    const auto [end, error] = std::from_chars(chars, chars + length, value);
    return error == std::errc() && end == chars + length ? value : 0.0;
}

}  // namespace

double leadingNumber(QAnyStringView text) {
    return text.visit([](auto view) { return leadingNumberOf(view); });
}

QString ModCovert::PRTimeToText(QAnyStringView text, const QLocale& locale) const {
    const double seconds = leadingNumber(text) / 1000000.0;
    if (seconds == 0) return QString();
    return generalDateText(stamps_.UnixSecondsToLocalDate(seconds), locale);
}

QString ModCovert::SystemLocaleClass(uint32_t localeId) {
    switch (localeId) {
        case 1041:
            return QStringLiteral("jan");
        case 2052: case 1028: case 1042: case 2066: case 3076: case 4100:
            return QStringLiteral("asia");
        default:
            return QStringLiteral("en");
    }
}

}  // namespace kestrova
