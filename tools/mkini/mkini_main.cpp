// kestrova-mkini FILE: writes the kr.ini delivered beside the program: an empty report folder
// (filled with the documents folder on first start), today as the last update check in ISO form
// (yyyy-MM-dd, which every locale reads back; the build's locale need not be the user's), and a
// week between checks. An existing file is the user's and is left alone.
#include <QCoreApplication>
#include <QDate>
#include <QFile>
#include <cstdio>

#include "core/settings/ini_file.h"

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 2) {
        std::fprintf(stderr, "usage: kestrova-mkini FILE\n");
        return 2;
    }
    if (QFile::exists(args[1])) return 0;
    kestrova::IniFile ini(args[1]);
    const bool ok = ini.SaveSetting("general", "ReportFolder", "") &&
                    ini.SaveSetting("general", "lastcheckupdate", QDate::currentDate().toString(Qt::ISODate)) &&
                    ini.SaveSetting("general", "CheckInterval", "7");
    if (!ok) std::fprintf(stderr, "kestrova-mkini: cannot write %s\n", qPrintable(args[1]));
    return ok ? 0 : 1;
}
