// What Windows counts of its use: the Windows Timeline (a real database whose rows live in its
// write-ahead log, checked against the sqlite3 command line, and plaso's 112 rows), and a
// Timeline whose JSON is not JSON.
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "support/temp_volume.h"
#include "support/trace_collector.h"

namespace kestrova {
namespace {

using test::TraceRecord;

constexpr const char* kTimelineFolder = "Users/bob/AppData/Local/ConnectedDevicesPlatform/L.bob/";

QByteArray realFile(const char* name) {
    QFile f(test::realData(name));
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

test::KindRead readActivities(const std::vector<std::pair<QString, QByteArray>>& files) {
    test::TempVolume volume;
    volume.file("Users/bob/NTUSER.DAT", tools::emptyHive());
    for (const auto& [name, bytes] : files) volume.file(QLatin1String(kTimelineFolder) + name, bytes);
    return test::readKind(*volume.open(), "windows.activities");
}

// The start times sqlite3 gives for the database with its log applied, in a copy of the files.
QStringList sqliteStarts(const QString& folder) {
    if (QStandardPaths::findExecutable("sqlite3").isEmpty()) return {};
    QTemporaryDir copy;
    for (const QString& name : QDir(folder).entryList({"ActivitiesCache.db*"}, QDir::Files)) QFile::copy(folder + "/" + name, copy.filePath(name));
    QProcess p;
    p.start("sqlite3", {copy.filePath("ActivitiesCache.db"), "SELECT StartTime FROM Activity ORDER BY StartTime"});
    p.waitForFinished(30000);
    return QString::fromUtf8(p.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
}

TEST(WindowsTimeline, RowsThatLiveOnlyInTheLogAreReadAsSqliteReadsThem) {
    REALDATA_OR_SKIP(folder, "usage/timeline-win10");
    const test::KindRead withLog = readActivities({{"ActivitiesCache.db", realFile("usage/timeline-win10/ActivitiesCache.db")},
                                                   {"ActivitiesCache.db-wal", realFile("usage/timeline-win10/ActivitiesCache.db-wal")}});
    ASSERT_EQ(withLog.records.size(), 14u) << withLog.findings.join("\n").toStdString();
    EXPECT_TRUE(withLog.findings.isEmpty()) << withLog.findings.join("\n").toStdString();
    const QStringList starts = sqliteStarts(folder);
    if (!starts.isEmpty()) {
        ASSERT_EQ(starts.size(), 14);
        for (int i = 0; i < 14; ++i) {
            EXPECT_EQ(withLog.records[static_cast<size_t>(i)]["start"], IsoTimeWriter().text(starts[i].toLongLong() * 1000000)) << i;
        }
    }
    const TraceRecord& powershell = withLog.records[2];
    EXPECT_EQ(powershell["user"], "bob");
    EXPECT_EQ(powershell["app"], "{1AC14E77-02E7-4E5D-B744-2EB1AE5198B7}\\WindowsPowerShell\\v1.0\\powershell.exe");
    EXPECT_EQ(powershell["activity_type"], "6 app in use");
    EXPECT_EQ(powershell["active_seconds"], "203");
    EXPECT_EQ(powershell["end"], "2022-03-05T13:23:32.000000+00:00");
    EXPECT_EQ(withLog.records[1]["display_text"], "Windows PowerShell");

    // Without its log the file holds one row.
    const test::KindRead alone = readActivities({{"ActivitiesCache.db", realFile("usage/timeline-win10/ActivitiesCache.db")}});
    EXPECT_EQ(alone.records.size(), 1u);
}

TEST(WindowsTimeline, PlasosDatabaseWithDocumentsOpened) {
    REALDATA_OR_SKIP(path, "usage/plaso-ActivitiesCache.db");
    const test::KindRead read = readActivities({{"ActivitiesCache.db", realFile("usage/plaso-ActivitiesCache.db")}});
    ASSERT_EQ(read.records.size(), 112u) << read.findings.join("\n").toStdString();
    EXPECT_EQ(read.records.front()["start"], "2018-07-25T12:04:40.000000+00:00");  // 1532520280
    EXPECT_EQ(read.records.back()["start"], "2018-08-06T09:02:07.000000+00:00");   // 1533546127
    EXPECT_TRUE(std::any_of(read.records.begin(), read.records.end(), [](const TraceRecord& r) { return !r["content"].isEmpty(); }));
}

TEST(WindowsTimeline, JsonThatIsNotJsonKeepsTheRowAndIsSaid) {
    QTemporaryDir dir;
    const QString file = dir.filePath("ActivitiesCache.db");
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(file.toUtf8().constData(), &db), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db,
                           "CREATE TABLE Activity(Id GUID, AppId TEXT, ActivityType INT, ActivityStatus INT, StartTime DATETIME, "
                           "EndTime DATETIME, LastModifiedTime DATETIME, ExpirationTime DATETIME, Payload BLOB, PlatformDeviceId TEXT, "
                           "ClipboardPayload BLOB, ETag INT);"
                           "INSERT INTO Activity VALUES(x'00', 'not [json', 5, 1, 1600000000, 0, 1600000000, 0, '{broken', 'dev', NULL, 1);"
                           "INSERT INTO Activity VALUES(x'01', '[{\"application\":\"a.exe\",\"platform\":\"x_exe_path\"}]', 10, 1, 1600000001, 0, "
                           "1600000001, 0, '{}', 'dev', x'41', 2);",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(db);
    QFile f(file);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    const test::KindRead read = readActivities({{"ActivitiesCache.db", f.readAll()}});
    ASSERT_EQ(read.records.size(), 2u);
    EXPECT_EQ(read.records[0]["app"], "not [json");
    EXPECT_EQ(read.records[0]["start"], "2020-09-13T12:26:40.000000+00:00");
    EXPECT_EQ(read.records[1]["app"], "a.exe");
    EXPECT_EQ(read.records[1]["clipboard"], "1");
    EXPECT_EQ(read.records[1]["activity_type"], "10 clipboard");
    EXPECT_EQ(read.findings.filter("1 rows hold an AppId or Payload that is not JSON").size(), 1) << read.findings.join("\n").toStdString();
}

}  // namespace
}  // namespace kestrova
