// The built-in sample Windows 7 system: a folder tree standing for C:\ with one user, "alice",
// the hives Windows keeps (her NTUSER.DAT, SYSTEM, SOFTWARE) and the traces a real user leaves.
// It is what Kestrova shows when no other system is chosen, and the fixture most tests start from.
#pragma once

#include <QString>

#include "browsers/browser_data.h"
#include "hivewriter/hive_writer.h"

namespace kestrova::tools {

inline const QString kSampleUser = QStringLiteral("alice");
inline const QString kSampleComputer = QStringLiteral("KESTROVA-SAMPLE");
// Marks a folder as generated, so that regenerating may clear it.
inline const QString kSampleMarker = QStringLiteral(".kestrova-sample");

// The hives of the sample, each a starting point that tests may add to.
HiveBuilder sampleUserHive(const QString& user = kSampleUser);
HiveBuilder sampleSystemHive();
HiveBuilder sampleSoftwareHive();

// What a Windows 7 user leaves in the registry: Run box, typed addresses and paths, searches,
// Open/Save and last-visited dialog lists, first folders.
void addWindowsHistory(HiveBuilder& userHive, const QString& user = kSampleUser);
// Two USB storage devices ever attached, one of whose instances has no friendly name.
void addUsbDevices(HiveBuilder& systemHive);
// The Recent folder's shortcuts, a subfolder and an index.dat that must not be listed.
bool addRecentItems(const QString& root, const QString& user = kSampleUser);

// Internet Explorer's cookie folder as Windows 7 leaves it: user@site files, a random-name text
// file of the newer kind, an index.dat, a file that is no cookie, and the "Low" folder.
bool addCookies(const QString& root, const QString& user = kSampleUser);

// Internet Explorer's History.IE5 and Content.IE5 cache indexes of the user, in the real format.
bool addInternetExplorerCaches(const QString& root, const QString& user = kSampleUser);

// Lays out the whole sample system under dir (cleared first if it is an earlier sample).
// options.scale adds that many visits and urls to the browsers' histories (benchmarks).
bool writeSampleSystem(const QString& dir, QString* error = nullptr, const BrowserDataOptions& options = {});

// Creates the profile folders (Desktop, Documents, AppData\...) of a user under root.
bool makeProfileFolders(const QString& root, const QString& user);

}  // namespace kestrova::tools
