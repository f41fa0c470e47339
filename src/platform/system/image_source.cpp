#include "platform/system/image_source.h"

namespace kestrova {

ImageSource servedSource(std::shared_ptr<ImageServer> server, const QString& path, const QString& tempFolder) {
    ImageSource source;
    source.server = std::move(server);
    const ImageSummary& summary = source.server->summary();
    source.problem = summary.problem;
    if (summary.chosen > 0 && source.problem.isEmpty()) {
        source.volume = std::make_shared<ServedVolume>(
            source.server,
            QStringLiteral("%1, partition %2 (NTFS)%3")
                .arg(path)
                .arg(summary.chosen)
                .arg(summary.store > 0 ? QStringLiteral(", shadow copy %1").arg(summary.store) : QString()),
            tempFolder);
    }
    return source;
}

ImageSource openImageSource(const QString& path, int partition, const QString& tempFolder, int store) {
    return servedSource(ImageServer::start(path, partition, store), path, tempFolder);
}

}  // namespace kestrova
