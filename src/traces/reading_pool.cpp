#include "traces/reading_pool.h"

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/contained/fork_gate.h"
#include "platform/io/unnamed_file.h"
#include "platform/io/whole_io.h"
#include "traces/record_body.h"

namespace kestrova {
namespace {

// What the task being handed on may hold before its reader waits for the writer: formatting can
// be slower than reading, and the task in hand never goes to the spill file.
constexpr size_t kHeadHeld = size_t{16} << 20;

struct Chunk {
    std::string bytes;  // in memory, or empty when spilled
    off_t at = -1;      // where in the spill file, when spilled
    size_t size = 0;
};

struct Spool {
    std::deque<Chunk> chunks;
    size_t held = 0;  // bytes of its chunks in memory
    bool finished = false;
};

class Pool {
public:
    Pool(const PoolOptions& options, const PoolTasks& tasks) : options_(options), tasks_(tasks), spools_(tasks.count) {}
    ~Pool() {
        if (spillFd_ >= 0) ::close(spillFd_);
    }

    bool run(QString* why) {
        const int workers = std::max(1, std::min<int>(options_.workers, static_cast<int>(tasks_.count)));
        // This thread writes as a member of the fork gate, and each worker is one from before it
        // starts: a worker's parser child is forked only while no other thread allocates.
        std::optional<ForkGate::Member> member(std::in_place);
        std::vector<std::thread> threads;
        for (int w = 0; w < workers && tasks_.count > 0; ++w) {
            ForkGate::instance().expectMember();
            threads.emplace_back([this, w] { work(w); });
        }
        const bool completed = handOn();
        member.reset();
        stop_ = true;
        spaceFreed_.notify_all();
        for (std::thread& t : threads) t.join();
        if (!spillError_.isEmpty()) {
            *why = spillError_;
            return false;
        }
        return completed;
    }

    bool stopped() const { return stop_.load(std::memory_order_relaxed); }

    // From a worker: a chunk of the task's records, taken from `bytes`, which is left empty (a
    // chunk's memory written before where there is one).
    void push(size_t task, std::string& bytes) {
        Chunk chunk;
        chunk.size = bytes.size();
        {
            std::unique_lock lock(mutex_);
            Spool& spool = spools_[task];
            if (task == head_) {
                ForkGate::waitParked(lock, spaceFreed_, [&] { return spool.held < kHeadHeld || stopped() || task != head_; });
            }
            if (task == head_ || held_ + chunk.size <= options_.heldBudget) {
                held_ += chunk.size;
                spool.held += chunk.size;
                chunk.bytes = std::move(bytes);
                spool.chunks.push_back(std::move(chunk));
                arrived_.notify_all();
                bytes = spareLocked();
                return;
            }
        }
        // Read ahead beyond the budget: to the spill file, outside the lock.
        const bool spilled = spill(bytes, &chunk);
        bytes.clear();
        if (!spilled) {
            stop_ = true;
            arrived_.notify_all();
            return;
        }
        const std::lock_guard lock(mutex_);
        spools_[task].chunks.push_back(std::move(chunk));
        arrived_.notify_all();
    }

private:
    class Spooled : public PoolOutput {
    public:
        // Room for a chunk and what comes with the write that passes its size (a formatter's
        // buffer of up to 2 MiB is appended at once): a chunk that outgrew its memory would be
        // moved to fresh memory.
        static constexpr size_t kRoom = 3 * kChunk;
        Spooled(Pool& pool, size_t task) : pool_(pool), task_(task) {
            const std::lock_guard lock(pool_.mutex_);
            bytes_ = pool_.spareLocked();
        }
        ~Spooled() override { pool_.giveBack(std::move(bytes_)); }
        Spooled(const Spooled&) = delete;
        Spooled& operator=(const Spooled&) = delete;
        bool stopped() const override {
            ForkGate::instance().safePoint();
            return pool_.stopped();
        }

    private:
        void push() override {
            pool_.push(task_, bytes_);
        }
        Pool& pool_;
        size_t task_;
    };

    void work(int worker) {
        const ForkGate::Member member(ForkGate::expected);
        while (!stopped()) {
            ForkGate::instance().safePoint();
            const size_t task = next_.fetch_add(1);
            if (task >= tasks_.count) return;
            Spooled out(*this, task);
            tasks_.read(worker, task, out);
            out.handOver(true);
            const std::lock_guard lock(mutex_);
            spools_[task].finished = true;
            arrived_.notify_all();
        }
    }

