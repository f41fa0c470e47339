// The Firefox, Chrome and Opera categories: on the generated sample profiles, on the real
// databases (counts and fields of a few records), and on databases that are in WAL mode, carry a
// hot journal, are damaged or have another schema. Nothing read is ever changed.
#include <QCryptographicHash>
#include <QDirIterator>
#include <sqlite3.h>

#include "browsers/browser_data.h"
#include "core/readers/browsers/chrome.h"
#include "core/readers/browsers/firefox.h"
#include "core/readers/browsers/opera.h"
#include "mksample/sample_system.h"
#include "support/reader_fixture.h"

namespace kestrova {
namespace {

const QString kFirefox = "Users/alice/AppData/Roaming/Mozilla/Firefox/Profiles/";
const QString kChrome = "Users/alice/AppData/Local/Google/Chrome/User Data/Default/";

class Browsers : public test::ReaderFixture {
protected:
    void sample() {
        volume_.userHive(tools::sampleUserHive());
        volume_.softwareHive(tools::sampleSoftwareHive());
        QString error;
        ASSERT_TRUE(tools::writeFirefoxProfile(volume_.root(), "alice", {}, &error)) << error.toStdString();
        ASSERT_TRUE(tools::writeChromeProfile(volume_.root(), "alice", {}, &error)) << error.toStdString();
        ASSERT_TRUE(tools::writeOperaHistory(volume_.root(), "alice", &error)) << error.toStdString();
    }
    QString diagnostics() const { return host_.diagnostics.join('\n'); }
};

TEST_F(Browsers, FirefoxCategoriesOnTheSampleProfile) {
    sample();
    open();
    EXPECT_EQ(run("c1"), (QStringList{"http://www.mozilla.org/en-US/firefox/central/", "https://www.example.com/",
                                      "https://www.example.com/", "http://news.example.net/world", "https://mail.example.org/inbox"}));
    // One row per visit, each with the page's last visit; a visit without its place gives none.
    EXPECT_EQ(session().list.row(2), (QStringList{"https://www.example.com/", "Example Domain", "11/1/2026 10:00:00 AM"}));
    EXPECT_EQ(session().list.cell(3, 1), QString::fromUtf8("World news \xC3\xA0 la carte \xE6\x97\xA5\xE6\x9C\xAC"));
    EXPECT_EQ(session().list.row(4), (QStringList{"https://mail.example.org/inbox", "", ""}));
    EXPECT_EQ(session().list.panel1(), "Double Click to view");
    EXPECT_EQ(run("c2"), (QStringList{".example.com", "mail.example.org", ".news.example.net", ".ads.example"}));
    EXPECT_EQ(session().list.row(2), (QStringList{".news.example.net", "wal_only", "11/1/2026 8:02:00 AM", "11/4/2026 8:00:00 AM"}));
    EXPECT_EQ(session().list.panel1(), "Loading...");  // c2 sets no hint when filled
    EXPECT_EQ(run("c3"), (QStringList{"C:/Users/alice/Downloads/report.pdf", "C:/Users/alice/Downloads/setup.exe"}));
    EXPECT_EQ(session().list.row(0)[1], "https://www.example.com/files/report.pdf");
    EXPECT_EQ(run("c4"), (QStringList{"exam", "world news today"}));
    EXPECT_EQ(run("c5"), (QStringList{"q", "email"}));
    EXPECT_EQ(session().list.row(0), (QStringList{"q", "budget 2012", "3", "11/1/2026 9:00:00 AM", "11/2/2026 9:00:00 AM"}));
    EXPECT_EQ(session().list.panel2(), "Total Records: 2");
}

// The history as the product has always read it: the visits, then one lookup per visit with its
// place id spelled into the SQL, run directly on the file. Each row as url and title.
QStringList lookupsOneByOne(const QString& file) {
    QStringList rows;
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(file.toUtf8().constData(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        sqlite3_stmt* visits = nullptr;
        sqlite3_prepare_v2(db, "SELECT  place_id FROM moz_historyvisits", -1, &visits, nullptr);
        while (visits && sqlite3_step(visits) == SQLITE_ROW) {
            const auto* place = reinterpret_cast<const char*>(sqlite3_column_text(visits, 0));
            const QByteArray sql = QByteArray("SELECT  url,title,last_visit_date FROM moz_places where id='") + (place ? place : "") + "'";
            sqlite3_stmt* lookup = nullptr;
            if (sqlite3_prepare_v2(db, sql.constData(), -1, &lookup, nullptr) != SQLITE_OK) continue;
            while (sqlite3_step(lookup) == SQLITE_ROW) {
                const auto text = [&](int c) { return QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(lookup, c))); };
                rows << text(0) + "|" + text(1);
            }
            sqlite3_finalize(lookup);
        }
        sqlite3_finalize(visits);
    }
    sqlite3_close(db);
    return rows;
}

TEST_F(Browsers, FirefoxHistoryListsWhatTheLookupsPerVisitFindInTheirOrderWhateverTheFile) {
    volume_.userHive(tools::sampleUserHive());
    const QString file = volume_.root() + "/" + kFirefox + "x.default/places.sqlite";
    // Visits in the order of Firefox's covering index on place_id, a missing place, no place, a
    // fraction, bytes that read as an id, and a text id that the spelled-out SQL turns into a
    // condition every place meets. The second schema has no row id for places, and a place id
    // twice: there the lookups run one by one.
    const QString visits =
        "CREATE INDEX moz_historyvisits_placedateindex ON moz_historyvisits (place_id, visit_date);"
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 3000)"
        " INSERT INTO moz_places (id, url, title, last_visit_date) SELECT i, 'https://site' || i || '.example/' || hex(randomblob(40)),"
        "  'Title ' || i, 1300000000000000 + i FROM n;"
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 3000)"
        " INSERT INTO moz_historyvisits (place_id, visit_date, session) SELECT (i * 7919) % 3001, i, hex(randomblob(30)) FROM n;"
        "INSERT INTO moz_historyvisits (place_id, visit_date) VALUES (99999, 1), (NULL, 2), (2.5, 3), (x'3132', 4),"
        " ('0'' or id>''2990', 5), ('7', 6);";
    const QString schemas[] = {
        "CREATE TABLE moz_places (id INTEGER PRIMARY KEY, url LONGVARCHAR, title LONGVARCHAR, last_visit_date INTEGER);"
        "CREATE TABLE moz_historyvisits (id INTEGER PRIMARY KEY, place_id INTEGER, visit_date INTEGER, session TEXT);",
        "CREATE TABLE moz_places (id INTEGER, url LONGVARCHAR, title LONGVARCHAR, last_visit_date INTEGER);"
        "CREATE TABLE moz_historyvisits (id INTEGER PRIMARY KEY, place_id INTEGER, visit_date INTEGER, session TEXT);"
        "INSERT INTO moz_places VALUES (5, 'https://twice.example/', 'Twice', 0);",
        // Place ids kept as text: number texts of every form, each finding its place.
        "CREATE TABLE moz_places (id INTEGER PRIMARY KEY, url LONGVARCHAR, title LONGVARCHAR, last_visit_date INTEGER);"
        "CREATE TABLE moz_historyvisits (id INTEGER PRIMARY KEY, place_id TEXT, visit_date INTEGER, session TEXT);"
        "INSERT INTO moz_historyvisits (place_id, visit_date) VALUES ('12', 7), (' 13', 8), ('14.0', 9), ('1e1', 10),"
        " ('0x10', 11), ('+15', 12), ('16 ', 13), ('-0', 14), ('17abc', 15);",
    };
    for (const QString& schema : schemas) {
        QFile::remove(file);
        QString error;
        ASSERT_TRUE(tools::writeDatabase(file, schema + visits, &error)) << error.toStdString();
        QFile whole(file);
        ASSERT_TRUE(whole.open(QIODevice::ReadOnly));
        const QByteArray bytes = whole.readAll();
        whole.close();
        const QStringList expected = lookupsOneByOne(file);
        ASSERT_GT(expected.size(), 3000);
        if (&schema == &schemas[0]) {
            EXPECT_TRUE(expected[0].startsWith("https://site1.example/")) << "visits in the index's order";
        }
        // Whole, cut short, and with a stretch of its pages overwritten.
        QByteArray damaged = bytes;
        damaged.replace(bytes.size() / 3, bytes.size() / 5, QByteArray(bytes.size() / 5, '\xA5'));
        for (const QByteArray& content : {bytes, bytes.left(bytes.size() * 2 / 3), damaged}) {
            volume_.file(kFirefox + "x.default/places.sqlite", content);
            const QStringList reference = lookupsOneByOne(file);
            open();
            run("c1");
            QStringList listed;
            for (int row = 0; row < session().list.rowCount(); ++row) {
                listed << session().list.cell(row, 0) + "|" + session().list.cell(row, 1);
            }
            EXPECT_EQ(listed, reference) << content.size();
        }
    }
}

