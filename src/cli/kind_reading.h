// How the traces and timeline commands read their kinds: from the examined volume, or, with
// --snapshots, from the volume and the shadow copies asked for, each record once (see
// traces/state_merge.h). --verbose says, kind by kind, how many records each state gave and why
// one gave none.
#pragma once

#include <QString>
#include <memory>
#include <vector>

#include "platform/system/environment.h"
#include "platform/system/volume_states.h"
#include "traces/state_merge.h"

namespace kestrova::cli {

class KindReading {
public:
    KindReading(Environment& env, const QString& user, bool verbose);
    // Reads the shadow copies --snapshots names too ("all", "none", "1,2"); false with the reason.
    bool chooseStates(const QString& snapshots, QString* why);
    bool withStates() const { return !readings_.empty(); }

    // Reads every record of the kind into the sink; stderrBreak: what goes before the verbose
    // lines (the timeline's progress line ends first). False when reading must stop: the sink
    // wanted no more or the states could not be merged (said on standard error).
    bool read(const TraceKind& kind, TraceSink& sink, const char* stderrBreak = "");

private:
    Environment& env_;
    bool verbose_;
    TraceContext context_;
    std::vector<std::unique_ptr<VolumeState>> states_;
    std::vector<StateReading> readings_;
};

}  // namespace kestrova::cli
