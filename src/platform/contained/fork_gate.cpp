#include "platform/contained/fork_gate.h"

namespace kestrova {
namespace {

thread_local bool isMember = false;

}  // namespace

ForkGate& ForkGate::instance() {
    static ForkGate gate;
    return gate;
}

ForkGate::Member::Member() {
    ForkGate& gate = instance();
    if (gate.inChild_) return;
    std::unique_lock lock(gate.mutex_);
    gate.changed_.wait(lock, [&] { return !gate.forking_.load(); });
    ++gate.members_;
    isMember = true;
}

void ForkGate::expectMember() {
    if (inChild_) return;
    std::unique_lock lock(mutex_);
    waitForkEnd(lock);
    ++members_;
}

void ForkGate::waitForkEnd(std::unique_lock<std::mutex>& lock) {
    // A member waiting here holds no lock: it stands at a safe point meanwhile.
    while (forking_.load()) {
        if (isMember) ++parked_;
        changed_.notify_all();
        changed_.wait(lock, [&] { return !forking_.load(); });
        if (isMember) --parked_;
    }
}

ForkGate::Member::Member(Expected) {
    ForkGate& gate = instance();
    if (gate.inChild_) return;
    isMember = true;
    gate.safePoint();  // counted since it was expected: a fork under way waits for it here
}

ForkGate::Member::~Member() {
    ForkGate& gate = instance();
    if (gate.inChild_) return;
    {
        const std::lock_guard lock(gate.mutex_);
        --gate.members_;
        isMember = false;
    }
    gate.changed_.notify_all();
}

void ForkGate::park() {
    if (!isMember || inChild_) return;
    std::unique_lock lock(mutex_);
    ++parked_;
    changed_.notify_all();
    changed_.wait(lock, [&] { return !forking_.load(); });
    --parked_;
}

ForkGate::Parked::Parked() : member_(isMember && !instance().inChild_) {
    if (!member_) return;
    ForkGate& gate = instance();
    {
        const std::lock_guard lock(gate.mutex_);
        ++gate.parked_;
    }
    gate.changed_.notify_all();
}

ForkGate::Parked::~Parked() {
    if (!member_) return;
    ForkGate& gate = instance();
    std::unique_lock lock(gate.mutex_);
    gate.changed_.wait(lock, [&] { return !gate.forking_.load(); });
    --gate.parked_;
}

void ForkGate::beginFork() {
    if (inChild_) return;
    std::unique_lock lock(mutex_);
    waitForkEnd(lock);  // another's fork first
    forking_.store(true, std::memory_order_release);
    changed_.wait(lock, [&] { return parked_ >= members_ - (isMember ? 1 : 0); });
}

void ForkGate::endFork() {
    if (inChild_) return;
    {
        const std::lock_guard lock(mutex_);
        forking_.store(false, std::memory_order_release);
    }
    changed_.notify_all();
}

}  // namespace kestrova
