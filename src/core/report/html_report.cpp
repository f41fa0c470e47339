#include "core/report/html_report.h"

#include <QFile>
#include <QSysInfo>
#include <type_traits>
#include <algorithm>
#include <cstring>
#include <memory>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>
#include <span>

#include "core/app/catalogue.h"
#include "core/common/text.h"
#include "core/frame/collector.h"
#include "core/readers/ie/url_history.h"

namespace kestrova {
namespace {

struct HeaderCell {
    const char* name;
    int width;  // 0: no width
};

enum class Group { InternetExplorer, IndexDat, Windows, Firefox, Chrome };

struct Section {
    const char* key;  // the category whose rows the section writes
    Group group;
    const char* anchor;
    const char* heading;
    std::span<const HeaderCell> header;  // empty: one column, named as the category's column
    const char* progress;
    const char* mode = "";  // the list mode a collector filters by
};

constexpr HeaderCell kIeUrl[] = {{"Title", 420}, {"URL", 471}, {"Last Visited", 171}};
constexpr HeaderCell kFfUrl[] = {{"URL", 500}, {"Title", 500}};
constexpr HeaderCell kFfCookies[] = {{"Host", 300}, {"Name", 300}, {"Creation Time", 200}, {"Last Accessed Time", 200}};
constexpr HeaderCell kFfDownloads[] = {{"File Name", 300}, {"Source", 400}, {"Start Time", 200}, {"End Time", 200}};
constexpr HeaderCell kFfForms[] = {{"Field Name", 200}, {"Value", 200}, {"Times Used", 200}, {"First Used", 200}, {"Last Used", 200}};
constexpr HeaderCell kChUrl[] = {{"URL", 500}, {"Title", 400}, {"Visit Count", 51}, {"Last Visited", 150}};
constexpr HeaderCell kChCookies[] = {{"Host", 200}, {"Name", 200}, {"Creation Time", 100}, {"Last Accessed", 100}};
constexpr HeaderCell kChDownloads[] = {{"File Name", 400}, {"Time", 100}};
constexpr HeaderCell kChTopSites[] = {{"URL", 400}, {"Rank", 50}};

// The sections in the order of the index. The two anchors that differ from their index links
// ("Index.dat file", "keyword") are the product's own and stay: those links do not jump.
// Search History and Typed Paths are collected in no list mode: their entries as they are.
const Section kSections[] = {
    {"a1", Group::InternetExplorer, "Internet_Explorer-URL_History", "Internet Explorer--URL History", kIeUrl,
     "Creating Internet Explorer URL history report..."},
    {"a2", Group::InternetExplorer, "Internet_Explorer-Address Bar", "Internet Explorer-Address Bar History", {},
     "Creating Internet Explorer Address Bar report..."},
    {"a3", Group::InternetExplorer, "Internet_Explorer-Cookies", "Internet Explorer-Cookies", {},
     "Creating Internet Explorer Cookie report..."},
    {"a4", Group::IndexDat, "Internet_Explorer-Index.dat file", "Internet Explorer-Index.dat ", {},
     "Creating Index.dat report...this may take 2-3 minute if the file is large"},
    {"b1", Group::Windows, "Windows-Recent Documents", "Windows-Recent Documents", {}, "Creating Windows recent documents report..."},
    {"b2", Group::Windows, "Windows-Search History", "Windows-Search History", {}, "Creating Windows Search History report..."},
    {"b3", Group::Windows, "Windows-Run History", "Windows-Run History", {}, "Creating Windows Run History report...", "run"},
    {"b4", Group::Windows, "Windows-Open/Save History", "Windows-Open/Save History", {}, "Creating Windows Open/Save History report..."},
    {"b5", Group::Windows, "Windows-List Visited History", "Windows-List Visited History", {},
     "Creating Windows List Visited History report..."},
    {"b6", Group::Windows, "Windows-USB Storage History", "Windows-USB Storage History", {},
     "Creating Windows USB Storage History report..."},
    {"b7", Group::Windows, "Windows-First Folder", "Windows-First Folder", {}, "Creating Windows First Folder report..."},
    {"b8", Group::Windows, "Windows-Typed Paths", "Windows-Typed Paths", {}, "Creating Windows Typed Paths report..."},
    {"c1", Group::Firefox, "Firefox-URL History", "Firefox-URL History", kFfUrl, "Creating Firefox URL history report..."},
    {"c2", Group::Firefox, "Firefox-Cookies", "Firefox-Cookies", kFfCookies, "Creating Firefox Cookies report..."},
    {"c3", Group::Firefox, "Firefox-Downloads", "Firefox-Downloads", kFfDownloads, "Creating Firefox downloads report..."},
    {"c4", Group::Firefox, "Firefox-Input History", "Firefox-Input History", {}, "Creating Firefox Input History report..."},
    {"c5", Group::Firefox, "Firefox-Form History", "Firefox-Form History", kFfForms, "Creating Firefox Form History report..."},
    {"d1", Group::Chrome, "Chrome-URL History", "Chrome-URL History", kChUrl, "Creating Chrome URL history report..."},
    {"d2", Group::Chrome, "Chrome-Cookies", "Chrome-Cookies", kChCookies, "Creating Chrome Cookies report..."},
    {"d3", Group::Chrome, "Chrome-Downloads", "Chrome-Downloads", kChDownloads, "Creating Chrome Downloads report..."},
    {"d4", Group::Chrome, "Chrome-Top Visited Sites", "Chrome-Top Visited Sites", kChTopSites,
     "Creating Chrome Top Visited Sites report..."},
    {"d5", Group::Chrome, "Chrome-keyword Searched", "Chrome-keyword Searched", {}, "Creating Chrome keyword Searched report..."},
};

const char* const kStyle[] = {
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
};

// The index's link cells by position, and the fillers that give every row the same nine cells.
const char* const kLinkCell[] = {"<td class=\"style9\" style=\"width: 120px\">", "<td class=\"style9\" style=\"width: 90px\">",
                                 "<td class=\"style9\" style=\"width: 113px\">", "<td class=\"style9\" style=\"width: 125px\">",
                                 "<td class=\"style9\" style=\"width: 141px\">", "<td class=\"style9\" style=\"width: 103px\">",
                                 "<td class=\"style9\">",                        "<td class=\"style9\">"};
const char* const kFiller[] = {"", "", "", "<td class=\"style9\" style=\"width: 125px\">&nbsp;</td>",
                               "<td class=\"style9\" style=\"width: 141px\">&nbsp;</td>",
                               "<td class=\"style9\" style=\"width: 103px\">&nbsp;</td>"};
const char* const kLastFillers = "<td class=\"style9\">&nbsp;</td><td class=\"style9\">&nbsp;</td></tr>";
const char* const kOddFiller = "<td class=\"; style9; \">&nbsp;</td>";
const char* const kOddLastFiller = "<td class=\"; style9; \">&nbsp;</td></tr>";

struct Link {
    const char* key;
    const char* fragment;
};
const Link kIeLinks[] = {{"a1", "<a href=\"#Internet_Explorer-URL_History\">URL History</a></td>"},
                         {"a2", "<a href=\"#Internet_Explorer-Address Bar\">Address Bar</a></td>"},
                         {"a3", "<a href=\"#Internet_Explorer-Cookies\">Cookies</a></td>"},
                         {"a4", "<a href=\"#Internet_Explorer-Index.dat File\">Index.dat File</a></td>"}};
const Link kWindowsLinks[] = {{"b1", "<a href=\"#Windows-Recent Documents\">Recent Documents</a></td>"},
                              {"b2", "<a href=\"#Windows-Search History\">Search History</a></td>"},
                              {"b3", "<a href=\"#Windows-Run History\">Run History</a></td>"},
                              {"b4", "<a href=\"#Windows-Open/Save History\">Open/Save History</a></td>"},
                              {"b5", "<a href=\"#Windows-List Visited History\">List Visted History</a></td>"},
                              {"b6", "<a href=\"#Windows-USB Storage History\">USB Storage History</a></td>"},
                              {"b7", "<a href=\"#Windows-First Folder\">First Folder</a></td>"},
                              {"b8", "<a href=\"#Windows-Typed Paths\">Typed Paths</a></td>"}};
const Link kFirefoxLinks[] = {{"c1", "<a href=\"#Firefox-URL History\">URL History</a></td>"},
                              {"c2", "<a href=\"#Firefox-Cookies\">Cookies</a></td>"},
                              {"c3", "<a href=\"#Firefox-Downloads\">Downloads</a></td>"},
                              {"c4", "<a href=\"#Firefox-Input History\">Input History</a></td>"},
                              {"c5", "<a href=\"#Firefox-Form History\">Form History</a></td>"}};
const Link kChromeLinks[] = {{"d1", "<a href=\"#Chrome-URL History\">URL History</a></td>"},
                             {"d2", "<a href=\"#Chrome-Cookies\">Cookies</a></td>"},
                             {"d3", "<a href=\"#Chrome-Downloads\">Downloads</a></td>"},
                             {"d4", "<a href=\"#Chrome-Top Visited Sites\">Top Visited Sites</a></td>"},
                             {"d5", "<a href=\"#Chrome-Keyword Searched\">Keyword Searched</a></td>"}};

// The document's text as UTF-16 little-endian with its byte-order mark, gathered in buffers that
// a thread of its own writes to the file while the next one fills: a million-row section costs
// about as much time in the file system as in making its text. Rows are written as pieces of
// text, never built up as strings first.
class Document {
public:
    explicit Document(QFile& file) : file_(file), filling_(newBuffer()), writer_([this] { writeBuffers(); }) {
        appendBytes("\xFF\xFE", 2);
    }
    ~Document() { finish(); }
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    void line(QStringView text) {
        append(text);
        newline();
    }
    void line(const QString& text) { line(QStringView(text)); }
    void line(const char* text) { line(QString::fromUtf8(text)); }
    void append(QStringView text) {
        if constexpr (QSysInfo::ByteOrder == QSysInfo::LittleEndian) {
            appendBytes(reinterpret_cast<const char*>(text.utf16()), static_cast<size_t>(text.size()) * 2);
        } else {
            for (const QChar c : text) appendUnit(c.unicode());
        }
    }
    // ASCII fragments of the product's own.
    void append(QLatin1StringView text) {
        const auto units = static_cast<size_t>(text.size());
        if (2 * units > kBuffer) {  // longer than a buffer: a unit at a time
            for (const char c : text) appendUnit(static_cast<unsigned char>(c));
            return;
        }
        if (filling_.size + 2 * units > kBuffer) handOver();
        char* into = filling_.bytes.get() + filling_.size;
        for (size_t i = 0; i < units; ++i) {
            into[2 * i] = text.data()[i];
            into[2 * i + 1] = 0;
        }
        filling_.size += 2 * units;
    }
    void newline() { append(QStringView(u"\r\n")); }
    // Writes what is left and waits until the file has it all.
    void finish() {
        if (!writer_.joinable()) return;
        handOver();
        {
            const std::lock_guard lock(mutex_);
            finished_ = true;
        }
        changed_.notify_all();
        writer_.join();
    }

private:
    static constexpr size_t kBuffer = size_t{1} << 20;
    static constexpr size_t kPending = 2;
    struct Buffer {
        std::unique_ptr<char[]> bytes;
        size_t size = 0;
    };
    static Buffer newBuffer() { return Buffer{std::make_unique_for_overwrite<char[]>(kBuffer), 0}; }

