#include "platform/volume/regular_file.h"

#include <QFile>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/common/text.h"

namespace kestrova {

std::unique_ptr<QIODevice> openRegularFile(const QString& localPath, const QString& what, Findings* findings) {
    const auto refuse = [&](FindingKind kind, const QString& why) -> std::unique_ptr<QIODevice> {
        if (findings) findings->note(kind, what, why);
        return nullptr;
    };
    const int fd = ::open(toFileNameBytes(localPath).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return refuse(errno == ENOENT ? FindingKind::Absent : FindingKind::Unreadable,
                      errno == ENOENT ? QString() : QString::fromLocal8Bit(std::strerror(errno)));
    }
    // The type of what was opened, not of what the name pointed to a moment before.
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return refuse(FindingKind::Unreadable, QStringLiteral("not a regular file"));
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    // Read front to back, most of them: a larger read-ahead window. (Asking for each next stretch
    // on every read as well made a large file's scan slower than the kernel's own read-ahead.)
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    auto file = std::make_unique<QFile>();
    if (!file->open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return refuse(FindingKind::Unreadable, file->errorString());
    }
    return file;
}

QByteArray descriptorPath(const QIODevice& file) {
    const auto* opened = qobject_cast<const QFileDevice*>(&file);
    if (!opened || opened->handle() < 0) return {};
    return "/proc/self/fd/" + QByteArray::number(opened->handle());
}

}  // namespace kestrova
