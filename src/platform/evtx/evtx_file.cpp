#include "platform/evtx/evtx_file.h"

#include <QByteArray>
#include <algorithm>
#include <array>

namespace kestrova {
namespace {

constexpr size_t kHeaderSize = 4096, kChunkSize = 65536, kChunkHeaderSize = 512;
constexpr size_t kRecordHeaderSize = 24, kMinRecordSize = 28;

constexpr std::array<uint32_t, 256> crcTable() {
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t c = i;
        for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        table[i] = c;
    }
    return table;
}

// CRC-32 (IEEE, as zlib's), continued from `crc`.
uint32_t crc32(ByteView bytes, uint32_t crc = 0) {
    static constexpr std::array<uint32_t, 256> kTable = crcTable();
    crc = ~crc;
    for (size_t i = 0; i < bytes.size(); ++i) crc = kTable[(crc ^ bytes.data()[i]) & 0xFF] ^ (crc >> 8);
    return ~crc;
}

bool allZero(ByteView bytes) {
    return std::all_of(bytes.data(), bytes.data() + bytes.size(), [](uint8_t b) { return b == 0; });
}

// Counts of one kind of damage over a file's chunks, said once with the first chunk it met.
struct ChunkDamage {
    const char* what;
    int count = 0;
    qint64 first = -1;
    void add(qint64 chunk) {
        if (count++ == 0) first = chunk;
    }
    void say(QStringList& damage, qint64 chunks) const {
        if (count == 0) return;
        damage << QStringLiteral("%1 of its %2 chunks %3 (the first: chunk %4)").arg(count).arg(chunks).arg(QLatin1String(what)).arg(first);
    }
};

class Reader {
public:
    Reader(QIODevice& file, const std::function<bool(EvtxRecord&)>& each) : file_(file), each_(each) {}

    EvtxReading read() {
        const QByteArray headerBytes = readAt(0, kHeaderSize);
        const ByteView header(headerBytes);
        const qint64 size = file_.size();
        const qint64 fileChunks = size > static_cast<qint64>(kHeaderSize) ? (size - static_cast<qint64>(kHeaderSize) + kChunkSize - 1) / kChunkSize : 0;
        qint64 oldest = 0;
        if (header.startsWith(std::string_view("ElfFile\0", 8))) {
            result_.log = true;
            result_.dirty = (header.u32(120) & 1) != 0;
            if (crc32(header.sub(0, 120)) != header.u32(124)) result_.damage << QStringLiteral("its file header's checksum does not match: the header is read as it lies");
            const qint64 counted = header.u16(42);
            if (counted > fileChunks) {
                result_.damage << QStringLiteral("its header counts %1 chunks, the file holds %2: it was cut short").arg(counted).arg(fileChunks);
            }
            if (header.u64(8) < static_cast<uint64_t>(fileChunks)) oldest = static_cast<qint64>(header.u64(8));
        } else if (size > 0) {
            result_.damage << QStringLiteral("it has no file header: its chunks are read without it");
        }
        // The ring of chunks, oldest first. Every chunk with a header is read as in use, those
        // past the header's count too: Windows counts them in the header only when it closes the
        // log, and a log copied from a running system holds current records there.
        for (qint64 i = 0; i < fileChunks && !result_.stopped; ++i) chunk((oldest + i) % fileChunks);
        const qint64 chunks = std::max<qint64>(fileChunks, 1);
        unread_.say(result_.damage, chunks);
        noHeader_.say(result_.damage, chunks);
        headerSum_.say(result_.damage, chunks);
        recordSum_.say(result_.damage, chunks);
        if (!result_.log) {
            result_.damage = QStringList{QStringLiteral("not an event log: it holds no file header, no chunk and no record")};
            return std::move(result_);
        }
        if (fileChunks > 0 && size < static_cast<qint64>(kHeaderSize) + fileChunks * static_cast<qint64>(kChunkSize)) {
            result_.damage << QStringLiteral("the file ends %1 bytes into chunk %2: it was cut short")
                                  .arg(size - static_cast<qint64>(kHeaderSize) - (fileChunks - 1) * static_cast<qint64>(kChunkSize))
                                  .arg(fileChunks - 1);
        }
        return std::move(result_);
    }

private:
    QByteArray readAt(qint64 offset, size_t size) {
        if (!file_.seek(offset)) return {};
        return file_.read(static_cast<qint64>(size));
    }

