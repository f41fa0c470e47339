// How kestrova-cli writes the timeline, event by event as the merge hands them over:
//   jsonl  one object an event: datetime (ISO 8601), timestamp (microseconds since 1970 UTC),
//          timestamp_desc, message, kind, user, browser, profile, hostname, source,
//          source_part, then the record's own fields (Timesketch's JSONL import)
//   csv    one table: those columns up to source_part, then "fields" (the record's other
//          fields as name=value pairs) - Timesketch's CSV import, and a spreadsheet's
//   body   The Sleuth Kit's body file for mactime: MD5|name|inode|mode|UID|GID|size|atime|
//          mtime|ctime|crtime, the event's time (whole seconds) in all four time slots
//   tln    TLN's five fields: time|source|system|user|description
#pragma once

#include <string>

#include "cli/output.h"
#include "core/time/iso_time.h"
#include "traces/timeline.h"

namespace kestrova::cli {

enum class TimelineFormat { Jsonl, Csv, Body, Tln };

class TimelinePrinter {
public:
    TimelinePrinter(ByteOutput& out, TimelineFormat format, IsoTimeWriter times, QByteArray hostname);
    void header();
    void event(const TimelineEvent& event);

private:
    ByteOutput& out_;
    TimelineFormat format_;
    IsoTimeWriter times_;
    QByteArray hostname_;
    std::string message_;  // reused from event to event
    std::string pairs_;
};

}  // namespace kestrova::cli
