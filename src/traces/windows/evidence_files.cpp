#include "traces/windows/evidence_files.h"

#include <sys/mman.h>
#include <unistd.h>

namespace kestrova {

std::vector<EvidenceFile> readFolderFiles(TraceContext& context, const QString& folder, const QString& suffix,
                                          const UserProfile* user, qint64 limit) {
    std::vector<EvidenceFile> files;
    if (!context.exists(folder)) return files;
    for (const QString& name : context.list(folder, false)) {
        if (!name.endsWith(suffix, Qt::CaseInsensitive)) continue;
        const QString path = folder + QLatin1Char('\\') + name;
        auto bytes = context.readSmallFile(path, limit);
        if (!bytes) continue;
        files.push_back({user, path, name, std::move(*bytes), context.fileTimes(path)});
    }
    return files;
}

MemoryFile::MemoryFile(const QByteArray& bytes) {
    fd_ = memfd_create("kestrova-evidence", MFD_CLOEXEC);
    if (fd_ < 0) return;
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t n = ::write(fd_, bytes.constData() + written, static_cast<size_t>(bytes.size() - written));
        if (n <= 0) {
            ::close(fd_);
            fd_ = -1;
            return;
        }
        written += n;
    }
}

MemoryFile::~MemoryFile() {
    if (fd_ >= 0) ::close(fd_);
}

QByteArray MemoryFile::name() const { return QByteArrayLiteral("/proc/self/fd/") + QByteArray::number(fd_); }

}  // namespace kestrova
