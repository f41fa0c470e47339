#include "platform/hive/hive_log.h"

#include <QStringList>
#include <algorithm>
#include <cstring>

#include "core/common/byte_view.h"

namespace kestrova {
namespace {

// Base block of a primary file (the first 512 bytes are what a log keeps a copy of):
//   0   4  "regf"
//   4   4  primary sequence number     (raised before a write)
//   8   4  secondary sequence number   (raised after it: they differ while a write is pending)
//  12   8  last written, FILETIME
//  28   4  file type: 0 primary, 1 or 2 log (old format), 6 log (new format)
//  40   4  hive bins data size
// 508   4  checksum: XOR of the 127 words before it (0 written as 1, ~0 as ~1)
constexpr size_t kBaseBlock = 4096;
constexpr size_t kSector = 512;
constexpr uint32_t kMaxBinsSize = 1u << 30;  // a hostile size must not ask for gigabytes

uint32_t checksumOf(ByteView block) {
    uint32_t sum = 0;
    for (size_t at = 0; at < 508; at += 4) sum ^= block.u32(at);
    if (sum == 0xFFFFFFFFu) return 0xFFFFFFFEu;
    if (sum == 0) return 1;
    return sum;
}

bool validBaseBlock(ByteView block) {
    return block.has(0, kSector) && block.startsWith("regf") && checksumOf(block) == block.u32(508);
}

void putU32(QByteArray& bytes, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) bytes[static_cast<qsizetype>(at) + i] = static_cast<char>((v >> (8 * i)) & 0xFF);
}

// One new-format log entry:
//   0   4  "HvLE"
//   4   4  size of the entry (a multiple of 512)
//  12   4  sequence number
//  16   4  hive bins data size after it is applied
//  20   4  dirty page count
//  24   8  Hash-1: Marvin32 of bytes 40..size
//  32   8  Hash-2: Marvin32 of bytes 0..32
//  40   8n dirty page references (offset from the hive bins data, size), then the pages
struct LogEntry {
    uint32_t sequence = 0;
    uint32_t binsSize = 0;
    ByteView bytes;  // the whole entry
    uint32_t pageCount = 0;
};

// An entry that starts like one ("HvLE") but is not whole or intact: where the log's usable
// entries end for a reason, not at the end of what was written.
struct DamagedEntry {
    size_t offset = 0;
    std::optional<uint32_t> sequence;  // when its header is intact
    QString why;
};

// The entries of a new-format log in file order, up to the first that is not whole and intact
// (said in *damaged when it is one).
std::vector<LogEntry> entriesOf(ByteView log, std::optional<DamagedEntry>* damaged) {
    std::vector<LogEntry> entries;
    for (size_t at = kSector; log.has(at, 40) && log.startsWith("HvLE", at);) {
        const uint32_t size = log.u32(at + 4);
        const ByteView head = log.sub(at, 40);
        const bool headIntact = registryMarvin32(head.data(), 32) == head.u64(32);
        const auto damage = [&](const char* why) {
            *damaged = DamagedEntry{at, headIntact ? std::optional<uint32_t>(head.u32(12)) : std::nullopt, QLatin1String(why)};
        };
        if (size < 40 || size % kSector != 0) {
            damage("its size is not a whole number of sectors");
            break;
        }
        if (!log.has(at, size)) {
            damage("it is cut short");
            break;
        }
        const ByteView entry = log.sub(at, size);
        LogEntry e{entry.u32(12), entry.u32(16), entry, entry.u32(20)};
        if (!headIntact) {
            damage("its header's hash does not match");
            break;
        }
        if (e.binsSize % kBaseBlock != 0 || e.binsSize > kMaxBinsSize) {
            damage("its hive size is impossible");
            break;
        }
        if (registryMarvin32(entry.data() + 40, size - 40) != entry.u64(24)) {
            damage("its pages' hash does not match");
            break;
        }
        if (!entry.has(40, size_t{e.pageCount} * 8)) {
            damage("its page list runs past its end");
            break;
        }
        entries.push_back(e);
        at += size;
    }
    return entries;
}

// Writes an entry's pages into the hive; false when a reference points outside what the entry
// holds or the hive's new size (the entry is then left out whole).
bool applyEntry(QByteArray& hive, const LogEntry& e, int* pages) {
    const size_t refsEnd = 40 + size_t{e.pageCount} * 8;
    size_t total = 0;
    for (uint32_t i = 0; i < e.pageCount; ++i) {
        const uint32_t offset = e.bytes.u32(40 + size_t{i} * 8), size = e.bytes.u32(44 + size_t{i} * 8);
        if (size_t{offset} + size > e.binsSize) return false;
        total += size;
    }
    if (!e.bytes.has(refsEnd, total)) return false;
    const qsizetype wanted = static_cast<qsizetype>(kBaseBlock + e.binsSize);
    if (hive.size() < wanted) hive.append(QByteArray(wanted - hive.size(), '\0'));
    size_t from = refsEnd;
    for (uint32_t i = 0; i < e.pageCount; ++i) {
        const uint32_t offset = e.bytes.u32(40 + size_t{i} * 8), size = e.bytes.u32(44 + size_t{i} * 8);
        std::memcpy(hive.data() + kBaseBlock + offset, e.bytes.data() + from, size);
        from += size;
    }
    *pages += static_cast<int>(e.pageCount);
    return true;
}

// Old-format log: its base block copy, "DIRT" at 512, a bitmap of 512-byte pages of the hive
// bins data, then the dirty pages in bitmap order from the next sector boundary.
bool applyOldLog(QByteArray& hive, ByteView log, int* pages) {
    const uint32_t binsSize = log.u32(40);
    if (binsSize > kMaxBinsSize || !log.startsWith("DIRT", kSector)) return false;
    const size_t bits = binsSize / kSector, bitmapBytes = (bits + 7) / 8;
    if (!log.has(kSector + 4, bitmapBytes)) return false;
    size_t from = (kSector + 4 + bitmapBytes + kSector - 1) / kSector * kSector;
    const qsizetype wanted = static_cast<qsizetype>(kBaseBlock + binsSize);
    if (hive.size() < wanted) hive.append(QByteArray(wanted - hive.size(), '\0'));
    for (size_t bit = 0; bit < bits; ++bit) {
        if ((log.u8(kSector + 4 + bit / 8) & (1u << (bit % 8))) == 0) continue;
        if (!log.has(from, kSector)) break;  // a cut log: what it still holds is applied
        std::memcpy(hive.data() + kBaseBlock + bit * kSector, log.data() + from, kSector);
        from += kSector;
        ++*pages;
    }
    return true;
}

}  // namespace

