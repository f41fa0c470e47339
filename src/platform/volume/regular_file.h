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

}  // namespace kestrova
