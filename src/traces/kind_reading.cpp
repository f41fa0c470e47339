#include "traces/kind_reading.h"

namespace kestrova {

KindReading::KindReading(Environment& env, const QString& user) : env_(env), context_(*env.system, env.privateTemp.path()) {
    context_.replayLogs = env.replayLogs;
    context_.narrowToUser(user);
}

bool KindReading::chooseStates(const QString& snapshots, QStringList* said, QString* why) {
    auto states = openChosenStates(env_, snapshots, said, why);
    if (!states) return false;
    states_ = std::move(*states);
    if (!states_.empty()) readings_ = startStateReadings(states_, env_.privateTemp.path(), context_.onlyUser(), env_.replayLogs);
    return true;
}

qint64 KindReading::read(const TraceKind& kind, TraceSink& sink, bool* goOn, QString* why) {
    if (readings_.empty()) {
        env_.system->findings().clear();
        const qint64 records = runTraceKind(kind, context_, sink);
        *goOn = !context_.stopped();
        return records;
    }
    for (const StateReading& reading : readings_) reading.state->system->findings().clear();
    qint64 written = 0;
    *goOn = runTraceKindOverStates(kind, readings_, sink, env_.privateTemp.path(), &written, why);
    return written;
}

}  // namespace kestrova
