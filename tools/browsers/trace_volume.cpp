#include "browsers/trace_volume.h"

#include <QDir>
#include <QFile>

#include "browsers/sqlite_writer.h"

namespace kestrova::tools {
namespace {

constexpr qint64 kBase = 1793520000;  // 2026-11-01 08:00:00 UTC

bool writeFile(const QString& path, const QByteArray& bytes, QString* error) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) return fail(error, "cannot write " + path);
    return true;
}

QByteArray site(const QString& tag, int n) { return QStringLiteral("https://%1.example/page/%2").arg(tag).arg(n).toUtf8(); }

}  // namespace

bool writeModernChromiumProfile(const QString& folder, const QString& tag, int visits, QString* error) {
    const int urls = (visits + 1) / 2;
    {
        Db db;
        if (!create(folder + "/History", db, error)) return false;
        if (!exec(db.handle, QStringLiteral(
                "CREATE TABLE urls(id INTEGER PRIMARY KEY AUTOINCREMENT, url LONGVARCHAR, title LONGVARCHAR, visit_count INTEGER DEFAULT 0 NOT NULL,"
                " typed_count INTEGER DEFAULT 0 NOT NULL, last_visit_time INTEGER NOT NULL, hidden INTEGER DEFAULT 0 NOT NULL);"
                "CREATE TABLE visits(id INTEGER PRIMARY KEY, url INTEGER NOT NULL, visit_time INTEGER NOT NULL, from_visit INTEGER,"
                " transition INTEGER DEFAULT 0 NOT NULL, segment_id INTEGER, visit_duration INTEGER DEFAULT 0 NOT NULL,"
                " incremented_omnibox_typed_score BOOLEAN DEFAULT FALSE NOT NULL, opener_visit INTEGER);"
                "CREATE TABLE downloads(id INTEGER PRIMARY KEY, guid VARCHAR NOT NULL, current_path LONGVARCHAR NOT NULL,"
                " target_path LONGVARCHAR NOT NULL, start_time INTEGER NOT NULL, received_bytes INTEGER NOT NULL,"
                " total_bytes INTEGER NOT NULL, state INTEGER NOT NULL, danger_type INTEGER NOT NULL, interrupt_reason INTEGER NOT NULL,"
                " hash BLOB NOT NULL, end_time INTEGER NOT NULL, opened INTEGER NOT NULL, last_access_time INTEGER NOT NULL,"
                " transient INTEGER NOT NULL, referrer VARCHAR NOT NULL, site_url VARCHAR NOT NULL, tab_url VARCHAR NOT NULL,"
                " tab_referrer_url VARCHAR NOT NULL, http_method VARCHAR NOT NULL, by_ext_id VARCHAR NOT NULL,"
                " by_ext_name VARCHAR NOT NULL, etag VARCHAR NOT NULL, last_modified VARCHAR NOT NULL,"
                " mime_type VARCHAR(255) NOT NULL, original_mime_type VARCHAR(255) NOT NULL);"
                "CREATE TABLE downloads_url_chains(id INTEGER NOT NULL, chain_index INTEGER NOT NULL, url LONGVARCHAR NOT NULL,"
                " PRIMARY KEY (id, chain_index));"
                "CREATE TABLE keyword_search_terms(keyword_id INTEGER NOT NULL, url_id INTEGER NOT NULL, term LONGVARCHAR NOT NULL,"
                " normalized_term LONGVARCHAR NOT NULL);"),
                  error)) {
            return false;
        }
        if (!insertMany(db.handle, "INSERT INTO urls(id, url, title, visit_count, last_visit_time) VALUES(?,?,?,2,?)", urls,
                        [&](sqlite3_stmt* s, int i) {
                            sqlite3_bind_int(s, 1, i + 1);
                            bindText(s, 2, site(tag, i + 1));
                            bindText(s, 3, QStringLiteral("Page %1 of %2").arg(i + 1).arg(tag).toUtf8());
                            sqlite3_bind_int64(s, 4, chromeTime(kBase + 2 * i + 1));
                        },
                        error)) {
            return false;
        }
        // Visit i: its url is i/2 + 1, its time the base plus i seconds and i microseconds; the
        // first visit of a url is typed (1), the second a link from it (0).
        if (!insertMany(db.handle, "INSERT INTO visits(id, url, visit_time, from_visit, transition, visit_duration) VALUES(?,?,?,?,?,?)",
                        visits,
                        [&](sqlite3_stmt* s, int i) {
                            sqlite3_bind_int(s, 1, i + 1);
                            sqlite3_bind_int(s, 2, i / 2 + 1);
                            sqlite3_bind_int64(s, 3, chromeTime(kBase + i) + i % 1000000);
                            sqlite3_bind_int(s, 4, i % 2 ? i : 0);
                            sqlite3_bind_int64(s, 5, i % 2 ? 0x30000000 : 0x30000001);
                            sqlite3_bind_int64(s, 6, 1500000);
                        },
                        error)) {
            return false;
        }
        const QString t = QString::number(chromeTime(kBase + 100));
        const QString e = QString::number(chromeTime(kBase + 160));
        if (!exec(db.handle, QStringLiteral(
                "INSERT INTO downloads VALUES(1,'g','C:\\Users\\x\\Downloads\\%1.crdownload','C:\\Users\\x\\Downloads\\%1.exe',%2,"
                " 2048,2048,1,0,0,X'',%3,0,0,0,'https://%1.example/','','','','GET','','','','','application/octet-stream','');"
                "INSERT INTO downloads_url_chains VALUES(1,0,'https://%1.example/get');"
                "INSERT INTO downloads_url_chains VALUES(1,1,'https://cdn.%1.example/file.exe');"
                "INSERT INTO keyword_search_terms VALUES(2,1,'%1 search','%1 search');")
                                     .arg(tag, t, e),
                  error)) {
            return false;
        }
    }
    {
        Db db;
        if (!create(folder + "/Network/Cookies", db, error) ||
            !exec(db.handle, QStringLiteral(
                      "CREATE TABLE cookies(creation_utc INTEGER NOT NULL, host_key TEXT NOT NULL, top_frame_site_key TEXT NOT NULL,"
                      " name TEXT NOT NULL, value TEXT NOT NULL, encrypted_value BLOB NOT NULL, path TEXT NOT NULL,"
                      " expires_utc INTEGER NOT NULL, is_secure INTEGER NOT NULL, is_httponly INTEGER NOT NULL,"
                      " last_access_utc INTEGER NOT NULL, has_expires INTEGER NOT NULL, is_persistent INTEGER NOT NULL,"
                      " priority INTEGER NOT NULL, samesite INTEGER NOT NULL, source_scheme INTEGER NOT NULL,"
                      " source_port INTEGER NOT NULL, last_update_utc INTEGER NOT NULL);"
                      "INSERT INTO cookies VALUES(%2,'.%1.example','','sid','',X'763130AABBCC','/',%3,1,1,%4,1,1,1,0,2,443,%4);"
                      "INSERT INTO cookies VALUES(%2,'%1.example','','plain','visible',X'','/',0,0,0,%4,0,0,1,0,2,443,%4);")
                                      .arg(tag, QString::number(chromeTime(kBase + 10)), QString::number(chromeTime(kBase + 86400 * 365)),
                                           QString::number(chromeTime(kBase + 20))),
                  error)) {
            return false;
        }
    }
    {
        Db db;
        if (!create(folder + "/Web Data", db, error) ||
            !exec(db.handle, QStringLiteral(
                      "CREATE TABLE autofill(name VARCHAR, value VARCHAR, value_lower VARCHAR, date_created INTEGER DEFAULT 0,"
                      " date_last_used INTEGER DEFAULT 0, count INTEGER DEFAULT 1, PRIMARY KEY (name, value));"
                      "INSERT INTO autofill VALUES('email','%1@mail.example','%1@mail.example',%2,%3,4);")
                                      .arg(tag).arg(kBase + 30).arg(kBase + 40),
                  error)) {
            return false;
        }
    }
    {
        Db db;
        if (!create(folder + "/Login Data", db, error) ||
            !exec(db.handle, QStringLiteral(
                      "CREATE TABLE logins(origin_url VARCHAR NOT NULL, action_url VARCHAR, username_element VARCHAR,"
                      " username_value VARCHAR, password_element VARCHAR, password_value BLOB, submit_element VARCHAR,"
                      " signon_realm VARCHAR NOT NULL, date_created INTEGER NOT NULL, blacklisted_by_user INTEGER NOT NULL,"
                      " scheme INTEGER NOT NULL, password_type INTEGER, times_used INTEGER, id INTEGER PRIMARY KEY AUTOINCREMENT,"
                      " date_last_used INTEGER NOT NULL DEFAULT 0, date_password_modified INTEGER NOT NULL DEFAULT 0);"
                      "INSERT INTO logins(origin_url, action_url, username_element, username_value, password_element,"
                      " password_value, submit_element, signon_realm, date_created, blacklisted_by_user, scheme, times_used,"
                      " date_last_used, date_password_modified) VALUES('https://%1.example/login','https://%1.example/session',"
                      " 'user','%1-user','pass',X'7631305345435245540A','','https://%1.example/',%2,0,0,3,%3,%2);")
                                      .arg(tag, QString::number(chromeTime(kBase + 50)), QString::number(chromeTime(kBase + 60))),
                  error)) {
            return false;
        }
    }
    {
        Db db;
        if (!create(folder + "/Top Sites", db, error) ||
            !exec(db.handle, QStringLiteral("CREATE TABLE top_sites(url LONGVARCHAR NOT NULL, url_rank INTEGER NOT NULL, title LONGVARCHAR NOT NULL);"
                                            "INSERT INTO top_sites VALUES('https://%1.example/page/1',0,'Top of %1');")
                                  .arg(tag),
                  error)) {
            return false;
        }
    }
    const QString added = QString::number(chromeTime(kBase + 70));
    return writeFile(folder + "/Bookmarks",
                     QStringLiteral(R"({"checksum":"0","roots":{"bookmark_bar":{"children":[{"date_added":"%2","id":"5","name":"%1 mark",)"
                                    R"("type":"url","url":"https://%1.example/marked"},{"children":[{"date_added":"%2","id":"7","name":"deep",)"
                                    R"("type":"url","url":"https://%1.example/deep"}],"date_added":"%2","date_modified":"%2","id":"6",)"
                                    R"("name":"Work","type":"folder"}],"date_added":"%2","id":"1","name":"Bookmarks bar","type":"folder"},)"
                                    R"("other":{"children":[],"id":"2","name":"Other bookmarks","type":"folder"}},"version":1})")
                         .arg(tag, added)
                         .toUtf8(),
                     error);
}