    void appendUnit(char16_t unit) {
        if (filling_.size + 2 > kBuffer) handOver();
        filling_.bytes[filling_.size++] = static_cast<char>(unit & 0xFF);
        filling_.bytes[filling_.size++] = static_cast<char>(unit >> 8);
    }
    void appendBytes(const char* bytes, size_t count) {
        while (count > 0) {
            const size_t part = std::min(count, kBuffer - filling_.size);
            std::memcpy(filling_.bytes.get() + filling_.size, bytes, part);
            filling_.size += part;
            bytes += part;
            count -= part;
            if (filling_.size == kBuffer) handOver();
        }
    }
    void handOver() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return pending_.size() < kPending; });
        pending_.push_back(std::move(filling_));
        if (!spare_.empty()) {
            filling_ = std::move(spare_.back());
            spare_.pop_back();
        } else {
            lock.unlock();
            filling_ = newBuffer();
            lock.lock();
        }
        changed_.notify_all();
    }
    void writeBuffers() {
        std::unique_lock lock(mutex_);
        for (;;) {
            changed_.wait(lock, [this] { return !pending_.empty() || finished_; });
            if (pending_.empty()) return;
            Buffer buffer = std::move(pending_.front());
            pending_.pop_front();
            lock.unlock();
            if (buffer.size) file_.write(buffer.bytes.get(), static_cast<qint64>(buffer.size));
            buffer.size = 0;
            lock.lock();
            spare_.push_back(std::move(buffer));
            changed_.notify_all();
        }
    }

    QFile& file_;  // written only by the writing thread until finish()
    Buffer filling_;
    std::deque<Buffer> pending_;
    std::vector<Buffer> spare_;
    bool finished_ = false;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::thread writer_;  // last: started once the rest is in place
};

