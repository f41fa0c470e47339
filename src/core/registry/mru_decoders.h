// ModOpenSave: the decoders that pull a name out of a binary MRU value (a shell item list, or
// the UTF-16 text of a search term) without parsing any shell-item structure: text is found by
// the positions of zero-byte pairs alone.
//
// Byte arrays here are zero-based and carry one element more than their data (the binary read
// adds a zero; the collecting buffers always hold one zero beyond their bytes). These off-by-one
// sizes decide where the conversions see zero bytes, and the rows earlier versions produced
// depend on them, so they are kept as they are.
#pragma once

#include <QString>
#include <cstdint>
#include <vector>

#include "core/registry/reg_api.h"

namespace kestrova {

using ByteArray = std::vector<uint8_t>;

// Bounds 0..n+1: the input (bounds 0..n) reversed, then one zero.
ByteArray ReverseBytes(const ByteArray& bytes);

// The text of a collected buffer by the analysed system's locale class:
//  "en":   each byte one character (Latin-1), then every NUL removed;
//  "jan":  the bytes read as UTF-16, Hiragana turned into Katakana, NULs removed;
//  "asia": the bytes read as UTF-16, full-width forms turned into their narrow forms, NULs removed;
//  any other class: "".
QString convertByLocale(const ByteArray& buffer, const QString& localeClass);

// The first zero-terminated UTF-16 string of the value: for LastVisitedPidlMRU and FirstFolder
// the program that used the dialog, for WordWheelQuery the search text.
QString DecodeFirstString(const RegApi& reg, const QString& fullKeyPath, const QString& valueName,
                          const QString& localeClass);

// Counts strings back from the value's end and converts the one at count 4/5/14/15/16 ("en"),
// 4/5 ("asia") or 4 ("jan"): the long file name an OpenSavePidlMRU item carries near its end.
QString DecodeCountedString(const RegApi& reg, const QString& fullKeyPath, const QString& valueName,
                            const QString& localeClass);

// The same two decoders over bytes already read (with the extra zero at the end).
QString decodeFirstString(const ByteArray& bytes, const QString& localeClass);
QString decodeCountedString(const ByteArray& bytes, const QString& localeClass);

// Splits a comma list as the original did: an empty text has no elements, a trailing comma
// gives an empty last element.
QStringList splitList(const QString& list);

}  // namespace kestrova