TEST_F(Browsers, ChromeCategoriesOnTheSampleProfileAndChromeClosedForHistoryAndCookiesOnly) {
    sample();
    open();
    EXPECT_EQ(run("d1"), (QStringList{"https://www.google.com/search?q=kestrova+sample", "https://www.example.com/",
                                      "http://news.example.net/world"}));
    EXPECT_EQ(session().list.row(1), (QStringList{"https://www.example.com/", "Example Domain", "5", "11/1/2026 10:00:00 AM"}));
    EXPECT_EQ(session().list.row(2)[3], "1/1/1601");
    EXPECT_EQ(desktop_.terminated, QStringList{"chrome.exe"});
    // The report lists the hidden url the window leaves out.
    EXPECT_EQ(getChromeURL(reportContext()).size(), 4);
    EXPECT_EQ(run("d2"), (QStringList{".google.com", "www.example.com"}));
    EXPECT_EQ(run("d3"), (QStringList{"C:\\Users\\alice\\Downloads\\budget-2012.xlsx", "C:\\Users\\alice\\Downloads\\never.bin"}));
    EXPECT_EQ(session().list.row(1)[2], "1/1/1970");  // a start time of 0
    EXPECT_EQ(run("d4"), (QStringList{"https://www.google.com/", "https://www.example.com/", "http://news.example.net/"}));
    EXPECT_EQ(session().list.row(1), (QStringList{"https://www.example.com/", "1", "Example Domain"}));
    EXPECT_EQ(run("d5"), (QStringList{"kestrova sample", "budget"}));
    EXPECT_EQ(desktop_.terminated.size(), 3);  // d1, the report's URL history, d2
}

