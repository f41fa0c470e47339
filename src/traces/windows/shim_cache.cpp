#include "traces/windows/shim_cache.h"

namespace kestrova {

namespace {

// A path given by a UTF-16 length (bytes) and an offset from the start of the value.
QString pathAt(ByteView data, size_t offset, size_t bytes) {
    if (!data.has(offset, bytes)) return QString();
    return data.sub(offset, bytes).utf16z(0);
}

}  // namespace

std::vector<ShimEntry> parseShimCache(ByteView data, QString* layout) {
    std::vector<ShimEntry> entries;
    const uint32_t magic = data.u32(0);
    const auto fileTime = [&](size_t at) { return utc::fromFileTime(static_cast<int64_t>(data.u64(at))); };
    if (magic == 0xDEADBEEFu) {
        *layout = QStringLiteral("Windows XP");
        const uint32_t count = data.u32(4);
        for (uint32_t i = 0; i < count && data.has(400 + size_t{i} * 552, 552); ++i) {
            const size_t at = 400 + size_t{i} * 552;
            entries.push_back({data.sub(at, 520).utf16z(0), fileTime(at + 528), std::nullopt});
        }
    } else if (magic == 0xBADC0FEEu || magic == 0xBADC0FFEu) {
        const bool seven = magic == 0xBADC0FEEu;
        const uint32_t count = data.u32(4);
        const size_t start = seven ? 128 : 8;
        // 64-bit entries have 4 bytes of padding after the two lengths: their offset's high half is 0.
        const bool wide = data.u32(start + 4) == 0 && data.u32(start + 8) != 0;
        *layout = QStringLiteral("%1, %2-bit").arg(seven ? QStringLiteral("Windows 7") : QStringLiteral("Windows Vista"), wide ? QStringLiteral("64") : QStringLiteral("32"));
        const size_t size = seven ? (wide ? 48 : 32) : (wide ? 32 : 24);
        for (uint32_t i = 0; i < count && data.has(start + size_t{i} * size, size); ++i) {
            const size_t at = start + size_t{i} * size;
            const size_t offset = wide ? data.u64(at + 8) : data.u32(at + 4);
            const size_t timeAt = at + (wide ? 16 : 8);
            ShimEntry e{pathAt(data, offset, data.u16(at)), fileTime(timeAt), std::nullopt};
            if (seven) e.executed = (data.u32(timeAt + 8) & 0x2) != 0;
            entries.push_back(e);
        }
    } else {
        // Windows 8 and later: a header, then "10ts"/"00ts" entries one after another.
        const uint32_t headerSize = data.u32(0);
        const bool ten = headerSize == 0x30 || headerSize == 0x34;
        size_t at = ten ? headerSize : 128;
        if (!data.startsWith("10ts", at) && !data.startsWith("00ts", at)) return entries;
        *layout = ten ? QStringLiteral("Windows 10/11") : QStringLiteral("Windows 8");
        while (data.has(at, 12) && (data.startsWith("10ts", at) || data.startsWith("00ts", at))) {
            const bool eightOne = data.startsWith("10ts", at) && !ten;
            const size_t size = data.u32(at + 8);
            const ByteView entry = data.sub(at + 12, size);
            size_t p = 0;
            const size_t pathBytes = entry.u16(p);
            ShimEntry e{entry.sub(p + 2, pathBytes).utf16z(0), std::nullopt, std::nullopt};
            p += 2 + pathBytes;
            if (!ten) {
                if (eightOne) p += 2 + entry.u16(p);  // the package name
                e.executed = (entry.u32(p) & 0x2) != 0;
                p += 8;  // insertion and shim flags
            }
            e.modified = utc::fromFileTime(static_cast<int64_t>(entry.u64(p)));
            entries.push_back(e);
            at += 12 + size;
        }
    }
    return entries;
}

}  // namespace kestrova
