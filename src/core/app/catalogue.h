// The category catalogue: the four groups and twenty-two categories of the tree, in tree order,
// as one table. A row names everything the frame needs to show a category (columns, hints, mode,
// panels, the double-click target) and binds the row source that fills both the window's list
// and the report. Adding a category is one row here; gui/ and cli/ do not change.
#pragma once

#include <QString>
#include <QStringList>
#include <optional>
#include <span>

#include "core/frame/list_fill.h"

namespace kestrova {

// What a double-click on a row of the category opens.
enum class OpenTarget {
    Nothing,
    FirstCell,
    SecondCell,     // the "Title" cell of IE's URL history, not its URL: kept as designed
    CookiesFolder,  // the user's Cookies folder, whatever the row
};

struct Category {
    const char* key;
    const char* parent = "";  // "" for a group
    const char* caption;      // spellings kept as shipped ("Internet Explorer ", "Top Visted Sites")
    std::span<const ColumnSpec> columns = {};
    const char* loadingHint = nullptr;  // panel 1 while loading; nullptr leaves it
    const char* hint = nullptr;         // panel 1 when filled; nullptr leaves it as it was
    const char* listMode = nullptr;     // a listmode:: value; nullptr keeps the previous mode
    bool writesCount = true;            // panel 2 "Total Records: n"; b5 to b8 leave it alone
    bool clearsStop = false;            // long readers clear StopRequested when they start
    bool showsStopButton = false;       // the main window's Cancel while it runs
    OnError onError = OnError::EndReader;
    OpenTarget open = OpenTarget::Nothing;
    RowSource rows = nullptr;  // the row source of window and report; nullptr for groups

    bool isGroup() const { return parent[0] == '\0'; }
    FillSpec fill() const {
        return FillSpec{columns, loadingHint, hint, listMode, writesCount, clearsStop, showsStopButton, onError};
    }
};

// Groups and categories in the order they are added to the tree.
std::span<const Category> catalogue();
// The row of a key, groups included; nullptr for keys the catalogue does not know.
const Category* findCategory(const QString& key);
// The selection dispatch: the category a key runs, also for "e1", which no tree node carries;
// nullptr when the key runs nothing (groups, "e2" .. "e4", unknown keys).
const Category* dispatch(const QString& key);
// Every category key in tree order (no groups).
QStringList categoryKeys();

class AnalysedSystem;
class OsApi;
class ResultList;
// The target a double-click opens for a row of the category; nullopt when nothing is opened.
std::optional<QString> openTarget(const Category& category, const ResultList& list, int row, const OsApi& os);
// What the desktop's open action is handed for a target: a Windows path of the analysed volume
// becomes its local file (nothing on Linux opens "C:\..."); URLs, titles and paths that are not
// on the volume go as they are, and may fail to open, which is ignored.
QString desktopTarget(const QString& target, const AnalysedSystem& system);

}  // namespace kestrova
