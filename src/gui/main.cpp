// kestrova: the window. mainpro's start-up: one instance per user, the report folder settled,
// the main window shown and its load run.
//   kestrova [--root DIR | --image FILE [--partition N] | FILE-OR-DIR] [--user NAME] [--version] [--help]
//   (a wrong folder, image or user ends it at once, saying why; a bare name is what a file manager
//   hands over: an image file, or a folder standing for C:\)
#include <QApplication>
#include <QFileInfo>
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
    "usage: kestrova [--root DIR | --image FILE [--partition N] | --collection FILE | FILE | DIR] [--user NAME]\n"
    "  --root DIR       the folder standing for C:\\ (default: the system chosen last, or the sample)\n"
    "  --image FILE     a disk image: EWF (.E01), raw or split raw, VHD, VHDX, VMDK or QCOW2\n"
    "  --partition N    the image's partition to examine (default: the one that holds Windows)\n"
    "  --collection FILE  a triage collection: a ZIP (Velociraptor, KAPE, a zipped C: tree), a KAPE\n"
    "                   folder or its .vhdx container\n"
    "  FILE, DIR        an image file or a ZIP, or a folder standing for C:\\ (as a file manager\n"
    "                   opens one)\n"
    "  --user NAME      the profile to examine\n"
    "  --version        the version, the commit and the libraries' versions\n"
    "  -h, --help       this text\n"
    "File > Open Disk Image... examines a disk image, File > Open Collection... a triage collection.\n";

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
        if (arg == "--root" || arg == "--user" || arg == "--image" || arg == "--partition" || arg == "--collection") {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "kestrova: %s needs a value\n%s", arg.constData(), kUsage);
                return 2;
            }
            ++i;
        } else if (arg.startsWith("--")) {  // single-dash ones are Qt's own (-platform, -style)
            std::fprintf(stderr, "kestrova: unknown option %s\n%s", arg.constData(), kUsage);
            return 2;
        }
    }
    QApplication app(argc, argv);
    QString root, user, image, partition, collection;
    const QStringList args = app.arguments();
    for (int i = 1; i < args.size(); ++i) {
        const QString& arg = args[i];
        const bool valued = arg == QLatin1String("--root") || arg == QLatin1String("--user") || arg == QLatin1String("--image") ||
                            arg == QLatin1String("--partition") || arg == QLatin1String("--collection");
        if (valued && i + 1 < args.size()) {
            const QString value = args[++i];
            if (arg == QLatin1String("--root")) root = value;
            else if (arg == QLatin1String("--user")) user = value;
            else if (arg == QLatin1String("--image")) image = value;
            else if (arg == QLatin1String("--collection")) collection = value;
            else partition = value;
        } else if (!arg.startsWith(QLatin1Char('-'))) {
            // What a file manager or the desktop entry's %f hands over: a folder is a volume's
            // root, a ZIP a collection, anything else an image.
            (QFileInfo(arg).isDir() ? root : arg.endsWith(QLatin1String(".zip"), Qt::CaseInsensitive) ? collection : image) = arg;
        }
    }
    bool numbered = true;
    const int partitionNumber = partition.isEmpty() ? 0 : partition.toInt(&numbered);
    const int named = !root.isEmpty() + !image.isEmpty() + !collection.isEmpty();
    if (!numbered || partitionNumber < 0 || (!partition.isEmpty() && image.isEmpty()) || named > 1) {
        std::fprintf(stderr, "kestrova: %s\n%s",
                     named > 1 ? "give a folder, an image or a collection, one of them"
                     : !numbered || partitionNumber < 0  ? "--partition takes a partition's number"
                                                         : "--partition goes with an image",
                     kUsage);
        return 2;
    }

    // A second start ends at once: no window, no message.
    kestrova::SingleInstance instance;
    if (!instance.acquire()) return 0;

    auto env = !collection.isEmpty() ? kestrova::Environment::createForCollection(collection, user)
               : image.isEmpty()     ? kestrova::Environment::create(root, user)
                                     : kestrova::Environment::createForImage(image, partitionNumber, user);
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
