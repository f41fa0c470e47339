// The fields of the kinds of what Windows itself counts of its use: the Program Compatibility
// Assistant's logs, SRUM, the Windows Timeline and the Search index.
#pragma once

#include "traces/trace_kind.h"

namespace kestrova::usagefields {

namespace pca {
// event: "launched" (PcaAppLaunchDic.txt: the last launch of each program) or the general log's
// entry type ("type 2"); detail: the general log's text ("Abnormal process exit with code 0x1").
enum Field { Time, Path, Event, Product, Publisher, Version, ProgramId, Detail, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"time", FieldType::Time, "Recorded by PCA"}, {"path", FieldType::Path},      {"event", FieldType::Text},
    {"product", FieldType::Text},                 {"publisher", FieldType::Text}, {"version", FieldType::Text},
    {"program_id", FieldType::Text},              {"detail", FieldType::Text},
};
}  // namespace pca

namespace activities {
// app: the application the AppId's JSON names first; display_text, description, app_name,
// content: the Payload's displayText, description, appDisplayName and contentUri (a document's
// path or a page's address); active_seconds: the Payload's time in focus (type 6 records);
// activity_type: the number and its meaning ("5 app or document opened"); clipboard: whether a
// clipboard payload is kept; table: Activity, or ActivityOperation for those not yet uploaded.
enum Field { Start, End, LastModified, Expiration, App, DisplayText, Description, AppName, Content, ActiveSeconds, ActivityType,
             Status, Platform, Device, Clipboard, Id, Table, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"start", FieldType::Time, "Activity Started"},
    {"end", FieldType::Time, "Activity Ended"},
    {"last_modified", FieldType::Time, "Activity Modified"},
    {"expiration", FieldType::Time, "Activity Expires"},
    {"app", FieldType::Text},
    {"display_text", FieldType::Text},
    {"description", FieldType::Text},
    {"app_name", FieldType::Text},
    {"content", FieldType::Url},
    {"active_seconds", FieldType::Integer},
    {"activity_type", FieldType::Text},
    {"status", FieldType::Integer},
    {"platform", FieldType::Text},
    {"device", FieldType::Text},
    {"clipboard", FieldType::Bool},
    {"id", FieldType::Text},
    {"table", FieldType::Text},
};
}  // namespace activities

namespace search {
// One item of the Search index: indexed is when the indexer last gathered it (System.Search.
// GatherTime); summary: the first words of its content the index keeps; work_id: its number in the
// index.
enum Field { Path, Name, ItemType, TypeText, Size, Created, Modified, Accessed, Indexed, Owner, Url, Summary, WorkId, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"path", FieldType::Path},
    {"name", FieldType::Text},
    {"item_type", FieldType::Text},
    {"type_text", FieldType::Text},
    {"size", FieldType::Integer},
    {"created", FieldType::Time, "Created (Search index)"},
    {"modified", FieldType::Time, "Modified (Search index)"},
    {"accessed", FieldType::Time, "Accessed (Search index)"},
    {"indexed", FieldType::Time, "Indexed"},
    {"owner", FieldType::Text},
    {"url", FieldType::Url},
    {"summary", FieldType::Text},
    {"work_id", FieldType::Integer},
};
}  // namespace search

// SRUM (the System Resource Usage Monitor's SRUDB.dat): an hour's use (the slot's end, "time") by
// an application (app: its path or service name from SruDbIdMapTable) under an account (account:
// its name where the volume knows its SID, sid beside it); network_profile: the network's id.
namespace srumapps {
enum Field { Time, App, Account, Sid, ForegroundCycles, BackgroundCycles, FaceTime, ForegroundContextSwitches, BackgroundContextSwitches,
             ForegroundBytesRead, ForegroundBytesWritten, BackgroundBytesRead, BackgroundBytesWritten, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"time", FieldType::Time, "SRUM Slot End"},
    {"app", FieldType::Text},
    {"account", FieldType::Text},
    {"sid", FieldType::Text},
    {"foreground_cycles", FieldType::Integer},
    {"background_cycles", FieldType::Integer},
    {"face_time", FieldType::Integer},
    {"foreground_context_switches", FieldType::Integer},
    {"background_context_switches", FieldType::Integer},
    {"foreground_bytes_read", FieldType::Integer},
    {"foreground_bytes_written", FieldType::Integer},
    {"background_bytes_read", FieldType::Integer},
    {"background_bytes_written", FieldType::Integer},
};
}  // namespace srumapps

namespace srumnetwork {
// interface: the interface's LUID with its type ("1689399632855040 (Ethernet)").
enum Field { Time, App, Account, Sid, Interface, NetworkProfile, BytesSent, BytesReceived, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"time", FieldType::Time, "SRUM Slot End"}, {"app", FieldType::Text},        {"account", FieldType::Text},
    {"sid", FieldType::Text},                   {"interface", FieldType::Text},  {"network_profile", FieldType::Integer},
    {"bytes_sent", FieldType::Integer},         {"bytes_received", FieldType::Integer},
};
}  // namespace srumnetwork

namespace srumconnectivity {
enum Field { Time, Interface, NetworkProfile, ConnectedSeconds, ConnectStart, App, Account, Sid, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"time", FieldType::Time, "SRUM Slot End"},     {"interface", FieldType::Text},
    {"network_profile", FieldType::Integer},        {"connected_seconds", FieldType::Integer},
    {"connect_start", FieldType::Time, "Connected"}, {"app", FieldType::Text},
    {"account", FieldType::Text},                   {"sid", FieldType::Text},
};
}  // namespace srumconnectivity

namespace srumother {
// table: the table's meaning and GUID ("push notifications {D10CA2FE-…FA86}"); values: every other
// column of the row, by name.
enum Field { Time, Table, App, Account, Sid, Values, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"time", FieldType::Time, "SRUM Slot End"}, {"table", FieldType::Text}, {"app", FieldType::Text},
    {"account", FieldType::Text},               {"sid", FieldType::Text},   {"values", FieldType::Fields},
};
}  // namespace srumother

}  // namespace kestrova::usagefields
