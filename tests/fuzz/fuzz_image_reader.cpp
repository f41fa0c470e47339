// The whole image path as the program takes it: any bytes as a disk image, opened by the reader
// child (containers, partition table, libfsntfs), its answers read back, the root listed and a
// hive asked for. A crafted image may end the child; the program must go on, saying why. Seeds
// are small NTFS images made with mkntfs, MBR and GPT disks (scripts/fuzz.sh).
#include <QByteArray>
#include <QFile>
#include <QTemporaryDir>
#include <cstdint>
#include <cstdlib>

#include "platform/image/image_server.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace kestrova;
    static QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("image.raw"));
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly)) return 0;
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    }
    const auto server = ImageServer::start(path, 0);
    if (server->summary().chosen > 0) {
        bool found = false;
        (void)server->list(QStringLiteral("C:\\"), &found);
        (void)server->stat(QStringLiteral("C:\\Windows\\System32\\config\\SYSTEM"));
        (void)server->plainFile(QStringLiteral("C:\\Windows\\System32\\config\\SYSTEM"));
    }
    return 0;
}
