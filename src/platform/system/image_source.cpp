#include "platform/system/image_source.h"

namespace kestrova {

ImageSource openImageSource(const QString& path, int partition, const QString& tempFolder) {
    ImageSource source;
    QString why;
    source.disk = DiskImage::open(path, &why);
    if (!source.disk) {
        source.problem = why;
        return source;
    }
    source.partitions = listPartitions(*source.disk);
    if (source.partitions.empty()) {
        source.problem = QStringLiteral("%1 holds no partition table and no file system this program knows").arg(path);
        return source;
    }
    QStringList refused;
    for (const Partition& p : source.partitions) {
        if (partition > 0 && p.number != partition) continue;
        const bool ntfs = p.fileSystem == QLatin1String("NTFS") || p.fileSystem == QLatin1String("BitLocker");
        if (partition == 0 && (p.reservedOrEfi || !ntfs)) continue;
        auto volume = std::shared_ptr<ImageVolume>(ImageVolume::open(source.disk, p, path, tempFolder, &why).release());
        if (!volume) {
            refused << why;
            continue;
        }
        const bool windows = holdsWindows(*volume);
        if (windows) source.windows.push_back(p.number);
        if (!source.volume && (windows || partition > 0)) {
            source.volume = volume;
            source.chosen = p.number;
        }
    }
    if (partition > 0 && !source.volume) {
        source.problem = refused.isEmpty() ? QStringLiteral("%1 has no partition %2").arg(path).arg(partition)
                                           : QStringLiteral("%1: %2").arg(path, refused.join(QStringLiteral("; ")));
    } else if (!source.volume) {
        source.problem = QStringLiteral("no partition of %1 holds a Windows system%2; name one with --partition")
                             .arg(path, refused.isEmpty() ? QString() : QStringLiteral(" (") + refused.join(QStringLiteral("; ")) + QLatin1Char(')'));
    }
    return source;
}

}  // namespace kestrova
