// A disk image chosen as the evidence: opened, its partitions listed, and the one examined chosen
// (the one asked for, or else the one that holds a Windows system; an EFI or reserved partition
// never is).
#pragma once

#include <QString>
#include <memory>
#include <vector>

#include "platform/image/disk_image.h"
#include "platform/image/image_volume.h"
#include "platform/image/partitions.h"

namespace kestrova {

struct ImageSource {
    std::shared_ptr<DiskImage> disk;
    std::vector<Partition> partitions;
    int chosen = 0;                        // the partition examined, from 1; 0 when none is
    std::shared_ptr<ImageVolume> volume;   // its file system
    std::vector<int> windows;              // the partitions that hold a Windows system
    QString problem;                       // why none can be examined, in the user's words
};

// partition: from 1, or 0 for the one that holds Windows. tempFolder: where files taken out of
// the image are kept while they are read (the program's private temporary folder).
ImageSource openImageSource(const QString& path, int partition, const QString& tempFolder);

}  // namespace kestrova
