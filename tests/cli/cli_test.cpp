// kestrova-cli as a user runs it: --verbose says why a category came out empty, and a volume
// whose hive is missing, unreadable, damaged or a named pipe gives a distinct reason each time,
// without hanging.
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/temp_volume.h"

namespace kestrova {
namespace {

struct CliRun {
    int exitCode = -1;
    QString out;
    QString err;
};

CliRun runCli(const QStringList& args) {
    QProcess cli;
    cli.start(QStringLiteral(KESTROVA_BIN_DIR "/kestrova-cli"), args);
    CliRun result;
    if (!cli.waitForFinished(20000)) {
        cli.kill();
        cli.waitForFinished();
        ADD_FAILURE() << "kestrova-cli did not finish: " << args.join(' ').toStdString();
        return result;
    }
    result.exitCode = cli.exitCode();
    result.out = QString::fromUtf8(cli.readAllStandardOutput());
    result.err = QString::fromUtf8(cli.readAllStandardError());
    return result;
}

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

}  // namespace
}  // namespace kestrova
