// The Chromium family's profile databases (Chrome, Chromium, Edge, Brave, Vivaldi, Opera): one
// reader a kind, each over every schema generation seen in real profiles, from Chrome 1 (meta
// version 16: downloads with full_path and Unix-second start times) to today's (target_path with
// downloads_url_chains, Network\Cookies, top_sites). Column meanings follow Chromium's
// components/history/core/browser (history_types.h, download_types), net/extras/sqlite for
// cookies and components/password_manager for Login Data; times are WebKit microseconds (since
// 1601, UTC) unless said otherwise.
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "traces/browsers/browser_sources.h"
#include "traces/sql_rows.h"

namespace kestrova::chromium {
namespace bf = browserfields;
namespace {

std::optional<UtcMicros> webkitAt(const Query& q, int column) {
    return q.isNull(column) ? std::nullopt : utc::fromWebKit(q.integer(column));
}

// The download states of the schema with full_path, and of the later one.
const char* downloadState(int64_t state, bool early) {
    static const char* const kEarly[] = {"in progress", "complete", "cancelled", "removing", "interrupted"};
    static const char* const kLater[] = {"in progress", "complete", "cancelled", "interrupted", "interrupted"};
    if (state < 0 || state > 4) return nullptr;
    return early ? kEarly[state] : kLater[state];
}

const char* dangerType(int64_t type) {
    static const char* const kNames[] = {"not dangerous",   "dangerous file",          "dangerous url",
                                         "dangerous content", "maybe dangerous content", "uncommon content",
                                         "user validated",  "dangerous host",          "potentially unwanted",
                                         "allowlisted by policy", "async scanning"};
    if (type < 0 || type >= static_cast<int64_t>(std::size(kNames))) return nullptr;
    return kNames[type];
}

Value named(const Query& q, int column, const char* (*name)(int64_t)) {
    if (q.isNull(column)) return {};
    if (const char* text = name(q.integer(column))) return Value::text(std::string_view(text));
    return textAt(q, column);  // a code this program has no name for: the number itself
}

}  // namespace

const char* transitionName(int64_t transition) {
    static const char* const kCore[] = {"link",   "typed",     "auto_bookmark", "auto_subframe", "manual_subframe", "generated",
                                        "auto_toplevel", "form_submit", "reload", "keyword", "keyword_generated"};
    const int64_t core = transition & 0xFF;
    return core < static_cast<int64_t>(std::size(kCore)) ? kCore[core] : nullptr;
}

std::optional<UtcMicros> secondsOrWebKit(int64_t value) {
    if (value > 0 && value < 1'000'000'000'000) return utc::fromUnixSeconds(value);
    return utc::fromWebKit(value);
}

void history(TraceContext& context, TraceSink& sink, const BrowserProfile& profile) {
    using namespace bf::history;
    const QString path = profile.folder + QStringLiteral("\\History");
    const auto db = context.openDatabase(path);
    if (!db) return;
    const Columns visits(*db, QStringLiteral("visits"));
    if (!visits.exists() || !Columns(*db, QStringLiteral("urls")).exists()) {
        return noteSchema(context, path, QStringLiteral("no tables visits and urls"));
    }
    // Every visit, also one whose url row is gone (the visit is still a visit).
    const QString sql = QStringLiteral(
                            "SELECT v.visit_time, u.url, u.title, v.transition, %1, v.from_visit, v.id "
                            "FROM visits v LEFT JOIN urls u ON u.id = v.url")
                            .arg(visits.pick("visit_duration", "v"));
    emitRows<Count>(context, sink, *db, sql, browserProvenance(profile, path, QStringLiteral("visits")),
                    [](const Query& q, auto& v) {
                        v[VisitTime] = Value::time(webkitAt(q, 0));
                        v[Url] = textAt(q, 1);
                        v[Title] = textAt(q, 2);
                        v[VisitType] = named(q, 3, transitionName);
                        // Stored as a signed 32-bit integer; its qualifier bits are the high ones.
                        if (!q.isNull(3)) v[Transition] = Value::integer(q.integer(3) & 0xFFFFFFFF);
                        v[DurationUs] = integerAt(q, 4);
                        v[FromVisit] = integerAt(q, 5);
                        v[VisitId] = integerAt(q, 6);
                    });
}

void downloads(TraceContext& context, TraceSink& sink, const BrowserProfile& profile) {
    using namespace bf::downloads;
    const QString path = profile.folder + QStringLiteral("\\History");
    const auto db = context.openDatabase(path);
    if (!db) return;
    const Columns d(*db, QStringLiteral("downloads"));
    if (!d.exists()) return noteSchema(context, path, QStringLiteral("no table downloads"));
    // Chrome before 26 kept the target in full_path and the url in the row; later ones keep the
    // target in target_path (current_path while it downloads) and the redirect chain apart, its
    // last url being the one the file came from.
    const bool early = d.has("full_path");
    QString url = d.pick("url", "d");
    if (!d.has("url") && Columns(*db, QStringLiteral("downloads_url_chains")).exists()) {
        url = QStringLiteral("(SELECT c.url FROM downloads_url_chains c WHERE c.id = d.id ORDER BY c.chain_index DESC LIMIT 1)");
    }
    const QString target = early ? QStringLiteral("d.full_path")
                                 : d.has("target_path") ? QStringLiteral("d.target_path") : d.pick("current_path", "d");
    const QString sql = QStringLiteral("SELECT d.start_time, %1, %2, %3, %4, %5, %6, %7, %8, %9 FROM downloads d")
                            .arg(d.pick("end_time", "d"), url, target, d.pick("received_bytes", "d"), d.pick("total_bytes", "d"),
                                 d.pick("state", "d"), d.pick("danger_type", "d"), d.pick("referrer", "d"))
                            .arg(d.pick("mime_type", "d"));
    emitRows<Count>(context, sink, *db, sql, browserProvenance(profile, path, QStringLiteral("downloads")),
                    [early](const Query& q, auto& v) {
                        v[StartTime] = Value::time(q.isNull(0) ? std::nullopt : secondsOrWebKit(q.integer(0)));
                        v[EndTime] = Value::time(q.isNull(1) ? std::nullopt : secondsOrWebKit(q.integer(1)));
                        v[Url] = textAt(q, 2);
                        v[TargetPath] = textAt(q, 3);
                        v[ReceivedBytes] = integerAt(q, 4);
                        v[TotalBytes] = integerAt(q, 5);
                        if (!q.isNull(6)) {
                            const char* state = downloadState(q.integer(6), early);
                            v[State] = state ? Value::text(std::string_view(state)) : textAt(q, 6);
                        }
                        v[DangerType] = named(q, 7, dangerType);
                        v[Referrer] = textAt(q, 8);
                        v[MimeType] = textAt(q, 9);
                    });
}

void cookies(TraceContext& context, TraceSink& sink, const BrowserProfile& profile) {
    using namespace bf::cookies;
    // Chrome 96 and later keep them under Network; a profile may hold both, the older file left
    // behind by the move.
    bool any = false;
    for (const char* name : {"\\Network\\Cookies", "\\Cookies"}) {
        const QString path = profile.folder + QLatin1String(name);
        if (!context.exists(path)) continue;
        any = true;
        const auto db = context.openDatabase(path);
        if (!db) continue;
        const Columns c(*db, QStringLiteral("cookies"));
        if (!c.exists()) {
            noteSchema(context, path, QStringLiteral("no table cookies"));
            continue;
        }
        const QString sql =
            QStringLiteral("SELECT host_key, name, %1, path, creation_utc, %2, %3, %4, %5, %6 FROM cookies")
                .arg(c.pick("value"), c.pick("expires_utc"), c.pick("last_access_utc"),
                     c.has("is_secure") ? QStringLiteral("is_secure") : c.pick("secure"),
                     c.has("is_httponly") ? QStringLiteral("is_httponly") : c.pick("httponly"),
                     c.has("encrypted_value") ? QStringLiteral("length(encrypted_value)") : QStringLiteral("0"));
        emitRows<Count>(context, sink, *db, sql, browserProvenance(profile, path, QStringLiteral("cookies")),
                        [](const Query& q, auto& v) {
                            v[Host] = textAt(q, 0);
                            v[Name] = textAt(q, 1);
                            v[CookieValue] = textAt(q, 2);
                            // Since Chrome 33 the value is kept encrypted with the user's DPAPI key;
                            // it is not decrypted here, only said to be there.
                            if ((v[CookieValue].absent() || v[CookieValue].utf8.empty()) && q.integer(9) > 0) {
                                v[CookieValue] = Value::text(std::string_view("(encrypted)"));
                            }
                            v[Path] = textAt(q, 3);
                            v[Created] = Value::time(webkitAt(q, 4));
                            v[Expires] = Value::time(webkitAt(q, 5));
                            v[LastAccess] = Value::time(webkitAt(q, 6));
                            v[Secure] = boolAt(q, 7);
                            v[HttpOnly] = boolAt(q, 8);
                        });
    }
    if (!any) context.note(FindingKind::Absent, QStringLiteral("database ") + profile.folder + QStringLiteral("\\Network\\Cookies"));
}

void searches(TraceContext& context, TraceSink& sink, const BrowserProfile& profile) {
    using namespace bf::searches;
    const QString path = profile.folder + QStringLiteral("\\History");
    const auto db = context.openDatabase(path);
    if (!db) return;
    if (!Columns(*db, QStringLiteral("keyword_search_terms")).exists()) {
        return noteSchema(context, path, QStringLiteral("no table keyword_search_terms"));
    }
    emitRows<Count>(context, sink, *db,
                    QStringLiteral("SELECT k.term, u.url, u.last_visit_time FROM keyword_search_terms k "
                                   "LEFT JOIN urls u ON u.id = k.url_id"),
                    browserProvenance(profile, path, QStringLiteral("keyword_search_terms")), [](const Query& q, auto& v) {
                        v[Term] = textAt(q, 0);
                        v[Url] = textAt(q, 1);
                        v[LastVisitTime] = Value::time(webkitAt(q, 2));
                    });
}

void forms(TraceContext& context, TraceSink& sink, const BrowserProfile& profile) {
    using namespace bf::forms;
    const QString path = profile.folder + QStringLiteral("\\Web Data");
    if (!context.exists(path)) return;
    const auto db = context.openDatabase(path);
    if (!db) return;
    const Columns a(*db, QStringLiteral("autofill"));
    if (!a.exists()) return noteSchema(context, path, QStringLiteral("no table autofill"));
    // Early Web Data kept each use's date in autofill_dates, by pair_id; later ones the first
    // and last use in the row. Both in Unix seconds.
    QString sql;
    if (a.has("date_created")) {
        sql = QStringLiteral("SELECT name, value, %1, date_created, %2 FROM autofill").arg(a.pick("count"), a.pick("date_last_used"));
    } else if (a.has("pair_id") && Columns(*db, QStringLiteral("autofill_dates")).exists()) {
        sql = QStringLiteral(
                  "SELECT a.name, a.value, %1, (SELECT min(date_created) FROM autofill_dates d WHERE d.pair_id = a.pair_id), "
                  "(SELECT max(date_created) FROM autofill_dates d WHERE d.pair_id = a.pair_id) FROM autofill a")
                  .arg(a.pick("count", "a"));
    } else {
        sql = QStringLiteral("SELECT name, value, %1, NULL, NULL FROM autofill").arg(a.pick("count"));
    }
    emitRows<Count>(context, sink, *db, sql, browserProvenance(profile, path, QStringLiteral("autofill")),
                    [](const Query& q, auto& v) {
                        v[FieldName] = textAt(q, 0);
                        v[FormValue] = textAt(q, 1);
                        v[TimesUsed] = integerAt(q, 2);
                        v[FirstUsed] = Value::time(q.isNull(3) ? std::nullopt : utc::fromUnixSeconds(q.integer(3)));
                        v[LastUsed] = Value::time(q.isNull(4) ? std::nullopt : utc::fromUnixSeconds(q.integer(4)));
                    });
}

namespace {

// Walks a bookmark folder of the Bookmarks file: urls are records, folders are walked with their
// names added to the folder path. Depth is bounded: a crafted file cannot recurse without end.
bool walkBookmarks(TraceContext& context, TraceSink& sink, const Provenance& from, const QJsonObject& node,
                   const QString& folder, int depth) {
    using namespace bf::bookmarks;
    if (depth > 64) return true;
    const QJsonArray children = node[QLatin1String("children")].toArray();
    for (const QJsonValue& child : children) {
        const QJsonObject item = child.toObject();
        const QString name = item[QLatin1String("name")].toString();
        const auto time = [&item](const char* key) {
            return secondsOrWebKit(item[QLatin1String(key)].toString().toLongLong());
        };
        if (item[QLatin1String("type")].toString() == QLatin1String("folder")) {
            if (!walkBookmarks(context, sink, from, item, folder.isEmpty() ? name : folder + QLatin1Char('/') + name, depth + 1)) {
                return false;
            }
            continue;
        }
        const QByteArray title = name.toUtf8(), url = item[QLatin1String("url")].toString().toUtf8(), where = folder.toUtf8();
        browserfields::Values<Count> v{};
        v[Title] = Value::text(title);
        v[Url] = Value::text(url);
        v[Folder] = Value::text(where);
        v[Added] = Value::time(time("date_added"));
        v[Modified] = Value::time(time("date_modified"));
        v[LastUsed] = Value::time(time("date_last_used"));
        if (!context.deliver(sink, from, v)) return false;
    }
    return true;
}

}  // namespace

void bookmarks(TraceContext& context, TraceSink& sink, const BrowserProfile& profile) {
    const QString path = profile.folder + QStringLiteral("\\Bookmarks");
    if (!context.exists(path)) return;
    const auto bytes = context.readSmallFile(path);
    if (!bytes) return;
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(*bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        return context.note(FindingKind::Damaged, QStringLiteral("file ") + path, error.errorString());
    }
    const QJsonObject roots = document.object()[QLatin1String("roots")].toObject();
    const Provenance from = browserProvenance(profile, path, QStringLiteral("roots"));
    for (const QString& root : roots.keys()) {
        const QJsonObject folder = roots[root].toObject();
        if (folder.isEmpty()) continue;  // "sync_transaction_version" and other plain values
        const QString name = folder[QLatin1String("name")].toString();
        if (!walkBookmarks(context, sink, from, folder, name.isEmpty() ? root : name, 0)) return;
    }
}

void logins(TraceContext& context, TraceSink& sink, const BrowserProfile& profile) {
    using namespace bf::logins;
    const QString path = profile.folder + QStringLiteral("\\Login Data");
    if (!context.exists(path)) return;
    const auto db = context.openDatabase(path);
    if (!db) return;
    const Columns l(*db, QStringLiteral("logins"));
    if (!l.exists()) return noteSchema(context, path, QStringLiteral("no table logins"));
    // The password column is never read.
    const QString sql = QStringLiteral("SELECT origin_url, %1, %2, %3, %4, %5, %6, %7 FROM logins")
                            .arg(l.pick("action_url"), l.pick("signon_realm"), l.pick("username_value"), l.pick("date_created"),
                                 l.pick("date_last_used"), l.pick("date_password_modified"), l.pick("times_used"));
    emitRows<Count>(context, sink, *db, sql, browserProvenance(profile, path, QStringLiteral("logins")),
                    [](const Query& q, auto& v) {
                        v[Origin] = textAt(q, 0);
                        v[Action] = textAt(q, 1);
                        v[SignonRealm] = textAt(q, 2);
                        v[UserName] = textAt(q, 3);
                        v[Created] = Value::time(q.isNull(4) ? std::nullopt : secondsOrWebKit(q.integer(4)));
                        v[LastUsed] = Value::time(webkitAt(q, 5));
                        v[PasswordChanged] = Value::time(webkitAt(q, 6));
                        v[TimesUsed] = integerAt(q, 7);
                    });
}

void topSites(TraceContext& context, TraceSink& sink, const BrowserProfile& profile) {
    using namespace bf::topsites;
    const QString path = profile.folder + QStringLiteral("\\Top Sites");
    if (!context.exists(path)) return;
    const auto db = context.openDatabase(path);
    if (!db) return;
    // Chrome kept thumbnails with their ranks until version 69; later ones a top_sites table.
    QString table;
    for (const char* name : {"top_sites", "thumbnails"}) {
        if (table.isEmpty() && Columns(*db, QLatin1String(name)).exists()) table = QLatin1String(name);
    }
    if (table.isEmpty()) return noteSchema(context, path, QStringLiteral("no table top_sites or thumbnails"));
    emitRows<Count>(context, sink, *db, QStringLiteral("SELECT url_rank, url, title FROM %1 ORDER BY url_rank").arg(table),
                    browserProvenance(profile, path, table), [](const Query& q, auto& v) {
                        v[Rank] = integerAt(q, 0);
                        v[Url] = textAt(q, 1);
                        v[Title] = textAt(q, 2);
                    });
}

}  // namespace kestrova::chromium
