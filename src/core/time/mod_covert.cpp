#include "core/time/mod_covert.h"

#include <QRegularExpression>

namespace kestrova {

double leadingNumber(const QString& text) {
    static const QRegularExpression kNumber(
        QStringLiteral("^\\s*([+-]?(?:\\d+\\.?\\d*|\\.\\d+)(?:[eE][+-]?\\d+)?)"));
    const QRegularExpressionMatch m = kNumber.match(text);
    if (!m.hasMatch()) return 0.0;
    bool ok = false;
    const double value = m.captured(1).toDouble(&ok);
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
