// The event log kinds read record by record (event_log_reader.h): windows.events gives every
// record with a one-line message for the common ids (event_messages.h); windows.logons the logon,
// logoff and Remote Desktop session events, their fields named as an examiner asks for them;
// windows.power, .installs, .accounts and .devices.events each event as a fact; windows.scripts
// what ran.
#include <map>

#include "traces/windows/event_log_reader.h"
#include "traces/windows/event_messages.h"
#include "traces/windows/registry_walk.h"
#include "traces/windows/windows_fields.h"
#include "traces/windows/windows_sources.h"

namespace kestrova {
namespace {

namespace ev = windowsfields::events;
namespace lg = windowsfields::logons;
namespace ef = windowsfields::eventfacts;
namespace sc = windowsfields::scripts;

QString levelName(std::optional<int64_t> level) {
    if (!level) return QString();
    switch (*level) {
    case 0: return QStringLiteral("Information");  // LogAlways: written whatever the level asked for
    case 1: return QStringLiteral("Critical");
    case 2: return QStringLiteral("Error");
    case 3: return QStringLiteral("Warning");
    case 4: return QStringLiteral("Information");
    case 5: return QStringLiteral("Verbose");
    default: return QString::number(*level);
    }
}

}  // namespace

void windowsEvents(TraceContext& context, TraceSink& sink) {
    const std::map<QString, QString> accounts = knownAccounts(context);
    forEachEvent(context, sink, [&](TraceContext& c, TraceSink& s, const QString& path, const Event& event) {
        OwnedRecord<ev::Count> r;
        r.time(ev::Time, event.time);
        r.text(ev::Channel, event.xml.channel);
        r.text(ev::Provider, event.xml.provider);
        if (event.xml.eventId) r.integer(ev::EventId, *event.xml.eventId);
        r.text(ev::Level, levelName(event.xml.level));
        r.integer(ev::RecordId, event.recordId);
        r.text(ev::Computer, event.xml.computer);
        r.text(ev::UserSid, event.xml.userSid);
        r.text(ev::Message, eventMessage(event.xml));
        if (!event.xml.data.empty()) r.bytes(ev::Data, namedValues(event.xml.data));
        r.boolean(ev::Recovered, event.recovered);
        return c.deliver(s, eventProvenance(accounts, path, event, event.xml.userSid), r.values());
    });
}

void windowsLogons(TraceContext& context, TraceSink& sink) {
    const std::map<QString, QString> accounts = knownAccounts(context);
    forEachEvent(context, sink, [&](TraceContext& c, TraceSink& s, const QString& path, const Event& event) {
        if (!event.xml.eventId) return true;
        const int64_t id = *event.xml.eventId;
        const EventXml& x = event.xml;
        const auto data = [&x](const char* name) { return dataValue(x, name); };
        const bool security = x.channel.compare(QLatin1String("Security"), Qt::CaseInsensitive) == 0;
        const bool sessions = x.channel.contains(QLatin1String("LocalSessionManager"), Qt::CaseInsensitive);
        const bool remote = x.channel.contains(QLatin1String("RemoteConnectionManager"), Qt::CaseInsensitive);
        OwnedRecord<lg::Count> r;
        QString sid;
        if (security && (id == 4624 || id == 4625 || id == 4634 || id == 4647 || id == 4648 || id == 4672 || id == 4778 || id == 4779)) {
            static const std::map<int64_t, const char*> kActions{{4624, "logon"}, {4625, "failed logon"}, {4634, "logoff"},
                                                                 {4647, "user logoff"}, {4648, "explicit credentials"},
                                                                 {4672, "special privileges"}, {4778, "session reconnected"},
                                                                 {4779, "session disconnected"}};
            r.text(lg::Action, QLatin1String(kActions.at(id)));
            const bool subject = id == 4672 || id == 4648;
            const bool station = id == 4778 || id == 4779;
            r.text(lg::Account, station ? data("AccountName") : data(id == 4672 ? "SubjectUserName" : "TargetUserName"));
            r.text(lg::Domain, station ? data("AccountDomain") : data(id == 4672 ? "SubjectDomainName" : "TargetDomainName"));
            r.text(lg::LogonId, station ? data("LogonID") : data(subject ? "SubjectLogonId" : "TargetLogonId"));
            if (const QString type = data("LogonType"); !type.isEmpty()) r.text(lg::LogonType, logonTypeName(type));
            r.text(lg::Workstation, station ? data("ClientName") : id == 4648 ? data("TargetServerName") : data("WorkstationName"));
            r.text(lg::SourceAddress, station ? data("ClientAddress") : data("IpAddress"));
            r.text(lg::SourcePort, data("IpPort"));
            r.text(lg::Process, data("ProcessName"));
            r.text(lg::AuthPackage, data("AuthenticationPackageName"));
            r.text(lg::SessionId, data("SessionName"));
            sid = data(id == 4672 || id == 4648 ? "SubjectUserSid" : "TargetUserSid");
        } else if (sessions && id >= 21 && id <= 25) {
            static const char* const kActions[] = {"session logon", "shell start", "session logoff", "session disconnected",
                                                   "session reconnected"};
            r.text(lg::Action, QLatin1String(kActions[id - 21]));
            const auto [account, domain] = accountAndDomain(data("User"));
            r.text(lg::Account, account);
            if (!domain.isEmpty()) r.text(lg::Domain, domain);
            r.text(lg::SessionId, data("SessionID"));
            r.text(lg::SourceAddress, data("Address"));
            r.text(lg::LogonType, data("Address") == QLatin1String("LOCAL") ? QStringLiteral("Interactive (2)") : QStringLiteral("RemoteInteractive (10)"));
        } else if (remote && id == 1149) {
            r.text(lg::Action, QStringLiteral("remote desktop authentication"));
            r.text(lg::Account, data("Param1"));
            r.text(lg::Domain, data("Param2"));
            r.text(lg::SourceAddress, data("Param3"));
            r.text(lg::LogonType, QStringLiteral("RemoteInteractive (10)"));
        } else {
            return true;
        }
        setEventFields(r, {lg::Time, lg::EventId, lg::Channel, lg::RecordId, lg::Computer}, event);
        return c.deliver(s, eventProvenance(accounts, path, event, sid), r.values());
    });
}

namespace {

// One row a fact: the events of that id from a channel or provider holding `source`, what they
// mean, and which data fields name the subject, the detail (joined with ", " where several) and
// the account. After Microsoft's documentation of these events and the field's cheat sheets.
enum class Facts { Power, Installs, Accounts, Devices };
struct FactRow {
    Facts kind;
    int id;
    const char* source;
    const char* action;
    const char* subject;
    std::initializer_list<const char*> detail;
    const char* account;
};

const FactRow kFacts[] = {
    {Facts::Power, 6005, "EventLog", "event log started (system start)", "", {}, ""},
    {Facts::Power, 6006, "EventLog", "event log stopped (clean shutdown)", "", {}, ""},
    {Facts::Power, 6008, "EventLog", "previous shutdown was unexpected", "", {"Data1", "Data2"}, ""},
    {Facts::Power, 6009, "EventLog", "system started", "", {"Data1", "Data2"}, ""},
    {Facts::Power, 1074, "User32", "shutdown or restart initiated", "param1", {"param5", "param3", "param6"}, "param7"},
    {Facts::Power, 12, "Kernel-General", "operating system started", "", {"StartTime"}, ""},
    {Facts::Power, 13, "Kernel-General", "operating system shutting down", "", {"StopTime"}, ""},
    {Facts::Power, 41, "Kernel-Power", "rebooted without a clean shutdown", "", {"BugcheckCode", "PowerButtonTimestamp"}, ""},
    {Facts::Power, 42, "Kernel-Power", "entering sleep", "", {"Reason"}, ""},
    {Facts::Power, 107, "Kernel-Power", "resumed from sleep", "", {}, ""},
    {Facts::Power, 1, "Power-Troubleshooter", "woke from a low power state", "", {"SleepTime", "WakeTime", "WakeSourceText"}, ""},
    {Facts::Installs, 7045, "Service Control Manager", "service installed", "ServiceName", {"ImagePath", "StartType", "ServiceType"}, "AccountName"},
    {Facts::Installs, 4697, "Security", "service installed", "ServiceName", {"ServiceFileName", "ServiceStartType"}, "SubjectUserName"},
    {Facts::Installs, 4698, "Security", "scheduled task created", "TaskName", {}, "SubjectUserName"},
    {Facts::Installs, 106, "TaskScheduler", "scheduled task registered", "TaskName", {}, "UserContext"},
    {Facts::Installs, 11707, "MsiInstaller", "product installed", "Data1", {}, ""},
    {Facts::Installs, 11724, "MsiInstaller", "product removed", "Data1", {}, ""},
    {Facts::Installs, 1033, "MsiInstaller", "product installed", "Data1", {"Data2", "Data5"}, ""},
    {Facts::Installs, 19, "WindowsUpdateClient", "update installed", "updateTitle", {"updateGuid"}, ""},
    {Facts::Accounts, 4720, "Security", "user account created", "TargetUserName", {"TargetDomainName", "TargetSid"}, "SubjectUserName"},
    {Facts::Accounts, 4722, "Security", "user account enabled", "TargetUserName", {"TargetDomainName"}, "SubjectUserName"},
    {Facts::Accounts, 4724, "Security", "password reset", "TargetUserName", {"TargetDomainName"}, "SubjectUserName"},
    {Facts::Accounts, 4725, "Security", "user account disabled", "TargetUserName", {"TargetDomainName"}, "SubjectUserName"},
    {Facts::Accounts, 4726, "Security", "user account deleted", "TargetUserName", {"TargetDomainName"}, "SubjectUserName"},
    {Facts::Accounts, 4732, "Security", "member added to a local group", "TargetUserName", {"MemberSid", "MemberName"}, "SubjectUserName"},
    {Facts::Accounts, 4738, "Security", "user account changed", "TargetUserName", {"TargetDomainName"}, "SubjectUserName"},
    {Facts::Accounts, 4740, "Security", "user account locked out", "TargetUserName", {"TargetDomainName"}, "SubjectUserName"},
    {Facts::Accounts, 1102, "", "audit log cleared", "", {}, "SubjectUserName"},
    {Facts::Accounts, 104, "Eventlog", "event log cleared", "Channel", {"BackupPath"}, "SubjectUserName"},
    {Facts::Devices, 1006, "Partition", "disk arrived", "Model", {"Manufacturer", "SerialNumber", "Capacity"}, ""},
    {Facts::Devices, 400, "Kernel-PnP", "device configured", "DeviceInstanceId", {"DriverName"}, ""},
    {Facts::Devices, 410, "Kernel-PnP", "device started", "DeviceInstanceId", {"DriverName"}, ""},
    {Facts::Devices, 430, "Kernel-PnP", "device needs further installation", "DeviceInstanceId", {}, ""},
    {Facts::Devices, 2003, "DriverFrameworks-UserMode", "driver loading for a device", "InstanceId", {}, ""},
    {Facts::Devices, 2100, "DriverFrameworks-UserMode", "device power operation", "InstanceId", {}, ""},
    {Facts::Devices, 2102, "DriverFrameworks-UserMode", "device power operation ended", "InstanceId", {}, ""},
};

// The USB devices of the SYSTEM hive that windows.usb lists, by their instance id upper-cased
// ("USBSTOR\DISK&VEN_..&PROD_..\SERIAL&0") and by their serial alone (the instance's name without
// the "&0" Windows adds where the device gave no unique serial).
struct RegistryDevices {
    std::map<QString, QString> byInstance, bySerial;  // -> "USBSTOR\Disk&Ven_..\SERIAL"
};

RegistryDevices registryDevices(TraceContext& context) {
    RegistryDevices devices;
    const auto system = context.hive(kSystemHive);
    if (!system) return devices;
    const QString ccs = currentControlSet(*system);
    if (ccs.isEmpty()) return devices;
    forEachUsbInstance(*system, ccs, [&](const char* deviceClass, const HiveFile::Named& device, const HiveFile::Named& instance) {
        const QString id = QLatin1String(deviceClass) + QLatin1Char('\\') + device.name + QLatin1Char('\\') + instance.name;
        devices.byInstance.emplace(id.toUpper(), id);
        QString serial = instance.name.toUpper();
        if (serial.size() > 2 && serial.endsWith(QLatin1String("&0"))) serial.chop(2);
        devices.bySerial.emplace(serial, id);
        return true;
    });
    return devices;
}

// The registry's device an event names: by its instance id (Kernel-PnP, DriverFrameworks), else by
// its serial (Partition's SerialNumber, which the disk reports as the registry's instance does).
QString registryDeviceOf(const RegistryDevices& devices, const EventXml& x) {
    for (const char* field : {"DeviceInstanceId", "InstanceId"}) {
        QString id = dataValue(x, field).trimmed().toUpper();
        if (id.isEmpty()) continue;
        if (const auto found = devices.byInstance.find(id); found != devices.byInstance.end()) return found->second;
    }
    const QString serial = dataValue(x, "SerialNumber").trimmed().toUpper();
    if (const auto found = devices.bySerial.find(serial); !serial.isEmpty() && found != devices.bySerial.end()) return found->second;
    return QString();
}

void eventFacts(TraceContext& context, TraceSink& sink, Facts kind) {
    const std::map<QString, QString> accounts = knownAccounts(context);
    const RegistryDevices devices = kind == Facts::Devices ? registryDevices(context) : RegistryDevices{};
    forEachEvent(context, sink, [&](TraceContext& c, TraceSink& s, const QString& path, const Event& event) {
        const EventXml& x = event.xml;
        if (!x.eventId) return true;
        for (const FactRow& row : kFacts) {
            if (row.kind != kind || row.id != *x.eventId) continue;
            const QLatin1String source(row.source);
            if (source.size() != 0 && !x.channel.contains(source, Qt::CaseInsensitive) && !x.provider.contains(source, Qt::CaseInsensitive)) {
                continue;
            }
            OwnedRecord<ef::Count> r;
            setEventFields(r, {ef::Time, ef::EventId, ef::Channel, ef::RecordId, ef::Computer}, event);
            r.text(ef::Action, QLatin1String(row.action));
            if (*row.subject) r.text(ef::Subject, dataValue(x, row.subject));
            QStringList detail;
            for (const char* field : row.detail) {
                if (const QString value = dataValue(x, field); !value.isEmpty()) detail << value;
            }
            r.text(ef::Detail, detail.join(QStringLiteral(", ")));
            if (*row.account) r.text(ef::Account, dataValue(x, row.account));
            if (kind == Facts::Devices) r.text(ef::RegistryDevice, registryDeviceOf(devices, x));
            if (row.id == 1102 || row.id == 104) {
                // A cleared log is what an examiner must hear of first, whatever else is read.
                const QString channel = dataValue(x, "Channel");
                c.note(FindingKind::Cleared, QStringLiteral("event log ") + path,
                       QStringLiteral("%1%2 at %3 by %4")
                           .arg(QLatin1String(row.action), channel.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(channel),
                                IsoTimeWriter().text(event.time.value_or(0)), dataValue(x, "SubjectUserName")));
            }
            return c.deliver(s, eventProvenance(accounts, path, event, x.userSid), r.values());
        }
        return true;
    });
}

}  // namespace

void windowsPower(TraceContext& context, TraceSink& sink) { eventFacts(context, sink, Facts::Power); }
void windowsInstalls(TraceContext& context, TraceSink& sink) { eventFacts(context, sink, Facts::Installs); }
void windowsAccountEvents(TraceContext& context, TraceSink& sink) { eventFacts(context, sink, Facts::Accounts); }
void windowsDeviceEvents(TraceContext& context, TraceSink& sink) { eventFacts(context, sink, Facts::Devices); }

namespace {

// A line "Name=value" of the classic PowerShell log's third data text.
QString settingOf(const QString& text, const char* name) {
    const QString prefix = QLatin1String(name) + QLatin1Char('=');
    for (const QString& line : text.split(QLatin1Char('\n'))) {
        const QString trimmed = line.trimmed();
        if (trimmed.startsWith(prefix)) return trimmed.mid(prefix.size());
    }
    return QString();
}

// A script block logged in parts (4104 MessageNumber of MessageTotal), gathered until whole.
struct ScriptBlock {
    std::map<int, QString> parts;
    int total = 0;
    std::optional<UtcMicros> time;  // the first part's
    QString path, account, channel, computer, source;
    int64_t recordId = 0;
};

}  // namespace

void windowsScripts(TraceContext& context, TraceSink& sink) {
    const std::map<QString, QString> accounts = knownAccounts(context);
    std::map<QString, ScriptBlock> blocks;  // by computer and ScriptBlockId
    const auto writeBlock = [&](TraceContext& c, TraceSink& s, const QString& id, const ScriptBlock& b) {
        OwnedRecord<sc::Count> r;
        r.time(sc::Time, b.time);
        r.text(sc::Action, QStringLiteral("PowerShell script block"));
        QString text;
        for (const auto& [number, part] : b.parts) text += part;
        r.text(sc::Command, text);
        r.text(sc::Path, b.path);
        r.text(sc::BlockId, id.section(QLatin1Char('|'), 1));
        const bool whole = static_cast<int>(b.parts.size()) == b.total;
        r.text(sc::Parts, whole ? QString::number(b.total) : QStringLiteral("%1 of %2 (the others are not in the logs)").arg(b.parts.size()).arg(b.total));
        r.integer(sc::EventId, 4104);
        r.text(sc::Channel, b.channel);
        r.integer(sc::RecordId, b.recordId);
        r.text(sc::Computer, b.computer);
        const auto user = accounts.find(b.account);
        const QString part = QStringLiteral("%1 record %2").arg(b.channel).arg(b.recordId);
        return c.deliver(s, Provenance{user == accounts.end() ? QByteArray() : user->second.toUtf8(), {}, {}, b.source.toUtf8(), part.toUtf8()},
                         r.values());
    };
    forEachEvent(context, sink, [&](TraceContext& c, TraceSink& s, const QString& path, const Event& event) {
        const EventXml& x = event.xml;
        if (!x.eventId) return true;
        const int64_t id = *x.eventId;
        const auto data = [&x](const char* name) { return dataValue(x, name); };
        const bool operational = x.channel.contains(QLatin1String("PowerShell/Operational"), Qt::CaseInsensitive);
        if (operational && id == 4104) {
            const QString key = x.computer + QLatin1Char('|') + data("ScriptBlockId");
            ScriptBlock& b = blocks[key];
            b.total = std::max(b.total, data("MessageTotal").toInt());
            const int number = data("MessageNumber").toInt();
            b.parts[number] = data("ScriptBlockText");
            if (!b.time || (event.time && *event.time < *b.time)) {
                b.time = event.time;
                b.recordId = event.recordId;
            }
            b.path = data("Path");
            b.account = x.userSid;
            b.channel = x.channel;
            b.computer = x.computer;
            b.source = path;
            if (b.total > 0 && static_cast<int>(b.parts.size()) >= b.total) {
                const bool going = writeBlock(c, s, key, b);
                blocks.erase(key);
                return going;
            }
            return true;
        }
        OwnedRecord<sc::Count> r;
        const bool classic = x.channel.compare(QLatin1String("Windows PowerShell"), Qt::CaseInsensitive) == 0;
        if (classic && (id == 400 || id == 403 || id == 600 || id == 800)) {
            static const std::map<int64_t, const char*> kActions{{400, "PowerShell engine started"}, {403, "PowerShell engine stopped"},
                                                                 {600, "PowerShell provider started"}, {800, "PowerShell pipeline ran"}};
            r.text(sc::Action, QLatin1String(kActions.at(id)));
            const QString details = id == 800 ? data("Data3") + data("Data2") : data("Data3");
            const QString command = settingOf(details, id == 800 ? "CommandLine" : "HostApplication");
            r.text(sc::Command, command.isEmpty() ? settingOf(details, "HostApplication") : command);
            r.text(sc::Detail, settingOf(details, id == 600 ? "ProviderName" : "HostName"));
            r.text(sc::Account, settingOf(details, "UserId"));
        } else if (x.channel.contains(QLatin1String("Windows Defender"), Qt::CaseInsensitive) && (id == 1116 || id == 1117)) {
            r.text(sc::Action, id == 1116 ? QStringLiteral("malware detected") : QStringLiteral("action taken on malware"));
            r.text(sc::Command, data("Threat Name"));
            r.text(sc::Path, data("Path"));
            r.text(sc::Account, data("Detection User"));
            r.text(sc::Detail, id == 1117 ? data("Action Name") : data("Severity Name"));
        } else if (x.channel.contains(QLatin1String("Sysmon"), Qt::CaseInsensitive) && id == 1) {
            r.text(sc::Action, QStringLiteral("process created"));
            r.text(sc::Command, data("CommandLine"));
            r.text(sc::Path, data("Image"));
            r.text(sc::Account, data("User"));
            r.text(sc::Parent, data("ParentImage"));
            r.text(sc::Detail, data("Hashes"));
        } else {
            return true;
        }
        setEventFields(r, {sc::Time, sc::EventId, sc::Channel, sc::RecordId, sc::Computer}, event);
        return c.deliver(s, eventProvenance(accounts, path, event, x.userSid), r.values());
    });
    // Blocks whose other parts are not in the logs (rolled over, cleared) are written as they are.
    for (const auto& [key, block] : blocks) {
        if (!writeBlock(context, sink, key, block)) return;
    }
}

}  // namespace kestrova
