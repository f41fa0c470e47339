// Reads a hive's description in REGEDIT4 text, the form regedit exports:
//
//   REGEDIT4
//   [Software\Microsoft\Windows\CurrentVersion\Explorer\RunMRU]
//   "a"="cmd\\1"
//   "MRUList"="a"
//   "Count"=dword:00000002
//   "Pidl"=hex:14,00,1f,50,\ (continued)
//     e0,4f
//   "Path"=hex(2):43,00,3a,00,00,00
//   @="default value"
//
// A leading "HKEY_...\" on a key path is dropped: the text describes one hive. Lines starting
// with ";" are comments; a line ending in "\" continues on the next.
#pragma once

#include <QString>

#include "hivewriter/hive_writer.h"

namespace kestrova::tools {

// Adds the keys and values of the text to the builder; false with "line N: why" in *error.
bool parseRegText(const QString& text, HiveBuilder& builder, QString* error = nullptr);

}  // namespace kestrova::tools
