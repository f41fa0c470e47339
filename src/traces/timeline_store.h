// The whole timeline for the window: every event of every record, in time order, with the
// filters the window offers (a text, kinds, users, a time range) answered by scanning the
// records' bytes on every core. An event is a 24-byte key held in memory; its record is kept
// once, compactly (record_body.h), in a file of the temporary folder (body_file.h) and read back
// when it is shown. The command line does not need this: it streams the sorted runs.
#pragma once

#include <QDir>
#include <QStringList>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "traces/body_file.h"
#include "traces/timeline.h"

namespace kestrova {

// Where the bulk of a timeline's times lie, for a histogram that shows what happened rather than
// a cookie's expiry in 9999 or a FILETIME of zero (1601). Times before 1980 or from 2100 on are
// never part of it; of the rest, the band from the 1st to the 99th percentile, widened on each
// side by its own width (a day at least), takes in every time that falls inside. nullopt when no
// time is plausible.
struct TimeRange {
    int64_t first, last;  // inclusive
    bool contains(int64_t t) const { return t >= first && t <= last; }
};
std::optional<TimeRange> bulkRange(std::span<const int64_t> sortedTimes);

class TimelineStore : public TraceSink {
public:
    struct Event {
        int64_t time;
        uint32_t body;    // where the record lies in the body file
        uint32_t record;  // the record's number, in reading order
        uint16_t kind;
        uint8_t field;
        uint8_t user;     // index into users(); 255: more users than a byte names
        uint8_t host;     // index into hosts(), likewise
    };

    // folder: where the records' bytes go (an unnamed file, gone with the store).
    explicit TimelineStore(const QString& folder = QDir::tempPath()) : bodies_(folder) {}
    bool record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) override;
    // Sorts what was read: by time, then kind, then reading order, then field.
    void finish();

    size_t size() const { return events_.size(); }
    const Event& event(size_t i) const { return events_[i]; }
    const TraceKind& kindOf(const Event& e) const { return traceKinds()[e.kind]; }
    // The event's record decoded; its texts view a buffer of the store's that holds the last
    // record decoded, valid until another is.
    void decode(const Event& e, Provenance& from, std::vector<Value>& values) const;
    // "browser.history: https://example.org/ (Example)"
    std::string message(const Event& e) const;
    // What the time means ("Visit Time").
    const char* meaning(const Event& e) const;
    const QStringList& users() const { return users_.names; }
    // The hosts the events were read from ("" for one host examined alone).
    const QStringList& hosts() const { return hosts_.names; }

    struct Filter {
        QString text;                      // any field, provenance included; ASCII letters in any case
        std::vector<bool> kinds;           // by kind index; empty: every kind
        std::vector<bool> users;           // by users() index; empty: every user
        std::vector<bool> hosts;           // by hosts() index; empty: every host
        std::optional<int64_t> from, to;   // inclusive
    };
    // The events that pass, as indexes in time order.
    std::vector<uint32_t> select(const Filter& filter) const;

private:
    BodyFile bodies_;
    // The last record decoded: read back into decodedBytes_ (or, kept in memory, where it lies).
    mutable std::string decodedBytes_;
    mutable std::string_view decoded_;
    mutable uint32_t decodedAt_ = UINT32_MAX;
    std::vector<Event> events_;
    // Names kept once, each event naming its own by a byte: records come a source after another,
    // so the last name is tried first.
    struct Names {
        QStringList names;
        QByteArray last;
        uint8_t lastIndex = 0;
        uint8_t indexOf(const QByteArray& name);
    };
    Names users_, hosts_;
    uint32_t records_ = 0;
    EventTimes times_;
};

}  // namespace kestrova
