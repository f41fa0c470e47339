// What ran, from the machine's hives:
// - ShimCache (SYSTEM ...\Session Manager\AppCompatCache): the programs the compatibility layer
//   looked at, newest first, with the file's modification time; on Windows 7 and 8 a flag says
//   the program was run. Layouts by their signatures (after the public descriptions of Mandiant's
//   ShimCacheParser and RegRipper's appcompatcache plugin, checked on the Windows 7 sample):
//     0xDEADBEEF  XP: count at 4, entries of 552 bytes from 400: path (520 bytes UTF-16),
//                 modified FILETIME at 528
//     0xBADC0FFE  Vista/2003, 0xBADC0FEE  7/2008 R2: count at 4, entries from 8 (Vista) or 128
//                 (7), each a path length, a path offset from the value's start and a FILETIME;
//                 32-bit entries of 24 (Vista) / 32 (7) bytes, 64-bit ones of 32 / 48 bytes
//     header 128, "00ts"/"10ts" entries: 8.0/8.1; header 0x30 or 0x34, "10ts" entries: 10 and 11
// - Amcache.hve: Windows 10's InventoryApplicationFile (path, SHA-1, product, publisher,
//   version, size; the key's time is when the entry was written) and Windows 8's File\{volume}
//   entries (values 15 path, 101 SHA-1, 17 modified, 0 product, 1 publisher, 6 version).
// - BAM and DAM (SYSTEM ...\Services\bam|dam\[State\]UserSettings\SID): each program's last
//   execution by each user.
#include "core/common/byte_view.h"
#include "traces/windows/registry_walk.h"
#include "traces/windows/windows_fields.h"
#include "traces/windows/windows_sources.h"

