// How kestrova-cli writes the timeline, event by event as the merge hands them over:
//   jsonl  one object an event: datetime (ISO 8601), timestamp (microseconds since 1970 UTC),
//          timestamp_desc, message, kind, user, browser, profile, hostname, source,
//          source_part, then the record's own fields (Timesketch's JSONL import)
//   csv    one table: those columns up to source_part, then "fields" (the record's other
//          fields as name=value pairs) - Timesketch's CSV import, and a spreadsheet's
//   body   The Sleuth Kit's body file for mactime: MD5|name|inode|mode|UID|GID|size|atime|
//          mtime|ctime|crtime, a line a record (not an event: mactime makes the events), each
//          time in the slot its meaning fits (BodyFileWriter)
//   tln    TLN's five fields: time|source|system|user|description
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>

#include "cli/output.h"
#include "core/time/iso_time.h"
#include "traces/timeline.h"

namespace kestrova::cli {

enum class TimelineFormat { Jsonl, Csv, Body, Tln };

// The events' formats: JSONL, CSV and TLN. The body file is a line a record, not an event, and is
// BodyFileWriter's.
class TimelinePrinter {
public:
    // hostname: the examined computer's name, for events that carry no host of their own.
    // extra.states: shadow copies are read too; csv gets the snapshot, seen_in and snapshot_note
    // columns (JSON objects have them wherever a record has them).
    // extra.tags: csv gets a tag column; JSON carries a tagged event's "tag" as Timesketch imports
    // it (a list of labels) and its note as "tag_note".
    // extra.host: several hosts are read: each event's hostname is its host's, and csv and JSON
    // get a "host" field too (Timesketch keeps one timeline a host, with the host a field).
    TimelinePrinter(ByteOutput& out, TimelineFormat format, IsoTimeWriter times, QByteArray hostname, ExtraColumns extra = {});
    void header();
    void event(const TimelineEvent& event);

private:
    ByteOutput& out_;
    TimelineFormat format_;
    IsoTimeWriter times_;
    QByteArray hostname_;
    bool withStates_ = false;
    bool withTags_ = false;
    bool withHost_ = false;
    std::string message_;  // reused from event to event
    std::string pairs_;
};

// Writes every event of the timeline in order: with several workers, this thread merges and
// writes while they decode and format the events a block at a time, each with a printer of its
// own (printerFor, over the block's output). False when the timeline could not be drained.
bool writeEvents(Timeline& events, ByteOutput& out, int workers, const std::function<std::unique_ptr<TimelinePrinter>(ByteOutput&)>& printerFor);

// The body file, written record by record as the kinds read them (mactime sorts). Each time of a
// record goes to the slot that fits its meaning: a modification or a key's last write to m(time),
// an access, visit or run to a(time), an entry change to c(time), a creation, an installation or
// a first time to b (crtime). A time that means none of these (an expiry, an end) takes the
// line's first free slot; two times of the same meaning make a second line, never one time in
// another's slot. The name says which meaning each slot holds. mactime drops identical lines, and so does this writer: a line
// is written once however often its record is met.
class BodyFileWriter : public TraceSink {
public:
    BodyFileWriter(ByteOutput& out, std::optional<UtcMicros> from, std::optional<UtcMicros> to) : out_(out), from_(from), to_(to) {}
    bool record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) override;
    qint64 lines() const { return lines_; }

    // The slot a time field's meaning asks for: 0 atime, 1 mtime, 2 ctime, 3 crtime; -1 none.
    static int slotOf(const FieldSpec& field);

private:
    ByteOutput& out_;
    std::optional<UtcMicros> from_, to_;
    EventTimes times_;
    std::unordered_set<uint64_t> written_;  // hashes of the lines written
    std::string message_, line_;
    qint64 lines_ = 0;
};

}  // namespace kestrova::cli
