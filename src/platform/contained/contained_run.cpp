#include "platform/contained/contained_run.h"

#include "platform/contained/fork_gate.h"
#include "platform/io/whole_io.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <vector>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrova {
namespace {

// A frame is its length (4 bytes, host order: both ends are this program) and its bytes. Larger
// than this, it is no record of ours but a child writing garbage.
constexpr uint32_t kLargestFrame = 64u << 20;

// How long a child that closed its pipe may take to end before it is killed.
constexpr int kEndGraceMs = 5000;

// AddressSanitizer reserves terabytes of shadow memory: no address-space limit under it. GCC
// says so with __SANITIZE_ADDRESS__, clang with __has_feature.
#if defined(__SANITIZE_ADDRESS__)
#define KESTROVA_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KESTROVA_ASAN 1
#endif
#endif
#if defined(KESTROVA_ASAN)
constexpr bool kAddressLimitWorks = false;
#else
constexpr bool kAddressLimitWorks = true;
#endif

void limit(int resource, rlim_t value) {
    const rlimit bound{value, value};
    ::setrlimit(resource, &bound);
}

// The descriptors this process holds, 3 and up. Read from /proc/self/fd (one directory read, not
// a probe of every possible number); closed afterwards, so the listing's own descriptor is not
// among those acted on.
std::vector<int> openDescriptors() {
    std::vector<int> fds;
    DIR* dir = ::opendir("/proc/self/fd");
    if (!dir) return fds;
    const int own = ::dirfd(dir);
    while (const dirent* entry = ::readdir(dir)) {
        char* end = nullptr;
        const long fd = std::strtol(entry->d_name, &end, 10);
        if (end != entry->d_name && *end == '\0' && fd > 2 && fd != own) fds.push_back(static_cast<int>(fd));
    }
    ::closedir(dir);
    return fds;
}

}  // namespace

void closeDescriptorsExcept(std::initializer_list<int> keep) {
    for (const int fd : openDescriptors()) {
        if (std::find(keep.begin(), keep.end(), fd) == keep.end()) ::close(fd);
    }
}

void closeInheritedChannels(int keep) {
    for (const int fd : openDescriptors()) {
        struct stat st {};
        if (fd != keep && ::fstat(fd, &st) == 0 && (S_ISSOCK(st.st_mode) || S_ISFIFO(st.st_mode))) ::close(fd);
    }
}

int reapChild(pid_t pid, int graceMs) {
    int status = 0;
    QElapsedTimer clock;
    clock.start();
    for (;;) {
        const pid_t done = ::waitpid(pid, &status, WNOHANG);
        if (done == pid) return status;
        if (done < 0 && errno != EINTR) return 0;  // not ours (already reaped): nothing to wait for
        if (clock.elapsed() >= graceMs) break;
        ::usleep(2000);
    }
    ::kill(pid, SIGKILL);
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

void limitThisChild(size_t memoryBytes, int cpuSeconds) {
    std::signal(SIGPIPE, SIG_IGN);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) std::signal(fault, SIG_DFL);
    limit(RLIMIT_CORE, 0);
    if (cpuSeconds > 0) limit(RLIMIT_CPU, static_cast<rlim_t>(cpuSeconds));
    if (kAddressLimitWorks) limit(RLIMIT_AS, memoryBytes);
}

QString describeChildEnd(int status, int cpuSeconds) {
    if (WIFEXITED(status)) return QStringLiteral("stopped with status %1").arg(WEXITSTATUS(status));
    if (!WIFSIGNALED(status)) return QStringLiteral("ended in an unknown way");
    const int signal = WTERMSIG(status);
    if (signal == SIGXCPU) return QStringLiteral("used more than %1 s of processor time").arg(cpuSeconds);
    if (signal == SIGKILL) return QStringLiteral("was killed (it may have run out of memory)");
    return QStringLiteral("crashed (%1)").arg(QString::fromLocal8Bit(::strsignal(signal)));
}

bool FrameWriter::write(QByteArrayView frame) {
    // One write a frame: a parser that hands over many small records spends its time in the pipe.
    const auto size = static_cast<uint32_t>(frame.size());
    framed_.resize(sizeof size + static_cast<size_t>(frame.size()));
    std::memcpy(framed_.data(), &size, sizeof size);
    if (!frame.isEmpty()) std::memcpy(framed_.data() + sizeof size, frame.data(), static_cast<size_t>(frame.size()));
    return writeWhole(fd_, framed_.data(), framed_.size());
}

