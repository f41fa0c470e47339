// Reading on every core, end to end through the built command line (output to /dev/null), in
// the same run: a volume of four users, each with a Chrome and a Firefox profile of N visits
// (default 125,000: 1,000,000 visits in all), read with --jobs 2 against --jobs 1:
//   every kind   traces of every kind, jsonl
//   timeline     timeline jsonl
// beside each its processor time over its wall time (2.0: both cores busy throughout) and peak
// memory, and the timeline against its floor: sqlite3 -csv of the visit joins of every database,
// one after the other. Where FUSE is there, the same volume as an EWF image too (NTFS written
// through ntfs-3g, acquired with ewfacquire's fast compression): every kind and the timeline
// against the folder, and the rate the databases are taken out at (browser.downloads reads the
// History and places.sqlite files: its time on the image less its time on the folder).
//   kestrova_jobs_bench [--visits N]
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <cstdio>

#include "visit_volume.h"
#include "../tests/support/image_fixture.h"

using namespace kestrova;

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    int visits = 125000;
    if (argc == 3 && QByteArray(argv[1]) == "--visits") visits = QByteArray(argv[2]).toInt();
    const QByteArray cli = QFile::encodeName(QCoreApplication::applicationDirPath() + QStringLiteral("/kestrova-cli"));
    QTemporaryDir dir(qEnvironmentVariable("KESTROVA_BENCH_KEEP").isEmpty() ? QString() : qEnvironmentVariable("KESTROVA_BENCH_KEEP") + "/XXXXXX");
    dir.setAutoRemove(qEnvironmentVariable("KESTROVA_BENCH_KEEP").isEmpty());
    double floor = 0;
    qint64 databaseBytes = 0;
    for (const char* user : {"alice", "bob", "carol", "dave"}) {
        const auto volume = bench::writeVisitVolume(dir.filePath("root"), visits, QLatin1String(user));
        if (!volume) return 1;
        floor += bench::chromeReference(*volume).seconds + bench::firefoxReference(*volume).seconds;
        databaseBytes += QFileInfo(QString::fromUtf8(volume->history)).size() + QFileInfo(QString::fromUtf8(volume->places)).size();
    }
    const QByteArray root = QFile::encodeName(dir.filePath("root"));
    std::printf("%d visits in all; sqlite3 -csv of every database's visit joins: %.2f s\n", visits * 8, floor);
    const auto run = [&](const char* command, const char* jobs) {
        return bench::bestOfThree({cli, "--root", root, command, "--jobs", jobs});
    };
    const auto say = [](const char* what, const char* jobs, const bench::ProcessRun& r) {
        std::printf("%s --jobs %s: %.2f s, cpu/wall %.2f, peak %ld MiB\n", what, jobs, r.seconds, r.cpuSeconds / r.seconds, r.peakKiB / 1024);
    };
    run("traces", "2");  // into the page cache
    const bench::ProcessRun traces1 = run("traces", "1"), traces2 = run("traces", "2");
    say("traces every kind", "1", traces1);
    say("traces every kind", "2", traces2);
    std::printf("ratio traces every kind --jobs 2 / --jobs 1: %.2f (target 0.65 or less)\n", traces2.seconds / traces1.seconds);
    const bench::ProcessRun timeline1 = run("timeline", "1"), timeline2 = run("timeline", "2");
    say("timeline jsonl", "1", timeline1);
    say("timeline jsonl", "2", timeline2);
    std::printf("ratio timeline --jobs 2 / --jobs 1: %.2f\n", timeline2.seconds / timeline1.seconds);
    std::printf("ratio timeline --jobs 2 / sqlite3 floor: %.2f (target 1.2 or less)\n", timeline2.seconds / floor);

    if (const QString missing = test::ntfsUnavailable(); !missing.isEmpty()) {
        std::printf("no EWF image: %s\n", qPrintable(missing));
        return 0;
    }
    QString error;
    const QString ntfs = dir.filePath("volume.ntfs");
    if (!test::makeNtfs(ntfs, dir.filePath("root"), qint64{4} * databaseBytes + (qint64{64} << 20), QStringLiteral("Windows"), &error) ||
        !test::runTool("ewfacquire", {"-u", "-t", dir.filePath("volume"), "-c", "fast", "-C", "BENCH", ntfs}, &error, 600000)) {
        std::fprintf(stderr, "cannot write the image: %s\n", qPrintable(error));
        return 1;
    }
    QFile::remove(ntfs);
    const QByteArray e01 = QFile::encodeName(dir.filePath("volume.E01"));
    const auto onImage = [&](std::vector<QByteArray> args) {
        std::vector<QByteArray> all{cli, "--image", e01, "--partition", "1"};
        all.insert(all.end(), args.begin(), args.end());
        return bench::bestOfThree(all);
    };
    std::printf("EWF image: %.0f MB\n", QFileInfo(dir.filePath("volume.E01")).size() / 1e6);
    const bench::ProcessRun imageTraces = onImage({"traces", "--jobs", "2"}), imageTimeline = onImage({"timeline", "--jobs", "2"});
    say("image traces every kind", "2", imageTraces);
    say("image timeline jsonl", "2", imageTimeline);
    std::printf("ratio traces every kind EWF / folder: %.2f\n", imageTraces.seconds / traces2.seconds);
    std::printf("ratio timeline EWF / folder: %.2f (target 1.15 or less)\n", imageTimeline.seconds / timeline2.seconds);
    const bench::ProcessRun folderDownloads = bench::bestOfThree({cli, "--root", root, "traces", "browser.downloads", "--jobs", "1"});
    const bench::ProcessRun imageDownloads = onImage({"traces", "browser.downloads", "--jobs", "1"});
    const double taking = imageDownloads.seconds - folderDownloads.seconds;
    std::printf("browser.downloads: folder %.2f s, EWF %.2f s: %.0f MB of databases taken out at %.0f MB/s (target 250 MB/s or more)\n",
                folderDownloads.seconds, imageDownloads.seconds, databaseBytes / 1e6, taking > 0 ? databaseBytes / 1e6 / taking : 0.0);
    return 0;
}
