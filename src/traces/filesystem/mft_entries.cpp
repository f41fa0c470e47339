#include "traces/filesystem/mft_entries.h"

#include <algorithm>
#include <cstring>

namespace kestrova {
namespace {

constexpr uint32_t kStandardInformation = 0x10, kAttributeList = 0x20, kFileName = 0x30, kData = 0x80, kIndexRoot = 0x90;
constexpr uint32_t kEnd = 0xFFFFFFFF;
constexpr size_t kStride = 512;  // the update sequence protects every 512 bytes, whatever the sector size
constexpr size_t kHeader = 42;   // the entry header before the update sequence array (NT4's layout)
constexpr size_t kResidentHeader = 24, kNonResidentHeader = 64;

bool allZero(std::span<const uint8_t> bytes) {
    // Whole words first: most never-written entries are zeros through and through.
    size_t i = 0;
    for (; i + 8 <= bytes.size(); i += 8) {
        uint64_t word = 0;
        std::memcpy(&word, bytes.data() + i, 8);
        if (word != 0) return false;
    }
    return std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(i), bytes.end(), [](uint8_t b) { return b == 0; });
}

// Puts back the bytes the update sequence stands in for; false (and why) where a 512-byte stretch
// does not end in the sequence value: the entry was torn in writing or altered since, unless every
// stretch already ends in the bytes the array keeps (*before: the sequence was applied already).
bool applyFixups(std::span<uint8_t> bytes, bool* before, QString* why) {
    const ByteView view(bytes.data(), bytes.size());
    const size_t offset = view.u16(4), count = view.u16(6);
    if (count == 0) return true;  // nothing protected (seen in NT4's tables)
    if (offset < kHeader || !view.has(offset, count * 2) || (count - 1) * kStride > bytes.size()) {
        *why = QStringLiteral("its update sequence (%1 values at offset %2) does not fit in its %3 bytes").arg(count).arg(offset).arg(bytes.size());
        return false;
    }
    const uint16_t value = view.u16(offset);
    size_t kept = 0;  // stretches that end in the bytes the array keeps
    for (size_t i = 1; i < count; ++i) kept += view.u16(i * kStride - 2) == view.u16(offset + i * 2) ? 1 : 0;
    for (size_t i = 1; i < count; ++i) {
        const size_t end = i * kStride - 2;
        if (view.u16(end) == value) continue;
        // A value that equals what it stands for cannot tell the two copies apart; otherwise
        // every stretch must show the same.
        *before = kept == count - 1;
        if (*before) return true;
        *why = QStringLiteral("its update sequence does not match at byte %1 (a torn or altered entry)").arg(end);
        return false;
    }
    for (size_t i = 1; i < count; ++i) {
        const size_t end = i * kStride - 2;
        bytes[end] = bytes[offset + i * 2];
        bytes[end + 1] = bytes[offset + i * 2 + 1];
    }
    return true;
}

}  // namespace

void MftEntry::clear() {
    std::vector<MftFileName> keep = std::move(names);
    keep.clear();
    *this = MftEntry{};
    names = std::move(keep);
}

size_t mftEntrySize(ByteView firstEntry) {
    const uint32_t declared = firstEntry.startsWith("FILE") ? firstEntry.u32(28) : 0;
    return declared == 1024 || declared == 2048 || declared == 4096 ? declared : 1024;
}

