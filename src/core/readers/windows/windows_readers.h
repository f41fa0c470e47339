// The readers of the Windows group (b1 to b8) and of the typed addresses (a2), and their
// report-side collectors, which follow the same keys and rules but return their rows as texts.
#pragma once

#include <QStringList>

#include "core/app/catalogue.h"

namespace kestrova {

void readRecentDocuments(ReaderContext& ctx, const Category& category);  // b1
void readSearchHistory(ReaderContext& ctx, const Category& category);    // b2
void readRunHistory(ReaderContext& ctx, const Category& category);       // b3
void readOpenSaveHistory(ReaderContext& ctx, const Category& category);  // b4
void readLastVisited(ReaderContext& ctx, const Category& category);      // b5
void readUsbStorage(ReaderContext& ctx, const Category& category);       // b6
void readFirstFolder(ReaderContext& ctx, const Category& category);      // b7
void readTypedPaths(ReaderContext& ctx, const Category& category);       // b8
void readAddressBar(ReaderContext& ctx, const Category& category);       // a2

// Report side. They take what the window would take from its own state as arguments.
QStringList GetRecentDocuments(const ReaderContext& ctx);
QStringList GetSearchHistory(const ReaderContext& ctx, const QString& mode);
QStringList getRegList(const ReaderContext& ctx, RootKey root, const QString& keyPath, const QString& mode);
QStringList MergeA(const QStringList& first, const QStringList& second);
QStringList getRunHistory(const ReaderContext& ctx);
QStringList getOpenSave(const ReaderContext& ctx);
QStringList getLastVisit(const ReaderContext& ctx);
QStringList getUSBStorage(const ReaderContext& ctx);
QStringList getFirstFolder(const ReaderContext& ctx);
QStringList GetTypedPath(const ReaderContext& ctx, const QString& mode);
QStringList GetIEAddressBar(const ReaderContext& ctx);

}  // namespace kestrova
