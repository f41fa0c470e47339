// A disk image as the examiner received it, read as the disk it stands for: EWF (E01 and its
// further segments), VHD and VHDX, VMDK, QCOW2, and raw images (one file, or split into numbered
// segments .000/.001 or .001/.002). Containers are read through the libyal libraries (libewf,
// libvhdi, libvmdk, libqcow); their 1/0/-1 conventions end here. Opened read-only; nothing here
// ever writes to an image.
#pragma once

#include <QString>
#include <QStringList>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace kestrova {

class DiskImage {
public:
    virtual ~DiskImage() = default;
    // "EWF", "VHD", "VHDX", "VMDK", "QCOW", "raw"
    virtual QString format() const = 0;
    // The size of the disk the image stands for, in bytes.
    virtual uint64_t size() const = 0;
    // The files the image is made of (segments, extents), in order.
    virtual QStringList files() const = 0;
    // What the container records about its acquisition (EWF: case number, examiner, stored MD5
    // and SHA-1 ...), as name and value.
    virtual std::vector<std::pair<QString, QString>> metadata() const { return {}; }
    // The one file the disk's bytes lie in as they are (a raw image of one segment), where a
    // reader may read them in place; "" for any other image.
    virtual QString plainFile() const { return QString(); }
    // Why the image does not hold the whole disk, in the user's words ("incomplete: ..."): a
    // segment missing or cut, a chunk that could not be read; "" while nothing says so.
    QString incomplete() const {
        const std::lock_guard lock(mutex_);
        const QString container = containerDamage();
        if (!container.isEmpty()) return container;
        return firstReadError_;
    }

    // Reads up to size bytes at offset; the bytes read (fewer at the end of the disk), -1 on a
    // read error (the first is kept for incomplete()). Safe to call from several threads.
    int64_t read(uint64_t offset, void* buffer, size_t size) const {
        const std::lock_guard lock(mutex_);
        const int64_t got = readAt(offset, buffer, size);
        if (got < 0 && firstReadError_.isEmpty()) {
            firstReadError_ = QStringLiteral("incomplete: the chunk at offset %1 is unreadable").arg(offset);
        }
        return got;
    }

    // The image in the file at path (its further segments or extents found beside it); nullptr,
    // with the reason in *why ("... is not a disk image this program reads", "segment 2 is
    // missing"), when it cannot be opened.
    static std::unique_ptr<DiskImage> open(const QString& path, QString* why);

protected:
    virtual int64_t readAt(uint64_t offset, void* buffer, size_t size) const = 0;
    // What the container itself says is missing or damaged; "" when nothing.
    virtual QString containerDamage() const { return QString(); }

private:
    mutable std::mutex mutex_;  // the container libraries keep a position and caches
    mutable QString firstReadError_;
};

}  // namespace kestrova
