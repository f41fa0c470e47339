// The partitions of a disk image and what each holds: MBR (primary, and logical drives in the
// chain of extended boot records), GPT, or a bare file system with no table at all.
//
// MBR (sector 0, little-endian): four 16-byte entries at 446 (status, CHS start, type at +4, CHS
// end, first sector at +8, sector count at +12), signature 55 AA at 510. Types 05, 0F and 85 are
// extended partitions: each extended boot record holds the logical drive (its start relative to
// that record) and the next record (relative to the extended partition's start). Type EE
// protects a GPT.
// GPT (sector 1): "EFI PART", the entry array's first sector at 72 (8), the number of entries at
// 80 (4) and an entry's size at 84 (4); an entry: type GUID (16), partition GUID (16), first and
// last sector (8 each) at 32 and 40, attributes, the name in UTF-16 at 56 (72 bytes).
// A file system by its boot sector: "NTFS    " at 3 (NTFS), "-FVE-FS-" at 3 (BitLocker),
// "EXFAT   " at 3, "FAT32   " at 82, "FAT1" at 54; ext2/3/4 by 53 EF at 1080.
// Sources: the public MBR and UEFI descriptions, and The Sleuth Kit's volume system code.
#pragma once

#include <QString>
#include <cstdint>
#include <vector>

#include "platform/image/disk_image.h"

namespace kestrova {

struct Partition {
    int number = 0;         // 1-based, in table order (logical drives after the primaries)
    uint64_t offset = 0;    // bytes from the start of the disk
    uint64_t size = 0;      // bytes
    QString scheme;         // "MBR", "GPT", "none" (a bare file system)
    QString type;           // "0x07", "0x0C"; for GPT the type's name or GUID
    QString name;           // GPT's partition name
    QString fileSystem;     // "NTFS", "BitLocker", "FAT32", "exFAT", "ext", "" when not known
    bool reservedOrEfi = false;  // an EFI system or Microsoft reserved partition
    // What is wrong with the entry, in the user's words: "lies past the image's end", "runs past
    // the image's end: ... of its ... bytes are in the image"; "" when nothing. An entry that
    // lies past the end keeps its number and its size as the table gives them.
    QString problem{};
    bool beyondImage = false;  // nothing of it is in the image
};

// The partitions found; a disk without a partition table that holds a file system is one
// partition covering it all. Tables are bounds-checked against the disk; a chain of extended
// records that loops or runs past the disk ends there. Every entry of a table is listed, in
// table order, also one that lies or runs past the image's end (its problem says so).
std::vector<Partition> listPartitions(const DiskImage& disk);

}  // namespace kestrova
