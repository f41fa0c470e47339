// What Windows counts of its use: the Windows Timeline (a real database whose rows live in its
// write-ahead log, checked against the sqlite3 command line, and plaso's 112 rows), and a
// Timeline whose JSON is not JSON; SRUM (a real Windows 10 database, checked against
// esedbexport), one not closed cleanly and one whose header lies about its page size.
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <map>
#include <sqlite3.h>

#include "support/temp_volume.h"
#include "usage/search_db_writer.h"
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

// -- SRUM ---------------------------------------------------------------------------------------

test::KindRead readSrum(const QByteArray& database, const char* kind) {
    test::TempVolume volume;
    volume.file("Windows/System32/sru/SRUDB.dat", database);
    return test::readKind(*volume.open(), kind);
}

// esedbexport's rows of a table: their count, and the first row's columns by name.
std::pair<int, std::map<QString, QString>> esedbexportTable(const QString& database, const QString& table) {
    if (QStandardPaths::findExecutable("esedbexport").isEmpty()) return {-1, {}};
    QTemporaryDir dir;
    QProcess p;
    p.start("esedbexport", {"-t", dir.filePath("out"), "-T", table, database});
    p.waitForFinished(60000);
    const QStringList files = QDir(dir.filePath("out.export")).entryList(QDir::Files);
    if (files.isEmpty()) return {-1, {}};
    QFile f(dir.filePath("out.export/") + files.front());
    if (!f.open(QIODevice::ReadOnly)) return {-1, {}};
    const QStringList lines = QString::fromUtf8(f.readAll()).split('\n', Qt::SkipEmptyParts);
    std::map<QString, QString> first;
    if (lines.size() > 1) {
        const QStringList names = lines[0].split('\t'), values = lines[1].split('\t');
        for (int i = 0; i < names.size() && i < values.size(); ++i) first[names[i]] = values[i];
    }
    return {static_cast<int>(lines.size()) - 1, first};
}

TEST(Srum, EveryTableAsEsedbexportReadsItWithNamesFromTheIdMap) {
    REALDATA_OR_SKIP(path, "usage/srum-win10/SRUDB.dat");
    const QByteArray database = realFile("usage/srum-win10/SRUDB.dat");
    const test::KindRead apps = readSrum(database, "windows.srum.apps");
    ASSERT_EQ(apps.records.size(), 562u) << apps.findings.join("\n").toStdString();
    EXPECT_EQ(readSrum(database, "windows.srum.network").records.size(), 96u);
    EXPECT_EQ(readSrum(database, "windows.srum.connectivity").records.size(), 6u);
    const test::KindRead other = readSrum(database, "windows.srum.other");
    EXPECT_EQ(other.records.size(), 5u + 1660u + 26u);  // push notifications, application timeline, vfu; energy tables empty

    // The first application row, field by field, as esedbexport gives it (its AppId 96 and
    // UserId 306 named through SruDbIdMapTable). The slot ends on a whole minute: esedbexport
    // prints 16:34:59.231231208 for the same double, off by its own conversion.
    const TraceRecord& first = apps.records.front();
    EXPECT_EQ(first["time"], "2022-03-10T16:35:00.000000+00:00");
    EXPECT_EQ(first["app"], "svc.ownproc.s0.uc0.host2000000000000000_1.0.0.0_neutral__1234567890abc");
    EXPECT_EQ(first["sid"], "S-1-5-5-0-130205");
    const auto [rows, row] = esedbexportTable(path, "{D10CA2FE-6FCF-4F6D-848E-B2E99266FA89}");
    if (rows >= 0) {
        EXPECT_EQ(rows, 562);
        EXPECT_EQ(first["foreground_cycles"], row.at("ForegroundCycleTime"));
        EXPECT_EQ(first["face_time"], row.at("FaceTime"));
        EXPECT_EQ(first["foreground_bytes_read"], row.at("ForegroundBytesRead"));
        EXPECT_EQ(first["foreground_bytes_written"], row.at("ForegroundBytesWritten"));
        EXPECT_EQ(first["foreground_context_switches"], row.at("ForegroundContextSwitches"));
    }
    const test::KindRead connectivity = readSrum(database, "windows.srum.connectivity");
    EXPECT_EQ(connectivity.records.front()["connected_seconds"], "66");
    EXPECT_EQ(connectivity.records.front()["connect_start"], "2022-03-10T16:33:53.062678+00:00");
    EXPECT_EQ(connectivity.records.front()["interface"], "1689399632855040 (Ethernet)");
    const auto push = std::find_if(other.records.begin(), other.records.end(), [](const TraceRecord& r) { return r["table"].startsWith("push"); });
    ASSERT_NE(push, other.records.end());
    EXPECT_EQ((*push)["values"], "NetworkType=0; NotificationType=1; PayloadSize=1092");
    EXPECT_EQ((*push)["sid"], "S-1-5-21-2212929841-2730996645-2649195864-1000");
}

