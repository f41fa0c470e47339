// Firefox profiles: places.sqlite (history, bookmarks, input history, and since Firefox 21 the
// downloads as page annotations), the legacy downloads.sqlite, cookies.sqlite and
// formhistory.sqlite. Tables and columns follow Mozilla's toolkit/components/places schema of
// each generation (Firefox 3 to today) and netwerk/cookie; times are PRTime (microseconds since
// 1970, UTC) unless said otherwise.
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>
#include <cctype>
#include <unordered_map>

#include "traces/browsers/browser_sources.h"
#include "traces/sql_rows.h"

namespace kestrova::firefox {
namespace bf = browserfields;
namespace {

std::optional<UtcMicros> prAt(const Query& q, int column) {
    return q.isNull(column) ? std::nullopt : utc::fromPrTime(q.integer(column));
}

// nsINavHistoryService's TRANSITION_ values.
const char* visitTypeName(int64_t type) {
    static const char* const kNames[] = {nullptr,        "link",     "typed",        "bookmark",         "embed",
                                         "redirect_permanent", "redirect_temporary", "download", "framed_link", "reload"};
    return type > 0 && type < static_cast<int64_t>(std::size(kNames)) ? kNames[type] : nullptr;
}

// nsIDownloadManager's DOWNLOAD_ states.
const char* downloadState(int64_t state) {
    static const char* const kNames[] = {"downloading", "finished", "failed", "cancelled", "paused", "queued",
                                         "blocked (parental)", "scanning", "blocked (virus)", "blocked (policy)"};
    return state >= 0 && state < static_cast<int64_t>(std::size(kNames)) ? kNames[state] : nullptr;
}

QString places(const BrowserProfile& profile) { return profile.folder + QStringLiteral("\\places.sqlite"); }

}  // namespace

QByteArray pathOfFileUri(std::string_view uri) {
    const QByteArray bytes(uri.data(), static_cast<qsizetype>(uri.size()));
    if (!bytes.startsWith("file:///")) return bytes;
    QByteArray path = QByteArray::fromPercentEncoding(bytes.mid(8));
    // A profile carried over from another system names its paths ("file:///home/..."): kept as
    // they are, with their leading slash.
    const bool drive = path.size() >= 2 && path[1] == ':' && std::isalpha(static_cast<unsigned char>(path[0]));
    if (!drive) return QByteArray::fromPercentEncoding(bytes.mid(7));
    path.replace('/', '\\');
    return path;
}

void history(TraceContext& context, TraceSink& sink, const BrowserProfile& profile) {
    using namespace bf::history;
    const QString path = places(profile);
    const auto db = context.openDatabase(path);
    if (!db) return;
    const Columns visits(*db, QStringLiteral("moz_historyvisits"));
    if (!visits.exists() || !Columns(*db, QStringLiteral("moz_places")).exists()) {
        return noteSchema(context, path, QStringLiteral("no tables moz_historyvisits and moz_places"));
    }
    emitRows<Count>(context, sink, *db,
                    QStringLiteral("SELECT v.visit_date, p.url, p.title, v.visit_type, v.from_visit, v.id "
                                   "FROM moz_historyvisits v LEFT JOIN moz_places p ON p.id = v.place_id"),
                    browserProvenance(profile, path, QStringLiteral("moz_historyvisits")), [](const Query& q, auto& v) {
                        v[VisitTime] = Value::time(prAt(q, 0));
                        v[Url] = textAt(q, 1);
                        v[Title] = textAt(q, 2);
                        if (!q.isNull(3)) {
                            const char* name = visitTypeName(q.integer(3));
                            v[VisitType] = name ? Value::text(std::string_view(name)) : textAt(q, 3);
                        }
                        v[Transition] = integerAt(q, 3);
                        v[FromVisit] = integerAt(q, 4);
                        v[VisitId] = integerAt(q, 5);
                    });
}

void downloads(TraceContext& context, TraceSink& sink, const BrowserProfile& profile) {
    using namespace bf::downloads;
    // Up to Firefox 20: downloads.sqlite, a row a download.
    const QString legacy = profile.folder + QStringLiteral("\\downloads.sqlite");
    if (context.exists(legacy)) {
        if (const auto db = context.openDatabase(legacy)) {
            const Columns d(*db, QStringLiteral("moz_downloads"));
            if (!d.exists()) {
                noteSchema(context, legacy, QStringLiteral("no table moz_downloads"));
            } else {
                QByteArray target;
                emitRows<Count>(context, sink, *db,
                                QStringLiteral("SELECT startTime, endTime, source, target, currBytes, maxBytes, state, %1, %2 "
                                               "FROM moz_downloads")
                                    .arg(d.pick("referrer"), d.pick("mimeType")),
                                browserProvenance(profile, legacy, QStringLiteral("moz_downloads")),
                                [&target](const Query& q, auto& v) {
                                    v[StartTime] = Value::time(prAt(q, 0));
                                    v[EndTime] = Value::time(prAt(q, 1));
                                    v[Url] = textAt(q, 2);
                                    if (const auto uri = q.text(3)) v[TargetPath] = Value::text(target = pathOfFileUri(*uri));
                                    v[ReceivedBytes] = integerAt(q, 4);
                                    v[TotalBytes] = integerAt(q, 5);
                                    if (!q.isNull(6)) {
                                        const char* state = downloadState(q.integer(6));
                                        v[State] = state ? Value::text(std::string_view(state)) : textAt(q, 6);
                                    }
                                    v[Referrer] = textAt(q, 7);
                                    v[MimeType] = textAt(q, 8);
                                });
            }
        }
    }
    // Firefox 21 and later: page annotations in places.sqlite, the target as
    // downloads/destinationFileURI, state, end time (milliseconds) and size as a JSON text in
    // downloads/metaData. Only where the annotation tables are there (Firefox 3 to 5x).
    const QString path = places(profile);
    if (!context.exists(path)) return;
    const auto db = context.openDatabase(path);
    if (!db || !Columns(*db, QStringLiteral("moz_anno_attributes")).exists()) return;
    QByteArray target, state;
    emitRows<Count>(
        context, sink, *db,
        QStringLiteral(
            "SELECT d.dateAdded, m.content, p.url, d.content FROM moz_annos d "
            "JOIN moz_anno_attributes a ON a.id = d.anno_attribute_id AND a.name = 'downloads/destinationFileURI' "
            "LEFT JOIN moz_places p ON p.id = d.place_id "
            "LEFT JOIN moz_annos m ON m.place_id = d.place_id AND m.anno_attribute_id = "
            "(SELECT id FROM moz_anno_attributes WHERE name = 'downloads/metaData')"),
        browserProvenance(profile, path, QStringLiteral("moz_annos")), [&](const Query& q, auto& v) {
            v[StartTime] = Value::time(prAt(q, 0));
            if (const auto meta = q.text(1)) {
                const QJsonObject o = QJsonDocument::fromJson(QByteArray(meta->data(), static_cast<qsizetype>(meta->size()))).object();
                if (o.contains(QLatin1String("endTime"))) {
                    v[EndTime] = Value::time(utc::fromUnixMillis(static_cast<int64_t>(o[QLatin1String("endTime")].toDouble())));
                }
                if (o.contains(QLatin1String("fileSize"))) {
                    v[TotalBytes] = Value::integer(static_cast<int64_t>(o[QLatin1String("fileSize")].toDouble()));
                }
                if (o.contains(QLatin1String("state"))) {
                    const auto code = static_cast<int64_t>(o[QLatin1String("state")].toDouble());
                    const char* name = downloadState(code);
                    state = name ? QByteArray(name) : QByteArray::number(static_cast<qlonglong>(code));
                    v[State] = Value::text(state);
                }
            }
            v[Url] = textAt(q, 2);
            if (const auto uri = q.text(3)) v[TargetPath] = Value::text(target = pathOfFileUri(*uri));
        });
}

void cookies(TraceContext& context, TraceSink& sink, const BrowserProfile& profile) {
    using namespace bf::cookies;
    const QString path = profile.folder + QStringLiteral("\\cookies.sqlite");
    if (!context.exists(path)) return;
    const auto db = context.openDatabase(path);
    if (!db) return;
    const Columns c(*db, QStringLiteral("moz_cookies"));
    if (!c.exists()) return noteSchema(context, path, QStringLiteral("no table moz_cookies"));
    const QString sql = QStringLiteral("SELECT host, name, value, path, %1, expiry, %2, %3, %4 FROM moz_cookies")
                            .arg(c.pick("creationTime"), c.pick("lastAccessed"), c.pick("isSecure"), c.pick("isHttpOnly"));
    emitRows<Count>(context, sink, *db, sql, browserProvenance(profile, path, QStringLiteral("moz_cookies")),
                    [](const Query& q, auto& v) {
                        v[Host] = textAt(q, 0);
                        v[Name] = textAt(q, 1);
                        v[CookieValue] = textAt(q, 2);
                        v[Path] = textAt(q, 3);
                        v[Created] = Value::time(prAt(q, 4));
                        // Expiry is in seconds; Firefox 122 and later write milliseconds. No
                        // expiry in seconds reaches 10^11 (the year 5138).
                        if (!q.isNull(5)) {
                            const int64_t expiry = q.integer(5);
                            v[Expires] = Value::time(expiry > 100'000'000'000 ? utc::fromUnixMillis(expiry) : utc::fromUnixSeconds(expiry));
                        }
                        v[LastAccess] = Value::time(prAt(q, 6));
                        v[Secure] = boolAt(q, 7);
                        v[HttpOnly] = boolAt(q, 8);
                    });
}

void searches(TraceContext& context, TraceSink& sink, const BrowserProfile& profile) {
    using namespace bf::searches;
    const QString path = places(profile);
    if (!context.exists(path)) return;
    const auto db = context.openDatabase(path);
    if (!db) return;
    if (!Columns(*db, QStringLiteral("moz_inputhistory")).exists()) return;  // before Firefox 3.5: none kept
    const Columns p(*db, QStringLiteral("moz_places"));
    // What was typed into the address bar and the page then chosen; use_count decays, a fraction.
    emitRows<Count>(context, sink, *db,
                    QStringLiteral("SELECT i.input, p.url, i.use_count, %1 FROM moz_inputhistory i "
                                   "LEFT JOIN moz_places p ON p.id = i.place_id")
                        .arg(p.pick("last_visit_date", "p")),
                    browserProvenance(profile, path, QStringLiteral("moz_inputhistory")), [](const Query& q, auto& v) {
                        v[Term] = textAt(q, 0);
                        v[Url] = textAt(q, 1);
                        v[UseCount] = textAt(q, 2);
                        v[LastVisitTime] = Value::time(prAt(q, 3));
                    });
}

void forms(TraceContext& context, TraceSink& sink, const BrowserProfile& profile) {
    using namespace bf::forms;
    const QString path = profile.folder + QStringLiteral("\\formhistory.sqlite");
    if (!context.exists(path)) return;
    const auto db = context.openDatabase(path);
    if (!db) return;
    const Columns f(*db, QStringLiteral("moz_formhistory"));
    if (!f.exists()) return noteSchema(context, path, QStringLiteral("no table moz_formhistory"));
    emitRows<Count>(context, sink, *db,
                    QStringLiteral("SELECT fieldname, value, %1, %2, %3 FROM moz_formhistory")
                        .arg(f.pick("timesUsed"), f.pick("firstUsed"), f.pick("lastUsed")),
                    browserProvenance(profile, path, QStringLiteral("moz_formhistory")), [](const Query& q, auto& v) {
                        v[FieldName] = textAt(q, 0);
                        v[FormValue] = textAt(q, 1);
                        v[TimesUsed] = integerAt(q, 2);
                        v[FirstUsed] = Value::time(prAt(q, 3));
                        v[LastUsed] = Value::time(prAt(q, 4));
                    });
}

void bookmarks(TraceContext& context, TraceSink& sink, const BrowserProfile& profile) {
    using namespace bf::bookmarks;
    const QString path = places(profile);
    if (!context.exists(path)) return;
    const auto db = context.openDatabase(path);
    if (!db) return;
    if (!Columns(*db, QStringLiteral("moz_bookmarks")).exists()) return noteSchema(context, path, QStringLiteral("no table moz_bookmarks"));
    // The folders first (type 2), so that each bookmark's folder path can be written.
    struct FolderRow {
        int64_t parent;
        QString title;
    };
    std::unordered_map<int64_t, FolderRow> folders;
    {
        Query q(*db, QStringLiteral("SELECT id, parent, title FROM moz_bookmarks WHERE type = 2"));
        while (q.next()) {
            const auto title = q.text(2);
            folders[q.integer(0)] = {q.integer(1), title ? QString::fromUtf8(title->data(), static_cast<qsizetype>(title->size())) : QString()};
        }
    }
    const auto folderPath = [&folders](int64_t id) {
        QStringList names;
        // Bounded: a parent loop in a damaged file ends here.
        for (int depth = 0; depth < 64; ++depth) {
            const auto at = folders.find(id);
            if (at == folders.end()) break;
            if (!at->second.title.isEmpty()) names.prepend(at->second.title);
            if (at->second.parent == id) break;
            id = at->second.parent;
        }
        return names.join(QLatin1Char('/')).toUtf8();
    };
    QByteArray where;
    emitRows<Count>(context, sink, *db,
                    QStringLiteral("SELECT b.title, p.url, b.parent, b.dateAdded, b.lastModified FROM moz_bookmarks b "
                                   "LEFT JOIN moz_places p ON p.id = b.fk WHERE b.type = 1"),
                    browserProvenance(profile, path, QStringLiteral("moz_bookmarks")), [&](const Query& q, auto& v) {
                        v[Title] = textAt(q, 0);
                        v[Url] = textAt(q, 1);
                        where = folderPath(q.integer(2));
                        v[Folder] = Value::text(where);
                        v[Added] = Value::time(prAt(q, 3));
                        v[Modified] = Value::time(prAt(q, 4));
                    });
}

}  // namespace kestrova::firefox
