// Opera's global history file (key e1, which no tree node carries): read whole as text and
// shown in a message box; no rows are added. Unfinished in exactly this way, and kept so.
#pragma once

#include <limits>

#include <QByteArray>
#include <QString>

#include "core/frame/row_sink.h"

namespace kestrova {

// Encoding codes: -1 detect from the mark; 0 no mark (UTF-8); 1 UTF-8 with mark; 2 UTF-16 LE;
// 3 UTF-16 BE; 4 UTF-32 LE; 5 UTF-32 BE.
struct ByteOrderMark {
    int code = 0;
    int length = 0;
};
// The first four bytes' mark, tested in this order: FF FE 00 00 (4), 00 00 FE FF (5), FF FE (2),
// FE FF (3), EF BB BF (1), else none (0).
ByteOrderMark DetectByteOrderMark(QByteArrayView firstBytes);
// A file's bytes decoded by its mark (encoding in/out), as ReadTextFile decodes them.
QString DecodeTextFile(QByteArrayView bytes, int& encoding);
// The file's text by its mark (encoding in/out); "" for an unknown code, an unreadable file or
// UTF-32, which is not decoded. Reads at most `limit` bytes of the file.
QString ReadTextFile(const SourceContext& src, const QString& windowsPath, int& encoding,
                     qint64 limit = std::numeric_limits<qint64>::max());
// How much of the history file the message box is given.
inline constexpr qint64 kMessageTextLimit = 64 * 1024;

void operaHistoryRows(const SourceContext& src, RowSink& sink);  // e1

}  // namespace kestrova
