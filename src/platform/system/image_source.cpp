#include "platform/system/image_source.h"

namespace kestrova {

ImageSource openImageSource(const QString& path, int partition, const QString& tempFolder) {
    ImageSource source;
    source.server = ImageServer::start(path, partition);
    const ImageSummary& summary = source.server->summary();
    source.problem = summary.problem;
    if (summary.chosen > 0 && source.problem.isEmpty()) {
        source.volume = std::make_shared<ServedVolume>(
            source.server, QStringLiteral("%1, partition %2 (NTFS)").arg(path).arg(summary.chosen), tempFolder);
    }
    return source;
}

}  // namespace kestrova
