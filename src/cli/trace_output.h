// How kestrova-cli writes trace records, as they arrive from the sources:
//   jsonl  one JSON object a record: "kind", then the kind's columns (absent values left out),
//          times as ISO 8601 texts, integers as numbers, booleans as true/false
//   json   the same objects in one array
//   csv    one table a kind (RFC 4180): a header row of the column names, then a row a record;
//          tables of further kinds follow an empty line
//   tsv    the same with tabs, escaped as the rows command escapes
// Texts are written as the sources stored them (UTF-8; a byte that is not is shown as "\xFF").
#pragma once

#include <vector>

#include "cli/output.h"
#include "core/time/iso_time.h"
#include "traces/trace_kind.h"

namespace kestrova::cli {

enum class TraceFormat { Jsonl, Json, Csv, Tsv };

class TracePrinter : public TraceSink {
public:
    // extra: the columns beyond each kind's own (see outputColumns).
    TracePrinter(ByteOutput& out, TraceFormat format, IsoTimeWriter times, ExtraColumns extra = {})
        : out_(out), format_(format), times_(std::move(times)), extra_(extra) {}
    ~TracePrinter() override { finish(); }

    // A kind's records follow (the header of its table).
    void begin(const TraceKind& kind);
    // This printer writes some of a kind's records, whose text goes after what the printer that
    // began the kind wrote (a worker's share of it): no header, no closing, and a JSON object
    // after a comma always (the writer makes the output's first one the array's opening).
    void resume(const TraceKind& kind);
    // Resumed printers wrote objects for this one: the array it closes is not empty.
    void objectsWritten() { anyObject_ = true; }
    bool record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) override;
    // Closes the document (the JSON array); called by the destructor if not before.
    void finish();

private:
    void useKind(const TraceKind& kind);
    void tableRecord(const Provenance& from, std::span<const Value> values);
    void objectRecord(const TraceKind& kind, const Provenance& from, std::span<const Value> values);

    ByteOutput& out_;
    TraceFormat format_;
    IsoTimeWriter times_;
    ExtraColumns extra_;
    const TraceKind* kind_ = nullptr;
    std::vector<OutputColumn> columns_;
    std::vector<std::string> jsonKeys_;  // "\"name\":" of each column, written once
    bool anyTable_ = false;
    bool anyObject_ = false;
    bool finished_ = false;
};

}  // namespace kestrova::cli
