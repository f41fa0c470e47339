// The browser kinds: every profile of every user once, with its own provenance and exact times;
// each kind on real databases of several schema generations; schemas the readers do not know
// said so, never passed off as empty.
#include <QCryptographicHash>
#include <QDirIterator>
#include <QProcess>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "browsers/browser_data.h"
#include "browsers/trace_volume.h"
#include "support/cli_run.h"
#include "support/temp_volume.h"
#include "support/trace_collector.h"
#include "traces/browsers/browser_sources.h"

namespace kestrova {
namespace {

using test::TraceCollector;
using test::TraceRecord;

// Where each tag of the trace volume was written: user, browser, profile.
struct Expected {
    const char* tag;
    const char* user;
    const char* browser;
    const char* profile;
    bool firefox = false;
};
const Expected kProfiles[] = {
    {"alice-chrome-default", "alice", "Chrome", "Default"},
    {"alice-chrome-profile-1", "alice", "Chrome", "Profile 1"},
    {"alice-edge-default", "alice", "Edge", "Default"},
    {"bob-brave-default", "bob", "Brave", "Default"},
    {"bob-opera-opera-stable", "bob", "Opera", "Opera Stable"},
    {"bob-chrome-default", "bob", "Chrome", "Default"},
    {"alice-firefox-default-release", "alice", "Firefox", "k3j2h1g0.default-release", true},
    {"alice-firefox-old", "alice", "Firefox", "zz9y8x7w.old", true},
};

// The records whose text field holds the tag.
std::vector<TraceRecord> tagged(const std::vector<TraceRecord>& records, const char* field, const char* tag) {
    std::vector<TraceRecord> out;
    for (const TraceRecord& r : records) {
        if (r[field].contains(QLatin1String(tag))) out.push_back(r);
    }
    return out;
}

QByteArray treeDigest(const QString& root) {
    QCryptographicHash hash(QCryptographicHash::Sha256);
    QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    QStringList files;
    while (it.hasNext()) files.append(it.next());
    files.sort();
    for (const QString& path : files) {
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        hash.addData(path.toUtf8());
        hash.addData(file.readAll());
    }
    return hash.result();
}

class TraceVolumeTest : public ::testing::Test {
protected:
    void SetUp() override {
        QString error;
        ASSERT_TRUE(tools::writeTraceVolume(dir_.path(), {}, nullptr, &error)) << error.toStdString();
        system_ = std::make_unique<VolumeSystem>(dir_.path(), QString());
    }
    TraceCollector read(std::initializer_list<const char*> kinds) { return test::readTraces(*system_, kinds, temp_.path()); }
    QTemporaryDir dir_, temp_;
    std::unique_ptr<VolumeSystem> system_;
};

TEST_F(TraceVolumeTest, EveryVisitDownloadAndCookieOfEveryProfileComesOutOnceUnderItsOwnProvenance) {
    const QByteArray before = treeDigest(dir_.path());
    const TraceCollector got = read({"browser.history", "browser.downloads", "browser.cookies"});
    const auto history = got.of("browser.history"), downloads = got.of("browser.downloads"), cookies = got.of("browser.cookies");
    EXPECT_EQ(history.size(), std::size(kProfiles) * 3);
    EXPECT_EQ(downloads.size(), std::size(kProfiles));
    EXPECT_EQ(cookies.size(), 6u * 2 + 2u * 1);
    for (const Expected& p : kProfiles) {
        SCOPED_TRACE(p.tag);
        const auto visits = tagged(history, "url", p.tag);
        ASSERT_EQ(visits.size(), 3u);
        for (const TraceRecord& v : visits) {
            EXPECT_EQ(v["user"], p.user);
            EXPECT_EQ(v["browser"], p.browser);
            EXPECT_EQ(v["profile"], p.profile);
            EXPECT_TRUE(v["source"].startsWith(QStringLiteral("C:\\Users\\%1\\AppData\\").arg(p.user))) << v["source"].toStdString();
        }
        // The second visit: its own time (one second and one microsecond after the first), a
        // link from the first visit, the url it shares with it.
        EXPECT_EQ(visits[1]["visit_time"], "2026-11-01T08:00:01.000001+00:00");
        EXPECT_EQ(visits[1]["url"], QStringLiteral("https://%1.example/page/1").arg(p.tag));
        EXPECT_EQ(visits[1]["visit_type"], "link");
        EXPECT_EQ(visits[1]["from_visit"], "1");
        EXPECT_EQ(visits[0]["visit_type"], "typed");
        const auto download = tagged(downloads, "url", p.tag);
        ASSERT_EQ(download.size(), 1u);
        EXPECT_EQ(download[0]["start_time"], "2026-11-01T08:01:40.000000+00:00");
        EXPECT_EQ(download[0]["end_time"], "2026-11-01T08:02:40.000000+00:00");
        EXPECT_EQ(download[0]["profile"], p.profile);
        if (p.firefox) {
            EXPECT_EQ(download[0]["target_path"], QStringLiteral("C:\\Users\\x\\Downloads\\%1 file.zip").arg(p.tag));
            EXPECT_EQ(download[0]["state"], "finished");
            EXPECT_EQ(download[0]["total_bytes"], "4096");
        } else {
            // The last url of the redirect chain is where the file came from.
            EXPECT_EQ(download[0]["url"], QStringLiteral("https://cdn.%1.example/file.exe").arg(p.tag));
            EXPECT_EQ(download[0]["target_path"], QStringLiteral("C:\\Users\\x\\Downloads\\%1.exe").arg(p.tag));
            EXPECT_EQ(download[0]["state"], "complete");
            EXPECT_EQ(download[0]["danger_type"], "not dangerous");
        }
        const auto cookie = tagged(cookies, "domain", p.tag);
        ASSERT_EQ(cookie.size(), p.firefox ? 1u : 2u);
        EXPECT_EQ(cookie[0]["created"], "2026-11-01T08:00:10.000000+00:00");
        EXPECT_EQ(cookie[0]["last_access"], "2026-11-01T08:00:20.000000+00:00");
        EXPECT_EQ(cookie[0]["secure"], "1");
        if (!p.firefox) {
            EXPECT_EQ(cookie[0]["value"], "(encrypted)");
            EXPECT_EQ(cookie[1]["value"], "visible");
            EXPECT_FALSE(cookie[1].fields.contains("expires"));  // a session cookie: no expiry
        }
    }
    EXPECT_EQ(treeDigest(dir_.path()), before) << "the volume was written to";
}

TEST_F(TraceVolumeTest, TheOtherBrowserKindsReadEveryProfileWithTheirTimes) {
    const TraceCollector got = read({"browser.searches", "browser.forms", "browser.bookmarks", "browser.logins", "browser.topsites"});
    EXPECT_EQ(got.of("browser.searches").size(), std::size(kProfiles));
    EXPECT_EQ(got.of("browser.forms").size(), std::size(kProfiles));
    EXPECT_EQ(got.of("browser.bookmarks").size(), 6u * 2 + 2u);
    EXPECT_EQ(got.of("browser.logins").size(), 6u);
    EXPECT_EQ(got.of("browser.topsites").size(), 6u);
    const auto deep = tagged(got.of("browser.bookmarks"), "url", "bob-brave-default.example/deep");
    ASSERT_EQ(deep.size(), 1u);
    EXPECT_EQ(deep[0]["folder"], "Bookmarks bar/Work");
    EXPECT_EQ(deep[0]["added"], "2026-11-01T08:01:10.000000+00:00");
    const auto firefoxMark = tagged(got.of("browser.bookmarks"), "url", "alice-firefox-old.example/marked");
    ASSERT_EQ(firefoxMark.size(), 1u);
    EXPECT_EQ(firefoxMark[0]["folder"], "toolbar");
    const auto login = tagged(got.of("browser.logins"), "origin", "alice-edge-default");
    ASSERT_EQ(login.size(), 1u);
    EXPECT_EQ(login[0]["user_name"], "alice-edge-default-user");
    EXPECT_EQ(login[0]["times_used"], "3");
    EXPECT_EQ(login[0]["last_used"], "2026-11-01T08:01:00.000000+00:00");
    for (const TraceRecord& r : got.of("browser.logins")) EXPECT_FALSE(r.fields.contains("password"));
    const auto form = tagged(got.of("browser.forms"), "value", "bob-opera");
    ASSERT_EQ(form.size(), 1u);
    EXPECT_EQ(form[0]["first_used"], "2026-11-01T08:00:30.000000+00:00");
    EXPECT_EQ(form[0]["times_used"], "4");
    const auto typed = tagged(got.of("browser.searches"), "term", "alice-firefox-old");
    ASSERT_EQ(typed.size(), 1u);
    EXPECT_EQ(typed[0]["url"], "https://alice-firefox-old.example/page/1");
}

TEST_F(TraceVolumeTest, OneUserAndAZoneNarrowAndShiftWithoutChangingTheTimes) {
    TraceCollector got;
    TraceContext context(*system_, temp_.path());
    context.narrowToUser(QStringLiteral("BOB"));
    runTraceKind(*findTraceKind("browser.history"), context, got);
    EXPECT_EQ(got.records.size(), 3u * 3);
    for (const TraceRecord& r : got.records) EXPECT_EQ(r["user"], "bob");
}

TEST_F(TraceVolumeTest, ASinkThatStopsEndsTheReadingThere) {
    struct StopAfter : TraceSink {
        int left = 4;
        bool record(const TraceKind&, const Provenance&, std::span<const Value>) override { return --left > 0; }
    } sink;
    TraceContext context(*system_, temp_.path());
    EXPECT_EQ(runTraceKind(*findTraceKind("browser.history"), context, sink), 4);
    EXPECT_TRUE(context.stopped());
}

// A profile folder with a History holding one real database of each generation.
class RealProfiles : public ::testing::Test {
protected:
    TraceCollector readProfile(const QString& file, const QString& as, std::initializer_list<const char*> kinds,
                               const QString& profile = QStringLiteral("AppData/Local/Google/Chrome/User Data/Default")) {
        volume_.copy(file, QStringLiteral("Users/alice/") + profile + QLatin1Char('/') + as);
        if (QFileInfo::exists(file + QStringLiteral("-wal"))) {
            volume_.copy(file + QStringLiteral("-wal"), QStringLiteral("Users/alice/") + profile + QLatin1Char('/') + as + QStringLiteral("-wal"));
        }
        system_ = volume_.open();
        return test::readTraces(*system_, kinds, temp_.path());
    }
    test::TempVolume volume_;
    QTemporaryDir temp_;
    std::unique_ptr<VolumeSystem> system_;
};

TEST_F(RealProfiles, Chrome1HistoryOfMetaVersion16) {
    REALDATA_OR_SKIP(file, "chrome-History-v01");
    const TraceCollector got = readProfile(file, "History", {"browser.history", "browser.downloads", "browser.searches"});
    EXPECT_EQ(got.of("browser.history").size(), 46u);
    EXPECT_EQ(got.of("browser.searches").size(), 5u);
    const auto downloads = got.of("browser.downloads");
    ASSERT_EQ(downloads.size(), 2u);
    // full_path and a start time in Unix seconds, the schema before Chrome 26.
    EXPECT_EQ(downloads[0]["target_path"], "C:\\Users\\Ryan\\Documents\\Downloads\\Hard_disk.jpg");
    EXPECT_EQ(downloads[0]["start_time"], "2013-06-05T04:28:30.000000+00:00");
    EXPECT_EQ(downloads[0]["url"], "http://upload.wikimedia.org/wikipedia/commons/7/7a/Hard_disk.jpg");
    EXPECT_FALSE(downloads[0].fields.contains("end_time"));
}

TEST_F(RealProfiles, ChromeHistoriesOfLaterSchemas) {
    REALDATA_OR_SKIP(v20, "browsers/chrome-History-v20");
    REALDATA_OR_SKIP(v57, "chrome57-History");
    const TraceCollector got = readProfile(v20, "History", {"browser.history", "browser.downloads"});
    EXPECT_EQ(got.of("browser.history").size(), 58u);
    EXPECT_EQ(got.of("browser.downloads").size(), 2u);
    for (const TraceRecord& r : got.of("browser.downloads")) EXPECT_FALSE(r["url"].isEmpty()) << "url chain not read";
    const TraceCollector later = readProfile(v57, "History", {"browser.history", "browser.downloads"},
                                             QStringLiteral("AppData/Local/Microsoft/Edge/User Data/Default"));
    const auto downloads = later.of("browser.downloads");
    ASSERT_EQ(downloads.size(), 3u);  // v20's two and v57's one: both profiles are read
    EXPECT_EQ(downloads[2]["browser"], "Edge");
    EXPECT_FALSE(downloads[2]["target_path"].isEmpty());
}

TEST_F(RealProfiles, FirefoxRowsThatLiveOnlyInTheWriteAheadLogAreRead) {
    REALDATA_OR_SKIP(places, "browsers/firefox39-profile/places.sqlite");
    REALDATA_OR_SKIP(cookies, "firefox15-cookies.sqlite");
    const QString profile = QStringLiteral("AppData/Roaming/Mozilla/Firefox/Profiles/a.default");
    readProfile(cookies, "cookies.sqlite", {}, profile);
    const TraceCollector got = readProfile(places, "places.sqlite", {"browser.history", "browser.downloads", "browser.cookies"}, profile);
    EXPECT_EQ(got.of("browser.history").size(), 2u);
    EXPECT_EQ(got.of("browser.cookies").size(), 5u);  // 4 in the file, the fifth in its -wal
    const auto downloads = got.of("browser.downloads");
    ASSERT_EQ(downloads.size(), 1u);
    EXPECT_EQ(downloads[0]["target_path"], "/home/ubuntu/Downloads/plaso-20180630.1.win32.msi");
    EXPECT_EQ(downloads[0]["start_time"], "2018-08-01T07:10:47.911000+00:00");
}

TEST_F(RealProfiles, OldFirefoxSchemasAndTheLegacyDownloadsDatabase) {
    REALDATA_OR_SKIP(places, "firefox-places.sqlite");
    REALDATA_OR_SKIP(downloads, "firefox15-downloads.sqlite");
    const QString profile = QStringLiteral("AppData/Roaming/Mozilla/Firefox/Profiles/a.default");
    readProfile(downloads, "downloads.sqlite", {}, profile);
    const TraceCollector got = readProfile(places, "places.sqlite", {"browser.history", "browser.bookmarks", "browser.downloads"}, profile);
    EXPECT_EQ(got.of("browser.history").size(), 1u);
    EXPECT_EQ(got.of("browser.bookmarks").size(), 91u);
    const auto legacy = got.of("browser.downloads");
    ASSERT_EQ(legacy.size(), 1u);
    EXPECT_EQ(legacy[0]["source_part"], "moz_downloads");
    EXPECT_EQ(legacy[0]["target_path"], "/home/ubuntu/Downloads/plaso-20180630.1.win32.msi");
}

TEST_F(RealProfiles, ChromeWebDataAndTopSitesOfTwoGenerations) {
    REALDATA_OR_SKIP(webData, "browsers/chrome-Web Data");
    REALDATA_OR_SKIP(topSites, "chrome17-Top Sites");
    readProfile(webData, "Web Data", {});
    const TraceCollector got = readProfile(topSites, "Top Sites", {"browser.forms", "browser.topsites"});
    EXPECT_EQ(got.of("browser.forms").size(), 3u);
    for (const TraceRecord& r : got.of("browser.forms")) EXPECT_TRUE(r.fields.contains("first_used")) << r["field"].toStdString();
    const auto sites = got.of("browser.topsites");
    ASSERT_EQ(sites.size(), 2u);
    EXPECT_EQ(sites[0]["source_part"], "thumbnails");
    EXPECT_EQ(sites[0]["rank"], "0");
}

TEST(BrowserSchemas, AnUnknownSchemaOrADamagedFileIsSaidNeverPassedOffAsEmpty) {
    test::TempVolume volume;
    const QString profile = volume.root() + "/Users/alice/AppData/Local/Google/Chrome/User Data/Default/";
    QString error;
    ASSERT_TRUE(tools::writeDatabase(profile + "History", "CREATE TABLE urls(id INTEGER, url TEXT);", &error));
    volume.file("Users/alice/AppData/Local/Google/Chrome/User Data/Default/Login Data", QByteArray(4096, 'x'));
    volume.file("Users/alice/AppData/Local/Google/Chrome/User Data/Local State", "{\"profile\": {\"info_cache\": {\"Work\"");
    const auto system = volume.open();
    QTemporaryDir temp;
    const TraceCollector got = test::readTraces(*system, {"browser.history", "browser.logins"}, temp.path());
    EXPECT_TRUE(got.records.empty());
    QStringList findings;
    for (const Finding& f : system->findings().all()) findings.append(f.text());
    EXPECT_TRUE(findings.filter("History: schema differs: no tables visits and urls").size() == 1) << findings.join("\n").toStdString();
    EXPECT_TRUE(findings.filter(QRegularExpression("Login Data: damaged: .*not a database")).size() == 1) << findings.join("\n").toStdString();
    // A profile list that cannot be parsed is said: a profile only it named may be missed.
    EXPECT_TRUE(findings.filter(QRegularExpression("Local State: damaged: not JSON \\(.* at byte \\d+\\); only Default")).size() == 1)
        << findings.join("\n").toStdString();
}

TEST(BrowserValues, TimesOfChangingUnitsTransitionsAndFileUris) {
    EXPECT_EQ(chromium::secondsOrWebKit(1370406510), 1370406510 * int64_t{1000000});
    EXPECT_EQ(chromium::secondsOrWebKit(13017000000000000), std::optional<UtcMicros>(13017000000000000 - 11644473600000000));
    EXPECT_EQ(chromium::secondsOrWebKit(0), std::nullopt);
    EXPECT_STREQ(chromium::transitionName(0x30000001), "typed");
    EXPECT_STREQ(chromium::transitionName(0xA0000006 - 0x100000000), "auto_toplevel");
    EXPECT_EQ(chromium::transitionName(0x3F), nullptr);
    EXPECT_EQ(firefox::pathOfFileUri("file:///C:/Users/a%20b/x.exe"), "C:\\Users\\a b\\x.exe");
    EXPECT_EQ(firefox::pathOfFileUri("file:///home/u/x"), "/home/u/x");
    EXPECT_EQ(firefox::pathOfFileUri("https://x"), "https://x");
}

}  // namespace
}  // namespace kestrova

