#include "platform/volume/windows_volume.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <sys/stat.h>
#include <sys/xattr.h>

namespace kestrova {
namespace {

QStringList components(const QString& path) {
    QString p = path;
    p.replace(QLatin1Char('/'), QLatin1Char('\\'));
    return p.split(QLatin1Char('\\'), Qt::SkipEmptyParts);
}

std::optional<QString> matchEntry(const QString& folder, const QString& name) {
    if (QFileInfo::exists(folder + QLatin1Char('/') + name)) return name;
    const QStringList entries =
        QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& entry : entries) {
        if (entry.compare(name, Qt::CaseInsensitive) == 0) return entry;
    }
    return std::nullopt;
}

}  // namespace

WindowsVolume::WindowsVolume(QString root) : root_(QDir::cleanPath(std::move(root))) {}

std::optional<QString> WindowsVolume::resolve(const QString& windowsPath) const {
    QString rest;
    if (windowsPath.size() >= 2 && windowsPath[1] == QLatin1Char(':')) {
        if (windowsPath[0].toUpper() != QLatin1Char('C')) return std::nullopt;
        rest = windowsPath.mid(2);
    } else if (windowsPath.startsWith(QLatin1Char('\\')) || windowsPath.startsWith(QLatin1Char('/'))) {
        rest = windowsPath;  // drive-relative: the system drive
    } else {
        return std::nullopt;
    }

    QStringList resolved;
    for (const QString& part : components(rest)) {
        if (part == QLatin1String(".")) continue;
        if (part == QLatin1String("..")) {
            if (!resolved.isEmpty()) resolved.removeLast();
            continue;
        }
        const QString folder = resolved.isEmpty() ? root_ : root_ + QLatin1Char('/') + resolved.join('/');
        const auto entry = matchEntry(folder, part);
        if (!entry) return std::nullopt;
        resolved.append(*entry);
    }
    const QString local = resolved.isEmpty() ? root_ : root_ + QLatin1Char('/') + resolved.join('/');
    if (!QFileInfo::exists(local)) return std::nullopt;
    return local;
}

std::vector<DirEntry> WindowsVolume::list(const QString& windowsFolder) const {
    const auto local = resolve(windowsFolder);
    if (!local || !QFileInfo(*local).isDir()) return {};
    const QStringList names = QDir(*local).entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::NoSort);
    std::vector<DirEntry> entries;
    entries.reserve(names.size());
    for (const QString& name : names) {
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
    const QByteArray path = QFile::encodeName(localPath);
    unsigned char raw[4];
    if (getxattr(path.constData(), "system.ntfs_attrib_be", raw, sizeof raw) == sizeof raw) {
        return (uint32_t{raw[0]} << 24) | (uint32_t{raw[1]} << 16) | (uint32_t{raw[2]} << 8) | raw[3];
    }
    struct stat st {};
    if (stat(path.constData(), &st) != 0) return 0;
    uint32_t attributes = S_ISDIR(st.st_mode) ? fileattr::Directory : fileattr::Archive;
    if (QFileInfo(localPath).fileName().startsWith(QLatin1Char('.'))) attributes |= fileattr::Hidden;
    if ((st.st_mode & S_IWUSR) == 0) attributes |= fileattr::ReadOnly;
    return attributes;
}

}  // namespace kestrova
