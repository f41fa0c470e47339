// kestrova-screenshot FILE.png [KEY]: renders the main window on the sample system with one
// category selected, for the README. kestrova-screenshot FILE.pdf: writes the sample's case report
// as the window's File > Export Case Report does. Runs offscreen or under Xvfb.
#include <QApplication>
#include <QTemporaryDir>
#include <cstdio>

#include "core/app/startup.h"
#include "gui/frm_viewer.h"

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 2) {
        std::fprintf(stderr, "usage: kestrova-screenshot FILE.png [KEY]\n");
        return 2;
    }
    auto env = kestrova::Environment::create(QString(), QString());
    QString reportFolder = env->os->SpecialFolder(5);
    kestrova::FrmViewer window(*env, {&reportFolder, nullptr, nullptr, {}});
    window.resize(1100, 620);
    window.show();
    if (args[1].endsWith(QLatin1String(".pdf"))) {
        if (const auto why = window.exportCaseReport(args[1])) {
            std::fprintf(stderr, "kestrova-screenshot: %s\n", qPrintable(*why));
            return 1;
        }
        return 0;
    }
    window.selectKey(args.size() > 2 ? args[2] : QStringLiteral("b4"));
    app.processEvents();
    if (!window.grab().save(args[1])) {
        std::fprintf(stderr, "kestrova-screenshot: cannot write %s\n", qPrintable(args[1]));
        return 1;
    }
    return 0;
}
