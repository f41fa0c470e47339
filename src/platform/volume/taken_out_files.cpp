#include "platform/volume/taken_out_files.h"

#include <QDir>
#include <QFile>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "core/common/text.h"
#include "platform/io/unnamed_file.h"
#include "platform/contained/fork_gate.h"

namespace kestrova {

TakenOutFiles::~TakenOutFiles() {
    for (const auto& [reference, fd] : copies_) ::close(fd);
}

std::unique_ptr<QIODevice> TakenOutFiles::open(const QString& what, Findings* findings, bool exists, bool folder, quint64 reference,
                                               quint64 size, const std::function<bool(int, QString*)>& copyInto) const {
    const auto refuse = [&](FindingKind kind, const QString& why) -> std::unique_ptr<QIODevice> {
        if (findings) findings->note(kind, what, why);
        return nullptr;
    };
    if (!exists) return refuse(FindingKind::Absent, QString());
    if (folder) return refuse(FindingKind::Unreadable, QStringLiteral("not a regular file"));
    int copy = -1;
    {
        // A file another thread is taking out is waited for: each is taken out once a run.
        std::unique_lock lock(mutex_);
        ForkGate::waitParked(lock, made_, [&] { return !making_.contains(reference); });
        if (const auto it = copies_.find(reference); it != copies_.end()) copy = it->second;
        else making_.insert(reference);
    }
    if (copy < 0) {
        const auto done = [&](int made) {
            {
                const std::lock_guard lock(mutex_);
                if (made >= 0) copies_.emplace(reference, made);
                making_.erase(reference);
            }
            made_.notify_all();
        };
        // Unnamed: nothing is left behind, whatever ends the program.
        copy = size <= kInMemory ? ::memfd_create("kestrova-evidence", MFD_CLOEXEC) : -1;
        if (copy < 0) copy = openUnnamedFile(folder_);
        if (copy < 0) {
            const int error = errno;
            done(-1);
            return refuse(FindingKind::Unreadable,
                          QStringLiteral("no room for it in %1 (%2)").arg(folder_, QString::fromLocal8Bit(std::strerror(error))));
        }
        QString why;
        if (!copyInto(copy, &why)) {
            ::close(copy);
            done(-1);
            return refuse(FindingKind::Damaged, why);
        }
        done(copy);
    }
    // Opened anew: each reader has a file position of its own.
    const int fd = ::open(("/proc/self/fd/" + QByteArray::number(copy)).constData(), O_RDONLY | O_CLOEXEC);
    auto file = std::make_unique<QFile>();
    if (fd < 0 || !file->open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        if (fd >= 0) ::close(fd);
        return refuse(FindingKind::Unreadable, QString::fromLocal8Bit(std::strerror(errno)));
    }
    return file;
}

QString TakenOutFiles::heldPath(quint64 reference) const {
    const std::lock_guard lock(mutex_);
    const auto it = copies_.find(reference);
    return it == copies_.end() ? QString() : QStringLiteral("/proc/self/fd/%1").arg(it->second);
}

std::optional<QString> TakenOutFiles::named(const QString& windowsPath, const std::function<bool(int)>& copyInto) const {
    // Taken out under its own name, for the desktop to open; removed with the temporary folder.
    QDir().mkpath(folder_ + QStringLiteral("/opened"));
    const QString local = folder_ + QStringLiteral("/opened/") + windowsPath.section(QLatin1Char('\\'), -1);
    const int fd = ::open(toFileNameBytes(local).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) return std::nullopt;
    const bool copied = copyInto(fd);
    ::close(fd);
    return copied ? std::optional<QString>(local) : std::nullopt;
}

}  // namespace kestrova
