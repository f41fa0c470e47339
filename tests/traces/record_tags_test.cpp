// The examiner's tags: kept in a case file of the examiner's own (never in the evidence), found
// again for the same record after the evidence is opened again, exported by traces --tags and
// timeline --tags (Timesketch's tag list), and listed by summary.
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "browsers/trace_volume.h"
#include "platform/system/volume_system.h"
#include "support/cli_run.h"
#include "traces/record_tags.h"
#include "traces/trace_context.h"

namespace kestrova {
namespace {

// Every record's identity and words, in the order read.
class Identities : public TraceSink {
public:
    bool record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) override {
        ids.push_back({recordIdentity(kind, from, values), recordWhat(kind, values)});
        return true;
    }
    std::vector<std::pair<QByteArray, QString>> ids;
};

std::vector<std::pair<QByteArray, QString>> identities(const QString& root, const char* kind) {
    QTemporaryDir temp;
    VolumeSystem system(root, QString());
    TraceContext context(system, temp.path());
    Identities got;
    runTraceKind(*findTraceKind(kind), context, got);
    return got.ids;
}

TEST(Tags, ATagIsKeptForTheSameRecordAndExportedEverywhere) {
    QTemporaryDir volume, data;
    QString error;
    ASSERT_TRUE(tools::writeTraceVolume(volume.path(), {}, nullptr, &error)) << error.toStdString();
    qputenv("XDG_DATA_HOME", data.path().toUtf8());
    const auto first = identities(volume.path(), "browser.history");
    ASSERT_GT(first.size(), 3u);
    // Read again, the records have the same identities.
    EXPECT_EQ(identities(volume.path(), "browser.history"), first);
    {
        auto file = CaseFile::open(volume.path(), &error);
        ASSERT_TRUE(file) << error.toStdString();
        EXPECT_TRUE(CaseFile::pathFor(volume.path()).startsWith(data.path() + "/kestrova/cases/"));
        ASSERT_TRUE(file->setTag(first[2].first, {"suspicious", "copied to the USB disk", "browser.history", first[2].second, 1793404800000000}, &error));
        ASSERT_TRUE(file->setTag(first[3].first, {"reviewed", "", "browser.history", first[3].second, 1793404800000000}, &error));
        ASSERT_TRUE(file->removeTag(first[3].first, &error));
    }
    const auto again = CaseFile::open(volume.path(), &error);  // the evidence opened again
    ASSERT_TRUE(again);
    ASSERT_EQ(again->tags().size(), 1u);
    EXPECT_EQ(again->tagOf(first[2].first)->note, "copied to the USB disk");
    qunsetenv("XDG_DATA_HOME");

    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("XDG_DATA_HOME", data.path());
    const CliRun csv = runCli({"--root", volume.path(), "traces", "browser.history", "--tags", "--format", "csv"}, env);
    ASSERT_EQ(csv.exitCode, 0) << csv.err.toStdString();
    QStringList lines = csv.out.split('\n', Qt::SkipEmptyParts);
    EXPECT_TRUE(lines.takeFirst().endsWith(",source,source_part,tag"));
    EXPECT_EQ(lines.filter(",suspicious: copied to the USB disk").size(), 1);
    EXPECT_EQ(lines.size(), static_cast<int>(first.size()));
    // Without --tags the output is as it always was.
    const CliRun plain = runCli({"--root", volume.path(), "traces", "browser.history", "--format", "csv"}, env);
    EXPECT_TRUE(plain.out.section('\n', 0, 0).endsWith(",source,source_part"));

    const CliRun timeline = runCli({"--root", volume.path(), "timeline", "--kinds", "browser.history", "--tags"}, env);
    ASSERT_EQ(timeline.exitCode, 0) << timeline.err.toStdString();
    int tagged = 0;
    for (const QString& line : timeline.out.split('\n', Qt::SkipEmptyParts)) {
        const QJsonObject event = QJsonDocument::fromJson(line.toUtf8()).object();
        if (!event.contains("tag")) continue;
        ++tagged;
        EXPECT_EQ(event["tag"].toArray(), QJsonArray({"suspicious"}));
        EXPECT_EQ(event["tag_note"].toString(), "copied to the USB disk");
    }
    EXPECT_EQ(tagged, 1);  // a visit has one time: one event

    const CliRun summary = runCli({"--root", volume.path(), "summary", "--format", "json"}, env);
    const QJsonArray list = QJsonDocument::fromJson(summary.out.toUtf8()).object()["tagged"].toArray();
    ASSERT_EQ(list.size(), 1);
    EXPECT_EQ(list[0].toObject()["label"].toString(), "suspicious");
    EXPECT_EQ(list[0].toObject()["what"].toString(), first[2].second);
}

}  // namespace
}  // namespace kestrova
