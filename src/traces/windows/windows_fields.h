// The fields of the Windows activity kinds, in record order, with an enum naming the positions
// (values[Name]); the kind table declares the very same lists. Every record read from the
// registry carries its key's last-written time; the key path itself is the record's source part.
#pragma once

#include <array>

#include "traces/trace_kind.h"

namespace kestrova::windowsfields {

inline constexpr FieldSpec kKeyWritten{"key_last_written", FieldType::Time, "Key Last Written"};

namespace userassist {
enum Field { LastRun, Name, RunCount, FocusCount, FocusTimeMs, RawName, Guid, KeyWritten, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"last_run", FieldType::Time, "Last Run"}, {"name", FieldType::Path},         {"run_count", FieldType::Integer},
    {"focus_count", FieldType::Integer},       {"focus_time_ms", FieldType::Integer}, {"raw_name", FieldType::Text},
    {"guid", FieldType::Text},                 kKeyWritten,
};
}  // namespace userassist

namespace recentdocs {
enum Field { Name, Extension, Position, ValueName, LinkName, KeyWritten, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"name", FieldType::Text},       {"extension", FieldType::Text}, {"position", FieldType::Integer},
    {"value_name", FieldType::Text}, {"link_name", FieldType::Text}, kKeyWritten,
};
}  // namespace recentdocs

namespace shellbags {
enum Field { Path, ItemType, Modified, Created, Accessed, ShortName, MftEntry, Slot, BagPath, KeyWritten, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"path", FieldType::Path},      {"item_type", FieldType::Text},     {"modified", FieldType::Time, "Folder Modified"},
    {"created", FieldType::Time, "Folder Created"}, {"accessed", FieldType::Time, "Folder Accessed"},
    {"short_name", FieldType::Text}, {"mft_entry", FieldType::Integer}, {"slot", FieldType::Integer},
    {"bag", FieldType::Text},       kKeyWritten,
};
}  // namespace shellbags

// opened: when an Office list's document or place was last opened (its entry's [T…] time).
namespace mru {
enum Field { List, Subkey, Position, Entry, Program, Typed, ValueName, KeyWritten, Opened, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"list", FieldType::Text},       {"subkey", FieldType::Text}, {"position", FieldType::Integer},
    {"entry", FieldType::Text},      {"program", FieldType::Text}, {"typed", FieldType::Time, "Typed"},
    {"value_name", FieldType::Text}, kKeyWritten,                 {"opened", FieldType::Time, "Last Opened"},
};
}  // namespace mru

// A shortcut's own fields, first in windows.lnk and in the shortcuts inside Jump Lists.
namespace link {
enum Field { TargetPath, Arguments, TargetCreated, TargetModified, TargetAccessed, TargetSize, DriveType, DriveSerial,
             VolumeLabel, NetworkShare, MachineId, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"target_path", FieldType::Path},     {"arguments", FieldType::Text},
    {"target_created", FieldType::Time, "Target Created"}, {"target_modified", FieldType::Time, "Target Modified"},
    {"target_accessed", FieldType::Time, "Target Accessed"}, {"target_size", FieldType::Integer},
    {"drive_type", FieldType::Text},      {"drive_serial", FieldType::Text},
    {"volume_label", FieldType::Text},    {"network_share", FieldType::Text},
    {"machine_id", FieldType::Text},
};
}  // namespace link

template <size_t N, size_t M>
constexpr std::array<FieldSpec, N + M> joined(const FieldSpec (&first)[N], const FieldSpec (&then)[M]) {
    std::array<FieldSpec, N + M> all{};
    for (size_t i = 0; i < N; ++i) all[i] = first[i];
    for (size_t i = 0; i < M; ++i) all[N + i] = then[i];
    return all;
}

namespace lnk {
enum Field { LinkPath = link::Count, LinkCreated, LinkModified, Count };
inline constexpr FieldSpec kOwn[] = {
    {"lnk_path", FieldType::Path}, {"lnk_created", FieldType::Time, "Shortcut Created"},
    {"lnk_modified", FieldType::Time, "Shortcut Modified"},
};
inline constexpr auto kFields = joined(link::kFields, kOwn);
static_assert(kFields.size() == Count);
}  // namespace lnk

