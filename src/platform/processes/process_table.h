// This machine's processes, from /proc: ending every process whose name contains a text, in two
// passes by two names (the name the kernel reports, then the executable's base name), without
// waiting. Processes that cannot be signalled are passed over; this process never ends itself.
#pragma once

#include <QString>
#include <vector>

namespace kestrova {

struct ProcessName {
    long pid = 0;
    QString name;
};

// The processes and the names the kernel reports for them (/proc/PID/comm).
std::vector<ProcessName> processesByKernelName();
// The processes and their executables' base names (/proc/PID/exe); "unknown" when unreadable.
std::vector<ProcessName> processesByExecutable();
// Both passes; returns how many processes were signalled.
int terminateProcessesNamed(const QString& nameContains);

}  // namespace kestrova