TEST_F(Browsers, OperaShowsTheFilesTextAndAddsNoRows) {
    sample();
    open();
    struct MessageHost : test::RecordingHost {
        void message(const QString& text) override { messages << text; }
        QStringList messages;
    } host;
    Session s(*os_, clock_, run_, host);
    EXPECT_TRUE(s.select("e1"));
    ASSERT_EQ(host.messages.size(), 1);
    EXPECT_TRUE(host.messages[0].startsWith("Example Domain\nhttps://www.example.com/\n"));  // without its mark
    EXPECT_EQ(s.list.rowCount(), 0);
    EXPECT_EQ(s.list.columns().size(), 3u);
    EXPECT_EQ(s.list.panel1(), "Loading...");
    EXPECT_EQ(s.list.panel2(), "Total Records: 0");

    // A sparse gigabyte of history is not read whole for the box: its first part and a note.
    const QString history = volume_.root() + "/Users/alice/AppData/Roaming/Opera/Opera/global_history.dat";
    QFile huge(history);
    ASSERT_TRUE(huge.open(QIODevice::WriteOnly | QIODevice::Truncate));
    huge.write("\xEF\xBB\xBF" "first line\n");
    ASSERT_TRUE(huge.resize(qint64{1} << 30));
    huge.close();
    host.messages.clear();
    EXPECT_TRUE(s.select("e1"));
    ASSERT_EQ(host.messages.size(), 1);
    EXPECT_TRUE(host.messages[0].startsWith("first line\n"));
    EXPECT_LT(host.messages[0].size(), 70000);
    EXPECT_TRUE(host.messages[0].endsWith(QStringLiteral("[%1 more bytes of the file are not shown]").arg((qint64{1} << 30) - kMessageTextLimit)))
        << host.messages[0].right(80).toStdString();
}