    void chunk(qint64 index) {
        const qint64 base = static_cast<qint64>(kHeaderSize) + index * static_cast<qint64>(kChunkSize);
        const QByteArray bytes = readAt(base, kChunkSize);
        // Less than the file holds there: the device failed (a damaged image), and what it held is
        // lost with it.
        if (bytes.size() < std::min<qint64>(kChunkSize, file_.size() - base)) unread_.add(index);
        const ByteView c(bytes);
        if (c.size() < kChunkHeaderSize || allZero(c)) return;  // never written (or cut before its header)
        BinXmlChunk chunk(c);
        if (!c.startsWith(std::string_view("ElfChnk\0", 8))) {
            noHeader_.add(index);
            scan(chunk, base, 0, c.size());
            return;
        }
        result_.log = true;
        const bool headerSound = crc32(c.sub(128, 384), crc32(c.sub(0, 120))) == c.u32(124);
        if (!headerSound) headerSum_.add(index);
        const size_t freeAt = std::clamp<size_t>(c.u32(48), kChunkHeaderSize, c.size());
        if (crc32(c.sub(kChunkHeaderSize, freeAt - kChunkHeaderSize)) != c.u32(52)) recordSum_.add(index);
        qint64 given = 0, gaps = 0;
        QString gap;  // where the first stretch without a record began
        size_t pos = kChunkHeaderSize;
        while (pos + kMinRecordSize <= freeAt && !result_.stopped) {
            if (const size_t size = recordAt(c, pos, freeAt)) {
                give(chunk, base, pos, size, false);
                ++given;
                pos += size;
                continue;
            }
            if (gaps++ == 0) gap = QStringLiteral("chunk %1 at offset 0x%2: no record where one should begin").arg(index).arg(base + static_cast<qint64>(pos), 0, 16);
            pos = nextRecord(c, pos + 1, freeAt);
        }
        // What the chunk's header counts and was not read is lost; a header whose checksum fails
        // cannot be trusted to count, and then each stretch without a record is one lost at least.
        const uint64_t first = c.u64(8), last = c.u64(16);
        const qint64 counted = headerSound && last >= first && last - first < kChunkSize ? static_cast<qint64>(last - first + 1) : 0;
        const qint64 lost = std::max(counted - given, gaps);
        if (lost > 0 && !result_.stopped) {
            if (result_.lost == 0) result_.firstLost = gap.isEmpty() ? QStringLiteral("chunk %1 ends before its record %2").arg(index).arg(first + given) : gap;
            result_.lost += lost;
        }
        scan(chunk, base, freeAt, c.size());
    }

    // Whole records at [from, to) found by their signature: what is left of older records in
    // free space, and records of chunks the log does not use.
    void scan(BinXmlChunk& chunk, qint64 base, size_t from, size_t to) {
        const ByteView c = chunk.bytes();
        for (size_t pos = nextRecord(c, from, to); pos < to && !result_.stopped;) {
            const size_t size = recordAt(c, pos, to);
            give(chunk, base, pos, size, true);
            pos = nextRecord(c, pos + size, to);
        }
    }

    // The size of the record at `pos` if a whole one lies there (signature, a size that fits,
    // the size repeated at its end), else 0.
    static size_t recordAt(ByteView c, size_t pos, size_t end) {
        if (!c.startsWith(std::string_view("**\0\0", 4), pos)) return 0;
        const size_t size = c.u32(pos + 4);
        if (size < kMinRecordSize || pos + size > end || c.u32(pos + size - 4) != size) return 0;
        return size;
    }
    static size_t nextRecord(ByteView c, size_t from, size_t end) {
        for (size_t pos = from; pos + kMinRecordSize <= end; ++pos) {
            if (c.u8(pos) == '*' && recordAt(c, pos, end)) return pos;
        }
        return end;
    }

    void give(BinXmlChunk& chunk, qint64 base, size_t pos, size_t size, bool recovered) {
        const ByteView c = chunk.bytes();
        result_.log = true;  // a record, even in a file without any header
        EvtxRecord record;
        record.recordId = c.u64(pos + 8);
        record.written = c.u64(pos + 16);
        record.offset = static_cast<uint64_t>(base) + pos;
        record.recovered = recovered;
        record.xml = chunk.readEvent(pos + kRecordHeaderSize, pos + size - 4);
        // What is left in free space may have lost the templates it was written with: a
        // leftover that gives not even its event id is counted, not handed over.
        if (recovered && !record.xml.eventId) {
            ++result_.unreadableLeftovers;
            return;
        }
        // Two copies of the id disagree where a flipped byte hit one of them.
        if (record.xml.why.isEmpty() && record.xml.recordId && static_cast<uint64_t>(*record.xml.recordId) != record.recordId) {
            record.xml.why = QStringLiteral("its header says record %1, its event says %2").arg(record.recordId).arg(*record.xml.recordId);
        }
        EvtxReading::Tally& tally = recovered ? result_.recovered : result_.records;
        ++tally.given;
        if (!record.xml.why.isEmpty() && tally.partly++ == 0) {
            tally.firstPartly = QStringLiteral("record %1 at offset 0x%2: %3").arg(record.recordId).arg(record.offset, 0, 16).arg(record.xml.why);
        }
        if (!each_(record)) result_.stopped = true;
    }

    QIODevice& file_;
    const std::function<bool(EvtxRecord&)>& each_;
    EvtxReading result_;
    ChunkDamage unread_{"could not be read whole from the file: what they held past the failure is lost"};
    ChunkDamage noHeader_{"have no chunk header: their records are read as recovered"};
    ChunkDamage headerSum_{"have a chunk header whose checksum does not match"};
    ChunkDamage recordSum_{"hold records whose checksum does not match"};
};

}  // namespace

EvtxReading readEvtx(QIODevice& file, const std::function<bool(EvtxRecord&)>& each) {
    return Reader(file, each).read();
}

}  // namespace kestrova