bool writeModernFirefoxProfile(const QString& folder, const QString& tag, int visits, QString* error) {
    const int places = (visits + 1) / 2;
    {
        Db db;
        if (!create(folder + "/places.sqlite", db, error)) return false;
        if (!exec(db.handle, QStringLiteral(
                "CREATE TABLE moz_places(id INTEGER PRIMARY KEY, url LONGVARCHAR, title LONGVARCHAR, rev_host LONGVARCHAR,"
                " visit_count INTEGER DEFAULT 0, hidden INTEGER DEFAULT 0 NOT NULL, typed INTEGER DEFAULT 0 NOT NULL,"
                " frecency INTEGER DEFAULT -1 NOT NULL, last_visit_date INTEGER, guid TEXT, foreign_count INTEGER DEFAULT 0 NOT NULL,"
                " url_hash INTEGER DEFAULT 0 NOT NULL, description TEXT, preview_image_url TEXT, origin_id INTEGER, site_name TEXT);"
                "CREATE TABLE moz_historyvisits(id INTEGER PRIMARY KEY, from_visit INTEGER, place_id INTEGER, visit_date INTEGER,"
                " visit_type INTEGER, session INTEGER, source INTEGER DEFAULT 0 NOT NULL, triggeringPlaceId INTEGER);"
                "CREATE TABLE moz_bookmarks(id INTEGER PRIMARY KEY, type INTEGER, fk INTEGER DEFAULT NULL, parent INTEGER,"
                " position INTEGER, title LONGVARCHAR, keyword_id INTEGER, folder_type TEXT, dateAdded INTEGER, lastModified INTEGER,"
                " guid TEXT, syncStatus INTEGER NOT NULL DEFAULT 0, syncChangeCounter INTEGER NOT NULL DEFAULT 1);"
                "CREATE TABLE moz_inputhistory(place_id INTEGER NOT NULL, input LONGVARCHAR NOT NULL, use_count INTEGER,"
                " PRIMARY KEY (place_id, input));"
                "CREATE TABLE moz_anno_attributes(id INTEGER PRIMARY KEY, name VARCHAR(32) UNIQUE NOT NULL);"
                "CREATE TABLE moz_annos(id INTEGER PRIMARY KEY, place_id INTEGER NOT NULL, anno_attribute_id INTEGER,"
                " content LONGVARCHAR, flags INTEGER DEFAULT 0, expiration INTEGER DEFAULT 0, type INTEGER DEFAULT 0,"
                " dateAdded INTEGER DEFAULT 0, lastModified INTEGER DEFAULT 0);"),
                  error)) {
            return false;
        }
        if (!insertMany(db.handle, "INSERT INTO moz_places(id, url, title, visit_count, last_visit_date) VALUES(?,?,?,2,?)", places,
                        [&](sqlite3_stmt* s, int i) {
                            sqlite3_bind_int(s, 1, i + 1);
                            bindText(s, 2, site(tag, i + 1));
                            bindText(s, 3, QStringLiteral("Page %1 of %2").arg(i + 1).arg(tag).toUtf8());
                            sqlite3_bind_int64(s, 4, prTime(kBase + 2 * i + 1));
                        },
                        error)) {
            return false;
        }
        if (!insertMany(db.handle, "INSERT INTO moz_historyvisits(id, from_visit, place_id, visit_date, visit_type) VALUES(?,?,?,?,?)",
                        visits,
                        [&](sqlite3_stmt* s, int i) {
                            sqlite3_bind_int(s, 1, i + 1);
                            sqlite3_bind_int(s, 2, i % 2 ? i : 0);
                            sqlite3_bind_int(s, 3, i / 2 + 1);
                            sqlite3_bind_int64(s, 4, prTime(kBase + i) + i % 1000000);
                            sqlite3_bind_int(s, 5, i % 2 ? 1 : 2);
                        },
                        error)) {
            return false;
        }
        const QString t = QString::number(prTime(kBase + 100));
        if (!exec(db.handle, QStringLiteral(
                "INSERT INTO moz_places(id, url, title) VALUES(900000001,'https://%1.example/get','download page');"
                "INSERT INTO moz_places(id, url, title) VALUES(900000002,'https://%1.example/marked','%1 mark');"
                "INSERT INTO moz_bookmarks VALUES(1,2,NULL,0,0,'',NULL,NULL,%2,%2,'root________',0,1);"
                "INSERT INTO moz_bookmarks VALUES(2,2,NULL,1,0,'toolbar',NULL,NULL,%2,%2,'toolbar_____',0,1);"
                "INSERT INTO moz_bookmarks VALUES(3,1,900000002,2,0,'%1 mark',NULL,NULL,%2,%2,'abc',0,1);"
                "INSERT INTO moz_inputhistory VALUES(1,'%1 typed',1);"
                "INSERT INTO moz_anno_attributes VALUES(1,'downloads/destinationFileURI');"
                "INSERT INTO moz_anno_attributes VALUES(2,'downloads/metaData');"
                "INSERT INTO moz_annos VALUES(1,900000001,1,'file:///C:/Users/x/Downloads/%1%20file.zip',0,4,3,%2,%2);"
                "INSERT INTO moz_annos VALUES(2,900000001,2,'{\"state\":1,\"endTime\":%3,\"fileSize\":4096}',0,4,3,%2,%2);")
                                 .arg(tag, t).arg((kBase + 160) * 1000),
                  error)) {
            return false;
        }
    }
    {
        Db db;
        if (!create(folder + "/cookies.sqlite", db, error) ||
            !exec(db.handle, QStringLiteral(
                      "CREATE TABLE moz_cookies(id INTEGER PRIMARY KEY, originAttributes TEXT NOT NULL DEFAULT '', name TEXT,"
                      " value TEXT, host TEXT, path TEXT, expiry INTEGER, lastAccessed INTEGER, creationTime INTEGER, isSecure INTEGER,"
                      " isHttpOnly INTEGER, inBrowserElement INTEGER DEFAULT 0, sameSite INTEGER DEFAULT 0,"
                      " rawSameSite INTEGER DEFAULT 0, schemeMap INTEGER DEFAULT 0);"
                      "INSERT INTO moz_cookies VALUES(1,'','sid','v-%1','.%1.example','/',%2,%3,%4,1,0,0,0,0,0);")
                                      .arg(tag).arg(kBase + 86400 * 30).arg(prTime(kBase + 20)).arg(prTime(kBase + 10)),
                  error)) {
            return false;
        }
    }
    Db db;
    return create(folder + "/formhistory.sqlite", db, error) &&
           exec(db.handle, QStringLiteral(
                    "CREATE TABLE moz_formhistory(id INTEGER PRIMARY KEY, fieldname TEXT NOT NULL, value TEXT NOT NULL,"
                    " timesUsed INTEGER, firstUsed INTEGER, lastUsed INTEGER, guid TEXT);"
                    "INSERT INTO moz_formhistory VALUES(1,'q','%1 query',2,%2,%3,'g');")
                                .arg(tag).arg(prTime(kBase + 30)).arg(prTime(kBase + 40)),
                error);
}