uint64_t registryMarvin32(const uint8_t* data, size_t size) {
    // The seed the documents write as 82 EF 4D 88 7A 4E 55 C5 is the 64-bit number of those
    // digits: its low word starts the hash (checked against real log entries).
    uint32_t p0 = 0x7A4E55C5u, p1 = 0x82EF4D88u;
    const auto rotl = [](uint32_t x, int r) { return (x << r) | (x >> (32 - r)); };
    const auto block = [&] {
        p1 ^= p0;
        p0 = rotl(p0, 20);
        p0 += p1;
        p1 = rotl(p1, 9);
        p1 ^= p0;
        p0 = rotl(p0, 27);
        p0 += p1;
        p1 = rotl(p1, 19);
    };
    const ByteView in(data, size);
    size_t at = 0;
    for (; at + 4 <= size; at += 4) {
        p0 += in.u32(at);
        block();
    }
    uint32_t last = 0x80;
    for (size_t i = size; i-- > at;) last = (last << 8) | in.u8(i);
    p0 += last;
    block();
    block();
    return (uint64_t{p1} << 32) | p0;
}

bool hiveIsDirty(const QByteArray& baseBlock) {
    const ByteView block(baseBlock);
    if (!block.has(0, kSector) || !block.startsWith("regf")) return false;
    return block.u32(4) != block.u32(8) || checksumOf(block) != block.u32(508);
}

