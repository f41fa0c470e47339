// The category catalogue: the four groups and twenty-two categories of the tree, each with its
// columns, hints and reader, in tree order, as one table. Adding a category is one row here.
#pragma once

#include <QString>
#include <optional>
#include <span>
#include <vector>

#include "core/app/reader_context.h"

namespace kestrova {

struct Category;
// A reader gets its own catalogue row, so that its columns and hints are written in one place.
using ReaderFn = void (*)(ReaderContext&, const Category&);

struct ColumnSpec {
    const char* text;
    int widthTwips;
};

// What a double-click on a row of the category opens.
enum class OpenTarget {
    Nothing,
    FirstCell,
    SecondCell,     // the "Title" cell of IE's URL history, not its URL: kept as designed
    CookiesFolder,  // the user's Cookies folder, whatever the row
};

struct Category {
    const char* key;
    const char* parent;   // "" for a group
    const char* caption;  // spellings kept as shipped ("Internet Explorer ", "Top Visted Sites")
    std::span<const ColumnSpec> columns;
    const char* loadingHint;  // panel 1 while loading; nullptr when untouched
    const char* hint;         // panel 1 when filled; nullptr when left as it was
    bool writesCount;         // panel 2 "Total Records: n"; b5 to b8 leave it alone
    OpenTarget open;
    ReaderFn reader;          // nullptr for groups
    bool isGroup() const { return parent[0] == '\0'; }
};

// Groups and categories in the order they are added to the tree.
std::span<const Category> catalogue();
const Category* findCategory(const QString& key);
// The selection dispatch: the reader bound to a key, also for the keys the tree never shows
// ("e1" .. "e4"); nullptr when the key runs nothing (groups, "e2" .. "e4", unknown keys).
ReaderFn dispatch(const QString& key);
// Every category key in tree order (no groups).
QStringList categoryKeys();

// Clears rows then columns and adds the category's columns, as every reader starts.
void startList(ReaderContext& ctx, const Category& category);

// The target a double-click opens for a row of the category ("" for Nothing); nullopt when
// nothing is to be opened at all.
std::optional<QString> openTarget(const Category& category, const ResultList& list, int row, const OsApi& os);

}  // namespace kestrova
