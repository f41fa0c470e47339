// Triage collections as evidence: where each layout puts its volume, every layout giving the
// records the folder it was made from gives, and hostile archives refused member by member with
// the reason, never written anywhere but the private temporary folder.
#include <QDirIterator>
#include <QProcess>
#include <QRegularExpression>
#include <QTimeZone>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "browsers/trace_volume.h"
#include "collections/collection_writer.h"
#include "mksample/sample_system.h"
#include "platform/system/collection_source.h"
#include "platform/volume/collection_layout.h"
#include "platform/volume/zip_volume.h"
#include "support/cli_run.h"
#include "support/image_fixture.h"

namespace kestrova {
namespace {

std::vector<QStringList> paths(std::initializer_list<const char*> list) {
    std::vector<QStringList> out;
    for (const char* p : list) out.push_back(QString::fromUtf8(p).split('/'));
    return out;
}

TEST(CollectionLayouts, TheVolumeIsFoundWhereItsTopFoldersLieWhateverTheCollectorNamedIt) {
    struct Case {
        const char* what;
        std::vector<QStringList> files;
        CollectionKind kind;
        QString name;
        QStringList prefixes;
        qint64 files_;
    };
    const Case cases[] = {
        {"a C: tree", paths({"Windows/System32/config/SYSTEM", "Users/bob/NTUSER.DAT", "readme.txt"}), CollectionKind::PlainTree, "C:", {""}, 3},
        {"KAPE", paths({"C/Windows/System32/config/SYSTEM", "C/$MFT", "C/$Extend/$J", "console.log"}), CollectionKind::Kape, "C:", {"C"}, 3},
        {"KAPE, encoded", paths({"out/C%3A/Users/bob/NTUSER.DAT"}), CollectionKind::Kape, "C:", {"out/C%3A"}, 1},
        // One volume through two accessors is one volume; a Windows folder copied under Temp is
        // inside it, not a volume of its own.
        {"Velociraptor", paths({"uploads/auto/C%3A/Users/bob/NTUSER.DAT", "uploads/ntfs/%5C%5C.%5CC%3A/Windows/System32/config/SAM",
                                "uploads/auto/C%3A/Temp/Windows/x.txt", "uploads.json"}),
         CollectionKind::Velociraptor, "C:", {"uploads/auto/C%3A", "uploads/ntfs/%5C%5C.%5CC%3A"}, 3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const auto layout = recogniseCollection(c.files);
        ASSERT_TRUE(layout);
        EXPECT_EQ(layout->kind, c.kind);
        ASSERT_FALSE(layout->volumes.empty());
        EXPECT_EQ(layout->volumes[0].name, c.name);
        EXPECT_EQ(layout->volumes[0].prefixes, c.prefixes);
        EXPECT_EQ(layout->volumes[0].files, c.files_);
    }
    // Shadow copies come after the volumes, by number; D: after C: though it has more files.
    const auto many = recogniseCollection(paths({
        "uploads/ntfs/%5C%5C%3F%5CGLOBALROOT%5CDevice%5CHarddiskVolumeShadowCopy2/Users/a/NTUSER.DAT",
        "uploads/ntfs/%5C%5C%3F%5CGLOBALROOT%5CDevice%5CHarddiskVolumeShadowCopy1/Users/a/NTUSER.DAT",
        "uploads/auto/D%3A/Users/x/1", "uploads/auto/D%3A/Users/x/2", "uploads/auto/C%3A/Users/a/NTUSER.DAT"}));
    ASSERT_TRUE(many);
    ASSERT_EQ(many->volumes.size(), 4u);
    EXPECT_EQ(many->volumes[0].name, "C:");
    EXPECT_EQ(many->volumes[1].name, "D:");
    EXPECT_EQ(many->volumes[2].store, 1);
    EXPECT_EQ(many->volumes[3].store, 2);
    EXPECT_FALSE(recogniseCollection(paths({"photos/a.jpg", "notes.txt"})));
}

// A ZIP that lies: names that climb out, a member claiming 4 GiB, one whose bytes fail their
// check, names in CP437 and UTF-8.
class HostileZip : public ::testing::Test {
protected:
    void SetUp() override {
        std::vector<tools::ZipMember> members{
            {.name = "Windows/System32/config/SYSTEM", .content = "not a hive"},
            {.name = "../../evil.txt", .content = "out"},
            {.name = "/etc/evil.txt", .content = "out"},
            {.name = "Users/bob/M\x84" "dchen.txt", .content = "cp437", .utf8 = false},
            {.name = "Users/bob/\xD0\xA4\xD0\xBE\xD1\x82\xD0\xBE.txt", .content = "utf-8"},
            {.name = "Users/bob/huge.bin", .content = QByteArray(2 << 20, 'x'), .claimedSize = 0xFFFFFFF0u},
            {.name = "Users/bob/damaged.txt", .content = "the bytes as written"},
        };
        QString why;
        ASSERT_TRUE(tools::writeZip(zip(), members, &why)) << why.toStdString();
        // The damaged member's content is altered after its CRC was written.
        QFile file(zip());
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        QByteArray bytes = file.readAll();
        const qsizetype at = bytes.indexOf("the bytes as written");
        ASSERT_GT(at, 0);
        bytes[at] = 'T';
        file.seek(0);
        file.write(bytes);
    }
    QString zip() const { return dir_.filePath("hostile.zip"); }
    QTemporaryDir dir_, temp_;
};

TEST_F(HostileZip, EveryLieIsRefusedWithItsReasonAndNamesAreReadInTheirEncoding) {
    QString why;
    const auto volume = ZipVolume::open(zip(), temp_.path(), &why);
    ASSERT_TRUE(volume) << why.toStdString();
    EXPECT_EQ(volume->refusedCount(), 2);
    EXPECT_TRUE(volume->refusedMembers().join(' ').contains("../../evil.txt: its name climbs out")) << volume->refusedMembers().join("\n").toStdString();
    QStringList names;
    for (const DirEntry& e : volume->list(QStringLiteral("C:\\Users\\bob"), nullptr)) names << e.name;
    EXPECT_EQ(names, (QStringList{"damaged.txt", "huge.bin", QString::fromUtf8("M\xC3\xA4" "dchen.txt"), QString::fromUtf8("\xD0\xA4\xD0\xBE\xD1\x82\xD0\xBE.txt")}));

    Findings findings;
    EXPECT_FALSE(volume->openFile(QStringLiteral("C:\\Users\\bob\\HUGE.BIN"), QStringLiteral("file"), &findings));
    EXPECT_FALSE(volume->openFile(QStringLiteral("C:\\Users\\bob\\damaged.txt"), QStringLiteral("file"), &findings));
    QString said;
    for (const Finding& f : findings.all()) said += f.text() + '\n';
    EXPECT_TRUE(said.contains("claims 4294967280 bytes from 2097152 stored (a ZIP bomb)")) << said.toStdString();
    EXPECT_TRUE(said.contains("damaged.txt does not inflate")) << said.toStdString();
    const auto good = volume->openFile(QString::fromUtf8("C:\\USERS\\BOB\\m\xC3\xA4" "dchen.txt"), QStringLiteral("file"), &findings);
    ASSERT_TRUE(good);
    EXPECT_EQ(good->readAll(), "cp437");

    // Nothing was written anywhere: members are taken out into memory.
    QStringList written;
    for (QDirIterator it(temp_.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories); it.hasNext();) written << it.next();
    EXPECT_TRUE(written.isEmpty()) << written.join("\n").toStdString();
    EXPECT_EQ(QDir(dir_.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries), QStringList{"hostile.zip"});
}

TEST_F(HostileZip, ACutCentralDirectoryOrNoVolumeIsSaidInOneLine) {
    QFile file(zip());
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(file.resize(file.size() - 30));
    file.close();
    const CollectionSource cut = openCollection(zip(), temp_.path());
    EXPECT_FALSE(cut.volume);
    EXPECT_TRUE(cut.problem.contains("cannot be read as a ZIP: ")) << cut.problem.toStdString();
    EXPECT_FALSE(cut.problem.contains('\n'));

    QString why;
    ASSERT_TRUE(tools::writeZip(dir_.filePath("photos.zip"), {{.name = "photos/a.jpg", .content = "x"}}, &why));
    const CliRun run = runCli({"--collection", dir_.filePath("photos.zip"), "info"});
    EXPECT_NE(run.exitCode, 0);
    EXPECT_TRUE(run.err.contains("holds no Windows volume")) << run.err.toStdString();
}

// The sample system, and the same tree as each collection layout.
class Collections : public ::testing::Test {
protected:
    void SetUp() override {
        QString error;
        ASSERT_TRUE(tools::writeSampleSystem(tree(), &error)) << error.toStdString();
        // Whole seconds, as every ZIP's times are kept to.
        const QDateTime when = QDateTime::fromSecsSinceEpoch(1790000000, QTimeZone::utc());
        for (QDirIterator it(tree(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories); it.hasNext();) {
            QFile f(it.next());
            ASSERT_TRUE(f.open(QIODevice::ReadWrite) && f.setFileTime(when, QFileDevice::FileModificationTime));
        }
    }
    QString tree() const { return dir_.filePath("tree"); }
    // Every record of every kind, and the classic rows, as JSON lines and rows.
    QString everything(const QStringList& evidence) {
        const CliRun traces = runCli(evidence + QStringList{"traces", "--format", "jsonl"});
        EXPECT_EQ(traces.exitCode, 0) << traces.err.toStdString();
        const CliRun rows = runCli(evidence + QStringList{"rows", "a1", "a3", "b3", "b8", "c1", "d1", "d3"});
        EXPECT_EQ(rows.exitCode, 0) << rows.err.toStdString();
        // A collection keeps each file's modified time (KAPE's copy, the ZIPs' extra fields);
        // the others are the copy's own.
        QStringList lines = traces.out.split('\n');
        static const QRegularExpression copyTimes(QStringLiteral("\"(created|accessed|changed)\":\"[^\"]*\",?"));
        for (QString& line : lines) {
            if (line.startsWith(QLatin1String("{\"kind\":\"file\","))) line.remove(copyTimes);
        }
        return lines.join('\n') + rows.out;
    }
    QTemporaryDir dir_;
};

TEST_F(Collections, EveryLayoutGivesTheRecordsOfTheFolderItWasMadeFrom) {
    const QString folder = everything({"--root", tree()});
    ASSERT_TRUE(folder.contains("\"kind\":\"browser.history\"")) << folder.left(2000).toStdString();
    QString why;
    ASSERT_TRUE(tools::writeCollection(tree(), dir_.filePath("kape"), tools::CollectionLayoutKind::Kape, &why)) << why.toStdString();
    ASSERT_TRUE(tools::writeCollection(tree(), dir_.filePath("velo.zip"), tools::CollectionLayoutKind::Velociraptor, &why)) << why.toStdString();
    ASSERT_TRUE(tools::writeCollection(tree(), dir_.filePath("velo-ntfs.zip"), tools::CollectionLayoutKind::Velociraptor, &why, "ntfs")) << why.toStdString();
    ASSERT_TRUE(tools::writeCollection(tree(), dir_.filePath("plain.zip"), tools::CollectionLayoutKind::PlainTree, &why)) << why.toStdString();
    // Info-ZIP's own archive: deflated members, times in its extended timestamp field.
    QString error;
    QProcess zip;
    zip.setWorkingDirectory(tree());
    zip.start("zip", {"-q", "-r", dir_.filePath("infozip.zip"), "."});
    ASSERT_TRUE(zip.waitForFinished(60000) && zip.exitCode() == 0) << zip.readAllStandardError().toStdString();

    for (const char* collection : {"kape", "velo.zip", "velo-ntfs.zip", "plain.zip", "infozip.zip"}) {
        SCOPED_TRACE(collection);
        const QString got = everything({"--collection", dir_.filePath(collection)});
        EXPECT_EQ(got.size(), folder.size());
        const QStringList a = folder.split('\n'), b = got.split('\n');
        for (qsizetype i = 0; i < std::min(a.size(), b.size()); ++i) {
            if (a[i] != b[i]) {
                ADD_FAILURE() << "line " << i << "\n  folder:     " << a[i].toStdString() << "\n  collection: " << b[i].toStdString();
                break;
            }
        }
    }
    const CliRun info = runCli({"--collection", dir_.filePath("velo.zip"), "info"});
    EXPECT_EQ(info.exitCode, 0) << info.err.toStdString();
    for (const char* line : {"collection: Velociraptor offline collection, a ZIP\n", "collected from: WKS-01\n", "collected at: 2026-11-20T10:00:00+00:00\n",
                             "volume C:: ", " files under uploads/auto/C%3A\n", "root: " }) {
        EXPECT_TRUE(info.out.contains(QString::fromUtf8(line))) << line << "\n" << info.out.toStdString();
    }
    EXPECT_TRUE(runCli({"--collection", dir_.filePath("kape"), "info"}).out.contains("collection: KAPE collection, a folder\n"));
}

TEST_F(Collections, AVelociraptorCollectionsShadowCopiesAreItsSnapshots) {
    // The shadow copy holds another tree: browser profiles the current volume no longer has.
    QString why;
    ASSERT_TRUE(tools::writeTraceVolume(dir_.filePath("earlier"), {}, nullptr, &why)) << why.toStdString();
    ASSERT_TRUE(tools::writeCollection(tree(), dir_.filePath("velo.zip"), tools::CollectionLayoutKind::Velociraptor, &why, "auto", "WKS-01",
                                       {dir_.filePath("earlier")}))
        << why.toStdString();
    const QString zip = dir_.filePath("velo.zip");
    const CliRun info = runCli({"--collection", zip, "info"});
    EXPECT_TRUE(info.out.contains("shadow copy 1: ")) << info.out.toStdString();
    EXPECT_TRUE(info.out.contains("under uploads/ntfs/%5C%5C%3F%5CGLOBALROOT%5CDevice%5CHarddiskVolumeShadowCopy1\n")) << info.out.toStdString();

    const CliRun current = runCli({"--collection", zip, "traces", "browser.history"});
    const CliRun states = runCli({"--collection", zip, "traces", "browser.history", "--snapshots", "all"});
    ASSERT_EQ(states.exitCode, 0) << states.err.toStdString();
    qsizetype gone = 0, now = 0;
    for (const QString& line : states.out.split('\n', Qt::SkipEmptyParts)) {
        const QJsonObject record = QJsonDocument::fromJson(line.toUtf8()).object();
        if (record["snapshot"] == "current") ++now;
        if (record["snapshot"] == "1" && record["snapshot_note"] == "gone from the current volume") ++gone;
    }
    EXPECT_EQ(now, current.out.count('\n'));
    EXPECT_GT(gone, 0);
    EXPECT_EQ(now + gone, states.out.count('\n'));
    // The classic rows too, from each state.
    const CliRun rows = runCli({"--collection", zip, "rows", "b3", "--snapshots", "all"});
    ASSERT_EQ(rows.exitCode, 0) << rows.err.toStdString();
    EXPECT_TRUE(rows.out.startsWith("key\tb3\ncolumns\tStart Menu Run History\tsnapshot\tseen_in\tsnapshot_note\nrow\t")) << rows.out.toStdString();
    const CliRun wrong = runCli({"--collection", zip, "traces", "--snapshots", "2"});
    EXPECT_EQ(wrong.exitCode, 2);
    EXPECT_TRUE(wrong.err.contains("no shadow copy 2")) << wrong.err.toStdString();
}

TEST_F(Collections, AKapeContainerIsReadThroughItsNtfs) {
    const QString missing = test::ntfsUnavailable();
    if (!missing.isEmpty()) GTEST_SKIP() << "NTFS fixtures need FUSE and ntfs-3g: " << missing.toStdString();
    QString why;
    ASSERT_TRUE(tools::writeCollection(tree(), dir_.filePath("kape"), tools::CollectionLayoutKind::Kape, &why)) << why.toStdString();
    // KAPE takes the volume's own $MFT beside its files: here, that of the tree on an NTFS of its own.
    ASSERT_TRUE(test::makeNtfs(dir_.filePath("windows.ntfs"), tree(), 48 << 20, "Windows", &why)) << why.toStdString();
    QProcess cat;
    cat.setStandardOutputFile(dir_.filePath("kape/C/$MFT"));
    cat.start("ntfscat", {dir_.filePath("windows.ntfs"), "$MFT"});
    ASSERT_TRUE(cat.waitForFinished(60000) && cat.exitCode() == 0) << cat.readAllStandardError().toStdString();
    const CliRun fromImage = runCli({"--image", dir_.filePath("windows.ntfs"), "traces", "file.mft"});
    const CliRun fromKape = runCli({"--collection", dir_.filePath("kape"), "traces", "file.mft"});
    ASSERT_EQ(fromKape.exitCode, 0) << fromKape.err.toStdString();
    EXPECT_GT(fromKape.out.count('\n'), 100);
    EXPECT_EQ(fromKape.out, fromImage.out);
    ASSERT_TRUE(test::makeNtfs(dir_.filePath("kape.ntfs"), dir_.filePath("kape"), 48 << 20, "KAPE", &why)) << why.toStdString();
    ASSERT_TRUE(test::runTool("qemu-img", {"convert", "-O", "vhdx", dir_.filePath("kape.ntfs"), dir_.filePath("kape.vhdx")}, &why)) << why.toStdString();
    const QString folder = everything({"--collection", dir_.filePath("kape")});
    const QString container = everything({"--collection", dir_.filePath("kape.vhdx")});
    EXPECT_EQ(container, folder);
    const CliRun info = runCli({"--collection", dir_.filePath("kape.vhdx"), "info"});
    EXPECT_TRUE(info.out.contains("collection: KAPE collection, a VHDX container\n")) << info.out.toStdString();
}

}  // namespace
}  // namespace kestrova
