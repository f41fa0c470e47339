// The traces end to end, as users run them: kestrova-cli traces browser.history --format csv
// over a volume holding a 1,000,000-visit Chrome History and a 1,000,000-visit places.sqlite,
// against the sqlite3 command line writing the same visit rows (the equivalent joins) as CSV,
// one database after the other, measured in the same run. Best of three each, output to
// /dev/null; peak memory of the command line printed too. The timeline of the same volume
// (every dated field of every kind, sorted in bounded memory) as JSONL against the same reference,
// and the overview (summary --format json) of the same volume against that timeline.
//
//   kestrova_traces_bench [VISITS]      (default 1000000)
#include <QCoreApplication>
#include <QTemporaryDir>
#include <cstdio>

#include "visit_volume.h"

using namespace kestrova;

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int visits = argc > 1 ? std::atoi(argv[1]) : 1'000'000;
    QTemporaryDir dir;
    const auto volume = bench::writeVisitVolume(dir.path(), visits);
    if (!volume) return 1;
    const QByteArray cli = QCoreApplication::applicationDirPath().toUtf8() + "/kestrova-cli";
    const bench::ProcessRun chromeSql = bench::chromeReference(*volume);
    const bench::ProcessRun firefoxSql = bench::firefoxReference(*volume);
    const bench::ProcessRun traces =
        bench::bestOfThree({cli, "--root", dir.path().toUtf8(), "traces", "browser.history", "--format", "csv"});
    const bench::ProcessRun jsonl =
        bench::bestOfThree({cli, "--root", dir.path().toUtf8(), "traces", "browser.history", "--format", "jsonl"});
    // The timeline of the whole volume: every time field of every kind, sorted in bounded memory.
    const bench::ProcessRun timeline = bench::bestOfThree({cli, "--root", dir.path().toUtf8(), "timeline", "--format", "jsonl"});
    // The overview of the same volume: one pass over the same records.
    const bench::ProcessRun summary = bench::bestOfThree({cli, "--root", dir.path().toUtf8(), "summary", "--format", "json"});
    const double reference = chromeSql.seconds + firefoxSql.seconds;
    std::printf("sqlite3 -csv, both joins: %.2f s (Chrome %.2f s, Firefox %.2f s)\n", reference, chromeSql.seconds, firefoxSql.seconds);
    std::printf("traces browser.history csv: %.2f s, peak %ld MiB\n", traces.seconds, traces.peakKiB / 1024);
    std::printf("traces browser.history jsonl: %.2f s, peak %ld MiB\n", jsonl.seconds, jsonl.peakKiB / 1024);
    std::printf("ratio traces csv end to end / sqlite3 -csv: %.2f (target 1.5 or less)\n", traces.seconds / reference);
    std::printf("ratio traces jsonl end to end / sqlite3 -csv: %.2f\n", jsonl.seconds / reference);
    std::printf("timeline jsonl: %.2f s, peak %ld MiB (target 512 MiB or less)\n", timeline.seconds, timeline.peakKiB / 1024);
    std::printf("ratio timeline jsonl end to end / sqlite3 -csv: %.2f (target 2.0 or less)\n", timeline.seconds / reference);
    std::printf("summary json: %.2f s, peak %ld MiB\n", summary.seconds, summary.peakKiB / 1024);
    std::printf("ratio summary json / timeline jsonl: %.2f (target 1.5 or less)\n", summary.seconds / timeline.seconds);
    return 0;
}
