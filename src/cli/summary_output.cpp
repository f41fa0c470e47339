#include "cli/summary_output.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "core/app/startup.h"
#include "traces/kind_reading.h"
#include "traces/overview/case_report.h"

namespace kestrova::cli {
namespace {

QString timeText(const IsoTimeWriter& times, std::optional<UtcMicros> t) { return t ? times.text(*t) : QString(); }

QJsonArray refsJson(const std::vector<RecordRef>& refs, const IsoTimeWriter& times) {
    QJsonArray out;
    for (const RecordRef& r : refs) {
        QJsonObject o{{"kind", r.kind}, {"source", r.source}};
        if (!r.part.isEmpty()) o.insert("source_part", r.part);
        if (r.time) o.insert("time", times.text(*r.time));
        out.append(o);
    }
    return out;
}

QJsonArray rankedJson(const std::vector<Ranked>& list, const IsoTimeWriter& times) {
    QJsonArray out;
    for (const Ranked& r : list) {
        QJsonObject o{{"name", r.name}, {"count", qint64(r.count)}};
        if (r.focusMs) o.insert("focus_ms", qint64(r.focusMs));
        if (r.first) o.insert("first", times.text(*r.first));
        if (r.last) o.insert("last", times.text(*r.last));
        o.insert("records", refsJson(r.from, times));
        out.append(o);
    }
    return out;
}

QJsonArray statementsJson(const std::vector<Statement>& list, const IsoTimeWriter& times) {
    QJsonArray out;
    for (const Statement& s : list) {
        QJsonObject o{{"what", s.what}};
        if (!s.user.isEmpty()) o.insert("user", s.user);
        if (s.time) o.insert("time", times.text(*s.time));
        if (s.last) o.insert("last", times.text(*s.last));
        o.insert("records", refsJson(s.from, times));
        out.append(o);
    }
    return out;
}

QString hours(int64_t seconds) { return QStringLiteral("%1 h %2 min").arg(seconds / 3600).arg((seconds % 3600) / 60, 2, 10, QLatin1Char('0')); }

}  // namespace

QByteArray summaryJson(const ActivityModel& model, const QString& computer, const IsoTimeWriter& times, const CaseFile* tags) {
    QJsonArray users;
    for (const UserActivity& u : model.users()) {
        QJsonArray periods;
        for (const ActivePeriod& p : u.periods) {
            periods.append(QJsonObject{{"start", times.text(p.start)}, {"end", times.text(p.end)}, {"inferred", p.inferred}, {"how", p.how},
                                       {"records_in_it", qint64(p.records)}, {"records", refsJson(p.from, times)}});
        }
        QJsonArray days;
        for (const ActiveDay& d : u.days) {
            days.append(QJsonObject{{"date", d.date}, {"first", times.text(d.first)}, {"last", times.text(d.last)},
                                    {"active_seconds", qint64(d.activeSeconds)}, {"records", qint64(d.records)}});
        }
        QJsonArray grid;
        for (const auto& day : u.hours) {
            QJsonArray row;
            for (const int64_t n : day) row.append(qint64(n));
            grid.append(row);
        }
        QJsonObject o{{"user", u.user}, {"periods", periods}, {"days", days}, {"weekday_hours", grid}, {"programs", rankedJson(u.programs, times)},
                      {"sites", rankedJson(u.sites, times)}, {"documents", rankedJson(u.documents, times)}};
        if (u.first) o.insert("first", times.text(*u.first));
        if (u.last) o.insert("last", times.text(*u.last));
        users.append(o);
    }
    const QJsonObject root{{"computer", computer},
                           {"records_read", qint64(model.recordsRead())},
                           {"users", users},
                           {"programs_prefetch", rankedJson(model.machinePrograms(), times)},
                           {"devices", statementsJson(model.devices(), times)},
                           {"deleted", statementsJson(model.deletions(), times)},
                           {"notable", statementsJson(model.notable(), times)}};
    QJsonObject withTags = root;
    QJsonArray tagged;
    for (const auto& [identity, tag] : tags ? tags->tags() : std::map<QByteArray, RecordTag>{}) {
        tagged.append(QJsonObject{{"label", tag.label}, {"note", tag.note}, {"kind", tag.kind}, {"what", tag.what},
                                  {"tagged", times.text(tag.tagged)}, {"identity", QString::fromLatin1(identity)}});
    }
    withTags.insert("tagged", tagged);
    return QJsonDocument(withTags).toJson(QJsonDocument::Indented);
}

QByteArray summaryText(const ActivityModel& model, const QString& computer, const IsoTimeWriter& times, const CaseFile* tags) {
    QString out;
    out += QStringLiteral("What %1 was used for (%2 records read)\n").arg(computer.isEmpty() ? QStringLiteral("the computer") : computer).arg(model.recordsRead());
    if (model.users().empty()) out += QStringLiteral("\nNo user's own activity was found.\n");
    for (const UserActivity& u : model.users()) {
        out += QStringLiteral("\n== %1 ==\n").arg(u.user);
        if (u.first) out += QStringLiteral("active from %1 to %2\n").arg(times.text(*u.first), timeText(times, u.last));
        int64_t total = 0;
        for (const ActiveDay& d : u.days) total += d.activeSeconds;
        const bool inferred = std::any_of(u.periods.begin(), u.periods.end(), [](const ActivePeriod& p) { return p.inferred; });
        out += QStringLiteral("%1 active periods (%2), %3 in all, on %4 days\n")
                   .arg(u.periods.size())
                   .arg(inferred ? QStringLiteral("inferred from bursts of activity") : QStringLiteral("logon sessions"))
                   .arg(hours(total))
                   .arg(u.days.size());
        out += QStringLiteral("\n  day         first     last      active\n");
        for (const ActiveDay& d : u.days) {
            out += QStringLiteral("  %1  %2  %3  %4\n").arg(d.date, times.text(d.first).mid(11, 8), times.text(d.last).mid(11, 8), hours(d.activeSeconds));
        }
        const auto list = [&](const char* title, const std::vector<Ranked>& items, const char* unit) {
            if (items.empty()) return;
            out += QStringLiteral("\n  %1\n").arg(QLatin1String(title));
            for (const Ranked& r : items) {
                out += QStringLiteral("    %1%2").arg(r.count ? QStringLiteral("%1 %2, ").arg(r.count).arg(QLatin1String(unit)) : QString(), r.name);
                if (r.last) out += QStringLiteral(" (last %1)").arg(times.text(*r.last));
                out += QLatin1Char('\n');
            }
        };
        list("programs used most", u.programs, "runs");
        list("sites visited most", u.sites, "visits");
        list("documents opened", u.documents, "");
    }
    const auto statements = [&](const char* title, const std::vector<Statement>& items) {
        if (items.empty()) return;
        out += QStringLiteral("\n== %1 ==\n").arg(QLatin1String(title));
        for (const Statement& s : items) {
            out += QStringLiteral("  %1  %2%3\n").arg(timeText(times, s.time).left(19), s.what, s.user.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(s.user));
        }
    };
    statements("devices attached", model.devices());
    statements("files deleted", model.deletions());
    statements("notable events", model.notable());
    if (tags && !tags->tags().empty()) {
        out += QStringLiteral("\n== tagged by the examiner ==\n");
        for (const auto& [identity, tag] : tags->tags()) {
            out += QStringLiteral("  %1: %2%3\n").arg(tag.label, tag.what, tag.note.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(tag.note));
        }
    }
    return out.toUtf8();
}

std::unique_ptr<CaseFile> openCaseFile(const Environment& env) {
    QString why;
    auto file = CaseFile::open(env.source.evidence(), &why);
    if (!file) std::fprintf(stderr, "kestrova-cli: --tags: %s\n", qPrintable(why));
    return file;
}

int summary(Environment& env, const SummaryOptions& o, const QTimeZone& zone) {
    KindReading reading(env, o.user);
    QStringList said;
    QString why;
    if (!reading.chooseStates(o.snapshots, &said, &why)) {
        std::fprintf(stderr, "kestrova-cli: %s\n", qPrintable(why));
        return 2;
    }
    for (const QString& line : said) std::fprintf(stderr, "kestrova-cli: %s\n", qPrintable(line));
    ActivityModel model(zone);
    model.limit(o.from, o.to);
    model.onlyUser(o.user);
    for (const TraceKind& kind : traceKinds()) {
        bool goOn = true;
        const qint64 records = reading.read(kind, model, &goOn, &why);
        if (o.verbose) std::fprintf(stderr, "%s: %lld records\n", kind.name, static_cast<long long>(records));
        if (!goOn) break;
    }
    model.finish();
    const IsoTimeWriter times(zone);
    // The examiner's tags, where the evidence has a case file (none is made for a summary).
    const QString evidence = env.source.evidence();
    std::unique_ptr<CaseFile> tags;
    if (QFileInfo::exists(CaseFile::pathFor(evidence))) tags = CaseFile::open(evidence, &why);
    QByteArray text;
    if (o.format == SummaryFormat::Html) {
        QStringList options;
        if (!o.user.isEmpty()) options << QStringLiteral("--user ") + o.user;
        if (o.from) options << QStringLiteral("--from ") + times.text(*o.from);
        if (o.to) options << QStringLiteral("--to ") + times.text(*o.to);
        if (!o.snapshots.isEmpty()) options << QStringLiteral("--snapshots ") + o.snapshots;
        CaseFacts facts = caseFactsOf(env, zone, options.isEmpty() ? QStringLiteral("none") : options.join(QLatin1Char(' ')));
        facts.tool = QStringLiteral("kestrova-cli %1").arg(static_cast<double>(kProgramVersion));
        text = caseReportHtml(model, facts, tags.get());
    } else {
        const QString computer = env.system->computerName();
        text = o.format == SummaryFormat::Json ? summaryJson(model, computer, times, tags.get()) : summaryText(model, computer, times, tags.get());
    }
    if (std::fwrite(text.constData(), 1, static_cast<size_t>(text.size()), stdout) != static_cast<size_t>(text.size()) || std::fflush(stdout) != 0) {
        std::fprintf(stderr, "kestrova-cli: the output could not be written: %s\n", std::strerror(errno));
        return 1;
    }
    return 0;
}

}  // namespace kestrova::cli
