// kestrova-mkhive TEXT HIVE: writes the hive that a REGEDIT4 text describes.
#include <QCoreApplication>
#include <QFile>
#include <cstdio>

#include "hivewriter/reg_text.h"

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 3) {
        std::fprintf(stderr, "usage: kestrova-mkhive DESCRIPTION.reg OUTPUT-HIVE\n");
        return 2;
    }
    QFile in(args[1]);
    if (!in.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "kestrova-mkhive: cannot read %s\n", qPrintable(args[1]));
        return 1;
    }
    kestrova::tools::HiveBuilder builder;
    QString error;
    if (!kestrova::tools::parseRegText(QString::fromUtf8(in.readAll()), builder, &error) ||
        !builder.write(args[2], &error)) {
        std::fprintf(stderr, "kestrova-mkhive: %s\n", qPrintable(error));
        return 1;
    }
    return 0;
}
