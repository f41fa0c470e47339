#include "core/readers/browsers/firefox.h"

#include "core/frame/collector.h"
#include "core/readers/browsers/database_reader.h"

namespace kestrova {
namespace {

// The SQL texts are the product's own, spacing included.
const QString kVisits = QStringLiteral("SELECT  place_id FROM moz_historyvisits");
const QString kPlaceById = QStringLiteral("SELECT  url,title,last_visit_date FROM moz_places where id='");
// The same lookup with the place id bound instead of spelled into the text: one prepared
// statement for all visits instead of one per visit. Used only where the two cannot differ: a
// place id written as plain decimal digits; anything else gets the spelled-out text.
const QString kPlaceByBoundId = QStringLiteral("SELECT  url,title,last_visit_date FROM moz_places where id=?");

bool plainDigits(const QString& text) {
    if (text.isEmpty() || text.size() > 18) return false;
    for (const QChar c : text) {
        if (c < QLatin1Char('0') || c > QLatin1Char('9')) return false;
    }
    return true;
}

QString profileFile(const SourceContext& src, const char* name) {
    const QString profile = FirefoxProfileFolder(src);
    return profile.isEmpty() ? QString() : profile + QLatin1String(name);
}

}  // namespace

void firefoxHistoryRows(const SourceContext& src, RowSink& sink, MSQLite& sql) {
    const DatabaseQuery query{profileFile(src, "\\places.sqlite"), kVisits, QStringLiteral("moz_historyvisits"),
                              {QStringLiteral("place_id")}};
    if (query.path.isEmpty()) return;
    if (!openDatabase(sql, query.path)) return;
    // The progress maximum is the last visit's place id, not a count of rows.
    const int maximum = sql.CountRows(kVisits);
    sink.showProgress(maximum);
    sink.clearStop();
    if (sql.DbPrepare(sql.db, kVisits, 0, &sql.statement) != sqlitecode::Ok) {
        sql.NoteSchema(QStringLiteral("database ") + query.path, query.table, query.columns);
    }
    SqlHandle bound = 0;
    const bool haveBound = sql.DbPrepare(sql.db, kPlaceByBoundId, 0, &bound) == sqlitecode::Ok;
    qint64 rows = 0;
    while (sql.DbStep(sql.statement) == sqlitecode::Row) {
        const QString place = sql.ColumnText(sql.statement, 0);
        SqlHandle lookup = 0;
        bool spelled = false;
        if (haveBound && plainDigits(place)) {
            sql.DbReset(bound);
            sql.DbBindText(bound, 1, place);
            lookup = bound;
        } else if (sql.DbPrepare(sql.db, kPlaceById + place + QLatin1Char('\''), 0, &lookup) == sqlitecode::Ok) {
            spelled = true;
        } else {
            continue;  // a lookup that cannot be prepared: the next visit
        }
        while (sql.DbStep(lookup) == sqlitecode::Row) {
            bool stop = false;
            sink.step([&] {
                const QString visited = src.covert.PRTimeToText(sql.ColumnText(lookup, 2));
                stop = !sink.add(QStringList{sql.ColumnText(lookup, 0), sql.ColumnText(lookup, 1), visited});
                ++rows;
                sink.setProgress(static_cast<int>(rows), "Records:", rows);
            });
            // A stop leaves this visit's lookup only; the remaining visits are still listed.
            if (stop) break;
        }
        if (spelled) sql.DbFinalize(lookup);
    }
    sink.closeProgress();
    if (haveBound) sql.DbFinalize(bound);
    closeDatabase(sql);
}

void firefoxHistoryRows(const SourceContext& src, RowSink& sink) {
    MSQLite sql = sqliteFor(src);
    firefoxHistoryRows(src, sink, sql);
}

void firefoxCookieRows(const SourceContext& src, RowSink& sink) {
    countedRows(src, sink,
                {profileFile(src, "\\cookies.sqlite"), QStringLiteral("SELECT host, name,creationtime,lastaccessed FROM moz_cookies"),
                 QStringLiteral("moz_cookies"), {"host", "name", "creationtime", "lastaccessed"}},
                QStringLiteral("select count(*) from moz_cookies"), [&](MSQLite& db) {
                    // Each time is turned into a number and back into text first.
                    return QStringList{db.ColumnText(db.statement, 0), db.ColumnText(db.statement, 1),
                                       src.covert.PRTimeToText(numberText(db.ColumnText(db.statement, 2))),
                                       src.covert.PRTimeToText(numberText(db.ColumnText(db.statement, 3)))};
                });
}

void firefoxDownloadRows(const SourceContext& src, RowSink& sink) {
    MSQLite sql = sqliteFor(src);
    readDatabase(sql,
                 {profileFile(src, "\\downloads.sqlite"),
                  QStringLiteral("SELECT name,source,target,startTime,endTime FROM moz_downloads"),
                  QStringLiteral("moz_downloads"),
                  {"name", "source", "target", "startTime", "endTime"}},
                 [&] {
                     while (sql.DbStep(sql.statement) == sqlitecode::Row) {
                         // The target's scheme prefix ("file:///") is cut; a shorter target ends
                         // the reader at that row.
                         const QString target = sql.ColumnText(sql.statement, 2);
                         if (target.size() < 8) throw RuntimeError("Invalid procedure call or argument");
                         sink.add(QStringList{target.mid(8), sql.ColumnText(sql.statement, 1),
                                              src.covert.PRTimeToText(sql.ColumnText(sql.statement, 3)),
                                              src.covert.PRTimeToText(sql.ColumnText(sql.statement, 4))});
                     }
                 });
}

void firefoxInputRows(const SourceContext& src, RowSink& sink) {
    MSQLite sql = sqliteFor(src);
    readDatabase(sql, {profileFile(src, "\\places.sqlite"), QStringLiteral("SELECT input FROM moz_inputhistory"),
                       QStringLiteral("moz_inputhistory"), {"input"}},
                 [&] {
                     while (sql.DbStep(sql.statement) == sqlitecode::Row) sink.add(withBlanks(sql.ColumnText(sql.statement, 0)));
                 });
}

void firefoxFormRows(const SourceContext& src, RowSink& sink) {
    MSQLite sql = sqliteFor(src);
    readDatabase(sql,
                 {profileFile(src, "\\formhistory.sqlite"),
                  QStringLiteral("SELECT fieldname,value,timesused,firstused,lastused FROM moz_formhistory"),
                  QStringLiteral("moz_formhistory"),
                  {"fieldname", "value", "timesused", "firstused", "lastused"}},
                 [&] {
                     while (sql.DbStep(sql.statement) == sqlitecode::Row) {
                         sink.add(QStringList{sql.ColumnText(sql.statement, 0), sql.ColumnText(sql.statement, 1),
                                              sql.ColumnText(sql.statement, 2),
                                              src.covert.PRTimeToText(sql.ColumnText(sql.statement, 3)),
                                              src.covert.PRTimeToText(sql.ColumnText(sql.statement, 4))});
                     }
                 });
}

QStringList getFireFoxURL(const SourceContext& src) { return collectRows(firefoxHistoryRows, src, OnError::SkipStep); }
QStringList getFirefoxCookie(const SourceContext& src) { return collectRows(firefoxCookieRows, src, OnError::SkipStep); }
QStringList getFirefoxDownload(const SourceContext& src) { return collectRows(firefoxDownloadRows, src, OnError::EndReader); }
QStringList getFirefoxInput(const SourceContext& src) { return collectRows(firefoxInputRows, src, OnError::EndReader); }
QStringList getFirefoxForm(const SourceContext& src) { return collectRows(firefoxFormRows, src, OnError::EndReader); }

}  // namespace kestrova
