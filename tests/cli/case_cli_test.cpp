// Several hosts in one case: every record carries its host, the merged timeline is in one time
// order, -o DIR/ gives a file a host, --case finds every host in a folder, and one host alone
// reads as it always has.
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "browsers/trace_volume.h"
#include "collections/collection_writer.h"
#include "mksample/sample_system.h"
#include "support/cli_run.h"

namespace kestrova {
namespace {

std::vector<QJsonObject> objects(const QString& lines) {
    std::vector<QJsonObject> out;
    for (const QString& line : lines.split('\n', Qt::SkipEmptyParts)) out.push_back(QJsonDocument::fromJson(line.toUtf8()).object());
    return out;
}

// The sample system (its SYSTEM hive names it KESTROVA-SAMPLE) and a volume of many browser
// profiles without a SYSTEM hive (named by its folder, "profiles").
class CaseCli : public ::testing::Test {
protected:
    void SetUp() override {
        QString error;
        ASSERT_TRUE(tools::writeSampleSystem(dir_.filePath("case/sample"), &error)) << error.toStdString();
        ASSERT_TRUE(tools::writeTraceVolume(dir_.filePath("case/profiles"), {}, nullptr, &error)) << error.toStdString();
    }
    QStringList both() const { return {"--root", dir_.filePath("case/sample"), "--root", dir_.filePath("case/profiles")}; }
    QTemporaryDir dir_;
};

TEST_F(CaseCli, EveryRecordAndEventCarriesItsHostAndTheTimelineIsOneTimeOrder) {
    const CliRun sample = runCli({"--root", dir_.filePath("case/sample"), "traces", "browser.history"});
    const CliRun profiles = runCli({"--root", dir_.filePath("case/profiles"), "traces", "browser.history"});
    ASSERT_EQ(sample.exitCode, 0) << sample.err.toStdString();
    EXPECT_FALSE(sample.out.contains("\"host\":")) << "one host reads as it always has";
    const CliRun merged = runCli(both() + QStringList{"traces", "browser.history"});
    ASSERT_EQ(merged.exitCode, 0) << merged.err.toStdString();
    std::map<QString, int> byHost;
    for (const QJsonObject& record : objects(merged.out)) ++byHost[record["host"].toString()];
    EXPECT_EQ(byHost["KESTROVA-SAMPLE"], objects(sample.out).size());
    EXPECT_EQ(byHost["profiles"], objects(profiles.out).size());
    EXPECT_EQ(byHost.size(), 2u);

    const CliRun timeline = runCli(both() + QStringList{"timeline", "--format", "jsonl"});
    ASSERT_EQ(timeline.exitCode, 0) << timeline.err.toStdString();
    const auto events = objects(timeline.out);
    ASSERT_GT(events.size(), 100u);
    std::set<QString> hosts;
    for (size_t i = 0; i < events.size(); ++i) {
        hosts.insert(events[i]["host"].toString());
        EXPECT_EQ(events[i]["hostname"], events[i]["host"]);
        if (i > 0) {
            ASSERT_LE(events[i - 1]["timestamp"].toDouble(), events[i]["timestamp"].toDouble()) << "event " << i;
        }
    }
    EXPECT_EQ(hosts, (std::set<QString>{"KESTROVA-SAMPLE", "profiles"}));
    // CSV: one table a kind, the host first after the kind's provenance starts.
    const CliRun csv = runCli(both() + QStringList{"traces", "browser.history", "--format", "csv"});
    EXPECT_TRUE(csv.out.startsWith("host,user,browser,profile,visit_time,")) << csv.out.left(200).toStdString();
    EXPECT_EQ(csv.out.count("host,user,browser,profile,visit_time,"), 1);
}

TEST_F(CaseCli, AFolderOfHostsGivesAFileAHostAndSummariesASectionAHost) {
    QString why;
    ASSERT_TRUE(tools::writeCollection(dir_.filePath("case/sample"), dir_.filePath("case/WKS-02.zip"), tools::CollectionLayoutKind::Velociraptor, &why))
        << why.toStdString();
    const QString out = dir_.filePath("out") + "/";
    const CliRun run = runCli({"--case", dir_.filePath("case"), "timeline", "--format", "jsonl", "-o", out});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    // Two copies of one computer are told apart by their evidence.
    QStringList files = QDir(out).entryList(QDir::Files);
    files.sort();
    EXPECT_EQ(files, (QStringList{"KESTROVA-SAMPLE (WKS-02.zip).jsonl", "KESTROVA-SAMPLE (sample).jsonl", "profiles.jsonl"}));
    QFile zip(out + "KESTROVA-SAMPLE (WKS-02.zip).jsonl"), folder(out + "KESTROVA-SAMPLE (sample).jsonl");
    ASSERT_TRUE(zip.open(QIODevice::ReadOnly) && folder.open(QIODevice::ReadOnly));
    // The same events but the file kind's: a ZIP keeps no entry-changed time.
    const auto events = [](QFile& file) {
        QByteArray all = file.readAll();
        qsizetype n = 0;
        for (const QByteArray& line : all.split('\n')) n += !line.isEmpty() && !line.contains("\"kind\":\"file\"");
        return std::pair{all, n};
    };
    const auto [fromZip, zipEvents] = events(zip);
    const auto [fromFolder, folderEvents] = events(folder);
    EXPECT_EQ(zipEvents, folderEvents);
    EXPECT_GT(zipEvents, 50);
    EXPECT_TRUE(fromZip.contains("\"host\":\"KESTROVA-SAMPLE (WKS-02.zip)\""));

    const CliRun summary = runCli({"--case", dir_.filePath("case"), "summary"});
    ASSERT_EQ(summary.exitCode, 0) << summary.err.toStdString();
    EXPECT_EQ(summary.out.count("== host "), 3) << summary.out.toStdString();
    EXPECT_TRUE(summary.out.startsWith("== host KESTROVA-SAMPLE (WKS-02.zip) ==\n")) << summary.out.left(300).toStdString();
    const CliRun json = runCli({"--case", dir_.filePath("case"), "summary", "--format", "json"});
    EXPECT_EQ(json.exitCode, 2);
    EXPECT_TRUE(json.err.contains("-o DIR/")) << json.err.toStdString();

    const CliRun info = runCli({"--case", dir_.filePath("case"), "info"});
    EXPECT_EQ(info.out.count("\nhost: ") + (info.out.startsWith("host: ") ? 1 : 0), 3) << info.out.toStdString();
    const CliRun none = runCli({"--case", dir_.filePath("out"), "traces"});
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_TRUE(none.err.contains("holds no disk image, ZIP or collection folder")) << none.err.toStdString();
}

}  // namespace
}  // namespace kestrova
