#include "browsers/browser_data.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <sqlite3.h>

#include "browsers/sqlite_writer.h"

namespace kestrova::tools {
namespace {

constexpr qint64 kNov2026 = 1793520000;  // 2026-11-01 08:00:00 UTC

QString profileRoot(const QString& root, const QString& user) { return root + "/Users/" + user + "/AppData/"; }

}  // namespace

bool writeDatabase(const QString& path, const QString& sql, QString* error) {
    Db db;
    return create(path, db, error) && exec(db.handle, sql, error);
}

bool writeFirefoxProfile(const QString& root, const QString& user, const BrowserDataOptions& options, QString* error) {
    const QString profile = profileRoot(root, user) + "Roaming/Mozilla/Firefox/Profiles/x7k2m9qa.default/";
    {
        Db db;
        if (!create(profile + "places.sqlite", db, error)) return false;
        const QString t = QString::number(prTime(kNov2026));
        const bool ok = exec(db.handle, QStringLiteral(
            "CREATE TABLE moz_places (id INTEGER PRIMARY KEY, url LONGVARCHAR, title LONGVARCHAR, rev_host LONGVARCHAR,"
            " visit_count INTEGER DEFAULT 0, hidden INTEGER DEFAULT 0 NOT NULL, typed INTEGER DEFAULT 0 NOT NULL,"
            " favicon_id INTEGER, frecency INTEGER DEFAULT -1 NOT NULL, last_visit_date INTEGER, guid TEXT);"
            "CREATE TABLE moz_historyvisits (id INTEGER PRIMARY KEY, from_visit INTEGER, place_id INTEGER,"
            " visit_date INTEGER, visit_type INTEGER, session INTEGER);"
            "CREATE TABLE moz_inputhistory (place_id INTEGER NOT NULL, input LONGVARCHAR NOT NULL,"
            " use_count INTEGER, PRIMARY KEY (place_id, input));"
            "INSERT INTO moz_places (id, url, title, last_visit_date) VALUES"
            " (1, 'http://www.mozilla.org/en-US/firefox/central/', 'Getting Started', %1 + 3600000000),"
            " (2, 'https://www.example.com/', 'Example Domain', %1 + 7200000000),"
            " (3, 'http://news.example.net/world', 'World news \u00e0 la carte \u65e5\u672c', %1 + 90000000000),"
            " (4, 'https://mail.example.org/inbox', NULL, 0);"
            "INSERT INTO moz_historyvisits (place_id, visit_date, visit_type) VALUES"
            " (1, %1 + 3600000000, 1), (2, %1 + 3700000000, 1), (2, %1 + 7200000000, 1),"
            " (99, %1 + 7300000000, 1), (3, %1 + 90000000000, 1), (4, 0, 1);"
            "INSERT INTO moz_inputhistory (place_id, input, use_count) VALUES"
            " (2, 'exam', 1), (3, 'world%20news%20today', 2);").arg(t), error);
        if (!ok) return false;
        // Scale: places with one visit each, in id order.
        const int n = options.scale;
        if (!insertMany(db.handle, "INSERT INTO moz_places (id, url, title, last_visit_date) VALUES (?, ?, ?, ?)", n,
                        [&](sqlite3_stmt* s, int i) {
                            sqlite3_bind_int(s, 1, 1000 + i);
                            bindText(s, 2, "http://www.site" + QByteArray::number(i % 9973) + ".example/page" + QByteArray::number(i) + ".html");
                            bindText(s, 3, "Page number " + QByteArray::number(i));
                            sqlite3_bind_int64(s, 4, prTime(kNov2026 + i));
                        }, error)) return false;
        if (!insertMany(db.handle, "INSERT INTO moz_historyvisits (place_id, visit_date, visit_type) VALUES (?, ?, 1)", n,
                        [&](sqlite3_stmt* s, int i) {
                            sqlite3_bind_int(s, 1, 1000 + i);
                            sqlite3_bind_int64(s, 2, prTime(kNov2026 + i));
                        }, error)) return false;
    }
    {
        // WAL mode, and the last two rows left in the -wal file only, as a browser that was
        // killed leaves them.
        Db db;
        if (!create(profile + "cookies.sqlite", db, error)) return false;
        const QString t = QString::number(prTime(kNov2026));
        if (!exec(db.handle, QStringLiteral(
                "PRAGMA journal_mode=WAL;"
                "CREATE TABLE moz_cookies (id INTEGER PRIMARY KEY, baseDomain TEXT, name TEXT, value TEXT, host TEXT,"
                " path TEXT, expiry INTEGER, lastAccessed INTEGER, creationTime INTEGER, isSecure INTEGER, isHttpOnly INTEGER);"
                "INSERT INTO moz_cookies (name, value, host, path, lastAccessed, creationTime) VALUES"
                " ('PREF', 'ID=1', '.example.com', '/', %1 + 86400000000, %1),"
                " ('session', 'abc', 'mail.example.org', '/', %1 + 172800000000, %1 + 60000000);"
                "PRAGMA wal_checkpoint(TRUNCATE);").arg(t), error)) return false;
        sqlite3_db_config(db.handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        if (!exec(db.handle, QStringLiteral(
                "PRAGMA wal_autocheckpoint=0;"
                "INSERT INTO moz_cookies (name, value, host, path, lastAccessed, creationTime) VALUES"
                " ('wal_only', '1', '.news.example.net', '/', %1 + 259200000000, %1 + 120000000),"
                " ('tracker', 'x', '.ads.example', '/', 0, %1 + 180000000);").arg(t), error)) return false;
    }
    {
        Db db;
        if (!create(profile + "downloads.sqlite", db, error)) return false;
        const QString t = QString::number(prTime(kNov2026));
        if (!exec(db.handle, QStringLiteral(
                "CREATE TABLE moz_downloads (id INTEGER PRIMARY KEY, name TEXT, source TEXT, target TEXT, tempPath TEXT,"
                " startTime INTEGER, endTime INTEGER, state INTEGER, referrer TEXT, entityID TEXT,"
                " currBytes INTEGER NOT NULL DEFAULT 0, maxBytes INTEGER NOT NULL DEFAULT -1, mimeType TEXT,"
                " preferredApplication TEXT, preferredAction INTEGER NOT NULL DEFAULT 0, autoResume INTEGER NOT NULL DEFAULT 0);"
                "INSERT INTO moz_downloads (name, source, target, startTime, endTime, state) VALUES"
                " ('report.pdf', 'https://www.example.com/files/report.pdf',"
                "  'file:///C:/Users/alice/Downloads/report.pdf', %1 + 3800000000, %1 + 3805000000, 1),"
                " ('setup.exe', 'http://download.example.net/setup.exe',"
                "  'file:///C:/Users/alice/Downloads/setup.exe', %1 + 7400000000, %1 + 7460000000, 1);").arg(t), error)) return false;
    }
    {
        Db db;
        if (!create(profile + "formhistory.sqlite", db, error)) return false;
        const QString t = QString::number(prTime(kNov2026));
        if (!exec(db.handle, QStringLiteral(
                "CREATE TABLE moz_formhistory (id INTEGER PRIMARY KEY, fieldname TEXT NOT NULL, value TEXT NOT NULL,"
                " timesUsed INTEGER, firstUsed INTEGER, lastUsed INTEGER, guid TEXT);"
                "INSERT INTO moz_formhistory (fieldname, value, timesUsed, firstUsed, lastUsed) VALUES"
                " ('q', 'budget 2012', 3, %1 + 3600000000, %1 + 90000000000),"
                " ('email', 'alice@example.com', 1, %1 + 7200000000, %1 + 7200000000);").arg(t), error)) return false;
    }
    return true;
}

bool writeChromeProfile(const QString& root, const QString& user, const BrowserDataOptions& options, QString* error) {
    const QString profile = profileRoot(root, user) + "Local/Google/Chrome/User Data/Default/";
    {
        Db db;
        if (!create(profile + "History", db, error)) return false;
        const QString t = QString::number(chromeTime(kNov2026));
        if (!exec(db.handle, QStringLiteral(
                "CREATE TABLE urls (id INTEGER PRIMARY KEY, url LONGVARCHAR, title LONGVARCHAR,"
                " visit_count INTEGER DEFAULT 0 NOT NULL, typed_count INTEGER DEFAULT 0 NOT NULL,"
                " last_visit_time INTEGER NOT NULL, hidden INTEGER DEFAULT 0 NOT NULL, favicon_id INTEGER DEFAULT 0 NOT NULL);"
                "CREATE TABLE downloads (id INTEGER PRIMARY KEY, full_path LONGVARCHAR NOT NULL, url LONGVARCHAR NOT NULL,"
                " start_time INTEGER NOT NULL, received_bytes INTEGER NOT NULL, total_bytes INTEGER NOT NULL, state INTEGER NOT NULL);"
                "CREATE TABLE keyword_search_terms (keyword_id INTEGER NOT NULL, url_id INTEGER NOT NULL,"
                " lower_term LONGVARCHAR NOT NULL, term LONGVARCHAR NOT NULL);"
                "INSERT INTO urls (url, title, visit_count, last_visit_time, hidden) VALUES"
                " ('https://www.google.com/search?q=kestrova+sample', 'kestrova sample - Google Search', 2, %1 + 3600000000, 0),"
                " ('https://www.example.com/', 'Example Domain', 5, %1 + 7200000000, 0),"
                " ('https://accounts.example.com/redirect?x=1', '', 1, %1 + 7201000000, 1),"
                " ('http://news.example.net/world', 'World news', 1, 0, 0);"
                "INSERT INTO downloads (full_path, url, start_time, received_bytes, total_bytes, state) VALUES"
                " ('C:\\Users\\alice\\Downloads\\budget-2012.xlsx', 'https://www.example.com/budget-2012.xlsx', %2, 4096, 4096, 1),"
                " ('C:\\Users\\alice\\Downloads\\never.bin', 'http://download.example.net/never.bin', 0, 0, 0, 2);"
                "INSERT INTO keyword_search_terms (keyword_id, url_id, lower_term, term) VALUES"
                " (2, 1, 'kestrova sample', 'kestrova%20sample'), (2, 2, 'budget', 'budget');")
                .arg(t, QString::number(kNov2026 + 3700)), error)) return false;
        const int n = options.scale;
        if (!insertMany(db.handle, "INSERT INTO urls (url, title, visit_count, last_visit_time, hidden) VALUES (?, ?, ?, ?, ?)", n,
                        [&](sqlite3_stmt* s, int i) {
                            bindText(s, 1, "https://www.site" + QByteArray::number(i % 9973) + ".example/page" + QByteArray::number(i) + ".html");
                            bindText(s, 2, "Page number " + QByteArray::number(i));
                            sqlite3_bind_int(s, 3, 1 + i % 7);
                            sqlite3_bind_int64(s, 4, chromeTime(kNov2026 + i));
                            sqlite3_bind_int(s, 5, i % 50 == 0 ? 1 : 0);
                        }, error)) return false;
    }
    {
        Db db;
        if (!create(profile + "Cookies", db, error)) return false;
        const QString t = QString::number(chromeTime(kNov2026));
        if (!exec(db.handle, QStringLiteral(
                "CREATE TABLE cookies (creation_utc INTEGER NOT NULL UNIQUE PRIMARY KEY, host_key TEXT NOT NULL,"
                " name TEXT NOT NULL, value TEXT NOT NULL, path TEXT NOT NULL, expires_utc INTEGER NOT NULL,"
                " secure INTEGER NOT NULL, httponly INTEGER NOT NULL, last_access_utc INTEGER NOT NULL);"
                "INSERT INTO cookies VALUES (%1 + 1, '.google.com', 'NID', 'x', '/', 0, 0, 1, %1 + 3600000000),"
                " (%1 + 2, 'www.example.com', 'session', 'y', '/', 0, 1, 1, %1 + 7200000000);").arg(t), error)) return false;
    }
    {
        Db db;
        if (!create(profile + "Top Sites", db, error)) return false;
        if (!exec(db.handle, QStringLiteral(
                "CREATE TABLE thumbnails (url LONGVARCHAR PRIMARY KEY, url_rank INTEGER, title LONGVARCHAR, thumbnail BLOB,"
                " redirects LONGVARCHAR, boring_score DOUBLE DEFAULT 1.0, good_clipping INTEGER DEFAULT 0,"
                " at_top INTEGER DEFAULT 1, last_updated INTEGER DEFAULT 0);"
                "INSERT INTO thumbnails (url, url_rank, title, thumbnail) VALUES"
                " ('https://www.example.com/', 1, 'Example Domain', x'89504e470d0a1a0a'),"
                " ('https://www.google.com/', 0, 'Google', x'89504e470d0a1a0a'),"
                " ('http://news.example.net/', 2, 'News', NULL);"), error)) return false;
    }
    return true;
}

bool writeOperaHistory(const QString& root, const QString& user, QString* error) {
    const QString folder = profileRoot(root, user) + "Roaming/Opera/Opera/";
    QDir().mkpath(folder);
    QFile file(folder + "global_history.dat");
    if (!file.open(QIODevice::WriteOnly)) return fail(error, "cannot write " + file.fileName());
    // A byte-order mark, then one record of four lines a visit: title, address, time, -1.
    file.write("\xEF\xBB\xBF");
    file.write("Example Domain\nhttps://www.example.com/\n1793523600\n-1\n"
               "Opera Portal\nhttp://portal.opera.com/\n1793527200\n-1\n");
    return true;
}

}  // namespace kestrova::tools
