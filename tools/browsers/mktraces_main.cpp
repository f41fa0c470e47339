// kestrova-mktraces DIR [VISITS]: writes the traces' test volume (tools/browsers/trace_volume.h)
// under DIR, each profile's history holding VISITS visits (default 3).
#include <QCoreApplication>
#include <cstdio>

#include "browsers/trace_volume.h"

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: kestrova-mktraces DIR [VISITS]\n");
        return 2;
    }
    kestrova::tools::TraceVolumeOptions options;
    if (argc > 2) options.visits = std::atoi(argv[2]);
    QString error;
    if (!kestrova::tools::writeTraceVolume(QString::fromLocal8Bit(argv[1]), options, nullptr, &error)) {
        std::fprintf(stderr, "kestrova-mktraces: %s\n", qPrintable(error));
        return 1;
    }
    return 0;
}
