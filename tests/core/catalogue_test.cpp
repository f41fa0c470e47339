// The catalogue: the tree as shipped, the dispatch with its hidden keys, the double-click
// targets, and a group selection that leaves the list alone.
#include <gtest/gtest.h>

#include "core/time/date_value.h"

#include "core/app/catalogue.h"
#include "support/reader_fixture.h"

namespace kestrova {
namespace {

TEST(Catalogue, HoldsFourGroupsAndTwentyTwoCategoriesInTreeOrder) {
    QStringList keys, captions;
    for (const Category& c : catalogue()) {
        keys.append(c.key);
        captions.append(c.caption);
    }
    EXPECT_EQ(keys.join(' '), "root root2 root3 root4 a1 a2 a3 a4 b1 b2 b3 b4 b5 b6 b7 b8 c1 c2 c3 c4 c5 d1 d2 d3 d4 d5");
    EXPECT_EQ(captions[0], "Internet Explorer ");
    EXPECT_EQ(findCategory("d4")->caption, QString("Top Visted Sites"));
    EXPECT_EQ(findCategory("b8")->columns.front().text, QString("Type Paths (Windows 7)"));
    EXPECT_EQ(QString(findCategory("c5")->columns[1].text), "Value ");
    EXPECT_EQ(categoryKeys().size(), 22);
    for (const char* key : {"b5", "b6", "b7", "b8"}) EXPECT_FALSE(findCategory(key)->writesCount) << key;
}

TEST(Catalogue, DispatchKnowsHiddenKeysButGroupsRunNothing) {
    EXPECT_NE(dispatch("e1"), nullptr);
    EXPECT_NE(findCategory("root"), nullptr);
    for (const char* key : {"root", "root2", "e2", "e3", "e4", "A1", "zz", ""}) EXPECT_EQ(dispatch(key), nullptr) << key;
}

class OpenTargets : public test::ReaderFixture {};

TEST_F(OpenTargets, FollowTheCategoryNotTheRow) {
    volume_.userHive(tools::sampleUserHive());
    Session& s = open();
    s.list.addColumn("URL", 5000);
    s.list.addRow(QStringList{"http://a.example/", "Title A"});
    s.list.addRow(QStringList{"http://b.example/"});
    EXPECT_EQ(openTarget(*findCategory("a1"), s.list, 0, *os_), "Title A");
    EXPECT_EQ(openTarget(*findCategory("a1"), s.list, 1, *os_), "");
    EXPECT_EQ(openTarget(*findCategory("a2"), s.list, 1, *os_), "http://b.example/");
    EXPECT_EQ(openTarget(*findCategory("a3"), s.list, 1, *os_), "C:\\Users\\alice\\AppData\\Roaming\\Microsoft\\Windows\\Cookies");
    for (const char* key : {"b2", "b3", "b4", "b8", "c2", "d4", "d5", "root"}) {
        EXPECT_FALSE(openTarget(*findCategory(key), s.list, 0, *os_)) << key;
    }
}

TEST_F(OpenTargets, SelectingAGroupLeavesListAndPanelsAlone) {
    volume_.userHive(tools::sampleUserHive());
    Session& s = open();
    s.select("b3");
    s.list.setPanel1("kept");
    EXPECT_FALSE(s.select("root2"));
    EXPECT_FALSE(s.select("e2"));
    EXPECT_EQ(s.list.panel1(), "kept");
    EXPECT_EQ(s.list.panel2(), "Total Records: 0");
    EXPECT_EQ(s.list.columns().front().text, "Start Menu Run History");
}

TEST(ResultList, StoresRowsCompactlyAndSortsCaseInsensitivelyKeepingTies) {
    ResultList list;
    list.addColumn("A", 100);
    list.addColumn("B", 100);
    list.addRow(QStringList{"b", "2"});
    list.addRow(QStringList{"A", "1"});
    list.addRow(QStringList{"a"});
    list.addRow(QStringList{});
    EXPECT_EQ(list.rowCount(), 4);
    EXPECT_EQ(list.cell(0, 1), QString("2"));
    EXPECT_EQ(list.cell(2, 1), QString(""));
    EXPECT_EQ(list.cell(3, 0), QString(""));
    EXPECT_EQ(list.cell(9, 0), QString(""));
    EXPECT_EQ(list.sortedOrder(0), (std::vector<uint32_t>{3, 1, 2, 0}));
    list.showCount();
    EXPECT_EQ(list.panel2(), "Total Records: 4");
    list.clearRows();
    EXPECT_EQ(list.rowCount(), 0);
}

}  // namespace
}  // namespace kestrova

