// Windows event logs (Windows\System32\winevt\Logs\*.evtx, every channel whatever its name) through
// libevtx, each log read by a helper program of its own under the limits of a contained parser
// (kestrova-evtx-reader: libevtx cannot share a process with the other libyal libraries). A log is
// read record by record: a record libevtx cannot give is counted, named and passed over, and the
// reading goes on with the next one (the field's exporters stop a log at its first bad record);
// then the records libevtx recovers
// from the log's free space are read too, marked `recovered`. Each record's XML is read back into
// its System fields and its data by name (event_xml.h), with a one-line message for the common
// ids (event_messages.h). A record met twice (the same log copied twice) is written once: records
// are told apart by channel, record id and time.
//
// windows.events gives every record; windows.logons the logon, logoff and Remote Desktop session
// events, their fields named as an examiner asks for them.
#include <QFileDevice>
#include <QSet>
#include <cstring>
#include <functional>
#include <map>

#include "platform/contained/contained_run.h"
#include "traces/windows/event_messages.h"
#include "traces/windows/event_xml.h"
#include "traces/windows/registry_walk.h"
#include "traces/windows/windows_fields.h"
#include "traces/windows/windows_sources.h"

namespace kestrova {
namespace {

namespace ev = windowsfields::events;
namespace lg = windowsfields::logons;
namespace ef = windowsfields::eventfacts;
namespace ss = windowsfields::sessions;
namespace sc = windowsfields::scripts;

const QString kLogFolder = QStringLiteral("C:\\Windows\\System32\\winevt\\Logs");

struct EventLog {
    QString path;
    std::unique_ptr<QIODevice> file;
};

std::vector<EventLog> openLogs(TraceContext& context) {
    std::vector<EventLog> logs;
    for (const QString& name : context.list(kLogFolder, false)) {
        if (!name.endsWith(QLatin1String(".evtx"), Qt::CaseInsensitive)) continue;
        const QString path = kLogFolder + QLatin1Char('\\') + name;
        if (auto file = context.system().openFile(path, QStringLiteral("event log"))) logs.push_back({path, std::move(file)});
    }
    return logs;
}

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

// One event as read: its XML taken apart, and what libevtx gives of it directly.
struct Event {
    EventXml xml;
    std::optional<UtcMicros> time;
    int64_t recordId = 0;
    bool recovered = false;
};

using EachEvent = std::function<bool(const Event&)>;

// A frame of kestrova-evtx-reader (src/helpers/evtx_reader.cpp has the layout), read with every
// size checked: the helper parses evidence and may answer anything.
class FrameReader {
public:
    explicit FrameReader(QByteArrayView bytes) : bytes_(bytes) {}
    template <typename T>
    T number() {
        T value{};
        if (at_ + sizeof(T) > static_cast<size_t>(bytes_.size())) {
            ok_ = false;
            return value;
        }
        std::memcpy(&value, bytes_.data() + at_, sizeof(T));
        at_ += sizeof(T);
        return value;
    }
    QByteArrayView text() {
        const auto size = number<uint32_t>();
        if (!ok_ || size > static_cast<size_t>(bytes_.size()) - at_) {
            ok_ = false;
            return {};
        }
        const QByteArrayView t = bytes_.sliced(static_cast<qsizetype>(at_), size);
        at_ += size;
        return t;
    }
    bool ok() const { return ok_; }

private:
    QByteArrayView bytes_;
    size_t at_ = 0;
    bool ok_ = true;
};

// Reads a log through the helper program, handing each record to `each` (false: stop). What could
// not be read is noted on the log, with the first reason: a record libevtx cannot give, a record
// whose XML it cannot render (its System fields are still read), the helper's own end.
void readLog(TraceContext& context, const QString& path, const QIODevice& file, const EachEvent& each) {
    const QString what = QStringLiteral("event log ") + path;
    static const QString helper = helperProgram("kestrova-evtx-reader");
    if (helper.isEmpty()) {
        context.note(FindingKind::Unreadable, what, QStringLiteral("its reader, kestrova-evtx-reader, is not installed"));
        return;
    }
    const auto* device = qobject_cast<const QFileDevice*>(&file);
    struct Tally {
        qint64 count = -1, lost = 0, partly = 0;  // count -1: never said
        QString firstLoss, firstPartly, uncounted;
    } tally[2];
    bool stopped = false;
    QString fatal;
    // A large log takes a while: ten minutes of processor time, twenty of wall clock.
    const ContainedEnd end = runContainedProgram(
        helper, {}, device ? device->handle() : -1,
        [&](QByteArrayView bytes) {
            if (stopped || bytes.isEmpty()) return;
            FrameReader in(bytes.sliced(1));
            const char type = bytes[0];
            if (type == 'D') {
                context.note(FindingKind::Recovered, what,
                             QStringLiteral("its header says it was not closed cleanly (dirty): records past its last checkpoint are read as they lie"));
            } else if (type == 'E') {
                fatal = QString::fromUtf8(in.text());
            } else if (type == 'C') {
                const bool recovered = in.number<uint8_t>() != 0;
                tally[recovered].count = in.number<uint32_t>();
            } else if (type == 'L') {
                const bool recovered = in.number<uint8_t>() != 0;
                const uint32_t index = in.number<uint32_t>();
                const QString why = QString::fromUtf8(in.text());
                Tally& t = tally[recovered];
                if (index == 0xFFFFFFFFu) t.uncounted = why;  // none of them can be read
                else if (t.lost++ == 0) t.firstLoss = QStringLiteral("record %1: %2").arg(index + 1).arg(why);
            } else if (type == 'R') {
                Event event;
                event.recovered = in.number<uint8_t>() != 0;
                event.recordId = static_cast<int64_t>(in.number<uint64_t>());
                const auto written = in.number<uint64_t>();
                const auto eventId = in.number<uint32_t>();
                const auto offset = in.number<uint64_t>();
                const QByteArrayView xml = in.text();
                const QString provider = QString::fromUtf8(in.text()), computer = QString::fromUtf8(in.text());
                const QString sid = QString::fromUtf8(in.text()), why = QString::fromUtf8(in.text());
                if (!in.ok()) return;
                if (!xml.isEmpty()) event.xml = parseEventXml(xml);
                // What libevtx reads without the XML fills what the XML did not give.
                if (!event.xml.eventId && eventId != 0xFFFFFFFFu) event.xml.eventId = eventId & 0xFFFF;
                if (event.xml.provider.isEmpty()) event.xml.provider = provider;
                if (event.xml.computer.isEmpty()) event.xml.computer = computer;
                if (event.xml.userSid.isEmpty()) event.xml.userSid = sid;
                if (written != 0) event.time = utc::fromFileTime(static_cast<int64_t>(written));
                const QString broken = !why.isEmpty() ? why : event.xml.why;
                Tally& t = tally[event.recovered];
                if (!broken.isEmpty() && t.partly++ == 0) {
                    t.firstPartly = offset > 0 ? QStringLiteral("record %1 at offset 0x%2: %3").arg(event.recordId).arg(offset, 0, 16).arg(broken)
                                               : QStringLiteral("record %1: %2").arg(event.recordId).arg(broken);
                }
                if (!each(event)) stopped = true;
            }
        },
        ContainedLimits{.memoryBytes = size_t{2} << 30, .cpuSeconds = 600, .wallSeconds = 1200});
    if (!fatal.isEmpty()) {
        context.note(FindingKind::Damaged, what, QStringLiteral("not an event log libevtx reads (%1)").arg(fatal));
        return;
    }
    for (const bool recovered : {false, true}) {
        const Tally& t = tally[recovered];
        const QString which = recovered ? QStringLiteral("recovered records") : QStringLiteral("records");
        // "12 of its 459 records"; the total only where the reader said it.
        const auto some = [&](qint64 n) {
            return t.count >= 0 ? QStringLiteral("%1 of its %2 %3").arg(n).arg(t.count).arg(which) : QStringLiteral("%1 %2").arg(n).arg(which);
        };
        if (!t.uncounted.isEmpty()) {
            context.note(FindingKind::Damaged, what, QStringLiteral("its %1 cannot be counted, and none is read (%2)").arg(which, t.uncounted));
        }
        if (t.lost > 0) {
            context.note(FindingKind::Damaged, what, QStringLiteral("%1 cannot be read and were passed over (the first: %2)").arg(some(t.lost), t.firstLoss));
        }
        if (t.partly > 0) {
            context.note(FindingKind::Damaged, what, QStringLiteral("%1 were read in part (the first: %2)").arg(some(t.partly), t.firstPartly));
        }
    }
    if (!end.completed && !stopped) {
        context.note(FindingKind::Damaged, what, QStringLiteral("its reader %1; what it read before is kept").arg(end.why));
    }
}

// Reads every log, each in a contained child, handing each event not met before to `each`.
void forEachEvent(TraceContext& context, TraceSink& sink,
                  const std::function<bool(TraceContext&, TraceSink&, const QString&, const Event&)>& each) {
    const std::vector<EventLog> logs = openLogs(context);
    QSet<quint64> seen;
    for (const EventLog& log : logs) {
        if (context.stopped()) return;
        readLog(context, log.path, *log.file, [&](const Event& event) {
            // The same record in two copies of a log (or a log copied twice) is written once.
            quint64 key = qHash(event.xml.channel, 0);
            key = qHash(event.recordId, key);
            key = qHash(event.time.value_or(0), key);
            if (seen.contains(key)) return true;
            seen.insert(key);
            return each(context, sink, log.path, event);
        });
    }
}

// The fields an event-derived record of every kind carries, at the kind's own positions.
struct EventPlaces {
    size_t time, eventId, channel, recordId, computer;
};
template <size_t N>
void setEventFields(OwnedRecord<N>& r, EventPlaces at, const Event& event) {
    r.time(at.time, event.time);
    if (event.xml.eventId) r.integer(at.eventId, *event.xml.eventId);
    r.text(at.channel, event.xml.channel);
    r.integer(at.recordId, event.recordId);
    r.text(at.computer, event.xml.computer);
}

Provenance eventProvenance(const std::map<QString, QString>& accounts, const QString& path, const Event& event, const QString& sid) {
    const auto user = accounts.find(sid);
    const QString part = QStringLiteral("%1 record %2").arg(event.xml.channel).arg(event.recordId);
    return Provenance{user == accounts.end() ? QByteArray() : user->second.toUtf8(), {}, {}, path.toUtf8(), part.toUtf8()};
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
            const QString user = data("User");
            const qsizetype slash = user.indexOf(QLatin1Char('\\'));
            r.text(lg::Account, slash < 0 ? user : user.mid(slash + 1));
            if (slash >= 0) r.text(lg::Domain, user.left(slash));
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

void eventFacts(TraceContext& context, TraceSink& sink, Facts kind) {
    const std::map<QString, QString> accounts = knownAccounts(context);
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

// A moment of a session's life, as the logs tell it.
struct SessionMark {
    enum What { Logon, Logoff, SystemStop } what;
    int64_t time = 0;
    QString key;  // the session it belongs to: computer and logon id, or computer, session and user
    QString computer, account, domain, type, logonId, sessionId, address, how, path, record;
};

}  // namespace

void windowsSessions(TraceContext& context, TraceSink& sink) {
    // Sessions are derived, not read: every logon, logoff and system stop is collected first (the
    // logs come one after another, not in time order), then paired in time order. Memory grows
    // with the number of logons, not of events.
    const std::map<QString, QString> accounts = knownAccounts(context);
    std::vector<SessionMark> marks;
    forEachEvent(context, sink, [&](TraceContext&, TraceSink&, const QString& path, const Event& event) {
        const EventXml& x = event.xml;
        if (!x.eventId || !event.time || event.recovered) return true;
        const int64_t id = *x.eventId;
        const auto data = [&x](const char* name) { return dataValue(x, name); };
        SessionMark m{};
        m.time = *event.time;
        m.computer = x.computer;
        m.path = path;
        m.record = QStringLiteral("%1 record %2").arg(x.channel).arg(event.recordId);
        const bool security = x.channel.compare(QLatin1String("Security"), Qt::CaseInsensitive) == 0;
        if (security && (id == 4624 || id == 4634 || id == 4647)) {
            m.what = id == 4624 ? SessionMark::Logon : SessionMark::Logoff;
            m.logonId = data("TargetLogonId");
            m.key = x.computer + QStringLiteral("|logon|") + m.logonId;
            m.account = data("TargetUserName");
            m.domain = data("TargetDomainName");
            m.type = logonTypeName(data("LogonType"));
            m.address = data("IpAddress");
            m.how = id == 4647 ? QStringLiteral("user logoff") : QStringLiteral("logoff");
        } else if (x.channel.contains(QLatin1String("LocalSessionManager"), Qt::CaseInsensitive) && (id == 21 || id == 23)) {
            m.what = id == 21 ? SessionMark::Logon : SessionMark::Logoff;
            const QString user = data("User");
            const qsizetype slash = user.indexOf(QLatin1Char('\\'));
            m.account = slash < 0 ? user : user.mid(slash + 1);
            m.domain = slash < 0 ? QString() : user.left(slash);
            m.sessionId = data("SessionID");
            m.address = data("Address");
            m.type = m.address == QLatin1String("LOCAL") ? QStringLiteral("console session") : QStringLiteral("Remote Desktop session");
            m.key = x.computer + QStringLiteral("|session|") + m.sessionId + QLatin1Char('|') + user;
            m.how = QStringLiteral("session logoff");
        } else if ((id == 6006 || id == 6008 || id == 6005) && x.provider.contains(QLatin1String("EventLog"), Qt::CaseInsensitive)) {
            // A clean stop, or a start after one that was not: no session lives across either.
            m.what = SessionMark::SystemStop;
        } else if ((id == 13 && x.provider.contains(QLatin1String("Kernel-General"), Qt::CaseInsensitive)) ||
                   (id == 41 && x.provider.contains(QLatin1String("Kernel-Power"), Qt::CaseInsensitive))) {
            m.what = SessionMark::SystemStop;
        } else {
            return true;
        }
        marks.push_back(std::move(m));
        return true;
    });
    std::stable_sort(marks.begin(), marks.end(), [](const SessionMark& a, const SessionMark& b) { return a.time < b.time; });
    std::map<QString, SessionMark> open;  // by key
    const auto writeSession = [&](const SessionMark& start, const SessionMark* end, const QString& reason) {
        OwnedRecord<ss::Count> r;
        r.time(ss::Start, start.time);
        if (end) {
            r.time(ss::End, end->time);
            r.integer(ss::DurationSeconds, (end->time - start.time) / 1000000);
            r.text(ss::EndRecord, end->record);
        }
        r.text(ss::Type, start.type);
        r.text(ss::Account, start.account);
        r.text(ss::Domain, start.domain);
        r.text(ss::LogonId, start.logonId);
        r.text(ss::SessionId, start.sessionId);
        r.text(ss::SourceAddress, start.address);
        r.text(ss::EndReason, reason);
        r.text(ss::Computer, start.computer);
        r.text(ss::StartRecord, start.record);
        const auto user = std::find_if(accounts.begin(), accounts.end(), [&](const auto& a) {
            return a.second.compare(start.account, Qt::CaseInsensitive) == 0;
        });
        const QByteArray userName = user != accounts.end() ? user->second.toUtf8() : QByteArray();
        return context.deliver(sink, Provenance{userName, {}, {}, start.path.toUtf8(), start.record.toUtf8()}, r.values());
    };
    for (const SessionMark& m : marks) {
        if (m.what == SessionMark::Logon) {
            // A logon id met again while its session is open (the system's own 0x3e7, a
            // reconnected console): the open one is written as it stands, and a new one starts.
            if (const auto it = open.find(m.key); it != open.end()) {
                if (!writeSession(it->second, nullptr, QStringLiteral("logged on again before an end"))) return;
                it->second = m;
            } else {
                open.emplace(m.key, m);
            }
        } else if (m.what == SessionMark::Logoff) {
            if (const auto it = open.find(m.key); it != open.end()) {
                if (!writeSession(it->second, &m, m.how)) return;
                open.erase(it);
            }
        } else {
            for (auto it = open.begin(); it != open.end();) {
                if (it->second.computer != m.computer) {
                    ++it;
                    continue;
                }
                if (!writeSession(it->second, &m, QStringLiteral("system stopped"))) return;
                it = open.erase(it);
            }
        }
    }
    for (const auto& [key, start] : open) {
        if (!writeSession(start, nullptr, QStringLiteral("no end in the logs"))) return;
    }
}

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
