#include "core/app/catalogue.h"

#include "core/readers/windows/windows_readers.h"

namespace kestrova {
namespace {

// Categories whose readers are not part of this build yet show their columns and an empty
// list, which is also what each of them shows when its source is missing.
void readNotYetAvailable(ReaderContext& ctx, const Category& category) {
    if (category.loadingHint) ctx.list.setPanel1(QString::fromLatin1(category.loadingHint));
    startList(ctx, category);
    if (category.hint) ctx.list.setPanel1(QString::fromLatin1(category.hint));
    if (category.writesCount) ctx.list.showCount();
    ctx.host.diagnostic(QStringLiteral("%1: this build has no reader for this category yet")
                            .arg(QLatin1String(category.key)));
}

constexpr ColumnSpec kA1[] = {{"URL", 5000}, {"Title", 5000}, {"Last Visited", 2000}};
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
constexpr ColumnSpec kC1[] = {{"URLs History", 8000}, {"Title", 8000}, {"Last Visted Time", 2000}};
constexpr ColumnSpec kC2[] = {{"Host", 2000}, {"Name", 4000}, {"Creation Time", 2000}, {"Last Accessd Time", 2000}};
constexpr ColumnSpec kC3[] = {{"File Name", 6000}, {"Source", 4000}, {"Start Time", 2000}, {"End Time", 2000}};
constexpr ColumnSpec kC4[] = {{"Firefox Input History", 6000}};
constexpr ColumnSpec kC5[] = {{"Field Name", 1500}, {"Value ", 4000}, {"Times Used", 1500},
                              {"First Used", 2000}, {"Last Used", 2000}};
constexpr ColumnSpec kD1[] = {{"URL History", 6000}, {"Title", 6000}, {"Visit Count", 1000},
                              {"Last Visited Time", 2000}};
constexpr ColumnSpec kD2[] = {{"Host", 2000}, {"name", 2000}, {"Creation Time", 2000}, {"Last Accessed Time", 2000}};
constexpr ColumnSpec kD3[] = {{"File Name", 6000}, {"Source", 8000}, {"Download Time", 1500}};
constexpr ColumnSpec kD4[] = {{"URL", 6000}, {"Rank", 1000}, {"title", 6000}};
constexpr ColumnSpec kD5[] = {{"Keyword Searched", 6000}};
constexpr ColumnSpec kE1[] = {{"URL History", 6000}, {"Title", 6000}, {"Last Visited Time", 2000}};

constexpr const char* kLoading = "Loading...";
using enum OpenTarget;

// The tree, in the order its nodes are added. Caption and header spellings are the product's
// own and are kept ("Internet Explorer " with its blank, "Top Visted Sites", "Double Cilck").
const Category kCatalogue[] = {
    {"root", "", "Internet Explorer ", {}, nullptr, nullptr, false, Nothing, nullptr},
    {"root2", "", "Windows", {}, nullptr, nullptr, false, Nothing, nullptr},
    {"root3", "", "Firefox", {}, nullptr, nullptr, false, Nothing, nullptr},
    {"root4", "", "Google Chrome", {}, nullptr, nullptr, false, Nothing, nullptr},
    {"a1", "root", "URL History", kA1, nullptr, "Double Cilck to view", true, SecondCell, readNotYetAvailable},
    {"a2", "root", "Address Bar", kA2, nullptr, "Double Cilck to view", true, FirstCell, readAddressBar},
    {"a3", "root", "Cookies", kA3, nullptr, "Double click to view cookie folder", true, CookiesFolder, readNotYetAvailable},
    {"a4", "root", "Index.dat File", kA4, nullptr, "Double click to view", true, FirstCell, readNotYetAvailable},
    {"b1", "root2", "Recent Document", kB1, nullptr, "Double Click to open", true, FirstCell, readRecentDocuments},
    {"b2", "root2", "Search History", kB2, nullptr, "", true, Nothing, readSearchHistory},
    {"b3", "root2", "Run History", kB3, nullptr, "Double Cilck to run", true, Nothing, readRunHistory},
    {"b4", "root2", "Open/Save History", kB4, nullptr, "", true, Nothing, readOpenSaveHistory},
    {"b5", "root2", "List Visited History", kB5, nullptr, "", false, Nothing, readLastVisited},
    {"b6", "root2", "USB Storage History", kB6, nullptr, "", false, Nothing, readUsbStorage},
    {"b7", "root2", "First Folder (Win7)", kB7, nullptr, "", false, Nothing, readFirstFolder},
    {"b8", "root2", "Typed Paths (Win7)", kB8, nullptr, "", false, Nothing, readTypedPaths},
    {"c1", "root3", "URL History", kC1, kLoading, "Double Click to view", true, FirstCell, readNotYetAvailable},
    {"c2", "root3", "Cookies", kC2, kLoading, nullptr, true, Nothing, readNotYetAvailable},
    {"c3", "root3", "Downloads", kC3, nullptr, "Double Click to view", true, FirstCell, readNotYetAvailable},
    {"c4", "root3", "Input History", kC4, nullptr, nullptr, true, Nothing, readNotYetAvailable},
    {"c5", "root3", "Form History", kC5, nullptr, nullptr, true, Nothing, readNotYetAvailable},
    {"d1", "root4", "URL History", kD1, kLoading, "Double Click to view", true, FirstCell, readNotYetAvailable},
    {"d2", "root4", "Cookies", kD2, kLoading, nullptr, true, Nothing, readNotYetAvailable},
    {"d3", "root4", "Downloads", kD3, nullptr, "Double Click to view", true, FirstCell, readNotYetAvailable},
    {"d4", "root4", "Top Visted Sites", kD4, nullptr, "Double Click to view", true, Nothing, readNotYetAvailable},
    {"d5", "root4", "Keyword Searched", kD5, nullptr, nullptr, true, Nothing, readNotYetAvailable},
};

// Keys the dispatch knows although no tree node carries them: "e1" is bound to the Opera history
// reader, "e2" to "e4" to nothing.
const Category kHiddenKeys[] = {
    {"e1", "", "Opera", kE1, kLoading, nullptr, true, Nothing, readNotYetAvailable},
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

ReaderFn dispatch(const QString& key) {
    const Category* category = findCategory(key);
    return category ? category->reader : nullptr;
}

QStringList categoryKeys() {
    QStringList keys;
    for (const Category& c : kCatalogue) {
        if (!c.isGroup()) keys.append(QLatin1String(c.key));
    }
    return keys;
}

void startList(ReaderContext& ctx, const Category& category) {
    ctx.list.clearRows();
    ctx.list.clearColumns();
    for (const ColumnSpec& column : category.columns) {
        ctx.list.addColumn(QString::fromLatin1(column.text), column.widthTwips);
    }
}

std::optional<QString> openTarget(const Category& category, const ResultList& list, int row, const OsApi& os) {
    switch (category.open) {
        case OpenTarget::Nothing:
            return std::nullopt;
        case OpenTarget::FirstCell:
            return list.cell(row, 0).toString();
        case OpenTarget::SecondCell:
            return list.cell(row, 1).toString();
        case OpenTarget::CookiesFolder:
            return os.GetShellFolder(QStringLiteral("Cookies")).trimmed();
    }
    return std::nullopt;
}

}  // namespace kestrova
