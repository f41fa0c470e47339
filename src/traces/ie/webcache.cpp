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
#include "traces/ese_tables.h"
#include "traces/libyal.h"
#include "traces/ie/ie_sources.h"

namespace kestrova {
namespace {

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
