#include "platform/volume/regular_file.h"

#include <QFile>
#include <algorithm>
#include <vector>
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

// Whether a block is all zeros: such blocks are left as holes in the copy.
namespace {

bool allZero(const char* bytes, size_t size) {
    static const char zeros[1 << 16] = {};
    for (size_t at = 0; at < size; at += sizeof zeros) {
        const size_t n = std::min(sizeof zeros, size - at);
        if (std::memcmp(bytes + at, zeros, n) != 0) return false;
    }
    return true;
}

}  // namespace

bool copySparse(int in, int out) {
    struct stat st {};
    if (::fstat(in, &st) != 0) return false;
    std::vector<char> buffer(1 << 20);
    for (off_t data = 0; data < st.st_size;) {
        data = ::lseek(in, data, SEEK_DATA);
        if (data < 0) break;  // no data after here (ENXIO), or no hole support: the size below covers it
        off_t hole = ::lseek(in, data, SEEK_HOLE);
        if (hole < 0) hole = st.st_size;
        for (off_t at = data; at < hole;) {
            const auto want = static_cast<size_t>(std::min<off_t>(static_cast<off_t>(buffer.size()), hole - at));
            const ssize_t got = ::pread(in, buffer.data(), want, at);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) return false;
            if (got == 0) break;  // shorter than it said: the copy keeps the size it was given
            if (!allZero(buffer.data(), static_cast<size_t>(got))) {
                const ssize_t put = ::pwrite(out, buffer.data(), static_cast<size_t>(got), at);
                if (put != got) {
                    if (put >= 0) errno = ENOSPC;  // a short write: the file system is full
                    return false;
                }
            }
            at += got;
        }
        data = hole;
    }
    return ::ftruncate(out, st.st_size) == 0;
}

}  // namespace kestrova