// A section's cell openings, worked out once: by column, plain and shaded.
struct CellOpenings {
    explicit CellOpenings(const Section& section) {
        for (const bool shaded : {false, true}) {
            const QString cls = QLatin1String(shaded ? "style5" : "style7");
            // What goes before each piece: the row's start or the last cell's end, then the
            // cell's opening, so that a piece costs two appends.
            for (const HeaderCell& cell : section.header) {
                before[shaded].append((before[shaded].isEmpty() ? QStringLiteral("<tr>") : QStringLiteral("</td>\r\n")) +
                                      QStringLiteral("<td style=\"width: %1px\" class=\"%2\">").arg(cell.width).arg(cls));
            }
            beyond[shaded] = QStringLiteral("</td>\r\n<td class=\"%1\">").arg(cls);
            single[shaded] = QStringLiteral("<tr><td class=\"%1\">").arg(cls);
        }
    }
    QStringList before[2];
    QString beyond[2];  // before a piece beyond the header's cells
    QString single[2];  // the one cell of a section without a header
};

bool selected(const ReportSelection& s, Group group) {
    switch (group) {
        case Group::InternetExplorer: return s.internetExplorer == 1;
        case Group::IndexDat: return s.indexDat == 1;
        case Group::Windows: return s.windows == 1;
        case Group::Firefox: return s.firefox == 1;
        case Group::Chrome: return s.chrome == 1;
    }
    return false;
}

