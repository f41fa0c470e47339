#include "core/common/text.h"

namespace kestrova {
namespace {

constexpr char16_t kEscapeBase = 0xDC00;  // U+DC80..U+DCFF: bytes 0x80..0xFF

bool inEscapeRange(char16_t c) { return c >= 0xDC80 && c <= 0xDCFF; }

// An escaped byte is a low surrogate standing alone. The same code unit after a high surrogate is
// the second half of a character beyond the Basic Multilingual Plane (U+1F4A9 is D83D DCA9) and
// stands for its UTF-8 bytes, not for one byte of its own.
bool isEscapeAt(QStringView text, qsizetype i) {
    return inEscapeRange(text[i].unicode()) && (i == 0 || !text[i - 1].isHighSurrogate());
}

// Length of the valid UTF-8 sequence at bytes[i], with its code point; 0 when there is none
// (a stray continuation byte, an overlong form, a surrogate, beyond U+10FFFF, cut short).
int validSequence(const QByteArray& bytes, qsizetype i, char32_t* codePoint) {
    const auto at = [&](qsizetype k) { return static_cast<unsigned char>(bytes[k]); };
    const unsigned char lead = at(i);
    int length = 0;
    char32_t value = 0;
    if (lead < 0x80) {
        *codePoint = lead;
        return 1;
    } else if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        value = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        value = lead & 0x0F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        value = lead & 0x07;
    } else {
        return 0;
    }
    if (i + length > bytes.size()) return 0;
    for (int k = 1; k < length; ++k) {
        const unsigned char c = at(i + k);
        if ((c & 0xC0) != 0x80) return 0;
        value = (value << 6) | (c & 0x3F);
    }
    static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (value < kSmallest[length] || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) return 0;
    *codePoint = value;
    return length;
}

}  // namespace

QString fromFileNameBytes(const QByteArray& bytes) {
    QString text;
    text.reserve(bytes.size());
    for (qsizetype i = 0; i < bytes.size();) {
        char32_t codePoint = 0;
        const int length = validSequence(bytes, i, &codePoint);
        if (length == 0) {
            text.append(QChar(static_cast<char16_t>(kEscapeBase + static_cast<unsigned char>(bytes[i]))));
            ++i;
            continue;
        }
        if (codePoint > 0xFFFF) {
            const char16_t pair[2] = {QChar::highSurrogate(codePoint), QChar::lowSurrogate(codePoint)};
            text.append(QStringView(pair, 2));
        } else {
            text.append(QChar(static_cast<char16_t>(codePoint)));
        }
        i += length;
    }
    return text;
}

QByteArray toFileNameBytes(QStringView text) {
    QByteArray bytes;
    bytes.reserve(text.size());
    qsizetype from = 0;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        if (i < text.size() && !isEscapeAt(text, i)) continue;
        bytes += text.mid(from, i - from).toUtf8();
        if (i < text.size()) bytes += static_cast<char>(text[i].unicode() - kEscapeBase);
        from = i + 1;
    }
    return bytes;
}

QString showEscapedBytes(QStringView text) {
    if (!hasEscapedBytes(text)) return text.toString();
    QString shown;
    shown.reserve(text.size() + 8);
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (isEscapeAt(text, i)) {
            shown += QLatin1String("\\x") +
                     QString::number(text[i].unicode() - kEscapeBase, 16).toUpper().rightJustified(2, QLatin1Char('0'));
        } else {
            shown += text[i];
        }
    }
    return shown;
}

bool hasEscapedBytes(QStringView text) {
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (isEscapeAt(text, i)) return true;
    }
    return false;
}

QStringView upToNul(QStringView text) {
    const qsizetype nul = text.indexOf(QChar(0));
    return nul < 0 ? text : text.left(nul);
}

QStringView trimBlanks(QStringView text) {
    qsizetype from = 0;
    qsizetype to = text.size();
    while (from < to && text[from] == QLatin1Char(' ')) ++from;
    while (to > from && text[to - 1] == QLatin1Char(' ')) --to;
    return text.mid(from, to - from);
}

QString decodeTextFile(const QByteArray& bytes) {
    const auto* b = reinterpret_cast<const uchar*>(bytes.constData());
    const qsizetype n = bytes.size();
    const bool marked16 = n >= 2 && b[0] == 0xFF && b[1] == 0xFE;
    if (marked16 || (n >= 2 && b[0] != 0 && b[1] == 0)) {
        const qsizetype from = marked16 ? 2 : 0;
        QString text((n - from) / 2, Qt::Uninitialized);
        for (qsizetype i = 0; i < text.size(); ++i) text[i] = QChar(static_cast<char16_t>(b[from + 2 * i] | (b[from + 2 * i + 1] << 8)));
        return text;
    }
    const bool marked8 = n >= 3 && b[0] == 0xEF && b[1] == 0xBB && b[2] == 0xBF;
    return fromFileNameBytes(marked8 ? bytes.mid(3) : bytes);
}

}  // namespace kestrova
