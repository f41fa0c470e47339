// An SQLite database read where it lies inside a raw disk image: a small read-only VFS that turns
// the database's offsets into offsets of the image file, by the file's runs (PlainFile). No copy
// of the database is made, and nothing is written: no journal, no lock, immutable.
#pragma once

#include <sqlite3.h>

#include "core/system/analysed_system.h"

namespace kestrova {

// Opens the database; an SQLite result code. The runs are checked against the image file: one
// that lies outside it fails the open (SQLITE_CANTOPEN), as does an image that is no regular file.
int openPlainFile(const PlainFile& file, sqlite3** handle);

}  // namespace kestrova