// One index row: its first cell, a link cell per category written, fillers up to nine cells.
void indexRow(Document& doc, const char* first, bool firstWhole, std::span<const Link> links, const ReportSelection& s,
              bool oddFillers) {
    if (firstWhole) {
        doc.line(first);
    } else {
        doc.line("<tr><td style=\"width: 122px\" class=\"style9\">");
        doc.line(first);
    }
    int position = 0;
    for (const Link& link : links) {
        if (QLatin1String(link.key) == QLatin1String("a4") && s.indexDat != 1) continue;
        doc.line(kLinkCell[position++]);
        doc.line(link.fragment);
    }
    // Fillers by position; the last two share one fragment that also ends the row. Firefox's
    // row has its own odd fillers there, kept as they always were.
    for (; position < 6; ++position) doc.line(kFiller[position]);
    if (position == 6 && oddFillers) {
        doc.line(kOddFiller);
        doc.line(kOddLastFiller);
    } else if (position == 6) {
        doc.line(kLastFillers);
    } else {
        doc.line("</tr>");
    }
}

void headerRow(Document& doc, const Section& section) {
    if (section.header.empty()) {
        const Category* category = findCategory(QLatin1String(section.key));
        doc.line("<tr><td class=\"style10\"><strong><span class=\"style11\">");
        doc.line(QLatin1String(category->columns.front().text) + QStringLiteral("</span></strong></td></tr>"));
        return;
    }
    for (size_t i = 0; i < section.header.size(); ++i) {
        const HeaderCell& cell = section.header[i];
        if (i == 0) {
            doc.line(QStringLiteral("<tr><td style=\"width: %1px\" class=\"style10\"><strong><span class=\"style11\">").arg(cell.width));
            doc.line(QLatin1String(cell.name) + QStringLiteral("</span></strong></td>"));
        } else {
            doc.line(QStringLiteral("<td style=\"width: %1px\" class=\"style10\"><strong>%2</strong></td>").arg(cell.width).arg(QLatin1String(cell.name)));
        }
    }
    doc.line(QStringView(u"</tr>"));
}

