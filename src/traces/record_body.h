// A trace record as compact bytes, for what holds many of them (the timeline's arena and runs,
// the window's timeline): the provenance texts, then per value its state and its number or
// text. Host byte order: the bytes never leave this program. Decoding views the texts where
// they lie, so the bytes must outlive what is decoded from them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "traces/trace_kind.h"

namespace kestrova {

void appendRecordBody(std::string& out, const Provenance& from, std::span<const Value> values);

// An arena of records, each its body's size (4 bytes) and then the body: a record appended at the
// arena's end, and the body of the record at an offset the append stood at.
void appendSizedRecord(std::string& arena, const Provenance& from, std::span<const Value> values);
std::string_view sizedRecordAt(std::string_view arena, uint32_t offset);

// The record of that kind in `body`; values resized to the kind's fields. A damaged body gives
// absent values and empty texts, never a read outside it.
void decodeRecordBody(std::string_view body, const TraceKind& kind, Provenance& from, std::vector<Value>& values);

// A body's two halves, for what keeps a provenance once for the many records that share it (the
// timeline): decodeProvenance returns the bytes that follow the provenance.
void appendProvenance(std::string& out, const Provenance& from);
void appendValues(std::string& out, std::span<const Value> values);
std::string_view decodeProvenance(std::string_view bytes, Provenance& from);
void decodeValues(std::string_view bytes, const TraceKind& kind, std::vector<Value>& values);

}  // namespace kestrova
