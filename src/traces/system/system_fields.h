// The fields of the kinds of the system's profile (group "System"): what the machine is and was
// set up to do, from its hives and its task definitions.
#pragma once

#include "traces/trace_kind.h"

namespace kestrova::systemfields {

namespace tasks {
// path: the task's path in the Task Scheduler's tree ("\Microsoft\Windows\Defrag\ScheduledDefrag");
// registered: its registration date (XML) ; last_run: the .job file's, else the Task Scheduler's
// cache in SOFTWARE (TaskCache), with its last successful run; triggers: each trigger in a few
// words, "; " between them; status and exit_code: what a .job file keeps of its last run.
enum Field { Path, Format, Author, Description, Registered, RunAs, RunLevel, Command, Arguments, WorkingFolder, Triggers, Enabled,
             Hidden, LastRun, LastSuccess, CacheCreated, Status, ExitCode, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"path", FieldType::Path},
    {"format", FieldType::Text},
    {"author", FieldType::Text},
    {"description", FieldType::Text},
    {"registered", FieldType::Time, "Task Registered"},
    {"run_as", FieldType::Text},
    {"run_level", FieldType::Text},
    {"command", FieldType::Text},
    {"arguments", FieldType::Text},
    {"working_folder", FieldType::Text},
    {"triggers", FieldType::Text},
    {"enabled", FieldType::Bool},
    {"hidden", FieldType::Bool},
    {"last_run", FieldType::Time, "Task Last Run"},
    {"last_success", FieldType::Time, "Task Last Successful Run"},
    {"cache_created", FieldType::Time, "Task Cached"},
    {"status", FieldType::Text},
    {"exit_code", FieldType::Integer},
};
}  // namespace tasks

namespace system {
// One record for the machine: what Windows is, who registered it, where and when it last stopped.
// install_date: SOFTWARE's InstallTime (or InstallDate); last_shutdown: SYSTEM's ShutdownTime;
// time_zone: TimeZoneKeyName (or StandardName) with the bias in force ("W. Europe Standard Time,
// UTC+01:00").
enum Field { ComputerName, ProductName, Edition, Version, Build, InstallDate, RegisteredOwner, RegisteredOrganization, TimeZone,
             LastShutdown, SystemRoot, ControlSet, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"computer_name", FieldType::Text},
    {"product_name", FieldType::Text},
    {"edition", FieldType::Text},
    {"version", FieldType::Text},
    {"build", FieldType::Text},
    {"install_date", FieldType::Time, "Windows Installed"},
    {"registered_owner", FieldType::Text},
    {"registered_organization", FieldType::Text},
    {"time_zone", FieldType::Text},
    {"last_shutdown", FieldType::Time, "Last Shutdown"},
    {"system_root", FieldType::Path},
    {"control_set", FieldType::Text},
};
}  // namespace system

namespace accounts {
// The local accounts of SAM, joined with ProfileList: created is the last write of the account's
// Names key (Windows writes it once, when the account is made); flags: the account control bits
// by name ("disabled", "password not required", ...).
enum Field { Name, Rid, Sid, FullName, Comment, Created, LastLogon, PasswordSet, LastFailedLogon, AccountExpires, LogonCount,
             FailedCount, Disabled, Locked, Flags, ProfileFolder, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"name", FieldType::Text},
    {"rid", FieldType::Integer},
    {"sid", FieldType::Text},
    {"full_name", FieldType::Text},
    {"comment", FieldType::Text},
    {"created", FieldType::Time, "Account Created"},
    {"last_logon", FieldType::Time, "Last Logon"},
    {"password_set", FieldType::Time, "Password Last Set"},
    {"last_failed_logon", FieldType::Time, "Last Failed Logon"},
    {"account_expires", FieldType::Time, "Account Expires"},
    {"logon_count", FieldType::Integer},
    {"failed_count", FieldType::Integer},
    {"disabled", FieldType::Bool},
    {"locked", FieldType::Bool},
    {"flags", FieldType::Text},
    {"profile_folder", FieldType::Path},
};
}  // namespace accounts

namespace programs {
// scope: "machine", "machine (32-bit)" or "user"; install_date: the entry's InstallDate (a day, at
// midnight UTC); installed: its key's last write, which the installer leaves behind.
enum Field { Name, Version, Publisher, InstallDate, InstallLocation, UninstallCommand, Scope, KeyName, KeyWritten, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"name", FieldType::Text},
    {"version", FieldType::Text},
    {"publisher", FieldType::Text},
    {"install_date", FieldType::Time, "Program Installed"},
    {"install_location", FieldType::Path},
    {"uninstall_command", FieldType::Text},
    {"scope", FieldType::Text},
    {"key_name", FieldType::Text},
    {"key_last_written", FieldType::Time, "Key Last Written"},
};
}  // namespace programs

namespace autoruns {
// type: "Run", "RunOnce", "Winlogon", "service", "driver", "Startup folder"; location: the key or
// folder; start: a service's start type ("automatic", "demand", "disabled", ...); account: the
// account a service runs as.
enum Field { Name, Command, Kind, Location, Start, Account, Description, Written, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"name", FieldType::Text},     {"command", FieldType::Text},     {"type", FieldType::Text},
    {"location", FieldType::Text}, {"start", FieldType::Text},       {"account", FieldType::Text},
    {"description", FieldType::Text},
    {"last_written", FieldType::Time, "Entry Last Written"},
};
}  // namespace autoruns

namespace network {
// type: "interface" (TCP/IP settings and DHCP lease), "network profile" (NetworkList: each network
// the machine joined), "WLAN profile", "share" (what this machine shares) or "mapped drive" (a
// user's network drive); address: an interface's address, a profile's gateway MAC, a share's or a
// drive's path.
enum Field { Kind, Name, Address, Gateway, DhcpServer, Domain, Category, FirstConnected, LastConnected, LeaseObtained, LeaseEnds,
             Details, KeyWritten, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"type", FieldType::Text},
    {"name", FieldType::Text},
    {"address", FieldType::Text},
    {"gateway", FieldType::Text},
    {"dhcp_server", FieldType::Text},
    {"domain", FieldType::Text},
    {"category", FieldType::Text},
    {"first_connected", FieldType::Time, "Network First Connected"},
    {"last_connected", FieldType::Time, "Network Last Connected"},
    {"lease_obtained", FieldType::Time, "DHCP Lease Obtained"},
    {"lease_ends", FieldType::Time, "DHCP Lease Ends"},
    {"details", FieldType::Text},
    {"key_last_written", FieldType::Time, "Key Last Written"},
};
}  // namespace network

namespace rdpclient {
// The servers a user connected to with the Remote Desktop client: position in its MRU (0 the
// latest; absent for a server only the Servers key names), the user name hint.
enum Field { Server, UsernameHint, Position, KeyWritten, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"server", FieldType::Text}, {"username_hint", FieldType::Text}, {"mru_position", FieldType::Integer},
    {"key_last_written", FieldType::Time, "Key Last Written"},
};
}  // namespace rdpclient

namespace mountpoints {
// A user's MountPoints2 (every volume, share and letter Explorer mounted for that user, the key's
// last write is when it last was) and the machine's MountedDevices (what each letter and volume
// GUID was last: a disk signature and offset, or a device path).
enum Field { Name, Kind, Device, KeyWritten, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"name", FieldType::Text}, {"type", FieldType::Text}, {"device", FieldType::Text},
    {"key_last_written", FieldType::Time, "Key Last Written"},
};
}  // namespace mountpoints

}  // namespace kestrova::systemfields
