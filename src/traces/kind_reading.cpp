#include "traces/kind_reading.h"

namespace kestrova {

KindReading::KindReading(Environment& env, const QString& user) : env_(env), context_(*env.system, env.privateTemp.path()) {
    context_.replayLogs = env.replayLogs;
    context_.narrowToUser(user);
}

bool KindReading::chooseStates(const QString& snapshots, QStringList* said, QString* why) {
    if (snapshots.isEmpty() || snapshots == QLatin1String("none")) return true;
    if (env_.collection && env_.collection->zip) {
        // A collection's shadow copies, as its collector copied them.
        const auto stores = chosenStores(snapshots, collectionStores(*env_.collection->zip), why);
        if (!stores) return false;
        if (stores->empty()) return true;
        states_ = openCollectionStates(env_.collection->zip, *stores, env_.replayLogs);
        readings_ = startStateReadings(states_, env_.privateTemp.path(), context_.onlyUser(), env_.replayLogs);
        return true;
    }
    if (!env_.image) {
        *why = QStringLiteral("shadow copies are read from a disk image's volume: examine the image itself");
        return false;
    }
    const auto stores = chosenStores(snapshots, env_.image->summary().stores, why);
    if (!stores) return false;
    if (!env_.image->summary().storesProblem.isEmpty()) *said << QStringLiteral("shadow copies: ") + env_.image->summary().storesProblem;
    if (stores->empty()) return true;
    states_ = openVolumeStates(*env_.image, env_.source.image, *stores, env_.privateTemp.path(), env_.replayLogs, said);
    if (states_.empty()) {
        *why = QStringLiteral("the volume cannot be read again beside its shadow copies");
        return false;
    }
    readings_ = startStateReadings(states_, env_.privateTemp.path(), context_.onlyUser(), env_.replayLogs);
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
