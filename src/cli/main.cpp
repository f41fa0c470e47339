// kestrova-cli: the command-line front end. It runs the very readers the window runs, in one
// shared session, so what one category leaves behind (the list mode) carries into the next
// exactly as it does when categories are clicked one after another.
//   kestrova-cli [--root DIR] [--user NAME] [--verbose] info
//   kestrova-cli categories [--keys]
//   kestrova-cli [--root DIR] [--user NAME] [--verbose] [--index-file PATH] rows KEY... [--format tsv|csv|json]
//   kestrova-cli [--root DIR] [--user NAME] [--verbose] report FILE [--groups ie,windows,firefox,chrome,index]
#include <QCoreApplication>
#include <QTextStream>
#include <cstdio>
#include <utility>

#include "cli/output.h"
#include "core/app/session.h"
#include "core/frame/run_control.h"
#include "core/report/html_report.h"
#include "core/time/date_value.h"
#include "core/registry/reg_api.h"
#include "platform/system/environment.h"

namespace {

using namespace kestrova;

int usage() {
    std::fprintf(stderr,
                 "usage: kestrova-cli [--root DIR] [--user NAME] [--verbose] COMMAND\n"
                 "  info                  the analysed system: root, user, version, names, shell folders\n"
                 "  categories [--keys]   the category tree (or only the category keys)\n"
                 "  rows KEY... [--format tsv|csv|json]\n"
                 "                        runs the categories in order and prints columns, rows, panels\n"
                 "  report FILE [--groups ie,windows,firefox,chrome,index]\n"
                 "                        writes the HTML report (default groups: all but index)\n"
                 "  --index-file PATH     the index.dat the Index.dat File category scans (a Windows path\n"
                 "                        on the volume or a local file); default: the user's Content.IE5\n");
    return 2;
}

// Where a reader would ask the user, the command line takes the default answer.
class CliHost : public ReaderHost {
public:
    CliHost(bool verbose, QString indexFile) : verbose_(verbose), indexFile_(std::move(indexFile)) {}
    // The index.dat chooser's answer: --index-file, else what the dialog proposes.
    QString chooseIndexFile(const QString& proposed) override { return indexFile_.isEmpty() ? proposed : indexFile_; }
    // A message box's text becomes part of the category's output.
    void message(const QString& text) override { messages.append(text); }
    QStringList messages;
    void diagnostic(const QString& text) override {
        if (verbose_) std::fprintf(stderr, "%s\n", qPrintable(text));
    }
    void bug(const QString& text) override {
        std::fprintf(stderr, "kestrova-cli: internal error: %s\n", qPrintable(text));
        failed = true;
    }
    bool failed = false;

private:
    bool verbose_;
    QString indexFile_;
};

int categories(QTextStream& out, bool keysOnly) {
    if (keysOnly) {
        out << categoryKeys().join(' ') << '\n';
        return 0;
    }
    for (const Category& c : catalogue()) {
        if (c.isGroup()) {
            out << c.key << '\t' << c.caption << '\n';
            continue;
        }
        QStringList columns;
        for (const ColumnSpec& col : c.columns) columns.append(QString::fromLatin1(col.text));
        out << "  " << c.key << '\t' << c.caption << '\t' << columns.join(QStringLiteral(" | ")) << '\n';
    }
    return 0;
}

// False, with the reason on stderr after what was already written, when the chosen volume cannot
// be read at all.
bool sourceUsable(const Source& source, QTextStream& out) {
    const auto problem = sourceProblem(source);
    if (!problem) return true;
    out.flush();
    std::fprintf(stderr, "kestrova-cli: %s\n", qPrintable(*problem));
    return false;
}

int rows(Environment& env, QTextStream& out, QStringList args, bool verbose, const QString& indexFile) {
    cli::Format format = cli::Format::Tsv;
    QStringList keys;
    for (int i = 0; i < args.size(); ++i) {
        if (args[i] == QLatin1String("--format") && i + 1 < args.size()) {
            const QString f = args[++i];
            if (f == QLatin1String("csv")) format = cli::Format::Csv;
            else if (f == QLatin1String("json")) format = cli::Format::Json;
            else if (f != QLatin1String("tsv")) return usage();
        } else {
            keys.append(args[i]);
        }
    }
    if (keys.isEmpty()) return usage();
    for (const QString& key : keys) {
        if (!findCategory(key)) {
            std::fprintf(stderr, "kestrova-cli: unknown category \"%s\"; the keys are: %s\n", qPrintable(key),
                         qPrintable(categoryKeys().join(' ')));
            return 2;
        }
    }
    CliHost host(verbose, indexFile);
    RunControl run;
    Session session(*env.os, *env.clock, run, host);
    cli::Printer printer(out, format);
    for (const QString& key : keys) {
        if (!session.select(key)) {
            std::fprintf(stderr, "kestrova-cli: %s runs no reader; the list is left as it was\n", qPrintable(key));
        }
        printer.category(key, session.list, std::exchange(host.messages, {}));
    }
    printer.finish();
    return host.failed ? 3 : 0;
}

// kestrova-cli report FILE [--groups ie,windows,firefox,chrome,index]: the report window's
// document, written headless and not opened. Without --groups, the groups the window's check
// boxes start with (all but index).
int report(Environment& env, const QStringList& args, bool verbose) {
    QString path;
    ReportSelection selection;
    for (int i = 0; i < args.size(); ++i) {
        if (args[i] == QLatin1String("--groups") && i + 1 < args.size()) {
            const QStringList groups = args[++i].split(QLatin1Char(','), Qt::SkipEmptyParts);
            for (const QString& g : groups) {
                if (!QStringList{"ie", "windows", "firefox", "chrome", "index"}.contains(g)) return usage();
            }
            selection = ReportSelection{groups.contains("ie") ? 1 : 0, groups.contains("windows") ? 1 : 0,
                                        groups.contains("firefox") ? 1 : 0, groups.contains("chrome") ? 1 : 0,
                                        groups.contains("index") ? 1 : 0};
        } else if (path.isEmpty()) {
            path = args[i];
        } else {
            return usage();
        }
    }
    if (path.isEmpty()) return usage();
    CliHost host(verbose, QString());
    RunControl run;
    const Session session(*env.os, *env.clock, run, host);
    const ReportEnvironment report{session.reportContext(), run, VendorAddresses::from(env.settings).homePage,
                                   generalDateText(fromDateTime(QDateTime::currentDateTime())),
                                   [verbose](const QString& text) {
                                       if (verbose) std::fprintf(stderr, "%s\n", qPrintable(text));
                                   },
                                   [](bool) {}, {}};
    if (!WriteHTML(path, selection, report)) {
        std::fprintf(stderr, "kestrova-cli: cannot write %s\n", qPrintable(path));
        return 1;
    }
    return 0;
}

QString visible(QString text) { return text.replace(QChar(0), QStringLiteral("\\0")); }

int info(Environment& env, QTextStream& out, bool verbose) {
    out << "profiles: " << VolumeSystem::profiles(env.source.root).join(QStringLiteral(", ")) << '\n';
    if (!sourceUsable(env.source, out)) return 1;
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
    QString root, user, indexFile;
    bool verbose = false;
    QStringList rest;
    for (int i = 0; i < args.size(); ++i) {
        if (args[i] == QLatin1String("--root") && i + 1 < args.size()) {
            root = args[++i];
        } else if (args[i] == QLatin1String("--user") && i + 1 < args.size()) {
            user = args[++i];
        } else if (args[i] == QLatin1String("--index-file") && i + 1 < args.size()) {
            indexFile = args[++i];
        } else if (args[i] == QLatin1String("--verbose")) {
            verbose = true;
        } else {
            rest.append(args[i]);
        }
    }
    if (rest.isEmpty()) return usage();

    QTextStream out(stdout);
    const QString command = rest.takeFirst();
    if (command == QLatin1String("categories")) return categories(out, rest.contains(QLatin1String("--keys")));
    auto env = Environment::create(root, user);
    if (command == QLatin1String("info")) return info(*env, out, verbose);
    if (command == QLatin1String("report")) return sourceUsable(env->source, out) ? report(*env, rest, verbose) : 1;
    if (command == QLatin1String("rows")) return sourceUsable(env->source, out) ? rows(*env, out, rest, verbose, indexFile) : 1;
    return usage();
}
