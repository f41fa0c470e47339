// The window's Timeline on the volume of the traces benchmark (a 1,000,000-visit Chrome History
// and a 1,000,000-visit places.sqlite): the time to read every kind into it and draw its
// histogram, and the time a filter takes to answer (a text, a kind, a user), against the
// sqlite3 command line writing the same visit rows as CSV in the same run. Targets: the fill
// under 5 s, a filter under 300 ms.
//
//   kestrova_timeline_window_bench [VISITS]      (default 1000000; offscreen)
#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <cstring>
#include <QLineEdit>
#include <QTemporaryDir>
#include <cstdio>

#include "gui/timeline_pane.h"
#include "platform/system/volume_system.h"
#include "traces/trace_context.h"
#include "visit_volume.h"

using namespace kestrova;

namespace {

// A line of /proc/self/status, in KiB.
long residentKiB(const char* field) {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(field)) return line.mid(static_cast<qsizetype>(std::strlen(field))).trimmed().split(' ').front().toLong();
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int visits = argc > 1 ? std::atoi(argv[1]) : 1'000'000;
    QTemporaryDir dir, temp;
    const auto volume = bench::writeVisitVolume(dir.path(), visits);
    if (!volume) return 1;
    const double reference = bench::chromeReference(*volume).seconds + bench::firefoxReference(*volume).seconds;

    VolumeSystem system(dir.path(), QString());
    TimelinePane pane;
    pane.resize(1200, 800);
    pane.show();
    RunControl run;
    TraceContext context(system, temp.path());
    // The peak from here on: writing the visits above is not the window's.
    const long before = residentKiB("VmRSS:");
    QFile clear(QStringLiteral("/proc/self/clear_refs"));
    if (clear.open(QIODevice::WriteOnly)) clear.write("5");
    clear.close();
    QElapsedTimer timer;
    timer.start();
    const qint64 events = pane.fill([&](const TraceKind& kind, TraceSink& sink) { return runTraceKind(kind, context, sink); }, QTimeZone::utc(), QString(), run);
    pane.grab();  // the histogram and the table's first screen drawn
    const double fill = timer.elapsed() / 1000.0;

    const auto timed = [&](const auto& change) {
        QElapsedTimer t;
        t.start();
        change();
        return t.elapsed() / 1000.0;
    };
    const double text = timed([&] { pane.filter->setText(QStringLiteral("CHROME.example/page/99999")); });
    const int textRows = pane.model()->rowCount();
    pane.filter->clear();
    const double kind = timed([&] { pane.setKinds({QStringLiteral("browser.history")}); });
    const double user = timed([&] { pane.setUsers({QStringLiteral("alice")}); });
    std::printf("sqlite3 -csv, both joins: %.2f s\n", reference);
    std::printf("timeline window fill and draw: %.2f s for %lld events (target under 5 s); ratio to sqlite3 -csv: %.2f\n", fill,
                static_cast<long long>(events), fill / reference);
    std::printf("text filter: %.0f ms (%d rows), kind filter: %.0f ms, user filter: %.0f ms (target under 300 ms)\n", text * 1000,
                textRows, kind * 1000, user * 1000);
    std::printf("peak resident memory: %ld MiB (%ld MiB before the fill; target 300 MiB or less)\n", residentKiB("VmHWM:") / 1024, before / 1024);
    return 0;
}
