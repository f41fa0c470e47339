// The Windows system under examination, as the readers need it: its registry, a few records
// Windows would report about itself, and its files addressed by Windows paths. The platform layer
// serves it from a mounted volume or a copied folder tree; nothing here ever writes to it.
#pragma once

#include <QIODevice>
#include <QString>
#include <memory>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/common/findings.h"
#include "core/registry/registry_backend.h"
#include "core/sqlite/sqlite_engine.h"
#include "core/system/url_history_store.h"

namespace kestrova {

// The version record as the system reports it to a program without a compatibility manifest.
struct VersionRecord {
    uint32_t platformId = 0;
    uint32_t major = 0;
    uint32_t minor = 0;
};

// File attribute bits in the numeric form Windows hands out (16 directory, 32 archive, ...).
namespace fileattr {
inline constexpr uint32_t ReadOnly = 1;
inline constexpr uint32_t Hidden = 2;
inline constexpr uint32_t System = 4;
inline constexpr uint32_t Directory = 16;
inline constexpr uint32_t Archive = 32;
}  // namespace fileattr

struct DirEntry {
    QString name;
    uint32_t attributes = 0;

    // "." and "..", which every listing carries and no reader lists.
    bool isDotEntry() const { return name == QLatin1String(".") || name == QLatin1String(".."); }
    // The folder test the listings have always made: a numeric range, not a bit test, so a folder
    // that also carries the archive bit (48 and up) is taken for a file.
    bool inFolderRange() const { return attributes >= 16 && attributes <= 31; }
};

// A file's own times on the volume as FILETIMEs, as NTFS keeps them (a folder tree's converted
// from what Linux tells); 0 where the volume does not know one.
struct FileTimes {
    qint64 created = 0;
    qint64 modified = 0;
    qint64 accessed = 0;
    qint64 changed = 0;  // the entry's own last change (NTFS: MFT entry modified; Linux: ctime)
};

// A file of a disk image that can be read where it lies, without taking it out: the image file
// (one raw file) and the file's pieces in it, in order (an offset of -1 is a run of zeros).
struct PlainFile {
    QString image;
    quint64 size = 0;
    std::vector<std::pair<qint64, quint64>> runs;  // (offset in the image, length)
};

class AnalysedSystem {
public:
    virtual ~AnalysedSystem() = default;

    virtual const RegistryBackend& registry() const = 0;
    // nullopt when the system's version cannot be told at all.
    virtual std::optional<VersionRecord> versionRecord() const = 0;
    virtual QString computerName() const = 0;  // "" when unknown
    virtual QString profileName() const = 0;   // the user whose profile is examined
    virtual uint32_t systemLocaleId() const = 0;  // 0 when unknown
    virtual QString windowsDirectory() const = 0; // a Windows path such as "C:\Windows"
    virtual QString systemDirectory() const = 0;  // "C:\Windows\system32"

    // Whether a Windows path names a file or folder on the volume (matched case-insensitively, as
    // NTFS does); false also for one that leads out of it.
    virtual bool exists(const QString& windowsPath) const = 0;
    // A local file standing for a file of the volume, for the desktop's open action (the file
    // itself in a folder tree, a copy taken out of an image); nullopt when there is none.
    virtual std::optional<QString> localPath(const QString& windowsPath) const = 0;
    // A regular file of the volume opened for reading, for a reader's source named by label
    // ("places database"); nullptr, with the reason noted in findings(), when it is missing,
    // unreadable or not a regular file. Only such files are ever opened.
    virtual std::unique_ptr<QIODevice> openFile(const QString& windowsPath, const QString& label) const = 0;
    // Where a file of a raw disk image lies in it, for readers that read in place (SQLite);
    // nullopt for a folder tree, a container, or a file stored otherwise (resident, compressed).
    virtual std::optional<PlainFile> plainFile(const QString& windowsPath) const { (void)windowsPath; return std::nullopt; }
    // A file's or folder's own times; nullopt when it does not exist or they cannot be read.
    virtual std::optional<FileTimes> fileTimes(const QString& windowsPath) const { (void)windowsPath; return std::nullopt; }
    // A regular file's size in bytes, without opening it (an image's file is not taken out);
    // nullopt for a folder, a file that is not there, or where it cannot be told.
    virtual std::optional<qint64> fileSize(const QString& windowsPath) const { (void)windowsPath; return std::nullopt; }
    // The entries of a Windows folder in the order Windows lists them; empty, with the reason
    // noted, when the folder does not exist or cannot be read.
    virtual std::vector<DirEntry> listFolder(const QString& windowsFolder) const = 0;

    // Internet Explorer's URL history of the examined user: the records of the profile's
    // History.IE5\index.dat (none when it is missing or damaged; the reason is noted whenever it
    // is enumerated). Changes made through it last for the run and never reach the volume.
    virtual UrlHistoryStore& urlHistory() const = 0;

    // The SQLite engine that reads this system's databases (never in place; see the platform).
    virtual SqliteEngine& sqliteEngine() const = 0;

    // Why the sources asked for since the last clear could not be read. The reader frame clears
    // it before each reader and reports it after; it is the one piece of the system that reading
    // changes, so it is mutable through a const system.
    virtual Findings& findings() const = 0;
};

}  // namespace kestrova
