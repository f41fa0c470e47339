#include "traces/windows/event_log_reader.h"

#include <unordered_set>

#include "core/time/iso_time.h"
#include "platform/evtx/evt_file.h"
#include "platform/evtx/evtx_file.h"

namespace kestrova {
namespace {

using EachEvent = std::function<bool(const Event&)>;

const QString kLogFolder = QStringLiteral("C:\\Windows\\System32\\winevt\\Logs");
const QString kOldLogFolder = QStringLiteral("C:\\Windows\\System32\\config");

// The logs' Windows paths: every .evtx of the log folder, whatever its channel, and the .evt logs
// of Windows NT to Server 2003.
QStringList logPaths(TraceContext& context) {
    QStringList paths;
    for (const QString& name : context.list(kLogFolder, false)) {
        if (name.endsWith(QLatin1String(".evtx"), Qt::CaseInsensitive)) paths << kLogFolder + QLatin1Char('\\') + name;
    }
    for (const QString& name : context.list(kOldLogFolder, false)) {
        if (name.endsWith(QLatin1String(".evt"), Qt::CaseInsensitive)) paths << kOldLogFolder + QLatin1Char('\\') + name;
    }
    return paths;
}

// What tells one record from another: the same record met in two copies of a log (a log copied
// twice into a collection, a shadow copy's) is the same channel, record id and time. The channel
// is kept as its hash: two channels would have to collide and share a record id and a time.
struct RecordKey {
    size_t channel;
    int64_t recordId;
    UtcMicros time;
    bool operator==(const RecordKey&) const = default;
};
struct RecordKeyHash {
    size_t operator()(const RecordKey& k) const { return qHashMulti(0, k.channel, k.recordId, k.time); }
};

// Reads a log, handing each record to `each` (false: stop), and notes on the log what could not
// be read: records lost or read in part (with the first), and damage to its headers.
void readLog(TraceContext& context, const QString& path, QIODevice& file, const EachEvent& each) {
    const QString what = QStringLiteral("event log ") + path;
    QString channel;  // the log's, from its records: a log holds one channel
    const auto give = [&](EvtxRecord& record) {
        Event event;
        event.xml = std::move(record.xml);
        // A record read in part may have lost its channel; it is its log's, and what tells the
        // record from the others (and from its copies in other logs) needs it.
        if (event.xml.channel.isEmpty()) event.xml.channel = channel;
        else channel = event.xml.channel;
        event.recordId = static_cast<int64_t>(record.recordId);
        event.recovered = record.recovered;
        if (record.written != 0) event.time = utc::fromFileTime(record.written);
        return each(event);
    };
    const EvtxReading reading = path.endsWith(QLatin1String(".evt"), Qt::CaseInsensitive)
                                    ? readEvt(file, evtChannel(path.mid(path.lastIndexOf(QLatin1Char('\\')) + 1)), give)
                                    : readEvtx(file, give);
    if (!reading.log) {
        for (const QString& damage : reading.damage) context.note(FindingKind::Damaged, what, damage);
        return;
    }
    if (reading.dirty) {
        context.note(FindingKind::Recovered, what,
                     QStringLiteral("its header says it was not closed cleanly (dirty): records past its last checkpoint are read as they lie"));
    }
    for (const QString& damage : reading.damage) context.note(FindingKind::Damaged, what, damage);
    if (reading.lost > 0) {
        context.note(FindingKind::Damaged, what,
                     QStringLiteral("%1 of the records its chunks count cannot be read and were passed over (the first: %2)").arg(reading.lost).arg(reading.firstLost));
    }
    if (reading.unreadableLeftovers > 0) {
        context.note(FindingKind::Damaged, what,
                     QStringLiteral("%1 leftover records in its free space are too damaged to give even their event id").arg(reading.unreadableLeftovers));
    }
    for (const bool recovered : {false, true}) {
        const EvtxReading::Tally& t = recovered ? reading.recovered : reading.records;
        if (t.partly == 0) continue;
        context.note(FindingKind::Damaged, what,
                     QStringLiteral("%1 of its %2 %3 were read in part (the first: %4)")
                         .arg(t.partly)
                         .arg(t.given)
                         .arg(recovered ? QStringLiteral("recovered records") : QStringLiteral("records"), t.firstPartly));
    }
}

}  // namespace

void forEachEvent(TraceContext& context, TraceSink& sink,
                  const std::function<bool(TraceContext&, TraceSink&, const QString&, const Event&)>& each) {
    std::unordered_set<RecordKey, RecordKeyHash> seen;
    for (const QString& path : logPaths(context)) {
        if (context.stopped()) return;
        // One log open at a time: a system holds a few hundred.
        const auto file = context.system().openFile(path, QStringLiteral("event log"));
        if (!file) continue;
        readLog(context, path, *file, [&](const Event& event) {
            if (!seen.insert({qHash(event.xml.channel), event.recordId, event.time.value_or(0)}).second) return true;
            return each(context, sink, path, event);
        });
    }
}

Provenance eventProvenance(const std::map<QString, QString>& accounts, const QString& path, const Event& event, const QString& sid) {
    const auto user = accounts.find(sid);
    const QString part = QStringLiteral("%1 record %2").arg(event.xml.channel).arg(event.recordId);
    return Provenance{user == accounts.end() ? QByteArray() : user->second.toUtf8(), {}, {}, path.toUtf8(), part.toUtf8()};
}

}  // namespace kestrova
