// Internet Explorer's URL history: the collection's own rules over a memory store, the a1
// category on the sample system, and the real History.IE5 index compared with msiecfexport.
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>

#include <QtEndian>

#include "core/readers/ie/url_history.h"
#include "platform/historystore/history_file.h"
#include "mksample/sample_system.h"
#include "support/reader_fixture.h"

namespace kestrova {
namespace {

StatUrl record(const char* url, std::optional<QString> title = std::nullopt, uint64_t ticks = 0) {
    StatUrl r;
    r.url = url;
    r.title = std::move(title);
    r.lastVisited = FileTime{static_cast<uint32_t>(ticks), static_cast<uint32_t>(ticks >> 32)};
    return r;
}

TEST(CurlHistory, RefreshFiltersByPrefixAndItemsCountFromOne) {
    MemoryHistoryStore store({record("http://a.example/", "A"), record("file:///C:/x.txt"), record("https://b.example/"),
                              record("ftp://c.example/")});
    const FixedClock clock = test::utcClock();
    CURLHistory history(store, clock);
    EXPECT_EQ(history.Count(), 4);
    history.Refresh("http", 0);
    ASSERT_EQ(history.Count(), 2);
    EXPECT_EQ(history.Item(1)->URL(), "http://a.example/");
    EXPECT_EQ(history.Item(2)->URL(), "https://b.example/");
    EXPECT_EQ(history.Item(2)->Title(), "");  // absent
    EXPECT_THROW(history.Item(0), RuntimeError);
    EXPECT_THROW(history.Item(3), RuntimeError);
    QStringList walked;
    for (const auto& item : history) walked << item->URL();
    EXPECT_EQ(walked, (QStringList{"http://a.example/", "https://b.example/"}));
}

TEST(CurlHistory, RemoveDeletesWithoutRefetchingAndDeleteUrlPassesTheNumber) {
    MemoryHistoryStore store({record("http://1/"), record("http://2/"), record("http://3/")});
    const FixedClock clock = test::utcClock();
    CURLHistory history(store, clock);
    store.addUrl("http://added/", "later", 0);  // in the store, not in the collection until a refresh
    history.Remove(1);
    EXPECT_EQ(history.Count(), 2);
    EXPECT_EQ(history.Item(1)->URL(), "http://2/");
    EXPECT_EQ(store.deleted(), QStringList{"http://1/"});
    EXPECT_THROW(history.Remove(5), RuntimeError);
    history.DeleteURL(42, 0);
    EXPECT_EQ(store.deleted().last(), "42");
    EXPECT_EQ(history.Count(), 3);  // refreshed with an empty filter: 2, 3 and the added one
    history.AddURL("http://new/", "New", 7);
    EXPECT_EQ(history.Count(), 3);
    history.Clear();
    EXPECT_EQ(history.Count(), 0);
}

TEST(CurlHistory, EachReadOfATimeShiftsTheStoredTimeOnceMore) {
    // 2011-03-13 07:06:40 UTC, read at a local offset of +2 hours.
    const uint64_t ticks = 116444736000000000ULL + 10000000ULL * 1300000000ULL;
    MemoryHistoryStore store({record("http://a/", "A", ticks)});
    const FixedClock clock(CalendarRecord{2026, 11, 6, 21, 14, 0, 0, 0}, CalendarRecord{2026, 11, 6, 21, 12, 0, 0, 0});
    CURLHistory history(store, clock);
    const auto item = history.Item(1);
    EXPECT_EQ(toDateTime(item->LastVisited()), QDateTime(QDate(2011, 3, 13), QTime(9, 6, 40)));
    EXPECT_EQ(toDateTime(item->LastVisited()), QDateTime(QDate(2011, 3, 13), QTime(11, 6, 40)));
    // A fresh refresh gives fresh items.
    history.Refresh("", 0);
    EXPECT_EQ(toDateTime(history.Item(1)->LastVisited()), QDateTime(QDate(2011, 3, 13), QTime(9, 6, 40)));
}

class UrlHistoryReader : public test::ReaderFixture {};

TEST_F(UrlHistoryReader, ListsTheWebAddressesOfTheSampleHistory) {
    volume_.userHive(tools::sampleUserHive());
    ASSERT_TRUE(tools::addInternetExplorerCaches(volume_.root()));
    open();
    EXPECT_EQ(run("a1"), (QStringList{"http://www.example.com/", "https://mail.example.org/",
                                      "http://intranet.corp.example/timesheets/", "http://www.kestrova.example/download/"}));
    EXPECT_EQ(session().list.row(1), (QStringList{"https://mail.example.org/", "Inbox (3) - Example Mail", "11/2/2026 9:20:12 AM"}));
    EXPECT_EQ(session().list.cell(3, 1), QString(""));
    EXPECT_EQ(session().list.panel1(), "Double Cilck to view");
    EXPECT_EQ(session().list.panel2(), "Total Records: 4");
    EXPECT_EQ(session().state.listMode, "cache");
    // The double-click opens the title, as designed.
    EXPECT_EQ(openTarget(*findCategory("a1"), session().list, 1, *os_), "Inbox (3) - Example Mail");
}

TEST_F(UrlHistoryReader, AMissingHistoryIsAnEmptyListThatSaysWhy) {
    volume_.userHive(tools::sampleUserHive());
    open();
    EXPECT_EQ(run("a1"), QStringList{});
    EXPECT_EQ(session().list.columns().size(), 3u);
    EXPECT_EQ(session().list.panel2(), "Total Records: 0");
    EXPECT_TRUE(host_.diagnostics.join('\n').contains("a1: URL history C:\\Users\\alice\\AppData\\Local\\Microsoft\\Windows\\History"
                                                     "\\History.IE5\\index.dat: missing"))
        << host_.diagnostics.join('\n').toStdString();
}

// A history whose header sizes do not fit the file (one that made libmsiecf ask for gigabytes)
// is refused with its reason before the library reads it; the category says why it is empty.
TEST_F(UrlHistoryReader, AHeaderThatDoesNotFitTheFileIsRefusedWithItsReason) {
    volume_.userHive(tools::sampleUserHive());
    ASSERT_TRUE(tools::addInternetExplorerCaches(volume_.root()));
    const QString path = volume_.root() + "/Users/alice/AppData/Local/Microsoft/Windows/History/History.IE5/index.dat";
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    file.seek(36);
    file.write(QByteArray("\xFF\xFF\xFF\x7F", 4));  // number of blocks
    file.close();
    open();
    EXPECT_EQ(run("a1"), QStringList{});
    EXPECT_TRUE(host_.diagnostics.join('\n').contains("index.dat: damaged: the header gives 2147483647 blocks"))
        << host_.diagnostics.join('\n').toStdString();
}

TEST(HistoryHeader, SizesThatDoNotFitTheFileAreRefusedBeforeTheLibrarySeesThem) {
    QByteArray header = QByteArray("Client UrlCache MMF Ver 5.2").leftJustified(0x50, '\0');
    const auto set = [&](int at, quint32 value) { qToLittleEndian(value, header.data() + at); };
    set(28, 0x8000);
    set(32, 0x4000);
    set(36, 0x80);
    EXPECT_EQ(historyHeaderProblem(header, 0x8000), std::nullopt);
    EXPECT_EQ(historyHeaderProblem(header, 0x7FFF), "the header gives a size of 32768 bytes, the file has 32767");
    set(36, 0x01000000);
    EXPECT_EQ(historyHeaderProblem(header, 0x8000), "the header gives 16777216 blocks, more than 32768 bytes can hold");
    set(36, 0x80);
    set(32, 0x9000);
    EXPECT_TRUE(historyHeaderProblem(header, 0x8000).has_value());
    EXPECT_TRUE(historyHeaderProblem("Client UrlCache", 0x8000).has_value());
}

// msiecfexport's view of a history file: location, primary time (to the second) per URL record.
std::optional<QList<QPair<QString, QString>>> msiecfexport(const QString& file) {
    if (QStandardPaths::findExecutable("msiecfexport").isEmpty()) return std::nullopt;
    QProcess p;
    p.start("msiecfexport", {file});
    p.waitForFinished();
    QList<QPair<QString, QString>> records;
    QString location;
    for (const QString& line : QString::fromUtf8(p.readAllStandardOutput()).split('\n')) {
        if (line.startsWith("Location\t")) location = line.section(": ", 1);
        if (line.startsWith("Primary time\t")) records.append({location, line.section(": ", 1).section(QChar(0x2e), 0, 0)});
    }
    return records;
}

TEST_F(UrlHistoryReader, RealHistoryGivesWhatMsiecfexportLists) {
    REALDATA_OR_SKIP(real, "History.IE5-index.dat");
    volume_.userHive(tools::sampleUserHive());
    volume_.copy(real, "Users/alice/AppData/Local/Microsoft/Windows/History/History.IE5/index.dat");
    open();
    const QStringList urls = run("a1");
    ASSERT_EQ(urls.size(), 15);
    EXPECT_EQ(session().list.row(0), (QStringList{"http://www.msn.com/?ocid=iehp", "", "8/25/2015 11:05:18 AM"}));
    EXPECT_EQ(session().list.cell(3, 1), QString("RSS"));
    EXPECT_EQ(session().list.cell(9, 1), QString::fromUtf8("Download Internet Explorer 11 f\u00fcr IT-Experten und Entwickler f\u00fcr "
                                                         "Windows 7 64-Bit Edition und Windows Server 2008 R2 64-Bit Edition "
                                                         "from Official Microsoft Download Center"));
    const auto reference = msiecfexport(real);
    if (!reference) GTEST_SKIP() << "msiecfexport is not installed";
    ASSERT_EQ(reference->size(), 15);
    for (int i = 0; i < 15; ++i) {
        EXPECT_EQ("Visited: gold_administrator@" + urls[i], (*reference)[i].first);
        const QDateTime shown = QLocale(QLocale::English, QLocale::UnitedStates)
                                    .toDateTime(session().list.cell(i, 2), "M/d/yyyy h:mm:ss AP");
        EXPECT_EQ(shown.toString("MMM dd, yyyy HH:mm:ss"), (*reference)[i].second) << i;
    }
}

}  // namespace
}  // namespace kestrova
