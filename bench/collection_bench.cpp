// Triage collections end to end, as responders run them: every trace kind of the traces
// benchmark's volume (a Chrome History and a Firefox places.sqlite of N visits each) read from a
// ZIP of it (Info-ZIP, deflated, as collectors write them) against the same run from the folder
// it was made from; and the timeline of that volume read twice as two hosts of one case (and as
// the folder and its ZIP) against the same volume read once (hosts are read one after the other). Best of three each, output to
// /dev/null; peak memory printed beside.
//
//   kestrova_collection_bench [VISITS]      (default 1000000)
#include <QCoreApplication>
#include <QProcess>
#include <QTemporaryDir>
#include <cstdio>

#include "visit_volume.h"

using namespace kestrova;

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int visits = argc > 1 ? std::atoi(argv[1]) : 1'000'000;
    QTemporaryDir dir;
    // KESTROVA_BENCH_KEEP=1: the volume and its ZIP stay, to be looked at.
    if (std::getenv("KESTROVA_BENCH_KEEP")) {
        dir.setAutoRemove(false);
        std::printf("kept in %s\n", qPrintable(dir.path()));
    }
    const QString root = dir.filePath("C");
    if (!bench::writeVisitVolume(root, visits)) return 1;
    QProcess zip;
    zip.setWorkingDirectory(root);
    zip.start("zip", {"-q", "-r", dir.filePath("collection.zip"), "."});
    if (!zip.waitForFinished(-1) || zip.exitCode() != 0) {
        std::fprintf(stderr, "zip failed: %s\n", zip.readAllStandardError().constData());
        return 1;
    }
    const QByteArray cli = QCoreApplication::applicationDirPath().toUtf8() + "/kestrova-cli";
    const bench::ProcessRun folder = bench::bestOfThree({cli, "--root", root.toUtf8(), "traces", "--format", "jsonl"});
    const bench::ProcessRun zipped = bench::bestOfThree({cli, "--collection", dir.filePath("collection.zip").toUtf8(), "traces", "--format", "jsonl"});
    std::printf("traces, every kind, from the folder: %.2f s, peak %ld MiB\n", folder.seconds, folder.peakKiB / 1024);
    std::printf("traces, every kind, from a ZIP of it: %.2f s, peak %ld MiB\n", zipped.seconds, zipped.peakKiB / 1024);
    std::printf("ratio ZIP / folder: %.2f (target 1.2 or less)\n", zipped.seconds / folder.seconds);
    const bench::ProcessRun once = bench::bestOfThree({cli, "--root", root.toUtf8(), "timeline", "--format", "jsonl"});
    const bench::ProcessRun twice = bench::bestOfThree({cli, "--root", root.toUtf8(), "--root", root.toUtf8(), "timeline", "--format", "jsonl"});
    const bench::ProcessRun mixed = bench::bestOfThree({cli, "--root", root.toUtf8(), "--collection", dir.filePath("collection.zip").toUtf8(), "timeline", "--format", "jsonl"});
    std::printf("timeline jsonl, one host: %.2f s, peak %ld MiB\n", once.seconds, once.peakKiB / 1024);
    std::printf("timeline jsonl, the same volume as two hosts: %.2f s, peak %ld MiB\n", twice.seconds, twice.peakKiB / 1024);
    std::printf("ratio two hosts / one: %.2f (target 2.0 or less on one core; hosts are read one after the other)\n", twice.seconds / once.seconds);
    std::printf("timeline jsonl, the folder and its ZIP as two hosts: %.2f s, peak %ld MiB, ratio to one host %.2f\n", mixed.seconds, mixed.peakKiB / 1024,
                mixed.seconds / once.seconds);
    return 0;
}
