// Event logs: every record of every log, read record by record (a damaged record passed over and
// said, the rest read), the event's data by name, logons named as an examiner asks for them. The
// real logs of ../shared/realdata/eventlogs are read in place and checked against the counts and
// records evtxexport gives; damage is made from them at test time.
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <map>

#include "support/temp_volume.h"
#include "support/trace_collector.h"
#include "traces/windows/event_messages.h"
#include "support/event_xml_reference.h"
#include "traces/windows/event_xml.h"

namespace kestrova {
namespace {

using test::TraceCollector;
using test::TraceRecord;

const QString kLogs = QStringLiteral("Windows/System32/winevt/Logs/");

QByteArray readAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

struct Read {
    TraceCollector records;
    QStringList findings;
};

// The kinds read from a volume holding these logs (name on the volume, bytes).
Read readLogs(const std::vector<std::pair<QString, QByteArray>>& logs, std::initializer_list<const char*> kinds) {
    test::TempVolume volume;
    volume.file("Users/alice/NTUSER.DAT", "x");
    for (const auto& [name, bytes] : logs) volume.file(kLogs + name, bytes);
    const auto system = volume.open();
    QTemporaryDir temp;
    Read read{test::readTraces(*system, kinds, temp.path()), {}};
    for (const Finding& f : system->findings().all()) read.findings << f.what + ": " + f.why;
    return read;
}

qsizetype countWhere(const std::vector<TraceRecord>& records, const std::function<bool(const TraceRecord&)>& match) {
    return std::count_if(records.begin(), records.end(), match);
}

TEST(EventXml, SystemFieldsAndDataByNameFromEventDataAndUserData) {
    const EventXml logon = parseEventXml(
        "<Event xmlns=\"http://schemas.microsoft.com/win/2004/08/events/event\"><System>"
        "<Provider Name=\"Microsoft-Windows-Security-Auditing\"/><EventID Qualifiers=\"0\">4624</EventID><Level>0</Level>"
        "<TimeCreated SystemTime=\"2022-02-05T22:17:39.990830200Z\"/><EventRecordID>17</EventRecordID>"
        "<Channel>Security</Channel><Computer>WKS-1</Computer><Security UserID=\"S-1-5-18\"/></System>"
        "<EventData><Data Name=\"TargetUserName\">bob</Data><Data Name=\"TargetDomainName\">CORP</Data>"
        "<Data Name=\"LogonType\">10</Data><Data Name=\"IpAddress\">10.0.0.5</Data><Data>unnamed</Data></EventData></Event>");
    EXPECT_TRUE(logon.why.isEmpty()) << logon.why.toStdString();
    EXPECT_EQ(logon.provider, "Microsoft-Windows-Security-Auditing");
    EXPECT_EQ(logon.eventId, 4624);
    EXPECT_EQ(logon.recordId, 17);
    EXPECT_EQ(logon.channel, "Security");
    EXPECT_EQ(logon.userSid, "S-1-5-18");
    EXPECT_EQ(dataValue(logon, "Data1"), "unnamed");
    EXPECT_EQ(eventMessage(logon), "An account logged on: CORP\\bob, RemoteInteractive (10), from - 10.0.0.5");

    // UserData's leaves by their own names, prefixes undeclared as libevtx writes them; a
    // control character in a value does not end the reading.
    const EventXml session = parseEventXml(
        "<Event><System><EventID>21</EventID><Channel>Microsoft-Windows-TerminalServices-LocalSessionManager/Operational</Channel>"
        "</System><UserData><x:EventXML><User>PC\\alice</User><SessionID>2</SessionID><Address>\x01LOCAL</Address></x:EventXML>"
        "</UserData></Event>");
    EXPECT_TRUE(session.why.isEmpty()) << session.why.toStdString();
    EXPECT_EQ(dataValue(session, "User"), "PC\\alice");
    EXPECT_EQ(dataValue(session, "SessionID"), "2");

    // A text that breaks keeps what came before and says where it broke.
    const EventXml cut = parseEventXml("<Event><System><EventID>7045</EventID><Channel>System</Channel></System><EventData><Data Name=\"Service");
    EXPECT_EQ(cut.eventId, 7045);
    EXPECT_FALSE(cut.why.isEmpty());
    EXPECT_EQ(logonTypeName("3"), "Network (3)");
    EXPECT_EQ(logonTypeName("99"), "99");
}

// The Windows 10 Security log: every one of its 5,229 records, 473 of them logons (4624), and a
// record field by field as evtxexport -f xml shows it.
TEST(EventLogs, EveryRecordOfARealSecurityLogWithItsFieldsByName) {
    REALDATA_OR_SKIP(security, "eventlogs/win10-rathbunvm/Security.evtx");
    const Read read = readLogs({{"Security.evtx", readAll(security)}}, {"windows.events", "windows.logons"});
    const auto events = read.records.of("windows.events");
    ASSERT_EQ(events.size(), 5229u) << read.findings.join("\n").toStdString();
    EXPECT_EQ(countWhere(events, [](const TraceRecord& r) { return r["event_id"] == "4624"; }), 473);
    EXPECT_EQ(countWhere(events, [](const TraceRecord& r) { return r["recovered"] == "1"; }), 0);
    const TraceRecord& first = events.front();
    EXPECT_EQ(first["time"], "2022-02-05T22:17:39.990830+00:00");
    EXPECT_EQ(first["channel"], "Security");
    EXPECT_EQ(first["provider"], "Microsoft-Windows-Security-Auditing");
    EXPECT_EQ(first["event_id"], "4688");
    EXPECT_EQ(first["record_id"], "1");
    EXPECT_EQ(first["computer"], "WIN-28GFHAGEV4P");
    EXPECT_EQ(first["level"], "Information");
    EXPECT_TRUE(first["data"].startsWith("SubjectUserSid=S-1-5-18; SubjectUserName=-;")) << first["data"].toStdString();
    EXPECT_TRUE(first["data"].contains("NewProcessName=Registry;"));
    EXPECT_EQ(first["event_message"], "A process was created: Registry -, by -");
    EXPECT_EQ(first["source"], "C:\\Windows\\System32\\winevt\\Logs\\Security.evtx");
    EXPECT_EQ(first["source_part"], "Security record 1");

    const auto logons = read.records.of("windows.logons");
    EXPECT_EQ(countWhere(logons, [](const TraceRecord& r) { return r["action"] == "logon"; }), 473);
    const TraceRecord* interactive = nullptr;
    for (const TraceRecord& r : logons) {
        if (r["action"] == "logon" && r["logon_type"] == "Interactive (2)") interactive = &r;
    }
    ASSERT_NE(interactive, nullptr);
    EXPECT_FALSE((*interactive)["account"].isEmpty());
    EXPECT_FALSE((*interactive)["logon_id"].isEmpty());
}

// Console sessions of one user in the LocalSessionManager log; a Security log by any file name.
TEST(EventLogs, SessionManagerEventsAndASecurityLogByAnyNameAreLogons) {
    REALDATA_OR_SKIP(sessions, "eventlogs/win10-rathbunvm/Microsoft-Windows-TerminalServices-LocalSessionManager%4Operational.evtx");
    REALDATA_OR_SKIP(system2, "eventlogs/plaso-System2.evtx");
    const Read read = readLogs({{"Microsoft-Windows-TerminalServices-LocalSessionManager%4Operational.evtx", readAll(sessions)},
                                {"System2.evtx", readAll(system2)}},
                               {"windows.logons"});
    const auto logons = read.records.of("windows.logons");
    const auto of = [&](const char* action) { return countWhere(logons, [&](const TraceRecord& r) { return r["action"] == action; }); };
    EXPECT_EQ(of("session logon"), 4);
    EXPECT_EQ(of("shell start"), 4);
    const TraceRecord* first = nullptr;
    for (const TraceRecord& r : logons) {
        if (r["action"] == "session logon" && !first) first = &r;
    }
    ASSERT_NE(first, nullptr);
    EXPECT_EQ((*first)["account"], "defaultuser0");
    EXPECT_EQ((*first)["domain"], "DESKTOP-GNCCVRK");
    EXPECT_EQ((*first)["source_address"], "LOCAL");
    EXPECT_EQ((*first)["session_id"], "1");
    EXPECT_EQ((*first)["time"], "2022-02-05T19:18:55.392572+00:00");
    // plaso's "System2.evtx" is a Security log: its 47 logons are logons. It was cut 64,832 bytes
    // into its third chunk, which evtxexport passes over whole; the records of that chunk before
    // the cut are read too, and the one cut off is said.
    const auto security = [](const TraceRecord& r) { return r["action"] == "logon" && r["channel"] == "Security"; };
    EXPECT_EQ(countWhere(logons, [&](const TraceRecord& r) { return security(r) && r["record_id"].toInt() <= 194; }), 47);
    EXPECT_GT(countWhere(logons, [&](const TraceRecord& r) { return security(r) && r["record_id"].toInt() > 194; }), 0);
    EXPECT_EQ(read.findings.filter("System2.evtx: 1 of the records its chunks count cannot be read").size(), 1) << read.findings.join("\n").toStdString();
}

// The shadow copy's CAPI2 log, where evtxexport stops after record 89 ("invalid binary XML sub
// token"): its templates leave out their elements' dependency identifiers. Every record is read
// whole, the certificate chains of its UserData by name.
TEST(EventLogs, ALogTheLibraryStopsInIsReadWhole) {
    REALDATA_OR_SKIP(capi2, "eventlogs/evtx-samples/E_ShadowCopy6_windows_system32_winevt_logs_Microsoft-Windows-CAPI2%4Operational.evtx");
    const Read read = readLogs({{"CAPI2.evtx", readAll(capi2)}}, {"windows.events"});
    const auto events = read.records.of("windows.events");
    EXPECT_EQ(countWhere(events, [](const TraceRecord& r) { return r["recovered"] == "0"; }), 459);
    EXPECT_TRUE(read.findings.filter(QRegularExpression("of its \\d+ records were read in part")).isEmpty()) << read.findings.join("\n").toStdString();
    const auto chain = std::find_if(events.begin(), events.end(), [](const TraceRecord& r) { return r["record_id"] == "475"; });
    ASSERT_NE(chain, events.end());
    EXPECT_TRUE((*chain)["data"].contains("Microsoft Root Certificate Authority")) << (*chain)["data"].toStdString();
}

// Damage made from a real log: bytes flipped inside a chunk, the file cut, garbage where a log
// should be. Every case reads what it can, says the rest, and the program goes on.
TEST(EventLogs, FlippedCutAndFalseLogsSayWhatTheyLost) {
    REALDATA_OR_SKIP(system, "eventlogs/win10-rathbunvm/System.evtx");
    const QByteArray whole = readAll(system);
    QByteArray flipped = whole;
    for (qsizetype at = 0x1000 + 0x200; at < 0x1000 + 0x10000 && at < flipped.size(); at += 997) flipped[at] = static_cast<char>(flipped[at] ^ 0x5A);
    const Read read = readLogs({{"System.evtx", whole}, {"Flipped.evtx", flipped}, {"Cut.evtx", whole.left(whole.size() / 3)},
                                {"Garbage.evtx", QByteArray(70000, 'G')}},
                               {"windows.events"});
    const auto events = read.records.of("windows.events");
    // The same records met in the damaged copies are written once; a flip inside a record's id or
    // time makes it another record, as it would to any reader (two here), and is said.
    const auto given = countWhere(events, [](const TraceRecord& r) { return r["recovered"] == "0"; });
    EXPECT_GE(given, 1094);
    EXPECT_LE(given, 1094 + 2);
    EXPECT_EQ(read.findings.filter("Garbage.evtx: not an event log").size(), 1) << read.findings.join("\n").toStdString();
    const QStringList flippedSaid = read.findings.filter("Flipped.evtx");
    EXPECT_EQ(flippedSaid.filter("1 of its 17 chunks hold records whose checksum does not match").size(), 1) << flippedSaid.join("\n").toStdString();
    EXPECT_EQ(flippedSaid.filter("2 of the records its chunks count cannot be read").size(), 1) << flippedSaid.join("\n").toStdString();
    EXPECT_EQ(flippedSaid.filter(QRegularExpression("\\d+ of its \\d+ records were read in part")).size(), 1) << flippedSaid.join("\n").toStdString();
    // The cut copy: its last chunk is cut, and said.
    EXPECT_EQ(read.findings.filter(QRegularExpression("Cut.evtx: the file ends \\d+ bytes into chunk 5")).size(), 1) << read.findings.join("\n").toStdString();
}

}  // namespace
}  // namespace kestrova

