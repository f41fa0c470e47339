#include "platform/historystore/history_file.h"

#include <QDateTime>
#include <QFile>
#include <QtEndian>
#include <libmsiecf.h>
#include <memory>

#include "core/common/text.h"
#include "platform/contained/contained_run.h"

#include <QFileDevice>
#include <cstring>
#include <unistd.h>

namespace kestrova {
namespace {

constexpr uint16_t kTitleProperty = 0x1F10;
constexpr qint64 kEntryFlagsOffset = 64;  // cache entry flags in a URL record (format 4.7 and 5.2)
// The file header, as libmsiecf's format documentation gives it (little-endian):
//    0  28  signature "Client UrlCache MMF Ver 5.2" (or 4.7), NUL-ended
//   28   4  file size
//   32   4  offset of the first hash table
//   36   4  number of blocks (128 bytes each) after the header area
//   40   4  number of allocated blocks
constexpr qsizetype kHeaderSize = 0x50;
constexpr qsizetype kFileSizeOffset = 28;
constexpr qsizetype kHashTableOffset = 32;
constexpr qsizetype kBlockCountOffset = 36;
constexpr quint64 kBlockSize = 128;
constexpr uint64_t kUnixEpochTicks = 116444736000000000ULL;

struct FileCloser {
    void operator()(libmsiecf_file_t* file) const {
        libmsiecf_file_close(file, nullptr);
        libmsiecf_file_free(&file, nullptr);
    }
};
struct ItemFree {
    void operator()(libmsiecf_item_t* item) const { libmsiecf_item_free(&item, nullptr); }
};

// A variable-size field of a URL record through libmsiecf's size and value getters (the location,
// the cached file's name, the data); empty when the record has none or it cannot be read.
using SizeGetter = int (*)(libmsiecf_item_t*, size_t*, libmsiecf_error_t**);
using BytesGetter = int (*)(libmsiecf_item_t*, uint8_t*, size_t, libmsiecf_error_t**);
QByteArray field(libmsiecf_item_t* item, SizeGetter sizeOf, BytesGetter bytesOf) {
    size_t size = 0;
    if (sizeOf(item, &size, nullptr) != 1 || size == 0) return {};
    QByteArray bytes(static_cast<qsizetype>(size), '\0');
    if (bytesOf(item, reinterpret_cast<uint8_t*>(bytes.data()), size, nullptr) != 1) return {};
    return bytes;
}

QByteArray location(libmsiecf_item_t* item) {
    return field(item, libmsiecf_url_get_utf8_location_size, libmsiecf_url_get_utf8_location);
}
QByteArray fileName(libmsiecf_item_t* item) {
    return field(item, libmsiecf_url_get_utf8_filename_size, libmsiecf_url_get_utf8_filename);
}
QByteArray data(libmsiecf_item_t* item) { return field(item, libmsiecf_url_get_data_size, libmsiecf_url_get_data); }

int descriptorOf(const QIODevice& file) {
    const auto* opened = qobject_cast<const QFileDevice*>(&file);
    return opened ? opened->handle() : -1;
}

FileTime fileTime(uint64_t ticks) {
    return FileTime{static_cast<uint32_t>(ticks & 0xFFFFFFFFu), static_cast<uint32_t>(ticks >> 32)};
}

}  // namespace

uint64_t fatToFileTime(uint32_t fat) {
    const uint32_t date = fat & 0xFFFF;
    const uint32_t time = fat >> 16;
    const QDate day(1980 + static_cast<int>(date >> 9), static_cast<int>((date >> 5) & 0xF), static_cast<int>(date & 0x1F));
    const QTime clock(static_cast<int>(time >> 11), static_cast<int>((time >> 5) & 0x3F), static_cast<int>((time & 0x1F) * 2));
    if (!day.isValid() || !clock.isValid()) return 0;
    const qint64 ms = QDateTime(day, clock, Qt::UTC).toMSecsSinceEpoch();
    return static_cast<uint64_t>(ms * 10000 + static_cast<qint64>(kUnixEpochTicks));
}

std::optional<QString> historyTitle(const QByteArray& bytes) {
    const auto u16 = [&](qsizetype at) { return qFromLittleEndian<uint16_t>(bytes.constData() + at); };
    if (bytes.size() < 2) return std::nullopt;
    for (qsizetype at = u16(0); at + 4 <= bytes.size();) {
        const uint16_t size = u16(at);
        if (size < 4 || at + size > bytes.size()) break;
        if (u16(at + 2) == kTitleProperty) {
            QString title;
            for (qsizetype i = at + 4; i + 1 < at + size && u16(i) != 0; i += 2) title.append(QChar(u16(i)));
            return title;
        }
        at += size;
    }
    return std::nullopt;
}

std::optional<QString> historyHeaderProblem(QByteArrayView header, qint64 fileSize) {
    const auto u32 = [&](qsizetype at) { return qFromLittleEndian<quint32>(header.data() + at); };
    if (header.size() < kHeaderSize || !header.startsWith(QByteArrayView("Client UrlCache MMF Ver "))) {
        return QStringLiteral("not a cache index (no cache file signature)");
    }
    const quint32 declared = u32(kFileSizeOffset);
    const quint32 hashTable = u32(kHashTableOffset);
    const quint64 blocks = u32(kBlockCountOffset);
    if (declared > fileSize) {
        return QStringLiteral("the header gives a size of %1 bytes, the file has %2").arg(declared).arg(fileSize);
    }
    if (hashTable >= declared) {
        return QStringLiteral("the header places the hash table at %1, beyond the %2 bytes it gives").arg(hashTable).arg(declared);
    }
    if (blocks * kBlockSize > static_cast<quint64>(declared)) {
        return QStringLiteral("the header gives %1 blocks, more than %2 bytes can hold").arg(blocks).arg(declared);
    }
    return std::nullopt;
}

namespace {

// One URL record as the parser child sends it (host order; both ends are this program):
//   u8 major version, u64 primary time, u64 secondary time, u64 expiry, u32 hits, u8 flags
//   present, u32 flags, u32 location size, location (UTF-8), u32 data size, data, u32 file name
//   size, file name (UTF-8)
class FrameOut {
public:
    template <typename T>
    void number(T value) { bytes_.append(reinterpret_cast<const char*>(&value), sizeof value); }
    void block(QByteArrayView bytes) {
        number(static_cast<quint32>(bytes.size()));
        bytes_.append(bytes);
    }
    const QByteArray& bytes() const { return bytes_; }

private:
    QByteArray bytes_;
};

class FrameIn {
public:
    explicit FrameIn(QByteArrayView bytes) : bytes_(bytes) {}
    template <typename T>
    T number() {
        T value{};
        if (at_ + static_cast<qsizetype>(sizeof value) > bytes_.size()) return value;
        std::memcpy(&value, bytes_.data() + at_, sizeof value);
        at_ += sizeof value;
        return value;
    }
    QByteArrayView block() {
        const auto size = static_cast<qsizetype>(number<quint32>());
        const QByteArrayView view = bytes_.sliced(at_, std::min(size, bytes_.size() - at_));
        at_ += view.size();
        return view;
    }

private:
    QByteArrayView bytes_;
    qsizetype at_ = 0;
};

// The child's side: libmsiecf over the opened file, a frame per URL record.
int parseInChild(int fd, FrameWriter& out) {
    libmsiecf_file_t* raw = nullptr;
    if (libmsiecf_file_initialize(&raw, nullptr) != 1) return 2;
    const QByteArray path = "/proc/self/fd/" + QByteArray::number(fd);
    if (libmsiecf_file_open(raw, path.constData(), LIBMSIECF_OPEN_READ, nullptr) != 1) {
        libmsiecf_file_free(&raw, nullptr);
        return 4;
    }
    const std::unique_ptr<libmsiecf_file_t, FileCloser> file(raw);
    uint8_t major = 0, minor = 0;
    libmsiecf_file_get_format_version(file.get(), &major, &minor, nullptr);
    int count = 0;
    libmsiecf_file_get_number_of_items(file.get(), &count, nullptr);
    for (int i = 0; i < count; ++i) {
        libmsiecf_item_t* rawItem = nullptr;
        if (libmsiecf_file_get_item_by_index(file.get(), i, &rawItem, nullptr) != 1) continue;
        const std::unique_ptr<libmsiecf_item_t, ItemFree> item(rawItem);
        uint8_t type = 0;
        if (libmsiecf_item_get_type(item.get(), &type, nullptr) != 1 || type != LIBMSIECF_ITEM_TYPE_URL) continue;
        uint64_t primary = 0, secondary = 0, expiry = 0;
        libmsiecf_url_get_primary_time(item.get(), &primary, nullptr);
        libmsiecf_url_get_secondary_time(item.get(), &secondary, nullptr);
        libmsiecf_url_get_expiration_time(item.get(), &expiry, nullptr);
        uint32_t hits = 0;
        libmsiecf_url_get_number_of_hits(item.get(), &hits, nullptr);
        // The entry flags are not among libmsiecf's fields; they are read from the record itself.
        off64_t offset = 0;
        quint32 flags = 0;
        const bool hasFlags = libmsiecf_item_get_offset(item.get(), &offset, nullptr) == 1 &&
                              ::pread(fd, &flags, sizeof flags, offset + kEntryFlagsOffset) == sizeof flags;
        FrameOut frame;
        frame.number(major);
        frame.number(primary);
        frame.number(secondary);
        frame.number(expiry);
        frame.number(hits);
        frame.number(static_cast<quint8>(hasFlags));
        frame.number(qFromLittleEndian(flags));
        frame.block(location(item.get()));
        frame.block(data(item.get()));
        frame.block(fileName(item.get()));
        if (!out.write(frame.bytes())) return 5;
    }
    return 0;
}

}  // namespace

CacheIndexRead readCacheIndex(QIODevice& file) {
    CacheIndexRead read;
    const int fd = descriptorOf(file);
    if (fd < 0) {
        read.problem = QStringLiteral("not an open file");
        return read;
    }
    QByteArray header(kHeaderSize, '\0');
    header.resize(std::max<ssize_t>(0, ::pread(fd, header.data(), kHeaderSize, 0)));
    if (const auto problem = historyHeaderProblem(header, file.size())) {
        read.problem = *problem;
        return read;
    }
    const ContainedEnd end = runContained([fd](FrameWriter& out) { return parseInChild(fd, out); },
                                          [&](QByteArrayView bytes) {
                                              FrameIn in(bytes);
                                              CacheEntry entry;
                                              entry.major = in.number<quint8>();
                                              entry.primary = in.number<quint64>();
                                              entry.secondary = in.number<quint64>();
                                              entry.expiry = in.number<quint64>();
                                              entry.hits = in.number<quint32>();
                                              const bool hasFlags = in.number<quint8>() != 0;
                                              const auto flags = in.number<quint32>();
                                              if (hasFlags) entry.flags = flags;
                                              entry.location = QString::fromUtf8(in.block().toByteArray().constData());
                                              entry.data = in.block().toByteArray();
                                              entry.fileName = QString::fromUtf8(in.block().toByteArray().constData());
                                              read.entries.push_back(std::move(entry));
                                          });
    if (!end.completed) {
        read.problem = end.why == QLatin1String("stopped with status 4")
                           ? QStringLiteral("not a cache index (libmsiecf cannot open it)")
                           : QStringLiteral("its parser %1 after %2 records").arg(end.why).arg(read.entries.size());
    }
    return read;
}

std::optional<UtcMicros> CacheEntry::expiryTime() const {
    return utc::fromFileTime(major >= 5 ? fatToFileTime(static_cast<uint32_t>(expiry)) : expiry);
}

HistoryRead readHistoryFile(QIODevice& file) {
    CacheIndexRead index = readCacheIndex(file);
    HistoryRead read;
    read.problem = std::move(index.problem);
    for (const CacheEntry& entry : index.entries) {
        if (!entry.location.startsWith(QLatin1String("Visited:"))) continue;
        const qsizetype at = entry.location.indexOf(QLatin1Char('@'));
        StatUrl record;
        record.url = at < 0 ? QString() : entry.location.mid(at + 1);
        record.title = historyTitle(entry.data);
        record.lastVisited = fileTime(entry.primary);
        record.lastUpdated = fileTime(entry.secondary);
        record.expires = fileTime(entry.major >= 5 ? fatToFileTime(static_cast<uint32_t>(entry.expiry)) : entry.expiry);
        if (entry.flags) record.flags = *entry.flags;
        read.records.push_back(std::move(record));
    }
    return read;
}

}  // namespace kestrova
