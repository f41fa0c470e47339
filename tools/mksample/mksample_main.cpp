// kestrova-mksample DIR: generates the sample Windows system in DIR.
#include <QCoreApplication>
#include <cstdio>

#include "mksample/sample_system.h"

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 2) {
        std::fprintf(stderr, "usage: kestrova-mksample DIR\n");
        return 2;
    }
    QString error;
    if (!kestrova::tools::writeSampleSystem(args[1], &error)) {
        std::fprintf(stderr, "kestrova-mksample: %s\n", qPrintable(error));
        return 1;
    }
    return 0;
}