HiveReplay replayHive(const QByteArray& primary, const std::vector<HiveLog>& logs) {
    HiveReplay result;
    result.dirty = hiveIsDirty(primary);
    if (!result.dirty) return result;
    if (logs.empty()) {
        result.why = QStringLiteral("its transaction logs are missing");
        return result;
    }
    QByteArray hive = primary;
    if (hive.size() < static_cast<qsizetype>(kBaseBlock)) hive.append(QByteArray(kBaseBlock - hive.size(), '\0'));
    const bool primaryValid = validBaseBlock(ByteView(primary));

    struct NewLog {
        const HiveLog* log;
        std::vector<LogEntry> entries;
        std::optional<DamagedEntry> damaged;
    };
    std::vector<NewLog> newLogs;
    const HiveLog* oldLog = nullptr;
    QStringList unusable;
    std::vector<NewLog> damagedFirst;  // logs whose very first entry is damaged
    for (const HiveLog& log : logs) {
        const ByteView bytes(log.bytes);
        if (!validBaseBlock(bytes)) {
            if (!log.bytes.isEmpty()) unusable << log.name;
            continue;
        }
        const uint32_t type = bytes.u32(28);
        if (type == 6) {
            std::optional<DamagedEntry> damaged;
            std::vector<LogEntry> entries = entriesOf(bytes, &damaged);
            if (!entries.empty()) newLogs.push_back({&log, std::move(entries), damaged});
            else if (damaged) damagedFirst.push_back({&log, {}, damaged});
        } else if ((type == 1 || type == 2) && !oldLog && bytes.u32(4) == bytes.u32(8) &&
                   (!primaryValid || std::memcmp(log.bytes.constData() + 12, primary.constData() + 12, 8) == 0)) {
            oldLog = &log;
        }
    }
    if (!primaryValid) {
        // The base block itself is torn: take the newest log's copy of it, as a primary file.
        const HiveLog* newest = !newLogs.empty() ? newLogs.back().log : oldLog;
        if (!newest) {
            result.why = QStringLiteral("its base block is damaged and no log holds a copy of it");
            return result;
        }
        std::memcpy(hive.data(), newest->bytes.constData(), kSector);
        putU32(hive, 28, 0);
    }

    if (!newLogs.empty() || !damagedFirst.empty()) {
        // Windows alternates between the two logs: the one with the earlier entries goes first,
        // and the sequence continues into the other.
        std::sort(newLogs.begin(), newLogs.end(),
                  [](const NewLog& a, const NewLog& b) { return a.entries.front().sequence < b.entries.front().sequence; });
        uint32_t expected = ByteView(hive).u32(8);
        uint32_t binsSize = ByteView(hive).u32(40);
        for (const NewLog& log : newLogs) {
            bool usedThis = false;
            for (const LogEntry& e : log.entries) {
                if (e.sequence < expected) continue;  // already in the primary file
                // After the first applied entry the sequence must run on without a gap. The first
                // may start later than the primary's number: a partial write folded the ones
                // before it into the primary file already.
                if (result.entries > 0 && e.sequence != expected) break;
                if (!applyEntry(hive, e, &result.pages)) {
                    result.why = QStringLiteral("%1 holds a damaged log entry").arg(log.log->name);
                    break;
                }
                ++result.entries;
                usedThis = true;
                binsSize = e.binsSize;
                expected = e.sequence + 1;
            }
            if (usedThis) result.used << log.log->name;
        }
        // A damaged entry that the sequence still needed ends the replay there, and says so.
        if (result.why.isEmpty()) {
            for (const std::vector<NewLog>* set : {&newLogs, &damagedFirst}) {
                for (const NewLog& log : *set) {
                    if (!log.damaged || (log.damaged->sequence && *log.damaged->sequence < expected)) continue;
                    result.why = QStringLiteral("the replay stopped at a damaged entry of %1 (at offset 0x%2: %3); %4 entries were applied before it")
                                     .arg(log.log->name).arg(log.damaged->offset, 0, 16).arg(log.damaged->why).arg(result.entries);
                    break;
                }
                if (!result.why.isEmpty()) break;
            }
        }
        if (result.entries > 0) {
            putU32(hive, 4, expected - 1);
            putU32(hive, 8, expected - 1);
            putU32(hive, 40, binsSize);
        }
    } else if (oldLog && applyOldLog(hive, ByteView(oldLog->bytes), &result.pages)) {
        result.entries = 1;
        result.used << oldLog->name;
        putU32(hive, 8, ByteView(hive).u32(4));
        putU32(hive, 40, std::max(ByteView(hive).u32(40), ByteView(oldLog->bytes).u32(40)));
    }
    if (result.entries == 0 && primaryValid) {
        if (result.why.isEmpty()) {
            result.why = unusable.isEmpty() ? QStringLiteral("its logs hold nothing newer than the hive")
                                            : QStringLiteral("its logs are damaged (%1)").arg(unusable.join(QStringLiteral(", ")));
        }
        return result;
    }
    putU32(hive, 508, checksumOf(ByteView(hive)));
    result.hive = std::move(hive);
    return result;
}

}  // namespace kestrova
