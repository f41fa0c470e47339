// The cookie folder (category a3, and the report's GetCookies): each cookie file shown by one
// line of text, its name when it has the older form user@site, otherwise the site and path read
// from inside the file. No dates, values or expiry times are taken.
#pragma once

#include <QIODevice>
#include <QStringList>
#include <optional>

#include "core/frame/row_sink.h"

namespace kestrova {

// The user's Cookies folder, then on "Vista" and later its "Low" folder, entries in the order the
// folder lists them. On Windows 8 and later the folder is INetCookies, whose random-name .txt
// files give their site line the same way.
void cookieRows(const SourceContext& src, RowSink& sink);
QStringList GetCookies(const SourceContext& src);

// The older listing no tree node calls: the same passes, every entry that passes the folder test
// and is neither "index.dat" nor "Low" as its full path; no file is opened.
void cookieFullPathRows(const SourceContext& src, RowSink& sink);

// The site line of a cookie text file: its first line (ended by a carriage return only) split at
// line feeds, piece 2; nullopt when there are fewer than three pieces.
std::optional<QString> cookieSiteLine(QIODevice& file);
// How far into a cookie file its first three lines are looked for.
inline constexpr qsizetype kCookieLinesLimit = 64 * 1024;

}  // namespace kestrova
