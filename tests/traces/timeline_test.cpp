// The timeline: one event per time field, in time order with equal times kept in kind and read
// order, the same whether it was sorted in memory or spilled to sorted runs and merged.
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTimeZone>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "browsers/trace_volume.h"
#include "support/cli_run.h"
#include "support/temp_volume.h"
#include "traces/timeline.h"
#include "traces/timeline_store.h"
#include "traces/trace_context.h"

namespace kestrova {
namespace {

struct Line {
    UtcMicros time;
    QString kind, desc, subject;
    bool operator==(const Line&) const = default;
};

std::vector<Line> timelineOf(const AnalysedSystem& system, const QString& temp, size_t budget, int* runs) {
    Timeline events(temp, budget);
    TraceContext context(system, temp);
    for (const TraceKind& kind : traceKinds()) runTraceKind(kind, context, events);
    std::vector<Line> lines;
    EXPECT_TRUE(events.drain([&](const TimelineEvent& e) {
        lines.push_back({e.time, QLatin1String(e.kind->name), QLatin1String(e.kind->fields[static_cast<size_t>(e.timeField)].meaning),
                         eventSubject(*e.kind, e.values)});
        return true;
    })) << events.why().toStdString();
    *runs = events.runs();
    return lines;
}

TEST(Timeline, EveryTimeFieldIsOneEventInOrderWhetherSortedInMemoryOrInRuns) {
    QTemporaryDir dir, temp;
    QString error;
    ASSERT_TRUE(tools::writeTraceVolume(dir.path(), {.visits = 40}, nullptr, &error)) << error.toStdString();
    VolumeSystem system(dir.path(), QString());
    int runs = 0;
    const std::vector<Line> inMemory = timelineOf(system, temp.path(), size_t{1} << 30, &runs);
    EXPECT_EQ(runs, 0);
    // 8 profiles: 40 visits each; a download with start and end; Chromium cookies (created,
    // last access; one expiry), Firefox cookies (created, expiry, last access); forms (first,
    // last used); bookmarks; logins (created, last used, password changed); searches where
    // the url has a last visit; two IE cookies with creation and expiry.
    EXPECT_GT(inMemory.size(), 8u * 40);
    for (size_t i = 1; i < inMemory.size(); ++i) ASSERT_LE(inMemory[i - 1].time, inMemory[i].time) << i;
    const std::vector<Line> merged = timelineOf(system, temp.path(), 4096, &runs);
    EXPECT_GT(runs, 3);
    EXPECT_EQ(merged, inMemory);
    // The IE cookies were made in 2024 and expired early in 2026, before every browser's first
    // visit; then equal times keep kinds in table order and records in the order read
    // (Chrome's profiles before Edge's).
    const std::vector<std::pair<const char*, const char*>> first{
        {"Cookie Created", "ie.example (id)"},
        {"Cookie Created", "ie.example (token)"},
        {"Cookie Expires", "ie.example (id)"},
        {"Cookie Expires", "ie.example (token)"},
        {"Visit Time", "https://alice-chrome-default.example/page/1 (Page 1 of alice-chrome-default)"},
        {"Visit Time", "https://alice-chrome-profile-1.example/page/1 (Page 1 of alice-chrome-profile-1)"},
        {"Visit Time", "https://alice-edge-default.example/page/1 (Page 1 of alice-edge-default)"}};
    for (size_t i = 0; i < first.size(); ++i) {
        EXPECT_EQ(inMemory[i].desc, first[i].first) << i;
        EXPECT_EQ(inMemory[i].subject, first[i].second) << i;
    }
}

// Records larger than the arena's blocks, and blocks filled to their end: every event comes back
// with its own record, in time order, in memory and through runs alike.
TEST(Timeline, RecordsLargerThanABlockKeepTheirBodies) {
    const TraceKind& kind = *findTraceKind("browser.history");
    size_t timeField = 0, textField = 0;
    for (size_t f = 0; f < kind.fields.size(); ++f) {
        if (kind.fields[f].type == FieldType::Time && !timeField) timeField = f;
        if (kind.fields[f].type == FieldType::Text && !textField) textField = f;
    }
    ASSERT_TRUE(kind.fields[timeField].type == FieldType::Time && kind.fields[textField].type == FieldType::Text);
    // Sizes around the 16 MiB block: small ones filling blocks, one larger than a block.
    std::vector<std::string> texts;
    for (int i = 0; i < 60; ++i) texts.push_back(std::string(i == 30 ? (size_t{20} << 20) : (size_t{1} << 20) + 7 * i, static_cast<char>('a' + i % 26)));
    QTemporaryDir temp;
    for (const size_t budget : {size_t{1} << 30, size_t{24} << 20}) {
        Timeline events(temp.path(), budget);
        for (size_t i = 0; i < texts.size(); ++i) {
            std::vector<Value> values(kind.fields.size());
            values[timeField] = Value::integer(static_cast<int64_t>((texts.size() - i) * 1000));  // read in reverse time order
            values[textField] = Value::text(texts[i]);
            ASSERT_TRUE(events.record(kind, Provenance{}, values));
        }
        if (budget < (size_t{1} << 30)) {
            EXPECT_GT(events.runs(), 2);
        }
        size_t at = texts.size();
        ASSERT_TRUE(events.drain([&](const TimelineEvent& e) {
            --at;
            EXPECT_EQ(e.time, static_cast<int64_t>((texts.size() - at) * 1000));
            EXPECT_TRUE(e.values[textField].utf8 == texts[at]) << "event " << at;
            return true;
        })) << events.why().toStdString();
        EXPECT_EQ(at, 0u);
    }
}

// A provenance is kept once for the records that share it, up to a limit, then with each record:
// every event comes back with its own, whether shared, alternating or one of its own past the
// limit, in memory and through runs.
TEST(Timeline, EveryEventKeepsItsProvenanceSharedOrNot) {
    const TraceKind& kind = *findTraceKind("browser.history");
    size_t timeField = 0, textField = 0;
    while (kind.fields[timeField].type != FieldType::Time) ++timeField;
    while (kind.fields[textField].type != FieldType::Text) ++textField;
    const auto provenanceOf = [](int64_t i) {
        Provenance from;
        from.user = i % 2 ? "alice" : "bob";
        from.source = "C:\\source\\" + QByteArray::number(i % 3);
        // The first records share a few parts; then each has its own, more than are kept shared.
        from.part = i < 1000 ? "part " + QByteArray::number(i % 7) : QByteArray(200, 'p') + QByteArray::number(i);
        return from;
    };
    constexpr int64_t kRecords = 20000;
    QTemporaryDir temp;
    for (const size_t budget : {size_t{1} << 30, size_t{2} << 20}) {
        Timeline events(temp.path(), budget);
        for (int64_t i = 0; i < kRecords; ++i) {
            std::vector<Value> values(kind.fields.size());
            values[timeField] = Value::integer(kRecords - i);  // read in reverse time order
            const std::string text = "record " + std::to_string(i);
            values[textField] = Value::text(text);
            ASSERT_TRUE(events.record(kind, provenanceOf(i), values));
        }
        EXPECT_EQ(events.runs() > 0, budget < (size_t{1} << 30));
        int64_t count = 0;
        ASSERT_TRUE(events.drain([&](const TimelineEvent& e) {
            const Provenance want = provenanceOf(kRecords - e.time);
            EXPECT_EQ(e.from.user, want.user) << e.time;
            EXPECT_EQ(e.from.source, want.source) << e.time;
            EXPECT_EQ(e.from.part, want.part) << e.time;
            EXPECT_EQ(e.values[textField].utf8, "record " + std::to_string(kRecords - e.time));
            ++count;
            return !::testing::Test::HasFailure();
        })) << events.why().toStdString();
        EXPECT_EQ(count, kRecords);
    }
}

// Many events (sorted on two cores, each half apart and then merged): time order, and equal times
// in the order read, in memory, through a few runs and through thousands of them (more than a
// process may open files). The runs leave no file with a name behind.
TEST(Timeline, ManyEventsAtEqualTimesKeepTheOrderRead) {
    const TraceKind& kind = *findTraceKind("browser.history");
    size_t timeField = 0;
    while (kind.fields[timeField].type != FieldType::Time) ++timeField;
    const size_t idField = kind.fields.size() - 1;  // visit_id: the order read
    ASSERT_EQ(kind.fields[idField].type, FieldType::Integer);
    QTemporaryDir temp;
    for (const size_t budget : {size_t{1} << 30, size_t{8} << 20, size_t{16} << 10}) {
        Timeline events(temp.path(), budget);
        constexpr int64_t kRecords = 300000;
        for (int64_t i = 0; i < kRecords; ++i) {
            std::vector<Value> values(kind.fields.size());
            values[timeField] = Value::integer(i * 7919 % 1009);  // 1009 times, each ~300 records
            values[idField] = Value::integer(i);
            ASSERT_TRUE(events.record(kind, Provenance{}, values));
        }
        if (budget == (size_t{16} << 10)) {
            EXPECT_GT(events.runs(), 1024);
        }
        EXPECT_TRUE(QDir(temp.path()).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden));
        int64_t lastTime = -1, lastRead = -1, count = 0;
        ASSERT_TRUE(events.drain([&](const TimelineEvent& e) {
            const int64_t read = e.values[idField].number;
            EXPECT_TRUE(e.time > lastTime || (e.time == lastTime && read > lastRead)) << count;
            lastTime = e.time;
            lastRead = read;
            ++count;
            return !::testing::Test::HasFailure();
        })) << events.why().toStdString();
        EXPECT_EQ(count, kRecords);
    }
}

// The histogram's range: where the events lie, whatever a cookie's expiry or a zero time says.
TEST(Timeline, TheBulkRangeLeavesOutZeroTimesAndFarExpiries) {
    const auto at = [](int y, int m, int d) { return QDateTime(QDate(y, m, d), QTime(12, 0), QTimeZone::utc()).toMSecsSinceEpoch() * 1000; };
    std::vector<int64_t> times{at(1601, 1, 1), at(1970, 1, 1)};
    for (int day = 1; day <= 28; ++day) {
        for (int i = 0; i < 20; ++i) times.push_back(at(2022, 2, day) + i);
    }
    times.push_back(at(2022, 1, 10));   // within the bulk's own width of it: kept
    times.push_back(at(2031, 1, 1));    // a cookie's expiry
    times.push_back(at(9999, 12, 31));
    std::sort(times.begin(), times.end());
    const auto range = bulkRange(times);
    ASSERT_TRUE(range);
    EXPECT_EQ(range->first, at(2022, 1, 10));
    EXPECT_EQ(range->last, at(2022, 2, 28) + 19);
    EXPECT_EQ(std::count_if(times.begin(), times.end(), [&](int64_t t) { return !range->contains(t); }), 4);
    // One event is its own bulk; nothing plausible, no range.
    EXPECT_EQ(bulkRange(std::vector<int64_t>{at(2020, 5, 5)})->first, at(2020, 5, 5));
    EXPECT_FALSE(bulkRange(std::vector<int64_t>{at(1601, 1, 1), at(9999, 1, 1)}));
    EXPECT_FALSE(bulkRange(std::vector<int64_t>{}));
}

TEST(Timeline, TheCommandLineFiltersByTimeAndKindAndWritesEachFormat) {
    QTemporaryDir dir;
    QString error;
    ASSERT_TRUE(tools::writeTraceVolume(dir.path(), {}, nullptr, &error)) << error.toStdString();
    const CliRun csv = runCli({"--root", dir.path(), "timeline", "--format", "csv", "--kinds", "browser.downloads", "--from",
                               "2026-11-01T09:02:00+01:00", "--to", "2026-11-01T08:02:40Z"});
    ASSERT_EQ(csv.exitCode, 0) << csv.err.toStdString();
    const QStringList lines = csv.out.split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 1 + 8);  // the eight downloads' end times, nothing before 08:02
    EXPECT_EQ(lines[0], "datetime,timestamp,timestamp_desc,message,kind,user,browser,profile,hostname,source,source_part,fields");
    EXPECT_TRUE(lines[1].startsWith("2026-11-01T08:02:40.000000+00:00,1793520160000000,Download Ended,")) << lines[1].toStdString();
    const CliRun body = runCli({"--root", dir.path(), "timeline", "--format", "body", "--kinds", "ie.cookies"});
    ASSERT_EQ(body.exitCode, 0) << body.err.toStdString();
    const QStringList entries = body.out.split('\n', Qt::SkipEmptyParts);
    // A line a cookie: its creation in crtime, its expiry (no time of a file means that) in the
    // first free slot, named; the other slots empty, never the same moment four times.
    ASSERT_EQ(entries.size(), 2) << body.out.toStdString();
    EXPECT_EQ(entries[0].split('|').size(), 11);
    EXPECT_TRUE(entries[0].contains("[a: Cookie Expires; b: Cookie Created]|")) << entries[0].toStdString();
    EXPECT_TRUE(entries[0].endsWith("|0|0|1717646974")) << entries[0].toStdString();
    // The Sleuth Kit's mactime reads it, where it is installed.
    if (const QString mactime = QStandardPaths::findExecutable("mactime"); !mactime.isEmpty()) {
        QTemporaryDir out;
        QFile file(out.filePath("body"));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(body.out.toUtf8());
        file.close();
        QProcess run;
        run.start(mactime, {"-b", file.fileName(), "-z", "UTC", "-d"});
        ASSERT_TRUE(run.waitForFinished(20000));
        const QString read = QString::fromUtf8(run.readAllStandardOutput());
        for (const char* line : {"Tue Feb 03 2026 06:09:38,0,.a..,0,0,0,0,\"ie.cookies: ie.example (token) [a: Cookie Expires; b: Cookie Created]\"",
                                 "Thu Jun 06 2024 04:09:34,0,...b,0,0,0,0,\"ie.cookies: ie.example (token) [a: Cookie Expires; b: Cookie Created]\""}) {
            EXPECT_TRUE(read.contains(line)) << read.toStdString();
        }
    }
    const CliRun tln = runCli({"--root", dir.path(), "timeline", "--format", "tln", "--kinds", "ie.cookies"});
    EXPECT_TRUE(tln.out.startsWith("1717646974|ie.cookies||alice|Cookie Created: ")) << tln.out.toStdString();
    const CliRun wrong = runCli({"--root", dir.path(), "timeline", "--from", "tuesday"});
    EXPECT_EQ(wrong.exitCode, 2);
    EXPECT_TRUE(wrong.err.contains("--from takes an ISO 8601 time")) << wrong.err.toStdString();
}

}  // namespace
}  // namespace kestrova