TEST(ByteOrderMark, TestsInTheirOrder) {
    EXPECT_EQ(DetectByteOrderMark(QByteArray("\xFF\xFE\0\0", 4)).code, 4);
    EXPECT_EQ(DetectByteOrderMark(QByteArray("\0\0\xFE\xFF", 4)).code, 5);
    EXPECT_EQ(DetectByteOrderMark("\xFF\xFEx\0").code, 2);
    EXPECT_EQ(DetectByteOrderMark("\xFE\xFF\0x").length, 2);
    EXPECT_EQ(DetectByteOrderMark("\xEF\xBB\xBFx").length, 3);
    EXPECT_EQ(DetectByteOrderMark("abcd").code, 0);
    EXPECT_EQ(DetectByteOrderMark("\xFF").code, 0);
}

TEST_F(Browsers, ReadTextFileDecodesByItsMark) {
    volume_.userHive(tools::sampleUserHive());
    volume_.file("t/utf8.txt", "\xEF\xBB\xBFna\xC3\xAFve");
    volume_.file("t/le.txt", QByteArray("\xFF\xFEh\0i\0", 6));
    volume_.file("t/be.txt", QByteArray("\xFE\xFF\0h\0i", 6));
    volume_.file("t/utf32.txt", QByteArray("\xFF\xFE\0\0h\0\0\0", 8));
    open();
    const SourceContext src = reportContext();
    int encoding = -1;
    EXPECT_EQ(ReadTextFile(src, "C:\\t\\utf8.txt", encoding), QString::fromUtf8("na\xC3\xAFve"));
    EXPECT_EQ(encoding, 1);
    encoding = -1;
    EXPECT_EQ(ReadTextFile(src, "C:\\t\\le.txt", encoding), "hi");
    encoding = -1;
    EXPECT_EQ(ReadTextFile(src, "C:\\t\\be.txt", encoding), "hi");
    encoding = -1;
    EXPECT_EQ(ReadTextFile(src, "C:\\t\\utf32.txt", encoding), "");
    EXPECT_EQ(encoding, 4);
    encoding = 0;  // asked for no mark: the mark's bytes are content
    EXPECT_EQ(ReadTextFile(src, "C:\\t\\utf8.txt", encoding), QString::fromUtf8("\xEF\xBB\xBFna\xC3\xAFve"));
    encoding = 9;
    EXPECT_EQ(ReadTextFile(src, "C:\\t\\utf8.txt", encoding), "");
}

