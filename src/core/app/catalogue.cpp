#include "core/app/catalogue.h"

#include "core/common/text.h"
#include "core/readers/browsers/chrome.h"
#include "core/readers/browsers/firefox.h"
#include "core/readers/browsers/opera.h"
#include "core/readers/ie/cookies.h"
#include "core/readers/ie/index_dat.h"
#include "core/readers/ie/url_history.h"
#include "core/readers/windows/windows_readers.h"

namespace kestrova {
namespace {

using enum ColumnKind;

constexpr ColumnSpec kA1[] = {{"URL", 5000}, {"Title", 5000}, {"Last Visited", 2000, Time}};
constexpr ColumnSpec kA2[] = {{"URLs", 4000}};
constexpr ColumnSpec kA3[] = {{"Cookies", 6000}};
constexpr ColumnSpec kA4[] = {{"URLs In Index.dat File", 8000}};
constexpr ColumnSpec kB1[] = {{"Recent Documents", 8000}};
constexpr ColumnSpec kB2[] = {{"Start Menu Search History", 8000}};
constexpr ColumnSpec kB3[] = {{"Start Menu Run History", 8000}};
constexpr ColumnSpec kB4[] = {{"Open/Save History", 6000}};
constexpr ColumnSpec kB5[] = {{"Last Visited History", 8000}};
constexpr ColumnSpec kB6[] = {{"USB Storage History", 8000}};
constexpr ColumnSpec kB7[] = {{"First Folder (Windows 7)", 8000}};
constexpr ColumnSpec kB8[] = {{"Type Paths (Windows 7)", 8000}};
constexpr ColumnSpec kC1[] = {{"URLs History", 8000}, {"Title", 8000}, {"Last Visted Time", 2000, Time}};
constexpr ColumnSpec kC2[] = {{"Host", 2000}, {"Name", 4000}, {"Creation Time", 2000, Time}, {"Last Accessd Time", 2000, Time}};
constexpr ColumnSpec kC3[] = {{"File Name", 6000}, {"Source", 4000}, {"Start Time", 2000, Time}, {"End Time", 2000, Time}};
constexpr ColumnSpec kC4[] = {{"Firefox Input History", 6000}};
constexpr ColumnSpec kC5[] = {{"Field Name", 1500}, {"Value ", 4000}, {"Times Used", 1500, Number},
                              {"First Used", 2000, Time}, {"Last Used", 2000, Time}};
constexpr ColumnSpec kD1[] = {{"URL History", 6000}, {"Title", 6000}, {"Visit Count", 1000, Number},
                              {"Last Visited Time", 2000, Time}};
constexpr ColumnSpec kD2[] = {{"Host", 2000}, {"name", 2000}, {"Creation Time", 2000, Time}, {"Last Accessed Time", 2000, Time}};
constexpr ColumnSpec kD3[] = {{"File Name", 6000}, {"Source", 8000}, {"Download Time", 1500, Time}};
constexpr ColumnSpec kD4[] = {{"URL", 6000}, {"Rank", 1000, Number}, {"title", 6000}};
constexpr ColumnSpec kD5[] = {{"Keyword Searched", 6000}};
constexpr ColumnSpec kE1[] = {{"URL History", 6000}, {"Title", 6000}, {"Last Visited Time", 2000, Time}};

constexpr const char* kLoading = "Loading...";
using enum OpenTarget;

// The tree, in the order its nodes are added. Caption, header and hint spellings are the
// product's own and are kept ("Internet Explorer " with its blank, "Top Visted Sites",
// "Double Cilck").
const Category kCatalogue[] = {
    {.key = "root", .caption = "Internet Explorer "},
    {.key = "root2", .caption = "Windows"},
    {.key = "root3", .caption = "Firefox"},
    {.key = "root4", .caption = "Google Chrome"},
    {.key = "a1", .parent = "root", .caption = "URL History", .columns = kA1, .hint = "Double Cilck to view",
     .listMode = listmode::Cache, .open = SecondCell, .rows = urlHistoryRows},
    {.key = "a2", .parent = "root", .caption = "Address Bar", .columns = kA2, .hint = "Double Cilck to view",
     .listMode = listmode::Url, .open = FirstCell, .rows = addressBarRows},
    {.key = "a3", .parent = "root", .caption = "Cookies", .columns = kA3, .hint = "Double click to view cookie folder",
     .listMode = listmode::Cookies, .open = CookiesFolder, .rows = cookieRows},
    // The scan sets its hint first and then shows the scanned file's path in panel 1, which stays.
    {.key = "a4", .parent = "root", .caption = "Index.dat File", .columns = kA4, .loadingHint = "Double click to view",
     .listMode = listmode::IndexDat, .clearsStop = true, .showsStopButton = true, .open = FirstCell,
     .rows = indexDatRows},
    {.key = "b1", .parent = "root2", .caption = "Recent Document", .columns = kB1, .hint = "Double Click to open",
     .listMode = listmode::RecentDocuments, .open = FirstCell, .rows = recentDocumentRows},
    {.key = "b2", .parent = "root2", .caption = "Search History", .columns = kB2, .hint = "",
     .rows = searchHistoryRows},
    {.key = "b3", .parent = "root2", .caption = "Run History", .columns = kB3, .hint = "Double Cilck to run",
     .listMode = listmode::Run, .rows = runHistoryRows},
    {.key = "b4", .parent = "root2", .caption = "Open/Save History", .columns = kB4, .hint = "",
     .listMode = listmode::Open, .rows = openSaveRows},
    {.key = "b5", .parent = "root2", .caption = "List Visited History", .columns = kB5, .hint = "",
     .writesCount = false, .rows = lastVisitedRows},
    {.key = "b6", .parent = "root2", .caption = "USB Storage History", .columns = kB6, .hint = "",
     .writesCount = false, .rows = usbStorageRows},
    {.key = "b7", .parent = "root2", .caption = "First Folder (Win7)", .columns = kB7, .hint = "",
     .writesCount = false, .rows = firstFolderRows},
    {.key = "b8", .parent = "root2", .caption = "Typed Paths (Win7)", .columns = kB8, .hint = "",
     .writesCount = false, .rows = typedPathRows},
    {.key = "c1", .parent = "root3", .caption = "URL History", .columns = kC1, .loadingHint = kLoading,
     .hint = "Double Click to view", .onError = OnError::SkipStep, .open = FirstCell, .rows = firefoxHistoryRows},
    {.key = "c2", .parent = "root3", .caption = "Cookies", .columns = kC2, .loadingHint = kLoading,
     .onError = OnError::SkipStep, .rows = firefoxCookieRows},
    {.key = "c3", .parent = "root3", .caption = "Downloads", .columns = kC3, .hint = "Double Click to view",
     .open = FirstCell, .rows = firefoxDownloadRows},
    {.key = "c4", .parent = "root3", .caption = "Input History", .columns = kC4, .rows = firefoxInputRows},
    {.key = "c5", .parent = "root3", .caption = "Form History", .columns = kC5, .rows = firefoxFormRows},
    {.key = "d1", .parent = "root4", .caption = "URL History", .columns = kD1, .loadingHint = kLoading,
     .hint = "Double Click to view", .open = FirstCell, .rows = chromeHistoryRows},
    {.key = "d2", .parent = "root4", .caption = "Cookies", .columns = kD2, .loadingHint = kLoading,
     .onError = OnError::SkipStep, .rows = chromeCookieRows},
    {.key = "d3", .parent = "root4", .caption = "Downloads", .columns = kD3, .hint = "Double Click to view",
     .open = FirstCell, .rows = chromeDownloadRows},
    {.key = "d4", .parent = "root4", .caption = "Top Visted Sites", .columns = kD4, .hint = "Double Click to view",
     .rows = chromeTopSiteRows},
    {.key = "d5", .parent = "root4", .caption = "Keyword Searched", .columns = kD5, .rows = chromeKeywordRows},
};

// Keys the dispatch knows although no tree node carries them: "e1" is bound to the Opera history
// reader; "e2" to "e4" are bound to nothing and so run nothing, like any unknown key.
const Category kHiddenKeys[] = {
    {.key = "e1", .caption = "Opera", .columns = kE1, .loadingHint = kLoading, .rows = operaHistoryRows},
};

}  // namespace

std::span<const Category> catalogue() { return kCatalogue; }

const Category* findCategory(const QString& key) {
    for (const Category& c : kCatalogue) {
        if (key == QLatin1String(c.key)) return &c;
    }
    for (const Category& c : kHiddenKeys) {
        if (key == QLatin1String(c.key)) return &c;
    }
    return nullptr;
}

const Category* dispatch(const QString& key) {
    for (const Category& c : kCatalogue) {
        if (!c.isGroup() && key == QLatin1String(c.key)) return &c;
    }
    for (const Category& c : kHiddenKeys) {
        if (key == QLatin1String(c.key)) return &c;
    }
    return nullptr;
}

QStringList categoryKeys() {
    QStringList keys;
    for (const Category& c : kCatalogue) {
        if (!c.isGroup()) keys.append(QLatin1String(c.key));
    }
    return keys;
}

std::optional<QString> openTarget(const Category& category, const ResultList& list, int row, const OsApi& os) {
    switch (category.open) {
        case OpenTarget::Nothing:
            return std::nullopt;
        case OpenTarget::FirstCell:
            return upToNul(list.cell(row, 0)).toString();
        case OpenTarget::SecondCell:
            return upToNul(list.cell(row, 1)).toString();
        case OpenTarget::CookiesFolder:
            return trimBlanks(os.GetShellFolder(QStringLiteral("Cookies"))).toString();
    }
    return std::nullopt;
}

QString desktopTarget(const QString& target, const AnalysedSystem& system) {
    const bool drivePath = target.size() >= 3 && target[1] == QLatin1Char(':') &&
                           (target[2] == QLatin1Char('\\') || target[2] == QLatin1Char('/'));
    if (!drivePath) return target;
    return system.localPath(target).value_or(target);
}

}  // namespace kestrova