// The file header's checksum made again after a change: 0x89ABCDEF and every 32-bit word of the
// header's 4,096 bytes after the checksum itself, XORed (libesedb's ESE format document).
void resealHeader(QByteArray& database) {
    uint32_t sum = 0x89ABCDEF;
    for (int i = 4; i + 4 <= 4096; i += 4) {
        uint32_t word = 0;
        std::memcpy(&word, database.constData() + i, 4);
        sum ^= word;
    }
    std::memcpy(database.data(), &sum, 4);
}

TEST(Srum, ADatabaseNotClosedCleanlyIsReadAsItLiesAndADamagedOneSaysWhy) {
    REALDATA_OR_SKIP(path, "usage/srum-win10/SRUDB.dat");
    QByteArray dirty = realFile("usage/srum-win10/SRUDB.dat");
    dirty[52] = 2;  // the header's state: dirty shutdown
    resealHeader(dirty);
    const test::KindRead read = readSrum(dirty, "windows.srum.network");
    EXPECT_EQ(read.records.size(), 96u);
    EXPECT_EQ(read.findings.filter("SRUDB.dat: Windows did not close it cleanly: its transaction logs (SRU*.log) are not replayed").size(), 1)
        << read.findings.join("\n").toStdString();
    QByteArray lying = realFile("usage/srum-win10/SRUDB.dat");
    lying[236] = 0x39;  // a page size of 12345 bytes
    lying[237] = 0x30;
    resealHeader(lying);
    const test::KindRead damaged = readSrum(lying, "windows.srum.apps");
    EXPECT_TRUE(damaged.records.empty());
    EXPECT_EQ(damaged.findings.filter("SRUDB.dat: not an ESE database libesedb reads").size(), 1) << damaged.findings.join("\n").toStdString();
}

// -- the Search index ---------------------------------------------------------------------------

TEST(SearchIndex, EveryItemOnceWithItsPropertiesFromBlobsNumbersAndTexts) {
    QTemporaryDir dir;
    QString error;
    ASSERT_TRUE(tools::writeSearchIndex(dir.filePath("Windows.db"), 2500, &error)) << error.toStdString();
    QFile f(dir.filePath("Windows.db"));
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    test::TempVolume volume;
    volume.file("ProgramData/Microsoft/Search/Data/Applications/Windows/Windows.db", f.readAll());
    const test::KindRead read = test::readKind(*volume.open(), "windows.search");
    ASSERT_EQ(read.records.size(), 2500u) << read.findings.join("\n").toStdString();
    EXPECT_TRUE(read.findings.isEmpty()) << read.findings.join("\n").toStdString();
    const TraceRecord& item = read.records[1234];
    EXPECT_EQ(item["work_id"], "1235");
    EXPECT_EQ(item["path"], "C:\\Users\\bob\\Documents\\folder1\\file1234.txt");
    EXPECT_EQ(item["name"], "file1234.txt");
    EXPECT_EQ(item["item_type"], ".txt");
    EXPECT_EQ(item["type_text"], "Text Document");
    EXPECT_EQ(item["size"], "123400");
    EXPECT_EQ(item["created"], "2024-01-01T00:20:34.000000+00:00");
    EXPECT_EQ(item["modified"], "2024-01-01T00:21:34.000000+00:00");
    EXPECT_EQ(item["accessed"], "2024-01-01T01:20:34.000000+00:00");
    EXPECT_EQ(item["indexed"], "2024-01-02T00:20:34.000000+00:00");
    EXPECT_EQ(item["owner"], "DESKTOP\\bob");  // a UTF-16 blob
    EXPECT_EQ(item["url"], "file:C:/Users/bob/Documents/folder1/file1234.txt");

    // An index of another layout says so.
    test::TempVolume other;
    other.file("ProgramData/Microsoft/Search/Data/Applications/Windows/Windows.db", realFile("usage/plaso-ActivitiesCache.db"));
    const test::KindRead none = test::readKind(*other.open(), "windows.search");
    EXPECT_TRUE(none.records.empty());
    if (!realFile("usage/plaso-ActivitiesCache.db").isEmpty()) {
        EXPECT_EQ(none.findings.filter("no SystemIndex_1_PropertyStore with its Metadata").size(), 1) << none.findings.join("\n").toStdString();
    }
}

TEST(Srum, AnAccountTheVolumeKnowsIsTheRecordsUser) {
    REALDATA_OR_SKIP(path, "usage/srum-win10/SRUDB.dat");
    test::TempVolume volume;
    volume.file("Windows/System32/sru/SRUDB.dat", realFile("usage/srum-win10/SRUDB.dat"));
    tools::HiveBuilder software;
    software.sz("Microsoft\\Windows NT\\CurrentVersion\\ProfileList\\S-1-5-21-2212929841-2730996645-2649195864-1000", "ProfileImagePath",
                "C:\\Users\\apt");
    volume.softwareHive(software);
    const test::KindRead read = test::readKind(*volume.open(), "windows.srum.other");
    const auto push = std::find_if(read.records.begin(), read.records.end(), [](const TraceRecord& r) { return r["table"].startsWith("push"); });
    ASSERT_NE(push, read.records.end());
    EXPECT_EQ((*push)["account"], "apt");
    EXPECT_EQ((*push)["user"], "apt");
}

}  // namespace
}  // namespace kestrova
