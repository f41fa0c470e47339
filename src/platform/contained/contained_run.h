// Running a third-party parser over evidence bytes where it cannot take the program down.
//
// The libraries that decode evidence formats (libmsiecf here) are older than their own fuzzing
// fixes, and a crafted file can make them crash, ask for gigabytes or loop. Such a parser runs in
// a child process of its own, with limits on its memory, its CPU time and its wall-clock time and
// no core dump, and sends what it finds back through a pipe as it finds it. Whatever happens to
// the child, the parent keeps every record that arrived whole and learns why the rest did not.
#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <string>
#include <QStringList>
#include <functional>
#include <vector>
#include <initializer_list>
#include <sys/types.h>

namespace kestrova {

struct ContainedLimits {
    size_t memoryBytes = size_t{2} << 30;  // address space (not applied under AddressSanitizer)
    int cpuSeconds = 60;
    int wallSeconds = 120;
};

// Where the child writes its records: each one a frame the parent receives whole or not at all.
class FrameWriter {
public:
    explicit FrameWriter(int fd) : fd_(fd) {}
    // False once the parent stopped listening; the child should end then.
    bool write(QByteArrayView frame);
    int fd() const { return fd_; }

private:
    int fd_;
    std::string framed_;  // the frame with its size, reused
};

struct ContainedEnd {
    bool completed = false;  // the child ran to its end and exited normally
    QString why;             // otherwise, what ended it, in the user's words
};

// What a child that parses evidence does first: a write to a parent that stopped listening fails
// instead of killing it, a fault ends it as the fault it is (whatever handlers the parent set, a
// sanitizer's among them), no core dump, its address space bounded (not under AddressSanitizer,
// which reserves terabytes of shadow memory) and, where cpuSeconds is not 0, its processor time.
void limitThisChild(size_t memoryBytes, int cpuSeconds);

// What a forked child closes first. fork() without exec keeps every descriptor of the parent,
// close-on-exec or not, so a child would hold the other children's sockets and pipes: a server
// child whose socket another child still holds never sees the program hang up, and the program
// waiting for it never returns. `keep` and standard input, output and error stay open.
void closeDescriptorsExcept(std::initializer_list<int> keep);
// Closes every socket and pipe the child inherited but `keep` (a parser talks to no one but its
// parent: the image reader's socket must end when the program hangs up, and another parser's
// pipe when that parser ends, not when this one does). Files stay: the parsers read the ones the
// parent opened for them.
void closeInheritedChannels(int keep);

// Ends a child that was asked to end (its socket or pipe closed): waits up to `graceMs` for it,
// then kills it. Never blocks longer than the grace and the kill take. The status it ended with.
int reapChild(pid_t pid, int graceMs);

// How a child ended, in the user's words ("crashed (Segmentation fault)"); cpuSeconds is the limit
// it ran under, for the message of a child that ran into it.
QString describeChildEnd(int status, int cpuSeconds);

// Runs `child` in a child process and hands each frame it writes to `frame` in the parent, as
// it arrives. The child must not touch the parent's threads, Qt objects or open streams: it
// gets the file descriptors it needs (inherited) and writes frames. Its exit status 0 means it
// finished; any other ending is described in the result.
ContainedEnd runContained(const std::function<int(FrameWriter&)>& child,
                          const std::function<void(QByteArrayView)>& frame, const ContainedLimits& limits = {});

// A program and its arguments as execv takes them, made before a fork: between the fork and the
// exec a child of a process with threads may call only what is async-signal-safe, and making
// these allocates.
class ExecArguments {
public:
    explicit ExecArguments(std::vector<QByteArray> words) : words_(std::move(words)) {
        for (QByteArray& word : words_) argv_.push_back(word.data());
        argv_.push_back(nullptr);
    }
    ExecArguments(const ExecArguments&) = delete;  // argv points into this object's words
    ExecArguments& operator=(const ExecArguments&) = delete;
    const char* program() const { return argv_.front(); }
    char* const* argv() const { return argv_.data(); }

private:
    std::vector<QByteArray> words_;
    std::vector<char*> argv_;
};

// A helper program of ours (installed beside the programs, or in the package's libexec folder):
// its path, "" when it cannot be found.
QString helperProgram(const char* name);

// Runs a helper program as a contained parser: the same limits and the same reading of frames as
// runContained, its standard output being the frame pipe. `file`, a descriptor of this process
// (-1: none), is its standard input, named to it as the last argument, "/proc/self/fd/0". A
// program that cannot be started ends with status 127, said as such.
ContainedEnd runContainedProgram(const QString& program, const QStringList& args, int file,
                                 const std::function<void(QByteArrayView)>& frame, const ContainedLimits& limits = {});

}  // namespace kestrova
