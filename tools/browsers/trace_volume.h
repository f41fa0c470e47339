// Browser profiles in today's schemas, and a whole volume of them, for the traces' tests and
// benchmark: several users, several browsers, several profiles each. Every url, cookie host and
// download names the profile it was written into ("https://alice-chrome-profile-1.example/..."),
// so a test can tell that each record came out once and under its own provenance.
#pragma once

#include <QString>
#include <QStringList>

namespace kestrova::tools {

struct TraceVolumeOptions {
    int visits = 3;   // visits in each profile's history (two visits share each url)
};

// A Chromium profile folder as Chrome 120 leaves it: History (visits, downloads with their url
// chains, keyword search terms), Network\Cookies, Web Data, Login Data, Top Sites, Bookmarks.
bool writeModernChromiumProfile(const QString& folder, const QString& tag, int visits, QString* error);
// A Firefox profile folder as Firefox 115 leaves it: places.sqlite (visits, bookmarks, input
// history, download annotations), cookies.sqlite, formhistory.sqlite.
bool writeModernFirefoxProfile(const QString& folder, const QString& tag, int visits, QString* error);

// The volume under root: users alice and bob, each profile written with a tag of its own.
//   alice  Chrome Default and "Profile 1" (both in Local State), Edge Default, Firefox two
//          profiles (one in profiles.ini, one only under Profiles), an IE cookie file
//   bob    Brave Default, Opera Stable (the folder is the profile), Chrome Default (no Local
//          State), no hive
// Returns the tags written, in the order written.
bool writeTraceVolume(const QString& root, const TraceVolumeOptions& options, QStringList* tags, QString* error);

}  // namespace kestrova::tools
