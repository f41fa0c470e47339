// kestrova-cli: the command-line front end.
//   kestrova-cli [--root DIR] [--user NAME] [--verbose] info
#include <QCoreApplication>
#include <QTextStream>
#include <cstdio>

#include "core/registry/reg_api.h"
#include "platform/system/environment.h"

namespace {

using namespace kestrova;

int usage() {
    std::fprintf(stderr,
                 "usage: kestrova-cli [--root DIR] [--user NAME] [--verbose] COMMAND\n"
                 "  info         the analysed system: root, user, version, names, shell folders\n");
    return 2;
}

QString visible(QString text) { return text.replace(QChar(0), QStringLiteral("\\0")); }

int info(Environment& env, QTextStream& out, bool verbose) {
    const OsApi& os = *env.os;
    const auto version = env.system->versionRecord();
    out << "root: " << env.source.root << '\n'
        << "user: " << env.source.user << '\n'
        << "chosen by: " << env.source.origin << '\n'
        << "version tag: " << os.WindowsVersionTag() << '\n'
        << "version: "
        << (version ? QStringLiteral("%1.%2").arg(version->major).arg(version->minor) : QStringLiteral("unknown"))
        << '\n'
        << "computer name: " << os.ComputerName() << '\n'
        << "user name: " << visible(os.UserName()) << '\n'
        << "locale: " << env.system->systemLocaleId() << '\n'
        << "windows folder: " << os.WindowsFolder() << '\n';
    const RegApi& reg = os.reg();
    if (auto key = reg.backend().openKey(RootKey::CurrentUser, kShellFoldersKey)) {
        for (const QString& name : key->valueNames()) {
            out << "shell folder " << name << ": " << os.GetShellFolder(name) << '\n';
        }
    }
    if (verbose) {
        for (const QString& note : env.system->notes()) out << "note: " << note << '\n';
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    QString root, user;
    bool verbose = false;
    QStringList rest;
    for (int i = 0; i < args.size(); ++i) {
        if (args[i] == QLatin1String("--root") && i + 1 < args.size()) {
            root = args[++i];
        } else if (args[i] == QLatin1String("--user") && i + 1 < args.size()) {
            user = args[++i];
        } else if (args[i] == QLatin1String("--verbose")) {
            verbose = true;
        } else {
            rest.append(args[i]);
        }
    }
    if (rest.isEmpty()) return usage();

    auto env = Environment::create(root, user);
    QTextStream out(stdout);
    const QString command = rest.takeFirst();
    if (command == QLatin1String("info")) return info(*env, out, verbose);
    return usage();
}
