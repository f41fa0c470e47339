// The Recycle Bin: what each user deleted through Explorer, where it was and when. Since Vista a
// deleted file becomes two files in C:\$Recycle.Bin\<SID>\: $R<id><ext> holds the content and
// $I<id><ext> its origin; Windows NT to XP kept one INFO2 index per user folder under
// C:\RECYCLER\<SID>\ (NTFS) or C:\RECYCLED\ (FAT), the content renamed Dc<n><ext>.
//
// Layouts (libyal's and the field's Recycle Bin notes; checked on the shared samples):
//   $I version 1 (Vista to 8.1)  0 version (8) = 1, 8 size (8), 16 deleted (FILETIME 8),
//                                24 path (UTF-16, 260 characters, NUL-padded)
//   $I version 2 (10 and later)  0 version (8) = 2, 8 size (8), 16 deleted (8),
//                                24 path length in characters with its NUL (4), 28 path (UTF-16)
//   INFO2                        0 version (4), 12 record size (4, 800), records from 20:
//                                0 path (ANSI, 260), 260 index n of Dc<n> (4), 264 drive (4),
//                                268 deleted (FILETIME 8), 276 size (4), 280 path (UTF-16, 260)
//   An INFO2 record whose ANSI path starts with a NUL was emptied or restored: its content is
//   gone, its Unicode path stays.
#include <QFileInfo>

#include "core/common/byte_view.h"
#include "core/time/iso_time.h"
#include "traces/windows/registry_walk.h"
#include "traces/windows/windows_fields.h"
#include "traces/windows/windows_sources.h"

