// The Firefox categories (c1 to c5): the first profile's places, cookies, downloads and form
// history databases, each read by one fixed SQL text. Window and report run the same sources.
#pragma once

#include <QStringList>

#include "core/frame/row_sink.h"
#include "core/sqlite/msqlite.h"

namespace kestrova {

void firefoxHistoryRows(const SourceContext& src, RowSink& sink);   // c1
void firefoxCookieRows(const SourceContext& src, RowSink& sink);    // c2
void firefoxDownloadRows(const SourceContext& src, RowSink& sink);  // c3
void firefoxInputRows(const SourceContext& src, RowSink& sink);     // c4
void firefoxFormRows(const SourceContext& src, RowSink& sink);      // c5

// The same over a given access layer (tests hand in one whose engine fails to load).
void firefoxHistoryRows(const SourceContext& src, RowSink& sink, MSQLite& sql);

// Report side: the "^"-joined rows of each section.
QStringList getFireFoxURL(const SourceContext& src);
QStringList getFirefoxCookie(const SourceContext& src);
QStringList getFirefoxDownload(const SourceContext& src);
QStringList getFirefoxInput(const SourceContext& src);
QStringList getFirefoxForm(const SourceContext& src);

}  // namespace kestrova
