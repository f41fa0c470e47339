// kestrova-cli: the command-line front end. It runs the very readers the window runs, in one
// shared session, so what one category leaves behind (the list mode) carries into the next
// exactly as it does when categories are clicked one after another. Rows are written as the
// readers hand them over, never held.
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTextStream>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <thread>
#include <unistd.h>
#include <tuple>
#include <utility>

#include "cli/image_commands.h"
#include "cli/cli_host.h"
#include "cli/kind_reading.h"
#include "cli/output.h"
#include "cli/usage.h"
#include "platform/system/case_hosts.h"
#include "cli/trace_commands.h"
#include "cli/state_rows.h"
#include "cli/summary_output.h"
#include "core/app/session.h"
#include "core/common/text.h"
#include "core/frame/run_control.h"
#include "core/registry/reg_api.h"
#include "core/report/html_report.h"
#include "core/time/date_value.h"
#include "platform/clock/time_zone.h"
#include "platform/system/environment.h"
#include "platform/system/versions.h"
#include "cli/timeline_output.h"
#include "cli/trace_output.h"
#include "traces/record_tags.h"
#include "traces/trace_context.h"

namespace {

using namespace kestrova;
using cli::chosenFormat;
using cli::usageError;

constexpr const char* kHelp =
    "usage: kestrova-cli [OPTIONS] COMMAND [ARGUMENTS]\n"
    "\n"
    "Shows what a Windows computer has been used for, from a Windows volume given as a folder or\n"
    "as a disk image.\n"
    "\n"
    "Commands:\n"
    "  info                   the examined system: profiles, root, user, version, names, shell folders\n"
    "  categories [--keys]    the category tree (or only the category keys)\n"
    "  rows KEY... [--format tsv|csv|json]\n"
    "                         runs the categories in order, as clicks in the window would, and\n"
    "                         writes each one's columns and rows as they are read, then its panels\n"
    "                         (csv: one table a category; panels and messages to standard error)\n"
    "  report FILE|- [--groups ie,windows,firefox,chrome,index]\n"
    "                         writes the HTML report (- : standard output; default groups: all\n"
    "                         but index)\n"
    "  traces --list          the trace kinds and their fields\n"
    "  traces [KIND...] [--format jsonl|csv|tsv|json]\n"
    "                         every record of the kinds named (all when none is), of every user\n"
    "                         (or --user NAME) and every browser profile, with exact times (UTC\n"
    "                         unless --tz says otherwise) and where each record came from; csv\n"
    "                         and tsv: one table a kind\n"
    "  timeline [--from T] [--to T] [--kinds K,...] [--format jsonl|csv|body|tln]\n"
    "                         every dated field of every trace record as one event, in time order\n"
    "                         (T: ISO 8601, in the --tz zone unless it gives an offset); jsonl and\n"
    "                         csv as Timesketch imports them, body (a line a record) for mactime, tln\n"
    "  summary [--from T] [--to T] [--format text|json|html]\n"
    "                         what the computer was used for: per user the active periods (logon\n"
    "                         sessions, else bursts of activity), days, programs, sites and\n"
    "                         documents; devices attached, files deleted, notable events (html:\n"
    "                         the case report, one page with its charts; -o FILE to keep it)\n"
    "  verify                 with --image: reads every byte of the disk the image stands for,\n"
    "                         hashes it (MD5, SHA-1) and compares the hashes with those the image\n"
    "                         stored at acquisition (EWF); exit 1 when one differs or a byte cannot\n"
    "                         be read\n"
    "\n"
    "Options:\n"
    "  --root DIR             the folder standing for C:\\ (a mounted partition or a copy)\n"
    "  --image FILE           a disk image: EWF (.E01 and its segments), raw or split raw (.dd,\n"
    "                         .raw, .img, .000/.001), VHD, VHDX, VMDK or QCOW2\n"
    "  --collection FILE|DIR  a triage collection: a ZIP (Velociraptor, KAPE, a zipped C: tree, read\n"
    "                         in place), a KAPE target folder or its .vhdx/.vhd container\n"
    "  --case DIR             every image, ZIP and collection folder in DIR, each one host\n"
    "                         (--root, --image and --collection may be given several times too):\n"
    "                         info, traces, timeline and summary read every host, each record\n"
    "                         with its host (the computer's name, else the file's)\n"
    "  --partition N          the image's partition to examine (info lists them); default: the\n"
    "                         one that holds a Windows system\n"
    "  --snapshots all|none|N,M\n"
    "                         rows, traces and timeline: read the image volume's shadow copies too\n"
    "                         (info lists them; default none); each record is written once,\n"
    "                         with the state it was read from (snapshot), every state it was\n"
    "                         seen in (seen_in) and, where only shadow copies hold it,\n"
    "                         \"gone from the current volume\" (snapshot_note)\n"
    "  --user NAME            the profile under Users\\ or Documents and Settings\\ (a name that is\n"
    "                         not UTF-8 as info shows it, caf\\xE9, or as its bytes)\n"
    "  --last                 without --root: the volume last chosen in the window (kr.ini);\n"
    "                         otherwise the sample system beside the program\n"
    "  --tz ZONE              the zone times are written in: local (this computer's, the\n"
    "                         categories' default), UTC (the traces' default), system (the\n"
    "                         examined system's, from its SYSTEM hive) or a name such as\n"
    "                         Europe/Berlin\n"
    "  --index-file PATH      the index.dat the Index.dat File category scans (a Windows path on the\n"
    "                         volume or a local file); default: the user's Content.IE5\\index.dat\n"
    "  -o, --output FILE      write to FILE instead of standard output; DIR/ (with its \"/\"): one\n"
    "                         file a host in DIR (traces, timeline, summary)\n"
    "  --verbose              say on standard error why a category came out empty\n"
    "  --jobs N               traces and timeline: read with N workers at once (default: one a\n"
    "                         processor core); the output is the same whatever N\n"
    "  --tags                 traces and timeline: the examiner's tags and notes of the records, from\n"
    "                         the case file of the evidence, as a tag column (Timesketch's tag)\n"
    "  -h, --help             this text\n"
    "  --version              the version, the commit and the libraries' versions\n"
    "\n"
    "Settings are read from kr.ini beside the program, or from the file KESTROVA_SETTINGS names.\n";


struct Options {
    QString root, image, partition, user, indexFile, tz, output, from, to, kinds, snapshots, collection, caseFolder, jobs;
    // Every --root, --image and --collection in order: each is one host of the case. root, image
    // and collection hold the first of each.
    std::vector<Evidence> evidence;
    std::optional<QString> format, groups;
    bool verbose = false, last = false, help = false, keys = false, version = false, list = false, noLogReplay = false, tags = false;
    QString command;
    QStringList operands;
};

// A wrong call: says which and why, and where the usage is.
// The arguments as their bytes: a profile or a path whose name is not UTF-8 stays itself.
std::optional<QString> parse(const QStringList& args, Options& o) {
    const std::pair<const char*, QString*> valued[] = {{"--root", &o.root}, {"--image", &o.image},
                                                       {"--partition", &o.partition}, {"--user", &o.user},
                                                       {"--index-file", &o.indexFile}, {"--tz", &o.tz},
                                                       {"-o", &o.output}, {"--output", &o.output},
                                                       {"--from", &o.from}, {"--to", &o.to}, {"--kinds", &o.kinds},
                                                       {"--snapshots", &o.snapshots}, {"--collection", &o.collection},
                                                       {"--case", &o.caseFolder}, {"--jobs", &o.jobs}};
    const std::pair<const char*, bool*> flags[] = {{"--verbose", &o.verbose}, {"--last", &o.last}, {"--help", &o.help},
                                                   {"-h", &o.help}, {"--keys", &o.keys},
                                                   {"--version", &o.version}, {"--list", &o.list},
                                                   {"--no-log-replay", &o.noLogReplay}, {"--tags", &o.tags}};
    for (int i = 0; i < args.size(); ++i) {
        QString arg = args[i];
        std::optional<QString> inlineValue;
        if (arg.startsWith(QLatin1String("--")) && arg.contains(QLatin1Char('='))) {
            inlineValue = arg.section(QLatin1Char('='), 1);
            arg = arg.section(QLatin1Char('='), 0, 0);
        }
        const auto value = [&]() -> std::optional<QString> {
            if (inlineValue) return inlineValue;
            if (i + 1 >= args.size()) return std::nullopt;
            return args[++i];
        };
        bool known = false;
        for (const auto& [name, target] : valued) {
            if (arg != QLatin1String(name)) continue;
            const auto v = value();
            if (!v) return QStringLiteral("%1 needs a value").arg(arg);
            if (target == &o.image || target == &o.root || target == &o.collection) {
                o.evidence.push_back({target == &o.root ? Evidence::Is::Folder : target == &o.image ? Evidence::Is::Image : Evidence::Is::Collection, *v});
                if (!target->isEmpty()) {
                    known = true;
                    continue;
                }
            }
            *target = *v;
            known = true;
        }
        if (arg == QLatin1String("--format") || arg == QLatin1String("--groups")) {
            const auto v = value();
            if (!v) return QStringLiteral("%1 needs a value").arg(arg);
            (arg == QLatin1String("--format") ? o.format : o.groups) = *v;
            known = true;
        }
        for (const auto& [name, target] : flags) {
            if (arg != QLatin1String(name)) continue;
            if (inlineValue) return QStringLiteral("%1 takes no value").arg(arg);
            *target = true;
            known = true;
        }
        if (known) continue;
        if (arg.startsWith(QLatin1Char('-')) && arg != QLatin1String("-")) {
            return QStringLiteral("unknown option %1").arg(showEscapedBytes(arg));
        }
        if (o.command.isEmpty()) o.command = arg;
        else o.operands.append(arg);
    }
    return std::nullopt;
}

// Options that belong to one command only are an error elsewhere: silently ignoring one would
// give the user output other than what was asked for.
std::optional<QString> misplaced(const Options& o) {
    const bool traces = o.command == QLatin1String("traces");
    const bool timeline = o.command == QLatin1String("timeline");
    const bool summary = o.command == QLatin1String("summary");
    if (o.format && o.command != QLatin1String("rows") && !traces && !timeline && !summary) {
        return QStringLiteral("--format goes with the rows, traces, timeline and summary commands");
    }
    if (!timeline && !summary && (!o.from.isEmpty() || !o.to.isEmpty())) return QStringLiteral("--from and --to go with the timeline and summary commands");
    if (!timeline && !o.kinds.isEmpty()) return QStringLiteral("--kinds goes with the timeline command");
    if (o.list && !traces) return QStringLiteral("--list goes with the traces command");
    if (o.tags && !traces && !timeline) return QStringLiteral("--tags goes with the traces and timeline commands");
    if (!o.jobs.isEmpty() && !traces && !timeline) return QStringLiteral("--jobs goes with the traces and timeline commands");
    if (!o.jobs.isEmpty() && !(o.jobs.toInt() >= 1 && o.jobs.toInt() <= 256)) return QStringLiteral("--jobs takes a number of workers from 1 to 256");
    if (!o.snapshots.isEmpty() && !traces && !timeline && !summary && o.command != QLatin1String("rows")) {
        return QStringLiteral("--snapshots goes with the rows, traces, timeline and summary commands");
    }
    if (o.groups && o.command != QLatin1String("report")) return QStringLiteral("--groups goes with the report command");
    if (o.keys && o.command != QLatin1String("categories")) return QStringLiteral("--keys goes with the categories command");
    if (o.last && !o.root.isEmpty()) return QStringLiteral("--last and --root exclude each other");
    if (o.last && (!o.evidence.empty() || !o.caseFolder.isEmpty())) return QStringLiteral("--last excludes --image, --collection and --case");
    // Several hosts: the commands that read every host into one output. A second image or folder
    // must never be read in the first's place without a word.
    const bool manyHosts = o.evidence.size() > 1 || !o.caseFolder.isEmpty();
    if (o.output.endsWith(QLatin1Char('/')) && !traces && !timeline && !summary) return QStringLiteral("-o DIR/ (a file a host) goes with traces, timeline and summary");
    if (manyHosts && !traces && !timeline && !summary && o.command != QLatin1String("info")) {
        return QStringLiteral("%1 examines one host: several --root, --image, --collection or --case go with info, traces, timeline and summary").arg(o.command);
    }
    if (!o.partition.isEmpty() && o.image.isEmpty() && o.caseFolder.isEmpty()) return QStringLiteral("--partition goes with --image");
    bool number = false;
    if (!o.partition.isEmpty() && (o.partition.toInt(&number) < 1 || !number)) {
        return QStringLiteral("--partition takes a partition's number (1, 2, ...), not \"%1\"").arg(o.partition);
    }
    return std::nullopt;
}

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
bool sourceUsable(const Environment& env, QTextStream& out) {
    const auto problem = env.problem();
    if (!problem) return true;
    out.flush();
    std::fprintf(stderr, "kestrova-cli: %s\n", qPrintable(*problem));
    return false;
}

int rows(Environment& env, const Options& o) {
    const auto chosen = chosenFormat<cli::Format>(o.format, {{"tsv", cli::Format::Tsv}, {"csv", cli::Format::Csv}, {"json", cli::Format::Json}});
    if (!chosen) return 2;
    const cli::Format format = *chosen;
    if (o.operands.isEmpty()) return usageError(QStringLiteral("rows needs at least one category key; the keys are: %1").arg(categoryKeys().join(' ')));
    for (const QString& key : o.operands) {
        if (!findCategory(key)) {
            std::fprintf(stderr, "kestrova-cli: unknown category \"%s\"; the keys are: %s\n", qPrintable(key),
                         qPrintable(categoryKeys().join(' ')));
            return 2;
        }
    }
    if (!o.snapshots.isEmpty() && o.snapshots != QLatin1String("none")) {
        return cli::rowsOverStates(env, {o.operands, o.snapshots, format, o.verbose, o.indexFile});
    }
    CliHost host(o.verbose, o.indexFile);
    RunControl run;
    Session session(*env.os, *env.clock, run, host);
    cli::ByteOutput out(STDOUT_FILENO);
    cli::Printer printer(out, format);
    session.list.streamTo(&printer);
    for (const QString& key : o.operands) {
        printer.begin(key, session.list);
        if (!session.select(key)) {
            std::fprintf(stderr, "kestrova-cli: %s runs no reader; the list is left as it was\n", qPrintable(key));
        }
        printer.end(std::exchange(host.messages, {}));
    }
    printer.finish();
    if (out.failed()) {
        std::fprintf(stderr, "kestrova-cli: the output could not be written: %s\n", std::strerror(errno));
        return 1;
    }
    return host.failed ? 3 : 0;
}

// kestrova-cli report FILE [--groups ie,windows,firefox,chrome,index]: the report window's
// document, written headless and not opened. Without --groups, the groups the window's check
// boxes start with (all but index).
int report(Environment& env, const Options& o) {
    if (o.operands.size() != 1) return usageError(QStringLiteral("report needs one file name (or - for standard output)"));
    const QString path = o.operands.front();
    ReportSelection selection;
    if (o.groups) {
        const QStringList known{"ie", "windows", "firefox", "chrome", "index"};
        const QStringList groups = o.groups->split(QLatin1Char(','), Qt::SkipEmptyParts);
        for (const QString& g : groups) {
            if (!known.contains(g)) {
                return usageError(QStringLiteral("unknown report group \"%1\": the groups are %2").arg(g, known.join(',')));
            }
        }
        selection = ReportSelection{groups.contains("ie") ? 1 : 0, groups.contains("windows") ? 1 : 0,
                                    groups.contains("firefox") ? 1 : 0, groups.contains("chrome") ? 1 : 0,
                                    groups.contains("index") ? 1 : 0};
    }
    QFile file;
    const bool toStdout = path == QLatin1String("-");
    if (toStdout) {
        file.open(STDOUT_FILENO, QIODevice::WriteOnly, QFileDevice::DontCloseHandle);
    } else {
        file.setFileName(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            std::fprintf(stderr, "kestrova-cli: cannot write %s: %s\n", qPrintable(path), qPrintable(file.errorString()));
            return 1;
        }
    }
    CliHost host(o.verbose, QString());
    RunControl run;
    const Session session(*env.os, *env.clock, run, host);
    const bool verbose = o.verbose;
    const ReportEnvironment report{session.reportContext(), run, VendorAddresses::from(env.settings).homePage,
                                   generalDateText(fromDateTime(QDateTime::currentDateTime())),
                                   [verbose](const QString& text) {
                                       if (verbose) std::fprintf(stderr, "%s\n", qPrintable(text));
                                   },
                                   [](bool) {}, {}};
    if (!WriteHTML(file, selection, report)) {
        std::fprintf(stderr, "kestrova-cli: cannot write %s: %s\n", qPrintable(toStdout ? QStringLiteral("the report") : path),
                     qPrintable(file.errorString()));
        return 1;
    }
    return 0;
}

int info(Environment& env, QTextStream& out, bool verbose) {
    if (env.image) cli::describeImage(*env.image, out);
    if (env.collection) {
        for (const auto& [name, value] : env.collection->facts) out << name << ": " << showEscapedBytes(value) << '\n';
    }
    out << "profiles: " << showEscapedBytes(VolumeSystem::profiles(env.system->volume()).join(QStringLiteral(", "))) << '\n';
    if (!sourceUsable(env, out)) return 1;
    const OsApi& os = *env.os;
    const auto version = env.system->versionRecord();
    out << "root: " << env.system->volume().description() << '\n'
        << "user: " << showEscapedBytes(env.source.user) << '\n'
        << "chosen by: " << env.source.origin << '\n'
        << "version tag: " << os.WindowsVersionTag() << '\n'
        << "version: "
        << (version ? QStringLiteral("%1.%2").arg(version->major).arg(version->minor) : QStringLiteral("unknown"))
        << '\n'
        << "computer name: " << os.ComputerName() << '\n'
        << "user name: " << showEscapedBytes(os.UserName()).replace(QChar(0), QStringLiteral("\\0")) << '\n'
        << "locale: " << env.system->systemLocaleId() << '\n'
        << "windows folder: " << os.WindowsFolder() << '\n'
        << "times in: " << zoneInForce() << '\n';
    const QString windowsZone = windowsZoneName(env.system->registry());
    if (!windowsZone.isEmpty()) out << "system time zone: " << windowsZone << '\n';
    const RegApi& reg = os.reg();
    if (auto key = reg.backend().openKey(RootKey::CurrentUser, kShellFoldersKey)) {
        for (const QString& name : key->valueNames()) {
            out << "shell folder " << name << ": " << os.GetShellFolder(name) << '\n';
        }
    }
    if (verbose) {
        for (const QString& note : env.system->notes()) out << "note: " << showEscapedBytes(note) << '\n';
    }
    return 0;
}

const char* typeName(FieldType type) {
    switch (type) {
    case FieldType::Text: return "text";
    case FieldType::Url: return "url";
    case FieldType::Path: return "path";
    case FieldType::Integer: return "integer";
    case FieldType::Time: return "time";
    case FieldType::Bool: return "bool";
    case FieldType::Fields: return "fields";
    }
    return "text";
}

// traces --list: each kind with what it holds and its columns as they are written.
int listTraceKinds(QTextStream& out) {
    for (const TraceKind& kind : traceKinds()) {
        out << kind.name << '\t' << kind.about << '\n';
        for (const OutputColumn& column : outputColumns(kind)) out << "  " << column.name << '\t' << typeName(column.type) << '\n';
    }
    return 0;
}

// -o DIR/ (a folder, said by its trailing "/"): one file a host in it; "" for -o FILE.
QString hostFolder(const Options& o) { return o.output.endsWith(QLatin1Char('/')) ? o.output : QString(); }

// The hosts examined: the one volume named (or the sample, or the window's last choice), or
// every evidence named and in the --case folder, each a host. A host that cannot be examined is
// said and left out (*leftOut); nullopt when none is left.
std::optional<std::vector<Host>> openHostsOf(const Options& o, bool tracing, bool* leftOut) {
    std::vector<Host> hosts;
    if (o.evidence.size() <= 1 && o.caseFolder.isEmpty()) {
        // The traces read every user; --user narrows them, it does not choose the classic profile.
        const QString classicUser = tracing ? QString() : o.user;
        auto env = !o.collection.isEmpty() ? Environment::createForCollection(o.collection, classicUser, !o.noLogReplay)
                   : o.image.isEmpty()     ? Environment::create(o.root, classicUser, o.last ? LastChoice::Take : LastChoice::Ignore, !o.noLogReplay)
                                           : Environment::createForImage(o.image, o.partition.toInt(), classicUser, !o.noLogReplay);
        hosts.push_back({QString(), std::move(env)});
        return hosts;
    }
    std::vector<Evidence> evidence = o.evidence;
    if (!o.caseFolder.isEmpty()) {
        QString why;
        const auto found = caseFolder(o.caseFolder, &why);
        if (!found) {
            std::fprintf(stderr, "kestrova-cli: --case: %s\n", qPrintable(why));
            return std::nullopt;
        }
        evidence.insert(evidence.end(), found->begin(), found->end());
    }
    hosts = openHosts(evidence, o.partition.toInt(), !o.noLogReplay);
    std::erase_if(hosts, [&](const Host& host) {
        const auto problem = host.env->volumeProblem();
        if (problem) std::fprintf(stderr, "kestrova-cli: host %s left out: %s\n", qPrintable(showEscapedBytes(host.name)), qPrintable(*problem));
        *leftOut = *leftOut || problem.has_value();
        return problem.has_value();
    });
    if (hosts.empty()) return std::nullopt;
    return hosts;
}

// -o FILE: everything the command writes to standard output goes to the file instead.
bool redirectOutput(const QString& path) {
    const int fd = ::open(toFileNameBytes(path).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        std::fprintf(stderr, "kestrova-cli: cannot write %s: %s\n", qPrintable(path), std::strerror(errno));
        return false;
    }
    ::dup2(fd, STDOUT_FILENO);
    ::close(fd);
    return true;
}

// kestrova-cli summary: the overview (cli/summary_output.h), a section a host where there are
// several (json and html: a file a host, with -o DIR/).
int summaries(std::vector<Host>& hosts, const Options& o, const QTimeZone& zone) {
    const auto format = chosenFormat<cli::SummaryFormat>(o.format, {{"text", cli::SummaryFormat::Text}, {"json", cli::SummaryFormat::Json}, {"html", cli::SummaryFormat::Html}});
    if (!format) return 2;
    if (!o.operands.isEmpty()) return usageError(QStringLiteral("summary takes no operands"));
    cli::SummaryOptions options{*format, o.user, std::nullopt, std::nullopt, o.snapshots, o.verbose};
    for (const auto& [text, bound, name] : {std::tuple{o.from, &options.from, "--from"}, std::tuple{o.to, &options.to, "--to"}}) {
        if (text.isEmpty()) continue;
        *bound = parseIsoTime(text, zone);
        if (!*bound) return usageError(QStringLiteral("%1 takes an ISO 8601 time such as 2026-11-01T08:00, not \"%2\"").arg(QLatin1String(name), text));
    }
    const QString folder = hostFolder(o);
    if (hosts.size() == 1 && folder.isEmpty()) return cli::summary(*hosts.front().env, options, zone);
    if (folder.isEmpty() && *format != cli::SummaryFormat::Text) {
        return usageError(QStringLiteral("the summaries of several hosts as json or html go one file a host: -o DIR/"));
    }
    int status = 0;
    for (Host& host : hosts) {
        std::fflush(stdout);
        if (!folder.isEmpty()) {
            const QString extension = *format == cli::SummaryFormat::Text ? QStringLiteral("txt") : *o.format;
            QDir().mkpath(folder);
            if (!redirectOutput(QDir(folder).filePath(hostFileName(host.name.isEmpty() ? host.env->system->computerName() : host.name) + QLatin1Char('.') + extension))) {
                status = 1;
                continue;
            }
        } else {
            std::printf("%s== host %s ==\n", &host == &hosts.front() ? "" : "\n", qPrintable(showEscapedBytes(host.name)));
        }
        status = std::max(status, cli::summary(*host.env, options, zone));
    }
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QStringList args;
    for (int i = 1; i < argc; ++i) args.append(fromFileNameBytes(QByteArray(argv[i])));
    Options o;
    if (const auto wrong = parse(args, o)) return usageError(*wrong);
    if (o.help) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (o.version) {
        std::fputs(qPrintable(versionText(QStringLiteral("kestrova-cli"))), stdout);
        return 0;
    }
    if (o.command.isEmpty()) return usageError(QStringLiteral("no command given"));
    const QStringList commands{"info", "categories", "rows", "report", "traces", "timeline", "summary", "verify"};
    if (!commands.contains(o.command)) {
        return usageError(QStringLiteral("unknown command \"%1\": the commands are %2").arg(o.command, commands.join(", ")));
    }
    if (const auto wrong = misplaced(o)) return usageError(*wrong);
    if (!o.output.isEmpty() && hostFolder(o).isEmpty() && !redirectOutput(o.output)) return 1;

    QTextStream out(stdout);
    if (o.command == QLatin1String("categories")) return categories(out, o.keys);
    if (o.command == QLatin1String("verify")) {
        if (o.image.isEmpty()) return usageError(QStringLiteral("verify takes the image to verify with --image"));
        return cli::verify(o.image, out);
    }
    const bool tracing = o.command == QLatin1String("traces") || o.command == QLatin1String("timeline") || o.command == QLatin1String("summary");
    if (o.command == QLatin1String("traces") && o.list) return listTraceKinds(out);
    bool leftOut = false;
    auto hosts = openHostsOf(o, tracing, &leftOut);
    if (!hosts) return 1;
    // A host left out fails the run, whatever the others give: its records are not there.
    const auto failedIf = [&](int status) { return leftOut ? std::max(status, 1) : status; };
    const bool manyHosts = hosts->size() > 1 || !o.caseFolder.isEmpty();
    Environment& env = *hosts->front().env;
    // Nothing named: the built-in sample system is examined, and a user who forgot --root must
    // not take its rows for the evidence's.
    if (env.source.origin == QLatin1String("sample")) {
        std::fprintf(stderr, "kestrova-cli: no --root or --image given: examining the built-in sample system (%s)\n",
                     qPrintable(env.source.root));
    }
    if (o.verbose && o.command != QLatin1String("info")) {
        for (const Host& host : *hosts) {
            for (const QString& line : host.env->system->hiveReplays()) std::fprintf(stderr, "%s\n", qPrintable(showEscapedBytes(line)));
        }
    }
    QString why;
    // Exact times are written in UTC unless a zone is asked for; the categories' local times in
    // this computer's zone (the first host's, of several).
    const QString tz = tracing && o.tz.isEmpty() ? QStringLiteral("UTC") : o.tz;
    const auto zone = resolveZone(tz, env.system->registry(), &why);
    if (!zone) {
        std::fprintf(stderr, "kestrova-cli: --tz: %s\n", qPrintable(why));
        return 2;
    }
    applyZone(*zone);
    if (o.verbose) std::fprintf(stderr, "times in: %s (%s)\n", qPrintable(zone->name), qPrintable(zoneInForce()));
    if (o.command == QLatin1String("info")) {
        int status = 0;
        for (const Host& host : *hosts) {
            if (manyHosts) out << (&host == &hosts->front() ? "" : "\n") << "host: " << showEscapedBytes(host.name) << '\n';
            status = std::max(status, info(*host.env, out, o.verbose));
        }
        return failedIf(status);
    }
    if (tracing) {
        if (const auto problem = env.volumeProblem(); problem && !manyHosts) {
            std::fprintf(stderr, "kestrova-cli: %s\n", qPrintable(*problem));
            return 1;
        }
        if (o.command == QLatin1String("summary")) return failedIf(summaries(*hosts, o, zone->zone));
        if (o.command == QLatin1String("timeline") && !o.operands.isEmpty()) return usageError(QStringLiteral("timeline takes no operands; name kinds with --kinds"));
        const cli::TraceRun run{.format = o.format, .kinds = o.command == QLatin1String("timeline") ? o.kinds.split(QLatin1Char(','), Qt::SkipEmptyParts) : o.operands,
                                .user = o.user, .snapshots = o.snapshots, .from = o.from, .to = o.to, .folder = hostFolder(o), .verbose = o.verbose, .tags = o.tags,
                                .jobs = o.jobs.isEmpty() ? static_cast<int>(std::max(1U, std::thread::hardware_concurrency())) : o.jobs.toInt()};
        return failedIf(o.command == QLatin1String("timeline") ? cli::timeline(*hosts, run, zone->zone) : cli::traces(*hosts, run, zone->zone));
    }
    if (!sourceUsable(env, out)) return 1;
    if (o.command == QLatin1String("report")) return report(env, o);
    return rows(env, o);
}
