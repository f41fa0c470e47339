#include "usage/search_db_writer.h"

#include "browsers/sqlite_writer.h"

namespace kestrova::tools {
namespace {

struct Property {
    int id;
    const char* name;
};
// Ids as a real index numbers them (other properties in between are left out).
constexpr Property kProperties[] = {
    {13, "System.Search.AutoSummary"}, {33, "System.ItemPathDisplay"}, {39, "System.ItemUrl"},     {414, "System.ItemNameDisplay"},
    {420, "System.ItemTypeText"},       {425, "System.ItemType"},      {436, "System.Size"},      {441, "System.DateModified"},
    {444, "System.DateCreated"},        {445, "System.DateAccessed"},  {449, "System.Search.GatherTime"},
    {451, "System.FileOwner"},
};

QByteArray filetime(qint64 unixSeconds) {
    const quint64 ft = static_cast<quint64>(unixSeconds + 11644473600LL) * 10000000ull;
    QByteArray bytes(8, '\0');
    for (int i = 0; i < 8; ++i) bytes[i] = static_cast<char>((ft >> (8 * i)) & 0xFF);
    return bytes;
}

QByteArray utf16(const QString& text) { return QByteArray(reinterpret_cast<const char*>(text.utf16()), text.size() * 2); }

}  // namespace

bool writeSearchIndex(const QString& path, int items, QString* error) {
    Db db;
    if (!create(path, db, error)) return false;
    if (!exec(db.handle,
              "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;"
              "CREATE TABLE SystemIndex_1_PropertyStore_Metadata (Id INTEGER PRIMARY KEY, UniqueKey TEXT, Name TEXT, StorageType INTEGER);"
              "CREATE TABLE SystemIndex_1_PropertyStore (WorkId INTEGER NOT NULL, ColumnId INTEGER NOT NULL, Value BLOB NOT NULL, "
              "PRIMARY KEY (WorkId, ColumnId)) WITHOUT ROWID;",
              error)) {
        return false;
    }
    if (!insertMany(
            db.handle, "INSERT INTO SystemIndex_1_PropertyStore_Metadata VALUES (?, ?, ?, 0)", static_cast<int>(std::size(kProperties)),
            [](sqlite3_stmt* s, int i) {
                sqlite3_bind_int(s, 1, kProperties[i].id);
                bindText(s, 2, QByteArray::number(4000 + kProperties[i].id) + "-" + kProperties[i].name);
                bindText(s, 3, kProperties[i].name);
            },
            error)) {
        return false;
    }
    constexpr qint64 kStart = 1704067200;  // 2024-01-01T00:00:00Z
    constexpr int kPerItem = static_cast<int>(std::size(kProperties));
    return insertMany(
        db.handle, "INSERT INTO SystemIndex_1_PropertyStore VALUES (?, ?, ?)", items * kPerItem,
        [&](sqlite3_stmt* s, int row) {
            const int item = row / kPerItem;
            const Property& p = kProperties[row % kPerItem];
            const QString folder = QStringLiteral("C:\\Users\\bob\\Documents\\folder%1").arg(item / 1000);
            const QString name = QStringLiteral("file%1.txt").arg(item);
            sqlite3_bind_int64(s, 1, item + 1);
            sqlite3_bind_int(s, 2, p.id);
            switch (p.id) {
            case 13: bindText(s, 3, "the first words of the file"); break;
            case 33: bindText(s, 3, (folder + QLatin1Char('\\') + name).toUtf8()); break;
            case 39: bindText(s, 3, ("file:" + QString(folder).replace('\\', '/') + "/" + name).toUtf8()); break;
            case 414: bindText(s, 3, name.toUtf8()); break;
            case 420: bindText(s, 3, "Text Document"); break;
            case 425: bindText(s, 3, ".txt"); break;
            case 436: sqlite3_bind_int64(s, 3, 100LL * item); break;
            case 441: {
                const QByteArray t = filetime(kStart + item + 60);
                sqlite3_bind_blob(s, 3, t.constData(), 8, SQLITE_TRANSIENT);
                break;
            }
            case 444: {
                const QByteArray t = filetime(kStart + item);
                sqlite3_bind_blob(s, 3, t.constData(), 8, SQLITE_TRANSIENT);
                break;
            }
            case 445: {
                const QByteArray t = filetime(kStart + item + 3600);
                sqlite3_bind_blob(s, 3, t.constData(), 8, SQLITE_TRANSIENT);
                break;
            }
            case 449: {
                const QByteArray t = filetime(kStart + item + 86400);
                sqlite3_bind_blob(s, 3, t.constData(), 8, SQLITE_TRANSIENT);
                break;
            }
            case 451: {
                const QByteArray owner = utf16(QStringLiteral("DESKTOP\\bob"));
                sqlite3_bind_blob(s, 3, owner.constData(), static_cast<int>(owner.size()), SQLITE_TRANSIENT);
                break;
            }
            }
        },
        error);
}

}  // namespace kestrova::tools
