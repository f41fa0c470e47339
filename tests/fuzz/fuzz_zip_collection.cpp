// A triage collection's ZIP, whatever its bytes: opened, its volume listed folder by folder and
// every file taken out and read. A lying header, a cut central directory, a bomb or a name that
// climbs out must each be a reason, never a fault, a hang or a write outside the temporary folder.
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QIODevice>
#include <QTemporaryDir>
#include <cstdint>
#include <vector>

#include "platform/volume/zip_volume.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace kestrova;
    static QTemporaryDir temp;
    const QString path = temp.filePath(QStringLiteral("input.zip"));
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) return 0;
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    }
    QString why;
    const auto volume = ZipVolume::open(path, temp.path(), &why);
    if (!volume) return 0;
    (void)volume->metadata();
    std::vector<QString> folders{QStringLiteral("C:")};
    Findings findings;
    for (size_t i = 0; i < folders.size() && i < 256; ++i) {
        for (const DirEntry& entry : volume->list(folders[i], &findings)) {
            const QString child = folders[i] + QLatin1Char('\\') + entry.name;
            if (entry.attributes & 0x10) {
                folders.push_back(child);
                continue;
            }
            (void)volume->fileTimes(child);
            if (const auto file = volume->openFile(child, QStringLiteral("file"), &findings)) (void)file->readAll();
        }
    }
    return 0;
}
