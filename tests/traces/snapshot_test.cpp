// Shadow copies: the real two-store volume of ../shared/realdata (its stores as vshadowinfo lists
// them, each served as the volume it keeps), every record written once with the states it was
// seen in, and a store list that lies. The merge on its own: duplicates within one state stay,
// a record of several states is written once, and records kept on disk come back in order.
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "platform/system/image_source.h"
#include "support/cli_run.h"
#include "support/image_fixture.h"
#include "support/temp_volume.h"
#include "support/trace_collector.h"
#include "traces/state_merge.h"

namespace kestrova {
namespace {

using test::TraceRecord;

// --- the merge ------------------------------------------------------------------------------------

struct Fed {
    size_t state;
    QByteArray source;
    QByteArray text;
};

std::vector<TraceRecord> merged(const std::vector<Fed>& fed, size_t states, const std::vector<size_t>& sameAsCurrent = {}) {
    QTemporaryDir temp;
    std::vector<StateMerge::StateName> names{{"current", "current"}};
    for (size_t i = 1; i < states; ++i) names.push_back({QByteArray::number(qulonglong(i)), QByteArray::number(qulonglong(i)) + " (then)"});
    StateMerge merge(temp.path(), names);
    const TraceKind& kind = *findTraceKind("windows.recyclebin");
    for (const Fed& f : fed) {
        merge.setState(f.state);
        std::vector<Value> values(kind.fields.size());
        values[0] = Value::text(f.text);
        EXPECT_TRUE(merge.record(kind, Provenance{{}, {}, {}, f.source, {}}, values));
    }
    for (const size_t s : sameAsCurrent) merge.sameAsCurrent(s);
    test::TraceCollector out;
    EXPECT_TRUE(merge.flush(out)) << merge.why().toStdString();
    EXPECT_EQ(merge.written(), static_cast<qint64>(out.records.size()));
    return out.records;
}

TEST(StateMerge, EachRecordIsWrittenOnceNamingTheStatesItWasSeenIn) {
    const auto records = merged({{0, "C:\\a", "kept"},
                                 {0, "C:\\a", "kept"},  // twice in one state: two records
                                 {0, "C:\\b", "changed later"},
                                 {1, "C:\\a", "kept"},
                                 {1, "C:\\b", "as it was"},
                                 {2, "C:\\b", "as it was"},
                                 {2, "C:\\c", "deleted since"}},
                                3);
    ASSERT_EQ(records.size(), 5u);
    EXPECT_EQ(records[0]["seen_in"], "current, 1");
    EXPECT_EQ(records[0]["snapshot"], "current");
    EXPECT_EQ(records[1]["seen_in"], "current, 1");
    EXPECT_EQ(records[2]["seen_in"], "current");
    EXPECT_EQ(records[3]["snapshot"], "1 (then)");
    EXPECT_EQ(records[3]["seen_in"], "1, 2");
    EXPECT_EQ(records[3]["snapshot_note"], "gone from the current volume");
    EXPECT_EQ(records[4]["source"], "C:\\c");
    EXPECT_EQ(records[4]["seen_in"], "2");
    EXPECT_EQ(records[2]["snapshot_note"], "");

    // The same text from another file is another record.
    EXPECT_EQ(merged({{0, "C:\\a", "x"}, {1, "C:\\b", "x"}}, 2).size(), 2u);
    // A state recognised unchanged holds every current record.
    const auto unchanged = merged({{0, "C:\\a", "x"}, {0, "C:\\b", "y"}}, 3, {2});
    ASSERT_EQ(unchanged.size(), 2u);
    EXPECT_EQ(unchanged[1]["seen_in"], "current, 2");
}

TEST(StateMerge, RecordsKeptOnDiskComeBackInTheOrderRead) {
    std::vector<Fed> fed;
    const QByteArray filler(200, 'f');
    for (int i = 0; i < 20000; ++i) fed.push_back({static_cast<size_t>(i % 2), "C:\\" + QByteArray::number(i), filler});
    const auto records = merged(fed, 2);
    ASSERT_EQ(records.size(), fed.size());
    for (size_t i = 0; i < records.size(); i += 997) {
        EXPECT_EQ(records[i]["source"], QString::fromUtf8(fed[i].source));
        EXPECT_EQ(records[i]["seen_in"], i % 2 ? "1" : "current");
    }
}

TEST(StateMerge, TheShadowCopiesNamedAreCheckedAgainstThoseTheVolumeHas) {
    std::vector<ShadowStore> stores(3);
    for (int i = 0; i < 3; ++i) stores[static_cast<size_t>(i)].number = i + 1;
    QString why;
    EXPECT_EQ(chosenStores("all", stores, &why), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(chosenStores("none", stores, &why), std::vector<int>{});
    EXPECT_EQ(chosenStores("3,1,3", stores, &why), (std::vector<int>{3, 1}));
    EXPECT_FALSE(chosenStores("4", stores, &why));
    EXPECT_FALSE(chosenStores("1-2", stores, &why));
    EXPECT_TRUE(why.contains("not \"1-2\"")) << why.toStdString();
    // A crafted catalog may list more stores than a merge can tell apart.
    std::vector<ShadowStore> many(kMostStores + 1);
    for (size_t i = 0; i < many.size(); ++i) many[i].number = static_cast<int>(i + 1);
    EXPECT_FALSE(chosenStores("all", many, &why));
    EXPECT_TRUE(why.contains("at most 64")) << why.toStdString();
}

// --- the real shadow-copy volume -------------------------------------------------------------------

// The volume's stores as vshadowinfo lists them: "identifier" and "creation time" by store.
QStringList vshadowinfo(const QString& qcow, const QTemporaryDir& temp) {
    const QString raw = temp.filePath("volume.raw");
    if (QProcess::execute("qemu-img", {"convert", "-O", "raw", qcow, raw}) != 0) return {};
    QProcess info;
    info.start("vshadowinfo", {raw});
    info.waitForFinished(60000);
    QStringList stores;
    const QString out = QString::fromUtf8(info.readAllStandardOutput());
    static const QRegularExpression kIdentifier(QStringLiteral("\\tIdentifier\\s+: (\\S+)"));
    for (auto it = kIdentifier.globalMatch(out); it.hasNext();) stores << it.next().captured(1).toUpper();
    return stores;
}

TEST(ShadowCopies, TheRealStoresAreListedAndEachServesTheVolumeAsItWas) {
    REALDATA_OR_SKIP(image, "vss/vsstest.qcow2");
    const CliRun info = runCli({"--image", image, "--partition", "1", "info"});
    EXPECT_TRUE(info.out.contains("shadow copy 1: {600F0B69-5BDF-11E3-9D6C-005056C00008}, created 2013-12-03T06:35:09.736378+00:00"))
        << info.out.toStdString();
    EXPECT_TRUE(info.out.contains("shadow copy 2: {600F0B6D-5BDF-11E3-9D6C-005056C00008}, created 2013-12-03T06:37:48.919058+00:00"))
        << info.out.toStdString();
    QTemporaryDir temp;
    const QStringList reference = vshadowinfo(image, temp);
    if (!reference.isEmpty()) {
        EXPECT_EQ(reference, QStringList({"600F0B69-5BDF-11E3-9D6C-005056C00008", "600F0B6D-5BDF-11E3-9D6C-005056C00008"}));
    }

    // The file the first copy keeps and the current volume no longer has, and the reverse.
    const ImageSource first = openImageSource(image, 1, temp.path(), 1);
    ASSERT_TRUE(first.volume) << first.problem.toStdString();
    const ImageSource now = openImageSource(image, 1, temp.path());
    ASSERT_TRUE(now.volume) << now.problem.toStdString();
    EXPECT_TRUE(first.volume->exists("C:\\syslog"));
    EXPECT_FALSE(now.volume->exists("C:\\syslog"));
    EXPECT_FALSE(first.volume->exists("C:\\password.txt"));
    EXPECT_EQ(now.volume->fileSize("C:\\password.txt"), 116);
    const auto syslog = first.volume->openFile("C:\\syslog", "file", nullptr);
    ASSERT_TRUE(syslog);
    EXPECT_EQ(syslog->size(), first.volume->fileSize("C:\\syslog").value_or(-1));
    EXPECT_GT(syslog->size(), 0);

    const ImageSource none = openImageSource(image, 1, temp.path(), 3);
    EXPECT_FALSE(none.volume);
    EXPECT_TRUE(none.problem.contains("no shadow copy 3 (it has 2)")) << none.problem.toStdString();
}

TEST(ShadowCopies, EveryStateIsReadAndEachRecordWrittenOnce) {
    REALDATA_OR_SKIP(image, "vss/vsstest.qcow2");
    const CliRun run = runCli({"--image", image, "--partition", "1", "traces", "file.mft", "--snapshots", "all", "--format", "csv", "--verbose"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    QStringList lines = run.out.split('\n', Qt::SkipEmptyParts);
    ASSERT_FALSE(lines.isEmpty());
    EXPECT_TRUE(lines.takeFirst().endsWith("source,source_part,snapshot,seen_in,snapshot_note"));
    EXPECT_EQ(lines.size(), QSet<QString>(lines.begin(), lines.end()).size()) << "a record written twice";
    const auto line = [&](const QString& part) {
        for (const QString& l : lines) {
            if (l.contains(part)) return l;
        }
        return QString();
    };
    // Deleted before the second copy was taken: only the first keeps it.
    EXPECT_TRUE(line("C:\\syslog,").endsWith(",1 (2013-12-03T06:35:09+00:00),1,gone from the current volume")) << line("C:\\syslog,").toStdString();
    // Written after both copies were taken.
    EXPECT_TRUE(line("C:\\password.txt").endsWith(",current,current,")) << line("C:\\password.txt").toStdString();
    // The table itself changed between the states: read in every one of them.
    EXPECT_TRUE(run.err.contains("1 (2013-12-03T06:35:09+00:00): 256 records read")) << run.err.toStdString();

    // A kind whose files are the same in every state is read once.
    const CliRun recycle = runCli({"--image", image, "--partition", "1", "traces", "windows.recyclebin", "--snapshots", "2", "--verbose"});
    EXPECT_TRUE(recycle.err.contains("every file it reads is as in the current volume: not read again")) << recycle.err.toStdString();

    const CliRun wrong = runCli({"--image", image, "--partition", "1", "traces", "file.mft", "--snapshots", "3"});
    EXPECT_EQ(wrong.exitCode, 2);
    EXPECT_TRUE(wrong.err.contains("no shadow copy 3 (it has 2")) << wrong.err.toStdString();
    const CliRun folder = runCli({"--root", test::realData("vss"), "traces", "--snapshots", "all"});
    EXPECT_EQ(folder.exitCode, 2);
    EXPECT_TRUE(folder.err.contains("name the image with --image")) << folder.err.toStdString();
}

TEST(ShadowCopies, AStoreListPointingPastTheVolumeIsSaid) {
    REALDATA_OR_SKIP(image, "vss/vsstest.qcow2");
    QTemporaryDir temp;
    const QString raw = temp.filePath("lying.raw");
    ASSERT_EQ(QProcess::execute("qemu-img", {"convert", "-O", "raw", image, raw}), 0);
    QFile file(raw);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    // The catalog's offset in the shadow copy volume header at 0x1E00: past the volume's end.
    file.seek(0x1E30);
    file.write(QByteArray::fromHex("000000007f000000"));
    file.close();
    const CliRun info = runCli({"--image", raw, "--partition", "1", "info"});
    EXPECT_TRUE(info.out.contains("shadow copies: its shadow copies cannot be read")) << info.out.toStdString();
    EXPECT_TRUE(info.out.contains("partition 1: none")) << info.out.toStdString();
}

// The classic categories over the states: the shared volume gets the sample system through
// ntfs-3g after its copies were taken, so its rows are the current volume's alone, each once, with
// the three columns of the states; without --snapshots the rows are as they always were.
TEST(ShadowCopies, ClassicRowsComeOnceWithTheStatesTheyWereSeenIn) {
    REALDATA_OR_SKIP(vss, "vss/vsstest.qcow2");
    const QString missing = test::ntfsUnavailable();
    if (!missing.isEmpty()) GTEST_SKIP() << missing.toStdString();
    QTemporaryDir dir;
    const QString image = dir.filePath("vss.raw");
    QString error;
    ASSERT_TRUE(test::runTool("qemu-img", {"convert", "-O", "raw", vss, image}, &error)) << error.toStdString();
    {
        test::NtfsMount mount(image, false, &error);
        ASSERT_TRUE(mount.mounted()) << error.toStdString();
        ASSERT_TRUE(test::runTool("cp", {"-a", QStringLiteral(KESTROVA_BIN_DIR) + "/sample/.", mount.path()}, &error)) << error.toStdString();
    }
    const CliRun plain = runCli({"--image", image, "rows", "b3"});
    ASSERT_EQ(plain.exitCode, 0) << plain.err.toStdString();
    EXPECT_TRUE(plain.out.startsWith("key\tb3\ncolumns\tStart Menu Run History\nrow\tcmd\n")) << plain.out.toStdString();
    const CliRun states = runCli({"--image", image, "rows", "b3", "b1", "--snapshots", "all"});
    ASSERT_EQ(states.exitCode, 0) << states.err.toStdString();
    EXPECT_TRUE(states.out.startsWith("key\tb3\ncolumns\tStart Menu Run History\tsnapshot\tseen_in\tsnapshot_note\nrow\tcmd\tcurrent\tcurrent\t\n"))
        << states.out.toStdString();
    EXPECT_EQ(states.out.count("\nrow\t"), plain.out.count("\nrow\t") + 5);  // b1's five documents, b3's three runs: none twice
    EXPECT_TRUE(states.out.contains("panel2\tTotal Records: 3\n"));
    const CliRun wrong = runCli({"--image", image, "rows", "b3", "--snapshots", "3"});
    EXPECT_EQ(wrong.exitCode, 2);
    EXPECT_TRUE(wrong.err.contains("no shadow copy 3 (it has 2")) << wrong.err.toStdString();
}

}  // namespace
}  // namespace kestrova