namespace kestrova {
namespace {

namespace ex = windowsfields::execution;

struct ShimEntry {
    QString path;
    std::optional<UtcMicros> modified;
    std::optional<bool> executed;
};

// A path given by a UTF-16 length (bytes) and an offset from the start of the value.
QString pathAt(ByteView data, size_t offset, size_t bytes) {
    if (!data.has(offset, bytes)) return QString();
    return data.sub(offset, bytes).utf16z(0);
}

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

void shimCache(TraceContext& context, TraceSink& sink, const HiveFile& system, const QString& ccs) {
    for (const QString& keyPath : {ccs + QStringLiteral("\\Control\\Session Manager\\AppCompatCache"),
                                   ccs + QStringLiteral("\\Control\\Session Manager\\AppCompatibility")}) {
        const auto node = keyAt(system, keyPath);
        const auto value = node ? system.value(*node, QStringLiteral("AppCompatCache")) : std::nullopt;
        if (!value) continue;
        QString layout;
        const auto entries = parseShimCache(ByteView(value->bytes), &layout);
        if (entries.empty()) {
            context.note(FindingKind::Damaged, QStringLiteral("ShimCache ") + keyPath, QStringLiteral("a layout this program does not know"));
            continue;
        }
        const Provenance from{{}, {}, {}, kSystemHive.toUtf8(), keyPath.toUtf8()};
        const auto written = keyTime(system, *node);
        int64_t position = 0;
        for (const ShimEntry& e : entries) {
            OwnedRecord<ex::Count> r;
            r.text(ex::Mechanism, QStringLiteral("ShimCache (%1)").arg(layout));
            // Native paths ("\??\C:\...") shown as the user knows them.
            r.text(ex::Path, e.path.startsWith(QLatin1String("\\??\\")) ? e.path.mid(4) : e.path);
            r.integer(ex::Position, position++);
            if (e.executed) r.boolean(ex::Executed, *e.executed);
            r.time(ex::FileModified, e.modified);
            r.time(ex::KeyWritten, written);
            if (!context.deliver(sink, from, r.values())) return;
        }
    }
}

QString textValue(const HiveFile& hive, HiveFile::Node node, const QString& name) {
    const auto v = hive.value(node, name);
    return v ? valueText(*v) : QString();
}

void amcache(TraceContext& context, TraceSink& sink) {
    const QString path = QStringLiteral("C:\\Windows\\AppCompat\\Programs\\Amcache.hve");
    const auto hive = context.hive(path);
    if (!hive) return;
    const QByteArray source = path.toUtf8();
    if (const auto files = keyAt(*hive, QStringLiteral("Root\\InventoryApplicationFile"))) {
        for (const HiveFile::Named& entry : hive->children(*files)) {
            OwnedRecord<ex::Count> r;
            r.text(ex::Mechanism, QStringLiteral("Amcache"));
            r.text(ex::Path, textValue(*hive, entry.node, QStringLiteral("LowerCaseLongPath")));
            const QString id = textValue(*hive, entry.node, QStringLiteral("FileId"));
            if (id.size() == 44) r.text(ex::Sha1, id.mid(4));  // "0000" and the SHA-1
            r.text(ex::Product, textValue(*hive, entry.node, QStringLiteral("ProductName")));
            r.text(ex::Publisher, textValue(*hive, entry.node, QStringLiteral("Publisher")));
            r.text(ex::Version, textValue(*hive, entry.node, QStringLiteral("Version")));
            bool ok = false;
            const qint64 size = textValue(*hive, entry.node, QStringLiteral("Size")).toLongLong(&ok, 0);
            if (ok) r.integer(ex::FileSize, size);
            r.time(ex::KeyWritten, keyTime(*hive, entry.node));
            const QString part = QStringLiteral("Root\\InventoryApplicationFile\\") + entry.name;
            if (!context.deliver(sink, Provenance{{}, {}, {}, source, part.toUtf8()}, r.values())) return;
        }
    }
    if (const auto volumes = keyAt(*hive, QStringLiteral("Root\\File"))) {
        for (const HiveFile::Named& volume : hive->children(*volumes)) {
            for (const HiveFile::Named& entry : hive->children(volume.node)) {
                OwnedRecord<ex::Count> r;
                r.text(ex::Mechanism, QStringLiteral("Amcache"));
                r.text(ex::Path, textValue(*hive, entry.node, QStringLiteral("15")));
                const QString id = textValue(*hive, entry.node, QStringLiteral("101"));
                if (id.size() == 44) r.text(ex::Sha1, id.mid(4));
                r.text(ex::Product, textValue(*hive, entry.node, QStringLiteral("0")));
                r.text(ex::Publisher, textValue(*hive, entry.node, QStringLiteral("1")));
                r.text(ex::Version, textValue(*hive, entry.node, QStringLiteral("6")));
                if (const auto modified = hive->value(entry.node, QStringLiteral("17")); modified && modified->bytes.size() >= 8) {
                    r.time(ex::FileModified, utc::fromFileTime(static_cast<int64_t>(ByteView(modified->bytes).u64(0))));
                }
                r.time(ex::KeyWritten, keyTime(*hive, entry.node));
                const QString part = QStringLiteral("Root\\File\\%1\\%2").arg(volume.name, entry.name);
                if (!context.deliver(sink, Provenance{{}, {}, {}, source, part.toUtf8()}, r.values())) return;
            }
        }
    }
}

void backgroundActivity(TraceContext& context, TraceSink& sink, const HiveFile& system, const QString& ccs) {
    for (const char* service : {"bam", "dam"}) {
        for (const char* under : {"\\State\\UserSettings", "\\UserSettings"}) {
            const QString base = ccs + QStringLiteral("\\Services\\") + QLatin1String(service) + QLatin1String(under);
            const auto settings = keyAt(system, base);
            if (!settings) continue;
            for (const HiveFile::Named& sid : system.children(*settings)) {
                const QByteArray user = userOfSid(context, sid.name).toUtf8();
                const QString keyPath = base + QLatin1Char('\\') + sid.name;
                const Provenance from{user, {}, {}, kSystemHive.toUtf8(), keyPath.toUtf8()};
                const auto written = keyTime(system, sid.node);
                for (const HiveFile::NamedValue& v : system.values(sid.node)) {
                    if (v.data.bytes.size() < 8 || v.name == QLatin1String("Version") || v.name == QLatin1String("SequenceNumber")) continue;
                    OwnedRecord<ex::Count> r;
                    r.text(ex::Mechanism, QString::fromLatin1(service).toUpper());
                    r.text(ex::Path, v.name);
                    r.time(ex::LastExecuted, utc::fromFileTime(static_cast<int64_t>(ByteView(v.data.bytes).u64(0))));
                    r.text(ex::UserSid, sid.name);
                    r.time(ex::KeyWritten, written);
                    if (!context.deliver(sink, from, r.values())) return;
                }
            }
        }
    }
}

}  // namespace

void windowsExecution(TraceContext& context, TraceSink& sink) {
    if (const auto system = context.hive(kSystemHive)) {
        const QString ccs = currentControlSet(*system);
        if (!ccs.isEmpty()) {
            shimCache(context, sink, *system, ccs);
            backgroundActivity(context, sink, *system, ccs);
        }
    }
    amcache(context, sink);
}

}  // namespace kestrova