ContainedEnd runContained(const std::function<int(FrameWriter&)>& child,
                          const std::function<void(QByteArrayView)>& frame, const ContainedLimits& limits) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) return {false, QStringLiteral("could not be started (%1)").arg(QString::fromLocal8Bit(std::strerror(errno)))};
    std::fflush(nullptr);  // nothing buffered is written twice
    // No other reading thread holds a lock the child would need (the allocator's among them).
    ForkGate& gate = ForkGate::instance();
    gate.beginFork();
    const pid_t pid = ::fork();
    if (pid == 0) gate.forgetInChild();
    else gate.endFork();
    if (pid < 0) {
        ::close(fds[0]);
        ::close(fds[1]);
        return {false, QStringLiteral("could not be started (%1)").arg(QString::fromLocal8Bit(std::strerror(errno)))};
    }
    if (pid == 0) {
        ::close(fds[0]);
        closeInheritedChannels(fds[1]);
        limitThisChild(limits.memoryBytes, limits.cpuSeconds);
        FrameWriter writer(fds[1]);
        int code = 3;
        try {
            code = child(writer);
        } catch (...) {
        }
        // No exit handlers, no flushing of the parent's streams, no leak check of the parent's
        // memory: the child is only the parser.
        ::_exit(code);
    }
    ::close(fds[1]);

    ContainedEnd end;
    QByteArray pending;
    qsizetype used = 0;  // bytes of `pending` already handed on
    QElapsedTimer clock;
    clock.start();
    const qint64 deadline = qint64{limits.wallSeconds} * 1000;
    bool killed = false;
    char buffer[1 << 16];
    for (;;) {
        const qint64 left = deadline - clock.elapsed();
        pollfd watch{fds[0], POLLIN, 0};
        const int ready = left > 0 ? ::poll(&watch, 1, static_cast<int>(std::min<qint64>(left, 1000))) : 0;
        if (ready < 0 && errno == EINTR) continue;
        if (ready == 0) {
            if (clock.elapsed() < deadline) continue;
            ::kill(pid, SIGKILL);
            killed = true;
            end.why = QStringLiteral("took longer than %1 s").arg(limits.wallSeconds);
            break;
        }
        const ssize_t got = ::read(fds[0], buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        pending.append(buffer, got);
        for (;;) {
            if (pending.size() - used < 4) break;
            uint32_t size = 0;
            std::memcpy(&size, pending.constData() + used, sizeof size);
            if (size > kLargestFrame) {
                ::kill(pid, SIGKILL);
                killed = true;
                end.why = QStringLiteral("sent a malformed record");
                break;
            }
            if (pending.size() - used - 4 < static_cast<qsizetype>(size)) break;
            frame(QByteArrayView(pending.constData() + used + 4, size));
            used += 4 + static_cast<qsizetype>(size);
        }
        if (killed) break;
        if (used > (1 << 20)) {
            pending.remove(0, used);
            used = 0;
        }
    }
    ::close(fds[0]);
    // A child that closed its end without ending (a helper program may) is not waited for
    // without bound: a few seconds, then it is killed and said to be.
    const int status = reapChild(pid, killed ? 0 : kEndGraceMs);
    if (!killed) {
        end.completed = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        if (!end.completed) end.why = describeChildEnd(status, limits.cpuSeconds);
    }
    return end;
}

QString helperProgram(const char* name) {
    // Beside the running program (a build tree, or /usr/bin's neighbours), else where the
    // package puts helpers.
    const QString here = QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
    for (const QString& folder : {QFileInfo(here).absolutePath(), QStringLiteral(KESTROVA_LIBEXEC_DIR)}) {
        const QString path = folder + QLatin1Char('/') + QLatin1String(name);
        if (QFileInfo(path).isExecutable()) return path;
    }
    return QString();
}

ContainedEnd runContainedProgram(const QString& program, const QStringList& args, int file,
                                 const std::function<void(QByteArrayView)>& frame, const ContainedLimits& limits) {
    // Everything the child needs is made before the fork: after it, the child only duplicates
    // descriptors and executes. The file goes as the program's standard input, so its name is
    // known here.
    std::vector<QByteArray> words{QFile::encodeName(program)};
    for (const QString& arg : args) words.push_back(arg.toUtf8());
    if (file >= 0) words.emplace_back("/proc/self/fd/0");
    const ExecArguments exec(std::move(words));
    ContainedEnd end = runContained(
        [&](FrameWriter& out) {
            // dup2 leaves the copies without close-on-exec: the program gets them.
            if (file >= 0 && ::dup2(file, STDIN_FILENO) < 0) return 126;
            if (::dup2(out.fd(), STDOUT_FILENO) < 0) return 126;
            ::execv(exec.program(), exec.argv());
            return 127;
        },
        frame, limits);
    if (!end.completed && end.why == QLatin1String("stopped with status 127")) {
        end.why = QStringLiteral("could not be started (%1 is missing or cannot run)").arg(program);
    }
    return end;
}

}  // namespace kestrova