MftEntryRead decodeMftEntry(std::span<uint8_t> bytes, MftEntry* entry, QString* why) {
    entry->clear();
    if (allZero(bytes)) return MftEntryRead::Empty;
    const ByteView head(bytes.data(), bytes.size());
    if (head.startsWith("BAAD")) {
        *why = QStringLiteral("chkdsk marked it damaged (BAAD)");
        return MftEntryRead::Damaged;
    }
    if (!head.startsWith("FILE")) {
        *why = QStringLiteral("it does not begin with FILE");
        return MftEntryRead::Damaged;
    }
    bool before = false;
    if (!applyFixups(bytes, &before, why)) return MftEntryRead::Damaged;
    entry->fixedUpBefore = before;
    const ByteView view(bytes.data(), bytes.size());
    entry->sequence = view.u16(16);
    const uint16_t flags = view.u16(22);
    entry->inUse = flags & 1;
    const uint64_t base = view.u64(32);
    entry->baseEntry = base & 0xFFFFFFFFFFFFull;
    entry->baseSequence = static_cast<uint16_t>(base >> 48);
    const size_t end = std::min<size_t>(view.u32(24), bytes.size());
    size_t at = view.u16(20);
    if (at < kHeader || at >= end) {
        *why = QStringLiteral("its first attribute (offset %1) lies outside its used %2 bytes").arg(at).arg(end);
        return MftEntryRead::Damaged;
    }
    while (view.has(at, 4) && at < end) {
        const uint32_t type = view.u32(at);
        if (type == kEnd) break;
        const size_t length = view.u32(at + 4);
        if (length < 16 || length > end - at) {
            *why = QStringLiteral("its attribute at offset %1 claims %2 bytes of the %3 left").arg(at).arg(length).arg(end - at);
            return MftEntryRead::Damaged;
        }
        const ByteView attribute = view.sub(at, length);
        at += length;
        const bool resident = attribute.u8(8) == 0;
        const size_t nameUnits = attribute.u8(9), nameOffset = attribute.u16(10);
        if (nameUnits > 0 && !attribute.has(nameOffset, nameUnits * 2)) {
            *why = QStringLiteral("the name of its attribute 0x%1 lies outside it").arg(type, 0, 16);
            return MftEntryRead::Damaged;
        }
        const ByteView name = attribute.sub(nameOffset, nameUnits * 2);
        ByteView value;
        if (resident) {
            const size_t size = attribute.u32(16), offset = attribute.u16(20);
            if (length < kResidentHeader || !attribute.has(offset, size)) {
                *why = QStringLiteral("the value of its attribute 0x%1 lies outside it").arg(type, 0, 16);
                return MftEntryRead::Damaged;
            }
            value = attribute.sub(offset, size);
        } else if (length < kNonResidentHeader) {
            *why = QStringLiteral("its non-resident attribute 0x%1 is shorter than its header").arg(type, 0, 16);
            return MftEntryRead::Damaged;
        }
        switch (type) {
        case kStandardInformation:
            // created, modified, entry changed, accessed on disk; kept as created, modified, accessed, changed
            if (resident && value.has(0, 36)) {
                entry->hasStandardInformation = true;
                entry->siTimes[0] = value.u64(0);
                entry->siTimes[1] = value.u64(8);
                entry->siTimes[2] = value.u64(24);
                entry->siTimes[3] = value.u64(16);
                entry->attributes = value.u32(32);
            }
            break;
        case kAttributeList:
            entry->attributeList = true;
            break;
        case kFileName: {
            if (!resident || !value.has(0, 66)) break;
            const size_t units = value.u8(64);
            if (!value.has(66, units * 2)) {
                *why = QStringLiteral("a $FILE_NAME's name runs past its value");
                return MftEntryRead::Damaged;
            }
            MftFileName fn;
            const uint64_t parent = value.u64(0);
            fn.parent = parent & 0xFFFFFFFFFFFFull;
            fn.parentSequence = static_cast<uint16_t>(parent >> 48);
            fn.times[0] = value.u64(8);
            fn.times[1] = value.u64(16);
            fn.times[2] = value.u64(32);
            fn.times[3] = value.u64(24);
            fn.space = value.u8(65);
            fn.name = value.sub(66, units * 2);
            entry->names.push_back(fn);
            break;
        }
        case kData: {
            const bool firstPiece = resident || attribute.u64(16) == 0;
            if (!firstPiece) break;
            ++entry->dataStreams;
            if (name.empty() && !entry->dataSize) entry->dataSize = resident ? value.size() : attribute.u64(48);
            break;
        }
        case kIndexRoot:
            if (name.size() == 8 && name.utf16(0, 4) == QLatin1String("$I30")) entry->folder = true;
            break;
        default:
            break;
        }
    }
    // The Win32 or POSIX name first (the DOS 8.3 one is the short alias), then the longest.
    std::stable_sort(entry->names.begin(), entry->names.end(), [](const MftFileName& a, const MftFileName& b) {
        if ((a.space == 2) != (b.space == 2)) return b.space == 2;
        return a.name.size() > b.name.size();
    });
    return MftEntryRead::Entry;
}

}  // namespace kestrova