namespace kestrova {
namespace {

// How often each event id stands in a log as evtxexport, the library's own exporter, renders it.
std::map<int, int> idsByEvtxexport(const QString& log) {
    std::map<int, int> ids;
    QProcess run;
    run.start("evtxexport", {"-f", "xml", log});
    if (!run.waitForFinished(60000)) return ids;
    static const QRegularExpression id(QStringLiteral("<EventID[^>]*>(\\d+)</EventID>"));
    for (auto it = id.globalMatch(QString::fromUtf8(run.readAllStandardOutput())); it.hasNext();) ++ids[it.next().captured(1).toInt()];
    return ids;
}

// Start, shutdown and sleep, services and updates installed, devices attached: each kind gives
// as many events of each id as evtxexport finds in the real Windows 10 System log.
TEST(EventLogs, PowerInstallsAndDevicesCountAsEvtxexportFindsThem) {
    REALDATA_OR_SKIP(system, "eventlogs/win10-rathbunvm/System.evtx");
    REALDATA_OR_SKIP(pnp, "eventlogs/win10-rathbunvm/Microsoft-Windows-Kernel-PnP%4Configuration.evtx");
    if (QStandardPaths::findExecutable("evtxexport").isEmpty()) GTEST_SKIP() << "evtxexport (libevtx-utils) is not installed";
    const std::map<int, int> expected = idsByEvtxexport(system);
    const std::map<int, int> expectedPnp = idsByEvtxexport(pnp);
    const Read read = readLogs({{"System.evtx", readAll(system)}, {"Microsoft-Windows-Kernel-PnP%4Configuration.evtx", readAll(pnp)}},
                               {"windows.power", "windows.installs", "windows.devices.events"});
    const auto count = [&](const char* kind, int id) {
        const auto records = read.records.of(kind);
        return static_cast<int>(countWhere(records, [&](const TraceRecord& r) { return r["event_id"] == QString::number(id); }));
    };
    for (const int id : {6005, 6006, 6008, 6009, 1074, 12, 13, 41, 42, 107}) {
        EXPECT_EQ(count("windows.power", id), expected.count(id) ? expected.at(id) : 0) << id;
    }
    EXPECT_GT(count("windows.power", 6005), 0);
    EXPECT_EQ(count("windows.installs", 7045), expected.count(7045) ? expected.at(7045) : 0);
    EXPECT_EQ(count("windows.devices.events", 400), expectedPnp.at(400));
    EXPECT_EQ(count("windows.devices.events", 410), expectedPnp.at(410));
    // A shutdown someone asked for names the process and the account.
    const auto power = read.records.of("windows.power");
    const auto asked = std::find_if(power.begin(), power.end(), [](const TraceRecord& r) { return r["event_id"] == "1074"; });
    if (asked != power.end()) {
        EXPECT_FALSE((*asked)["subject"].isEmpty());
        EXPECT_FALSE((*asked)["account"].isEmpty());
    }
}

// A device the event logs name and the SYSTEM hive knows (its Enum key by instance id) is named as
// the registry's, so that its events and its windows.usb record meet.
TEST(EventLogs, ADeviceEventNamesTheRegistrysDevice) {
    REALDATA_OR_SKIP(pnp, "eventlogs/win10-rathbunvm/Microsoft-Windows-Kernel-PnP%4Configuration.evtx");
    test::TempVolume volume;
    tools::HiveBuilder system;
    system.dword("Select", "Current", 1);
    system.sz("ControlSet001\\Enum\\USB\\VID_0E0F&PID_0002\\6&35d1f50b&0&2", "FriendlyName", "hub");
    volume.systemHive(system);
    volume.file(kLogs + "Microsoft-Windows-Kernel-PnP%4Configuration.evtx", readAll(pnp));
    const auto opened = volume.open();
    QTemporaryDir temp;
    const auto devices = test::readTraces(*opened, {"windows.devices.events"}, temp.path()).of("windows.devices.events");
    const auto named = countWhere(devices, [](const TraceRecord& r) { return r["registry_device"] == "USB\\VID_0E0F&PID_0002\\6&35d1f50b&0&2"; });
    EXPECT_EQ(named, 2);  // evtxexport: two events of this instance
    EXPECT_EQ(countWhere(devices, [](const TraceRecord& r) { return !r["registry_device"].isEmpty(); }), named);
}

// Accounts created and changed, and a cleared log, which is also said as a finding.
TEST(EventLogs, AccountChangesAndAClearedLogAreSaid) {
    REALDATA_OR_SKIP(created, "eventlogs/evtx-samples/new-user-security.evtx");
    const Read read = readLogs({{"Security.evtx", readAll(created)}}, {"windows.accounts"});
    const auto accounts = read.records.of("windows.accounts");
    const auto created4720 = std::find_if(accounts.begin(), accounts.end(), [](const TraceRecord& r) { return r["event_id"] == "4720"; });
    ASSERT_NE(created4720, accounts.end());
    EXPECT_EQ((*created4720)["action"], "user account created");
    EXPECT_FALSE((*created4720)["subject"].isEmpty());
    EXPECT_EQ(countWhere(accounts, [](const TraceRecord& r) { return r["event_id"] == "4732"; }), 2);
    // The Sysmon channel cleared twice, as the sample System log of evtx-samples records it.
    REALDATA_OR_SKIP(system, "eventlogs/evtx-samples/system.evtx");
    const Read cleared = readLogs({{"System.evtx", readAll(system)}}, {"windows.accounts"});
    const auto clears = cleared.records.of("windows.accounts");
    EXPECT_EQ(countWhere(clears, [](const TraceRecord& r) {
                  return r["event_id"] == "104" && r["subject"] == "Microsoft-Windows-Sysmon/Operational";
              }),
              2);
    EXPECT_EQ(cleared.findings.filter(": event log cleared (Microsoft-Windows-Sysmon/Operational) at 2017-12-26T13:06:45.140586+00:00 by tony").size(), 1)
        << cleared.findings.join("\n").toStdString();
}

}  // namespace
}  // namespace kestrova

