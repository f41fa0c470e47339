#include "platform/system/image_source.h"

namespace kestrova {

ImageSource openImageSource(const QString& path, int partition, const QString& tempFolder, int store) {
    ImageSource source;
    source.server = ImageServer::start(path, partition, store);
    const ImageSummary& summary = source.server->summary();
    source.problem = summary.problem;
    if (summary.chosen > 0 && source.problem.isEmpty()) {
        source.volume = std::make_shared<ServedVolume>(
            source.server, QStringLiteral("%1, partition %2 (NTFS)%3")
                                  .arg(path)
                                  .arg(summary.chosen)
                                  .arg(store > 0 ? QStringLiteral(", shadow copy %1").arg(store) : QString()),
            tempFolder);
    }
    return source;
}

}  // namespace kestrova
