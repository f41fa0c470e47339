// Internet Explorer 10 and 11 and the legacy Edge keep history, cache and cookie records in one
// ESE database per user, AppData\Local\Microsoft\Windows\WebCache\WebCacheV01.dat, read here
// through libesedb in a contained child. Its Containers table names each container (ContainerId,
// Name: "History", "MSHist01…" for the daily and weekly ones, "Content", "Cookies", ...,
// Directory); each container's records are the table Container_<ContainerId>, with the columns
// plaso's msie_webcache parser and libesedb's documentation describe: Url ("Visited:
// user@url" in history, "Cookie:user@host/path" in cookies), Filename, AccessCount and the
// FILETIMEs CreationTime, ModifiedTime, AccessedTime, ExpiryTime. A column a table lacks leaves
// its field absent.
#include <libesedb.h>
#include <map>
#include <memory>

#include "platform/volume/regular_file.h"
#include "traces/browsers/browser_fields.h"
#include "traces/contained_source.h"
#include "traces/libyal.h"
#include "traces/ie/ie_sources.h"

namespace kestrova {
namespace {

using Table = LibyalHandle<libesedb_table_t, libesedb_error_t, libesedb_table_free>;
using Record = LibyalHandle<libesedb_record_t, libesedb_error_t, libesedb_record_free>;

// A record's columns by name (the same for every record of a table).
class EseRow {
public:
    explicit EseRow(libesedb_record_t* record) : record_(record) {}
    static std::map<QString, int> columnsOf(libesedb_record_t* record) {
        std::map<QString, int> columns;
        int count = 0;
        libesedb_record_get_number_of_values(record, &count, nullptr);
        for (int i = 0; i < count && i < 1024; ++i) {
            size_t size = 0;
            if (libesedb_record_get_utf8_column_name_size(record, i, &size, nullptr) != 1 || size == 0 || size > 256) continue;
            QByteArray name(static_cast<qsizetype>(size), '\0');
            if (libesedb_record_get_utf8_column_name(record, i, reinterpret_cast<uint8_t*>(name.data()), size, nullptr) == 1) {
                columns[QString::fromUtf8(name.constData())] = i;
            }
        }
        return columns;
    }
    std::optional<int64_t> integer(int entry) const {
        if (entry < 0) return std::nullopt;
        uint64_t v64 = 0;
        if (libesedb_record_get_value_64bit(record_, entry, &v64, nullptr) == 1) return static_cast<int64_t>(v64);
        uint32_t v32 = 0;
        if (libesedb_record_get_value_32bit(record_, entry, &v32, nullptr) == 1) return v32;
        return std::nullopt;
    }
    QString text(int entry) const {
        if (entry < 0) return QString();
        size_t size = 0;
        if (libesedb_record_is_long_value(record_, entry, nullptr) == 1) {
            libesedb_long_value_t* raw = nullptr;
            if (libesedb_record_get_long_value(record_, entry, &raw, nullptr) != 1) return QString();
            const std::unique_ptr<libesedb_long_value_t, void (*)(libesedb_long_value_t*)> value(
                raw, [](libesedb_long_value_t* v) { libesedb_long_value_free(&v, nullptr); });
            if (libesedb_long_value_get_utf8_string_size(raw, &size, nullptr) != 1 || size == 0 || size > (16u << 20)) return QString();
            QByteArray text(static_cast<qsizetype>(size), '\0');
            if (libesedb_long_value_get_utf8_string(raw, reinterpret_cast<uint8_t*>(text.data()), size, nullptr) != 1) return QString();
            return QString::fromUtf8(text.constData());
        }
        if (libesedb_record_get_value_utf8_string_size(record_, entry, &size, nullptr) != 1 || size == 0 || size > (16u << 20)) return QString();
        QByteArray text(static_cast<qsizetype>(size), '\0');
        if (libesedb_record_get_value_utf8_string(record_, entry, reinterpret_cast<uint8_t*>(text.data()), size, nullptr) != 1) return QString();
        return QString::fromUtf8(text.constData());
    }

private:
    libesedb_record_t* record_;
};

int column(const std::map<QString, int>& columns, const char* name) {
    const auto it = columns.find(QLatin1String(name));
    return it == columns.end() ? -1 : it->second;
}

QString esedbError(libesedb_error_t** error) {
    const QString text = libyalError(error, libesedb_error_sprint, libesedb_error_free);
    return text.isEmpty() ? QStringLiteral("libesedb gives no reason") : text;
}

// The table of that name; nullptr with *why "" when there is none, with the library's words when
// the catalog or the table could not be read.
Table tableNamed(libesedb_file_t* file, const QByteArray& name, QString* why) {
    libesedb_table_t* raw = nullptr;
    libesedb_error_t* error = nullptr;
    const int found = libesedb_file_get_table_by_utf8_name(file, reinterpret_cast<const uint8_t*>(name.constData()),
                                                           static_cast<size_t>(name.size()), &raw, &error);
    *why = found == -1 ? esedbError(&error) : QString();
    if (found != 1) {
        if (error) libesedb_error_free(&error);
        return nullptr;
    }
    return Table(raw);
}

// Calls each(row, columns) for every record of a table, the columns named from its first record.
// A table whose records cannot be counted, and every record libesedb cannot give, is noted on
// `what`: a damaged page loses its records with a word, never silently.
template <typename Each>
void forEachRecord(TraceContext& context, const QString& what, libesedb_table_t* table, Each each) {
    int count = 0;
    libesedb_error_t* error = nullptr;
    if (libesedb_table_get_number_of_records(table, &count, &error) != 1) {
        context.note(FindingKind::Damaged, what, QStringLiteral("its records cannot be counted (%1)").arg(esedbError(&error)));
        return;
    }
    std::map<QString, int> columns;
    int lost = 0;
    QString firstLoss;
    for (int i = 0; i < count; ++i) {
        libesedb_record_t* raw = nullptr;
        if (libesedb_table_get_record(table, i, &raw, &error) != 1) {
            const QString why = esedbError(&error);
            if (lost++ == 0) firstLoss = QStringLiteral("record %1: %2").arg(i).arg(why);
            continue;
        }
        const Record record(raw);
        if (columns.empty()) columns = EseRow::columnsOf(raw);
        if (!each(EseRow(raw), columns)) break;
    }
    if (lost > 0) {
        context.note(FindingKind::Damaged, what, QStringLiteral("%1 of its %2 records cannot be read (%3)").arg(lost).arg(count).arg(firstLoss));
    }
}

std::optional<UtcMicros> timeOf(const EseRow& row, const std::map<QString, int>& columns, const char* name) {
    const auto t = row.integer(column(columns, name));
    return t ? utc::fromFileTime(*t) : std::nullopt;
}

// Delivers one container record as its kind's record.
bool deliverEntry(TraceContext& context, TraceSink& sink, WebCacheKind kind, const Provenance& from, const QString& container,
                  const EseRow& row, const std::map<QString, int>& columns) {
    const QString url = row.text(column(columns, "Url"));
    const auto hits = row.integer(column(columns, "AccessCount"));
    switch (kind) {
    case WebCacheKind::History: {
        using namespace iefields::history;
        OwnedRecord<Count> r;
        const WebCacheUrl parts = splitWebCacheUrl(kind, url);
        r.text(Url, parts.url);
        if (!parts.user.isEmpty()) r.text(VisitedAs, parts.user);
        r.time(LastVisited, timeOf(row, columns, "AccessedTime"));
        r.time(LastUpdated, timeOf(row, columns, "ModifiedTime"));
        r.time(Expires, timeOf(row, columns, "ExpiryTime"));
        if (hits) r.integer(Hits, *hits);
        r.text(Container, container);
        return context.deliver(sink, from, r.values());
    }
    case WebCacheKind::Cache: {
        using namespace iefields::cache;
        OwnedRecord<Count> r;
        r.text(Url, url);
        r.text(FileName, row.text(column(columns, "Filename")));
        r.time(LastModified, timeOf(row, columns, "ModifiedTime"));
        r.time(LastAccessed, timeOf(row, columns, "AccessedTime"));
        r.time(Expires, timeOf(row, columns, "ExpiryTime"));
        if (hits) r.integer(Hits, *hits);
        return context.deliver(sink, from, r.values());
    }
    case WebCacheKind::Cookies: {
        using namespace browserfields::cookies;
        OwnedRecord<Count> r;
        // The cookie's name and value are in its text file.
        const WebCacheUrl parts = splitWebCacheUrl(kind, url);
        r.text(Host, parts.host);
        r.text(Path, parts.path);
        r.time(Created, timeOf(row, columns, "CreationTime"));
        r.time(Expires, timeOf(row, columns, "ExpiryTime"));
        r.time(LastAccess, timeOf(row, columns, "AccessedTime"));
        return context.deliver(sink, from, r.values());
    }
    }
    return true;
}

void readWebCache(TraceContext& context, TraceSink& sink, WebCacheKind kind, const UserProfile& user, const QString& path,
                  const QByteArray& localName) {
    const auto file = openLibyal(localName, libesedb_file_initialize, libesedb_file_open, libesedb_file_close, libesedb_file_free,
                                 LIBESEDB_OPEN_READ);
    const QString what = QStringLiteral("WebCache database ") + path;
    if (!file) {
        context.note(FindingKind::Damaged, what, QStringLiteral("not an ESE database libesedb reads"));
        return;
    }
    libesedb_file_t* raw = file.get();
    QString why;
    const Table containers = tableNamed(raw, "Containers", &why);
    if (!containers) {
        context.note(why.isEmpty() ? FindingKind::SchemaDiffers : FindingKind::Damaged, what,
                     why.isEmpty() ? QStringLiteral("no table Containers") : QStringLiteral("its table Containers cannot be read (%1)").arg(why));
        return;
    }
    std::vector<std::pair<int64_t, QString>> chosen;
    forEachRecord(context, what + QStringLiteral(", table Containers"), containers.get(), [&](const EseRow& row, const std::map<QString, int>& columns) {
        const auto id = row.integer(column(columns, "ContainerId"));
        const QString name = row.text(column(columns, "Name")).trimmed();
        if (id && webCacheHolds(kind, name)) chosen.emplace_back(*id, name);
        return true;
    });
    for (const auto& container : chosen) {
        const QString& name = container.second;  // named, not bound: lambdas below capture it
        const QByteArray tableName = "Container_" + QByteArray::number(container.first);
        const Table table = tableNamed(raw, tableName, &why);
        if (!table) {
            context.note(why.isEmpty() ? FindingKind::SchemaDiffers : FindingKind::Damaged, what,
                         why.isEmpty() ? QStringLiteral("no table %1 for container %2").arg(QString::fromLatin1(tableName), name)
                                       : QStringLiteral("the table %1 of container %2 cannot be read (%3)").arg(QString::fromLatin1(tableName), name, why));
            continue;
        }
        const Provenance from = userProvenance(user, path, QStringLiteral("%1 (%2)").arg(QString::fromLatin1(tableName), name));
        bool going = true;
        forEachRecord(context, what + QStringLiteral(", table ") + QString::fromLatin1(tableName), table.get(), [&](const EseRow& row, const std::map<QString, int>& columns) {
            going = deliverEntry(context, sink, kind, from, name, row, columns);
            return going;
        });
        if (!going) return;
    }
}

}  // namespace

bool webCacheHolds(WebCacheKind kind, const QString& container) {
    const auto starts = [&](const char* prefix) { return container.startsWith(QLatin1String(prefix), Qt::CaseInsensitive); };
    switch (kind) {
    case WebCacheKind::History: return starts("History") || starts("MSHist");
    case WebCacheKind::Cache: return starts("Content");
    case WebCacheKind::Cookies: return starts("Cookies");
    }
    return false;
}

WebCacheUrl splitWebCacheUrl(WebCacheKind kind, const QString& text) {
    WebCacheUrl parts;
    const qsizetype at = text.indexOf(QLatin1Char('@'));
    if (kind == WebCacheKind::Cookies) {
        // "Cookie:USER@host/path".
        const QString where = at < 0 ? text : text.mid(at + 1);
        const qsizetype slash = where.indexOf(QLatin1Char('/'));
        parts.host = slash < 0 ? where : where.left(slash);
        parts.path = slash < 0 ? QStringLiteral("/") : where.mid(slash);
        parts.url = text;
        return parts;
    }
    if (kind == WebCacheKind::History) {
        // "Visited: USER@URL", as in the index.dat containers.
        const qsizetype colon = text.indexOf(QLatin1Char(':'));
        parts.url = at < 0 ? text : text.mid(at + 1);
        if (at >= 0 && colon >= 0 && colon < at) parts.user = text.mid(colon + 1, at - colon - 1).trimmed();
        return parts;
    }
    parts.url = text;
    return parts;
}

void webCacheRecords(TraceContext& context, TraceSink& sink, WebCacheKind kind) {
    struct Database {
        const UserProfile* user;
        QString path;
        std::unique_ptr<QIODevice> file;
    };
    std::vector<Database> databases;
    for (const UserProfile& user : context.users()) {
        const QString path = webCachePath(user);
        if (!context.exists(path)) continue;
        if (auto file = context.system().openFile(path, QStringLiteral("WebCache database"))) {
            databases.push_back({&user, path, std::move(file)});
        }
    }
    if (databases.empty()) return;
    // libesedb opens a name: the child gets the file the parent opened and checked.
    runContainedSource(context, sink, QStringLiteral("WebCache databases"), [&](TraceContext& c, TraceSink& s) {
        for (const Database& db : databases) {
            if (c.stopped()) return;
            readWebCache(c, s, kind, *db.user, db.path, descriptorPath(*db.file));
        }
    });
}

}  // namespace kestrova
