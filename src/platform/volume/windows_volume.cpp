#include "platform/volume/windows_volume.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "core/common/text.h"
#include "platform/volume/regular_file.h"

#include <QDir>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace kestrova {
namespace {

QStringList components(const QString& path) {
    QString p = path;
    p.replace(QLatin1Char('/'), QLatin1Char('\\'));
    return p.split(QLatin1Char('\\'), Qt::SkipEmptyParts);
}

// Local paths are kept as text with undecodable bytes escaped (see core/common/text.h); every
// system call gets the original bytes back.
QByteArray bytes(const QString& local) { return toFileNameBytes(local); }

std::optional<QString> canonical(const QString& local) {
    char* resolved = ::realpath(bytes(local).constData(), nullptr);
    if (!resolved) return std::nullopt;
    const QString text = fromFileNameBytes(QByteArray(resolved));
    std::free(resolved);
    return text;
}

// The names in a folder as the file system stores them, whatever their bytes.
std::optional<QStringList> rawNames(const QString& folder) {
    DIR* dir = ::opendir(bytes(folder).constData());
    if (!dir) return std::nullopt;
    QStringList names;
    while (const dirent* entry = ::readdir(dir)) {
        const QByteArray name(entry->d_name);
        if (name == "." || name == "..") continue;
        names.append(fromFileNameBytes(name));
    }
    ::closedir(dir);
    return names;
}

std::optional<QString> matchEntry(const QString& folder, const QString& name) {
    struct stat st {};
    if (::lstat(bytes(folder + QLatin1Char('/') + name).constData(), &st) == 0) return name;
    for (const QString& entry : rawNames(folder).value_or(QStringList())) {
        if (entry.compare(name, Qt::CaseInsensitive) == 0) return entry;
    }
    return std::nullopt;
}

QString systemError() { return QString::fromLocal8Bit(std::strerror(errno)); }

}  // namespace

WindowsVolume::WindowsVolume(QString root, Findings* findings)
    : root_(QDir::cleanPath(std::move(root))), findings_(findings) {
    canonicalRoot_ = canonical(root_).value_or(QString());
}

WindowsVolume::Outcome WindowsVolume::locate(const QString& windowsPath, QString* local) const {
    QString rest;
    if (windowsPath.size() >= 2 && windowsPath[1] == QLatin1Char(':')) {
        if (windowsPath[0].toUpper() != QLatin1Char('C')) return Outcome::Missing;
        rest = windowsPath.mid(2);
    } else if (windowsPath.startsWith(QLatin1Char('\\')) || windowsPath.startsWith(QLatin1Char('/'))) {
        rest = windowsPath;  // drive-relative: the system drive
    } else {
        return Outcome::Missing;
    }
    if (canonicalRoot_.isEmpty()) return Outcome::Missing;

    // Links are followed only while they stay inside the volume (as junctions on an ntfs-3g
    // mount do); one that leads out would show this machine's files as the volume's. Each link
    // is checked where it stands, before anything is looked up or listed through it, so no
    // folder outside the volume is ever opened.
    const auto inside = [&](const QString& path) {
        const auto real = canonical(path);
        if (!real) return Outcome::Missing;  // a dangling link
        if (*real != canonicalRoot_ && !real->startsWith(canonicalRoot_ + QLatin1Char('/'))) return Outcome::Outside;
        return Outcome::Found;
    };
    QStringList resolved;
    for (const QString& part : components(rest)) {
        if (part == QLatin1String(".")) continue;
        if (part == QLatin1String("..")) {
            if (!resolved.isEmpty()) resolved.removeLast();
            continue;
        }
        const QString folder = resolved.isEmpty() ? root_ : root_ + QLatin1Char('/') + resolved.join('/');
        const auto entry = matchEntry(folder, part);
        if (!entry) return Outcome::Missing;
        resolved.append(*entry);
        struct stat st {};
        const QString path = folder + QLatin1Char('/') + *entry;
        if (::lstat(bytes(path).constData(), &st) == 0 && S_ISLNK(st.st_mode)) {
            if (const Outcome outcome = inside(path); outcome != Outcome::Found) return outcome;
        }
    }
    *local = resolved.isEmpty() ? root_ : root_ + QLatin1Char('/') + resolved.join('/');
    return inside(*local);
}

std::optional<QString> WindowsVolume::resolve(const QString& windowsPath) const {
    QString local;
    switch (locate(windowsPath, &local)) {
        case Outcome::Found:
            return local;
        case Outcome::Outside:
            note(FindingKind::NotFollowed, windowsPath, QStringLiteral("it leads out of the volume"));
            return std::nullopt;
        case Outcome::Missing:
            return std::nullopt;
    }
    return std::nullopt;
}