// The pieces of a row whose cells are joined by "^", trimmed of blanks at both ends and split at
// every "^" again, taken from the cells as they are: the joining "^"s end cells, the trim touches
// only the first cell's start and the last cell's end (a "^" is no blank), and a "^" inside a
// cell splits it. piece(view, last) is called for each, in order.
template <typename Piece>
void forEachPiece(std::span<const QAnyStringView> cells, Piece piece) {
    const QAnyStringView none;
    if (cells.empty()) cells = std::span(&none, 1);
    for (size_t i = 0; i < cells.size(); ++i) {
        cells[i].visit([&](auto view) {
            if constexpr (std::is_same_v<decltype(view), QUtf8StringView>) {
                Q_UNREACHABLE();  // sources hand over Latin-1 or UTF-16
            } else {
                qsizetype from = 0, to = view.size();
                if (i == 0) {
                    while (from < to && view[from] == QLatin1Char(' ')) ++from;
                }
                if (i + 1 == cells.size()) {
                    while (to > from && view[to - 1] == QLatin1Char(' ')) --to;
                }
                for (qsizetype start = from;;) {
                    qsizetype end = view.mid(start, to - start).indexOf(QLatin1Char('^'));
                    end = end < 0 ? to : start + end;
                    const bool last = end == to && i + 1 == cells.size();
                    piece(view.mid(start, end - start), last);
                    if (end == to) break;
                    start = end + 1;
                }
            }
        });
    }
}

// One row of cells written as they are, without the split and trim of a joined row: the
// history store's items, which no collector joins.
void cellRow(Document& doc, const CellOpenings& openings, std::initializer_list<QStringView> cells, bool shaded) {
    qsizetype column = 0;
    for (const QStringView cell : cells) {
        doc.append(column < openings.before[shaded].size() ? openings.before[shaded][column] : openings.beyond[shaded]);
        doc.append(cell);
        ++column;
    }
    doc.append(QStringView(u"</td>\r\n</tr>\r\n"));
}

// One data row: the row's "^"-pieces in cells, the class alternating row by row; a piece beyond
// the header's cells gets a cell without a width. The text goes in as it comes.
void dataRow(Document& doc, const Section& section, const CellOpenings& openings, std::span<const QAnyStringView> cells,
             bool shaded) {
    if (section.header.empty()) {
        // One cell: the pieces joined by "^" again, which is the trimmed text itself.
        doc.append(openings.single[shaded]);
        forEachPiece(cells, [&](auto piece, bool last) {
            doc.append(piece);
            if (!last) doc.append(QStringView(u"^"));
        });
        doc.append(QStringView(u"</td></tr>\r\n"));
        return;
    }
    qsizetype column = 0;
    forEachPiece(cells, [&](auto piece, bool) {
        doc.append(column < openings.before[shaded].size() ? openings.before[shaded][column] : openings.beyond[shaded]);
        doc.append(piece);
        ++column;
    });
    doc.append(QStringView(u"</td>\r\n</tr>\r\n"));
}

}  // namespace

bool WriteHTML(const QString& path, const ReportSelection& selection, const ReportEnvironment& env) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) return false;
    return WriteHTML(file, selection, env);
}

