#include "core/time/mod_covert.h"


namespace kestrova {

double leadingNumber(const QString& text) {
    // Blanks, a sign, digits with at most one point, an exponent; parsed by hand, because it
    // runs on every time column of every row.
    qsizetype i = 0;
    const qsizetype n = text.size();
    const auto at = [&](qsizetype k) { return k < n ? text[k].unicode() : u'\0'; };
    while (i < n && text[i].isSpace()) ++i;
    const qsizetype start = i;
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
    bool ok = false;
    const double value = QStringView(text).mid(start, i - start).toDouble(&ok);
    return ok ? value : 0.0;
}

QString ModCovert::PRTimeToText(const QString& text) const {
    const double seconds = leadingNumber(text) / 1000000.0;
    if (seconds == 0) return QString();
    return generalDateText(stamps_.UnixSecondsToLocalDate(seconds));
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
