#include "core/readers/browsers/chrome.h"

#include "core/frame/collector.h"
#include "core/readers/browsers/database_reader.h"
#include "core/time/mod_covert.h"

namespace kestrova {
namespace {

QString webkitText(const SourceContext& src, QAnyStringView microseconds, const QLocale& locale = QLocale()) {
    return generalDateText(src.stamps.WebKitMicrosecondsToLocalDate(leadingNumber(microseconds)), locale);
}

QString history(const SourceContext& src) { return ChromeProfileFolder(src) + QStringLiteral("\\history"); }

}  // namespace

void CloseRunningChrome(LocalDesktop& desktop) { desktop.terminateProcesses(QStringLiteral("chrome.exe")); }

void chromeHistoryRows(const SourceContext& src, RowSink& sink) {
    CloseRunningChrome(src.os.desktop());
    // The window leaves hidden urls out; the report lists them. The count counts them all.
    const QString sql = src.side == Side::List
                            ? QStringLiteral("SELECT url,title, visit_count,last_visit_time FROM urls where hidden<>1")
                            : QStringLiteral("SELECT url,title, visit_count,last_visit_time FROM urls");
    const QLocale locale;
    ViewRow<4> row;  // one for all rows: its texts keep their room
    countedRows(src, sink, {history(src), sql, QStringLiteral("urls"), {"url", "title", "visit_count", "last_visit_time", "hidden"}},
                QStringLiteral("select count(*) from urls"), 4, [&](const RowReadAhead& rows) {
                    row.clear();
                    row.column(rows, 0).column(rows, 1).column(rows, 2);
                    return row.text(webkitText(src, rows.view(3, row.scratch()), locale)).addTo(sink);
                });
}

void chromeCookieRows(const SourceContext& src, RowSink& sink) {
    CloseRunningChrome(src.os.desktop());
    countedRows(src, sink,
                {ChromeProfileFolder(src) + QStringLiteral("\\Cookies"),
                 QStringLiteral("SELECT host_key,name,creation_utc,last_access_utc FROM cookies"), QStringLiteral("cookies"),
                 {"host_key", "name", "creation_utc", "last_access_utc"}},
                QStringLiteral("select count(*) from cookies"), 4, [&](const RowReadAhead& rows) {
                    return sink.add(QStringList{rows.text(0), rows.text(1), webkitText(src, rows.text(2)),
                                                webkitText(src, rows.text(3))});
                });
}

void chromeDownloadRows(const SourceContext& src, RowSink& sink) {
    plainRows(src, sink,
              {history(src), QStringLiteral("SELECT full_path,url,start_time FROM downloads"), QStringLiteral("downloads"),
               {"full_path", "url", "start_time"}},
              [&](MSQLite& db) {
                  // Start times are Unix seconds here, unlike Chrome's other times.
                  return QStringList{db.ColumnText(db.statement, 0), db.ColumnText(db.statement, 1),
                                     generalDateText(src.stamps.UnixSecondsToLocalDate(leadingNumber(db.ColumnText(db.statement, 2))))};
              });
}

void chromeTopSiteRows(const SourceContext& src, RowSink& sink) {
    plainRows(src, sink,
              {ChromeProfileFolder(src) + QStringLiteral("\\Top Sites"),
               QStringLiteral("SELECT url,url_rank,title FROM thumbnails order by url_rank"), QStringLiteral("thumbnails"),
               {"url", "url_rank", "title"}},
              [](MSQLite& db) {
                  return QStringList{db.ColumnText(db.statement, 0), db.ColumnText(db.statement, 1), db.ColumnText(db.statement, 2)};
              });
}

void chromeKeywordRows(const SourceContext& src, RowSink& sink) {
    // The same reader as Firefox's input history: every "%20" becomes a blank.
    plainRows(src, sink,
              {history(src), QStringLiteral("SELECT term FROM keyword_search_terms"), QStringLiteral("keyword_search_terms"),
               {"term"}},
              [](MSQLite& db) { return QStringList{withBlanks(db.ColumnText(db.statement, 0))}; });
}

QStringList getChromeURL(const SourceContext& src) { return collectRows(chromeHistoryRows, src, OnError::EndReader); }
QStringList getChromeCookies(const SourceContext& src) { return collectRows(chromeCookieRows, src, OnError::SkipStep); }
QStringList getChromeDownloads(const SourceContext& src) { return collectRows(chromeDownloadRows, src, OnError::EndReader); }
QStringList getChromeTopSites(const SourceContext& src) { return collectRows(chromeTopSiteRows, src, OnError::EndReader); }
QStringList getChromeKeyword(const SourceContext& src) { return collectRows(chromeKeywordRows, src, OnError::EndReader); }

}  // namespace kestrova
