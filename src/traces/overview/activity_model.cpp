#include "traces/overview/activity_model.h"

#include <QDateTime>
#include <algorithm>
#include <set>
#include <string_view>

namespace kestrova {
namespace {

// The times that are the user's own doing, by their meaning: a page visited, a program run, a
// document opened. A cookie's expiry or a file's creation by an installer is not.
const std::set<std::string_view> kActivityMeanings = {
    "Visit Time",       "Last Visited",  "Search Page Last Visited", "Download Started", "Download Ended", "Last Run",
    "Last Executed",    "Activity Started", "Activity Ended",        "Shortcut Created", "Shortcut Modified", "Last Opened",
    "Typed",            "Bookmark Added", "Form Value Last Used",    "Login Last Used",  "Last Accessed",  "Deleted",
};

int fieldIndex(const TraceKind& kind, const char* name) {
    for (size_t i = 0; i < kind.fields.size(); ++i) {
        if (std::string_view(kind.fields[i].name) == name) return static_cast<int>(i);
    }
    return -1;
}

QString text(const TraceKind& kind, std::span<const Value> values, const char* name) {
    const int i = fieldIndex(kind, name);
    if (i < 0 || values[static_cast<size_t>(i)].is != Value::Is::Text) return QString();
    const std::string_view v = values[static_cast<size_t>(i)].utf8;
    return QString::fromUtf8(v.data(), static_cast<qsizetype>(v.size()));
}

std::optional<int64_t> number(const TraceKind& kind, std::span<const Value> values, const char* name) {
    const int i = fieldIndex(kind, name);
    if (i < 0 || values[static_cast<size_t>(i)].is != Value::Is::Number) return std::nullopt;
    return values[static_cast<size_t>(i)].number;
}

RecordRef refOf(const TraceKind& kind, const Provenance& from, std::optional<UtcMicros> time) {
    return {QLatin1String(kind.name), QString::fromUtf8(from.source), QString::fromUtf8(from.part), time};
}

// One more of a top list's lines; the record is named only while the line keeps a few.
void count(std::map<QString, Ranked>& list, const QString& name, int64_t times, int64_t focusMs, std::optional<UtcMicros> first,
           std::optional<UtcMicros> last, const TraceKind& kind, const Provenance& from, std::optional<UtcMicros> when) {
    if (name.isEmpty()) return;
    Ranked& r = list[name];
    r.name = name;
    r.count += times;
    r.focusMs += focusMs;
    if (first && (!r.first || *first < *r.first)) r.first = first;
    if (last && (!r.last || *last > *r.last)) r.last = last;
    if (r.from.size() < ActivityModel::kReferences) r.from.push_back(refOf(kind, from, when));
}

// A top list: the most counted first (then the longest in focus, then the latest).
std::vector<Ranked> top(std::map<QString, Ranked>& list, bool byTime) {
    std::vector<Ranked> out;
    out.reserve(list.size());
    for (auto& [name, r] : list) out.push_back(std::move(r));
    std::stable_sort(out.begin(), out.end(), [&](const Ranked& a, const Ranked& b) {
        if (byTime) return a.last.value_or(0) > b.last.value_or(0);
        if (a.count != b.count) return a.count > b.count;
        if (a.focusMs != b.focusMs) return a.focusMs > b.focusMs;
        return a.last.value_or(0) > b.last.value_or(0);
    });
    if (out.size() > ActivityModel::kTopList) out.resize(ActivityModel::kTopList);
    return out;
}

// An address that is not of a private network, the loopback or link-local: a logon from outside.
bool outsideAddress(const QString& address) {
    if (address.isEmpty() || address == QLatin1String("-") || address == QLatin1String("::1") || address == QLatin1String("LOCAL")) return false;
    const QStringList parts = address.split(QLatin1Char('.'));
    if (parts.size() != 4) return !address.startsWith(QLatin1String("fe80"), Qt::CaseInsensitive) && !address.startsWith(QLatin1String("fd"), Qt::CaseInsensitive);
    const int a = parts[0].toInt(), b = parts[1].toInt();
    return !(a == 10 || a == 127 || (a == 172 && b >= 16 && b <= 31) || (a == 192 && b == 168) || (a == 169 && b == 254) || a == 0);
}

// A URL's host, lower-cased: what follows "scheme://" (and any "user@") up to the port or path.
// Read from the text itself: parsing every visit's URL whole costs more than the rest of the
// overview together.
QString siteOf(std::string_view url) {
    const size_t scheme = url.find("://");
    if (scheme == std::string_view::npos || url.substr(0, scheme) == "file") return QString();
    std::string_view rest = url.substr(scheme + 3);
    rest = rest.substr(0, rest.find_first_of("/?#"));
    if (const size_t at = rest.rfind('@'); at != std::string_view::npos) rest.remove_prefix(at + 1);
    if (!rest.empty() && rest.front() == '[') {
        rest = rest.substr(0, rest.find(']') + 1);  // an IPv6 address keeps its brackets
    } else {
        rest = rest.substr(0, rest.find(':'));
    }
    return QString::fromUtf8(rest.data(), static_cast<qsizetype>(rest.size())).toLower();
}

std::string_view utf8(const TraceKind& kind, std::span<const Value> values, const char* name) {
    const int i = fieldIndex(kind, name);
    if (i < 0 || values[static_cast<size_t>(i)].is != Value::Is::Text) return {};
    return values[static_cast<size_t>(i)].utf8;
}

}  // namespace

ActivityModel::ActivityModel(QTimeZone zone) : zone_(std::move(zone)) {}

bool ActivityModel::inRange(std::optional<UtcMicros> t) const {
    if (!t) return false;
    // Times before 1990 or far ahead are not activity (a zero FILETIME, a clock set wrong).
    if (*t < int64_t{631152000} * 1000000 || *t > int64_t{4102444800} * 1000000) return false;
    return (!from_ || *t >= *from_) && (!to_ || *t <= *to_);
}

ActivityModel::Pending& ActivityModel::of(const QString& user) { return pending_[user]; }

uint32_t ActivityModel::intern(std::map<QByteArray, uint32_t>& index, std::vector<QString>& texts, const QByteArray& text) {
    const auto [at, added] = index.try_emplace(text, static_cast<uint32_t>(texts.size()));
    if (added) texts.push_back(QString::fromUtf8(text));
    return at->second;
}

RecordRef ActivityModel::refAt(const Moment& m) const { return {kindNames_[m.kind], sources_[m.source], parts_[m.part], m.time}; }

const ActivityModel::Plan& ActivityModel::planOf(const TraceKind& kind) {
    const auto known = plans_.find(&kind);
    if (known != plans_.end()) return known->second;
    Plan plan;
    plan.kind = static_cast<uint32_t>(kindNames_.size());
    kindNames_.push_back(QLatin1String(kind.name));
    for (size_t i = 0; i < kind.fields.size(); ++i) {
        const FieldSpec& f = kind.fields[i];
        if (f.type == FieldType::Time && f.meaning && kActivityMeanings.count(f.meaning)) plan.activity.push_back(i);
    }
    return plans_.emplace(&kind, std::move(plan)).first->second;
}

bool ActivityModel::record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) {
    ++records_;
    const QString user = QString::fromUtf8(from.user);
    const std::string_view name = kind.name;
    const bool wanted = onlyUser_.isEmpty() || user.compare(onlyUser_, Qt::CaseInsensitive) == 0;
    // The user's own moments.
    const Plan& plan = planOf(kind);
    if (!user.isEmpty() && wanted && !plan.activity.empty()) {
        Pending* pending = nullptr;
        for (const size_t i : plan.activity) {
            if (values[i].is != Value::Is::Number || !inRange(values[i].number)) continue;
            if (!pending) pending = &of(user);
            if (from.source.constData() != lastSource_ || sources_.empty()) {
                lastSourceIndex_ = intern(sourceIndex_, sources_, from.source);
                lastSource_ = from.source.constData();
            }
            if (from.part.constData() != lastPart_ || parts_.empty()) {
                lastPartIndex_ = intern(partIndex_, parts_, from.part);
                lastPart_ = from.part.constData();
            }
            pending->moments.push_back({values[i].number, plan.kind, lastSourceIndex_, lastPartIndex_});
        }
    }
    if (name == "windows.sessions" && !user.isEmpty() && wanted) {
        const QString type = text(kind, values, "type");
        const auto start = number(kind, values, "start");
        if (inRange(start) && (type.contains(QLatin1String("Interactive")) || type.startsWith(QLatin1String("Unlock")))) {
            const UtcMicros end = std::max(*start, number(kind, values, "end").value_or(*start));
            of(user).sessions.push_back({*start, end, QStringLiteral("session, ") + type, refOf(kind, from, start)});
        }
    } else if (name == "windows.userassist" && !user.isEmpty() && wanted) {
        const auto last = number(kind, values, "last_run");
        if (!last || inRange(last)) {
            count(of(user).programs, text(kind, values, "name"), number(kind, values, "run_count").value_or(0),
                  number(kind, values, "focus_time_ms").value_or(0), std::nullopt, last, kind, from, last);
        }
    } else if (name == "windows.execution" && !user.isEmpty() && wanted) {
        const auto last = number(kind, values, "last_executed");
        if (inRange(last)) count(of(user).programs, text(kind, values, "path"), 1, 0, last, last, kind, from, last);
    } else if (name == "windows.srum.apps" && !user.isEmpty() && wanted) {
        const auto slot = number(kind, values, "time");
        if (inRange(slot)) count(of(user).programs, text(kind, values, "app"), 0, number(kind, values, "face_time").value_or(0) / 10000, slot, slot, kind, from, slot);
    } else if (name == "windows.prefetch") {
        const auto last = number(kind, values, "last_run");
        if (!last || inRange(last)) count(prefetch_, text(kind, values, "executable"), number(kind, values, "run_count").value_or(0), 0, std::nullopt, last, kind, from, last);
    } else if (name == "browser.history" && !user.isEmpty() && wanted) {
        const auto visit = number(kind, values, "visit_time");
        if (inRange(visit)) count(of(user).sites, siteOf(utf8(kind, values, "url")), 1, 0, visit, visit, kind, from, visit);
    } else if ((name == "windows.lnk" || name == "windows.jumplists") && !user.isEmpty() && wanted) {
        const auto when = number(kind, values, name == "windows.lnk" ? "lnk_modified" : "last_accessed");
        if (!when || inRange(when)) count(of(user).documents, text(kind, values, "target_path"), 1, 0, when, when, kind, from, when);
    } else if (name == "windows.mru" && !user.isEmpty() && wanted && text(kind, values, "list").startsWith(QLatin1String("Office File"))) {
        const auto opened = number(kind, values, "opened");
        if (!opened || inRange(opened)) count(of(user).documents, text(kind, values, "entry"), 1, 0, opened, opened, kind, from, opened);
    } else if (name == "windows.usb") {
        usbDevice(kind, from, values);
    } else if (name == "windows.recyclebin" && wanted) {
        const auto deleted = number(kind, values, "deleted");
        if (inRange(deleted)) deletions_.push_back({text(kind, values, "original_path"), user, deleted, std::nullopt, {refOf(kind, from, deleted)}});
    } else if (name == "file.journal" && text(kind, values, "reasons").contains(QLatin1String("FILE_DELETE"))) {
        const auto time = number(kind, values, "time");
        if (inRange(time)) {
            QString path = text(kind, values, "path");
            if (path.isEmpty()) path = text(kind, values, "name");
            ++journalDeleted_;
            journalDeletions_.push_back({path + QStringLiteral(" (change journal)"), QString(), time, std::nullopt, {refOf(kind, from, time)}});
            if (journalDeletions_.size() > kJournalDeletions) journalDeletions_.pop_front();
        }
    } else if (name == "windows.accounts" || name == "windows.installs") {
        const auto time = number(kind, values, "time");
        if (inRange(time)) {
            QString what = text(kind, values, "action");
            if (const QString subject = text(kind, values, "subject"); !subject.isEmpty()) what += QStringLiteral(": ") + subject;
            notable_.push_back({what, text(kind, values, "account"), time, std::nullopt, {refOf(kind, from, time)}});
        }
    } else if (name == "windows.scripts") {
        const auto time = number(kind, values, "time");
        const QString action = text(kind, values, "action");
        if (inRange(time) && action.contains(QLatin1String("Defender"), Qt::CaseInsensitive)) {
            notable_.push_back({action + QStringLiteral(": ") + text(kind, values, "path"), user, time, std::nullopt, {refOf(kind, from, time)}});
        }
    } else if (name == "windows.logons") {
        const auto time = number(kind, values, "time");
        const QString address = text(kind, values, "source_address");
        if (inRange(time) && outsideAddress(address) && text(kind, values, "action").contains(QLatin1String("logon"), Qt::CaseInsensitive)) {
            notable_.push_back({QStringLiteral("logon from %1 (%2)").arg(address, text(kind, values, "logon_type")), text(kind, values, "account"), time,
                                std::nullopt, {refOf(kind, from, time)}});
        }
    }
    return true;
}

