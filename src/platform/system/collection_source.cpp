#include "platform/system/collection_source.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <functional>

#include "platform/volume/subtree_volume.h"
#include "platform/volume/windows_volume.h"

namespace kestrova {
namespace {

// A collected tree holds its volume a few folders down at most (uploads/auto/C%3A/Windows).
constexpr int kDeepest = 4;
constexpr size_t kMostListed = 20000;

using Lister = std::function<std::vector<DirEntry>(const QStringList& folder)>;

// The layout of a tree listed folder by folder: its entries down to kDeepest levels, not looking
// inside a volume's own top folders (a volume's Windows folder says enough by its name).
std::optional<CollectionLayout> layoutOfTree(const Lister& children) {
    std::vector<QStringList> paths, folders{QStringList()};
    for (size_t i = 0; i < folders.size() && paths.size() < kMostListed; ++i) {
        const QStringList folder = folders[i];
        for (const DirEntry& entry : children(folder)) {
            QStringList path = folder;
            path << entry.name;
            paths.push_back(path);
            if ((entry.attributes & fileattr::Directory) && path.size() < kDeepest && !isVolumeTop(decodedPart(entry.name))) folders.push_back(path);
        }
    }
    return recogniseCollection(paths);
}

// counted: what the counts are ("files" of a ZIP; a tree is listed only down to its volumes' tops).
void describeVolumes(const CollectionLayout& layout, const char* counted, std::vector<std::pair<QString, QString>>& facts) {
    for (const CollectedVolume& v : layout.volumes) {
        const QString where = v.prefixes.size() == 1 && v.prefixes[0].isEmpty() ? QStringLiteral("at the top") : QStringLiteral("under ") + v.prefixes.join(QStringLiteral(", "));
        facts.emplace_back(v.store > 0 ? QStringLiteral("shadow copy %1").arg(v.store) : QStringLiteral("volume %1").arg(v.name),
                           QStringLiteral("%1 %2 %3").arg(v.files).arg(QLatin1String(counted), where));
    }
}

CollectionSource fromFolder(const QString& path) {
    CollectionSource source;
    const auto layout = layoutOfTree([&](const QStringList& folder) {
        QDir dir(path + QLatin1Char('/') + folder.join(QLatin1Char('/')));
        std::vector<DirEntry> entries;
        for (const QFileInfo& info : dir.entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System, QDir::Name)) {
            if (info.isSymLink()) continue;  // nothing resolving outside the collection is followed
            entries.push_back({info.fileName(), info.isDir() ? fileattr::Directory : fileattr::Archive});
        }
        return entries;
    });
    if (!layout) {
        source.problem = QStringLiteral("%1 holds no Windows volume: no folder down to %2 levels holds Windows, Users or ProgramData").arg(path).arg(kDeepest);
        return source;
    }
    source.facts.emplace_back(QStringLiteral("collection"), collectionKindName(layout->kind) + QStringLiteral(", a folder"));
    describeVolumes(*layout, "entries at its top", source.facts);
    const QString root = layout->volumes[0].prefixes[0].isEmpty() ? path : path + QLatin1Char('/') + layout->volumes[0].prefixes[0];
    if (layout->volumes[0].prefixes.size() > 1) {
        source.facts.emplace_back(QStringLiteral("read"), QStringLiteral("only %1: unpacked, the volume's other folders are not joined").arg(layout->volumes[0].prefixes[0]));
    }
    source.volume = std::make_shared<WindowsVolume>(root);
    return source;
}

CollectionSource fromContainer(const QString& path, const QString& tempFolder) {
    CollectionSource source;
    ImageSource image = openImageSource(path, 0, tempFolder);
    if (!image.volume) {
        // A KAPE container holds no Windows system at its root: its first NTFS partition is the collection.
        for (const Partition& p : image.summary().partitions) {
            if (p.fileSystem != QLatin1String("NTFS") || p.reservedOrEfi) continue;
            image = openImageSource(path, p.number, tempFolder);
            break;
        }
    }
    if (!image.volume) {
        source.problem = image.problem.isEmpty() ? QStringLiteral("%1 holds no NTFS volume").arg(path) : image.problem;
        return source;
    }
    const auto served = image.volume;
    const auto layout = layoutOfTree([&](const QStringList& folder) {
        return served->list(QStringLiteral("C:\\") + folder.join(QLatin1Char('\\')), nullptr);
    });
    if (!layout) {
        source.problem = QStringLiteral("%1 holds no Windows volume: no folder down to %2 levels holds Windows, Users or ProgramData").arg(path).arg(kDeepest);
        return source;
    }
    source.facts.emplace_back(QStringLiteral("collection"), collectionKindName(layout->kind) + QStringLiteral(", a %1 container").arg(image.summary().format));
    describeVolumes(*layout, "entries at its top", source.facts);
    const QString prefix = layout->volumes[0].prefixes[0];
    source.volume = prefix.isEmpty() ? std::shared_ptr<Volume>(served)
                                     : std::make_shared<SubtreeVolume>(served, QStringLiteral("C:\\") + QString(prefix).replace(QLatin1Char('/'), QLatin1Char('\\')),
                                                                       QStringLiteral("%1, under %2").arg(served->description(), prefix));
    source.image = std::move(image);
    return source;
}

bool looksLikeZip(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return false;
    const QByteArray head = file.read(4);
    return head == QByteArray("PK\x03\x04", 4) || head == QByteArray("PK\x05\x06", 4);
}

}  // namespace

CollectionSource openCollection(const QString& path, const QString& tempFolder) {
    const QFileInfo info(path);
    if (!info.exists()) return {.problem = QStringLiteral("%1 does not exist").arg(path)};
    if (info.isDir()) return fromFolder(path);
    if (!info.isFile()) return {.problem = QStringLiteral("%1 is neither a file nor a folder").arg(path)};
    if (!looksLikeZip(path)) return fromContainer(path, tempFolder);
    CollectionSource source;
    source.zip = ZipVolume::open(path, tempFolder, &source.problem);
    if (!source.zip) return source;
    source.volume = source.zip;
    const CollectionLayout& layout = source.zip->layout();
    source.facts.emplace_back(QStringLiteral("collection"), collectionKindName(layout.kind) + QStringLiteral(", a ZIP"));
    for (auto& fact : source.zip->metadata()) source.facts.push_back(std::move(fact));
    describeVolumes(layout, "files", source.facts);
    if (source.zip->refusedCount() > 0) {
        source.facts.emplace_back(QStringLiteral("members refused"), QStringLiteral("%1: %2%3")
                                                                        .arg(source.zip->refusedCount())
                                                                        .arg(source.zip->refusedMembers().join(QStringLiteral("; ")))
                                                                        .arg(source.zip->refusedCount() > source.zip->refusedMembers().size() ? QStringLiteral("; ...") : QString()));
    }
    return source;
}

}  // namespace kestrova
