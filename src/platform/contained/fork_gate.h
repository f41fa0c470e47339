// Forking a process with threads safely. A forked child gets one thread, and every lock as it
// stood at the fork: a lock another thread held then (the sanitizers' allocator takes one for
// each allocation) is never released in the child, whose first allocation would wait for ever.
// The threads that read at once (the reading pool's workers and writer, a ZIP's read-ahead) are
// members of the gate: they pass safe points often, where they hold no lock, and a fork waits
// until every other member stands at one (or waits on something, parked), and lets them go on
// once the child is made. A thread that is no member never runs beside a fork it did not make.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace kestrova {

class ForkGate {
public:
    static ForkGate& instance();

    // Before a thread is started that will be a member: it counts as one from now on, so that no
    // fork is made while it starts (a starting thread allocates) until it stands at its first
    // safe point. The thread then makes its Member with `expected`.
    void expectMember();
    struct Expected {};
    static constexpr Expected expected{};

    // The calling thread is a member while this lives.
    class Member {
    public:
        Member();
        explicit Member(Expected);
        ~Member();
        Member(const Member&) = delete;
        Member& operator=(const Member&) = delete;
    };
    // Where a member holds no lock: it waits here while a fork is made.
    void safePoint() {
        if (forking_.load(std::memory_order_acquire)) park();
    }
    // A member waiting on something else (a condition, another thread's work) counts as standing
    // at a safe point while this lives; it waits for a fork under way before it goes on.
    class Parked {
    public:
        Parked();
        ~Parked();
        Parked(const Parked&) = delete;
        Parked& operator=(const Parked&) = delete;

    private:
        bool member_;
    };
    // Waits on `changed` until `ready` holds, parked: `lock` (held on entry and on return) is let
    // go while parked, so that no member waits on it while a fork waits for that member.
    template <typename Ready>
    static void waitParked(std::unique_lock<std::mutex>& lock, std::condition_variable& changed, Ready ready) {
        while (!ready()) {
            lock.unlock();
            {
                const Parked parked;
                std::unique_lock inner(*lock.mutex());
                changed.wait(inner, ready);
            }
            lock.lock();
        }
    }
    // Around fork(): beginFork() returns once every other member stands at a safe point; the
    // parent calls endFork() after the fork, to let them go, and the child forgetInChild(): it
    // has no other thread, and the gate's lock and condition as copied are not to be touched.
    void beginFork();
    void endFork();
    void forgetInChild() { inChild_ = true; }

private:
    void park();
    void waitForkEnd(std::unique_lock<std::mutex>& lock);
    std::mutex mutex_;
    std::condition_variable changed_;
    std::atomic<bool> forking_{false};
    int members_ = 0;
    int parked_ = 0;
    bool inChild_ = false;
};

}  // namespace kestrova
