// A disk image chosen as the evidence: opened, its partitions listed, and the one examined chosen
// (the one asked for, or else the one that holds a Windows system; an EFI or reserved partition
// never is).
#pragma once

#include <QString>
#include <memory>
#include <vector>

#include "platform/image/image_server.h"
#include "platform/image/image_volume.h"

namespace kestrova {

// The image is read by a child process of its own (platform/image/image_server.h): what it found
// when it opened the image, and the partition it serves as the examined volume.
struct ImageSource {
    std::shared_ptr<ImageServer> server;
    std::shared_ptr<ServedVolume> volume;  // the partition examined; nullptr when none is
    QString problem;                       // why none can be examined, in the user's words
    const ImageSummary& summary() const { return server->summary(); }
};

// partition: from 1, or 0 for the one that holds Windows; store: from 1 for the partition as one of
// its shadow copies keeps it, 0 for the partition as it is. tempFolder: where files taken out of
// the image are kept while they are read (the program's private temporary folder).
ImageSource openImageSource(const QString& path, int partition, const QString& tempFolder, int store = 0);
// The image at `path` as the child `server` serves it.
ImageSource servedSource(std::shared_ptr<ImageServer> server, const QString& path, const QString& tempFolder);

}  // namespace kestrova
