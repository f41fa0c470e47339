#include "core/registry/mru_decoders.h"

#include "core/common/text.h"

namespace kestrova {
namespace {

QString bytesAsUtf16(const ByteArray& buffer) {
    // Two bytes a character, low byte first; an odd last byte stands alone as a character.
    QString text;
    text.reserve(static_cast<qsizetype>(buffer.size() / 2 + 1));
    size_t i = 0;
    for (; i + 1 < buffer.size(); i += 2) text.append(QChar(static_cast<char16_t>(buffer[i] | (buffer[i + 1] << 8))));
    if (i < buffer.size()) text.append(QChar(static_cast<char16_t>(buffer[i])));
    return text;
}

QString hiraganaToKatakana(QString text) {
    for (QChar& c : text) {
        const char16_t u = c.unicode();
        if ((u >= 0x3041 && u <= 0x3096) || u == 0x309D || u == 0x309E) c = QChar(static_cast<char16_t>(u + 0x60));
    }
    return text;
}

QString wideToNarrow(QString text) {
    for (QChar& c : text) {
        const char16_t u = c.unicode();
        if (u >= 0xFF01 && u <= 0xFF5E) c = QChar(static_cast<char16_t>(u - 0xFEE0));
        else if (u == 0x3000) c = QLatin1Char(' ');
    }
    return text;
}

bool countPicksString(const QString& localeClass, int count) {
    if (localeClass == QLatin1String("en")) {
        return count == 4 || count == 5 || count == 14 || count == 15 || count == 16;
    }
    if (localeClass == QLatin1String("asia")) return count == 4 || count == 5;
    return localeClass == QLatin1String("jan") && count == 4;
}

}  // namespace

QStringList splitList(const QString& list) {
    if (list.isEmpty()) return {};
    return list.split(QLatin1Char(','));
}

ByteArray ReverseBytes(const ByteArray& bytes) {
    ByteArray out(bytes.rbegin(), bytes.rend());
    out.push_back(0);
    return out;
}

QString convertByLocale(const ByteArray& buffer, const QString& localeClass) {
    QString text;
    if (localeClass == QLatin1String("en")) {
        text.reserve(static_cast<qsizetype>(buffer.size()));
        for (uint8_t b : buffer) text.append(QChar(static_cast<char16_t>(b)));
    } else if (localeClass == QLatin1String("jan")) {
        text = hiraganaToKatakana(bytesAsUtf16(buffer));
    } else if (localeClass == QLatin1String("asia")) {
        text = wideToNarrow(bytesAsUtf16(buffer));
    } else {
        return QString();
    }
    text.remove(QChar(0));
    return text;
}

QString decodeFirstString(const ByteArray& bytes, const QString& localeClass) {
    if (bytes.empty()) return QString();
    const long last = static_cast<long>(bytes.size()) - 1;
    ByteArray buffer{0};  // n collected bytes live at 0..n-1, element n stays zero
    for (long offset = 0; offset <= last - 1; offset += 2) {
        const uint8_t lo = bytes[static_cast<size_t>(offset)];
        const uint8_t hi = bytes[static_cast<size_t>(offset) + 1];
        if (lo == 0 && hi == 0) break;
        buffer.back() = lo;
        buffer.push_back(hi);
        buffer.push_back(0);
    }
    return convertByLocale(buffer, localeClass);
}

QString decodeCountedString(const ByteArray& bytes, const QString& localeClass) {
    if (bytes.empty()) return QString();
    ByteArray buffer{0};
    int counter = 0;
    QString result;
    // Pairs are aligned to the array's end, which starts at the extra zero: for data of even
    // length that is one byte off the UTF-16 boundaries. Harmless under "en", where every NUL is
    // removed; under "asia" and "jan" it shifts the reading by a byte. Kept as it is.
    for (long pos = static_cast<long>(bytes.size()) - 1; pos >= 2; pos -= 2) {
        const uint8_t at = bytes[static_cast<size_t>(pos)];
        const uint8_t before = bytes[static_cast<size_t>(pos) - 1];
        if (at != 0 || before != 0) {
            buffer.back() = at;
            buffer.push_back(before);
            buffer.push_back(0);
            continue;
        }
        ++counter;
        const ByteArray stored = ReverseBytes(buffer);
        if (countPicksString(localeClass, counter)) {
            result = convertByLocale(stored, localeClass);
            if (localeClass == QLatin1String("jan")) return result;
            if (trimBlanks(result).size() > 2) return result;
        }
        // Only "en" starts afresh after each string; the other classes keep collecting, so what
        // they convert at counts 4 and 5 holds everything since the value's end. Intended.
        if (localeClass == QLatin1String("en")) buffer = ByteArray{0};
    }
    return result;
}

QString DecodeFirstString(const RegApi& reg, const QString& fullKeyPath, const QString& valueName,
                          const QString& localeClass) {
    const auto bytes = reg.ReadBinary(fullKeyPath, valueName);
    return bytes ? decodeFirstString(*bytes, localeClass) : QString();
}

QString DecodeCountedString(const RegApi& reg, const QString& fullKeyPath, const QString& valueName,
                            const QString& localeClass) {
    const auto bytes = reg.ReadBinary(fullKeyPath, valueName);
    return bytes ? decodeCountedString(*bytes, localeClass) : QString();
}

}  // namespace kestrova