// Firefox 3 kept no last_visit_date: every place lookup fails, and the empty list says why
// instead of claiming a history without visits.
TEST_F(Browsers, AHistoryWhoseLookupsFailSaysWhyNotThatItIsEmpty) {
    volume_.userHive(tools::sampleUserHive());
    QString error;
    ASSERT_TRUE(tools::writeDatabase(volume_.root() + "/" + kFirefox + "old.default/places.sqlite",
                                     "CREATE TABLE moz_places (id INTEGER PRIMARY KEY, url TEXT, title TEXT, visit_count INTEGER);"
                                     "CREATE TABLE moz_historyvisits (id INTEGER PRIMARY KEY, place_id INTEGER, visit_date INTEGER);"
                                     "INSERT INTO moz_places VALUES (1, 'http://a.example/', 'A', 1);"
                                     "INSERT INTO moz_historyvisits VALUES (1, 1, 1300000000000000);", &error))
        << error.toStdString();
    open();
    EXPECT_EQ(run("c1"), QStringList{});
    const QString said = host_.diagnostics.join('\n');
    EXPECT_TRUE(said.contains("places.sqlite: schema differs: no column last_visit_date in moz_places")) << said.toStdString();
    EXPECT_FALSE(said.contains("hold no entries")) << said.toStdString();
}

TEST_F(Browsers, OnlyTheFirstFirefoxProfileIsRead) {
    sample();
    QString error;
    ASSERT_TRUE(tools::writeDatabase(volume_.root() + "/" + kFirefox + "00000000.other/places.sqlite",
                                     "CREATE TABLE moz_inputhistory (place_id INTEGER, input TEXT);"
                                     "INSERT INTO moz_inputhistory VALUES (1, 'from the first profile');", &error));
    open();
    EXPECT_EQ(run("c4"), QStringList{"from the first profile"});
}

TEST_F(Browsers, NoProfileOrAnotherSchemaGivesAnEmptyListAndSaysWhy) {
    volume_.userHive(tools::sampleUserHive());
    open();
    EXPECT_EQ(run("c1"), QStringList{});
    EXPECT_EQ(session().list.panel2(), "Total Records: 0");
    REALDATA_OR_SKIP(chrome57, "chrome57-History");
    volume_.copy(chrome57, kChrome + "History");
    open();
    EXPECT_EQ(run("d3"), QStringList{});
    EXPECT_TRUE(diagnostics().contains("schema differs: no column full_path in downloads")) << diagnostics().toStdString();
    EXPECT_EQ(run("d1").size(), 1);  // the urls table is as the query expects
}

TEST_F(Browsers, ADamagedOrTruncatedDatabaseGivesWhatItCanNeverACrash) {
    volume_.userHive(tools::sampleUserHive());
    QString error;
    ASSERT_TRUE(tools::writeChromeProfile(volume_.root(), "alice", {.scale = 2000}, &error));
    QFile history(volume_.root() + "/" + kChrome + "History");
    ASSERT_TRUE(history.open(QIODevice::ReadOnly));
    const QByteArray bytes = history.readAll();
    history.close();
    for (const QByteArray& broken : {bytes.left(bytes.size() / 2), bytes.left(100), QByteArray(8192, 'x'),
                                     bytes.left(4096) + QByteArray(bytes.size() - 4096, '\xA5')}) {
        volume_.file(kChrome + "History", broken);
        open();
        run("d1");  // whatever it reads before the damage
        run("d3");
        run("d5");
        EXPECT_EQ(session().list.columns().size(), 1u);
    }
    EXPECT_TRUE(diagnostics().contains("not a readable database")) << diagnostics().toStdString();
}

