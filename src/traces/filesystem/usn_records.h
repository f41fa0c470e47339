// The NTFS change journal ($Extend\$UsnJrnl:$J): one record for each change to a file, its name,
// its parent folder by MFT reference, why (the reasons, a bit each) and when. Windows keeps the
// stream sparse: the part it has let go of reads as zeros, often gigabytes of them before the
// records still held.
//
// Layouts (Microsoft's USN_RECORD_V2/V3/V4 documentation; checked on plaso's UsnJrnl.raw):
//   all      0 record length (4), 4 major version (2), 6 minor version (2)
//   v2       8 file reference (8), 16 parent reference (8), 24 USN (8), 32 time (FILETIME 8),
//            40 reason (4), 44 source info (4), 48 security id (4), 52 attributes (4),
//            56 name length in bytes (2), 58 name offset (2), name (UTF-16)
//   v3       8 file reference (16), 24 parent reference (16), 40 USN (8), 48 time (8),
//            56 reason (4), 60 source info (4), 64 security id (4), 68 attributes (4),
//            72 name length (2), 74 name offset (2), name
//   v4       8 file reference (16), 24 parent reference (16), 40 USN (8), 48 reason (4), ...:
//            the byte ranges a change touched, no name and no time
// Records start at multiples of 8 bytes.
#pragma once

#include <QString>
#include <QStringList>
#include <cstdint>
#include <optional>

#include "core/common/byte_view.h"
#include "core/time/iso_time.h"

namespace kestrova {

struct UsnRecord {
    int version = 0;
    uint64_t fileEntry = 0, parentEntry = 0;  // MFT entry numbers
    uint16_t fileSequence = 0, parentSequence = 0;
    int64_t usn = 0;
    std::optional<UtcMicros> time;
    uint32_t reason = 0, sourceInfo = 0, securityId = 0, attributes = 0;
    QString name;
};

// What lies at `at`: a record (its size in `size`), nothing (zeros: `size` is how far they go, at
// least 8), or neither (nullopt; `why` says what is wrong with it).
enum class UsnFind { Record, Zeros, Damaged, Short };
UsnFind decodeUsnRecord(ByteView bytes, size_t at, size_t* size, UsnRecord* record, QString* why);

// "FILE_CREATE|CLOSE"; "ARCHIVE|DIRECTORY".
QString usnReasonNames(uint32_t reason);
QString fileAttributeNames(uint32_t attributes);

inline constexpr uint32_t kUsnRenameOld = 0x1000, kUsnRenameNew = 0x2000, kUsnDirectory = 0x10;

}  // namespace kestrova
