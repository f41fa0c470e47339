// kestrova-cli as a user runs it: --verbose says why a category came out empty, and a volume
// whose hive is missing, unreadable, damaged or a named pipe gives a distinct reason each time,
// without hanging.
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "browsers/browser_data.h"
#include "support/cli_run.h"
#include "support/temp_volume.h"
#include <QElapsedTimer>
#include <QScopeGuard>
#include <cstdio>
#include <QDateTime>
#include <QLocale>

namespace kestrova {
namespace {

class VerboseReasons : public ::testing::Test {
protected:
    QString reasonFor(const std::function<void(const QString& hivePath)>& makeHive) {
        const QString hive = volume_.root() + "/Users/alice/NTUSER.DAT";
        makeHive(hive);
        const CliRun run = runCli({"--root", volume_.root(), "--user", "alice", "--verbose", "rows", "b3", "b4"});
        EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
        EXPECT_TRUE(run.out.contains("panel2\tTotal Records: 0")) << run.out.toStdString();
        for (const QString& line : run.err.split('\n')) {
            if (line.startsWith("b3: user hive")) return line;
        }
        return run.err;
    }
    test::TempVolume volume_;
};

TEST_F(VerboseReasons, MissingDamagedAndNotARegularFileAreToldApart) {
    const QString prefix = "b3: user hive C:\\Users\\alice\\NTUSER.DAT: ";
    EXPECT_EQ(reasonFor([](const QString&) {}), prefix + "missing");
    EXPECT_EQ(reasonFor([](const QString& hive) {
                  QFile f(hive);
                  ASSERT_TRUE(f.open(QIODevice::WriteOnly));
                  f.write("regf but not really a hive");
              }),
              prefix + "damaged: not a registry hive (Invalid argument)");
    // A named pipe would block whoever opens it; it is refused before anything opens it.
    EXPECT_EQ(reasonFor([](const QString& hive) {
                  QFile::remove(hive);
                  ASSERT_EQ(mkfifo(hive.toLocal8Bit().constData(), 0600), 0);
              }),
              prefix + "unreadable: not a regular file");
}

TEST_F(VerboseReasons, AHiveWithoutReadPermissionIsUnreadable) {
    if (geteuid() == 0) GTEST_SKIP() << "running as root, which may read any file";
    EXPECT_EQ(reasonFor([](const QString& hive) {
                  tools::sampleUserHive().write(hive);
                  QFile::setPermissions(hive, QFileDevice::WriteOwner);
              }),
              "b3: user hive C:\\Users\\alice\\NTUSER.DAT: unreadable: Permission denied");
}

TEST_F(VerboseReasons, AReadableHiveNamesTheMissingKeyOrSaysTheKeyIsEmpty) {
    tools::HiveBuilder user = tools::sampleUserHive();
    user.key("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\RunMRU");
    volume_.userHive(user);
    const CliRun run = runCli({"--root", volume_.root(), "--verbose", "rows", "b3", "b5"});
    EXPECT_TRUE(run.err.contains("b3: no rows: its sources are there and hold no entries")) << run.err.toStdString();
    EXPECT_TRUE(run.err.contains("b5: key HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\"
                                 "ComDlg32\\LastVisitedPidlMRU: missing"))
        << run.err.toStdString();
}

TEST(WrongSystem, AWrongRootOrUserIsAnErrorNotAnEmptySystem) {
    test::TempVolume volume;
    volume.userHive(tools::sampleUserHive());
    QTemporaryDir empty;
    const QString file = empty.filePath("not-a-folder");
    QFile(file).open(QIODevice::WriteOnly);
    const std::pair<QStringList, QString> cases[] = {
        {{"--root", "/nonexistent/windows", "rows", "b3"}, "the Windows folder /nonexistent/windows does not exist"},
        {{"--root", file, "info"}, "is not a folder"},
        {{"--root", empty.path(), "rows", "b3"}, "holds no user profile"},
        {{"--root", volume.root(), "--user", "bob", "rows", "b3"}, "holds no profile named \"bob\"; profiles found: alice"},
    };
    for (const auto& [args, message] : cases) {
        const CliRun run = runCli(args);
        EXPECT_EQ(run.exitCode, 1) << args.join(' ').toStdString();
        EXPECT_TRUE(run.err.contains(message)) << run.err.toStdString();
        EXPECT_FALSE(run.out.contains("row")) << run.out.toStdString();
    }
    const CliRun info = runCli({"--root", volume.root(), "--user", "bob", "info"});
    EXPECT_EQ(info.exitCode, 1);
    EXPECT_TRUE(info.out.startsWith("profiles: alice\n")) << info.out.toStdString();
    const CliRun unknown = runCli({"--root", volume.root(), "rows", "b3", "b9"});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.err.contains("unknown category \"b9\"")) << unknown.err.toStdString();
    EXPECT_TRUE(unknown.out.isEmpty());
    EXPECT_EQ(runCli({"--root", volume.root(), "--user", "ALICE", "rows", "b3"}).exitCode, 0);
}

// What a user types wrong is named, with the reason; --help is an answer, not an error.
TEST(CliUsage, HelpOnStandardOutputAndEveryWrongWordNamed) {
    const CliRun help = runCli({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.startsWith("usage: kestrova-cli")) << help.out.toStdString();
    EXPECT_TRUE(help.err.isEmpty());
    const CliRun version = runCli({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_TRUE(version.out.startsWith("kestrova-cli 5.2 (commit ")) << version.out.toStdString();
    EXPECT_TRUE(version.out.contains("SQLite 3.") && version.out.contains("libfsntfs ")) << version.out.toStdString();
    test::TempVolume volume;
    volume.userHive(tools::sampleUserHive());
    const std::pair<QStringList, QString> cases[] = {
        {{"--frobnicate", "info"}, "unknown option --frobnicate"},
        {{"--root"}, "--root needs a value"},
        {{"--root", volume.root(), "rows", "b3", "--format", "xml"}, "unknown format \"xml\": the formats are tsv, csv and json"},
        {{"--root", volume.root(), "report", "r.htm", "--groups", "ie,edge"}, "unknown report group \"edge\""},
        {{"--root", volume.root(), "info", "--format", "csv"}, "--format goes with the rows, traces, timeline and summary commands"},
        {{"--root", volume.root(), "rows", "b3", "--list"}, "--list goes with the traces command"},
        {{"--image", "a.E01", "--image", "b.E01", "rows", "b3"}, "rows examines one host: several --root, --image, --collection or --case go with"},
        {{"--image", "a.E01", "--last", "traces"}, "--last excludes --image, --collection and --case"},
        {{"--root", volume.root(), "traces", "browser.visits"}, "unknown trace kind \"browser.visits\"; the kinds are: browser.history"},
        {{"--root", volume.root(), "traces", "--format", "xml"}, "unknown format \"xml\": the formats are jsonl, csv, tsv and json"},
        {{"--root", volume.root(), "--last", "info"}, "--last and --root exclude each other"},
        {{"--root", volume.root(), "--tz", "Mars/Olympus", "info"}, "unknown time zone \"Mars/Olympus\""},
        {{"frobnicate"}, "unknown command \"frobnicate\""},
        {{}, "no command given"},
    };
    for (const auto& [args, message] : cases) {
        const CliRun run = runCli(args);
        EXPECT_EQ(run.exitCode, 2) << args.join(' ').toStdString();
        EXPECT_TRUE(run.err.contains(message)) << args.join(' ').toStdString() << ": " << run.err.toStdString();
        EXPECT_TRUE(run.out.isEmpty()) << run.out.toStdString();
    }
}

// A volume once chosen in the window is remembered in kr.ini; the command line reads it only when
// asked, so scripts and tests never silently examine another volume.
TEST(CliSource, TheWindowsLastChoiceIsTakenOnlyWithLast) {
    test::TempVolume chosen;
    tools::HiveBuilder user = tools::sampleUserHive();
    const QString run = "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\RunMRU";
    user.sz(run, "a", "only-on-the-chosen-volume\\1").sz(run, "MRUList", "a");
    chosen.userHive(user);
    QTemporaryDir settings;
    const QString ini = settings.filePath("kr.ini");
    QFile file(ini);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(("[source]\nRoot=" + chosen.root() + "\nUser=alice\n").toUtf8());
    file.close();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("KESTROVA_SETTINGS", ini);
    const CliRun plain = runCli({"info"}, env);
    EXPECT_TRUE(plain.out.contains("chosen by: sample")) << plain.out.toStdString();
    // Said where it cannot be missed: not the evidence, the sample.
    EXPECT_TRUE(plain.err.startsWith("kestrova-cli: no --root or --image given: examining the built-in sample system")) << plain.err.toStdString();
    const CliRun last = runCli({"--last", "rows", "b3"}, env);
    EXPECT_TRUE(last.out.contains("row\tonly-on-the-chosen-volume")) << last.out.toStdString();
    EXPECT_FALSE(last.err.contains("sample system")) << last.err.toStdString();
}

TEST(CliOutputs, CsvIsATableOutputGoesToAFileAndTheReportToStandardOutput) {
    test::TempVolume volume;
    tools::HiveBuilder user = tools::sampleUserHive();
    const QString run = "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\RunMRU";
    user.sz(run, "a", "cmd\\1").sz(run, "b", "notepad, \"x\"\\1").sz(run, "MRUList", "ab");
    volume.userHive(user);
    const CliRun csv = runCli({"--root", volume.root(), "rows", "b3", "--format", "csv"});
    EXPECT_EQ(csv.out, "Start Menu Run History\ncmd\n\"notepad, \"\"x\"\"\"\n");
    EXPECT_TRUE(csv.err.contains("b3: panel2: Total Records: 2")) << csv.err.toStdString();

    QTemporaryDir out;
    const CliRun toFile = runCli({"--root", volume.root(), "-o", out.filePath("rows.tsv"), "rows", "b3"});
    EXPECT_EQ(toFile.exitCode, 0);
    EXPECT_TRUE(toFile.out.isEmpty());
    QFile written(out.filePath("rows.tsv"));
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    EXPECT_TRUE(written.readAll().startsWith("key\tb3\ncolumns\tStart Menu Run History\nrow\tcmd\n"));
    EXPECT_EQ(runCli({"--root", volume.root(), "-o", "/nonexistent/folder/x.tsv", "rows", "b3"}).exitCode, 1);

    QProcess report;
    report.start(QStringLiteral(KESTROVA_BIN_DIR "/kestrova-cli"), {"--root", volume.root(), "report", "-", "--groups", "windows"});
    ASSERT_TRUE(report.waitForFinished(20000));
    EXPECT_EQ(report.exitCode(), 0);
    const QByteArray html = report.readAllStandardOutput();
    ASSERT_TRUE(html.startsWith("\xFF\xFE"));  // UTF-16 with its byte-order mark, as to a file
    EXPECT_TRUE(QString::fromUtf16(reinterpret_cast<const char16_t*>(html.constData() + 2), (html.size() - 2) / 2)
                    .contains("notepad, \"x\""));
}

// A profile folder whose name is not UTF-8 is listed as info shows it and chosen by that name.
TEST(CliSource, AProfileNamedInAnotherEncodingIsListedAndCanBeChosen) {
    test::TempVolume volume;
    const QByteArray folder = QFile::encodeName(volume.root()) + "/Users/caf\xE9";
    ASSERT_EQ(::mkdir(folder.constData(), 0755), 0);
    QString error;
    ASSERT_TRUE(tools::sampleUserHive().write(volume.root() + "/hive", &error)) << error.toStdString();
    ASSERT_EQ(::rename(QFile::encodeName(volume.root() + "/hive").constData(), (folder + "/NTUSER.DAT").constData()), 0);
    // Qt cannot name the folder to remove it; it goes by its bytes.
    const auto cleanUp = qScopeGuard([&] {
        ::unlink((folder + "/NTUSER.DAT").constData());
        ::rmdir(folder.constData());
    });
    const CliRun info = runCli({"--root", volume.root(), "info"});
    EXPECT_TRUE(info.out.startsWith("profiles: caf\\xE9\n")) << info.out.toStdString();
    const CliRun chosen = runCli({"--root", volume.root(), "--user", "CAF\\xE9", "info"});
    EXPECT_EQ(chosen.exitCode, 0) << chosen.err.toStdString();
    EXPECT_TRUE(chosen.out.contains("user: caf\\xE9\n")) << chosen.out.toStdString();
}

// --tz: the classic categories' local times in the zone asked for.
TEST(CliZone, LocalTimesAreWrittenInTheZoneAskedFor) {
    test::TempVolume volume;
    volume.userHive(tools::sampleUserHive());
    ASSERT_TRUE(tools::addInternetExplorerCaches(volume.root()));
    const auto firstVisit = [&](const QString& zone) {
        const CliRun run = runCli({"--root", volume.root(), "--tz", zone, "rows", "a1"});
        return run.out.section("\nrow\t", 1, 1).section('\n', 0, 0).section('\t', 2, 2);
    };
    const QString utc = firstVisit("UTC");
    ASSERT_FALSE(utc.isEmpty());
    const QString tokyo = firstVisit("Asia/Tokyo");
    const QDateTime a = QLocale::c().toDateTime(utc, "d MMM yyyy HH:mm:ss");
    const QDateTime b = QLocale::c().toDateTime(tokyo, "d MMM yyyy HH:mm:ss");
    ASSERT_TRUE(a.isValid() && b.isValid()) << utc.toStdString() << " / " << tokyo.toStdString();
    EXPECT_EQ(a.secsTo(b), 9 * 3600);
}

// Rows leave as they are read: the first of many is out long before the reader is done.
TEST(CliStreaming, TheFirstRowLeavesBeforeTheLastIsRead) {
    test::TempVolume volume;
    volume.userHive(tools::sampleUserHive());
    QString error;
    ASSERT_TRUE(tools::writeChromeProfile(volume.root(), "alice", {.scale = 300000}, &error)) << error.toStdString();
    QProcess cli;
    QElapsedTimer clock;
    clock.start();
    cli.start(QStringLiteral(KESTROVA_BIN_DIR "/kestrova-cli"), {"--root", volume.root(), "rows", "d1"});
    qint64 firstRow = -1;
    qint64 bytes = 0;
    while (cli.state() != QProcess::NotRunning || cli.bytesAvailable() > 0) {
        cli.waitForReadyRead(50);
        const QByteArray got = cli.readAll();
        if (firstRow < 0 && got.contains("\nrow\t")) firstRow = clock.elapsed();
        bytes += got.size();
        if (clock.elapsed() > 120000) break;
    }
    const qint64 total = clock.elapsed();
    EXPECT_GT(bytes, 10'000'000);
    ASSERT_GE(firstRow, 0);
    EXPECT_LT(firstRow * 2, total) << "first row after " << firstRow << " ms of " << total << " ms";
}

}  // namespace
}  // namespace kestrova
