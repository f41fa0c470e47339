#include "msiecf/cache_file_writer.h"

#include <QDateTime>
#include <QtEndian>
#include <cstring>

namespace kestrova::tools {
namespace {

constexpr int kBlock = 128;
constexpr int kRecordsStart = 0x4000;
constexpr int kHashTableBlocks = 32;
constexpr int kBitmapOffset = 0x250;
constexpr uint32_t kFill = 0xDEADBEEF;

void put16(QByteArray& b, qsizetype at, uint16_t v) { qToLittleEndian(v, b.data() + at); }
void put32(QByteArray& b, qsizetype at, uint32_t v) { qToLittleEndian(v, b.data() + at); }
void put64(QByteArray& b, qsizetype at, uint64_t v) { qToLittleEndian(v, b.data() + at); }

QByteArray filled(qsizetype size) {
    QByteArray b(size, '\0');
    for (qsizetype i = 0; i + 4 <= size; i += 4) put32(b, i, kFill);
    return b;
}

// The record's data: a 16-byte header, then the title property, padded as IE pads it.
QByteArray historyData(const QString& title) {
    QByteArray data(16, '\0');
    put16(data, 0, 16);
    put16(data, 2, 2);
    if (title.isEmpty()) return data;
    QByteArray text(static_cast<qsizetype>((title.size() + 1) * 2), '\0');
    std::memcpy(text.data(), title.utf16(), static_cast<size_t>(title.size() * 2));
    text.append(QByteArray((4 - text.size() % 4) % 4 + 4, '\0'));
    QByteArray property(4, '\0');
    put16(property, 0, static_cast<uint16_t>(4 + text.size()));
    put16(property, 2, 0x1F10);
    return data + property + text;
}

QByteArray urlRecord(const CacheUrl& url) {
    constexpr int kLocation = 0x68;
    QByteArray body = url.location + '\0';
    int fileNameAt = 0;
    if (!url.fileName.isEmpty()) {
        fileNameAt = kLocation + static_cast<int>(body.size());
        body += url.fileName + '\0';
    }
    while ((kLocation + body.size()) % 4) body += '\0';
    const int dataAt = kLocation + static_cast<int>(body.size());
    // History records keep properties as their data, content records the response headers.
    const QByteArray data = url.location.startsWith("Visited:") ? historyData(url.title) : url.headers + '\0';
    body += data;
    const qsizetype blocks = (kLocation + body.size() + kBlock - 1) / kBlock;
    QByteArray record = filled(blocks * kBlock);
    std::memset(record.data() + 8, 0, 92);
    std::memcpy(record.data(), "URL ", 4);
    put32(record, 4, static_cast<uint32_t>(blocks));
    put64(record, 8, url.secondaryTime);
    put64(record, 16, url.primaryTime);
    put32(record, 24, url.expiryFat);
    put32(record, 32, url.cachedSize);
    put32(record, 48, 0x60);
    put32(record, 52, kLocation);
    record[56] = static_cast<char>(url.cacheDirectory);
    record[58] = 0x10;
    record[59] = 0x10;
    put32(record, 60, static_cast<uint32_t>(fileNameAt));
    put32(record, 64, url.entryFlags);
    put32(record, 68, static_cast<uint32_t>(dataAt));
    put32(record, 72, static_cast<uint32_t>(data.size()));
    put32(record, 80, url.lastCheckedFat);
    put32(record, 84, url.hits);
    std::memcpy(record.data() + kLocation, body.constData(), static_cast<size_t>(body.size()));
    return record;
}

uint32_t recordHash(const QByteArray& location) {
    // Any value with the low six bits clear marks a valid URL record; the table is not searched
    // by this hash when the file is read, only its entries are followed.
    uint32_t h = 2166136261u;
    for (const char c : location) h = (h ^ static_cast<uint8_t>(c)) * 16777619u;
    return h & ~0x3Fu;
}

}  // namespace

QByteArray writeCacheFile(const CacheFile& file) {
    std::vector<QByteArray> records;
    qsizetype recordBytes = 0;
    for (const CacheUrl& url : file.urls) {
        records.push_back(urlRecord(url));
        recordBytes += records.back().size();
    }
    const qsizetype used = kRecordsStart + kHashTableBlocks * kBlock + recordBytes;
    const qsizetype size = std::max<qsizetype>(0x8000, (used + 0x3FFF) / 0x4000 * 0x4000);
    QByteArray out(size, '\0');

    std::memcpy(out.data(), "Client UrlCache MMF Ver 5.2", 28);
    put32(out, 28, static_cast<uint32_t>(size));
    put32(out, 32, kRecordsStart);
    put32(out, 36, static_cast<uint32_t>((size - kRecordsStart) / kBlock));
    put32(out, 40, static_cast<uint32_t>((used - kRecordsStart) / kBlock));
    put32(out, 48, 0x800000);  // quota
    put32(out, 72, static_cast<uint32_t>(file.directories.size()));
    for (size_t d = 0; d < file.directories.size(); ++d) {
        const qsizetype at = 76 + static_cast<qsizetype>(d) * 12;
        uint32_t files = 0;
        for (const CacheUrl& url : file.urls) files += url.cacheDirectory == d ? 1 : 0;
        put32(out, at, files);
        std::memcpy(out.data() + at + 4, file.directories[d].leftJustified(8, '\0', true).constData(), 8);
    }
    // Every block in use is marked: the hash table, then the records.
    for (qsizetype block = 0; block < (used - kRecordsStart) / kBlock; ++block) {
        out[kBitmapOffset + block / 8] = static_cast<char>(out[kBitmapOffset + block / 8] | (1 << (block % 8)));
    }
    const qsizetype table = kRecordsStart;
    std::memcpy(out.data() + table, "HASH", 4);
    put32(out, table + 4, kHashTableBlocks);
    for (qsizetype at = table + 16; at < table + kHashTableBlocks * kBlock; at += 8) {
        put32(out, at, 3);
        put32(out, at + 4, 3);
    }
    qsizetype at = table + kHashTableBlocks * kBlock;
    for (size_t i = 0; i < records.size(); ++i) {
        put32(out, table + 16 + static_cast<qsizetype>(i) * 8, recordHash(file.urls[i].location));
        put32(out, table + 20 + static_cast<qsizetype>(i) * 8, static_cast<uint32_t>(at));
        std::memcpy(out.data() + at, records[i].constData(), static_cast<size_t>(records[i].size()));
        at += records[i].size();
    }
    return out;
}

uint64_t fileTimeOf(int year, int month, int day, int hour, int minute, int second) {
    const QDateTime when(QDate(year, month, day), QTime(hour, minute, second), Qt::UTC);
    return static_cast<uint64_t>(when.toMSecsSinceEpoch()) * 10000ULL + 116444736000000000ULL;
}

uint32_t fatTimeOf(int year, int month, int day, int hour, int minute, int second) {
    const uint32_t date = static_cast<uint32_t>(((year - 1980) << 9) | (month << 5) | day);
    const uint32_t time = static_cast<uint32_t>((hour << 11) | (minute << 5) | (second / 2));
    return (time << 16) | date;
}

}  // namespace kestrova::tools
