#include "core/readers/browsers/firefox.h"

#include <QScopeGuard>

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
// (see joinMatchesLookups). Its first column says what a visit has: 'p' a place, 'n' none, 't'
// an id kept as text or bytes that found none, which still gets its own lookup: spelled into
// the SQL such a text may find anything. (A text id that finds a place is a number's text, and
// spelled out finds that same one place.)
const QString kVisitsWithPlaces = QStringLiteral(
    "SELECT CASE WHEN moz_places.id IS NOT NULL THEN 'p'"
    " WHEN typeof(moz_historyvisits.place_id) IN ('text','blob') THEN 't' ELSE 'n' END, moz_historyvisits.place_id,"
    " moz_places.url, moz_places.title, moz_places.last_visit_date"
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

// One visit's rows as the product reads them: the lookup of its place. The lookup is prepared
// once and bound where the place id is plain digits (the same query as the spelled-out text
// then), else spelled out and prepared for this visit alone. Runs where the rows are fetched.
class PlaceLookup {
public:
    explicit PlaceLookup(MSQLite& sql) : sql_(sql) {
        haveBound_ = sql.DbPrepare(sql.db, kPlaceByBoundId, 0, &bound_) == sqlitecode::Ok;
    }
    ~PlaceLookup() {
        if (haveBound_) sql_.DbFinalize(bound_);
    }
    PlaceLookup(const PlaceLookup&) = delete;
    PlaceLookup& operator=(const PlaceLookup&) = delete;

    // Whether a visit's lookup could not be prepared (a schema without the columns it asks for).
    bool failed() const { return failed_; }

    // The visit's rows (url, title, last visit), tagged with the visit.
    void visit(const QString& place, RowReadAhead::Out& out, int64_t visit) {
        SqlHandle lookup = 0;
        bool spelled = false;
        if (haveBound_ && plainDigits(place)) {
            sql_.DbReset(bound_);
            sql_.DbBindText(bound_, 1, place);
            lookup = bound_;
        } else if (sql_.DbPrepare(sql_.db, kPlaceById + place + QLatin1Char('\''), 0, &lookup) == sqlitecode::Ok) {
            spelled = true;
        } else {
            failed_ = true;
            return;  // a lookup that cannot be prepared: the next visit
        }
        while (sql_.DbStep(lookup) == sqlitecode::Row) out.row(sql_, lookup, 0, visit);
        if (spelled) sql_.DbFinalize(lookup);
    }

private:
    MSQLite& sql_;
    SqlHandle bound_ = 0;
    bool haveBound_ = false;
    bool failed_ = false;
};

char kindOf(const std::optional<QByteArrayView>& bytes) { return bytes && !bytes->isEmpty() ? bytes->front() : 'n'; }

}  // namespace

void firefoxHistoryRows(const SourceContext& src, RowSink& sink, MSQLite& sql) {
    const DatabaseQuery query{profileFile(src, "\\places.sqlite"), kVisits, QStringLiteral("moz_historyvisits"),
                              {QStringLiteral("place_id")}};
    if (query.path.isEmpty()) return;
    if (!openDatabase(sql, query.path)) return;
    // The progress maximum is the last visit's place id, not a count of rows.
    sink.showProgress(sink.showsProgress() ? sql.CountRows(kVisits) : 0);
    sink.clearStop();
    // Visits are taken through the join where it stands in for the lookups; should it fail on
    // the way (a damaged page), the visits query takes over from the first visit the join did
    // not finish. Everything that touches the database runs on the fetching thread; the
    // statements it starts from are prepared here.
    SqlHandle join = 0;
    if (!joinMatchesLookups(sql) || sql.DbPrepare(sql.db, kVisitsWithPlaces, 0, &join) != sqlitecode::Ok) {
        join = 0;
        if (sql.DbPrepare(sql.db, kVisits, 0, &sql.statement) != sqlitecode::Ok) {
            sql.NoteSchema(QStringLiteral("database ") + query.path, query.table, query.columns);
        }
    }
    bool lookupsFailed = false;  // written by the fetching thread, read once it has ended
    {
        RowReadAhead ahead(3, [&sql, join, &lookupsFailed](RowReadAhead::Out& out) {
            PlaceLookup lookup(sql);
            const auto done = qScopeGuard([&] { lookupsFailed = lookup.failed(); });
            int64_t visit = 0;
            int64_t joined = -1;  // visits the join finished; -1: it did not run
            if (join) {
                joined = 0;
                int code = sqlitecode::Done;
                while (!out.cancelled() && (code = sql.DbStep(join)) == sqlitecode::Row) {
                    ++visit;
                    const char kind = kindOf(sql.ColumnUtf8(join, 0));
                    if (kind == 't') {
                        lookup.visit(sql.ColumnText(join, 1), out, visit);  // a text id: its own lookup
                    } else if (kind == 'p') {
                        out.row(sql, join, 2, visit);
                    }
                    ++joined;
                }
                sql.DbFinalize(join);
                if (code == sqlitecode::Done || out.cancelled()) return;
                sql.DbPrepare(sql.db, kVisits, 0, &sql.statement);
            }
            for (int64_t skipped = 0; !out.cancelled() && sql.DbStep(sql.statement) == sqlitecode::Row;) {
                if (skipped < joined) {
                    ++skipped;
                    continue;
                }
                lookup.visit(sql.ColumnText(sql.statement, 0), out, ++visit);
            }
        });
        qint64 rows = 0;
        int64_t stoppedVisit = -1;
        const QLocale locale;
        ViewRow<3> row;  // one for all rows: its texts keep their room
        while (ahead.next()) {
            // A stop leaves this visit's lookup only; the remaining visits are still listed.
            if (ahead.tag() == stoppedVisit) continue;
            bool goOn = true;
            sink.step([&] {
                row.clear();
                row.column(ahead, 0).column(ahead, 1);
                goOn = row.text(src.covert.PRTimeToText(ahead.view(2, row.scratch()), locale)).addTo(sink);
                ++rows;
                sink.setProgress(static_cast<int>(rows), "Records:", rows);
            });
            if (!goOn) stoppedVisit = ahead.tag();
        }
    }
    // Visits whose places could not be looked up (Firefox 3 kept no last_visit_date): said, so
    // that an empty list is not taken for a history without visits.
    if (lookupsFailed) {
        sql.NoteSchema(QStringLiteral("database ") + query.path, QStringLiteral("moz_places"),
                       {QStringLiteral("url"), QStringLiteral("title"), QStringLiteral("last_visit_date")});
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
                QStringLiteral("select count(*) from moz_cookies"), 4, [&](const RowReadAhead& rows) {
                    // Each time is turned into a number and back into text first.
                    return sink.add(QStringList{rows.text(0), rows.text(1), src.covert.PRTimeToText(numberText(rows.text(2))),
                                                src.covert.PRTimeToText(numberText(rows.text(3)))});
                });
}