namespace kestrova {
namespace {

namespace rb = windowsfields::recyclebin;

// The content file beside an index entry, as the folder lists it: whether it is there, and its
// size where it is a file.
struct Content {
    bool there = false;
    std::optional<qint64> size;
};

Content contentOf(TraceContext& context, const QString& folder, const std::vector<DirEntry>& entries, const QString& name) {
    for (const DirEntry& e : entries) {
        if (e.name.compare(name, Qt::CaseInsensitive) != 0) continue;
        // Its size without opening it: an image's file would be taken out whole to be measured.
        return Content{true, (e.attributes & 0x10) ? std::nullopt : context.system().fileSize(folder + QLatin1Char('\\') + e.name)};
    }
    return {};
}

struct Entry {
    QString originalPath, format, recycledName;
    std::optional<int64_t> size;
    std::optional<UtcMicros> deleted;
};

bool deliver(TraceContext& context, TraceSink& sink, const std::map<QString, QString>& accounts, const QString& sid, const QString& source,
             const QString& part, const Entry& e, const Content& content) {
    OwnedRecord<rb::Count> r;
    r.text(rb::OriginalPath, e.originalPath);
    if (e.size) r.integer(rb::Size, *e.size);
    r.time(rb::Deleted, e.deleted);
    r.text(rb::Format, e.format);
    r.text(rb::Sid, sid);
    r.text(rb::RecycledName, e.recycledName);
    r.boolean(rb::StillThere, content.there);
    if (content.size) r.integer(rb::RecycledSize, *content.size);
    const auto user = accounts.find(sid);
    return context.deliver(sink, Provenance{(user == accounts.end() ? sid : user->second).toUtf8(), {}, {}, source.toUtf8(), part.toUtf8()},
                           r.values());
}

// An $I file read; nullopt with why where it is none.
std::optional<Entry> readIndexFile(const QByteArray& bytes, QString* why) {
    const ByteView v(bytes);
    const uint64_t version = v.u64(0);
    Entry e;
    if (version == 1 && v.size() >= 24 + 2) {
        e.originalPath = v.sub(24, 520).utf16z(0);
        e.format = QStringLiteral("$I version 1");
    } else if (version == 2 && v.has(24, 4)) {
        const size_t units = v.u32(24);
        if (units == 0 || !v.has(28, units * 2)) {
            *why = QStringLiteral("its path length (%1 characters) reaches past its %2 bytes").arg(units).arg(v.size());
            return std::nullopt;
        }
        e.originalPath = v.sub(28, units * 2).utf16z(0);
        e.format = QStringLiteral("$I version 2");
    } else {
        *why = v.size() < 24 ? QStringLiteral("it holds %1 bytes, fewer than an $I file's 24").arg(v.size())
                             : QStringLiteral("its version is %1, not 1 or 2").arg(version);
        return std::nullopt;
    }
    e.size = static_cast<int64_t>(v.u64(8));
    e.deleted = utc::fromFileTime(v.u64(16));
    return e;
}

void readVistaFolder(TraceContext& context, TraceSink& sink, const std::map<QString, QString>& accounts, const QString& folder, const QString& sid) {
    const std::vector<DirEntry> entries = context.system().listFolder(folder);
    for (const DirEntry& d : entries) {
        if (context.stopped()) return;
        if (d.isDotEntry() || (d.attributes & 0x10) || !d.name.startsWith(QLatin1String("$I"), Qt::CaseInsensitive)) continue;
        const QString path = folder + QLatin1Char('\\') + d.name;
        const auto bytes = context.readSmallFile(path, 1 << 20);
        if (!bytes) continue;  // noted
        QString why;
        auto entry = readIndexFile(*bytes, &why);
        if (!entry) {
            context.note(FindingKind::Damaged, QStringLiteral("Recycle Bin index ") + path, why);
            continue;
        }
        entry->recycledName = QStringLiteral("$R") + d.name.mid(2);
        if (!deliver(context, sink, accounts, sid, path, QString(), *entry, contentOf(context, folder, entries, entry->recycledName))) return;
    }
}

void readInfo2(TraceContext& context, TraceSink& sink, const std::map<QString, QString>& accounts, const QString& folder, const QString& sid) {
    const QString path = folder + QStringLiteral("\\INFO2");
    if (!context.exists(path)) return;
    const auto bytes = context.readSmallFile(path);
    if (!bytes) return;  // noted
    const ByteView v(*bytes);
    const size_t recordSize = v.u32(12);
    if (recordSize < 280 + 520 || v.size() < 20) {
        context.note(FindingKind::Damaged, QStringLiteral("Recycle Bin index ") + path,
                     QStringLiteral("its record size is %1 bytes, not the 800 of an INFO2").arg(recordSize));
        return;
    }
    const std::vector<DirEntry> entries = context.system().listFolder(folder);
    const size_t whole = (v.size() - 20) / recordSize;
    if ((v.size() - 20) % recordSize != 0) {
        context.note(FindingKind::Damaged, QStringLiteral("Recycle Bin index ") + path,
                     QStringLiteral("it ends %1 bytes into a record after its %2 whole ones").arg((v.size() - 20) % recordSize).arg(whole));
    }
    for (size_t i = 0; i < whole && !context.stopped(); ++i) {
        const ByteView rec = v.sub(20 + i * recordSize, recordSize);
        Entry e;
        e.format = QStringLiteral("INFO2");
        e.originalPath = rec.sub(280, 520).utf16z(0);
        if (e.originalPath.isEmpty()) e.originalPath = QString::fromLatin1(reinterpret_cast<const char*>(rec.data()), static_cast<qsizetype>(qstrnlen(reinterpret_cast<const char*>(rec.data()), 260)));
        e.deleted = utc::fromFileTime(rec.u64(268));
        e.size = rec.u32(276);
        // The content is Dc<n> with the original's extension, on drive letter `drive` (2 is C).
        const QString suffix = QFileInfo(QString(e.originalPath).replace(QLatin1Char('\\'), QLatin1Char('/'))).suffix();
        e.recycledName = QStringLiteral("Dc%1").arg(rec.u32(260)) + (suffix.isEmpty() ? QString() : QLatin1Char('.') + suffix);
        const bool emptied = rec.u8(0) == 0;
        if (emptied) e.format = QStringLiteral("INFO2, entry emptied or restored");
        const Content content = emptied ? Content{} : contentOf(context, folder, entries, e.recycledName);
        if (!deliver(context, sink, accounts, sid, path, QStringLiteral("record %1").arg(i + 1), e, content)) return;
    }
}

}  // namespace

void windowsRecycleBin(TraceContext& context, TraceSink& sink) {
    const std::map<QString, QString> accounts = knownAccounts(context);
    // A folder per user, named by the user's SID (RECYCLED of a FAT volume has none).
    for (const char* root : {"C:\\$Recycle.Bin", "C:\\RECYCLER"}) {
        const QString base = QLatin1String(root);
        for (const QString& sid : context.list(base, true)) {
            if (context.stopped()) return;
            const QString folder = base + QLatin1Char('\\') + sid;
            if (base.endsWith(QLatin1String("RECYCLER"))) readInfo2(context, sink, accounts, folder, sid);
            else readVistaFolder(context, sink, accounts, folder, sid);
        }
    }
    readInfo2(context, sink, accounts, QStringLiteral("C:\\RECYCLED"), QString());
}

}  // namespace kestrova
