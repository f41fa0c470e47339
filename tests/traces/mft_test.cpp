// The MFT: our entry reader against libfsntfs's on NIST's real $MFT (154 entries, 117 in use, 37
// never written) and on a volume ntfs-3g wrote here, with files renamed and deleted (and against
// fls where sleuthkit is installed); crafted entries for what the samples lack: deleted and
// orphaned entries, an extension entry holding its base's content, and entries whose update
// sequence or attribute lengths lie.
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtEndian>
#include <gtest/gtest.h>

#include "core/time/iso_time.h"
#include "platform/system/image_source.h"
#include "platform/system/volume_system.h"
#include "support/image_fixture.h"
#include "support/mft_fixture.h"
#include "support/mft_reference.h"
#include "support/temp_volume.h"
#include "support/trace_collector.h"

namespace kestrova {
namespace {

using test::TraceRecord;

test::KindRead readMft(const QByteArray& bytes, const char* kind = "file.mft") {
    test::TempVolume volume;
    volume.file("$MFT", bytes);
    return test::readKind(*volume.open(), kind);
}

const TraceRecord* entry(const std::vector<TraceRecord>& records, int number) {
    for (const TraceRecord& r : records) {
        if (r["entry"] == QString::number(number)) return &r;
    }
    return nullptr;
}

QString timeText(uint64_t filetime) {
    static IsoTimeWriter writer;
    return filetime ? writer.text(*utc::fromFileTime(filetime)) : QString();
}

// Every record equals libfsntfs's reading of its entry, field by field; the path is checked
// through the parent libfsntfs names.
void expectAsLibfsntfs(const std::vector<TraceRecord>& records, const QString& mftFile) {
    QString why;
    const auto reference = test::referenceMft(mftFile, &why);
    ASSERT_TRUE(reference) << why.toStdString();
    ASSERT_EQ(records.size(), reference->size());
    const char* siNames[] = {"si_created", "si_modified", "si_accessed", "si_changed"};
    const char* fnNames[] = {"fn_created", "fn_modified", "fn_accessed", "fn_changed"};
    for (const TraceRecord& r : records) {
        const uint64_t index = r["entry"].toULongLong();
        const auto found = reference->find(index);
        ASSERT_NE(found, reference->end()) << index;
        const test::ReferenceEntry& e = found->second;
        SCOPED_TRACE(QStringLiteral("entry %1 %2").arg(index).arg(r["path"]).toStdString());
        EXPECT_EQ(r["sequence"].toInt(), e.sequence);
        EXPECT_EQ(r["in_use"] == "1", e.inUse);
        EXPECT_EQ(r["folder"] == "1", e.folder);
        EXPECT_EQ(r["size"].toULongLong(), e.size);
        EXPECT_EQ(r["data_streams"].toInt(), e.dataStreams);
        for (int t = 0; t < 4; ++t) EXPECT_EQ(r[siNames[t]], timeText(e.siTimes[t])) << siNames[t];
        if (e.names.isEmpty()) {
            EXPECT_TRUE(r["path"].isEmpty());
            continue;
        }
        for (int t = 0; t < 4; ++t) EXPECT_EQ(r[fnNames[t]], timeText(e.fnTimes[t])) << fnNames[t];
        QStringList names = e.names;
        std::stable_sort(names.begin(), names.end(), [](const QString& a, const QString& b) { return a.size() > b.size(); });
        if (index != 5) {
            EXPECT_TRUE(r["path"].endsWith(QLatin1Char('\\') + names.front()));
        }
        if (names.size() > 1) {
            EXPECT_EQ(r["names"], names.join(", "));
        }
        const auto parent = reference->find(e.parent);
        if (index != 5 && e.parent != 5 && parent != reference->end() && parent->second.sequence == e.parentSequence) {
            const TraceRecord* p = entry(records, static_cast<int>(e.parent));
            ASSERT_NE(p, nullptr);
            EXPECT_EQ(r["path"], (*p)["path"] + QLatin1Char('\\') + names.front());
        }
    }
}

TEST(Mft, EveryEntryOfARealMftAsLibfsntfsReadsIt) {
    REALDATA_OR_SKIP(path, "filesystem/nist-dfr-16/$MFT");
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    const test::KindRead read = readMft(f.readAll());
    ASSERT_EQ(read.records.size(), 117u) << read.findings.join("\n").toStdString();
    EXPECT_TRUE(read.findings.isEmpty()) << read.findings.join("\n").toStdString();
    expectAsLibfsntfs(read.records, path);
    EXPECT_TRUE(std::all_of(read.records.begin(), read.records.end(), [](const TraceRecord& r) { return r["in_use"] == "1"; }));
    EXPECT_TRUE(std::none_of(read.records.begin(), read.records.end(), [](const TraceRecord& r) { return r["path"].contains("$OrphanFiles"); }));
    EXPECT_EQ((*entry(read.records, 5))["path"], "C:\\");
    EXPECT_EQ((*entry(read.records, 0))["path"], "C:\\$MFT");
    const TraceRecord* deep = entry(read.records, 99);
    ASSERT_NE(deep, nullptr);
    EXPECT_EQ((*deep)["path"], "C:\\Y08\\Y08L01\\Y08L02\\Y08L03\\Y08L04\\Y08L05\\Y08L06\\Y08L07");
    EXPECT_EQ((*deep)["si_created"], "2012-02-06T16:15:30.601524+00:00");
    EXPECT_EQ((*deep)["si_before_fn"], "0");
    EXPECT_EQ((*entry(read.records, 33))["names"], "$TxfLogContainer00000000000000000001, $TXFLO~1");
    EXPECT_EQ(std::count_if(read.records.begin(), read.records.end(), [](const TraceRecord& r) { return r["path"].endsWith(".TXT"); }), 45);
}

// -- crafted entries ----------------------------------------------------------------------------

using test::craft;
using test::craftedTable;

TEST(Mft, DeletedAndOrphanedEntriesAndAnExtensionsContent) {
    constexpr uint64_t kSecond = 10000000, kDay = 864000000000;
    const uint64_t when = 130000000000000000ull;
    const QByteArray bytes = craftedTable({
        craft({.sequence = 2, .folder = true, .name = "Docs"}),                                              // 6
        craft({.sequence = 3, .inUse = false, .name = "gone.txt", .parent = 6, .parentSequence = 2,         // 7
               .siCreated = when - kDay, .fnCreated = when + 1234, .dataSize = 4096}),
        craft({.sequence = 9, .inUse = false, .name = "lost.txt", .parent = 6, .parentSequence = 1}),        // 8: Docs was reused since
        craft({.sequence = 4, .name = "big.iso", .parent = 6, .parentSequence = 2, .siCreated = 20 * kSecond, .fnCreated = 20 * kSecond + 5}),  // 9
        craft({.sequence = 1, .dataSize = 3'000'000'000ull, .base = 9 | (uint64_t{4} << 48), .withStandardInformation = false}),  // 10
    });
    const test::KindRead read = readMft(bytes);
    EXPECT_TRUE(read.findings.isEmpty()) << read.findings.join("\n").toStdString();
    ASSERT_EQ(read.records.size(), 7u);  // the four empty entries are no records
    const TraceRecord* gone = entry(read.records, 7);
    ASSERT_NE(gone, nullptr);
    EXPECT_EQ((*gone)["path"], "C:\\Docs\\gone.txt");
    EXPECT_EQ((*gone)["in_use"], "0");
    EXPECT_EQ((*gone)["size"], "4096");
    EXPECT_EQ((*gone)["si_before_fn"], "1");  // created a day before its $FILE_NAME says
    EXPECT_EQ((*entry(read.records, 8))["path"], "C:\\$OrphanFiles\\lost.txt");
    const TraceRecord* big = entry(read.records, 9);
    EXPECT_EQ((*big)["size"], "3000000000");  // from its extension entry
    EXPECT_EQ((*big)["data_streams"], "1");
    EXPECT_EQ((*big)["si_before_fn"], "1");   // whole seconds where $FILE_NAME has a fraction
    EXPECT_EQ((*entry(read.records, 6))["folder"], "1");

    // Deleted entries come out of `file` too, marked so; entries in use do not.
    const test::KindRead files = readMft(bytes, "file");
    std::vector<TraceRecord> deleted;
    std::copy_if(files.records.begin(), files.records.end(), std::back_inserter(deleted), [](const TraceRecord& r) { return r["deleted"] == "1"; });
    ASSERT_EQ(deleted.size(), 2u);
    EXPECT_EQ(deleted[0]["path"], "C:\\Docs\\gone.txt");
    EXPECT_EQ(deleted[0]["evidence"], "deleted file (MFT entry 7)");
    EXPECT_EQ(deleted[0]["created"], timeText(when - kDay));
    EXPECT_EQ(deleted[1]["path"], "C:\\$OrphanFiles\\lost.txt");
}

TEST(Mft, EntriesThatLieAreSaidAndPassedOver) {
    QByteArray tornFixup = craft({.name = "torn.txt"});
    tornFixup[511] = 0x55;  // the end of the first 512 bytes no longer holds the sequence value
    QByteArray longAttribute = craft({.name = "long.txt"});
    qToLittleEndian<quint32>(0x7FFFFFF0, longAttribute.data() + 56 + 4);
    QByteArray wideName = craft({.name = "wide.txt"});
    wideName[56 + 96 + 24 + 64] = char(200);  // the name's length runs past the attribute
    QByteArray baad = craft({.name = "baad.txt"});
    baad.replace(0, 4, "BAAD");
    const QByteArray bytes = craftedTable({tornFixup, longAttribute, wideName, baad, craft({.name = "fine.txt"})}) + QByteArray(100, 'x');
    const test::KindRead read = readMft(bytes);
    ASSERT_EQ(read.records.size(), 3u);  // $MFT, the root, fine.txt
    EXPECT_EQ(read.records.back()["path"], "C:\\fine.txt");
    const QString all = read.findings.join("\n");
    EXPECT_TRUE(all.contains("$MFT: 4 of its 11 entries are damaged and not read (the first: entry 6: its update sequence does not match at byte 510"))
        << all.toStdString();
    EXPECT_TRUE(all.contains("it ends 100 bytes into an entry of 1024")) << all.toStdString();

    // A table copied through a file system driver holds its entries with the update sequence
    // applied: read as they lie and said, while a torn entry among raw ones stays damaged.
    QByteArray applied = craft({.name = "applied.txt"});
    for (int i = 1; i <= 2; ++i) std::memcpy(applied.data() + i * 512 - 2, applied.constData() + 48 + i * 2, 2);
    const test::KindRead copied = readMft(craftedTable({applied, craft({.name = "fine.txt"})}));
    ASSERT_EQ(copied.records.size(), 4u) << copied.findings.join("\n").toStdString();
    EXPECT_EQ(copied.records[2]["path"], "C:\\applied.txt");
    EXPECT_TRUE(copied.findings.join("\n").contains("$MFT: 1 of its entries were copied with their update sequence applied"))
        << copied.findings.join("\n").toStdString();

    const test::KindRead garbage = readMft(QByteArray(8192, 'G'));
    EXPECT_TRUE(garbage.records.empty());
    EXPECT_EQ(garbage.findings.filter("$MFT: not an MFT").size(), 1) << garbage.findings.join("\n").toStdString();
}

// -- a volume written by ntfs-3g ------------------------------------------------------------------

TEST(Mft, AVolumeNtfs3gWroteAsLibfsntfsAndFlsReadIt) {
    const QString missing = test::ntfsUnavailable();
    if (!missing.isEmpty()) GTEST_SKIP() << missing.toStdString();
    QTemporaryDir dir;
    const QString image = dir.filePath("volume.ntfs");
    QString error;
    ASSERT_TRUE(test::makeNtfs(image, QString(), 16 << 20, "Data", &error)) << error.toStdString();
    {
        test::NtfsMount mount(image, false, &error);
        ASSERT_TRUE(mount.mounted()) << error.toStdString();
        const QString root = mount.path();
        QDir().mkpath(root + "/Users/alice/Documents");
        for (int i = 0; i < 40; ++i) {
            QFile f(root + QStringLiteral("/Users/alice/Documents/note%1.txt").arg(i));
            ASSERT_TRUE(f.open(QIODevice::WriteOnly));
            f.write(QByteArray(i * 100, 'n'));
        }
        QFile::rename(root + "/Users/alice/Documents/note1.txt", root + "/Users/alice/renamed.txt");
        for (int i = 30; i < 40; ++i) QFile::remove(root + QStringLiteral("/Users/alice/Documents/note%1.txt").arg(i));
    }
    const ImageSource source = openImageSource(image, 1, dir.path());
    ASSERT_TRUE(source.volume) << source.problem.toStdString();
    const VolumeSystem system(source.volume, QString());
    const test::KindRead read = test::readKind(system, "file.mft");
    EXPECT_TRUE(read.findings.isEmpty()) << read.findings.join("\n").toStdString();
    // The reference reads the table taken out of the image.
    const auto mft = source.volume->openFile("C:\\$MFT", "MFT", nullptr);
    ASSERT_TRUE(mft);
    QFile copy(dir.filePath("mft"));
    ASSERT_TRUE(copy.open(QIODevice::WriteOnly));
    copy.write(mft->readAll());
    copy.close();
    expectAsLibfsntfs(read.records, copy.fileName());

    const auto paths = [&](bool inUse) {
        QStringList out;
        for (const TraceRecord& r : read.records) {
            if ((r["in_use"] == "1") == inUse && r["path"].startsWith("C:\\Users")) out << r["path"].mid(3).replace('\\', '/');
        }
        out.sort();
        return out;
    };
    EXPECT_TRUE(paths(true).contains("Users/alice/renamed.txt"));
    EXPECT_EQ(paths(false).size(), 10);
    if (QStandardPaths::findExecutable("fls").isEmpty()) return;
    // fls -r -p: the paths in use; fls -r -d -p: the deleted ones (its lines: "r/r * 71-128-1:\tpath").
    const auto fls = [&](const QStringList& extra) {
        QProcess p;
        p.start("fls", QStringList{"-r", "-p"} + extra + QStringList{image});
        p.waitForFinished(60000);
        QStringList out;
        for (const QString& line : QString::fromUtf8(p.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts)) {
            const QString path = line.section('\t', 1);
            if (path.startsWith("Users")) out << path;
        }
        out.sort();
        return out;
    };
    EXPECT_EQ(paths(true), fls({"-u"}));
    EXPECT_EQ(paths(false), fls({"-d"}));
}

}  // namespace
}  // namespace kestrova