namespace kestrova {
namespace {

// Sessions are derived: every logon is one session, ended by its logoff, by the system's stop, by
// the same logon id starting again, or by nothing in the logs; none is lost and none ends before
// it starts.
TEST(EventLogs, EveryLogonIsOneSessionWithItsEnd) {
    REALDATA_OR_SKIP(security, "eventlogs/win10-rathbunvm/Security.evtx");
    REALDATA_OR_SKIP(system, "eventlogs/win10-rathbunvm/System.evtx");
    REALDATA_OR_SKIP(sessions, "eventlogs/win10-rathbunvm/Microsoft-Windows-TerminalServices-LocalSessionManager%4Operational.evtx");
    const Read read = readLogs({{"Security.evtx", readAll(security)}, {"System.evtx", readAll(system)},
                                {"Microsoft-Windows-TerminalServices-LocalSessionManager%4Operational.evtx", readAll(sessions)}},
                               {"windows.sessions"});
    const auto all = read.records.of("windows.sessions");
    EXPECT_EQ(countWhere(all, [](const TraceRecord& r) { return r["start_record"].startsWith("Security record"); }), 473);
    EXPECT_EQ(countWhere(all, [](const TraceRecord& r) { return r["type"] == "console session"; }), 4);
    QSet<QString> reasons;
    for (const TraceRecord& r : all) {
        reasons.insert(r["end_reason"]);
        if (!r["end"].isEmpty()) {
            EXPECT_LE(r["start"], r["end"]) << r["start_record"].toStdString();
            EXPECT_GE(r["duration_seconds"].toLongLong(), 0);
        }
    }
    EXPECT_TRUE(reasons.contains("system stopped")) << QStringList(reasons.values()).join(", ").toStdString();
    EXPECT_TRUE(reasons.contains("user logoff") || reasons.contains("logoff")) << QStringList(reasons.values()).join(", ").toStdString();
    // A session ended by its logoff names both records.
    const auto ended = std::find_if(all.begin(), all.end(), [](const TraceRecord& r) { return r["end_reason"].endsWith("logoff"); });
    ASSERT_NE(ended, all.end());
    EXPECT_TRUE((*ended)["end_record"].startsWith("Security record ")) << (*ended)["end_record"].toStdString();
}

}  // namespace
}  // namespace kestrova

