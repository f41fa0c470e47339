// Reading on every core with output that does not depend on how many there are. A reading is cut
// into tasks (a kind of a host, or one browser profile of such a kind); worker threads take the
// tasks in order and read each into a spool (compact record bodies, or the records' text where
// the workers format them too), while the calling thread hands what they read on, task after task
// in the order the tasks were made and each task's records in the order they were read: the same
// records in the same order as one thread reading the tasks one after another would give.
//
// The task being handed on is drained as it is read. A task read ahead of it keeps its records
// in memory up to a budget shared by all, and beyond it in an unnamed file of the private
// temporary folder, so a large kind read early never holds the program's memory.
#pragma once

#include <QString>
#include <functional>
#include <string>
#include <string_view>

#include "traces/trace_kind.h"

namespace kestrova {

struct PoolOptions {
    int workers = 1;
    QString spillFolder;                   // where records read ahead go beyond the budget
    size_t heldBudget = size_t{64} << 20;  // bytes read ahead kept in memory, over all tasks
};

// Where a worker puts what it reads: bytes (record bodies, or text already formatted), handed
// over a chunk at a time.
class PoolOutput {
public:
    virtual ~PoolOutput() = default;
    // Append here; the string stays the same object for the whole task.
    std::string& bytes() { return bytes_; }
    // Hands what bytes() holds over once it passes a chunk's size (whatever it holds, with force).
    void handOver(bool force = false) {
        if (bytes_.size() >= kChunk || (force && !bytes_.empty())) push();
    }
    // The reading is to stop (the writer stopped, or what was read ahead could not be kept).
    virtual bool stopped() const = 0;
    // Chunks of about this size: large enough that handing one over costs nothing beside its
    // contents, small enough that the writer starts soon after the reading does.
    static constexpr size_t kChunk = size_t{1} << 20;

protected:
    virtual void push() = 0;
    std::string bytes_;
};

// A worker's sink when records travel as such: each record's body into the output.
class RecordsInto : public TraceSink {
public:
    explicit RecordsInto(PoolOutput& out) : out_(out) {}
    bool record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) override;

private:
    PoolOutput& out_;
};
// Each record of a chunk RecordsInto made, decoded as the kind's; false when `each` stops.
bool forEachRecord(std::string_view chunk, const TraceKind& kind, const std::function<bool(const Provenance&, std::span<const Value>)>& each);

// What the pool calls.
struct PoolTasks {
    size_t count = 0;
    // On a worker: reads the task into the output. Worker numbers run from 0 to workers - 1, so
    // that each can keep readers of its own.
    std::function<void(int worker, size_t task, PoolOutput& out)> read;
    // On the calling thread, in task order: before a task's first chunk, each chunk, and after
    // its last. False from any of them stops the reading (the workers stop at their next record).
    std::function<bool(size_t task)> begin;
    std::function<bool(size_t task, std::string_view chunk)> chunk;
    std::function<bool(size_t task)> end;
};

// Runs the tasks; false when a callback stopped it, or (with *why) when records read ahead could
// not be kept.
bool runPool(const PoolOptions& options, const PoolTasks& tasks, QString* why);

}  // namespace kestrova
