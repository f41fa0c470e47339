// The examined Windows volume as everything above the platform sees it: files and folders
// addressed by Windows paths, matched case-insensitively as NTFS matches names, listed in NTFS
// order with Windows attribute values. Two back ends: a local folder standing for C:\ (a mounted
// partition or a copied tree, WindowsVolume) and an NTFS file system inside a disk image
// (ImageVolume). Nothing above knows which one serves it. Read-only by construction.
#pragma once

#include <QIODevice>
#include <QString>
#include <memory>
#include <optional>
#include <vector>

#include "core/common/findings.h"
#include "core/system/analysed_system.h"

namespace kestrova {

class Volume {
public:
    virtual ~Volume() = default;
    // What the volume is, in the user's words: the folder, or "disk.E01, partition 2 (NTFS)".
    virtual QString description() const = 0;
    // Whether a Windows path names a file or folder on the volume.
    virtual bool exists(const QString& windowsPath) const = 0;
    // A regular file of the volume opened for reading, as a file of this machine (a library that
    // insists on a path gets descriptorPath() of it); nullptr, with the reason noted under
    // "label path" in findings (which may be nullptr), when it cannot be.
    virtual std::unique_ptr<QIODevice> openFile(const QString& windowsPath, const QString& label, Findings* findings) const = 0;
    // The entries of a folder; empty, with the reason noted, when there is none.
    virtual std::vector<DirEntry> list(const QString& windowsFolder, Findings* findings) const = 0;
    // A local file that stands for the volume's, for the desktop's open action: the file itself
    // in a folder tree, a copy taken out of an image.
    virtual std::optional<QString> localPath(const QString& windowsPath) const = 0;
    // Where a file lies in a raw image, to be read in place (see PlainFile); nullopt otherwise.
    virtual std::optional<PlainFile> plainFile(const QString& windowsPath) const { (void)windowsPath; return std::nullopt; }
    // A file's or folder's own times (see FileTimes); nullopt when there is none.
    virtual std::optional<FileTimes> fileTimes(const QString& windowsPath) const { (void)windowsPath; return std::nullopt; }
    // A regular file's size; nullopt for a folder or a file that is not there.
    virtual std::optional<qint64> fileSize(const QString& windowsPath) const { (void)windowsPath; return std::nullopt; }
};

}  // namespace kestrova