TEST_F(Browsers, AHotJournalIsRolledBackOnAPrivateCopy) {
    volume_.userHive(tools::sampleUserHive());
    const QString path = volume_.root() + "/" + kFirefox + "x.default/formhistory.sqlite";
    QString error;
    ASSERT_TRUE(tools::writeDatabase(path, "CREATE TABLE moz_formhistory (id INTEGER PRIMARY KEY, fieldname TEXT, value TEXT,"
                                           " timesUsed INTEGER, firstUsed INTEGER, lastUsed INTEGER);"
                                           "INSERT INTO moz_formhistory (fieldname, value, timesUsed) VALUES ('committed', 'v', 1);",
                                     &error));
    // A transaction that spilled into the file and died before its commit: the journal is hot.
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path.toUtf8().constData(), &db), SQLITE_OK);
    sqlite3_exec(db, "PRAGMA cache_size=1; BEGIN;", nullptr, nullptr, nullptr);
    for (int i = 0; i < 2000; ++i) {
        sqlite3_exec(db, "INSERT INTO moz_formhistory (fieldname, value, timesUsed) VALUES ('uncommitted', hex(randomblob(100)), 1);",
                     nullptr, nullptr, nullptr);
    }
    const QString copy = volume_.root() + "/" + kFirefox + "y.default/formhistory.sqlite";
    QDir().mkpath(QFileInfo(copy).absolutePath());
    ASSERT_TRUE(QFile::copy(path, copy));
    ASSERT_TRUE(QFile::copy(path + "-journal", copy + "-journal"));
    sqlite3_exec(db, "ROLLBACK;", nullptr, nullptr, nullptr);
    sqlite3_close(db);
    QDir(QFileInfo(path).absolutePath()).removeRecursively();  // y.default is now the first profile
    open();
    EXPECT_EQ(run("c5"), QStringList{"committed"});
}

TEST_F(Browsers, RealFirefoxDatabasesWithTheirWriteAheadLogs) {
    REALDATA_OR_SKIP(places15, "firefox15-places.sqlite");
    volume_.userHive(tools::sampleUserHive());
    const QString profile = kFirefox + "real.default/";
    volume_.copy(places15, profile + "places.sqlite");
    volume_.copy(places15 + "-wal", profile + "places.sqlite-wal");
    volume_.copy(test::realData("firefox15-cookies.sqlite"), profile + "cookies.sqlite");
    volume_.copy(test::realData("firefox15-downloads.sqlite"), profile + "downloads.sqlite");
    open();
    // The cookie that lives only in the -wal file is listed.
    EXPECT_EQ(run("c2").size(), 4);  // without its -wal beside it
    volume_.copy(test::realData("firefox15-cookies.sqlite-wal"), profile + "cookies.sqlite-wal");
    EXPECT_EQ(run("c2"), (QStringList{".google.com", ".google.com", ".google.com", ".google.ch", ".google.com"}));
    EXPECT_EQ(session().list.row(3), (QStringList{".google.ch", "NID", "8/1/2018 7:23:21 AM", "8/1/2018 7:23:21 AM"}));
    const QStringList visits = run("c1");
    ASSERT_EQ(visits.size(), 2);
    EXPECT_EQ(session().list.row(1), (QStringList{
        "https://raw.githubusercontent.com/log2timeline/l2tbinaries/master/win32/plaso-20180630.1.win32.msi",
        "plaso-20180630.1.win32.msi", "8/1/2018 7:23:25 AM"}));
    EXPECT_EQ(run("c3"), QStringList{"home/ubuntu/Downloads/plaso-20180630.1.win32.msi"});
    EXPECT_EQ(session().list.row(0)[3], "8/1/2018 7:23:26 AM");

    REALDATA_OR_SKIP(places4, "firefox-places.sqlite");
    volume_.copy(places4, kFirefox + "a.first/places.sqlite");
    volume_.copy(test::realData("firefox-cookies.sqlite"), kFirefox + "a.first/cookies.sqlite");
    open();
    EXPECT_EQ(run("c1"), QStringList{"http://news.google.com/"});
    EXPECT_EQ(session().list.row(0), (QStringList{"http://news.google.com/", "Google News", "7/1/2011 11:16:21 AM"}));
    EXPECT_EQ(run("c4"), QStringList{});
    EXPECT_EQ(run("c2").size(), 90);
    EXPECT_EQ(session().list.row(0), (QStringList{".tns-cs.net", "i00", "10/30/2013 9:55:36 PM", "10/30/2013 9:55:36 PM"}));
}

