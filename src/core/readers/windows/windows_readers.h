// The row sources of the Windows group (b1 to b8) and of the typed addresses (a2), and the
// report-side collectors named after them, which run the same sources with the report's rules.
#pragma once

#include <QStringList>

#include "core/frame/row_sink.h"

namespace kestrova {

void recentDocumentRows(const SourceContext& src, RowSink& sink);  // b1
void searchHistoryRows(const SourceContext& src, RowSink& sink);   // b2
void runHistoryRows(const SourceContext& src, RowSink& sink);      // b3
void openSaveRows(const SourceContext& src, RowSink& sink);        // b4
void lastVisitedRows(const SourceContext& src, RowSink& sink);     // b5
void usbStorageRows(const SourceContext& src, RowSink& sink);      // b6
void firstFolderRows(const SourceContext& src, RowSink& sink);     // b7
void typedPathRows(const SourceContext& src, RowSink& sink);       // b8
void addressBarRows(const SourceContext& src, RowSink& sink);      // a2

// Report side. What the window takes from its own state (the list mode) they take as arguments.
QStringList GetRecentDocuments(const SourceContext& src);
QStringList GetSearchHistory(const SourceContext& src, const QString& mode);
QStringList getRegList(const SourceContext& src, RootKey root, const QString& keyPath, const QString& mode);
QStringList MergeA(const QStringList& first, const QStringList& second);
QStringList getRunHistory(const SourceContext& src);
QStringList getOpenSave(const SourceContext& src);
QStringList getLastVisit(const SourceContext& src);
QStringList getUSBStorage(const SourceContext& src);
QStringList getFirstFolder(const SourceContext& src);
QStringList GetTypedPath(const SourceContext& src, const QString& mode);
QStringList GetIEAddressBar(const SourceContext& src);

}  // namespace kestrova