bool writeTraceVolume(const QString& root, const TraceVolumeOptions& options, QStringList* tags, QString* error) {
    const QString alice = root + "/Users/alice/AppData/", bob = root + "/Users/bob/AppData/";
    struct Chromium {
        QString folder, tag;
    };
    const Chromium chromium[] = {
        {alice + "Local/Google/Chrome/User Data/Default", "alice-chrome-default"},
        {alice + "Local/Google/Chrome/User Data/Profile 1", "alice-chrome-profile-1"},
        {alice + "Local/Microsoft/Edge/User Data/Default", "alice-edge-default"},
        {bob + "Local/BraveSoftware/Brave-Browser/User Data/Default", "bob-brave-default"},
        {bob + "Roaming/Opera Software/Opera Stable", "bob-opera-opera-stable"},
        {bob + "Local/Google/Chrome/User Data/Default", "bob-chrome-default"},
    };
    for (const Chromium& c : chromium) {
        if (!writeModernChromiumProfile(c.folder, c.tag, options.visits, error)) return false;
        if (tags) tags->append(c.tag);
    }
    if (!writeFile(alice + "Local/Google/Chrome/User Data/Local State",
                   R"({"profile":{"info_cache":{"Default":{"name":"Person 1"},"Profile 1":{"name":"Work"}}}})", error)) {
        return false;
    }
    const QString firefox = alice + "Roaming/Mozilla/Firefox/";
    if (!writeFile(firefox + "profiles.ini", "[General]\r\nStartWithLastProfile=1\r\n\r\n[Profile0]\r\nName=default\r\nIsRelative=1\r\n"
                                             "Path=Profiles/k3j2h1g0.default-release\r\nDefault=1\r\n",
                   error)) {
        return false;
    }
    for (const auto& [name, tag] : {std::pair{"k3j2h1g0.default-release", "alice-firefox-default-release"},
                                    std::pair{"zz9y8x7w.old", "alice-firefox-old"}}) {
        if (!writeModernFirefoxProfile(firefox + "Profiles/" + name, tag, options.visits, error)) return false;
        if (tags) tags->append(tag);
    }
    // An Internet Explorer cookie text file: two cookies, the second one secure and HTTP only.
    return writeFile(alice + "Roaming/Microsoft/Windows/Cookies/alice@ie.example[1].txt",
                     "id\nabc123\nie.example/\n0\n2916341504\n31233235\n1455141504\n31111111\n*\n"
                     "token\nxyz\nie.example/account/\n8193\n2916341504\n31233235\n1455141504\n31111111\n*\n",
                     error);
}

}  // namespace kestrova::tools
