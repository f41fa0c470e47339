// Reading on every core with output that does not depend on how many there are. A reading is cut
// into tasks (a kind of a host, or one browser profile of such a kind); worker threads take the
// tasks in order and read each into a spool of compact record bodies, while the calling thread
// hands the records on, task after task in the order the tasks were made and each task's records
// in the order they were read: the same records in the same order as one thread reading the
// tasks one after another would give.
//
// The task being handed on is drained as it is read. A task read ahead of it keeps its records
// in memory up to a budget shared by all, and beyond it in an unnamed file of the private
// temporary folder, so a large kind read early never holds the program's memory.
#pragma once

#include <QString>
#include <functional>

#include "traces/trace_kind.h"

namespace kestrova {

struct PoolOptions {
    int workers = 1;
    QString spillFolder;                   // where records read ahead go beyond the budget
    size_t heldBudget = size_t{64} << 20;  // bytes read ahead kept in memory, over all tasks
};

// What the pool calls.
struct PoolTasks {
    size_t count = 0;
    // The kind a task reads (its records are decoded as that kind's).
    std::function<const TraceKind&(size_t task)> kind;
    // On a worker: reads the task into the sink. Worker numbers run from 0 to workers - 1, so
    // that each can keep readers of its own.
    std::function<void(int worker, size_t task, TraceSink& sink)> read;
    // On the calling thread, in task order: before a task's first record, each record, and after
    // its last. False from any of them stops the reading (the workers stop at their next record).
    std::function<bool(size_t task)> begin;
    std::function<bool(size_t task, const Provenance& from, std::span<const Value> values)> record;
    std::function<bool(size_t task)> end;
};

// Runs the tasks; false when a callback stopped it, or (with *why) when records read ahead could
// not be kept.
bool runPool(const PoolOptions& options, const PoolTasks& tasks, QString* why);

}  // namespace kestrova
