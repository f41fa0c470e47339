// The traces and timeline commands' reading of a kind (traces/kind_reading.h), saying with
// --verbose, kind by kind, how many records each state gave and why one gave none.
#pragma once

#include "traces/kind_reading.h"

namespace kestrova::cli {

class KindReading {
public:
    KindReading(Environment& env, const QString& user, bool verbose) : env_(env), verbose_(verbose), reading_(env, user) {}
    // Reads the shadow copies --snapshots names too; false with the reason (what does not stop
    // the reading is said on standard error).
    bool chooseStates(const QString& snapshots, QString* why);
    bool withStates() const { return reading_.withStates(); }

    // Reads every record of the kind into the sink; stderrBreak: what goes before the verbose
    // lines (the timeline's progress line ends first). False when reading must stop: the sink
    // wanted no more or the states could not be merged (said on standard error).
    bool read(const TraceKind& kind, TraceSink& sink, const char* stderrBreak = "");

private:
    Environment& env_;
    bool verbose_;
    kestrova::KindReading reading_;
};

}  // namespace kestrova::cli