namespace kestrova {
namespace {

// What ran: PowerShell's engine and provider events with their host application, script blocks
// (4104) whole, and Sysmon's process creations with image, command line and parent.
TEST(EventLogs, PowerShellAndSysmonSayWhatRan) {
    REALDATA_OR_SKIP(classic, "eventlogs/win10-rathbunvm/Windows PowerShell.evtx");
    REALDATA_OR_SKIP(operational, "eventlogs/win10-rathbunvm/Microsoft-Windows-PowerShell%4Operational.evtx");
    REALDATA_OR_SKIP(sysmon, "eventlogs/evtx-samples/sysmon.evtx");
    const Read read = readLogs({{"Windows PowerShell.evtx", readAll(classic)},
                                {"Microsoft-Windows-PowerShell%4Operational.evtx", readAll(operational)},
                                {"Microsoft-Windows-Sysmon%4Operational.evtx", readAll(sysmon)}},
                               {"windows.scripts"});
    const auto all = read.records.of("windows.scripts");
    const auto of = [&](const char* action) { return countWhere(all, [&](const TraceRecord& r) { return r["action"] == action; }); };
    EXPECT_EQ(of("PowerShell engine started"), 7);
    EXPECT_EQ(of("PowerShell engine stopped"), 4);
    EXPECT_EQ(of("PowerShell provider started"), 42);
    EXPECT_EQ(of("PowerShell script block"), 2);
    EXPECT_EQ(of("process created"), 227);
    for (const TraceRecord& r : all) {
        if (r["action"] == "PowerShell engine started") {
            EXPECT_TRUE(r["command"].contains("powershell", Qt::CaseInsensitive)) << r["command"].toStdString();
        }
        if (r["action"] == "PowerShell script block") {
            EXPECT_EQ(r["parts"], "1");
            EXPECT_TRUE(r["command"].startsWith("# Copyright")) << r["command"].left(80).toStdString();
        }
        if (r["action"] == "process created") {
            EXPECT_TRUE(r["path"].endsWith(".exe", Qt::CaseInsensitive)) << r["path"].toStdString();
            EXPECT_FALSE(r["parent"].isEmpty());
        }
    }
}

}  // namespace
}  // namespace kestrova

