// The trace kinds: one declarative row each, in one table (trace_kinds.cpp), in the order the
// command line and the window list them. A kind names its fields and their types, which of the
// provenance fields apply, and the source function that reads every instance of it on the volume
// (every user, every browser profile) and emits its records one at a time. The command line, the
// window's tables, the exports and the timeline all read this table; none of them knows a kind
// by name.
#pragma once

#include <QString>
#include <span>
#include <string_view>
#include <vector>

#include "traces/record.h"

namespace kestrova {

class TraceContext;

// Fields: named values of the record's own (an event's EventData), held as namedValues() makes
// them; written as a JSON object in JSON, as "name=value; name=value" in tables.
enum class FieldType : uint8_t { Text, Url, Path, Integer, Time, Bool, Fields };

struct FieldSpec {
    const char* name;  // the CLI's and the exports' field name: "visit_time"
    FieldType type;
    // What a time means, as the timeline says it ("Visit Time"); only for time fields.
    const char* meaning = nullptr;
};

// Which provenance fields a kind's records carry, written before its own fields.
enum class Carries : uint8_t { None = 0, User = 1, Browser = 2 };
constexpr Carries operator|(Carries a, Carries b) { return static_cast<Carries>(static_cast<int>(a) | static_cast<int>(b)); }
constexpr bool has(Carries set, Carries one) { return (static_cast<int>(set) & static_cast<int>(one)) != 0; }

using TraceSourceFn = void (*)(TraceContext&, TraceSink&);

// How a kind's reading may be cut, so that several workers read it at once: whole, or each
// browser profile apart (its source reads the profiles one after another, each only where
// TraceContext::readsPart says so).
enum class ReadIn : uint8_t { Whole, BrowserProfiles };

struct TraceKind {
    const char* name;     // "browser.history"
    const char* group;    // the window's group: "Browsers", "Internet Explorer and legacy Edge"
    const char* caption;  // the window's tree item: "History (every visit)"
    Carries carries;
    std::span<const FieldSpec> fields;
    TraceSourceFn source;
    const char* about;    // one line for `traces --list`
    ReadIn readIn = ReadIn::Whole;
};

// Every kind, in listing order.
std::span<const TraceKind> traceKinds();
const TraceKind* findTraceKind(std::string_view name);

// A kind's columns as written: where several hosts are read, host; the provenance fields it
// carries, its own fields, then source and source_part; where states of the volume are read,
// then snapshot, seen_in and snapshot_note; where tags are asked for, tag.
struct OutputColumn {
    const char* name;
    FieldType type;
    // index into the record's values; -1 user, -2 browser, -3 profile, -4 source, -5 part,
    // -6 snapshot, -7 seen_in, -8 snapshot_note, -9 tag, -10 host
    int field;
};
// The columns beyond a kind's own that a reading asks for.
struct ExtraColumns {
    bool states = false;  // shadow copies are read too
    bool tags = false;    // the examiner's tag and note, last
    bool host = false;    // several hosts are read: which one, first
};
std::vector<OutputColumn> outputColumns(const TraceKind& kind, ExtraColumns extra = {});

// The provenance value of a column (field < 0).
std::string_view provenanceValue(const Provenance& from, int field);

}  // namespace kestrova
