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

// The per-visit lookups, all visits' at once: one row per visit, its place's columns beside it
// when the visit has one. It stands in for the lookups only where it cannot differ from them
// (see joinMatchesLookups); a visit whose place id is text or bytes still gets its own lookup,
// as the spelled-out SQL may find anything for such a text.
const QString kVisitsWithPlaces = QStringLiteral(
    "SELECT typeof(moz_historyvisits.place_id) IN ('text','blob'), moz_historyvisits.place_id,"
    " moz_places.id IS NOT NULL, moz_places.url, moz_places.title, moz_places.last_visit_date"
    " FROM moz_historyvisits LEFT JOIN moz_places ON moz_places.id = moz_historyvisits.place_id");

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

// The details of a query's plan, one a step; empty when it cannot be planned.
QStringList planOf(MSQLite& sql, const QString& query) {
    QStringList details;
    SqlHandle plan = 0;
    if (sql.DbPrepare(sql.db, QStringLiteral("EXPLAIN QUERY PLAN ") + query, 0, &plan) == sqlitecode::Ok) {
        while (sql.DbStep(plan) == sqlitecode::Row) details.append(sql.ColumnText(plan, 3));
    }
    if (plan) sql.DbFinalize(plan);
    return details;
}

// The join gives the lookups' rows in their order when it walks the visits exactly as the visits
// query does (the same table or covering index, front to back) and finds each place by its row
// id, so that a visit has at most the one place its lookup finds.
bool joinMatchesLookups(MSQLite& sql) {
    const QStringList visits = planOf(sql, kVisits);
    const QStringList join = planOf(sql, kVisitsWithPlaces);
    return visits.size() == 1 && join.size() == 2 && join[0] == visits[0] &&
           join[1].startsWith(QLatin1String("SEARCH moz_places USING INTEGER PRIMARY KEY (rowid=?)"));
}

// One visit's rows as the product reads them: the lookup of its place, each row a step. The
// lookup is prepared once and bound where the place id is plain digits (the same query as the
// spelled-out text then), else spelled out and prepared for this visit alone.
class PlaceLookup {
public:
    PlaceLookup(const SourceContext& src, RowSink& sink, MSQLite& sql, qint64& rows) : src_(src), sink_(sink), sql_(sql), rows_(rows) {
        haveBound_ = sql.DbPrepare(sql.db, kPlaceByBoundId, 0, &bound_) == sqlitecode::Ok;
    }
    ~PlaceLookup() {
        if (haveBound_) sql_.DbFinalize(bound_);
    }
    PlaceLookup(const PlaceLookup&) = delete;
    PlaceLookup& operator=(const PlaceLookup&) = delete;

    void visit(const QString& place) {
        SqlHandle lookup = 0;
        bool spelled = false;
        if (haveBound_ && plainDigits(place)) {
            sql_.DbReset(bound_);
            sql_.DbBindText(bound_, 1, place);
            lookup = bound_;
        } else if (sql_.DbPrepare(sql_.db, kPlaceById + place + QLatin1Char('\''), 0, &lookup) == sqlitecode::Ok) {
            spelled = true;
        } else {
            return;  // a lookup that cannot be prepared: the next visit
        }
        while (sql_.DbStep(lookup) == sqlitecode::Row) {
            // A stop leaves this visit's lookup only; the remaining visits are still listed.
            if (!add(lookup, 0)) break;
        }
        if (spelled) sql_.DbFinalize(lookup);
    }

    // One row from the statement's url, title and last visit columns (from the first given);
    // false once a stop was requested.
    bool add(SqlHandle statement, int first) {
        bool goOn = true;
        sink_.step([&] {
            ViewRow<3> row;
            row.column(sql_, statement, first).column(sql_, statement, first + 1);
            goOn = row.text(src_.covert.PRTimeToText(sql_.ColumnText(statement, first + 2))).addTo(sink_);
            ++rows_;
            sink_.setProgress(static_cast<int>(rows_), "Records:", rows_);
        });
        return goOn;
    }

private:
    const SourceContext& src_;
    RowSink& sink_;
    MSQLite& sql_;
    qint64& rows_;
    SqlHandle bound_ = 0;
    bool haveBound_ = false;
};

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
    qint64 rows = 0;
    {
        PlaceLookup lookup(src, sink, sql, rows);
        // Visits taken through the join; should it fail on the way (a damaged page), the visits
        // query takes over from the first visit the join did not finish.
        qint64 joined = 0;
        SqlHandle join = 0;
        if (joinMatchesLookups(sql) && sql.DbPrepare(sql.db, kVisitsWithPlaces, 0, &join) == sqlitecode::Ok) {
            QString scratch;
            int code;
            while ((code = sql.DbStep(join)) == sqlitecode::Row) {
                if (sql.ColumnView(join, 0, scratch) == QLatin1String("1")) {
                    lookup.visit(sql.ColumnText(join, 1));
                } else if (sql.ColumnView(join, 2, scratch) == QLatin1String("1")) {
                    lookup.add(join, 3);  // a stop leaves this visit only, as in the lookup
                }
                ++joined;
            }
            sql.DbFinalize(join);
            if (code == sqlitecode::Done) joined = -1;
        }
        if (joined >= 0) {
            if (sql.DbPrepare(sql.db, kVisits, 0, &sql.statement) != sqlitecode::Ok) {
                sql.NoteSchema(QStringLiteral("database ") + query.path, query.table, query.columns);
            }
            for (qint64 skipped = 0; sql.DbStep(sql.statement) == sqlitecode::Row;) {
                if (skipped < joined) {
                    ++skipped;
                    continue;
                }
                lookup.visit(sql.ColumnText(sql.statement, 0));
            }
        }
    }
    sink.closeProgress();
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
                    return sink.add(QStringList{db.ColumnText(db.statement, 0), db.ColumnText(db.statement, 1),
                                                src.covert.PRTimeToText(numberText(db.ColumnText(db.statement, 2))),
                                                src.covert.PRTimeToText(numberText(db.ColumnText(db.statement, 3)))});
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
