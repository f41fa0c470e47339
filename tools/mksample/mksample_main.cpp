// kestrova-mksample [--scale N] DIR: generates the sample Windows system in DIR; --scale adds N
// visits to Firefox's and N urls to Chrome's history (for benchmarks).
#include <QCoreApplication>
#include <cstdio>

#include "mksample/sample_system.h"

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    kestrova::tools::BrowserDataOptions options;
    if (args.size() == 3 && args[0] == QLatin1String("--scale")) {
        options.scale = args[1].toInt();
        args = args.mid(2);
    }
    if (args.size() != 1) {
        std::fprintf(stderr, "usage: kestrova-mksample [--scale N] DIR\n");
        return 2;
    }
    QString error;
    if (!kestrova::tools::writeSampleSystem(args[0], &error, options)) {
        std::fprintf(stderr, "kestrova-mksample: %s\n", qPrintable(error));
        return 1;
    }
    return 0;
}
