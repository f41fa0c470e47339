// windows.tasks: every scheduled task: the XML definitions of C:\Windows\System32\Tasks (the
// folder tree is the Task Scheduler's tree) and the .job files of C:\Windows\Tasks (see
// task_files.h). The Task Scheduler's cache in SOFTWARE (Schedule\TaskCache: Tree\<path> names the
// task's identifier, Tasks\{id}\DynamicInfo its times) adds when the task was cached, last run
// and last run successfully.
//   DynamicInfo (observed on Windows 7 to 11; the field's TaskCache notes): 0 version (4),
//   4 created (FILETIME 8), 12 last run (8), 20 state (4), 24 last error (4), 28 last successful
//   run (8, from Windows 8 on)
#include <QTimeZone>

#include "core/common/byte_view.h"
#include "core/time/iso_time.h"
#include "traces/system/system_fields.h"
#include "traces/system/system_sources.h"
#include "traces/system/task_files.h"
#include "traces/windows/registry_walk.h"

namespace kestrova {
namespace {

namespace tf = systemfields::tasks;

constexpr const char* kTasks = "C:\\Windows\\System32\\Tasks";
constexpr const char* kJobs = "C:\\Windows\\Tasks";
constexpr const char* kCache = "Microsoft\\Windows NT\\CurrentVersion\\Schedule\\TaskCache";
constexpr int kDeepest = 32;

struct Reading {
    TraceContext& context;
    TraceSink& sink;
    std::shared_ptr<HiveFile> software;
    QTimeZone local;  // the examined system's zone as a fixed offset
};

std::optional<UtcMicros> utcOf(const LocalTime& t, const QTimeZone& zone) {
    return fromCivilTime(t.year, t.month, t.day, t.hour, t.minute, t.second, t.millisecond, zone);
}

// The cache's times of the task at `taskPath` ("\Microsoft\Windows\Defrag\ScheduledDefrag").
void addCacheTimes(const Reading& reading, const QString& taskPath, OwnedRecord<tf::Count>& r) {
    if (!reading.software) return;
    const HiveFile& hive = *reading.software;
    const auto tree = keyAt(hive, QLatin1String(kCache) + QStringLiteral("\\Tree") + taskPath);
    const QString id = tree ? textAt(hive, *tree, QStringLiteral("Id")) : QString();
    const auto task = id.isEmpty() ? std::nullopt : keyAt(hive, QLatin1String(kCache) + QStringLiteral("\\Tasks\\") + id);
    const auto info = task ? hive.value(*task, QStringLiteral("DynamicInfo")) : std::nullopt;
    if (!info) return;
    const ByteView v(info->bytes);
    if (v.size() >= 12) r.time(tf::CacheCreated, utc::fromFileTime(v.u64(4)));
    if (v.size() >= 20 && !r.has(tf::LastRun)) r.time(tf::LastRun, utc::fromFileTime(v.u64(12)));
    if (v.size() >= 36) r.time(tf::LastSuccess, utc::fromFileTime(v.u64(28)));
}

bool deliver(const Reading& reading, const QString& file, const QString& taskPath, const TaskDefinition& t) {
    OwnedRecord<tf::Count> r;
    r.text(tf::Path, taskPath);
    r.text(tf::Format, t.format);
    r.text(tf::Author, t.author);
    r.text(tf::Description, t.description);
    if (!t.registered.isEmpty()) r.time(tf::Registered, parseIsoTime(t.registered, reading.local));
    r.text(tf::RunAs, t.runAs);
    r.text(tf::RunLevel, t.runLevel);
    r.text(tf::Command, t.command);
    r.text(tf::Arguments, t.arguments);
    r.text(tf::WorkingFolder, t.workingFolder);
    r.text(tf::Triggers, t.triggers);
    r.boolean(tf::Enabled, t.enabled);
    r.boolean(tf::Hidden, t.hidden);
    if (t.lastRun) r.time(tf::LastRun, utcOf(*t.lastRun, reading.local));
    r.text(tf::Status, t.status);
    if (t.exitCode) r.integer(tf::ExitCode, *t.exitCode);
    addCacheTimes(reading, taskPath, r);
    return reading.context.deliver(reading.sink, Provenance{{}, {}, {}, file.toUtf8(), {}}, r.values());
}

// Every definition below `folder`; false once the receiver stopped.
bool walk(const Reading& reading, const QString& folder, const QString& taskFolder, int depth) {
    if (depth > kDeepest) {
        reading.context.note(FindingKind::Damaged, QStringLiteral("task folder ") + folder, QStringLiteral("deeper than %1 folders: not read").arg(kDeepest));
        return true;
    }
    for (const DirEntry& e : reading.context.system().listFolder(folder)) {
        if (reading.context.stopped()) return false;
        if (e.isDotEntry()) continue;
        const QString path = folder + QLatin1Char('\\') + e.name;
        const QString taskPath = taskFolder + QLatin1Char('\\') + e.name;
        if (e.attributes & 0x10) {
            if (!walk(reading, path, taskPath, depth + 1)) return false;
            continue;
        }
        const auto bytes = reading.context.readSmallFile(path, 16 << 20);
        if (!bytes) continue;  // noted
        QString why;
        const auto task = parseTaskXml(*bytes, &why);
        if (!task) {
            reading.context.note(FindingKind::Damaged, QStringLiteral("task ") + path, why);
            continue;
        }
        if (!deliver(reading, path, taskPath, *task)) return false;
    }
    return true;
}

}  // namespace

void windowsTasks(TraceContext& context, TraceSink& sink) {
    const bool xml = context.exists(QLatin1String(kTasks)), jobs = context.exists(QLatin1String(kJobs));
    if (!xml && !jobs) return;
    Reading reading{context, sink, context.exists(kSoftwareHive) ? context.hive(kSoftwareHive) : nullptr, examinedZone(context)};
    if (xml && !walk(reading, QLatin1String(kTasks), QString(), 0)) return;
    if (!jobs) return;
    for (const DirEntry& e : context.system().listFolder(QLatin1String(kJobs))) {
        if (context.stopped()) return;
        if ((e.attributes & 0x10) || !e.name.endsWith(QLatin1String(".job"), Qt::CaseInsensitive)) continue;
        const QString path = QLatin1String(kJobs) + QLatin1Char('\\') + e.name;
        const auto bytes = context.readSmallFile(path, 1 << 20);
        if (!bytes) continue;
        QString why;
        const auto task = parseJobFile(*bytes, &why);
        if (!task) {
            context.note(FindingKind::Damaged, QStringLiteral("task ") + path, why);
            continue;
        }
        if (!deliver(reading, path, QLatin1Char('\\') + e.name.chopped(4), *task)) return;
    }
}

}  // namespace kestrova
