// windows.search: the items of the Windows Search index, which keeps files that are long gone.
// Windows 11 keeps it in an SQLite database,
// C:\ProgramData\Microsoft\Search\Data\Applications\Windows\Windows.db (read with its -wal, as the
// browsers' databases are): SystemIndex_1_PropertyStore_Metadata names each property (Id,
// UniqueKey "<n>-System.ItemPathDisplay"), SystemIndex_1_PropertyStore holds one row a property of
// an item (WorkId, ColumnId, Value), ordered by item. Times are 8-byte FILETIME blobs (or numbers),
// some texts UTF-16 blobs. (The field's published notes on Windows.db; no real one is shared.)
// Windows 10 and earlier keep an ESE database, Windows.edb: noted, not read (its columns are
// compressed in ways the Debian 12 libesedb does not undo).
//
// Hundreds of thousands of items: the rows are read in one pass in the index's own order and an
// item's record leaves as soon as its last row is read.
#include <QHash>

#include "core/common/byte_view.h"
#include "traces/sql_rows.h"
#include "traces/usage/usage_fields.h"
#include "traces/usage/usage_sources.h"

namespace kestrova {
namespace {

namespace sf = usagefields::search;

constexpr const char* kFolder = "C:\\ProgramData\\Microsoft\\Search\\Data\\Applications\\Windows";

enum class As { Text, Integer, Time };
struct Wanted {
    const char* name;
    int field;
    As as;
};
constexpr Wanted kWanted[] = {
    {"System.ItemPathDisplay", sf::Path, As::Text},     {"System.ItemNameDisplay", sf::Name, As::Text},
    {"System.ItemType", sf::ItemType, As::Text},         {"System.ItemTypeText", sf::TypeText, As::Text},
    {"System.Size", sf::Size, As::Integer},              {"System.DateCreated", sf::Created, As::Time},
    {"System.DateModified", sf::Modified, As::Time},     {"System.DateAccessed", sf::Accessed, As::Time},
    {"System.Search.GatherTime", sf::Indexed, As::Time}, {"System.FileOwner", sf::Owner, As::Text},
    {"System.ItemUrl", sf::Url, As::Text},               {"System.Search.AutoSummary", sf::Summary, As::Text},
};

// A value as its kind wants it: a text, or a UTF-16 blob; a number, or an 8-byte little-endian blob.
void put(OwnedRecord<sf::Count>& r, const Wanted& w, const Query& q) {
    const bool blob = q.isBlob(2);
    const auto bytes = q.text(2);
    if (!bytes) return;
    switch (w.as) {
    case As::Text:
        if (blob) r.text(w.field, ByteView(bytes->data(), bytes->size()).utf16(0, bytes->size() / 2));
        else r.bytes(w.field, QByteArray(bytes->data(), static_cast<qsizetype>(bytes->size())));
        break;
    case As::Integer:
        if (!blob) r.integer(w.field, q.integer(2));
        else if (bytes->size() == 8) r.integer(w.field, static_cast<int64_t>(ByteView(bytes->data(), 8).u64(0)));
        break;
    case As::Time: {
        const uint64_t filetime = blob ? (bytes->size() == 8 ? ByteView(bytes->data(), 8).u64(0) : 0) : static_cast<uint64_t>(q.integer(2));
        if (filetime) r.time(w.field, utc::fromFileTime(filetime));
        break;
    }
    }
}

void readWindowsDb(TraceContext& context, TraceSink& sink, const QString& path) {
    const auto db = context.openDatabase(path);
    if (!db) return;  // noted
    const Columns metadata(*db, QStringLiteral("SystemIndex_1_PropertyStore_Metadata"));
    if (!metadata.exists() || !metadata.has("Id") || !metadata.has("UniqueKey") || !db->hasTable(QStringLiteral("SystemIndex_1_PropertyStore"))) {
        noteSchema(context, path, QStringLiteral("no SystemIndex_1_PropertyStore with its Metadata (Id, UniqueKey)"));
        return;
    }
    // The properties wanted, by their column number.
    QHash<int64_t, const Wanted*> byColumn;
    {
        Query q(*db, QStringLiteral("SELECT Id, UniqueKey FROM SystemIndex_1_PropertyStore_Metadata"));
        while (q.next()) {
            const auto key = q.text(1);
            if (!key) continue;
            // "4447-System.ItemPathDisplay": the canonical name after the number.
            std::string_view name = *key;
            if (const size_t dash = name.find('-'); dash != std::string_view::npos) name.remove_prefix(dash + 1);
            for (const Wanted& w : kWanted) {
                if (name == w.name) byColumn.insert(q.integer(0), &w);
            }
        }
        if (!q.error().isEmpty()) noteSchema(context, path, q.error());
    }
    if (byColumn.isEmpty()) {
        noteSchema(context, path, QStringLiteral("its metadata names none of the properties read (System.ItemPathDisplay, System.DateModified, ...)"));
        return;
    }
    QStringList ids;
    for (auto it = byColumn.constBegin(); it != byColumn.constEnd(); ++it) ids << QString::number(it.key());
    Query q(*db, QStringLiteral("SELECT WorkId, ColumnId, Value FROM SystemIndex_1_PropertyStore WHERE ColumnId IN (%1) ORDER BY WorkId").arg(ids.join(QLatin1Char(','))));
    if (!q.ok()) {
        noteSchema(context, path, q.error());
        return;
    }
    const Provenance from{{}, {}, {}, path.toUtf8(), QByteArrayLiteral("SystemIndex_1_PropertyStore")};
    std::optional<OwnedRecord<sf::Count>> item;
    int64_t current = 0;
    const auto flush = [&] {
        if (!item) return true;
        item->integer(sf::WorkId, current);
        const bool goOn = context.deliver(sink, from, item->values());
        item.reset();
        return goOn;
    };
    while (q.next()) {
        const int64_t workId = q.integer(0);
        if (!item || workId != current) {
            if (!flush()) return;
            item.emplace();
            current = workId;
        }
        if (const Wanted* w = byColumn.value(q.integer(1))) put(*item, *w, q);
    }
    if (!flush()) return;
    if (!q.error().isEmpty()) context.note(FindingKind::Damaged, QStringLiteral("database ") + path, QStringLiteral("reading its items ended early: %1").arg(q.error()));
}

}  // namespace

void windowsSearch(TraceContext& context, TraceSink& sink) {
    const QString folder = QLatin1String(kFolder);
    const QString db = folder + QStringLiteral("\\Windows.db");
    if (context.exists(db)) readWindowsDb(context, sink, db);
    const QString edb = folder + QStringLiteral("\\Windows.edb");
    if (context.exists(edb)) {
        context.note(FindingKind::SchemaDiffers, QStringLiteral("Search index ") + edb,
                     QStringLiteral("Windows 10's ESE index is not read: its columns are compressed in ways Debian 12's libesedb does not undo"));
    }
}

}  // namespace kestrova
