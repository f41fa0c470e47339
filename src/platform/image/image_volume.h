// An NTFS file system inside a disk image, as the examined volume: libfsntfs reads it through a
// libbfio handle over the partition's bytes of the image (no mount, nothing written).
//
// Windows paths are resolved component by component as NTFS matches names: the directory index
// first (libfsntfs), then the folder's entries compared case-insensitively, so that names in any
// script and any case are found. Listings come in the index's order, which is NTFS's own, with
// the entries' attribute values as stored.
//
// Readers and the libraries under them (hivex, SQLite, libmsiecf) read local files: a file is
// handed out as an unnamed temporary file in the private temporary folder holding its bytes,
// made when it is first opened and kept while the volume is examined.
#pragma once

#include <QString>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "platform/image/disk_image.h"
#include "platform/image/partitions.h"
#include "platform/volume/volume.h"

namespace kestrova {

class NtfsReader;

class ImageVolume : public Volume {
public:
    // The NTFS file system of a partition; nullptr with the reason in *why ("encrypted with
    // BitLocker", "not an NTFS file system (FAT32)", "damaged: ...").
    static std::unique_ptr<ImageVolume> open(std::shared_ptr<const DiskImage> disk, const Partition& partition,
                                             const QString& imagePath, const QString& tempFolder, QString* why);
    ~ImageVolume() override;

    QString description() const override { return description_; }
    bool exists(const QString& windowsPath) const override;
    std::unique_ptr<QIODevice> openFile(const QString& windowsPath, const QString& label, Findings* findings) const override;
    std::vector<DirEntry> list(const QString& windowsFolder, Findings* findings) const override;
    std::optional<QString> localPath(const QString& windowsPath) const override;

    // The volume label ("" when it has none).
    QString label() const;
    // What the image's reader child serves (platform/image/image_server): a path's MFT reference
    // (nullopt when it names nothing) and whether it is a folder; a folder's entries (found false
    // when there is none); a file's bytes copied into fd.
    std::optional<quint64> referenceOf(const QString& windowsPath, bool* folder) const;
    std::vector<DirEntry> listFolder(const QString& windowsPath, bool* found) const;
    bool copyTo(const QString& windowsPath, int fd) const;

private:
    ImageVolume() = default;
    std::unique_ptr<NtfsReader> ntfs_;
    QString description_;
    QString tempFolder_;
    // The files taken out so far, by MFT reference: unnamed temporary files, kept for the run.
    mutable std::mutex copiesMutex_;
    mutable std::unordered_map<uint64_t, int> copies_;
};

class ImageServer;

// The served partition of an image as the examined volume, in the program: every request goes to
// the image's reader child (ImageServer); a file is taken out once, into an unnamed temporary
// file in the private temporary folder, and shared by the readers that open it after one
// another. When the child is gone, every request fails with its reason, noted as damage.
class ServedVolume : public Volume {
public:
    ServedVolume(std::shared_ptr<ImageServer> server, QString description, QString tempFolder);
    ~ServedVolume() override;
    QString description() const override { return description_; }
    bool exists(const QString& windowsPath) const override;
    std::unique_ptr<QIODevice> openFile(const QString& windowsPath, const QString& label, Findings* findings) const override;
    std::vector<DirEntry> list(const QString& windowsFolder, Findings* findings) const override;
    std::optional<QString> localPath(const QString& windowsPath) const override;
    QString label() const;

private:
    std::shared_ptr<ImageServer> server_;
    QString description_;
    QString tempFolder_;
    mutable std::mutex copiesMutex_;
    mutable std::unordered_map<quint64, int> copies_;  // MFT reference to the file taken out
};

// Whether a partition of an image holds a Windows system: Windows\System32\config\SYSTEM, or a
// profile with an NTUSER.DAT under Users or Documents and Settings.
bool holdsWindows(const Volume& volume);

}  // namespace kestrova
