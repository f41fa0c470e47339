// A generated cache index for the index.dat scan's benchmarks, and a way to meet a file as an
// examined volume's file is met: not in the page cache.
#pragma once

#include <QByteArray>
#include <QFile>
#include <QRandomGenerator>
#include <QString>
#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

namespace kestrova::bench {

// Records as a cache index lays them out: "URL ", a header, the location 0x68 bytes in.
inline bool writeIndex(const QString& path, qint64 size) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) return false;
    QRandomGenerator rng(2026);
    QByteArray block;
    block.reserve(4 << 20);
    qint64 written = 0;
    int n = 0;
    while (written < size) {
        block.clear();
        while (block.size() < (4 << 20) - 1024) {
            QByteArray record(256 + rng.bounded(512), '\0');
            record.replace(0, 4, "URL ");
            const QByteArray url = "http://www.site" + QByteArray::number(n % 9973) + ".example/cache/item" +
                                   QByteArray::number(n) + ".png";
            record.replace(0x68, url.size(), url);
            for (qsizetype i = 0x68 + url.size() + 8; i < record.size(); i += 16) record[i] = static_cast<char>(rng.bounded(256));
            block += record;
            ++n;
        }
        block.truncate(std::min<qint64>(block.size(), size - written));
        if (file.write(block) != block.size()) return false;
        written += block.size();
    }
    return true;
}

// Drops the file's pages from the page cache (no privileges needed for one's own file).
inline void evict(const QString& path) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY);
    if (fd < 0) return;
    ::fdatasync(fd);
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
    ::close(fd);
}

}  // namespace kestrova::bench
