#include "core/readers/browsers/opera.h"

#include <algorithm>

namespace kestrova {

ByteOrderMark DetectByteOrderMark(QByteArrayView b) {
    const auto starts = [&](std::initializer_list<unsigned char> mark) {
        if (static_cast<size_t>(b.size()) < mark.size()) return false;
        size_t i = 0;
        for (const unsigned char m : mark) {
            if (static_cast<unsigned char>(b[static_cast<qsizetype>(i++)]) != m) return false;
        }
        return true;
    };
    if (starts({0xFF, 0xFE, 0x00, 0x00})) return {4, 4};
    if (starts({0x00, 0x00, 0xFE, 0xFF})) return {5, 4};
    if (starts({0xFF, 0xFE})) return {2, 2};
    if (starts({0xFE, 0xFF})) return {3, 2};
    if (starts({0xEF, 0xBB, 0xBF})) return {1, 3};
    return {0, 0};
}

QString DecodeTextFile(QByteArrayView bytes, int& encoding) {
    if (encoding < -1 || encoding > 5) return QString();
    const ByteOrderMark mark = DetectByteOrderMark(bytes.first(std::min<qsizetype>(4, bytes.size())));
    int skip = mark.length;
    if (encoding == -1) {
        encoding = mark.code;
    } else if (encoding != mark.code) {
        skip = 0;  // a requested encoding other than the mark's: the first bytes are content
    }
    const QByteArrayView body = bytes.sliced(skip);
    switch (encoding) {
        case 0:
        case 1:
            return QString::fromUtf8(body);
        case 2:
            return QString(reinterpret_cast<const QChar*>(body.data()), body.size() / 2);
        case 3: {
            QString swapped(body.size() / 2, Qt::Uninitialized);
            for (qsizetype i = 0; i < swapped.size(); ++i) {
                swapped[i] = QChar(static_cast<char16_t>((static_cast<unsigned char>(body[2 * i]) << 8) |
                                                         static_cast<unsigned char>(body[2 * i + 1])));
            }
            return swapped;
        }
        default:
            return QString();  // UTF-32 is not decoded
    }
}

QString ReadTextFile(const SourceContext& src, const QString& windowsPath, int& encoding, qint64 limit) {
    if (encoding < -1 || encoding > 5) return QString();
    const auto file = src.os.system().openFile(windowsPath, QStringLiteral("Opera history"));
    if (!file) return QString();
    return DecodeTextFile(file->read(std::min(limit, file->size())), encoding);
}

void operaHistoryRows(const SourceContext& src, RowSink& sink) {
    int encoding = -1;
    // The whole file goes into a message box, as designed; a box shows a few screens of text at
    // the most, so a file larger than kMessageTextLimit is cut there and says how much is left
    // out (a gigabyte would otherwise be read, decoded and shown whole).
    const QString path = src.os.OperaFolder() + QStringLiteral("\\global_history.dat");
    QString text = ReadTextFile(src, path, encoding, kMessageTextLimit);
    if (!text.isEmpty()) {
        const auto file = src.os.system().openFile(path, QStringLiteral("Opera history"));
        if (file && file->size() > kMessageTextLimit) {
            text += QStringLiteral("\n\n[%1 more bytes of the file are not shown]").arg(file->size() - kMessageTextLimit);
        }
    }
    sink.message(text);
}

}  // namespace kestrova