namespace jumplists {
enum Field { ListPath = link::Count, ListType, AppId, Application, EntryNumber, LastAccessed, Pinned, AccessCount, Count };
inline constexpr FieldSpec kOwn[] = {
    {"jumplist_path", FieldType::Path}, {"jumplist_type", FieldType::Text}, {"app_id", FieldType::Text},
    {"application", FieldType::Text},   {"entry_number", FieldType::Integer},
    {"last_accessed", FieldType::Time, "Last Accessed"}, {"pinned", FieldType::Bool}, {"access_count", FieldType::Integer},
};
inline constexpr auto kFields = joined(link::kFields, kOwn);
static_assert(kFields.size() == Count);
}  // namespace jumplists

namespace usb {
enum Field { DeviceClass, Vendor, Product, Revision, Serial, FriendlyName, DriveLetter, VolumeGuid, FirstInstall, LastArrival,
             LastRemoval, SetupApiInstall, Users, KeyWritten, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"device_class", FieldType::Text}, {"vendor", FieldType::Text},        {"product", FieldType::Text},
    {"revision", FieldType::Text},     {"serial", FieldType::Text},        {"friendly_name", FieldType::Text},
    {"drive_letter", FieldType::Text}, {"volume_guid", FieldType::Text},   {"first_install", FieldType::Time, "First Install"},
    {"last_arrival", FieldType::Time, "Last Arrival"}, {"last_removal", FieldType::Time, "Last Removal"},
    {"setupapi_install", FieldType::Time, "First Install (setupapi log)"}, {"users", FieldType::Text}, kKeyWritten,
};
}  // namespace usb

namespace recyclebin {
// recycled_name: the file that holds the deleted content ($R…, XP's Dc<n>.ext); still_there: it
// is in the Recycle Bin yet; recycled_size: its size now (a folder has none).
enum Field { OriginalPath, Size, Deleted, Format, Sid, RecycledName, StillThere, RecycledSize, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"original_path", FieldType::Path}, {"size", FieldType::Integer},        {"deleted", FieldType::Time, "Deleted"},
    {"format", FieldType::Text},        {"sid", FieldType::Text},            {"recycled_name", FieldType::Text},
    {"still_there", FieldType::Bool},   {"recycled_size", FieldType::Integer},
};
}  // namespace recyclebin

namespace prefetch {
enum Field { Executable, RunCount, LastRun, Run2, Run3, Run4, Run5, Run6, Run7, Run8, Hash, FormatVersion, Volumes,
             VolumeCreated, FileCount, Files, PfCreated, PfModified, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"executable", FieldType::Text},  {"run_count", FieldType::Integer},  {"last_run", FieldType::Time, "Last Run"},
    {"run_2", FieldType::Time, "Previous Run"}, {"run_3", FieldType::Time, "Previous Run"},
    {"run_4", FieldType::Time, "Previous Run"}, {"run_5", FieldType::Time, "Previous Run"},
    {"run_6", FieldType::Time, "Previous Run"}, {"run_7", FieldType::Time, "Previous Run"},
    {"run_8", FieldType::Time, "Previous Run"}, {"prefetch_hash", FieldType::Text}, {"format_version", FieldType::Integer},
    {"volumes", FieldType::Text},     {"volume_created", FieldType::Time, "Volume Created"},
    {"file_count", FieldType::Integer}, {"files", FieldType::Text},
    {"pf_created", FieldType::Time, "Prefetch File Created"}, {"pf_modified", FieldType::Time, "Prefetch File Modified"},
};
}  // namespace prefetch

namespace execution {
enum Field { Mechanism, Path, Position, Executed, FileModified, LastExecuted, Sha1, Product, Publisher, Version, FileSize,
             UserSid, KeyWritten, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"mechanism", FieldType::Text},   {"path", FieldType::Path},        {"position", FieldType::Integer},
    {"executed", FieldType::Bool},    {"file_modified", FieldType::Time, "File Modified"},
    {"last_executed", FieldType::Time, "Last Executed"}, {"sha1", FieldType::Text}, {"product", FieldType::Text},
    {"publisher", FieldType::Text},   {"version", FieldType::Text},     {"file_size", FieldType::Integer},
    {"user_sid", FieldType::Text},    kKeyWritten,
};
}  // namespace execution

