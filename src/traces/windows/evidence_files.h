// Small evidence files read whole before a contained parser gets them, and handed to libraries
// that open names (liblnk, libolecf, libscca) as memory files: the library reads a private copy,
// never the volume, and no byte of it reaches a disk.
#pragma once

#include <QByteArray>
#include <QString>
#include <optional>
#include <vector>

#include "traces/trace_context.h"

namespace kestrova {

struct EvidenceFile {
    const UserProfile* user = nullptr;  // nullptr for the machine's files
    QString path;                       // its Windows path
    QString name;                       // its file name
    QByteArray bytes;
    std::optional<FileTimes> times;
};

// The regular files of a folder whose names end with `suffix` (any case), read whole up to
// `limit` bytes each (larger ones are noted and skipped).
std::vector<EvidenceFile> readFolderFiles(TraceContext& context, const QString& folder, const QString& suffix,
                                          const UserProfile* user, qint64 limit = 16 << 20);

// A memory file holding bytes, named for libraries that open names ("/proc/self/fd/7").
class MemoryFile {
public:
    explicit MemoryFile(const QByteArray& bytes);
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    bool ok() const { return fd_ >= 0; }
    QByteArray name() const;

private:
    int fd_ = -1;
};

}  // namespace kestrova
