// The Chrome categories (d1 to d5): the default profile's History, Cookies and "Top Sites"
// databases, each read by one fixed SQL text. URL history and cookies first end every running
// Chrome process, without asking, to free the files a running Chrome holds.
#pragma once

#include <QStringList>

#include "core/frame/row_sink.h"

namespace kestrova {

class LocalDesktop;
// ModProcess: ends every process whose name contains "chrome.exe".
void CloseRunningChrome(LocalDesktop& desktop);

void chromeHistoryRows(const SourceContext& src, RowSink& sink);   // d1 (the report lists hidden urls too)
void chromeCookieRows(const SourceContext& src, RowSink& sink);    // d2
void chromeDownloadRows(const SourceContext& src, RowSink& sink);  // d3
void chromeTopSiteRows(const SourceContext& src, RowSink& sink);   // d4
void chromeKeywordRows(const SourceContext& src, RowSink& sink);   // d5

QStringList getChromeURL(const SourceContext& src);
QStringList getChromeCookies(const SourceContext& src);
QStringList getChromeDownloads(const SourceContext& src);
QStringList getChromeTopSites(const SourceContext& src);
QStringList getChromeKeyword(const SourceContext& src);

}  // namespace kestrova
