// kestrova-cli traces as a user runs it: every format parses as what it says it is, times are UTC
// unless a zone is named, one table a kind in CSV, the kinds listed with their columns.
#include <QJsonDocument>
#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "browsers/trace_volume.h"
#include "support/cli_run.h"
#include "support/temp_volume.h"

namespace kestrova {
namespace {

class TracesCli : public ::testing::Test {
protected:
    void SetUp() override {
        QString error;
        ASSERT_TRUE(tools::writeTraceVolume(dir_.path(), {}, nullptr, &error)) << error.toStdString();
    }
    CliRun traces(QStringList args) { return runCli(QStringList{"--root", dir_.path(), "traces"} + args); }
    QTemporaryDir dir_;
};

TEST_F(TracesCli, JsonLinesAreOneObjectARecordWithUtcTimesAndProvenance) {
    const CliRun run = traces({"browser.history", "--user", "bob"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QStringList lines = run.out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 9);
    for (const QString& line : lines) {
        QJsonParseError error{};
        const QJsonObject o = QJsonDocument::fromJson(line.toUtf8(), &error).object();
        ASSERT_EQ(error.error, QJsonParseError::NoError) << line.toStdString();
        EXPECT_EQ(o["kind"].toString(), "browser.history");
        EXPECT_EQ(o["user"].toString(), "bob");
        EXPECT_TRUE(o["visit_time"].toString().endsWith("+00:00"));
        EXPECT_TRUE(o["visit_id"].isDouble());
    }
    const QJsonObject first = QJsonDocument::fromJson(lines[0].toUtf8()).object();
    EXPECT_EQ(first["browser"].toString(), "Chrome");
    EXPECT_EQ(first["source"].toString(), "C:\\Users\\bob\\AppData\\Local\\Google\\Chrome\\User Data\\Default\\History");
    EXPECT_EQ(first["source_part"].toString(), "visits");
}

TEST_F(TracesCli, CsvIsOneTableAKindAndANamedZoneShiftsTheTexts) {
    const CliRun run = traces({"browser.downloads", "ie.cookies", "--format", "csv", "--tz", "Europe/Berlin"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QStringList tables = run.out.split("\n\n");
    ASSERT_EQ(tables.size(), 2);
    const QStringList downloads = tables[0].split('\n', Qt::SkipEmptyParts);
    EXPECT_EQ(downloads[0], "user,browser,profile,start_time,end_time,url,target_path,received_bytes,total_bytes,state,danger_type,"
                            "referrer,mime_type,source,source_part");
    EXPECT_EQ(downloads.size(), 1 + 8);
    EXPECT_TRUE(downloads[1].contains(",2026-11-01T09:01:40.000000+01:00,2026-11-01T09:02:40.000000+01:00,")) << downloads[1].toStdString();
    const QStringList cookies = tables[1].split('\n', Qt::SkipEmptyParts);
    EXPECT_TRUE(cookies[0].startsWith("user,domain,name,value,path,created,"));
    EXPECT_EQ(cookies.size(), 1 + 2);
}

TEST_F(TracesCli, TheListNamesEveryKindAndItsColumnsAndJsonIsOneArray) {
    const CliRun list = runCli({"traces", "--list"});
    ASSERT_EQ(list.exitCode, 0);
    EXPECT_TRUE(list.out.contains("browser.history\tevery visit")) << list.out.toStdString();
    EXPECT_TRUE(list.out.contains("  visit_time\ttime\n"));
    EXPECT_TRUE(list.out.contains("ie.cookies\t"));
    EXPECT_TRUE(list.out.contains("  data\tfields\n"));  // an event's named values
    const CliRun json = traces({"browser.topsites", "browser.logins", "--format", "json"});
    ASSERT_EQ(json.exitCode, 0) << json.err.toStdString();
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json.out.toUtf8(), &error);
    ASSERT_EQ(error.error, QJsonParseError::NoError) << json.out.toStdString();
    EXPECT_EQ(document.array().size(), 12);
}

TEST_F(TracesCli, VerboseSaysHowManyRecordsAndWhyASourceGaveNone) {
    const CliRun run = traces({"browser.history", "--verbose", "--user", "nobody"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.isEmpty());
    EXPECT_TRUE(run.err.contains("browser.history: 0 records\n  user profiles: missing: no profile folder named \"nobody\"")) << run.err.toStdString();
}

}  // namespace
}  // namespace kestrova

namespace kestrova {
namespace {

// A dirty hive is replayed for the classic categories and the traces alike, and --verbose says
// so; --no-log-replay reads the base file as it lies.
TEST(HiveReplayCli, VerboseSaysWhatWasReplayedAndNoLogReplayReadsTheBaseAlone) {
    REALDATA_OR_SKIP(hive, "registry/transactions_NTUSER.DAT");
    test::TempVolume volume;
    volume.copy(hive, "Users/dirty/NTUSER.DAT");
    volume.copy(test::realData("registry/transactions_ntuser.dat.log1"), "Users/dirty/NTUSER.DAT.LOG1");
    volume.copy(test::realData("registry/transactions_ntuser.dat.log2"), "Users/dirty/NTUSER.DAT.LOG2");
    const CliRun info = runCli({"--root", volume.root(), "--user", "dirty", "info", "--verbose"});
    EXPECT_TRUE(info.out.contains("dirty, replayed 23 log entries (132 pages) from LOG1")) << info.out.toStdString();
    const CliRun replayed = runCli({"--root", volume.root(), "traces", "windows.userassist", "--format", "csv", "--verbose"});
    ASSERT_EQ(replayed.exitCode, 0) << replayed.err.toStdString();
    EXPECT_TRUE(replayed.err.contains("recovered: dirty, replayed 23 log entries")) << replayed.err.toStdString();
    const CliRun base = runCli({"--root", volume.root(), "traces", "windows.userassist", "--format", "csv", "--no-log-replay", "--verbose"});
    ASSERT_EQ(base.exitCode, 0) << base.err.toStdString();
    EXPECT_TRUE(base.err.contains("read without its logs")) << base.err.toStdString();
    EXPECT_GT(replayed.out.count('\n'), base.out.count('\n'));
}

}  // namespace
}  // namespace kestrova
