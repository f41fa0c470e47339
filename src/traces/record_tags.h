// Records and the examiner's tags: a record's identity (its kind, source, source_part and its own
// fields, hashed; the same whenever the same evidence is read again, whatever the state or user it
// was read with), and a sink that hands each record on with its tag from the case file.
#pragma once

#include <QByteArray>

#include "platform/cases/case_file.h"
#include "traces/trace_kind.h"

namespace kestrova {

// 40 hex digits (SHA-1).
QByteArray recordIdentity(const TraceKind& kind, const Provenance& from, std::span<const Value> values);

// A few words of the record for the case file's list ("browser.history: https://...").
QString recordWhat(const TraceKind& kind, std::span<const Value> values);

class TaggingSink : public TraceSink {
public:
    TaggingSink(TraceSink& inner, const CaseFile& tags) : inner_(inner), tags_(tags) {}
    bool record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) override;

private:
    TraceSink& inner_;
    const CaseFile& tags_;
};

}  // namespace kestrova
