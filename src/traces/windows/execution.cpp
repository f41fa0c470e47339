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
#include "traces/windows/shim_cache.h"
#include "traces/windows/windows_fields.h"
#include "traces/windows/windows_sources.h"

namespace kestrova {
namespace {

namespace ex = windowsfields::execution;

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

void amcache(TraceContext& context, TraceSink& sink) {
    const QString path = QStringLiteral("C:\\Windows\\AppCompat\\Programs\\Amcache.hve");
    const auto hive = context.hive(path);
    if (!hive) return;
    const QByteArray source = path.toUtf8();
    if (const auto files = keyAt(*hive, QStringLiteral("Root\\InventoryApplicationFile"))) {
        for (const HiveFile::Named& entry : hive->children(*files)) {
            OwnedRecord<ex::Count> r;
            r.text(ex::Mechanism, QStringLiteral("Amcache"));
            r.text(ex::Path, textAt(*hive, entry.node, QStringLiteral("LowerCaseLongPath")));
            const QString id = textAt(*hive, entry.node, QStringLiteral("FileId"));
            if (id.size() == 44) r.text(ex::Sha1, id.mid(4));  // "0000" and the SHA-1
            r.text(ex::Product, textAt(*hive, entry.node, QStringLiteral("ProductName")));
            r.text(ex::Publisher, textAt(*hive, entry.node, QStringLiteral("Publisher")));
            r.text(ex::Version, textAt(*hive, entry.node, QStringLiteral("Version")));
            bool ok = false;
            const qint64 size = textAt(*hive, entry.node, QStringLiteral("Size")).toLongLong(&ok, 0);
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
                r.text(ex::Path, textAt(*hive, entry.node, QStringLiteral("15")));
                const QString id = textAt(*hive, entry.node, QStringLiteral("101"));
                if (id.size() == 44) r.text(ex::Sha1, id.mid(4));
                r.text(ex::Product, textAt(*hive, entry.node, QStringLiteral("0")));
                r.text(ex::Publisher, textAt(*hive, entry.node, QStringLiteral("1")));
                r.text(ex::Version, textAt(*hive, entry.node, QStringLiteral("6")));
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
