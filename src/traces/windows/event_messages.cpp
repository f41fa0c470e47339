#include "traces/windows/event_messages.h"

#include <QRegularExpression>

namespace kestrova {
namespace {

// An event's message by its id and where it comes from: `source` is matched against the channel
// or the provider (case-insensitively, as a part of either; "" for any). {Name} is the data field
// of that name; {LogonType} is named.
struct Message {
    int id;
    const char* source;
    const char* text;
};

// After Microsoft's documentation of the security audit events and the system events' texts.
constexpr Message kMessages[] = {
    {4624, "Security", "An account logged on: {TargetDomainName}\\{TargetUserName}, {LogonType}, from {WorkstationName} {IpAddress}"},
    {4625, "Security", "An account failed to log on: {TargetDomainName}\\{TargetUserName}, {LogonType}, from {WorkstationName} {IpAddress}"},
    {4634, "Security", "An account was logged off: {TargetDomainName}\\{TargetUserName}, {LogonType}"},
    {4647, "Security", "A user logged off: {TargetDomainName}\\{TargetUserName}"},
    {4648, "Security", "A logon was attempted with explicit credentials: {TargetDomainName}\\{TargetUserName} by {SubjectUserName}, to {TargetServerName}"},
    {4672, "Security", "Special privileges were assigned to a new logon: {SubjectDomainName}\\{SubjectUserName}"},
    {4688, "Security", "A process was created: {NewProcessName} {CommandLine}, by {SubjectUserName}"},
    {4697, "Security", "A service was installed: {ServiceName} ({ServiceFileName})"},
    {4698, "Security", "A scheduled task was created: {TaskName}, by {SubjectUserName}"},
    {4720, "Security", "A user account was created: {TargetDomainName}\\{TargetUserName}, by {SubjectUserName}"},
    {4722, "Security", "A user account was enabled: {TargetDomainName}\\{TargetUserName}, by {SubjectUserName}"},
    {4724, "Security", "An attempt was made to reset an account's password: {TargetUserName}, by {SubjectUserName}"},
    {4725, "Security", "A user account was disabled: {TargetDomainName}\\{TargetUserName}, by {SubjectUserName}"},
    {4726, "Security", "A user account was deleted: {TargetDomainName}\\{TargetUserName}, by {SubjectUserName}"},
    {4732, "Security", "A member was added to a local group: {MemberSid} to {TargetUserName}, by {SubjectUserName}"},
    {4738, "Security", "A user account was changed: {TargetDomainName}\\{TargetUserName}, by {SubjectUserName}"},
    {4740, "Security", "A user account was locked out: {TargetUserName}, at {TargetDomainName}"},
    {4778, "Security", "A session was reconnected to a window station: {AccountDomain}\\{AccountName}, from {ClientName} {ClientAddress}"},
    {4779, "Security", "A session was disconnected from a window station: {AccountDomain}\\{AccountName}, from {ClientName} {ClientAddress}"},
    {4800, "Security", "The workstation was locked: {TargetDomainName}\\{TargetUserName}"},
    {4801, "Security", "The workstation was unlocked: {TargetDomainName}\\{TargetUserName}"},
    {4616, "Security", "The system time was changed: from {PreviousTime} to {NewTime}, by {SubjectUserName} ({ProcessName})"},
    {1102, "", "The audit log was cleared, by {SubjectDomainName}\\{SubjectUserName}"},
    {104, "Eventlog", "The {Channel} log was cleared, by {SubjectDomainName}\\{SubjectUserName}"},
    {6005, "EventLog", "The Event log service was started (the system started)"},
    {6006, "EventLog", "The Event log service was stopped (the system shut down)"},
    {6008, "EventLog", "The previous system shutdown was unexpected"},
    {6009, "EventLog", "The system started: Windows {Data1} build {Data2}"},
    {1074, "User32", "A shutdown or restart was initiated by {param1} for {param7}: {param3} ({param5})"},
    {12, "Kernel-General", "The operating system started at {StartTime}"},
    {13, "Kernel-General", "The operating system is shutting down at {StopTime}"},
    {41, "Kernel-Power", "The system rebooted without cleanly shutting down first"},
    {42, "Kernel-Power", "The system is entering sleep"},
    {107, "Kernel-Power", "The system has resumed from sleep"},
    {1, "Power-Troubleshooter", "The system has returned from a low power state: slept at {SleepTime}, woke at {WakeTime}"},
    {7045, "Service Control Manager", "A service was installed: {ServiceName} ({ImagePath}), start {StartType}, as {AccountName}"},
    {7036, "Service Control Manager", "The {param1} service entered the {param2} state"},
    {7040, "Service Control Manager", "The start type of the {param1} service was changed from {param2} to {param3}"},
    {106, "TaskScheduler", "A task was registered: {TaskName}, by {UserContext}"},
    {11707, "MsiInstaller", "A product was installed: {Data1}"},
    {11724, "MsiInstaller", "A product was removed: {Data1}"},
    {1033, "MsiInstaller", "Windows Installer installed {Data1} version {Data2}, status {Data5}"},
    {1006, "Partition", "A disk arrived: {Manufacturer} {Model}, serial {SerialNumber}, {Capacity} bytes"},
    {400, "Kernel-PnP", "A device was configured: {DeviceInstanceId}"},
    {410, "Kernel-PnP", "A device was started: {DeviceInstanceId}"},
    {430, "Kernel-PnP", "A device needs further installation: {DeviceInstanceId}"},
    {21, "LocalSessionManager", "Remote Desktop session logon succeeded: {User}, session {SessionID}, from {Address}"},
    {22, "LocalSessionManager", "Remote Desktop shell start: {User}, session {SessionID}, from {Address}"},
    {23, "LocalSessionManager", "Remote Desktop session logoff: {User}, session {SessionID}"},
    {24, "LocalSessionManager", "Remote Desktop session disconnected: {User}, session {SessionID}, from {Address}"},
    {25, "LocalSessionManager", "Remote Desktop session reconnected: {User}, session {SessionID}, from {Address}"},
    {1149, "RemoteConnectionManager", "Remote Desktop user authentication succeeded: {Param2}\\{Param1}, from {Param3}"},
    {4104, "PowerShell", "A PowerShell script block ran: part {MessageNumber} of {MessageTotal}, {Path}"},
    {400, "PowerShell", "The PowerShell engine started"},
    {403, "PowerShell", "The PowerShell engine stopped"},
    {1116, "Defender", "Windows Defender detected malware: {Threat Name} in {Path}"},
    {1117, "Defender", "Windows Defender took action on malware: {Threat Name}, {Action Name}"},
    {1, "Sysmon", "A process was created: {Image} {CommandLine}, by {User}"},
};

QString fill(const char* text, const EventXml& event) {
    static const QRegularExpression placeholder(QStringLiteral("\\{([A-Za-z0-9 ]+)\\}"));
    QString out = QString::fromLatin1(text);
    QString result;
    qsizetype last = 0;
    for (auto it = placeholder.globalMatch(out); it.hasNext();) {
        const auto m = it.next();
        result += out.mid(last, m.capturedStart() - last);
        const QString name = m.captured(1);
        QString value = dataValue(event, name.toLatin1().constData());
        if (name == QLatin1String("LogonType")) value = logonTypeName(value);
        result += value.isEmpty() ? QStringLiteral("-") : value;
        last = m.capturedEnd();
    }
    result += out.mid(last);
    return result.simplified();
}

}  // namespace

QString logonTypeName(const QString& number) {
    static const char* const kNames[] = {nullptr, nullptr, "Interactive", "Network", "Batch", "Service", nullptr, "Unlock",
                                         "NetworkCleartext", "NewCredentials", "RemoteInteractive", "CachedInteractive",
                                         "CachedRemoteInteractive", "CachedUnlock"};
    bool ok = false;
    const int n = number.toInt(&ok);
    if (!ok || n < 0 || n >= static_cast<int>(std::size(kNames)) || !kNames[n]) return number;
    return QStringLiteral("%1 (%2)").arg(QLatin1String(kNames[n])).arg(n);
}

QString eventMessage(const EventXml& event) {
    if (!event.eventId) return QString();
    for (const Message& m : kMessages) {
        if (m.id != *event.eventId) continue;
        const QLatin1String source(m.source);
        if (source.size() != 0 && !event.channel.contains(source, Qt::CaseInsensitive) && !event.provider.contains(source, Qt::CaseInsensitive)) {
            continue;
        }
        return fill(m.text, event);
    }
    return QString();
}

}  // namespace kestrova
