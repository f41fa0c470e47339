// Windows event logs as the event kinds read them: every .evtx of Windows\System32\winevt\Logs
// (every channel, whatever the file's name) with our own reader (platform/evtx/evtx_file.h), and
// the .evt logs of Windows NT to Server 2003 in Windows\System32\config with libevt in its helper
// program. A log is read record by record: a record that breaks is given with what was read of it,
// one that cannot be read is counted and passed over, and the reading goes on (the field's
// exporters stop a log at its first bad record); then the records left in the log's free space are
// read too, marked `recovered`. A record met twice (the same log copied twice) is handed over
// once: records are told apart by channel, record id and time.
#pragma once

#include <QString>
#include <functional>
#include <map>
#include <optional>

#include "traces/trace_context.h"
#include "traces/windows/event_xml.h"

namespace kestrova {

// One event as read: its fields, and its record's own id and time.
struct Event {
    EventXml xml;
    std::optional<UtcMicros> time;
    int64_t recordId = 0;
    bool recovered = false;
};

// Reads every log, handing each event not met before to `each` with the log's path (false: stop).
// What a log loses is noted on it.
void forEachEvent(TraceContext& context, TraceSink& sink,
                  const std::function<bool(TraceContext&, TraceSink&, const QString&, const Event&)>& each);

// The provenance of an event's record: the account the SID names (knownAccounts), the log's
// path, "channel record N".
Provenance eventProvenance(const std::map<QString, QString>& accounts, const QString& path, const Event& event, const QString& sid);

// The fields an event-derived record of every kind carries, at the kind's own positions.
struct EventPlaces {
    size_t time, eventId, channel, recordId, computer;
};
template <size_t N>
void setEventFields(OwnedRecord<N>& r, EventPlaces at, const Event& event) {
    r.time(at.time, event.time);
    if (event.xml.eventId) r.integer(at.eventId, *event.xml.eventId);
    r.text(at.channel, event.xml.channel);
    r.integer(at.recordId, event.recordId);
    r.text(at.computer, event.xml.computer);
}

}  // namespace kestrova
