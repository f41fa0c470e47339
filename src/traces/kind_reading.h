// How the front ends read a trace kind: from the examined volume, or from it and the shadow copies
// chosen (--snapshots, the window's Snapshots menu), each record once (see state_merge.h). The
// command line says, with --verbose, what each state gave; the window says it in its outcome.
#pragma once

#include <QString>
#include <QStringList>
#include <memory>
#include <vector>

#include "platform/system/environment.h"
#include "platform/system/volume_states.h"
#include "traces/state_merge.h"

namespace kestrova {

class KindReading {
public:
    KindReading(Environment& env, const QString& user);
    // Reads the shadow copies `snapshots` names too ("all", "none", "1,2"); false with the reason.
    // What stops no reading (a store list libvshadow cannot read, a store that cannot be opened)
    // goes to *said.
    bool chooseStates(const QString& snapshots, QStringList* said, QString* why);
    bool withStates() const { return !readings_.empty(); }
    TraceContext& context() { return context_; }
    // The states read beside the current volume, with what each gave for the last kind read.
    const std::vector<StateReading>& states() const { return readings_; }

    // Reads every record of the kind into the sink: the records written. *goOn false when reading
    // must stop: the sink wanted no more, or the states could not be merged (why says so).
    qint64 read(const TraceKind& kind, TraceSink& sink, bool* goOn, QString* why);

private:
    Environment& env_;
    TraceContext context_;
    std::vector<std::unique_ptr<VolumeState>> states_;
    std::vector<StateReading> readings_;
};

}  // namespace kestrova
