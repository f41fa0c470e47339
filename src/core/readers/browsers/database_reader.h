// What the Firefox and Chrome readers share: the common reader frame around one query, the
// profile folders, and the conversions of column texts.
#pragma once

#include <QStringList>
#include <array>
#include <span>

#include "core/frame/row_sink.h"
#include "core/sqlite/msqlite.h"
#include "core/sqlite/row_read_ahead.h"

namespace kestrova {

// The access layer for one reader run, over the analysed system's engine.
MSQLite sqliteFor(const SourceContext& src);

// One query of a reader: the database, the SQL text exactly as the product runs it, and the
// table and columns it needs (so that "no column full_path in downloads" can be said).
struct DatabaseQuery {
    QString path;
    QString sql;
    QString table;
    QStringList columns;
};

// The two ends of every reader: LoadEngine and DbOpen, and on a failure of either DbClose and
// ShutdownEngine (false: the reader has nothing to read); then DbFinalize of the module statement,
// DbClose and ShutdownEngine.
bool openDatabase(MSQLite& sql, const QString& path);
void closeDatabase(MSQLite& sql);

// The common reader frame: nothing for an empty path or SQL; else LoadEngine (on failure
// DbClose and ShutdownEngine), DbOpen (likewise), prepare the SQL into the module statement, run
// the category's rows over it, then DbFinalize, DbClose, ShutdownEngine. A prepare that fails
// notes why. A run-time error the rows let through ends the reader where it stands.
template <typename Rows>
void readDatabase(MSQLite& sql, const DatabaseQuery& query, Rows rows);

// The readers that neither count nor stop: readDatabase over the query, every row of the
// statement added as row(sql) makes it. A run-time error in row ends the reader there.
template <typename Row>
void plainRows(const SourceContext& src, RowSink& sink, const DatabaseQuery& query, Row row);

// The readers that count (Firefox and Chrome cookies, Chrome's URL history): the counting query
// gives the progress window's maximum, StopRequested is cleared, every row advances "Records:"
// and a stop ends the loop. Each row is one step under the category's failure policy: row(rows)
// adds the current row (width columns, fetched ahead on a thread of their own) to the sink and
// returns what the sink answered.
template <typename Row>
void countedRows(const SourceContext& src, RowSink& sink, const DatabaseQuery& query, const QString& countSql, int width,
                 Row row);

// The first Firefox profile folder (no trailing "\"), "" with no profile: the profiles folder's
// subfolders by the folder test, first in the order the file system lists them.
QString FirefoxProfileFolder(const SourceContext& src);
// The subfolders of a folder joined by "," with a trailing ","; a folder is an entry whose
// attribute value lies in 16..31 or is exactly 8208.
QString ListSubfolders(const SourceContext& src, const QString& folder);
// GetShellFolder("Local AppData") + "\Google\Chrome\User Data\default".
QString ChromeProfileFolder(const SourceContext& src);

// A column text turned into a number and back into text, as a Double's text is written: at most
// 15 significant digits.
QString numberText(const QString& text);
// Every "%20" replaced by a blank (the input history and keyword readers).
QString withBlanks(QString text);

// One fetched row handed to a sink as views (RowReadAhead::view): cells are taken in order,
// texts a reader makes (a date) kept in the row itself. Neither copied nor moved, as
// its cells may point into it.
template <size_t N>
class ViewRow {
public:
    ViewRow() = default;
    ViewRow(const ViewRow&) = delete;
    ViewRow& operator=(const ViewRow&) = delete;

    ViewRow& column(const RowReadAhead& rows, int column) {
        Q_ASSERT(size_ < N);
        cells_[size_] = rows.view(column, scratch_[size_]);
        ++size_;
        return *this;
    }
    ViewRow& text(QString text) {
        Q_ASSERT(size_ < N);
        scratch_[size_] = std::move(text);
        cells_[size_] = scratch_[size_];
        ++size_;
        return *this;
    }
    bool addTo(RowSink& sink) const { return sink.addViews(std::span(cells_.data(), size_)); }
    // Empty again for the next row; the texts keep their room.
    void clear() { size_ = 0; }
    // The next cell's text, free until that cell is added: where a column a cell is made from
    // (a time) may be decoded.
    QString& scratch() { return scratch_[size_]; }

private:
    std::array<QAnyStringView, N> cells_{};
    std::array<QString, N> scratch_{};
    size_t size_ = 0;
};

template <typename Rows>
void readDatabase(MSQLite& sql, const DatabaseQuery& query, Rows rows) {
    if (query.path.isEmpty() || query.sql.isEmpty()) return;
    if (!openDatabase(sql, query.path)) return;
    if (sql.DbPrepare(sql.db, query.sql, 0, &sql.statement) == sqlitecode::Ok) {
        rows();
    } else {
        sql.NoteSchema(QStringLiteral("database ") + query.path, query.table, query.columns);
    }
    closeDatabase(sql);
}

template <typename Row>
void plainRows(const SourceContext& src, RowSink& sink, const DatabaseQuery& query, Row row) {
    MSQLite sql = sqliteFor(src);
    readDatabase(sql, query, [&] {
        int code = sqlitecode::Done;
        while ((code = sql.DbStep(sql.statement)) == sqlitecode::Row) sink.add(row(sql));
        sql.NoteStepEnd(QStringLiteral("database ") + query.path, code);
    });
}

template <typename Row>
void countedRows(const SourceContext& src, RowSink& sink, const DatabaseQuery& query, const QString& countSql, int width,
                 Row row) {
    if (query.path.isEmpty()) return;
    MSQLite sql = sqliteFor(src);
    if (!openDatabase(sql, query.path)) return;
    sink.showProgress(sink.showsProgress() ? sql.CountRows(countSql) : 0);
    sink.clearStop();
    if (sql.DbPrepare(sql.db, query.sql, 0, &sql.statement) == sqlitecode::Ok) {
        qint64 rows = 0;
        bool goOn = true;
        int code = sqlitecode::Done;  // written by the fetching thread, read once it has ended
        {
            RowReadAhead ahead(width, [&sql, &code](RowReadAhead::Out& out) {
                while (!out.cancelled() && (code = sql.DbStep(sql.statement)) == sqlitecode::Row) out.row(sql, sql.statement);
            });
            while (goOn && ahead.next()) {
                sink.step([&] {
                    goOn = row(ahead);
                    ++rows;
                    sink.setProgress(static_cast<int>(rows), "Records:", rows);
                });
            }
        }
        sql.NoteStepEnd(QStringLiteral("database ") + query.path, code);
    } else {
        sql.NoteSchema(QStringLiteral("database ") + query.path, query.table, query.columns);
    }
    sink.closeProgress();
    closeDatabase(sql);
}

}  // namespace kestrova