// An event of any log. `data` is the event's own fields by name (EventData, UserData);
// event_message: the event's text as its provider words it.
namespace events {
enum Field { Time, Channel, Provider, EventId, Level, RecordId, Computer, UserSid, Message, Data, Recovered, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"time", FieldType::Time, "Event Logged"}, {"channel", FieldType::Text},    {"provider", FieldType::Text},
    {"event_id", FieldType::Integer},          {"level", FieldType::Text},      {"record_id", FieldType::Integer},
    {"computer", FieldType::Text},             {"user_sid", FieldType::Text},   {"event_message", FieldType::Text},
    {"data", FieldType::Fields},               {"recovered", FieldType::Bool},
};
}  // namespace events

// Logons, logoffs and Remote Desktop sessions, their accounts and where they came from.
namespace logons {
enum Field { Time, Action, EventId, LogonType, Account, Domain, LogonId, Workstation, SourceAddress, SourcePort, Process,
             AuthPackage, SessionId, Channel, RecordId, Computer, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"time", FieldType::Time, "Logon Event"}, {"action", FieldType::Text},       {"event_id", FieldType::Integer},
    {"logon_type", FieldType::Text},          {"account", FieldType::Text},      {"domain", FieldType::Text},
    {"logon_id", FieldType::Text},            {"workstation", FieldType::Text},  {"source_address", FieldType::Text},
    {"source_port", FieldType::Text},         {"process", FieldType::Path},      {"auth_package", FieldType::Text},
    {"session_id", FieldType::Text},          {"channel", FieldType::Text},      {"record_id", FieldType::Integer},
    {"computer", FieldType::Text},
};
}  // namespace logons

// Sessions derived from the logon events: a logon paired with its end.
namespace sessions {
enum Field { Start, End, DurationSeconds, Type, Account, Domain, LogonId, SessionId, SourceAddress, EndReason, Computer,
             StartRecord, EndRecord, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"start", FieldType::Time, "Session Start"}, {"end", FieldType::Time, "Session End"},
    {"duration_seconds", FieldType::Integer},    {"type", FieldType::Text},          {"account", FieldType::Text},
    {"domain", FieldType::Text},                 {"logon_id", FieldType::Text},      {"session_id", FieldType::Text},
    {"source_address", FieldType::Text},         {"end_reason", FieldType::Text},    {"computer", FieldType::Text},
    {"start_record", FieldType::Text},           {"end_record", FieldType::Text},
};
}  // namespace sessions

// What ran: PowerShell script blocks (4104, joined from their parts) and engine, provider and
// pipeline events, Defender detections, Sysmon process creations.
namespace scripts {
enum Field { Time, Action, Command, Path, Account, Parent, Detail, BlockId, Parts, EventId, Channel, RecordId, Computer, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"time", FieldType::Time, "Event Logged"}, {"action", FieldType::Text},   {"command", FieldType::Text},
    {"path", FieldType::Path},                 {"account", FieldType::Text},  {"parent", FieldType::Path},
    {"detail", FieldType::Text},               {"block_id", FieldType::Text}, {"parts", FieldType::Text},
    {"event_id", FieldType::Integer},          {"channel", FieldType::Text},  {"record_id", FieldType::Integer},
    {"computer", FieldType::Text},
};
}  // namespace scripts

// What the system, its services, accounts and devices did, each as one fact: what happened
// (action), to what (subject), how (detail) and by whom (account). windows.power, windows.installs,
// windows.accounts and windows.devices.events share these fields.
namespace eventfacts {
// registry_device: the USB device the SYSTEM hive knows by the event's serial or instance id (its
// Enum key), where the event names a device.
enum Field { Time, Action, Subject, Detail, Account, EventId, Channel, RecordId, Computer, RegistryDevice, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"time", FieldType::Time, "Event Logged"}, {"action", FieldType::Text},     {"subject", FieldType::Text},
    {"detail", FieldType::Text},               {"account", FieldType::Text},    {"event_id", FieldType::Integer},
    {"channel", FieldType::Text},              {"record_id", FieldType::Integer}, {"computer", FieldType::Text},
    {"registry_device", FieldType::Text},
};
}  // namespace eventfacts

}  // namespace kestrova::windowsfields
