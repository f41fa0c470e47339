// Text helpers shared by the readers and the front ends.
//
// File names on a Linux copy of a volume are bytes, and not all of them are UTF-8 (a name written
// in a Latin-1 code page, a damaged entry). Such a name must still be listed and still lead back
// to its file. Inside the program each byte that is not part of valid UTF-8 is carried as one
// lone low surrogate, U+DC80 + byte: valid UTF-8 never decodes to one, so the name maps back to
// exactly the bytes it came from. Wherever text is shown (the list, the command line, the report)
// those characters are rendered as "\xFF" escapes.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringView>

namespace kestrova {

// UTF-8 decoded; every byte outside a valid sequence becomes U+DC80 + byte.
QString fromFileNameBytes(const QByteArray& bytes);
// The inverse: U+DC80..U+DCFF back to their bytes, everything else as UTF-8.
QByteArray toFileNameBytes(QStringView text);
// The text as it is shown: escaped bytes rendered as "\xHH".
QString showEscapedBytes(QStringView text);
bool hasEscapedBytes(QStringView text);

// The part of a cell the list shows: up to the first NUL (a fixed-size field read whole, such as
// the 150 bytes of an index.dat URL). The double-click opens exactly that part.
QStringView upToNul(QStringView text);

// A text file as Windows writes one: UTF-16LE (with its byte order mark, or without one where the
// second byte is a NUL, as in Latin text), UTF-8 with or without its mark, or ASCII. Bytes that
// are not UTF-8 are kept as fromFileNameBytes keeps them; an odd last byte of UTF-16 is dropped.
QString decodeTextFile(const QByteArray& bytes);

// Blanks trimmed: spaces only, as the product's Trim did. Tabs and line breaks are characters.
QStringView trimBlanks(QStringView text);

}  // namespace kestrova