namespace kestrova {
namespace {

// The evidence files' own times are a kind of their own, and events of the timeline.
TEST(EvidenceFileTimes, AFilesModifiedTimeIsAnEventOfTheFileKind) {
    test::TempVolume volume;
    volume.file("Users/alice/NTUSER.DAT", QByteArray("regf"));
    volume.file("Windows/Prefetch/CMD.EXE-087B4001.pf", QByteArray("SCCA"));
    const QDateTime when(QDate(2021, 6, 1), QTime(12, 30, 15), QTimeZone::utc());
    for (const char* path : {"Users/alice/NTUSER.DAT", "Windows/Prefetch/CMD.EXE-087B4001.pf"}) {
        QFile f(volume.root() + QLatin1Char('/') + QLatin1String(path));
        ASSERT_TRUE(f.open(QIODevice::ReadWrite));
        ASSERT_TRUE(f.setFileTime(when, QFileDevice::FileModificationTime));
    }
    const auto system = volume.open();
    QTemporaryDir temp;
    Timeline events(temp.path());
    TraceContext context(*system, temp.path());
    runTraceKind(*findTraceKind("file"), context, events);
    std::vector<std::pair<QString, QString>> modified;  // (path, user) of "File Modified" events at that time
    events.drain([&](const TimelineEvent& e) {
        if (QLatin1String(e.kind->fields[static_cast<size_t>(e.timeField)].meaning) == QLatin1String("File Modified") &&
            e.time == when.toMSecsSinceEpoch() * 1000) {
            modified.emplace_back(QString::fromUtf8(e.from.source), QString::fromUtf8(e.from.user));
        }
        return true;
    });
    const std::vector<std::pair<QString, QString>> expected{{"C:\\Users\\alice\\NTUSER.DAT", "alice"},
                                                            {"C:\\Windows\\Prefetch\\CMD.EXE-087B4001.pf", ""}};
    EXPECT_EQ(modified, expected);
}

}  // namespace
}  // namespace kestrova
