// kestrova-cli run as a user runs it: its exit code and both output streams.
#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <gtest/gtest.h>

namespace kestrova {

struct CliRun {
    int exitCode = -1;
    QString out;
    QString err;
};

inline CliRun runCli(const QStringList& args, const QProcessEnvironment& env = QProcessEnvironment::systemEnvironment()) {
    QProcess cli;
    cli.setProcessEnvironment(env);
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

}  // namespace kestrova
