// A parser in a child process of its own: whatever it does, the program goes on with the records
// it sent whole, and learns what ended it.
#include <QByteArray>
#include <QElapsedTimer>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <unistd.h>
#include <vector>

#include "platform/contained/contained_run.h"
#include "platform/contained/fork_gate.h"

namespace kestrova {
namespace {

struct Outcome {
    std::vector<QByteArray> frames;
    ContainedEnd end;
};

Outcome contained(const std::function<int(FrameWriter&)>& child, const ContainedLimits& limits = {}) {
    Outcome outcome;
    outcome.end = runContained(child, [&](QByteArrayView frame) { outcome.frames.push_back(frame.toByteArray()); }, limits);
    return outcome;
}

TEST(ContainedRun, FramesArriveWholeAndACleanEndIsCompleted) {
    const Outcome ok = contained([](FrameWriter& out) {
        for (int i = 0; i < 1000; ++i) out.write(QByteArray(i, 'x'));
        out.write(QByteArray());
        return 0;
    });
    EXPECT_TRUE(ok.end.completed);
    ASSERT_EQ(ok.frames.size(), 1001u);
    EXPECT_EQ(ok.frames[999], QByteArray(999, 'x'));
    EXPECT_TRUE(ok.frames[1000].isEmpty());
}

TEST(ContainedRun, ACrashKeepsWhatCameBeforeAndSaysSo) {
    const Outcome crash = contained([](FrameWriter& out) {
        out.write("first");
        out.write("second");
        std::raise(SIGSEGV);
        return 0;
    });
    EXPECT_FALSE(crash.end.completed);
    EXPECT_EQ(crash.frames, (std::vector<QByteArray>{"first", "second"}));
    EXPECT_TRUE(crash.end.why.startsWith("crashed (Segmentation fault")) << crash.end.why.toStdString();
}

TEST(ContainedRun, AHangIsEndedAtItsTimeLimitAndAFailureStatusIsNamed) {
    const Outcome hang = contained(
        [](FrameWriter& out) {
            out.write("before");
            for (;;) pause();
            return 0;
        },
        ContainedLimits{.wallSeconds = 1});
    EXPECT_FALSE(hang.end.completed);
    EXPECT_EQ(hang.frames, std::vector<QByteArray>{"before"});
    EXPECT_EQ(hang.end.why, "took longer than 1 s");
    EXPECT_EQ(contained([](FrameWriter&) { return 4; }).end.why, "stopped with status 4");
    // A child that closes its pipe and goes on (a helper program may) is not waited for without
    // bound: it is killed after a few seconds, long before its wall-clock limit.
    QElapsedTimer clock;
    clock.start();
    const Outcome closed = contained(
        [](FrameWriter& out) {
            out.write("said");
            ::close(out.fd());
            for (;;) pause();
            return 0;
        },
        ContainedLimits{.wallSeconds = 600});
    EXPECT_LT(clock.elapsed(), 60000);
    EXPECT_FALSE(closed.end.completed);
    EXPECT_EQ(closed.frames, std::vector<QByteArray>{"said"});
    EXPECT_EQ(closed.end.why, "was killed (it may have run out of memory)");
}

#if !defined(__SANITIZE_ADDRESS__)
// The address-space limit: a request for gigabytes fails in the child, not in the program.
TEST(ContainedRun, AnAllocationBeyondTheLimitFailsInTheChild) {
    const Outcome greedy = contained(
        [](FrameWriter& out) {
            void* huge = std::malloc(size_t{12} << 30);
            out.write(huge ? "allocated" : "refused");
            std::free(huge);
            return 0;
        },
        ContainedLimits{.memoryBytes = size_t{1} << 30});
    EXPECT_TRUE(greedy.end.completed);
    EXPECT_EQ(greedy.frames, std::vector<QByteArray>{"refused"});
}
#endif

}  // namespace
}  // namespace kestrova

namespace kestrova {
namespace {

// Threads that allocate without pause while others fork parser children: each child allocates
// at once and ends cleanly, whichever lock an allocating thread held (the sanitizers' allocator
// left a child waiting for ever before the gate). A fork waits for members only at safe points,
// parked members included, and a member's fork waits for another's.
TEST(ForkGate, ChildrenForkedBesideAllocatingThreadsEndCleanly) {
    std::atomic<bool> done{false};
    std::atomic<int> completed{0};
    std::mutex tickMutex;
    std::condition_variable ticked;
    uint64_t ticks = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        ForkGate::instance().expectMember();  // a starting thread allocates too
        threads.emplace_back([&, t] {
            const ForkGate::Member member(ForkGate::expected);
            while (!done) {
                // Many sizes, many at once: the allocator's per-thread caches refill from its shared
                // lists again and again, under their locks.
                std::vector<std::string> held;
                for (int i = 0; i < 3000; ++i) held.emplace_back(static_cast<size_t>(16 + i * 131 % 30000), 'x');
                ForkGate::instance().safePoint();
                if (t == 0) {
                    // A member waiting on another counts as parked.
                    std::unique_lock lock(tickMutex);
                    const uint64_t seen = ticks;
                    ForkGate::waitParked(lock, ticked, [&] { return ticks != seen || done; });
                }
                if (t == 1) {
                    {
                        const std::lock_guard lock(tickMutex);
                        ++ticks;
                    }
                    ticked.notify_all();
                }
                if (t == 2 && contained([](FrameWriter& out) { return out.write(QByteArray(100000, 'y')) ? 0 : 1; }).end.completed) ++completed;
            }
        });
    }
    for (int i = 0; i < 60; ++i) {
        const Outcome child = contained([](FrameWriter& out) {
            std::vector<std::string> made;
            for (int j = 0; j < 1000; ++j) made.emplace_back(static_cast<size_t>(16 + j * 131 % 30000), 'z');
            return out.write(QByteArray::number(static_cast<qulonglong>(made.size()))) ? 0 : 1;
        }, {.memoryBytes = size_t{2} << 30, .cpuSeconds = 5, .wallSeconds = 5});
        EXPECT_TRUE(child.end.completed) << "fork " << i << ": " << child.end.why.toStdString();
        EXPECT_EQ(child.frames, std::vector<QByteArray>{"1000"});
        if (!child.end.completed) break;
    }
    {
        const std::lock_guard lock(tickMutex);
        done = true;
    }
    ticked.notify_all();
    for (std::thread& t : threads) t.join();
    EXPECT_GT(completed.load(), 0);
}

}  // namespace
}  // namespace kestrova
