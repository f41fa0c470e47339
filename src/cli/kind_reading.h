// The traces and timeline commands' reading of a kind (traces/kind_reading.h), and what --verbose
// says of it, kind by kind: how many records each state gave and why one gave none. What is said
// is kept with the reading and said when the kind's records are written, so that the lines come
// in the order of the output whichever thread read the kind.
#pragma once

#include <QStringList>
#include <optional>

#include "traces/kind_reading.h"

namespace kestrova::cli {

struct KindOutcome {
    qint64 records = 0;
    QStringList found;     // the current volume's findings, as said
    // What it looked for, where the current volume alone is read: why it gave nothing, if it did.
    std::optional<TraceContext::LookedFor> looked;
    QStringList states;    // what each shadow copy read gave, as said
    QString why;           // why the reading had to stop
    bool goOn = true;      // false: the sink wanted no more, or the states could not be merged
    // Adds what another part of the same kind gave (a kind read a browser profile at a time).
    void add(const KindOutcome& part);
    // Says it on standard error: with verbose, the record count and the lines; `stderrBreak`
    // goes first (the timeline's progress line ends there).
    void say(const TraceKind& kind, bool verbose, const char* stderrBreak) const;
};

class KindReading {
public:
    KindReading(Environment& env, const QString& user) : env_(env), reading_(env, user) {}
    // Reads the shadow copies --snapshots names too; false with the reason. What does not stop
    // the reading goes to *said.
    bool chooseStates(const QString& snapshots, QStringList* said, QString* why);
    bool withStates() const { return reading_.withStates(); }
    // The browser profiles a kind read a profile at a time is cut into (0: none to cut, or read
    // with states, which are merged whole).
    size_t parts(const TraceKind& kind);

    // Reads every record of the kind (only that part where one is given) into the sink.
    KindOutcome read(const TraceKind& kind, TraceSink& sink, std::optional<size_t> part = std::nullopt);

private:
    Environment& env_;
    kestrova::KindReading reading_;
    std::optional<size_t> browserProfiles_;  // how many parts() found
};

}  // namespace kestrova::cli
