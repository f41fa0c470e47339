// The index.dat scan: its per-position semantics against a naive reference on random data (also
// across the block boundary), the cases that catch real faults, and the real Content.IE5 index.
#include <QBuffer>
#include <QRandomGenerator>
#include <cstring>

#include "core/readers/ie/index_dat.h"
#include "mksample/sample_system.h"
#include "core/common/text.h"
#include "support/reader_fixture.h"

namespace kestrova {
namespace {

// The scan as its description reads: one 7-byte read at every position.
QStringList naiveScan(const QByteArray& d) {
    QStringList rows;
    const qsizetype n = d.size();
    for (qsizetype o = 0; o + 7 <= n; ++o) {
        if (d.mid(o, 3) != "URL") continue;
        bool past = false;
        const auto read = [&](qsizetype at) {
            past = past || at + 150 > n;
            QByteArray b = at < n ? d.mid(at, 150) : QByteArray();
            return b.leftJustified(150, '\0');
        };
        QByteArray field = read(o + 96);
        if (!field.startsWith("http")) field = read(o + 104);
        rows.append(QString::fromLatin1(field));
        if (past) break;
    }
    return rows;
}

QStringList scan(const QByteArray& bytes) {
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QStringList rows;
    EXPECT_TRUE(scanForUrls(buffer, [&](QByteArrayView f, qint64) { rows.append(indexFieldText(f)); return true; },
                            [](qint64) { return true; }));
    return rows;
}

// Text with its terminating NUL, as the fields hold it.
QByteArray z(const char* text) { return QByteArray(text, static_cast<qsizetype>(std::strlen(text) + 1)); }

QByteArray at(qsizetype size, std::initializer_list<std::pair<qsizetype, QByteArray>> parts) {
    QByteArray bytes(size, '.');
    for (const auto& [offset, text] : parts) bytes.replace(offset, text.size(), text);
    return bytes;
}

TEST(IndexDatScan, ShortFilesAndTheFirstPosition) {
    EXPECT_EQ(scan("URL"), QStringList{});
    EXPECT_EQ(scan("URL   "), QStringList{});  // 6 bytes: the first 7-byte read runs past the end
    const QStringList one = scan(at(400, {{0, "URL "}, {104, z("http://a.example/")}}));
    ASSERT_EQ(one.size(), 1);
    EXPECT_TRUE(one[0].startsWith("http://a.example/"));
    EXPECT_EQ(one[0].size(), 150);
}

TEST(IndexDatScan, TheNearFieldOnlyWhenItStartsWithHttp) {
    const QStringList rows = scan(at(2000, {{0, "URL "}, {96, z("https:/")}, {104, "xx"},
                                            {400, "URL "}, {496, z("ftp://near/")}, {504, z("far text")},
                                            {800, "URL "}, {896, QByteArray(z("\x01\x02"), 3)}, {904, QByteArray(z("\xe9t\xe9"), 4)},
                                            {1200, "a URL inside text"}}));
    ASSERT_EQ(rows.size(), 4);
    EXPECT_EQ(upToNul(rows[0]), QString("https:/"));  // the secure scheme passes the "http" test
    EXPECT_TRUE(rows[1].startsWith("far text"));
    EXPECT_TRUE(rows[2].startsWith(QString::fromUtf8("\xc3\xa9t\xc3\xa9")));  // one byte, one character
    EXPECT_EQ(rows[3].left(5), ".....");  // whatever lies at +104
}

TEST(IndexDatScan, AReadPastTheEndEndsTheScanAfterItsRow) {
    // A hit 200 bytes before the end reads past it; the hit 50 bytes later is never reached.
    const QStringList rows = scan(at(1000, {{500, "URL "}, {800, "URL "}, {850, "URL "}}));
    ASSERT_EQ(rows.size(), 2);
    EXPECT_EQ(rows[1].mid(96), QString(54, QChar(0)));  // bytes past the end read as zero
}

TEST(IndexDatScan, AgreesWithTheNaiveScanOnRandomDataAcrossBlocks) {
    QRandomGenerator rng(7);
    for (const qsizetype size : {qsizetype{0}, qsizetype{7}, qsizetype{300}, qsizetype{5000},
                                 qsizetype{(4 << 20) + 300}, qsizetype{(4 << 20) - 120}}) {
        QByteArray bytes(size, '\0');
        for (char& c : bytes) c = "URLhtp:/ \0x"[rng.bounded(11)];
        // Hits straddling the block boundary and its lookahead.
        for (const qsizetype o : {qsizetype{(4 << 20) - 2}, qsizetype{(4 << 20) - 100}, qsizetype{(4 << 20) - 254}}) {
            if (o + 3 <= size) bytes.replace(o, 3, "URL");
        }
        EXPECT_EQ(scan(bytes), naiveScan(bytes)) << size;
    }
}

class IndexDatReader : public test::ReaderFixture {
protected:
    void SetUp() override { volume_.userHive(tools::sampleUserHive()); }
    const QString cache = "Users/alice/AppData/Local/Microsoft/Windows/Temporary Internet Files/Content.IE5/index.dat";
};

TEST_F(IndexDatReader, ScansTheChosenFileAndShowsItsPathAndTotal) {
    volume_.file(cache, at(1000, {{0, "URL "}, {104, z("http://one.example/")}, {300, "URL "}, {404, z("http://two.example/")}}));
    open();
    EXPECT_EQ(run("a4").size(), 2);
    EXPECT_EQ(upToNul(session().list.cell(0, 0)), QString("http://one.example/"));
    EXPECT_EQ(session().list.panel1(),
              "C:\\Users\\alice\\AppData\\Local\\Microsoft\\Windows\\Temporary Internet Files\\Content.IE5\\index.dat");
    EXPECT_EQ(session().list.panel2(), "Total Records: 2");
    EXPECT_EQ(session().state.listMode, "index.dat");
    EXPECT_FALSE(host_.stopButton);
    // The double-click opens what the list shows.
    EXPECT_EQ(openTarget(*findCategory("a4"), session().list, 1, *os_), "http://two.example/");
}

TEST_F(IndexDatReader, ACancelledChooserLeavesOnlyTheHeaderAndNoTotal) {
    open();
    session().list.setPanel2("before");
    host_.indexFile = "";
    EXPECT_EQ(run("a4"), QStringList{});
    EXPECT_EQ(session().list.columns().front().text, "URLs In Index.dat File");
    EXPECT_EQ(session().list.panel2(), "before");
    EXPECT_EQ(session().list.panel1(), "Double click to view");
    EXPECT_TRUE(host_.stopButton);  // shown for the scan that never came, as it always was
}

TEST_F(IndexDatReader, AFileThatCannotBeOpenedEndsAtOnceWithTheTotal) {
    open();
    EXPECT_EQ(run("a4"), QStringList{});
    EXPECT_EQ(session().list.panel2(), "Total Records: 0");
    EXPECT_TRUE(host_.diagnostics.join('\n').contains("index.dat file C:\\Users\\alice\\AppData\\Local\\Microsoft\\Windows\\"
                                                     "Temporary Internet Files\\Content.IE5\\index.dat: missing"))
        << host_.diagnostics.join('\n').toStdString();
}

TEST_F(IndexDatReader, AStopKeepsTheRowsFoundSoFar) {
    QByteArray bytes;
    for (int i = 0; i < 100; ++i) bytes += at(300, {{0, "URL "}, {104, z("http://x/")}});
    volume_.file(cache, bytes);
    open();
    struct StopAfter : RowSink {
        bool add(const QStringList&) override { return ++rows < 5; }
        bool stopRequested() override { return rows >= 5; }
        int rows = 0;
    } sink;
    indexDatRows(reportContext(), sink);
    EXPECT_EQ(sink.rows, 5);
    EXPECT_EQ(GetIndex(reportContext()).size(), 100);  // the report's own scan: no dialog, the default file
}

TEST_F(IndexDatReader, RealContentIndexGivesItsTwentyOneUrls) {
    REALDATA_OR_SKIP(real, "Content.IE5-index.dat");
    open();
    host_.indexFile = real;  // a local file, named as the command line's --index-file names it
    const QStringList rows = run("a4");
    ASSERT_EQ(rows.size(), 21);
    EXPECT_EQ(upToNul(rows[0]), QString("http://static-hp-neu.s-msn.com/sc/54/4f1880.ico"));
    EXPECT_EQ(upToNul(rows[1]), QString("https://ieonline.microsoft.com/favicon.ico"));
    EXPECT_EQ(upToNul(rows[5]), QString("http://www.microsoft.com/favicon.ico?v2"));
    EXPECT_EQ(upToNul(rows[20]), QString("http://download.microsoft.com/download/C/0/1/C0186BE0-0ADB-4AF3-B97D-11FCEBE6BD68/"
                                         "IE11-Windows6.1-KB2841134-x64.cab"));
    EXPECT_EQ(session().list.panel2(), "Total Records: 21");
}

}  // namespace
}  // namespace kestrova