namespace kestrova {
namespace {

TEST(ResultList, OneByteAndUtf16CellsOfAnyLengthKeepTheirTextAndSortTogether) {
    ResultList list;
    const QString escaped = QString("caf") + QChar(0xDCE9);  // a name byte that is not UTF-8
    const QStringList texts{"abc", QString::fromUtf8("\xC3\xA9t\xC3\xA9"), QString::fromUtf8("\xE6\x97\xA5"), "", "x",
                            escaped, QString::fromUtf8("B\xF0\x9F\x98\x80"), "ab"};
    for (const QString& t : texts) list.addRow(QStringList{t, t + t});
    list.addRowLatin1(QByteArrayView("\xFFnul\0tail", 9));
    for (qsizetype i = 0; i < texts.size(); ++i) {
        EXPECT_EQ(list.cell(static_cast<int>(i), 0), texts[i]);
        EXPECT_EQ(list.cell(static_cast<int>(i), 1), texts[i] + texts[i]);
    }
    EXPECT_EQ(list.cell(8, 0), QString::fromLatin1("\xFFnul\0tail", 9));
    EXPECT_EQ(list.textBytes(), size_t{(3 + 3 + 1 + 0 + 1 + 4 + 3 + 2) * 3 * 2 + 9 * 2});
    // Case-insensitive across both forms: "ab" < "abc" < "B.." < "café.." < "x" < "été" < ...
    const std::vector<uint32_t> order = list.sortedOrder(0);
    QStringList sorted;
    for (const uint32_t r : order) sorted << list.cell(static_cast<int>(r), 0);
    EXPECT_EQ(sorted.mid(0, 5), (QStringList{"", "ab", "abc", QString::fromUtf8("B\xF0\x9F\x98\x80"), escaped}));
}

// Dates as the list writes them sort by their time ("1/4/2012" after "12/31/2011"), numbers by
// their value ("10" after "9"); what is neither comes first, by its text.
TEST(ResultList, TimeAndNumberColumnsSortByWhatTheyHold) {
    ResultList list;
    list.addColumn("When", 100, ColumnKind::Time);
    list.addColumn("Count", 100, ColumnKind::Number);
    const QStringList when{"1/4/2012 9:00:00 AM", "12/31/2011 11:59:59 PM", "", "1/4/2012 8:59:59 PM", "error440",
                           "1/4/2012", "1/4/2012 12:00:01 AM", "12/1/2011 10:00:00 AM"};
    const QStringList counts{"10", "9", "", "100", "x", "9.5", "-1", "0"};
    for (qsizetype i = 0; i < when.size(); ++i) list.addRow(QStringList{when[i], counts[i]});
    const auto sorted = [&](int column, bool descending) {
        QStringList cells;
        for (const uint32_t r : list.sortedOrder(column, descending)) cells << list.cell(static_cast<int>(r), column);
        return cells;
    };
    EXPECT_EQ(sorted(0, false), (QStringList{"", "error440", "12/1/2011 10:00:00 AM", "12/31/2011 11:59:59 PM", "1/4/2012",
                                             "1/4/2012 12:00:01 AM", "1/4/2012 9:00:00 AM", "1/4/2012 8:59:59 PM"}));
    EXPECT_EQ(sorted(1, false), (QStringList{"", "x", "-1", "0", "9", "9.5", "10", "100"}));
    EXPECT_EQ(sorted(1, true).first(), "100");
    // Written in another locale's form, the same times sort the same way.
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    ResultList german;
    german.addColumn("When", 100, ColumnKind::Time);
    for (const auto& [d, h] : {std::pair{4, 9}, {31, 23}, {1, 10}}) {
        german.addRow(generalDateText(makeDateValue(d == 4 ? 2012 : 2011, d == 4 ? 1 : 12, d, h, 0, 0)));
    }
    EXPECT_EQ(german.sortedOrder(0), (std::vector<uint32_t>{2, 1, 0}));
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
}

TEST(ResultList, CellsAroundChunkBoundariesAndLongerThanAChunkKeepTheirText) {
    ResultList list;
    const QString kilo(1000, QLatin1Char('k'));
    for (int i = 0; i < 1100; ++i) list.addRow(QStringList{QString::number(i) + kilo, QString::number(i)});
    const QString huge(2 * 1024 * 1024 + 7, QLatin1Char('h'));
    list.addRow(QStringList{huge, QStringLiteral("after huge")});
    list.addRow(QStringLiteral("last"));
    for (int i : {0, 523, 524, 525, 1099}) {
        EXPECT_EQ(list.cell(i, 0), QString::number(i) + kilo) << i;
        EXPECT_EQ(list.cell(i, 1), QString::number(i)) << i;
    }
    EXPECT_EQ(list.cell(1100, 0).size(), huge.size());
    EXPECT_EQ(list.cell(1100, 1), QString("after huge"));
    EXPECT_EQ(list.cell(1101, 0), QString("last"));
}

}  // namespace
}  // namespace kestrova

namespace kestrova {
namespace {

class FailingReader : public test::ReaderFixture {};

TEST_F(FailingReader, ARunTimeErrorEndsOnlyThatReaderAndKeepsItsRows) {
    volume_.userHive(tools::sampleUserHive());
    Session& s = open();
    static const Category failing{.key = "zz", .parent = "root", .caption = "Failing",
                                  .rows = [](const SourceContext&, RowSink& sink) {
                                      sink.add(QStringLiteral("kept"));
                                      throw RuntimeError("Overflow");
                                  }};
    s.run(failing);
    EXPECT_EQ(s.list.rowCount(), 1);
    EXPECT_EQ(s.list.cell(0, 0), QString("kept"));
    EXPECT_TRUE(s.list.visible());
    EXPECT_EQ(s.list.panel2(), "Total Records: 1");
    ASSERT_EQ(host_.diagnostics.size(), 1);
    EXPECT_EQ(host_.diagnostics.front(), "zz: ended early: Overflow");
    // The next category runs as usual.
    EXPECT_TRUE(s.select("b3"));
    EXPECT_EQ(s.list.panel2(), "Total Records: 0");
}

}  // namespace
}  // namespace kestrova