namespace kestrova {
namespace {

// A Windows NT event log (.evt) as the Event Log service writes one: the 48-byte header, records,
// and the end-of-file record. Layout from libevt's "Windows Event Log (EVT) format" document. No
// real .evt is among the shared samples, so the tests write their own.
class EvtWriter {
public:
    struct Record {
        uint32_t eventId, written;
        uint16_t type;
        QString source, computer;
        QStringList strings;
        QByteArray data;
    };
    QByteArray bytes(const std::vector<Record>& records) const {
        QByteArray body;
        uint32_t number = 1;
        for (const Record& r : records) body += record(r, number++);
        const uint32_t start = 0x30, end = start + static_cast<uint32_t>(body.size());
        QByteArray out = words({0x30, 0x654C664C, 1, 1, start, end, number, 1, 0x80000, 0, 0, 0x30});
        out += body;
        out += words({0x28, 0x11111111, 0x22222222, 0x33333333, 0x44444444, start, end, number, 1, 0x28});
        return out;
    }

private:
    static QByteArray words(std::initializer_list<uint32_t> values) {
        QByteArray out;
        for (uint32_t v : values) out.append(reinterpret_cast<const char*>(&v), 4);
        return out;
    }
    static QByteArray utf16z(const QString& text) {
        QByteArray out(reinterpret_cast<const char*>(text.utf16()), text.size() * 2);
        return out.append(2, '\0');
    }
    static QByteArray record(const Record& r, uint32_t number) {
        QByteArray names = utf16z(r.source) + utf16z(r.computer);
        while ((56 + names.size()) % 4) names.append('\0');
        QByteArray strings;
        for (const QString& s : r.strings) strings += utf16z(s);
        const uint32_t stringsAt = 56 + static_cast<uint32_t>(names.size()), dataAt = stringsAt + static_cast<uint32_t>(strings.size());
        QByteArray tail = r.data;
        while ((dataAt + tail.size()) % 4) tail.append('\0');
        const uint32_t size = dataAt + static_cast<uint32_t>(tail.size()) + 4;
        QByteArray out = words({size, 0x654C664C, number, r.written, r.written, r.eventId});
        const uint16_t halves[] = {r.type, static_cast<uint16_t>(r.strings.size()), 0, 0};
        out.append(reinterpret_cast<const char*>(halves), sizeof halves);
        out += words({number, stringsAt, 0, 0, static_cast<uint32_t>(r.data.size()), dataAt});
        return out + names + strings + tail + words({size});
    }
};

// The .evt logs of an XP system: their records are events of their channel (named by the file),
// the System log's start and stop are power events; a file that is no log is said.
TEST(EventLogs, WindowsNtLogsAreReadWithLibevt) {
    const QByteArray system = EvtWriter().bytes({
        {6005, 1104537600, 4, "EventLog", "XP-BOX", {}, {}},
        {6006, 1104541200, 4, "EventLog", "XP-BOX", {}, {}},
        {7035, 1104538000, 4, "Service Control Manager", "XP-BOX", {"Telnet", "start"}, QByteArray("\x01\x02", 2)},
    });
    test::TempVolume volume;
    volume.file("Documents and Settings/bob/NTUSER.DAT", "x");
    volume.file("Windows/System32/config/SysEvent.Evt", system);
    volume.file("Windows/System32/config/AppEvent.Evt", QByteArray(4096, 'G'));
    const auto opened = volume.open();
    QTemporaryDir temp;
    const TraceCollector records = test::readTraces(*opened, {"windows.events", "windows.power"}, temp.path());
    QStringList findings;
    for (const Finding& f : opened->findings().all()) findings << f.what + ": " + f.why;
    const auto events = records.of("windows.events");
    ASSERT_EQ(events.size(), 3u) << findings.join("\n").toStdString();
    EXPECT_EQ(events[0]["channel"], "System");
    EXPECT_EQ(events[0]["provider"], "EventLog");
    EXPECT_EQ(events[0]["time"], "2005-01-01T00:00:00.000000+00:00");
    EXPECT_EQ(events[0]["computer"], "XP-BOX");
    EXPECT_EQ(events[0]["source"], "C:\\Windows\\System32\\config\\SysEvent.Evt");
    // The insertion strings by their order; the record's data follows them as Binary.
    EXPECT_TRUE(events[2]["data"].startsWith("Data1=Telnet; Data2=start; Binary=")) << events[2]["data"].toStdString();
    EXPECT_EQ(records.of("windows.power").size(), 2u);
    EXPECT_EQ(findings.filter(QRegularExpression("AppEvent.Evt: not an event log libevt reads")).size(), 1) << findings.join("\n").toStdString();
}

}  // namespace
}  // namespace kestrova
