// One entry of the NTFS Master File Table, decoded from its bytes: the entry header with its
// update sequence (fixups), $STANDARD_INFORMATION, every $FILE_NAME, the $DATA attributes and
// whether it indexes a folder. Our own reader because a table of a million entries must be read
// faster than a library that builds every attribute as an object can, and because libfsntfs
// 20200921 takes an entry whose fixups do not match as it lies. libfsntfs stays the reference in
// the tests, entry by entry.
//
// Layouts (the Linux-NTFS project's documentation, libfsntfs's "NTFS" format document; checked on
// NIST's CFReDS $MFT and volumes written by ntfs-3g):
//   entry     0 "FILE" (or "BAAD": found damaged by chkdsk), 4 update sequence offset (2),
//             6 update sequence count (2, the value itself and one per 512 bytes), 8 $LogFile
//             sequence number (8), 16 sequence (2), 18 link count (2), 20 first attribute offset
//             (2), 22 flags (2: 1 in use, 2 folder), 24 used size (4), 28 allocated size (4),
//             32 base entry reference (8, zero in a base entry), 40 next attribute id (2)
//   update sequence: the last two bytes of every 512 hold the sequence value on disk; the real
//             bytes are kept in the array at the update sequence offset.
//   attribute 0 type (4, 0xFFFFFFFF ends the list), 4 length (4), 8 non-resident (1), 9 name
//             length in characters (1), 10 name offset (2), 12 flags (2), 14 id (2);
//             resident: 16 value size (4), 20 value offset (2);
//             non-resident: 16 first VCN (8), 24 last VCN (8), 32 runs offset (2), 40 allocated
//             size (8), 48 data size (8), 56 initialised size (8)
//   $STANDARD_INFORMATION (0x10) value: 0 created, 8 modified, 16 entry changed, 24 accessed
//             (FILETIMEs), 32 file attributes (4)
//   $FILE_NAME (0x30) value: 0 parent reference (8: entry 48 bits, sequence 16), 8 created,
//             16 modified, 24 entry changed, 32 accessed, 40 allocated size (8), 48 data size (8),
//             56 file attributes (4), 60 reparse (4), 64 name length in characters (1),
//             65 namespace (1: 0 POSIX, 1 Win32, 2 DOS, 3 Win32 and DOS), 66 name (UTF-16LE)
//   $DATA (0x80): the unnamed one is the content, named ones alternate streams; a long one spans
//             several attributes, each from its first VCN.
//   $INDEX_ROOT (0x90) named "$I30": the entry is a folder.
#pragma once

#include <QString>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "core/common/byte_view.h"

namespace kestrova {

inline constexpr uint64_t kMftRootEntry = 5;

struct MftFileName {
    uint64_t parent = 0;
    uint16_t parentSequence = 0;
    uint64_t times[4] = {};  // created, modified, accessed, entry changed (FILETIME)
    uint8_t space = 0;       // 2: the DOS 8.3 name alone
    ByteView name;           // UTF-16LE, inside the entry's bytes
};

struct MftEntry {
    uint16_t sequence = 0;
    bool inUse = false;
    bool folder = false;  // it has a $I30 index
    uint64_t baseEntry = 0;  // an extension entry's base; 0 for a base entry
    uint16_t baseSequence = 0;
    bool hasStandardInformation = false;
    uint64_t siTimes[4] = {};  // created, modified, accessed, entry changed (FILETIME)
    uint32_t attributes = 0;
    std::vector<MftFileName> names;  // the Win32 (or POSIX) name first, then the longest
    int dataStreams = 0;             // $DATA streams begun here (their first pieces)
    std::optional<uint64_t> dataSize;  // the unnamed $DATA's size, where its first piece is here
    bool attributeList = false;
    // Its update sequence was applied before it was read: every protected stretch already ends in
    // the bytes the sequence array keeps, not in the sequence value. A table copied through a file
    // system driver (ntfs-3g's ntfscat) is so; one copied raw, as collectors copy it, is not.
    bool fixedUpBefore = false;

    void clear();  // keeps the names' room for the next entry
};

enum class MftEntryRead { Empty, Entry, Damaged };

// Decodes the entry in `bytes` (one whole entry), applying its update sequence in place: the bytes
// must be a private copy. Empty: never written (all zeros). Damaged: `why` says how; nothing of
// the entry is to be trusted then. The names point into `bytes`.
MftEntryRead decodeMftEntry(std::span<uint8_t> bytes, MftEntry* entry, QString* why);

// The entry size a table declares in its first entry (1024 where it cannot be told).
size_t mftEntrySize(ByteView firstEntry);

// The entry's name as text.
inline QString mftNameText(const MftFileName& name) { return name.name.utf16(0, name.name.size() / 2); }

}  // namespace kestrova
