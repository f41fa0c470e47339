// An NTFS file system inside a disk image: libfsntfs reads it through a libbfio handle over the
// partition's bytes of the image (no mount, nothing written). ImageVolume is that reading, done in
// the image's reader child (image_server); ServedVolume is the examined volume in the program,
// asking the child.
//
// Windows paths are resolved component by component as NTFS matches names: the directory index
// first (libfsntfs), then the folder's entries compared case-insensitively, so that names in any
// script and any case are found. Listings come in the index's order, which is NTFS's own, with
// the entries' attribute values as stored.
//
// Readers and the libraries under them (hivex, SQLite, libmsiecf) read local files: a file is
// handed out as an unnamed file holding its bytes, made when it is first opened and kept while the
// volume is examined (TakenOutFiles); a database in a raw image is read where it lies.
#pragma once

#include <QString>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "platform/image/disk_image.h"
#include "platform/image/partitions.h"
#include "platform/volume/taken_out_files.h"
#include "platform/volume/volume.h"

namespace kestrova {

class NtfsReader;

class ImageVolume {
public:
    // The NTFS file system of a partition; nullptr with the reason in *why ("encrypted with
    // BitLocker", "not an NTFS file system (FAT32)", "damaged: ...").
    static std::unique_ptr<ImageVolume> open(std::shared_ptr<const DiskImage> disk, const Partition& partition, QString* why);
    ~ImageVolume();

    // The volume label ("" when it has none).
    QString label() const;
    // Whether it holds a Windows system: Windows\System32\config\SYSTEM, or a profile with an
    // NTUSER.DAT under Users or Documents and Settings.
    bool holdsWindows() const;
    // What the image's reader child serves (platform/image/image_server): a path's MFT reference
    // (nullopt when it names nothing) and whether it is a folder; a folder's entries (found false
    // when there is none); a file's bytes copied into fd.
    std::optional<quint64> referenceOf(const QString& windowsPath, bool* folder, quint64* size, FileTimes* times = nullptr) const;
    std::vector<DirEntry> listFolder(const QString& windowsPath, bool* found) const;
    bool copyTo(const QString& windowsPath, int fd) const;
    // Where a file lies in the image file, for reading in place (a raw image of one file, a file
    // in plain or sparse runs); nullopt otherwise.
    std::optional<PlainFile> plainFile(const QString& windowsPath) const;

private:
    ImageVolume() = default;
    std::unique_ptr<NtfsReader> ntfs_;
};

class ImageServer;

// The served partition of an image as the examined volume, in the program: every request goes to
// the image's reader child (ImageServer); a file is taken out once, into an unnamed temporary
// file in the private temporary folder, and shared by the readers that open it after one
// another. When the child is gone, every request fails with its reason, noted as damage.
class ServedVolume : public Volume {
public:
    ServedVolume(std::shared_ptr<ImageServer> server, QString description, QString tempFolder);
    QString description() const override { return description_; }
    bool exists(const QString& windowsPath) const override;
    std::unique_ptr<QIODevice> openFile(const QString& windowsPath, const QString& label, Findings* findings) const override;
    std::vector<DirEntry> list(const QString& windowsFolder, Findings* findings) const override;
    std::optional<QString> localPath(const QString& windowsPath) const override;
    std::optional<PlainFile> plainFile(const QString& windowsPath) const override;
    std::optional<FileTimes> fileTimes(const QString& windowsPath) const override;
    std::optional<qint64> fileSize(const QString& windowsPath) const override;
    QString label() const;
    // What tells a file or folder apart from another or from its earlier self: whether it is
    // there, its MFT reference (with the sequence number), size and times. Equal between two
    // states of the volume, it is the same, unchanged file. nullopt when the child did not answer.
    struct Identity {
        bool exists = false;
        bool folder = false;
        quint64 reference = 0, size = 0;
        qint64 modified = 0, changed = 0;
        bool operator==(const Identity&) const = default;
    };
    std::optional<Identity> identity(const QString& windowsPath) const;

private:
    // Taking a file out is the long request: one asked for while another is being taken out goes
    // to a second child (started then, once), so that both are taken out at once, and beside the
    // reading of what was taken out before.
    bool takeOut(const QString& windowsPath, int fd, QString* why) const;
    std::shared_ptr<ImageServer> server_;
    QString description_;
    TakenOutFiles takenOut_;
    struct Copier {
        std::shared_ptr<ImageServer> server;
        bool busy = false;
    };
    mutable std::mutex copiersMutex_;
    mutable std::condition_variable copierFree_;
    mutable std::vector<Copier> copiers_;
    mutable bool anotherTried_ = false;
};

}  // namespace kestrova
