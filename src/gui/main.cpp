// kestrova: the window. mainpro's start-up: one instance per user, the report folder settled,
// the main window shown and its load run.
//   kestrova [--root DIR] [--user NAME] [--version] [--help]   (a wrong folder or user ends it at
//   once, saying why)
#include <QApplication>
#include <QMessageBox>
#include <cstdio>

#include "core/app/startup.h"
#include "core/app/update_check.h"
#include "platform/network/http_fetcher.h"
#include "gui/frm_viewer.h"
#include "gui/single_instance.h"
#include "platform/system/versions.h"

namespace {

// The update check's message boxes, titled with the program's name.
class MessageBoxes : public kestrova::UpdateDialogs {
public:
    void notice(const QString& text) override { QMessageBox::information(nullptr, QStringLiteral("Kestrova"), text); }
    bool ask(const QString& text) override {
        return QMessageBox::question(nullptr, QStringLiteral("Kestrova"), text, QMessageBox::Yes | QMessageBox::No) ==
               QMessageBox::Yes;
    }
};

}  // namespace

constexpr const char* kUsage =
    "usage: kestrova [--root DIR] [--user NAME]\n"
    "  --root DIR     the folder standing for C:\\ (default: the system chosen last, or the sample)\n"
    "  --user NAME    the profile to examine\n"
    "  --version      the version, the commit and the libraries' versions\n"
    "  -h, --help     this text\n"
    "File > Open Disk Image... examines a disk image.\n";

int main(int argc, char** argv) {
    // Answered before any window (or display) is needed.
    for (int i = 1; i < argc; ++i) {
        const QByteArray arg(argv[i]);
        if (arg == "--version") {
            std::fputs(qPrintable(kestrova::versionText(QStringLiteral("kestrova"))), stdout);
            return 0;
        }
        if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (arg == "--root" || arg == "--user") {
            ++i;
        } else if (arg.startsWith("--")) {  // single-dash ones are Qt's own (-platform, -style)
            std::fprintf(stderr, "kestrova: unknown option %s\n%s", arg.constData(), kUsage);
            return 2;
        }
    }
    QApplication app(argc, argv);
    QString root, user;
    const QStringList args = app.arguments();
    for (int i = 1; i + 1 < args.size(); ++i) {
        if (args[i] == QLatin1String("--root")) root = args[++i];
        else if (args[i] == QLatin1String("--user")) user = args[++i];
    }

    // A second start ends at once: no window, no message.
    kestrova::SingleInstance instance;
    if (!instance.acquire()) return 0;

    auto env = kestrova::Environment::create(root, user);
    const auto problem = env->problem();
    if (problem && env->source.origin == QLatin1String("command line")) {
        // A wrong --root or --user would otherwise look like a system without traces.
        std::fprintf(stderr, "kestrova: %s\n", qPrintable(*problem));
        return 2;
    }
    QString reportFolder = kestrova::settleReportFolder(env->settings, *env->os);
    const kestrova::VendorAddresses vendor = kestrova::VendorAddresses::from(env->settings);
    kestrova::HttpFetcher fetcher;
    MessageBoxes boxes;
    kestrova::CheckForUpdate update(fetcher, boxes, env->settings, *env->clock, *env->desktop, vendor.versionFile);
    kestrova::FrmViewer window(*env, {&reportFolder, &update, nullptr, vendor});
    QString fatal;
    if (!window.load(&fatal)) {
        QMessageBox::critical(&window, QStringLiteral("Kestrova"), fatal);
        return 1;
    }
    if (problem) {
        // The system remembered in kr.ini (an unmounted partition, a deleted copy): say so, and
        // let the user choose another.
        QMessageBox::warning(&window, QStringLiteral("Kestrova"),
                             *problem + QStringLiteral("\n\nChoose another with File > Choose Windows System..."));
    }
    return app.exec();
}
