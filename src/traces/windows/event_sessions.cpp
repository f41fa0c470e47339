// Sessions derived from the logon events, not read: a logon (Security 4624, and a console or
// Remote Desktop session's LocalSessionManager 21) paired with its end (4634/4647, 23), or ended
// by the system's stop (6005, 6006, 6008, Kernel-General 13, Kernel-Power 41), by the same logon
// id starting again, or by nothing in the logs. Every logon is one session.
#include <algorithm>
#include <tuple>

#include "traces/windows/event_log_reader.h"
#include "traces/windows/event_messages.h"
#include "traces/windows/registry_walk.h"
#include "traces/windows/windows_fields.h"
#include "traces/windows/windows_sources.h"

namespace kestrova {

namespace ss = windowsfields::sessions;

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
            std::tie(m.account, m.domain) = accountAndDomain(user);
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

}  // namespace kestrova