    // A chunk handed on: its memory is a later chunk's. Memory written before costs nothing to
    // write again; fresh memory costs a page fault every 4 KiB, which with every worker
    // formatting its records came to a fifth of the work. Spares and chunks held together stay
    // within the budget for what is read ahead (a spare counted as the chunk it held).
    void giveBack(std::string&& bytes) {
        if (bytes.capacity() < PoolOutput::kChunk) return;
        bytes.clear();
        const std::lock_guard lock(mutex_);
        if (spare_.size() * PoolOutput::kChunk + held_ > options_.heldBudget) return;
        spare_.push_back(std::move(bytes));
    }

    // Memory for a chunk: a spare one, else fresh.
    std::string spareLocked() {
        std::string bytes;
        if (!spare_.empty()) {
            bytes.swap(spare_.back());
            spare_.pop_back();
        }
        bytes.reserve(Spooled::kRoom);
        return bytes;
    }

    bool spill(const std::string& bytes, Chunk* chunk) {
        const std::lock_guard lock(spillMutex_);
        if (spillFd_ < 0) {
            spillFd_ = openUnnamedFile(options_.spillFolder);
            if (spillFd_ < 0) return spillFailed();
        }
        if (!pwriteWhole(spillFd_, bytes.data(), bytes.size(), static_cast<uint64_t>(spillEnd_))) return spillFailed();
        chunk->at = spillEnd_;
        spillEnd_ += static_cast<off_t>(bytes.size());
        return true;
    }
    bool spillFailed() {
        if (spillError_.isEmpty()) {
            spillError_ = QStringLiteral("the records read ahead could not be kept in %1: %2")
                              .arg(options_.spillFolder, QString::fromLocal8Bit(std::strerror(errno ? errno : EIO)));
        }
        return false;
    }
    bool readSpilled(const Chunk& chunk, std::string* into) {
        into->resize(chunk.size);
        if (preadWhole(spillFd_, into->data(), chunk.size, static_cast<uint64_t>(chunk.at))) return true;
        const std::lock_guard lock(spillMutex_);
        return spillFailed();
    }

    // The calling thread's part: every task's records in task order.
    bool handOn() {
        std::string spilled;
        for (size_t task = 0; task < tasks_.count; ++task) {
            {
                const std::lock_guard lock(mutex_);
                head_ = task;
            }
            spaceFreed_.notify_all();
            if (!tasks_.begin(task)) return false;
            while (true) {
                ForkGate::instance().safePoint();
                Chunk chunk;
                {
                    std::unique_lock lock(mutex_);
                    Spool& spool = spools_[task];
                    ForkGate::waitParked(lock, arrived_, [&] { return !spool.chunks.empty() || spool.finished || stopped(); });
                    if (spool.chunks.empty()) {
                        if (!spool.finished) return false;  // stopped by a worker's failure
                        break;
                    }
                    chunk = std::move(spool.chunks.front());
                    spool.chunks.pop_front();
                    if (chunk.at < 0) {
                        held_ -= chunk.size;
                        spool.held -= chunk.size;
                    }
                }
                spaceFreed_.notify_all();
                if (chunk.at >= 0) {
                    if (!readSpilled(chunk, &spilled)) return false;
                    chunk.bytes.swap(spilled);
                }
                if (!tasks_.chunk(task, chunk.bytes)) return false;
                if (chunk.at >= 0) chunk.bytes.swap(spilled);
                giveBack(std::move(chunk.bytes));
            }
            if (!tasks_.end(task)) return false;
        }
        return true;
    }

    const PoolOptions& options_;
    const PoolTasks& tasks_;
    std::mutex mutex_;
    std::condition_variable arrived_, spaceFreed_;
    std::vector<Spool> spools_;
    std::vector<std::string> spare_;  // chunks' memory to be used again
    size_t head_ = 0;
    size_t held_ = 0;
    std::atomic<size_t> next_{0};
    std::atomic<bool> stop_{false};
    std::mutex spillMutex_;
    int spillFd_ = -1;
    off_t spillEnd_ = 0;
    QString spillError_;
};

}  // namespace

bool RecordsInto::record(const TraceKind&, const Provenance& from, std::span<const Value> values) {
    if (out_.stopped()) return false;
    appendSizedRecord(out_.bytes(), from, values);
    out_.handOver();
    return true;
}

bool forEachRecord(std::string_view chunk, const TraceKind& kind, const std::function<bool(const Provenance&, std::span<const Value>)>& each) {
    std::vector<Value> values;
    Provenance from;
    for (size_t at = 0; at + 4 <= chunk.size();) {
        const std::string_view body = sizedRecordAt(chunk, static_cast<uint32_t>(at));
        decodeRecordBody(body, kind, from, values);
        if (!each(from, values)) return false;
        at += 4 + body.size();
    }
    return true;
}

bool runPool(const PoolOptions& options, const PoolTasks& tasks, QString* why) {
    Pool pool(options, tasks);
    return pool.run(why);
}

}  // namespace kestrova