std::optional<QString> WindowsVolume::locateFile(const QString& windowsPath, const QString& what) const {
    QString local;
    switch (locate(windowsPath, &local)) {
        case Outcome::Missing:
            note(FindingKind::Absent, what);
            return std::nullopt;
        case Outcome::Outside:
            note(FindingKind::NotFollowed, what, QStringLiteral("it leads out of the volume"));
            return std::nullopt;
        case Outcome::Found:
            return local;
    }
    return std::nullopt;
}

std::optional<QString> WindowsVolume::readableFile(const QString& windowsPath, const QString& label) const {
    const QString what = label + QLatin1Char(' ') + windowsPath;
    const auto local = locateFile(windowsPath, what);
    // Probed the way every file is opened: without blocking, and kept only if regular.
    if (!local || !openRegularFile(*local, what, findings_)) return std::nullopt;
    return local;
}

std::unique_ptr<QIODevice> WindowsVolume::openFile(const QString& windowsPath, const QString& label) const {
    const QString what = label + QLatin1Char(' ') + windowsPath;
    const auto local = locateFile(windowsPath, what);
    return local ? openRegularFile(*local, what, findings_) : nullptr;
}

std::optional<qint64> WindowsVolume::fileSize(const QString& windowsPath) const {
    const auto local = resolve(windowsPath);
    struct stat st {};
    if (!local || ::lstat(toFileNameBytes(*local).constData(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
    return static_cast<qint64>(st.st_size);
}

std::optional<FileTimes> WindowsVolume::fileTimes(const QString& windowsPath) const {
    const auto local = resolve(windowsPath);
    if (!local) return std::nullopt;
    struct statx st {};
    if (::statx(AT_FDCWD, toFileNameBytes(*local).constData(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &st) != 0) {
        return std::nullopt;
    }
    // Seconds and nanoseconds since 1970 to 100-ns intervals since 1601.
    const auto fileTime = [](const struct statx_timestamp& t) {
        return (t.tv_sec + 11644473600LL) * 10000000LL + t.tv_nsec / 100;
    };
    FileTimes times;
    if (st.stx_mask & STATX_BTIME) times.created = fileTime(st.stx_btime);
    times.modified = fileTime(st.stx_mtime);
    times.accessed = fileTime(st.stx_atime);
    times.changed = fileTime(st.stx_ctime);
    return times;
}

std::vector<DirEntry> WindowsVolume::list(const QString& windowsFolder) const {
    const QString what = QStringLiteral("folder ") + windowsFolder;
    const auto local = resolve(windowsFolder);
    if (!local) {
        note(FindingKind::Absent, what);
        return {};
    }
    struct stat st {};
    if (::stat(bytes(*local).constData(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        note(FindingKind::Unreadable, what, QStringLiteral("not a folder"));
        return {};
    }
    const auto names = rawNames(*local);
    if (!names) {
        note(FindingKind::Unreadable, what, systemError());
        return {};
    }
    std::vector<DirEntry> entries;
    entries.reserve(names->size());
    for (const QString& name : *names) {
        entries.push_back({name, attributesOf(*local + QLatin1Char('/') + name)});
    }
    // NTFS keeps a folder's index sorted by upper-cased name, and that is the order Windows
    // lists entries in; a copied tree on another file system is put back into that order.
    std::stable_sort(entries.begin(), entries.end(), [](const DirEntry& a, const DirEntry& b) {
        return a.name.toUpper() < b.name.toUpper();
    });
    return entries;
}

uint32_t WindowsVolume::attributesOf(const QString& localPath) {
    const QByteArray path = bytes(localPath);
    unsigned char raw[4];
    if (getxattr(path.constData(), "system.ntfs_attrib_be", raw, sizeof raw) == sizeof raw) {
        return (uint32_t{raw[0]} << 24) | (uint32_t{raw[1]} << 16) | (uint32_t{raw[2]} << 8) | raw[3];
    }
    struct stat st {};
    if (stat(path.constData(), &st) != 0) return 0;
    uint32_t attributes = S_ISDIR(st.st_mode) ? fileattr::Directory : fileattr::Archive;
    if (localPath.section(QLatin1Char('/'), -1).startsWith(QLatin1Char('.'))) attributes |= fileattr::Hidden;
    if ((st.st_mode & S_IWUSR) == 0) attributes |= fileattr::ReadOnly;
    return attributes;
}

}  // namespace kestrova