void firefoxDownloadRows(const SourceContext& src, RowSink& sink) {
    plainRows(src, sink,
              {profileFile(src, "\\downloads.sqlite"), QStringLiteral("SELECT name,source,target,startTime,endTime FROM moz_downloads"),
               QStringLiteral("moz_downloads"), {"name", "source", "target", "startTime", "endTime"}},
              [&](MSQLite& db) {
                  // The target's scheme prefix ("file:///") is cut; a shorter target ends the
                  // reader at that row.
                  const QString target = db.ColumnText(db.statement, 2);
                  if (target.size() < 8) throw RuntimeError("Invalid procedure call or argument");
                  return QStringList{target.mid(8), db.ColumnText(db.statement, 1),
                                     src.covert.PRTimeToText(db.ColumnText(db.statement, 3)),
                                     src.covert.PRTimeToText(db.ColumnText(db.statement, 4))};
              });
}

void firefoxInputRows(const SourceContext& src, RowSink& sink) {
    plainRows(src, sink,
              {profileFile(src, "\\places.sqlite"), QStringLiteral("SELECT input FROM moz_inputhistory"),
               QStringLiteral("moz_inputhistory"), {"input"}},
              [](MSQLite& db) { return QStringList{withBlanks(db.ColumnText(db.statement, 0))}; });
}

void firefoxFormRows(const SourceContext& src, RowSink& sink) {
    plainRows(src, sink,
              {profileFile(src, "\\formhistory.sqlite"),
               QStringLiteral("SELECT fieldname,value,timesused,firstused,lastused FROM moz_formhistory"),
               QStringLiteral("moz_formhistory"), {"fieldname", "value", "timesused", "firstused", "lastused"}},
              [&](MSQLite& db) {
                  return QStringList{db.ColumnText(db.statement, 0), db.ColumnText(db.statement, 1),
                                     db.ColumnText(db.statement, 2),
                                     src.covert.PRTimeToText(db.ColumnText(db.statement, 3)),
                                     src.covert.PRTimeToText(db.ColumnText(db.statement, 4))};
              });
}

QStringList getFireFoxURL(const SourceContext& src) { return collectRows(firefoxHistoryRows, src, OnError::SkipStep); }
QStringList getFirefoxCookie(const SourceContext& src) { return collectRows(firefoxCookieRows, src, OnError::SkipStep); }
QStringList getFirefoxDownload(const SourceContext& src) { return collectRows(firefoxDownloadRows, src, OnError::EndReader); }
QStringList getFirefoxInput(const SourceContext& src) { return collectRows(firefoxInputRows, src, OnError::EndReader); }
QStringList getFirefoxForm(const SourceContext& src) { return collectRows(firefoxFormRows, src, OnError::EndReader); }

}  // namespace kestrova
