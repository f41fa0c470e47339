#include "platform/image/partitions.h"

#include <QUuid>
#include <QtEndian>
#include <set>

namespace kestrova {
namespace {

constexpr uint64_t kSector = 512;
constexpr int kMostLogicalDrives = 128;
constexpr uint32_t kMostGptEntries = 1024;

struct Sector {
    unsigned char bytes[kSector] = {};
    bool read = false;
    uint32_t u32(size_t at) const { return qFromLittleEndian<quint32>(bytes + at); }
    uint64_t u64(size_t at) const { return qFromLittleEndian<quint64>(bytes + at); }
};

Sector readSector(const DiskImage& disk, uint64_t offset) {
    Sector s;
    s.read = offset + kSector <= disk.size() && disk.read(offset, s.bytes, kSector) == static_cast<int64_t>(kSector);
    return s;
}

bool hasSignature(const Sector& s) { return s.read && s.bytes[510] == 0x55 && s.bytes[511] == 0xAA; }

QString fileSystemAt(const DiskImage& disk, uint64_t offset) {
    const Sector boot = readSector(disk, offset);
    if (!boot.read) return QString();
    const QByteArrayView b(reinterpret_cast<const char*>(boot.bytes), kSector);
    if (b.sliced(3, 8) == "NTFS    ") return QStringLiteral("NTFS");
    if (b.sliced(3, 8) == "-FVE-FS-") return QStringLiteral("BitLocker");
    if (b.sliced(3, 8) == "EXFAT   ") return QStringLiteral("exFAT");
    if (b.sliced(82, 8) == "FAT32   ") return QStringLiteral("FAT32");
    if (b.sliced(54, 4) == "FAT1") return QStringLiteral("FAT");
    const Sector super = readSector(disk, offset + 1024);
    if (super.read && super.bytes[56] == 0x53 && super.bytes[57] == 0xEF) return QStringLiteral("ext");
    return QString();
}

// An entry of `bytes` from `offset` against a disk of `diskSize`: its size as the image holds it
// and what is wrong, for the entry's listing.
void placeOnDisk(Partition& p, uint64_t diskSize) {
    if (p.offset >= diskSize) {
        p.beyondImage = true;
        p.problem = QStringLiteral("lies past the image's end (the image holds %1 bytes)").arg(diskSize);
    } else if (p.size > diskSize - p.offset) {
        p.problem = QStringLiteral("runs past the image's end: %1 of its %2 bytes are in the image").arg(diskSize - p.offset).arg(p.size);
        p.size = diskSize - p.offset;
    }
}

bool extended(unsigned type) { return type == 0x05 || type == 0x0F || type == 0x85; }

QString gptTypeName(const QUuid& type) {
    static const std::pair<const char*, const char*> kKnown[] = {
        {"{c12a7328-f81f-11d2-ba4b-00a0c93ec93b}", "EFI system"},
        {"{e3c9e316-0b5c-4db8-817d-f92df00215ae}", "Microsoft reserved"},
        {"{ebd0a0a2-b9e5-4433-87c0-68b6b72699c7}", "Microsoft basic data"},
        {"{de94bba4-06d1-4d40-a16a-bfd50179d6ac}", "Windows recovery"},
        {"{0fc63daf-8483-4772-8e79-3d69d8477de4}", "Linux file system"},
    };
    for (const auto& [guid, name] : kKnown) {
        if (type == QUuid(QLatin1String(guid))) return QLatin1String(name);
    }
    return type.toString(QUuid::WithoutBraces);
}

std::vector<Partition> gptPartitions(const DiskImage& disk) {
    std::vector<Partition> found;
    const Sector header = readSector(disk, kSector);
    if (!header.read || QByteArrayView(reinterpret_cast<const char*>(header.bytes), 8) != "EFI PART") return found;
    const uint64_t entries = header.u64(72);
    const uint32_t count = std::min(header.u32(80), kMostGptEntries);
    const uint32_t entrySize = header.u32(84);
    if (entrySize < 128 || entrySize > 4096 || entries == 0) return found;
    std::vector<unsigned char> entry(entrySize);
    for (uint32_t i = 0; i < count; ++i) {
        const uint64_t at = entries * kSector + static_cast<uint64_t>(i) * entrySize;
        if (at + entrySize > disk.size() || disk.read(at, entry.data(), entrySize) != static_cast<int64_t>(entrySize)) break;
        const QUuid type = QUuid::fromRfc4122(QByteArrayView(reinterpret_cast<const char*>(entry.data()), 16));
        if (type.isNull()) continue;
        // GUIDs are stored with their first three fields little-endian.
        const QUuid mixed(qFromLittleEndian<quint32>(entry.data()), qFromLittleEndian<quint16>(entry.data() + 4),
                          qFromLittleEndian<quint16>(entry.data() + 6), entry[8], entry[9], entry[10], entry[11], entry[12],
                          entry[13], entry[14], entry[15]);
        const uint64_t first = qFromLittleEndian<quint64>(entry.data() + 32);
        const uint64_t last = qFromLittleEndian<quint64>(entry.data() + 40);
        if (last < first || first > (UINT64_MAX / kSector) - (last - first + 1)) continue;
        Partition p;
        p.number = static_cast<int>(found.size()) + 1;
        p.offset = first * kSector;
        p.size = (last - first + 1) * kSector;
        placeOnDisk(p, disk.size());
        p.scheme = QStringLiteral("GPT");
        p.type = gptTypeName(mixed);
        QString name;
        for (size_t c = 56; c + 1 < std::min<size_t>(entrySize, 128); c += 2) {
            const char16_t unit = qFromLittleEndian<quint16>(entry.data() + c);
            if (!unit) break;
            name.append(QChar(unit));
        }
        p.name = name;
        p.reservedOrEfi = p.type == QLatin1String("EFI system") || p.type == QLatin1String("Microsoft reserved");
        found.push_back(p);
    }
    return found;
}

std::vector<Partition> mbrPartitions(const DiskImage& disk, const Sector& mbr) {
    std::vector<Partition> found;
    std::vector<Partition> logical;
    const auto add = [&](std::vector<Partition>& into, unsigned type, uint64_t start, uint64_t sectors) {
        if (sectors == 0) return;
        Partition p;
        p.offset = start * kSector;
        p.size = sectors * kSector;
        placeOnDisk(p, disk.size());
        p.scheme = QStringLiteral("MBR");
        p.type = QStringLiteral("0x%1").arg(type, 2, 16, QLatin1Char('0')).toUpper().replace(QLatin1String("0X"), QLatin1String("0x"));
        p.reservedOrEfi = type == 0xEF;
        into.push_back(p);
    };
    for (int i = 0; i < 4; ++i) {
        const size_t at = 446 + static_cast<size_t>(i) * 16;
        const unsigned type = mbr.bytes[at + 4];
        const uint64_t start = mbr.u32(at + 8);
        const uint64_t sectors = mbr.u32(at + 12);
        if (type == 0) continue;
        if (!extended(type)) {
            add(found, type, start, sectors);
            continue;
        }
        // The chain of extended boot records, each visited once.
        std::set<uint64_t> seen;
        uint64_t record = start;
        for (int n = 0; n < kMostLogicalDrives && seen.insert(record).second; ++n) {
            const Sector ebr = readSector(disk, record * kSector);
            if (!hasSignature(ebr)) break;
            const unsigned logicalType = ebr.bytes[446 + 4];
            if (logicalType != 0 && !extended(logicalType)) {
                add(logical, logicalType, record + ebr.u32(446 + 8), ebr.u32(446 + 12));
            }
            const unsigned nextType = ebr.bytes[462 + 4];
            if (!extended(nextType) || ebr.u32(462 + 8) == 0) break;
            record = start + ebr.u32(462 + 8);
        }
    }
    found.insert(found.end(), logical.begin(), logical.end());
    for (size_t i = 0; i < found.size(); ++i) found[i].number = static_cast<int>(i) + 1;
    return found;
}

}  // namespace

std::vector<Partition> listPartitions(const DiskImage& disk) {
    std::vector<Partition> found;
    const Sector first = readSector(disk, 0);
    const QString bare = fileSystemAt(disk, 0);
    if (!bare.isEmpty()) {
        // A file system from the first sector on: no table (an NTFS boot sector carries 55 AA too).
        found.push_back(Partition{1, 0, disk.size(), QStringLiteral("none"), QString(), QString(), bare, false});
        return found;
    }
    if (hasSignature(first)) {
        const bool protective = first.bytes[446 + 4] == 0xEE;
        found = protective ? gptPartitions(disk) : mbrPartitions(disk, first);
        if (found.empty() && !protective) found = gptPartitions(disk);
    }
    for (Partition& p : found) {
        if (!p.beyondImage) p.fileSystem = fileSystemAt(disk, p.offset);
    }
    return found;
}

}  // namespace kestrova
