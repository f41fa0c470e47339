// Browser databases for the sample system and tests, in the schemas the Firefox (places,
// cookies, downloads, form history) and Chrome (History, Cookies, Top Sites) readers query, and
// Opera's global history text file. Written with SQLite itself.
#pragma once

#include <QString>

namespace kestrova::tools {

// scale: how many extra visits (Firefox) and urls (Chrome) to add beyond the handful of
// hand-made ones, for benchmarks; 0 for the sample.
struct BrowserDataOptions {
    int scale = 0;
};

// Under the profile folder of `user` below root: Firefox's first profile
// (AppData\Roaming\Mozilla\Firefox\Profiles\x7k2m9qa.default), Chrome's default profile
// (AppData\Local\Google\Chrome\User Data\Default) and Opera's folder (AppData\Roaming\Opera\Opera).
// The Firefox cookies database is left in WAL mode with its last rows only in the -wal file.
bool writeFirefoxProfile(const QString& root, const QString& user, const BrowserDataOptions& options, QString* error);
bool writeChromeProfile(const QString& root, const QString& user, const BrowserDataOptions& options, QString* error);
bool writeOperaHistory(const QString& root, const QString& user, QString* error);

// A database file from SQL statements, for tests' own small cases.
bool writeDatabase(const QString& path, const QString& sql, QString* error);

}  // namespace kestrova::tools
