// The traces end to end, as users run them: kestrova-cli traces browser.history --format csv
// over a volume holding a 1,000,000-visit Chrome History and a 1,000,000-visit places.sqlite,
// against the sqlite3 command line writing the same visit rows (the equivalent joins) as CSV,
// one database after the other, measured in the same run. Best of three each, output to
// /dev/null; peak memory of the command line printed too. The timeline of the same volume
// (every dated field of every kind, sorted in bounded memory) as JSONL against the same reference.
//
//   kestrova_traces_bench [VISITS]      (default 1000000)
#include <QCoreApplication>
#include <QTemporaryDir>
#include <cstdio>

#include "browsers/trace_volume.h"
#include "process_run.h"

using namespace kestrova;

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int visits = argc > 1 ? std::atoi(argv[1]) : 1'000'000;
    QTemporaryDir dir;
    const QString chrome = dir.path() + "/Users/alice/AppData/Local/Google/Chrome/User Data/Default";
    const QString firefox = dir.path() + "/Users/alice/AppData/Roaming/Mozilla/Firefox/Profiles/a.default";
    QString error;
    std::printf("writing %d visits into each database...\n", visits);
    if (!tools::writeModernChromiumProfile(chrome, "chrome", visits, &error) ||
        !tools::writeModernFirefoxProfile(firefox, "firefox", visits, &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    const QByteArray cli = QCoreApplication::applicationDirPath().toUtf8() + "/kestrova-cli";
    const QByteArray history = (chrome + "/History").toUtf8(), places = (firefox + "/places.sqlite").toUtf8();
    // What the traces write of a visit, as the databases hold it.
    const bench::ProcessRun chromeSql = bench::bestOfThree(
        {"sqlite3", "-csv", history,
         "SELECT v.visit_time, u.url, u.title, v.transition, v.visit_duration, v.from_visit, v.id FROM visits v LEFT JOIN urls u ON u.id = v.url"});
    const bench::ProcessRun firefoxSql = bench::bestOfThree(
        {"sqlite3", "-csv", places,
         "SELECT v.visit_date, p.url, p.title, v.visit_type, v.from_visit, v.id FROM moz_historyvisits v LEFT JOIN moz_places p ON p.id = v.place_id"});
    const bench::ProcessRun traces =
        bench::bestOfThree({cli, "--root", dir.path().toUtf8(), "traces", "browser.history", "--format", "csv"});
    const bench::ProcessRun jsonl =
        bench::bestOfThree({cli, "--root", dir.path().toUtf8(), "traces", "browser.history", "--format", "jsonl"});
    // The timeline of the whole volume: every time field of every kind, sorted in bounded memory.
    const bench::ProcessRun timeline = bench::bestOfThree({cli, "--root", dir.path().toUtf8(), "timeline", "--format", "jsonl"});
    const double reference = chromeSql.seconds + firefoxSql.seconds;
    std::printf("sqlite3 -csv, both joins: %.2f s (Chrome %.2f s, Firefox %.2f s)\n", reference, chromeSql.seconds, firefoxSql.seconds);
    std::printf("traces browser.history csv: %.2f s, peak %ld MiB\n", traces.seconds, traces.peakKiB / 1024);
    std::printf("traces browser.history jsonl: %.2f s, peak %ld MiB\n", jsonl.seconds, jsonl.peakKiB / 1024);
    std::printf("ratio traces csv end to end / sqlite3 -csv: %.2f (target 1.5 or less)\n", traces.seconds / reference);
    std::printf("ratio traces jsonl end to end / sqlite3 -csv: %.2f\n", jsonl.seconds / reference);
    std::printf("timeline jsonl: %.2f s, peak %ld MiB (target 512 MiB or less)\n", timeline.seconds, timeline.peakKiB / 1024);
    std::printf("ratio timeline jsonl end to end / sqlite3 -csv: %.2f (target 2.0 or less)\n", timeline.seconds / reference);
    return 0;
}
