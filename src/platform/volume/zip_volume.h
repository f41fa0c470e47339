// A triage collection in a ZIP as the examined volume: a plain ZIP of a C: tree, a KAPE target
// folder zipped, or a Velociraptor offline collection (see collection_layout.h for the layouts).
//
// The ZIP is read in place through libzip: a file the readers open is taken out, member by member,
// into an unnamed file in memory (as an image's files are, see taken_out_files.h), once a run,
// never the whole archive. A member that claims to inflate more than 1000 times its stored size, or more than any
// file a reader takes, is refused with the reason (a ZIP bomb); one whose bytes fail their check,
// or that inflates to another size than it claims, is said to be damaged. Member names are taken
// as UTF-8 where they say so and as CP437 otherwise (libzip's guess), and a name that climbs out
// ("..") or is absolute is refused: names only ever become Windows paths here, never local ones.
#pragma once

#include <QString>
#include <map>
#include <memory>
#include <vector>

#include "platform/volume/collection_layout.h"
#include "platform/volume/volume.h"

namespace kestrova {

class ZipArchive;

class ZipVolume : public Volume {
public:
    // The collection's examined volume; nullptr, with why, when the file is no ZIP libzip reads
    // or holds no Windows volume.
    static std::shared_ptr<ZipVolume> open(const QString& path, const QString& tempFolder, QString* why);
    ~ZipVolume() override;

    // Another volume of the same collection (a shadow copy, another drive): layout().volumes[i].
    std::shared_ptr<ZipVolume> sibling(size_t i) const;

    QString description() const override;
    bool exists(const QString& windowsPath) const override;
    std::unique_ptr<QIODevice> openFile(const QString& windowsPath, const QString& label, Findings* findings) const override;
    std::vector<DirEntry> list(const QString& windowsFolder, Findings* findings) const override;
    std::optional<QString> localPath(const QString& windowsPath) const override;
    // A member taken out, to be read where it lies in memory (SQLite reads a database so).
    std::optional<PlainFile> plainFile(const QString& windowsPath) const override;
    std::optional<FileTimes> fileTimes(const QString& windowsPath) const override;
    std::optional<qint64> fileSize(const QString& windowsPath) const override;

    const CollectionLayout& layout() const;
    const CollectedVolume& collected() const;
    // What the collector recorded of itself ("collected by", "collected at", "collected from", "files
    // listed"), in the order found; empty for a plain ZIP.
    std::vector<std::pair<QString, QString>> metadata() const;
    // Members refused while listing (names that climb out, unreadable entries), with why; the
    // first few, and how many in all.
    const QStringList& refusedMembers() const;
    qint64 refusedCount() const;

    // Refused: a member inflating more than this many times its stored size.
    static constexpr quint64 kMostRatio = 1000;

    // A member as the archive's central directory describes it.
    struct Member {
        quint64 index = 0;
        quint64 size = 0, stored = 0;
        quint32 crc = 0;
        qint32 method = 0;       // ZIP_CM_STORE, ZIP_CM_DEFLATE, ...
        bool encrypted = false;
        std::optional<FileTimes> times{};  // from the member's extra fields, in UTC
        QString name{};                    // as listed
    };

private:
    ZipVolume(std::shared_ptr<ZipArchive> archive, size_t volume);
    const Member* member(const QString& windowsPath) const;
    static QString key(const QString& windowsPath);

    std::shared_ptr<ZipArchive> archive_;
    size_t volume_ = 0;
    std::map<QString, Member> files_;                   // by key
    std::map<QString, std::vector<DirEntry>> folders_;  // by key: the entries each folder holds, as NTFS orders them
};

}  // namespace kestrova
