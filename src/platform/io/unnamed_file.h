// A file of the program's own with no name in a folder (O_TMPFILE): what it holds (copies of
// evidence taken out, records read ahead or sorted) goes with the process however it ends, and
// no other process can open it by a path.
#pragma once

#include <QFile>
#include <QString>
#include <fcntl.h>

namespace kestrova {

// Its descriptor, readable and writable; -1 with errno when the folder cannot hold one.
inline int openUnnamedFile(const QString& folder) {
    return ::open(QFile::encodeName(folder).constData(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
}

}  // namespace kestrova
