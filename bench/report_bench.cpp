// The HTML report of a generated system whose Chrome history holds 1,000,000 urls (the Chrome
// group), written in-process through WriteHTML. Reference, measured in the same run: the very
// bytes of that report written raw to another file. Best of three each. Also prints how much the
// heap grew while the report was written (sections stream from their row sources).
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>

#include "browsers/browser_data.h"
#include "sample_volume.h"
#include "core/app/session.h"
#include "core/report/html_report.h"

namespace {

using namespace kestrova;

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    bench::SampleVolume volume;
    const QTemporaryDir& dir = volume.dir;
    QString error;
    if (!tools::writeChromeProfile(dir.path(), tools::kSampleUser, {.scale = 1000000}, &error)) {
        std::fprintf(stderr, "cannot write the databases: %s\n", qPrintable(error));
        return 1;
    }
    const Session session(volume.os, volume.clock, volume.run, volume.host);
    const ReportEnvironment env{session.reportContext(), volume.run, QStringLiteral("https://www.kestrova.example/"),
                                QStringLiteral("11/21/2026 10:00:00 AM"), [](const QString&) {}, [](bool) {}, {}};
    const QString report = dir.filePath("report.htm");
    const QString raw = dir.filePath("raw.htm");

    double writing = 1e9, reference = 1e9;
    long long grown = 0;
    for (int round = 0; round < 3; ++round) {
        const size_t before = bench::heapInUse();
        QElapsedTimer timer;
        timer.start();
        WriteHTML(report, ReportSelection{0, 0, 0, 1, 0}, env);
        writing = std::min(writing, timer.nsecsElapsed() / 1e9);
        grown = static_cast<long long>(bench::heapInUse()) - static_cast<long long>(before);

        QFile in(report);
        in.open(QIODevice::ReadOnly);
        const QByteArray bytes = in.readAll();
        timer.restart();
        QFile out(raw);
        out.open(QIODevice::WriteOnly | QIODevice::Truncate);
        out.write(bytes);
        out.close();
        reference = std::min(reference, timer.nsecsElapsed() / 1e9);
    }
    std::printf("report: %lld bytes; written raw %.3f s, through WriteHTML %.3f s\n",
                static_cast<long long>(QFile(report).size()), reference, writing);
    std::printf("ratio report time / raw write: %.2f (target 2 or less)\n", writing / reference);
    std::printf("heap grown while writing: %lld bytes\n", grown);
    return 0;
}
