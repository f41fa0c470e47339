// The table of trace kinds. One row a kind, in the order they are listed; adding a kind is adding
// its row here (with its source and fields beside the source).
#include "traces/trace_kind.h"

#include "traces/browsers/browser_sources.h"
#include "traces/evidence_file_times.h"
#include "traces/filesystem/filesystem_sources.h"
#include "traces/ie/ie_sources.h"
#include "traces/system/system_fields.h"
#include "traces/system/system_sources.h"
#include "traces/usage/usage_fields.h"
#include "traces/usage/usage_sources.h"
#include "traces/windows/windows_fields.h"
#include "traces/windows/windows_sources.h"

namespace kestrova {
namespace {

namespace bf = browserfields;
namespace wf = windowsfields;
constexpr Carries kBrowser = Carries::User | Carries::Browser;
constexpr Carries kUser = Carries::User;
constexpr Carries kMachine = Carries::None;

const TraceKind kKinds[] = {
    {.name = "browser.history", .group = "Browsers", .caption = "History (every visit)", .carries = kBrowser,
     .fields = bf::history::kFields, .source = browserHistory,
     .about = "every visit of every Chromium-family and Firefox profile, with the visit's own time",
     .readIn = ReadIn::BrowserProfiles},
    {.name = "browser.downloads", .group = "Browsers", .caption = "Downloads", .carries = kBrowser,
     .fields = bf::downloads::kFields, .source = browserDownloads,
     .about = "downloads: Chromium of every schema, Firefox downloads.sqlite and places annotations",
     .readIn = ReadIn::BrowserProfiles},
    {.name = "browser.cookies", .group = "Browsers", .caption = "Cookies", .carries = kBrowser,
     .fields = bf::cookies::kFields, .source = browserCookies,
     .about = "cookies with their times and flags (Chromium's encrypted values are not decrypted)",
     .readIn = ReadIn::BrowserProfiles},
    {.name = "browser.searches", .group = "Browsers", .caption = "Searches and typed input", .carries = kBrowser,
     .fields = bf::searches::kFields, .source = browserSearches,
     .about = "Chromium keyword search terms, Firefox address bar input history",
     .readIn = ReadIn::BrowserProfiles},
    {.name = "browser.forms", .group = "Browsers", .caption = "Form entries", .carries = kBrowser,
     .fields = bf::forms::kFields, .source = browserForms,
     .about = "Firefox form history, Chromium Web Data autofill entries",
     .readIn = ReadIn::BrowserProfiles},
    {.name = "browser.bookmarks", .group = "Browsers", .caption = "Bookmarks", .carries = kBrowser,
     .fields = bf::bookmarks::kFields, .source = browserBookmarks,
     .about = "Chromium Bookmarks files, Firefox moz_bookmarks, with their folders",
     .readIn = ReadIn::BrowserProfiles},
    {.name = "browser.logins", .group = "Browsers", .caption = "Saved logins", .carries = kBrowser,
     .fields = bf::logins::kFields, .source = browserLogins,
     .about = "Chromium Login Data: sites and user names with their times (never a password)",
     .readIn = ReadIn::BrowserProfiles},
    {.name = "browser.topsites", .group = "Browsers", .caption = "Top sites", .carries = kBrowser,
     .fields = bf::topsites::kFields, .source = browserTopSites,
     .about = "Chromium Top Sites (thumbnails and top_sites schemas)",
     .readIn = ReadIn::BrowserProfiles},
    {.name = "ie.history", .group = "Internet Explorer", .caption = "History (all containers)", .carries = kUser,
     .fields = iefields::history::kFields, .source = ieHistory,
     .about = "Internet Explorer history: History.IE5 and its MSHist containers (5-9), WebCacheV01.dat (10, 11, legacy Edge)"},
    {.name = "ie.cache", .group = "Internet Explorer", .caption = "Cache", .carries = kUser,
     .fields = iefields::cache::kFields, .source = ieCache,
     .about = "Internet Explorer cache: Content.IE5 (5-9), WebCacheV01.dat's Content containers (10, 11, legacy Edge)"},
    {.name = "ie.cookies", .group = "Internet Explorer", .caption = "Cookies", .carries = kUser,
     .fields = bf::cookies::kFields, .source = ieCookies,
     .about = "Internet Explorer cookie text files with their values, and WebCacheV01.dat's Cookies containers"},
    {.name = "windows.userassist", .group = "Windows activity", .caption = "Programs run (UserAssist)", .carries = kUser,
     .fields = wf::userassist::kFields, .source = windowsUserAssist,
     .about = "programs and shortcuts each user started from the shell: run count, focus time, last run"},
    {.name = "windows.recentdocs", .group = "Windows activity", .caption = "Recent documents", .carries = kUser,
     .fields = wf::recentdocs::kFields, .source = windowsRecentDocs,
     .about = "RecentDocs and its per-extension lists, most recent first"},
    {.name = "windows.shellbags", .group = "Windows activity", .caption = "Folders browsed (ShellBags)", .carries = kUser,
     .fields = wf::shellbags::kFields, .source = windowsShellBags,
     .about = "every folder each user's Explorer showed, as full paths with the folders' own times"},
    {.name = "windows.mru", .group = "Windows activity", .caption = "Open/Save, Run and typed paths", .carries = kUser,
     .fields = wf::mru::kFields, .source = windowsMru,
     .about = "Open/Save dialog lists, RunMRU, TypedPaths, WordWheelQuery and TypedURLs in their order"},
    {.name = "windows.lnk", .group = "Windows activity", .caption = "Shortcuts (Recent)", .carries = kUser,
     .fields = wf::lnk::kFields, .source = windowsLnk,
     .about = "shortcuts in the Recent folders: target, its times and volume, the shortcut's own times"},
    {.name = "windows.jumplists", .group = "Windows activity", .caption = "Jump Lists", .carries = kUser,
     .fields = wf::jumplists::kFields, .source = windowsJumpLists,
     .about = "automatic and custom Jump Lists: each entry's target, last access, pin and use count"},
    {.name = "windows.usb", .group = "Windows activity", .caption = "USB devices", .carries = kMachine,
     .fields = wf::usb::kFields, .source = windowsUsb,
     .about = "USB storage and devices: serials, drive letters, install, arrival and removal times"},
    {.name = "windows.prefetch", .group = "Windows activity", .caption = "Prefetch", .carries = kMachine,
     .fields = wf::prefetch::kFields, .source = windowsPrefetch,
     .about = "programs run by prefetch file: run count, last run times, volumes and files loaded"},
    {.name = "windows.execution", .group = "Windows activity", .caption = "Execution (ShimCache, Amcache, BAM)", .carries = kUser,
     .fields = wf::execution::kFields, .source = windowsExecution,
     .about = "ShimCache entries, Amcache program files with SHA-1, BAM/DAM last execution per user"},
    {.name = "windows.pca", .group = "Windows activity", .caption = "Program Compatibility Assistant", .carries = kMachine,
     .fields = usagefields::pca::kFields, .source = windowsPca,
     .about = "Windows 11's PCA logs: the last launch of each program, abnormal exits and installer failures"},
    {.name = "windows.activities", .group = "Windows activity", .caption = "Timeline (ActivitiesCache)", .carries = kUser,
     .fields = usagefields::activities::kFields, .source = windowsActivities,
     .about = "the Windows Timeline: apps and documents opened and in use, with start, end and focus time, clipboard entries"},
    {.name = "windows.search", .group = "Windows activity", .caption = "Search index", .carries = kMachine,
     .fields = usagefields::search::kFields, .source = windowsSearch,
     .about = "the Windows Search index (Windows 11's Windows.db): every item with its path, type, size, times, owner and when it was indexed"},
    {.name = "windows.srum.apps", .group = "Windows activity", .caption = "SRUM: application use", .carries = kUser,
     .fields = usagefields::srumapps::kFields, .source = windowsSrumApps,
     .about = "SRUM's hourly use of each application by each account: cycle times, face time, bytes read and written"},
    {.name = "windows.srum.network", .group = "Windows activity", .caption = "SRUM: network data use", .carries = kUser,
     .fields = usagefields::srumnetwork::kFields, .source = windowsSrumNetwork,
     .about = "SRUM's hourly bytes sent and received by each application on each interface and network profile"},
    {.name = "windows.srum.connectivity", .group = "Windows activity", .caption = "SRUM: network connectivity", .carries = kUser,
     .fields = usagefields::srumconnectivity::kFields, .source = windowsSrumConnectivity,
     .about = "SRUM's connected time per interface and network profile, with when each connection began"},
    {.name = "windows.srum.other", .group = "Windows activity", .caption = "SRUM: other tables", .carries = kUser,
     .fields = usagefields::srumother::kFields, .source = windowsSrumOther,
     .about = "SRUM's other tables by their meaning (push notifications, application timeline, energy use): every column as a named value"},
    {.name = "windows.events", .group = "Event logs", .caption = "Every event", .carries = kUser,
     .fields = wf::events::kFields, .source = windowsEvents,
     .about = "every record of every event log (.evtx, and .evt of Windows NT to 2003), damaged records said, recovered ones marked"},
    {.name = "windows.logons", .group = "Event logs", .caption = "Logons and sessions", .carries = kUser,
     .fields = wf::logons::kFields, .source = windowsLogons,
     .about = "logons, logoffs, failed logons and Remote Desktop sessions: account, logon type, source address"},
    {.name = "windows.sessions", .group = "Event logs", .caption = "Sessions (logon to logoff)", .carries = kUser,
     .fields = wf::sessions::kFields, .source = windowsSessions,
     .about = "sessions derived from the logon events: a logon paired with its logoff, or ended by the system's stop"},
    {.name = "windows.power", .group = "Event logs", .caption = "Start, shutdown and sleep", .carries = kUser,
     .fields = wf::eventfacts::kFields, .source = windowsPower,
     .about = "system starts, shutdowns (clean, initiated, unexpected), sleep and wake, from the event logs"},
    {.name = "windows.installs", .group = "Event logs", .caption = "Services, tasks and programs installed", .carries = kUser,
     .fields = wf::eventfacts::kFields, .source = windowsInstalls,
     .about = "services installed, scheduled tasks registered, MSI products and updates installed"},
    {.name = "windows.accounts", .group = "Event logs", .caption = "Accounts changed and logs cleared", .carries = kUser,
     .fields = wf::eventfacts::kFields, .source = windowsAccountEvents,
     .about = "user accounts created, changed, enabled, disabled, deleted, locked out; group members added; logs cleared"},
    {.name = "windows.devices.events", .group = "Event logs", .caption = "Devices attached", .carries = kUser,
     .fields = wf::eventfacts::kFields, .source = windowsDeviceEvents,
     .about = "disks arriving (model, serial, capacity) and devices configured and started, from the event logs"},
    {.name = "windows.scripts", .group = "Event logs", .caption = "Scripts and programs run", .carries = kUser,
     .fields = wf::scripts::kFields, .source = windowsScripts,
     .about = "PowerShell script blocks joined from their parts, PowerShell engine and pipeline events, Defender detections, Sysmon process creations"},
    {.name = "windows.recyclebin", .group = "Evidence files", .caption = "Recycle Bin", .carries = kUser,
     .fields = wf::recyclebin::kFields, .source = windowsRecycleBin,
     .about = "files deleted to the Recycle Bin ($I files, XP's INFO2): original path, size, time, user, whether the content is still there"},
    {.name = "file.mft", .group = "Evidence files", .caption = "Master File Table (MFT)", .carries = kMachine,
     .fields = mftfields::kFields, .source = fileMft,
     .about = "every MFT entry, in use or deleted: path, size, $STANDARD_INFORMATION and $FILE_NAME times, a time-stomping hint"},
    {.name = "file.journal", .group = "Evidence files", .caption = "Change journal (USN)", .carries = kMachine,
     .fields = journalfields::kFields, .source = fileJournal,
     .about = "every record of the NTFS change journal: created, changed, renamed and deleted files with their reasons"},
    {.name = "file", .group = "Evidence files", .caption = "File times", .carries = kUser,
     .fields = evidencefields::kFields, .source = evidenceFileTimes,
     .about = "the evidence files' own created, modified, accessed and entry-changed times"},
    {.name = "windows.tasks", .group = "System", .caption = "Scheduled tasks", .carries = kMachine,
     .fields = systemfields::tasks::kFields, .source = windowsTasks,
     .about = "every scheduled task (XML definitions and .job files): command, arguments, run-as, triggers, registration and last run"},
    {.name = "windows.system", .group = "System", .caption = "System", .carries = kMachine,
     .fields = systemfields::system::kFields, .source = windowsSystem,
     .about = "the machine: computer name, Windows product, edition, version and build, install date, owner, time zone, last shutdown"},
    {.name = "windows.accounts.local", .group = "System", .caption = "Local accounts (SAM)", .carries = kMachine,
     .fields = systemfields::accounts::kFields, .source = windowsLocalAccounts,
     .about = "SAM's accounts: name, RID and SID, created, last logon, password set, failed logons, logon count, disabled or locked, profile folder"},
    {.name = "windows.programs", .group = "System", .caption = "Installed programs", .carries = kUser,
     .fields = systemfields::programs::kFields, .source = windowsPrograms,
     .about = "the Uninstall entries of the machine (64- and 32-bit) and of every user: name, version, publisher, install date and location"},
    {.name = "windows.autoruns", .group = "System", .caption = "Autostarts", .carries = kUser,
     .fields = systemfields::autoruns::kFields, .source = windowsAutoruns,
     .about = "what starts by itself: Run and RunOnce of the machine and every user, Winlogon, services and drivers, Startup folders"},
    {.name = "windows.network", .group = "System", .caption = "Networks", .carries = kUser,
     .fields = systemfields::network::kFields, .source = windowsNetwork,
     .about = "interfaces with their addresses and DHCP leases, the networks joined (first and last connected), WLAN profiles, shares, mapped drives"},
    {.name = "windows.rdp.client", .group = "System", .caption = "Remote Desktop connections", .carries = kUser,
     .fields = systemfields::rdpclient::kFields, .source = windowsRdpClient,
     .about = "the servers each user reached with the Remote Desktop client, in MRU order, with the user name used"},
    {.name = "windows.mountpoints", .group = "System", .caption = "Mount points", .carries = kUser,
     .fields = systemfields::mountpoints::kFields, .source = windowsMountPoints,
     .about = "the volumes, shares and letters Explorer mounted for each user (MountPoints2), and MountedDevices"},
};

}  // namespace

std::span<const TraceKind> traceKinds() { return kKinds; }

const TraceKind* findTraceKind(std::string_view name) {
    for (const TraceKind& kind : kKinds) {
        if (name == kind.name) return &kind;
    }
    return nullptr;
}

std::vector<OutputColumn> outputColumns(const TraceKind& kind, ExtraColumns extra) {
    std::vector<OutputColumn> columns;
    if (extra.host) columns.push_back({"host", FieldType::Text, -10});
    if (has(kind.carries, Carries::User)) columns.push_back({"user", FieldType::Text, -1});
    if (has(kind.carries, Carries::Browser)) {
        columns.push_back({"browser", FieldType::Text, -2});
        columns.push_back({"profile", FieldType::Text, -3});
    }
    for (size_t i = 0; i < kind.fields.size(); ++i) columns.push_back({kind.fields[i].name, kind.fields[i].type, static_cast<int>(i)});
    columns.push_back({"source", FieldType::Path, -4});
    columns.push_back({"source_part", FieldType::Text, -5});
    if (extra.states) {
        columns.push_back({"snapshot", FieldType::Text, -6});
        columns.push_back({"seen_in", FieldType::Text, -7});
        columns.push_back({"snapshot_note", FieldType::Text, -8});
    }
    if (extra.tags) columns.push_back({"tag", FieldType::Text, -9});
    return columns;
}

std::string_view provenanceValue(const Provenance& from, int field) {
    const QByteArray* bytes = nullptr;
    switch (field) {
    case -1: bytes = &from.user; break;
    case -2: bytes = &from.browser; break;
    case -3: bytes = &from.profile; break;
    case -4: bytes = &from.source; break;
    case -5: bytes = &from.part; break;
    case -6: bytes = &from.snapshot; break;
    case -7: bytes = &from.seenIn; break;
    case -8: bytes = &from.snapshotNote; break;
    case -10: bytes = &from.host; break;
    default: bytes = &from.tag; break;
    }
    return std::string_view(bytes->constData(), static_cast<size_t>(bytes->size()));
}

}  // namespace kestrova
