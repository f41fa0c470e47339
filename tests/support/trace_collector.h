// A trace sink that keeps every record as texts by column name, for tests: times as ISO 8601 in
// UTC, integers and booleans as their decimal text, absent values left out.
#pragma once

#include <QMap>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <vector>

#include "traces/trace_context.h"

namespace kestrova::test {

struct TraceRecord {
    QString kind;
    QMap<QString, QString> fields;
    QString operator[](const char* name) const { return fields.value(QLatin1String(name)); }
};

class TraceCollector : public TraceSink {
public:
    bool record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) override {
        TraceRecord r{QLatin1String(kind.name), {}};
        for (const OutputColumn& column : outputColumns(kind, {.states = true})) {
            if (column.field < 0) {
                const std::string_view text = provenanceValue(from, column.field);
                if (!text.empty()) r.fields[QLatin1String(column.name)] = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
                continue;
            }
            const Value& v = values[static_cast<size_t>(column.field)];
            if (v.is == Value::Is::Text && column.type == FieldType::Fields) r.fields[QLatin1String(column.name)] = QString::fromStdString(namedValuesLine(v.utf8));
            else if (v.is == Value::Is::Text) r.fields[QLatin1String(column.name)] = QString::fromUtf8(v.utf8.data(), static_cast<qsizetype>(v.utf8.size()));
            else if (v.is == Value::Is::Number) r.fields[QLatin1String(column.name)] = column.type == FieldType::Time ? utc_.text(v.number) : QString::number(v.number);
        }
        records.push_back(std::move(r));
        return true;
    }
    // The records of one kind, in the order read.
    std::vector<TraceRecord> of(const char* kind) const {
        std::vector<TraceRecord> out;
        for (const TraceRecord& r : records) {
            if (r.kind == QLatin1String(kind)) out.push_back(r);
        }
        return out;
    }
    std::vector<TraceRecord> records;

private:
    IsoTimeWriter utc_;
};

// Every record of the kinds named, read from the system.
inline TraceCollector readTraces(const AnalysedSystem& system, std::initializer_list<const char*> kinds, const QString& temp) {
    TraceCollector collector;
    TraceContext context(system, temp);
    for (const char* name : kinds) runTraceKind(*findTraceKind(name), context, collector);
    return collector;
}

// One kind's records read from the system, and everything the system noted, as "what: why" lines.
struct KindRead {
    std::vector<TraceRecord> records;
    QStringList findings;
};
inline KindRead readKind(const AnalysedSystem& system, const char* kind) {
    QTemporaryDir temp;
    KindRead read{readTraces(system, {kind}, temp.path()).of(kind), {}};
    for (const Finding& f : system.findings().all()) read.findings << f.what + QStringLiteral(": ") + f.why;
    return read;
}

}  // namespace kestrova::test