namespace kestrova {
namespace {

// A database with a write-ahead log is read from a copy in the private temporary folder; when
// that folder is full, the database is said to be unread for want of room, never "unknown error"
// and never an empty history. The folder is a 64 KiB tmpfs (mounting one needs root).
TEST(BrowserSchemas, AFullTemporaryFolderIsNamedAsTheReason) {
    REALDATA_OR_SKIP(places, "firefox15-places.sqlite");
    QTemporaryDir small;
    QProcess mount;
    mount.start("mount", {"-t", "tmpfs", "-o", "size=64k", "tmpfs", small.path()});
    if (!mount.waitForFinished(10000) || mount.exitCode() != 0) GTEST_SKIP() << "a small tmpfs cannot be mounted here (needs root)";
    const auto unmount = qScopeGuard([&] { QProcess::execute("umount", {small.path()}); });
    test::TempVolume volume;
    const QString profile = "Users/alice/AppData/Roaming/Mozilla/Firefox/Profiles/abc.default/";
    volume.copy(places, profile + "places.sqlite");
    volume.copy(test::realData("firefox15-places.sqlite-wal"), profile + "places.sqlite-wal");
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("TMPDIR", small.path());
    const CliRun run = runCli({"--root", volume.root(), "--verbose", "traces", "browser.history"}, env);
    EXPECT_TRUE(run.err.contains("places.sqlite: unreadable: no space left in " + small.path())) << run.err.toStdString();
    EXPECT_FALSE(run.err.contains("Unknown error")) << run.err.toStdString();
}

}  // namespace
}  // namespace kestrova
