// Event logs end to end, as users run them: kestrova-cli traces windows.events --format jsonl over
// a volume holding every shared real log (../shared/realdata/eventlogs), against evtxexport -f xml
// (libevtx's own exporter) of the same files one after the other, measured in the same run. Best
// of three each, output to /dev/null; the peak memory of the command line on the largest log too.
//
//   kestrova_event_logs_bench [REALDATA]    (default ../shared/realdata beside the source tree)
#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <cstdio>

#include "process_run.h"

using namespace kestrova;

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QString realdata = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral(KESTROVA_REALDATA);
    const QString evtxexport = QStandardPaths::findExecutable(QStringLiteral("evtxexport"));
    if (evtxexport.isEmpty()) {
        std::fprintf(stderr, "evtxexport (libevtx-utils) is not installed\n");
        return 1;
    }
    QTemporaryDir dir;
    const QString logs = dir.filePath(QStringLiteral("Windows/System32/winevt/Logs"));
    QDir().mkpath(logs);
    QDir().mkpath(dir.filePath(QStringLiteral("Users/examiner")));
    QStringList files;
    QString largest;
    qint64 largestSize = 0, total = 0;
    for (QDirIterator it(realdata + QStringLiteral("/eventlogs"), {QStringLiteral("*.evtx")}, QDir::Files, QDirIterator::Subdirectories);
         it.hasNext();) {
        const QString path = it.next();
        // Logs of the same name from different samples stay apart.
        const QString name = QString::number(files.size()) + QLatin1Char('-') + it.fileName();
        QFile::copy(path, logs + QLatin1Char('/') + name);
        files << path;
        total += QFileInfo(path).size();
        if (QFileInfo(path).size() > largestSize) {
            largestSize = QFileInfo(path).size();
            largest = path;
        }
    }
    if (files.isEmpty()) {
        std::fprintf(stderr, "no event logs under %s/eventlogs\n", qPrintable(realdata));
        return 1;
    }
    // The reference: evtxexport over every log, one after the other.
    double reference = 0;
    // evtxexport stops a log at its first record libevtx cannot give, saying so on standard error
    // with a failing status; that is its answer, not a failure of the run (and less work).
    for (const QString& file : files) {
        const QByteArray command = "\"" + evtxexport.toUtf8() + "\" -f xml \"" + file.toUtf8() + "\" 2>/dev/null; true";
        reference += bench::bestOfThree({"sh", "-c", command}).seconds;
    }
    const QByteArray cli = QCoreApplication::applicationDirPath().toUtf8() + "/kestrova-cli";
    const bench::ProcessRun events =
        bench::bestOfThree({cli, "--root", dir.path().toUtf8(), "traces", "windows.events", "--format", "jsonl"});
    // The largest log alone, for the memory it takes.
    QTemporaryDir one;
    QDir().mkpath(one.filePath(QStringLiteral("Windows/System32/winevt/Logs")));
    QDir().mkpath(one.filePath(QStringLiteral("Users/examiner")));
    QFile::copy(largest, one.filePath(QStringLiteral("Windows/System32/winevt/Logs/largest.evtx")));
    const bench::ProcessRun alone = bench::bestOfThree({cli, "--root", one.path().toUtf8(), "traces", "windows.events", "--format", "jsonl"});
    std::printf("%lld logs, %.1f MiB\n", static_cast<long long>(files.size()), total / 1048576.0);
    std::printf("evtxexport -f xml, every log: %.2f s\n", reference);
    std::printf("traces windows.events jsonl: %.2f s, peak %ld MiB\n", events.seconds, events.peakKiB / 1024);
    std::printf("ratio windows.events end to end / evtxexport: %.2f (target 1.0 or less)\n", events.seconds / reference);
    std::printf("largest log (%.1f MiB) alone: %.2f s, peak %ld MiB (target 128 MiB or less)\n", largestSize / 1048576.0, alone.seconds,
                alone.peakKiB / 1024);
    return 0;
}