TEST_F(Browsers, RealChromeDatabases) {
    REALDATA_OR_SKIP(v01, "chrome-History-v01");
    volume_.userHive(tools::sampleUserHive());
    volume_.copy(v01, kChrome + "History");
    open();
    EXPECT_EQ(run("d1").size(), 40);
    EXPECT_EQ(session().list.row(0), (QStringList{"http://tools.google.com/chrome/intl/en-US/welcome.html", "Getting Started", "1",
                                                  "6/5/2013 4:26:40 AM"}));
    EXPECT_EQ(run("d3"), (QStringList{"C:\\Users\\Ryan\\Documents\\Downloads\\Hard_disk.jpg", "C:\\Users\\Ryan\\Desktop\\ssd.jpg"}));
    EXPECT_EQ(session().list.row(0)[2], "6/5/2013 4:28:30 AM");
    EXPECT_EQ(run("d5").size(), 5);
    EXPECT_EQ(session().list.cell(1, 0), QString("3 tb hard drive"));

    volume_.copy(test::realData("chrome17-History"), "Users/alice/AppData/Local/Google/Chrome/User Data/Default/History.17");
    QFile::remove(volume_.root() + "/" + kChrome + "History");
    QFile::rename(volume_.root() + "/" + kChrome + "History.17", volume_.root() + "/" + kChrome + "History");
    volume_.copy(test::realData("chrome17-Cookies"), kChrome + "Cookies");
    volume_.copy(test::realData("chrome17-Top Sites"), kChrome + "Top Sites");
    open();
    EXPECT_EQ(run("d1"), QStringList{"https://raw.githubusercontent.com/dfirlabs/chrome-specimens/master/generate-specimens.sh"});
    EXPECT_EQ(run("d2"), QStringList{});
    EXPECT_EQ(run("d3"), QStringList{"/home/ubuntu/Downloads/plaso-20180630.1.win32.msi"});
    EXPECT_EQ(session().list.row(0)[2], "8/4/2018 1:15:37 PM");
    EXPECT_EQ(run("d4"), (QStringList{"http://www.google.com/chrome/intl/en/welcome.html", "https://chrome.google.com/webstore?hl=en"}));
    EXPECT_EQ(session().list.row(1), (QStringList{"https://chrome.google.com/webstore?hl=en", "1", "Web Store"}));
    EXPECT_EQ(run("d5"), QStringList{});
}

// Every file's hash and every folder of a tree.
QMap<QString, QByteArray> snapshot(const QString& root) {
    QMap<QString, QByteArray> seen;
    QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        QFile file(path);
        seen[path.mid(root.size())] = it.fileInfo().isDir() || !file.open(QIODevice::ReadOnly)
                                          ? QByteArray("folder")
                                          : QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256);
    }
    return seen;
}

TEST_F(Browsers, EveryCategoryLeavesTheVolumeAsItWasWritableOrReadOnly) {
    sample();
    ASSERT_TRUE(tools::addCookies(volume_.root()));
    ASSERT_TRUE(tools::addInternetExplorerCaches(volume_.root()));
    tools::addRecentItems(volume_.root());
    for (const bool readOnly : {false, true}) {
        if (readOnly) {
            QDirIterator it(volume_.root(), QDir::AllEntries | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
            while (it.hasNext()) {
                const QString path = it.next();
                QFile::setPermissions(path, it.fileInfo().isDir() ? QFileDevice::ReadOwner | QFileDevice::ExeOwner
                                                                  : QFileDevice::ReadOwner);
            }
        }
        const QMap<QString, QByteArray> before = snapshot(volume_.root());
        open();
        for (const QString& key : categoryKeys() + QStringList{"e1"}) run(key.toLatin1().constData());
        EXPECT_EQ(snapshot(volume_.root()), before) << (readOnly ? "read-only" : "writable");
        EXPECT_EQ(run("c2").size(), 4);  // the rows that live in the -wal file are there either way
    }
    QDirIterator it(volume_.root(), QDir::AllEntries | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) QFile::setPermissions(it.next(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

}  // namespace
}  // namespace kestrova
