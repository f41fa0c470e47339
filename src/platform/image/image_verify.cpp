#include "platform/image/image_verify.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QIODevice>
#include <vector>

#include "platform/contained/contained_run.h"
#include "platform/image/disk_image.h"

namespace kestrova {
namespace {

// Frames from the child: 'S' format, size, stored MD5, stored SHA-1; 'P' bytes done; 'H' the
// computed hashes; 'E' why it stopped.
constexpr size_t kChunk = size_t{8} << 20;  // libewf decompresses chunk by chunk: many a call

QByteArray frame(char type, const std::function<void(QDataStream&)>& fill) {
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << qint8(type);
    fill(out);
    return bytes;
}

int hashInChild(const QString& path, FrameWriter& out) {
    QString why;
    const std::unique_ptr<DiskImage> disk = DiskImage::open(path, &why);
    if (!disk) {
        out.write(frame('E', [&](QDataStream& s) { s << why; }));
        return 0;
    }
    QString storedMd5, storedSha1;
    for (const auto& [name, value] : disk->metadata()) {
        if (name == QLatin1String("stored MD5")) storedMd5 = value;
        if (name == QLatin1String("stored SHA-1")) storedSha1 = value;
    }
    const uint64_t size = disk->size();
    if (!out.write(frame('S', [&](QDataStream& s) { s << disk->format() << quint64(size) << storedMd5 << storedSha1; }))) return 0;
    QCryptographicHash md5(QCryptographicHash::Md5), sha1(QCryptographicHash::Sha1);
    std::vector<char> buffer(kChunk);
    uint64_t done = 0;
    while (done < size) {
        const size_t want = static_cast<size_t>(std::min<uint64_t>(kChunk, size - done));
        const int64_t got = disk->read(done, buffer.data(), want);
        if (got <= 0) {
            const QString reason = got < 0 ? QStringLiteral("the chunk at offset %1 is unreadable").arg(done)
                                           : QStringLiteral("the image ends at byte %1 of %2").arg(done).arg(size);
            out.write(frame('E', [&](QDataStream& s) { s << reason; }));
            return 0;
        }
        md5.addData(QByteArrayView(buffer.data(), got));
        sha1.addData(QByteArrayView(buffer.data(), got));
        done += static_cast<uint64_t>(got);
        if (!out.write(frame('P', [&](QDataStream& s) { s << quint64(done); }))) return 0;
    }
    // A set libewf opens without its last segments reads their part as zeros: hashed, but said.
    const QString incomplete = disk->incomplete();
    out.write(frame('H', [&](QDataStream& s) { s << QString::fromLatin1(md5.result().toHex()) << QString::fromLatin1(sha1.result().toHex()) << incomplete; }));
    return 0;
}

}  // namespace

ImageVerification verifyImage(const QString& path, const std::function<void(uint64_t, uint64_t)>& progress) {
    ImageVerification result;
    QString incomplete;
    // No limit on processor time and a day of wall-clock time: a large compressed image takes long.
    const ContainedEnd end = runContained([&](FrameWriter& out) { return hashInChild(path, out); },
                                          [&](QByteArrayView bytes) {
                                              QDataStream in(bytes.toByteArray());
                                              qint8 type = 0;
                                              in >> type;
                                              if (type == 'S') {
                                                  quint64 size = 0;
                                                  in >> result.format >> size >> result.storedMd5 >> result.storedSha1;
                                                  result.size = size;
                                              } else if (type == 'P') {
                                                  quint64 done = 0;
                                                  in >> done;
                                                  result.done = done;
                                                  if (progress) progress(result.done, result.size);
                                              } else if (type == 'H') {
                                                  in >> result.md5 >> result.sha1 >> incomplete;
                                                  result.read = true;
                                              } else if (type == 'E') {
                                                  in >> result.why;
                                              }
                                          },
                                          ContainedLimits{.memoryBytes = size_t{4} << 30, .cpuSeconds = 0, .wallSeconds = 86400});
    if (!end.completed && result.why.isEmpty()) result.why = QStringLiteral("the image's reader %1").arg(end.why);
    if (!result.read && result.why.isEmpty()) result.why = QStringLiteral("the image's reader ended without an answer");
    if (result.read && !incomplete.isEmpty()) {
        // Every byte was hashed, but some were zeros standing for what is missing.
        result.read = false;
        result.why = incomplete;
    }
    return result;
}

}  // namespace kestrova
