// The index.dat scan (category a4) over a generated 512 MiB cache index with a "URL " record
// every 256 to 767 bytes, run in-process through the real reader frame (rows stored in the list,
// nothing printed). Reference, measured in the same run on the same file: a plain sequential read
// of it in 4 MiB blocks. Each is timed five times, alternating, and the best run counts.
//
// Measured twice: with the file's pages dropped from the page cache before every run (as an
// examined volume's index.dat is met: not read before; this is the target ratio), and with the
// file cached (the scan's CPU cost against a memory copy).
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include "index_file.h"
#include "sample_volume.h"
#include "core/app/session.h"

namespace {

using namespace kestrova;

constexpr qint64 kFileSize = qint64{512} << 20;

double referenceRead(const QString& path) {
    QElapsedTimer timer;
    timer.start();
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    QByteArray buffer(4 << 20, Qt::Uninitialized);
    qint64 sum = 0;
    while (const qint64 got = file.read(buffer.data(), buffer.size())) {
        if (got < 0) break;
        sum += static_cast<unsigned char>(buffer[got - 1]);
    }
    const double seconds = timer.nsecsElapsed() / 1e9;
    if (sum == -1) std::puts("");
    return seconds;
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    bench::SampleVolume volume;
    const QString index = volume.dir.filePath("index.dat");
    if (!bench::writeIndex(index, kFileSize)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(index));
        return 1;
    }
    bench::Host host(index);  // the scan is pointed at the generated index, not the profile's

    int rows = 0;
    const auto measure = [&](bool cold, double* reference, double* scan) {
        *reference = *scan = 1e9;
        for (int round = 0; round < 5; ++round) {
            if (cold) bench::evict(index);
            *reference = std::min(*reference, referenceRead(index));
            if (cold) bench::evict(index);
            Session session(volume.os, volume.clock, volume.run, host);
            QElapsedTimer timer;
            timer.start();
            session.select(QStringLiteral("a4"));
            *scan = std::min(*scan, timer.nsecsElapsed() / 1e9);
            rows = session.list.rowCount();
        }
    };
    double coldReference, coldScan, warmReference, warmScan;
    measure(true, &coldReference, &coldScan);
    measure(false, &warmReference, &warmScan);
    std::printf("file: %lld MiB, rows found: %d\n", static_cast<long long>(kFileSize >> 20), rows);
    std::printf("not cached: reference (sequential read) %.3f s, a4 scan %.3f s\n", coldReference, coldScan);
    std::printf("ratio scan time / reference: %.2f (target 1.5 or less)\n", coldScan / coldReference);
    std::printf("cached:     reference (sequential read) %.3f s, a4 scan %.3f s\n", warmReference, warmScan);
    std::printf("ratio scan time / reference, cached: %.2f\n", warmScan / warmReference);
    return 0;
}