void ActivityModel::usbDevice(const TraceKind& kind, const Provenance& from, std::span<const Value> values) {
    QString what = text(kind, values, "friendly_name");
    if (what.isEmpty()) what = (text(kind, values, "vendor") + QLatin1Char(' ') + text(kind, values, "product")).trimmed();
    if (const QString serial = text(kind, values, "serial"); !serial.isEmpty()) what += QStringLiteral(" (serial %1)").arg(serial);
    const auto first = number(kind, values, "first_install");
    const auto last = number(kind, values, "last_arrival");
    if (!inRange(first) && !inRange(last)) return;
    devices_.push_back({what, QString(), inRange(first) ? first : std::nullopt, inRange(last) ? last : std::nullopt, {refOf(kind, from, last ? last : first)}});
}

void ActivityModel::finish() {
    users_.clear();
    for (auto& [user, p] : pending_) {
        UserActivity u;
        u.user = user;
        std::sort(p.moments.begin(), p.moments.end(), [](const Moment& a, const Moment& b) { return a.time < b.time; });
        if (!p.moments.empty()) {
            u.first = p.moments.front().time;
            u.last = p.moments.back().time;
        }
        // Sessions where the event logs keep them; else bursts of the user's own records.
        if (!p.sessions.empty()) {
            std::sort(p.sessions.begin(), p.sessions.end(), [](const Session& a, const Session& b) { return a.start < b.start; });
            for (Session& s : p.sessions) {
                ActivePeriod period{s.start, s.end, false, s.how, 0, {s.ref}};
                // The moments are in time order: those of the session follow its start.
                auto m = std::lower_bound(p.moments.begin(), p.moments.end(), s.start, [](const Moment& x, UtcMicros t) { return x.time < t; });
                for (; m != p.moments.end() && m->time <= s.end; ++m) {
                    ++period.records;
                    if (period.from.size() < kReferences) period.from.push_back(refAt(*m));
                }
                u.periods.push_back(std::move(period));
            }
        } else {
            for (size_t i = 0; i < p.moments.size();) {
                ActivePeriod period{p.moments[i].time, p.moments[i].time, true, QString(), 0, {}};
                size_t j = i;
                while (j < p.moments.size() && p.moments[j].time - period.end <= kBurstGap) {
                    period.end = p.moments[j].time;
                    ++period.records;
                    if (period.from.size() < kReferences) period.from.push_back(refAt(p.moments[j]));
                    ++j;
                }
                period.how = QStringLiteral("inferred from %1 records").arg(period.records);
                u.periods.push_back(std::move(period));
                i = j;
            }
        }
        // Days: first and last record, time in periods (a period crossing midnight counts on each side).
        std::map<QString, ActiveDay> days;
        const auto dayOf = [&](UtcMicros t) { return QDateTime::fromMSecsSinceEpoch(t / 1000, zone_); };
        for (const Moment& m : p.moments) {
            const QDateTime local = dayOf(m.time);
            const QString date = local.date().toString(Qt::ISODate);
            ActiveDay& d = days[date];
            if (d.records == 0) d.first = m.time;
            d.date = date;
            d.last = m.time;
            ++d.records;
            ++u.hours[local.date().dayOfWeek() - 1][local.time().hour()];
        }
        for (const ActivePeriod& period : u.periods) {
            UtcMicros at = period.start;
            while (at < period.end) {
                const QDateTime local = dayOf(at);
                const QDateTime midnight(local.date().addDays(1), QTime(0, 0), zone_);
                const UtcMicros dayEnd = std::min<UtcMicros>(period.end, midnight.toMSecsSinceEpoch() * 1000);
                ActiveDay& d = days[local.date().toString(Qt::ISODate)];
                if (d.date.isEmpty()) {
                    d.date = local.date().toString(Qt::ISODate);
                    d.first = at;
                    d.last = dayEnd;
                }
                d.activeSeconds += (dayEnd - at) / 1000000;
                if (dayEnd <= at) break;
                at = dayEnd;
            }
        }
        for (auto& [date, d] : days) u.days.push_back(d);
        u.programs = top(p.programs, false);
        u.sites = top(p.sites, false);
        u.documents = top(p.documents, true);
        users_.push_back(std::move(u));
    }
    machinePrograms_ = top(prefetch_, false);
    // Who was active when a device last arrived.
    for (Statement& device : devices_) {
        const auto when = device.last ? device.last : device.time;
        if (!when) continue;
        for (const UserActivity& u : users_) {
            for (const ActivePeriod& period : u.periods) {
                if (*when >= period.start - kBurstGap && *when <= period.end + kBurstGap) device.user = u.user;
            }
        }
    }
    deletions_.insert(deletions_.end(), journalDeletions_.begin(), journalDeletions_.end());
    journalDeletions_.clear();
    const auto byTime = [](const Statement& a, const Statement& b) { return a.time.value_or(0) < b.time.value_or(0); };
    std::stable_sort(devices_.begin(), devices_.end(), byTime);
    std::stable_sort(deletions_.begin(), deletions_.end(), byTime);
    std::stable_sort(notable_.begin(), notable_.end(), byTime);
}

}  // namespace kestrova
