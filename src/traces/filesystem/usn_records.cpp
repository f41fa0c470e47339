#include "traces/filesystem/usn_records.h"

#include <algorithm>

namespace kestrova {
namespace {

// Longer than any name NTFS allows (255 characters) with its header, well short of a page.
constexpr size_t kMaxRecord = 4096;

QString flagNames(uint32_t bits, std::initializer_list<std::pair<uint32_t, const char*>> names) {
    QStringList out;
    for (const auto& [bit, name] : names) {
        if (bits & bit) {
            out << QLatin1String(name);
            bits &= ~bit;
        }
    }
    if (bits) out << QStringLiteral("0x%1").arg(bits, 8, 16, QLatin1Char('0'));
    return out.join(QLatin1Char('|'));
}

}  // namespace

UsnFind decodeUsnRecord(ByteView bytes, size_t at, size_t* size, UsnRecord* record, QString* why) {
    if (!bytes.has(at, 8)) {
        *size = bytes.size() - std::min(at, bytes.size());
        return UsnFind::Short;
    }
    const size_t length = bytes.u32(at);
    if (length == 0) {
        // Zeros, fast: most of a journal is the part Windows let go of. Records begin at multiples
        // of 8, so the next one begins at or before the next byte that is not zero.
        const uint8_t* data = bytes.data();
        size_t end = at;
        while (end < bytes.size() && data[end] == 0) ++end;
        const size_t next = end == bytes.size() ? end : end & ~size_t{7};
        *size = next > at + 8 ? next - at : 8;
        return UsnFind::Zeros;
    }
    const int major = bytes.u16(at + 4);
    *size = 8;
    if (major < 2 || major > 4) {
        *why = QStringLiteral("version %1 (not 2, 3 or 4)").arg(major);
        return UsnFind::Damaged;
    }
    if (length < 40 || length > kMaxRecord || length % 8 != 0) {
        *why = QStringLiteral("a record length of %1 bytes").arg(length);
        return UsnFind::Damaged;
    }
    if (!bytes.has(at, length)) {
        *size = bytes.size() - at;
        return UsnFind::Short;
    }
    const ByteView r = bytes.sub(at, length);
    UsnRecord out;
    out.version = major;
    // Where versions 2 and 3 keep their fields (version 4 has no time, no attributes, no name).
    struct Layout {
        size_t file, parent, usn, time, reason, sourceInfo, securityId, attributes, nameLength, nameOffset, minimum;
    };
    static constexpr Layout kV2{8, 16, 24, 32, 40, 44, 48, 52, 56, 58, 60}, kV3{8, 24, 40, 48, 56, 60, 64, 68, 72, 74, 76},
        kV4{8, 24, 40, 0, 48, 52, 0, 0, 0, 0, 56};
    const Layout& layout = major == 2 ? kV2 : major == 3 ? kV3 : kV4;
    if (length < layout.minimum) {
        *why = QStringLiteral("a version %1 record of %2 bytes").arg(major).arg(length);
        return UsnFind::Damaged;
    }
    // References of 128 bits (version 3 and 4, for ReFS): on NTFS the low 48 bits are the entry,
    // the next 16 its sequence, as in version 2's 64.
    out.fileEntry = r.u64(layout.file) & 0xFFFFFFFFFFFFull;
    out.fileSequence = static_cast<uint16_t>(r.u64(layout.file) >> 48);
    out.parentEntry = r.u64(layout.parent) & 0xFFFFFFFFFFFFull;
    out.parentSequence = static_cast<uint16_t>(r.u64(layout.parent) >> 48);
    out.usn = static_cast<int64_t>(r.u64(layout.usn));
    out.reason = r.u32(layout.reason);
    out.sourceInfo = r.u32(layout.sourceInfo);
    if (major != 4) {
        out.time = utc::fromFileTime(r.u64(layout.time));
        out.securityId = r.u32(layout.securityId);
        out.attributes = r.u32(layout.attributes);
        const size_t nameLength = r.u16(layout.nameLength), nameAt = r.u16(layout.nameOffset);
        if (nameLength % 2 != 0 || !r.has(nameAt, nameLength) || nameAt < layout.minimum) {
            *why = QStringLiteral("a name of %1 bytes at %2 outside its %3-byte record").arg(nameLength).arg(nameAt).arg(length);
            return UsnFind::Damaged;
        }
        out.name = r.utf16(nameAt, nameLength / 2);
    }
    *size = length;
    *record = std::move(out);
    return UsnFind::Record;
}

QString usnReasonNames(uint32_t reason) {
    return flagNames(reason, {{0x1, "DATA_OVERWRITE"},
                              {0x2, "DATA_EXTEND"},
                              {0x4, "DATA_TRUNCATION"},
                              {0x10, "NAMED_DATA_OVERWRITE"},
                              {0x20, "NAMED_DATA_EXTEND"},
                              {0x40, "NAMED_DATA_TRUNCATION"},
                              {0x100, "FILE_CREATE"},
                              {0x200, "FILE_DELETE"},
                              {0x400, "EA_CHANGE"},
                              {0x800, "SECURITY_CHANGE"},
                              {0x1000, "RENAME_OLD_NAME"},
                              {0x2000, "RENAME_NEW_NAME"},
                              {0x4000, "INDEXABLE_CHANGE"},
                              {0x8000, "BASIC_INFO_CHANGE"},
                              {0x10000, "HARD_LINK_CHANGE"},
                              {0x20000, "COMPRESSION_CHANGE"},
                              {0x40000, "ENCRYPTION_CHANGE"},
                              {0x80000, "OBJECT_ID_CHANGE"},
                              {0x100000, "REPARSE_POINT_CHANGE"},
                              {0x200000, "STREAM_CHANGE"},
                              {0x400000, "TRANSACTED_CHANGE"},
                              {0x800000, "INTEGRITY_CHANGE"},
                              {0x80000000, "CLOSE"}});
}

QString fileAttributeNames(uint32_t attributes) {
    return flagNames(attributes, {{0x1, "READONLY"},
                                  {0x2, "HIDDEN"},
                                  {0x4, "SYSTEM"},
                                  {0x10, "DIRECTORY"},
                                  {0x20, "ARCHIVE"},
                                  {0x40, "DEVICE"},
                                  {0x80, "NORMAL"},
                                  {0x100, "TEMPORARY"},
                                  {0x200, "SPARSE_FILE"},
                                  {0x400, "REPARSE_POINT"},
                                  {0x800, "COMPRESSED"},
                                  {0x1000, "OFFLINE"},
                                  {0x2000, "NOT_CONTENT_INDEXED"},
                                  {0x4000, "ENCRYPTED"}});
}

}  // namespace kestrova
