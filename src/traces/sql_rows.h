// Reading a trace kind's records out of an evidence database: the schema is looked at first (the
// columns a table has), the query is built from what is there, and its rows are turned into
// records one at a time. A query that cannot run is a finding with SQLite's reason, never an
// empty result passed off as "no entries".
#pragma once

#include <QString>
#include <QStringList>

#include "platform/sqlite/evidence_database.h"
#include "traces/trace_context.h"

namespace kestrova {

// The columns of a table, for building a query over what is there.
class Columns {
public:
    Columns(const EvidenceDatabase& db, const QString& table) : table_(table), names_(db.columns(table)) {}
    bool exists() const { return !names_.isEmpty(); }
    bool has(const char* column) const { return names_.contains(QLatin1String(column), Qt::CaseInsensitive); }
    // "alias.column" when the table has it, else NULL (the field stays absent).
    QString pick(const char* column, const char* alias = nullptr) const {
        if (!has(column)) return QStringLiteral("NULL");
        return alias ? QLatin1String(alias) + QLatin1Char('.') + QLatin1String(column) : QString::fromLatin1(column);
    }
    const QString& table() const { return table_; }

private:
    QString table_;
    QStringList names_;
};

inline Value textAt(const Query& q, int column) {
    const auto text = q.text(column);
    return text ? Value::text(*text) : Value{};
}
inline Value integerAt(const Query& q, int column) { return q.isNull(column) ? Value{} : Value::integer(q.integer(column)); }
inline Value boolAt(const Query& q, int column) { return q.isNull(column) ? Value{} : Value::boolean(q.integer(column) != 0); }

// Notes that a source's schema is not one the reader knows: what is missing and where.
void noteSchema(const TraceContext& context, const QString& path, const QString& why);

// Runs the query and hands each row to fill(query, values) and then to the sink, until the rows
// end or the sink stops. A query that cannot be prepared, or rows that end on an error, are noted
// against the database.
template <size_t N, typename Fill>
void emitRows(TraceContext& context, TraceSink& sink, const EvidenceDatabase& db, const QString& sql,
              const Provenance& from, Fill fill) {
    Query query(db, sql);
    if (!query.ok()) {
        noteSchema(context, db.path(), query.error());
        return;
    }
    std::array<Value, N> values{};
    while (query.next()) {
        values.fill(Value{});
        fill(query, values);
        if (!context.deliver(sink, from, values)) return;
    }
    if (!query.error().isEmpty()) {
        context.note(FindingKind::Damaged, QStringLiteral("database ") + db.path(),
                     QStringLiteral("reading %1 ended early: %2").arg(QString::fromUtf8(from.part), query.error()));
    }
}

}  // namespace kestrova
