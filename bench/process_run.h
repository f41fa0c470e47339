// Programs timed as users run them: started as a process, output to /dev/null, measured from
// start to exit, with their peak resident memory.
#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <vector>

extern char** environ;

namespace kestrova::bench {

// A program run as users run it, its output to /dev/null: its time from start to exit and its
// peak resident memory.
struct ProcessRun {
    double seconds = 1e9;
    long peakKiB = 0;
    double cpuSeconds = 0;  // user and system time of the process
};

inline ProcessRun runProcess(const std::vector<QByteArray>& args) {
    std::vector<char*> argv;
    for (const QByteArray& a : args) argv.push_back(const_cast<char*>(a.constData()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    QElapsedTimer timer;
    timer.start();
    pid_t pid = 0;
    ProcessRun result;
    const int started = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (started != 0) {
        std::fprintf(stderr, "cannot start %s\n", argv[0]);
        return result;
    }
    int status = 0;
    rusage usage{};
    ::wait4(pid, &status, 0, &usage);
    result.seconds = timer.nsecsElapsed() / 1e9;
    result.peakKiB = usage.ru_maxrss;
    result.cpuSeconds = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) std::fprintf(stderr, "%s failed (status %d)\n", argv[0], status);
    return result;
}

// The best of three runs (the shared machine now and then runs one half as fast again).
inline ProcessRun bestOfThree(const std::vector<QByteArray>& args) {
    ProcessRun best;
    for (int round = 0; round < 3; ++round) {
        const ProcessRun r = runProcess(args);
        if (r.seconds < best.seconds) best.cpuSeconds = r.cpuSeconds;
        best.seconds = std::min(best.seconds, r.seconds);
        best.peakKiB = std::max(best.peakKiB, r.peakKiB);
    }
    return best;
}

}  // namespace kestrova::bench
