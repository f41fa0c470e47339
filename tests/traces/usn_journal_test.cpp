// The change journal: plaso's real $J records with their reasons and paths, a rename's two records
// as one; the zeros Windows lets go of passed over (a journal that is all hole not read at all),
// bytes that hold no record said, a record cut at the end said; parents the journal does not name
// named through the MFT.
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "support/mft_fixture.h"
#include "support/temp_volume.h"
#include "support/trace_collector.h"
#include "traces/filesystem/usn_records.h"

namespace kestrova {
namespace {

using test::TraceRecord;

test::KindRead readJournal(test::TempVolume& volume) { return test::readKind(*volume.open(), "file.journal"); }

QByteArray realJournal() {
    QFile f(test::realData("filesystem/plaso-UsnJrnl.raw"));
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

TEST(ChangeJournal, RealRecordsWithTheirReasonsAndARenameAsOne) {
    REALDATA_OR_SKIP(path, "filesystem/plaso-UsnJrnl.raw");
    test::TempVolume volume;
    // Behind 64 MiB of the zeros Windows let go of, written out (not a hole).
    volume.file("$Extend/$J", QByteArray(64 << 20, '\0') + realJournal());
    const test::KindRead read = readJournal(volume);
    // 19 records, two renames of two records each.
    ASSERT_EQ(read.records.size(), 17u) << read.findings.join("\n").toStdString();
    EXPECT_TRUE(read.findings.isEmpty()) << read.findings.join("\n").toStdString();
    const TraceRecord& created = read.records[0];
    EXPECT_EQ(created["name"], "Nieuw - Tekstdocument.txt");
    EXPECT_EQ(created["path"], "C:\\Nieuw - Tekstdocument.txt");
    EXPECT_EQ(created["reasons"], "FILE_CREATE");
    EXPECT_EQ(created["time"], "2015-11-30T21:15:27.203125+00:00");
    EXPECT_EQ(created["file_reference"], "30-1");
    EXPECT_EQ(created["parent_reference"], "5-5");
    EXPECT_EQ(created["attributes"], "ARCHIVE");
    const TraceRecord& renamed = read.records[2];
    EXPECT_EQ(renamed["name"], "first.txt");
    EXPECT_EQ(renamed["old_name"], "Nieuw - Tekstdocument.txt");
    EXPECT_EQ(renamed["reasons"], "RENAME_OLD_NAME|RENAME_NEW_NAME");
    EXPECT_EQ(renamed["usn"], "336");
    const auto root = std::find_if(read.records.begin(), read.records.end(), [](const TraceRecord& r) { return r["name"] == "."; });
    ASSERT_NE(root, read.records.end());
    EXPECT_EQ((*root)["path"], "C:\\");
    EXPECT_EQ((*root)["attributes"], "HIDDEN|SYSTEM|DIRECTORY");
}

TEST(ChangeJournal, GarbageACutRecordAndAJournalThatIsAllHoleAreSaid) {
    REALDATA_OR_SKIP(path, "filesystem/plaso-UsnJrnl.raw");
    const QByteArray real = realJournal();
    test::TempVolume volume;
    // 16 bytes of garbage between the first two records, and the last record cut in half.
    QByteArray damaged = real.left(0x70) + QByteArray(16, '\x7f') + real.mid(0x70);
    damaged.chop(32);
    volume.file("$Extend/$J", damaged);
    const test::KindRead read = readJournal(volume);
    EXPECT_EQ(read.records.size(), 16u);
    EXPECT_EQ(read.findings.filter("2 places of 8 bytes hold no record where one should begin, and were passed over (the first at offset 0x70:").size(), 1)
        << read.findings.join("\n").toStdString();
    EXPECT_EQ(read.findings.filter("it ends inside a record (the last 32 bytes)").size(), 1) << read.findings.join("\n").toStdString();

    // 4 GiB of hole: nothing is read, and the reason is said.
    test::TempVolume sparse;
    sparse.file("$Extend/$UsnJrnl$J", QByteArray());
    QFile hole(sparse.root() + "/$Extend/$UsnJrnl$J");
    ASSERT_TRUE(hole.open(QIODevice::ReadWrite));
    ASSERT_TRUE(hole.resize(qint64{4} << 30));
    hole.close();
    const test::KindRead none = readJournal(sparse);
    EXPECT_TRUE(none.records.empty());
    EXPECT_EQ(none.findings.filter("it holds no record: it is all hole (4294967296 bytes of zeros)").size(), 1) << none.findings.join("\n").toStdString();
}

// The decoder on records made by hand: version 3 (128-bit references), a name outside its record.
TEST(ChangeJournal, VersionThreeAndANameOutsideItsRecord) {
    QByteArray v3(88, '\0');
    const auto put32 = [&](QByteArray& b, int at, uint32_t v) { std::memcpy(b.data() + at, &v, 4); };
    const auto put64 = [&](QByteArray& b, int at, uint64_t v) { std::memcpy(b.data() + at, &v, 8); };
    put32(v3, 0, 88);
    v3[4] = 3;
    put64(v3, 8, (uint64_t{7} << 48) | 42);
    put64(v3, 24, (uint64_t{5} << 48) | 5);
    put64(v3, 40, 4096);
    put64(v3, 48, 130000000000000000ull);
    put32(v3, 56, 0x200 | 0x80000000u);
    v3[72] = 8;
    v3[74] = 76;
    std::memcpy(v3.data() + 76, u"a.db", 8);
    size_t size = 0;
    UsnRecord r;
    QString why;
    ASSERT_EQ(decodeUsnRecord(ByteView(v3), 0, &size, &r, &why), UsnFind::Record) << why.toStdString();
    EXPECT_EQ(size, 88u);
    EXPECT_EQ(r.fileEntry, 42u);
    EXPECT_EQ(r.fileSequence, 7);
    EXPECT_EQ(r.usn, 4096);
    EXPECT_EQ(r.name, "a.db");
    EXPECT_EQ(usnReasonNames(r.reason), "FILE_DELETE|CLOSE");
    v3[72] = 40;  // the name would reach past the record
    EXPECT_EQ(decodeUsnRecord(ByteView(v3), 0, &size, &r, &why), UsnFind::Damaged);
    EXPECT_TRUE(why.startsWith("a name of 40 bytes at 76 outside its 88-byte record")) << why.toStdString();
}

// A version 3 record of `name` in folder `parent`.
QByteArray versionThree(const char16_t* name, uint64_t entry, uint64_t parent, uint16_t parentSequence, uint64_t usn) {
    const auto units = static_cast<int>(std::char_traits<char16_t>::length(name));
    QByteArray r((76 + units * 2 + 7) / 8 * 8, '\0');
    const auto put32 = [&](int at, uint32_t v) { std::memcpy(r.data() + at, &v, 4); };
    const auto put64 = [&](int at, uint64_t v) { std::memcpy(r.data() + at, &v, 8); };
    put32(0, static_cast<uint32_t>(r.size()));
    r[4] = 3;
    put64(8, (uint64_t{1} << 48) | entry);
    put64(24, (uint64_t{parentSequence} << 48) | parent);
    put64(40, usn);
    put64(48, 130000000000000000ull);
    put32(56, 0x100);
    r[72] = static_cast<char>(units * 2);
    r[74] = 76;
    std::memcpy(r.data() + 76, name, static_cast<size_t>(units) * 2);
    return r;
}

TEST(ChangeJournal, AFolderTheJournalNoLongerNamesIsNamedThroughTheMft) {
    test::TempVolume volume;
    volume.file("$MFT", test::craftedTable({test::craft({.sequence = 2, .folder = true, .name = "Docs"})}));
    volume.file("$Extend/$J", versionThree(u"a.db", 40, 6, 2, 0) + versionThree(u"b.db", 41, 6, 1, 96) + versionThree(u"c.db", 42, 77, 1, 192));
    const test::KindRead read = readJournal(volume);
    ASSERT_EQ(read.records.size(), 3u) << read.findings.join("\n").toStdString();
    EXPECT_EQ(read.records[0]["path"], "C:\\Docs\\a.db");
    EXPECT_EQ(read.records[1]["path"], "");  // entry 6 was another folder then
    EXPECT_EQ(read.records[2]["path"], "");  // a folder neither knows
}

}  // namespace
}  // namespace kestrova