bool WriteHTML(QFile& file, const ReportSelection& selection, const ReportEnvironment& env) {
    Document doc(file);
    env.progress(QStringLiteral("Start creating report..."));

    doc.line("<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.0 Transitional//EN\" "
             "\"http://www.w3.org/TR/xhtml1/DTD/xhtml1-transitional.dtd\">");
    doc.line("<head>");
    doc.line("<meta http-equiv=\"Content-Type\"content=\"text/html; charset=utf-8\" />");
    // Rows are written unescaped, as they always were, so a page title from the evidence may
    // hold mark-up, scripts included. No script of the examined system may run on the examiner's
    // machine when the report is opened: this one line forbids them all.
    doc.line("<meta http-equiv=\"Content-Security-Policy\" content=\"script-src 'none'\" />");
    doc.line("<title>Kestrova Report</title>");
    doc.line("<style type=\"text/css\">");
    for (const char* rule : kStyle) doc.line(rule);
    doc.line("</style></head><body>");

    // The title block: the anchor stays unclosed, as it always was. Each value cell is written
    // as one line: its opening fragment, the value, its closing fragment.
    doc.line("<p class=\"style6\"><strong><a name=\"top\">Kestrova Report</strong></p>");
    doc.line("<table style=\"width: 100%\" class=\"style1\">");
    const std::pair<const char*, QString> header[] = {{"User Name:", env.source.os.UserName()},
                                                      {"Computer:", env.source.os.ComputerName()},
                                                      {"Reported Date:", env.reportedAt}};
    for (size_t i = 0; i < 3; ++i) {
        doc.line(QStringLiteral("<tr><td style=\"width: 93px\" class=\"style9\">") + QLatin1String(header[i].first) + QStringLiteral("</td>"));
        doc.line(QStringLiteral("<td style=\"width: 559px\" class=\"style9\">") + header[i].second +
                 QLatin1String(i == 2 ? "</td></tr></table>" : "</td></tr>"));
    }
    doc.line("<p class=\"style8\">&nbsp;</p>");

    doc.line("<table class=\"style2\">");
    if (selection.internetExplorer == 1) indexRow(doc, "Internet Explorer</td>", false, kIeLinks, selection, false);
    if (selection.windows == 1) indexRow(doc, "Windows</td>", false, kWindowsLinks, selection, false);
    if (selection.firefox == 1) {
        indexRow(doc, "<tr><td style=\"width: 122px\" class=\"style9\">Firefox</td>", true, kFirefoxLinks, selection, true);
    }
    if (selection.chrome == 1) {
        indexRow(doc, "<tr><td style=\"width: 122px\" class=\"style9\">Chrome</td>", true, kChromeLinks, selection, false);
    }
    doc.line("</table>");
    doc.line("<p>&nbsp;</p>");

    for (const Section& section : kSections) {
        if (!selected(selection, section.group)) continue;
        env.progress(QLatin1String(section.progress));
        doc.line("<table class=\"style1\"><tr>");
        doc.line(QStringLiteral("<td colspan=\"5\" class=\"style4\"><a name=\"") + QLatin1String(section.anchor) + QStringLiteral("\">"));
        doc.line(QLatin1String(section.heading) + QStringLiteral("</a></td></tr>"));
        headerRow(doc, section);
        const CellOpenings openings(section);
        // The first data row is plain, the next shaded, and so on; in every section.
        bool shaded = false;
        if (QLatin1String(section.key) == QLatin1String("a1")) {
            // Not a collector: the history store's items, title (80 characters at most), URL and
            // last visit, read once per item, each its own cell as it is (a "^" or the blanks of
            // a title are the title's).
            CURLHistory history(env.source.os.system().urlHistory(), env.source.stamps.clock());
            history.Refresh(QStringLiteral("http"), 0);
            for (const CURLHistory::ItemPtr& item : history) {
                cellRow(doc, openings, {item->Title().left(80), item->URL(), generalDateText(item->LastVisited())}, shaded);
                shaded = !shaded;
            }
        } else {
            const Category* category = findCategory(QLatin1String(section.key));
            SourceContext source = env.source;
            source.mode = QLatin1String(section.mode);
            const bool index = section.group == Group::IndexDat;
            if (index) {
                env.run.skipRequested = false;
                env.showSkip(true);
            }
            CollectingSink sink(
                CollectingSink::EmitCells([&](std::span<const QAnyStringView> cells) {
                    dataRow(doc, section, openings, cells, shaded);
                    shaded = !shaded;
                }),
                category->onError, index ? &env.run : nullptr, env.pumpEvents);
            try {
                category->rows(source, sink);
            } catch (const RuntimeError&) {
                // The collector ended where it stood; its rows are written.
            }
            if (index) env.showSkip(false);
        }
        doc.line("</table>");
        doc.line("<a href=\"#top\">return to top</a><br /><br />");
    }
    doc.line(QStringLiteral("<p>Created by <a href=\"") + env.homePage + QStringLiteral("\">Kestrova</a></p>"));
    doc.line("</body></html>");
    doc.finish();
    return file.error() == QFileDevice::NoError;
}

}  // namespace kestrova
