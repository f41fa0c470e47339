// The index.dat scan (category a4, and the report's GetIndex): Internet Explorer's cache index is
// not parsed; the file is searched for the three bytes "URL" at every position, and each hit
// gives the 150 bytes at a fixed distance from it as a row.
#pragma once

#include <QByteArrayView>
#include <QIODevice>
#include <functional>

#include "core/frame/row_sink.h"

namespace kestrova {

// Scans a file exactly as a loop over every 1-based position p would, reading 7 bytes at p:
//  - a hit is any position whose 7-byte read fits in the file and starts with "URL" (any
//    alignment; a "URL" inside another record's text counts);
//  - the field is the 150 bytes at p + 96 when they begin with "http", otherwise the 150 bytes
//    at p + 104 whatever they hold; bytes past the end of the file read as zero;
//  - the file is at its end once a read has run past its last byte: a 7-byte read that does not
//    fit ends the scan without a hit, a 150-byte read that does not fit ends it after its row.
// The file is read in large blocks; the per-position result is the same.
//   onHit(field, position) - one hit (position 1-based); false ends the scan.
//   poll(position)         - called between blocks; false ends the scan.
// Returns false when the file could not be read to its end (a read failed).
bool scanForUrls(QIODevice& file, const std::function<bool(QByteArrayView field, qint64 position)>& onHit,
                 const std::function<bool(qint64 position)>& poll);

// The row text of a field: one byte one character, all 150 of them (the list shows them up to
// the first NUL; that visible part is what a double-click opens).
QString indexFieldText(QByteArrayView field);

// a4 in the window (asks which file, shows progress and "Records: n") and GetIndex in the report
// (the default Content.IE5 file, no dialog, no progress, ends on the report's skip).
void indexDatRows(const SourceContext& src, RowSink& sink);
QStringList GetIndex(const SourceContext& src);

}  // namespace kestrova
