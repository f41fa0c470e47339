// The command line's words on disk images: what info says of an image (container, acquisition
// data, partitions), and the verify command.
#pragma once

#include <QString>
#include <QTextStream>

#include "platform/system/image_source.h"

namespace kestrova::cli {

// The image: its container, what it records of its acquisition, its partitions.
void describeImage(const ImageSource& image, QTextStream& out);

// Hashes the whole image and compares with what it stored, as ewfverify does; the command's exit
// status (0: every stored hash matches, or none is stored).
int verify(const QString& image, QTextStream& out);

}  // namespace kestrova::cli
