// Ending Chrome: throwaway processes whose names contain "chrome.exe" end, by the kernel's
// process name or by the executable's name; nothing else is touched.
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <csignal>
#include <unistd.h>
#include <gtest/gtest.h>

#include "platform/processes/process_table.h"

namespace kestrova {
namespace {

// A copy of `sleep` under another name, started.
std::unique_ptr<QProcess> startAs(const QTemporaryDir& dir, const QString& name) {
    const QString exe = dir.filePath(name);
    QFile::copy("/bin/sleep", exe);
    QFile::setPermissions(exe, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    auto process = std::make_unique<QProcess>();
    process->start(exe, {"30"});
    process->waitForStarted();
    return process;
}

TEST(CloseRunningChrome, EndsEveryProcessWhoseNameContainsItAndNothingElse) {
    QTemporaryDir dir;
    auto short_ = startAs(dir, "Chrome.EXE");                  // found by the kernel's name
    auto long_ = startAs(dir, "renderer-of-chrome.exe");       // the kernel keeps 15 characters:
                                                                // found by the executable's name
    auto other = startAs(dir, "chromium-helper");
    ASSERT_EQ(other->state(), QProcess::Running);
    EXPECT_GE(terminateProcessesNamed("chrome.exe"), 2);
    EXPECT_TRUE(short_->waitForFinished(5000));
    EXPECT_TRUE(long_->waitForFinished(5000));
    EXPECT_EQ(short_->exitStatus(), QProcess::CrashExit);  // ended, not exited
    EXPECT_EQ(other->state(), QProcess::Running);
    other->kill();
    other->waitForFinished();
}

TEST(ProcessTable, SeesThisProcessByBothNames) {
    bool byKernel = false, byExecutable = false;
    for (const ProcessName& p : processesByKernelName()) byKernel = byKernel || p.pid == ::getpid();
    for (const ProcessName& p : processesByExecutable()) {
        if (p.pid == ::getpid()) byExecutable = p.name == "kestrova_tests";
    }
    EXPECT_TRUE(byKernel);
    EXPECT_TRUE(byExecutable);
}

}  // namespace
}  // namespace kestrova
