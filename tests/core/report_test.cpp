// The HTML report: a whole small report against the expected document, fragment by fragment,
// and the cases that catch real faults (groups, the index.dat box alone, skip, "^" in a value,
// text unescaped, the NUL of the user name, the anchors that do not match their links, the file).
#include <QFile>
#include <QTemporaryDir>

#include "browsers/browser_data.h"
#include "core/report/html_report.h"
#include "mksample/sample_system.h"
#include "msiecf/cache_file_writer.h"
#include "support/reader_fixture.h"

namespace kestrova {
namespace {

const QString kExplorer = "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\";

class Report : public test::ReaderFixture {
protected:
    QStringList write(const ReportSelection& selection, std::function<void()> pump = {}) {
        const QString path = dir_.filePath("report.htm");
        const ReportEnvironment env{reportContext(), run_, "https://www.kestrova.example/", "11/21/2026 10:00:00 AM",
                                    [this](const QString& text) { progress_ << text; }, [this](bool shown) { skipShown_ << shown; },
                                    std::move(pump)};
        EXPECT_TRUE(WriteHTML(path, selection, env));
        QFile file(path);
        file.open(QIODevice::ReadOnly);
        bytes_ = file.readAll();
        QString text = QString::fromUtf16(reinterpret_cast<const char16_t*>(bytes_.constData() + 2), (bytes_.size() - 2) / 2);
        EXPECT_TRUE(text.endsWith("\r\n"));
        text.chop(2);
        return text.split("\r\n");
    }
    QTemporaryDir dir_;
    QByteArray bytes_;
    QStringList progress_;
    QList<bool> skipShown_;
};

// The fragments a one-column section is written with.
QStringList section(const QString& anchor, const QString& heading, const QString& column, const QStringList& rows) {
    QStringList lines{"<table class=\"style1\"><tr>", "<td colspan=\"5\" class=\"style4\"><a name=\"" + anchor + "\">",
                      heading + "</a></td></tr>", "<tr><td class=\"style10\"><strong><span class=\"style11\">",
                      column + "</span></strong></td></tr>"};
    for (qsizetype i = 0; i < rows.size(); ++i) {
        lines << QString("<tr><td class=\"%1\">").arg(i % 2 ? "style5" : "style7") + rows[i] + "</td></tr>";
    }
    return lines << "</table>" << "<a href=\"#top\">return to top</a><br /><br />";
}

TEST_F(Report, ASmallSystemGivesTheExpectedDocumentFragmentByFragment) {
    tools::HiveBuilder user = tools::sampleUserHive();
    user.sz(kExplorer + "RunMRU", "a", "cmd\\1").sz(kExplorer + "RunMRU", "b", "calc").sz(kExplorer + "RunMRU", "c", "\\\\srv\\s\\1")
        .sz(kExplorer + "TypedPaths", "url1", "C:\\Users\\alice");
    volume_.userHive(user);
    open();
    const QStringList lines = write(ReportSelection{0, 1, 0, 0, 0});
    QStringList expected{
        "<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.0 Transitional//EN\" \"http://www.w3.org/TR/xhtml1/DTD/xhtml1-transitional.dtd\">",
        "<head>",
        "<meta http-equiv=\"Content-Type\"content=\"text/html; charset=utf-8\" />",
        "<meta http-equiv=\"Content-Security-Policy\" content=\"script-src 'none'\" />",
        "<title>Kestrova Report</title>",
        "<style type=\"text/css\">",
        ".style1 {border-left-style: solid;border-left-width: 1px;border-right: 1px solid #C0C0C0;border-top-style: solid;border-top-width: 1px;",
        " border-bottom: 1px solid #C0C0C0;a:link    { color: #0011BB; text-decoration: none; }",
        "a:visited { color: #0011BB; text-decoration: none; }",
        "a:hover   { color: #605040; text-decoration: underline; }}",
        ".style2 {border: 1px solid #008080;}",
        ".style3 {border-style: solid;border-width: 1px;}",
        ".style9 {   font-size: small;}",
        ".style4 {text-align: center;color: #000080; background-color: #CCCCDD;}",
        ".style5 {font-size: x-small;background-color: #EAEAEA;}",
        ".style6 {text-align: center;}",
        ".style7 {font-size: x-small;}",
        ".style8 {font-size: medium;}",
        ".style10 {  font-size: x-small; text-align: center; background-color: #C0C0C0;  color: #3333CC;}",
        ".style11 {  background-color: #C0C0C0;  color: #3333CC;}",
        "</style></head><body>",
        "<p class=\"style6\"><strong><a name=\"top\">Kestrova Report</strong></p>",
        "<table style=\"width: 100%\" class=\"style1\">",
        "<tr><td style=\"width: 93px\" class=\"style9\">User Name:</td>",
        "<td style=\"width: 559px\" class=\"style9\">alice" + QString(QChar(0)) + "</td></tr>",
        "<tr><td style=\"width: 93px\" class=\"style9\">Computer:</td>",
        "<td style=\"width: 559px\" class=\"style9\"></td></tr>",
        "<tr><td style=\"width: 93px\" class=\"style9\">Reported Date:</td>",
        "<td style=\"width: 559px\" class=\"style9\">11/21/2026 10:00:00 AM</td></tr></table>",
        "<p class=\"style8\">&nbsp;</p>",
        "<table class=\"style2\">",
        "<tr><td style=\"width: 122px\" class=\"style9\">",
        "Windows</td>",
        "<td class=\"style9\" style=\"width: 120px\">", "<a href=\"#Windows-Recent Documents\">Recent Documents</a></td>",
        "<td class=\"style9\" style=\"width: 90px\">", "<a href=\"#Windows-Search History\">Search History</a></td>",
        "<td class=\"style9\" style=\"width: 113px\">", "<a href=\"#Windows-Run History\">Run History</a></td>",
        "<td class=\"style9\" style=\"width: 125px\">", "<a href=\"#Windows-Open/Save History\">Open/Save History</a></td>",
        "<td class=\"style9\" style=\"width: 141px\">", "<a href=\"#Windows-List Visited History\">List Visted History</a></td>",
        "<td class=\"style9\" style=\"width: 103px\">", "<a href=\"#Windows-USB Storage History\">USB Storage History</a></td>",
        "<td class=\"style9\">", "<a href=\"#Windows-First Folder\">First Folder</a></td>",
        "<td class=\"style9\">", "<a href=\"#Windows-Typed Paths\">Typed Paths</a></td>",
        "</tr>",
        "</table>",
        "<p>&nbsp;</p>",
    };
    expected << section("Windows-Recent Documents", "Windows-Recent Documents", "Recent Documents", {})
             << section("Windows-Search History", "Windows-Search History", "Start Menu Search History", {})
             // Run entries without a "\" are left out by the report; the others lose their "\1".
             << section("Windows-Run History", "Windows-Run History", "Start Menu Run History", {"cmd", "\\\\srv\\s"})
             << section("Windows-Open/Save History", "Windows-Open/Save History", "Open/Save History", {})
             << section("Windows-List Visited History", "Windows-List Visited History", "Last Visited History", {})
             << section("Windows-USB Storage History", "Windows-USB Storage History", "USB Storage History", {})
             << section("Windows-First Folder", "Windows-First Folder", "First Folder (Windows 7)", {})
             << section("Windows-Typed Paths", "Windows-Typed Paths", "Type Paths (Windows 7)", {"C:\\Users\\alice"})
             << "<p>Created by <a href=\"https://www.kestrova.example/\">Kestrova</a></p>"
             << "</body></html>";
    ASSERT_EQ(lines.size(), expected.size());
    for (qsizetype i = 0; i < lines.size(); ++i) EXPECT_EQ(lines[i], expected[i]) << "line " << i + 1;
    // UTF-16 little-endian with its mark, although the document says utf-8.
    EXPECT_EQ(bytes_.left(4), QByteArray("\xFF\xFE<\0", 4));
    EXPECT_EQ(progress_.first(), "Start creating report...");
    EXPECT_EQ(progress_[3], "Creating Windows Run History report...");
}

// Internet Explorer's history is written from the store's items, three cells each: a title with a
// "^" or blanks at its ends keeps them in its one cell, cut at 80 characters.
TEST_F(Report, TheUrlHistorySectionWritesTitleUrlAndDateAsTheyAre) {
    volume_.userHive(tools::sampleUserHive());
    tools::CacheFile history;
    tools::CacheUrl visit;
    visit.location = "Visited: alice@http://caret.example/";
    visit.title = "  a ^ b <script>alert(1)</script>" + QString(60, 'x') + " ";
    visit.primaryTime = visit.secondaryTime = tools::fileTimeOf(2026, 11, 2, 9, 14, 12);
    history.urls = {visit};
    volume_.file("Users/alice/AppData/Local/Microsoft/Windows/History/History.IE5/index.dat", tools::writeCacheFile(history));
    open();
    const QString doc = write(ReportSelection{1, 0, 0, 0, 0}).join('\n');
    EXPECT_TRUE(doc.contains("<tr><td style=\"width: 420px\" class=\"style7\">" + visit.title.left(80) +
                             "</td>\n<td style=\"width: 471px\" class=\"style7\">http://caret.example/</td>\n"
                             "<td style=\"width: 171px\" class=\"style7\">11/2/2026 9:14:12 AM</td>\n</tr>"))
        << doc.toStdString();
}

TEST_F(Report, BrowsersAbsentValuesUnescapedCaretsSplitAndTheAnchorsDifferFromTheirLinks) {
    volume_.userHive(tools::sampleUserHive());
    ASSERT_TRUE(tools::addInternetExplorerCaches(volume_.root()));
    QString error;
    ASSERT_TRUE(tools::writeDatabase(volume_.root() + "/Users/alice/AppData/Local/Google/Chrome/User Data/Default/Top Sites",
                                     "CREATE TABLE thumbnails (url TEXT, url_rank INTEGER, title TEXT);"
                                     "INSERT INTO thumbnails VALUES ('http://a.example/?x=1&y=2', 0, 'A ^ B <c>');", &error));
    open();
    const QString doc = write(ReportSelection{1, 0, 1, 1, 1}).join('\n');
    // No Firefox: its sections hold their heading and header row only.
    EXPECT_TRUE(doc.contains("Firefox-URL History</a></td></tr>\n<tr><td style=\"width: 500px\" class=\"style10\"><strong><span "
                             "class=\"style11\">\nURL</span></strong></td>\n<td style=\"width: 500px\" class=\"style10\"><strong>"
                             "Title</strong></td>\n</tr>\n</table>"));
    // A "^" in a value gives an extra cell; nothing is escaped.
    EXPECT_TRUE(doc.contains("<tr><td style=\"width: 400px\" class=\"style7\">http://a.example/?x=1&y=2</td>\n"
                             "<td style=\"width: 50px\" class=\"style7\">0</td>\n<td class=\"style7\">A </td>\n"
                             "<td class=\"style7\"> B <c></td>\n</tr>"));
    EXPECT_TRUE(doc.contains("<td style=\"width: 420px\" class=\"style7\">Timesheets <week 45> & overtime</td>"));
    // The URL history's rows: title first, the first row plain, the next shaded.
    EXPECT_TRUE(doc.contains("<tr><td style=\"width: 420px\" class=\"style7\">Example Domain</td>"));
    EXPECT_TRUE(doc.contains("<tr><td style=\"width: 420px\" class=\"style5\">Inbox (3) - Example Mail</td>"));
    EXPECT_TRUE(doc.contains("<a href=\"#Internet_Explorer-Index.dat File\">Index.dat File</a></td>"));
    EXPECT_TRUE(doc.contains("<a name=\"Internet_Explorer-Index.dat file\">\nInternet Explorer-Index.dat </a></td></tr>"));
    EXPECT_TRUE(doc.contains("<a href=\"#Chrome-Keyword Searched\">Keyword Searched</a></td>"));
    EXPECT_TRUE(doc.contains("<a name=\"Chrome-keyword Searched\">"));
    EXPECT_TRUE(doc.contains("<tr><td style=\"width: 122px\" class=\"style9\">Firefox</td>"));
    EXPECT_TRUE(doc.contains("<td class=\"; style9; \">&nbsp;</td>\n<td class=\"; style9; \">&nbsp;</td></tr>"));
    EXPECT_FALSE(doc.contains("Windows-"));
    EXPECT_EQ(desktop_.terminated, (QStringList{"chrome.exe", "chrome.exe"}));  // before URL history and cookies
}

TEST_F(Report, ARowIsItsCellsJoinedByCaretsTrimmedAndSplitAgain) {
    // Blanks are trimmed from the joined text's ends only, which may leave an empty first or
    // last piece; a "^" inside a value splits it, also at its start or end.
    volume_.userHive(tools::sampleUserHive());
    QString error;
    ASSERT_TRUE(tools::writeDatabase(volume_.root() + "/Users/alice/AppData/Local/Google/Chrome/User Data/Default/Top Sites",
                                     "CREATE TABLE thumbnails (url TEXT, url_rank INTEGER, title TEXT);"
                                     "INSERT INTO thumbnails VALUES ('  ^lead', 1, 'x'), ('   ', 2, 'tail^  '), ('u', 3, ''),"
                                     " ('a^^b', 4, ' t '), ('  ', 5, '  ');", &error));
    open();
    const QStringList doc = write(ReportSelection{0, 0, 0, 1, 0});
    const QStringList rows[] = {{"  ^lead", "1", "x"}, {"   ", "2", "tail^  "}, {"u", "3", ""}, {"a^^b", "4", " t "}, {"  ", "5", "  "}};
    QStringList expected;
    for (int i = 0; i < 5; ++i) {
        const QString cls = i % 2 ? "style5" : "style7";
        const QStringList pieces = rows[i].join('^').trimmed().split('^');
        for (qsizetype p = 0; p < pieces.size(); ++p) {
            const QString open = p == 0 ? QString("<td style=\"width: 400px\" class=\"%1\">").arg(cls)
                                 : p == 1 ? QString("<td style=\"width: 50px\" class=\"%1\">").arg(cls)
                                          : QString("<td class=\"%1\">").arg(cls);
            expected << (p == 0 ? "<tr>" : "") + open + pieces[p] + "</td>";
        }
        expected << "</tr>";
    }
    const qsizetype first = doc.indexOf("<td style=\"width: 50px\" class=\"style10\"><strong>Rank</strong></td>") + 2;
    ASSERT_GT(first, 1);
    EXPECT_EQ(doc.mid(first, expected.size()), expected);
}

TEST_F(Report, TheIndexDatBoxWorksOnItsOwnAndSkipEndsOnlyThatSection) {
    volume_.userHive(tools::sampleUserHive());
    QByteArray index;
    for (int i = 0; i < 50; ++i) index += QByteArray("URL ").leftJustified(104, '.') + QByteArray("http://x/").leftJustified(196, '\0');
    volume_.file("Users/alice/AppData/Local/Microsoft/Windows/Temporary Internet Files/Content.IE5/index.dat", index);
    tools::HiveBuilder user = tools::sampleUserHive();
    user.sz(kExplorer + "RunMRU", "a", "cmd\\1");
    volume_.userHive(user);
    open();
    int polls = 0;
    const QString doc = write(ReportSelection{0, 1, 0, 0, 1}, [&] {
                             if (++polls == 5) run_.skipRequested = true;
                         }).join('\n');
    EXPECT_FALSE(doc.contains("Internet Explorer</td>"));  // no Internet Explorer row without its box
    EXPECT_TRUE(doc.contains("<a name=\"Internet_Explorer-Index.dat file\">"));
    EXPECT_LT(doc.count("http://x/"), 50);
    EXPECT_GE(doc.count("http://x/"), 3);
    EXPECT_TRUE(doc.contains("<tr><td class=\"style7\">cmd</td></tr>"));  // the sections after it are written
    EXPECT_EQ(skipShown_, (QList<bool>{true, false}));
}

TEST_F(Report, AFileThatCannotBeCreatedEndsTheReport) {
    volume_.userHive(tools::sampleUserHive());
    open();
    const ReportEnvironment env{reportContext(), run_, "", "", [](const QString&) {}, [](bool) {}, {}};
    EXPECT_FALSE(WriteHTML("/nonexistent/folder/report.htm", ReportSelection{}, env));
}

}  // namespace
}  // namespace kestrova
