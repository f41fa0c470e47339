// Opening a file for reading on a volume that may be hostile: only a regular file is opened, and
// it is opened without blocking first, so a named pipe or a device never holds the program.
// Names may hold bytes that are not UTF-8 (see core/common/text.h).
#pragma once

#include <QIODevice>
#include <QString>
#include <memory>

#include "core/common/findings.h"

namespace kestrova {

// The open file, or nullptr with the reason noted under `what` (findings may be nullptr).
std::unique_ptr<QIODevice> openRegularFile(const QString& localPath, const QString& what, Findings* findings);

// A name for a file this process has open ("/proc/self/fd/7"), for libraries that insist on
// opening a path themselves: they get the very file that was checked, whatever the name on the
// volume points to meanwhile. Empty for a device that is not an open file.
QByteArray descriptorPath(const QIODevice& file);

// Copies an opened file into another, keeping it sparse: the holes of the original are not read
// (SEEK_DATA/SEEK_HOLE), blocks of zeros are not written, and the copy gets the original's size.
// A journal can be a sparse gigabyte on a hostile volume; its copy takes only what it holds.
// False when reading or writing failed, with errno saying why (ENOSPC for a full folder, also
// when a write stopped short).
bool copySparse(int in, int out);

}  // namespace kestrova
