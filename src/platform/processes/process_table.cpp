#include "platform/processes/process_table.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <csignal>
#include <unistd.h>

namespace kestrova {
namespace {

std::vector<long> pids() {
    std::vector<long> all;
    for (const QString& entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        bool ok = false;
        const long pid = entry.toLong(&ok);
        if (ok) all.push_back(pid);
    }
    return all;
}

int terminateMatching(const std::vector<ProcessName>& processes, const QString& nameContains) {
    int ended = 0;
    for (const ProcessName& process : processes) {
        if (process.pid == ::getpid() || !process.name.contains(nameContains, Qt::CaseInsensitive)) continue;
        // Ended at once, as a forced termination ends a process; one that cannot be is skipped.
        if (::kill(static_cast<pid_t>(process.pid), SIGKILL) == 0) ++ended;
    }
    return ended;
}

}  // namespace

std::vector<ProcessName> processesByKernelName() {
    std::vector<ProcessName> processes;
    for (const long pid : pids()) {
        QFile comm(QStringLiteral("/proc/%1/comm").arg(pid));
        if (!comm.open(QIODevice::ReadOnly)) continue;
        processes.push_back({pid, QString::fromLocal8Bit(comm.readAll()).trimmed()});
    }
    return processes;
}

std::vector<ProcessName> processesByExecutable() {
    std::vector<ProcessName> processes;
    for (const long pid : pids()) {
        const QString exe = QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(pid));
        processes.push_back({pid, exe.isEmpty() ? QStringLiteral("unknown") : QFileInfo(exe).fileName()});
    }
    return processes;
}

int terminateProcessesNamed(const QString& nameContains) {
    // Exactly two passes, one by each name: a process found by both is ended by the first and
    // simply not found alive by the second.
    int ended = terminateMatching(processesByKernelName(), nameContains);
    ended += terminateMatching(processesByExecutable(), nameContains);
    return ended;
}

}  // namespace kestrova
