// RowReadAhead: a reader's rows fetched on a thread of its own, a few batches ahead of the
// reader's thread, which turns them into texts and lists them. A history of a million rows costs
// about as much time stepping through the database as converting and storing what it holds;
// side by side the two take half as long as one after the other.
//
// The fetching thread is the only one that uses the database connection until the read-ahead
// ends: the reader prepares its statements before and finalizes them after. What it hands over
// is each row's column bytes, copied, so that the engine may move on. The rows come out in the
// order they were fetched, all of them, unless the reader stops taking them.
#pragma once

#include <QAnyStringView>
#include <QByteArrayView>
#include <QString>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/sqlite/msqlite.h"

namespace kestrova {

class RowReadAhead {
public:
    // The fetching side: rows go in batches of this many, or fewer once a batch holds this much
    // text (a database of huge values must not make the read-ahead huge).
    static constexpr int kBatchRows = 1024;
    static constexpr size_t kBatchBytes = size_t{1} << 20;

    class Out {
    public:
        // Copies the current row of a statement: columns first .. first + count - 1 (count is
        // the read-ahead's width).
        void row(MSQLite& sql, SqlHandle statement, int first = 0, int64_t tag = 0);
        // True once the reader stopped taking rows: the fetch may end early.
        bool cancelled() const;

    private:
        friend class RowReadAhead;
        explicit Out(RowReadAhead& owner) : owner_(owner) {}
        RowReadAhead& owner_;
    };
    // Runs on the fetching thread and puts every row through Out::row.
    using Fetch = std::function<void(Out&)>;

    // Starts fetching at once; width is the number of cells a row has.
    RowReadAhead(int width, Fetch fetch);
    // Ends the fetch (cancelling it if rows are left) and waits for its thread.
    ~RowReadAhead();
    RowReadAhead(const RowReadAhead&) = delete;
    RowReadAhead& operator=(const RowReadAhead&) = delete;

    // Moves to the next row; false when there is none. What the fetch threw is thrown here,
    // after the rows it handed over before.
    bool next();
    // Stops taking rows: the fetch ends at its next row.
    void cancel();

    // What the fetch tagged the current row with (which visit it belongs to, say).
    int64_t tag() const { return reading_.tags[static_cast<size_t>(row_)]; }
    // The current row's cells: the bytes up to the first zero byte, nullopt for NULL.
    std::optional<QByteArrayView> cell(int column) const;
    // As MSQLite::ColumnText reads the column.
    QString text(int column) const;
    // The same as a view where it can be: ASCII cells as their own bytes (one byte one
    // character, which is what the decoder makes of them), others decoded into scratch. Valid
    // until the next row or scratch changes.
    QAnyStringView view(int column, QString& scratch) const;

private:
    struct Cell {
        uint32_t offset = 0;
        int32_t length = -1;  // -1: NULL
        bool ascii = true;    // looked at while copying, where the time is cheaper
    };
    struct Batch {
        std::string bytes;
        std::vector<Cell> cells;  // width_ a row
        std::vector<int64_t> tags;
        int rows = 0;
    };
    void flush();
    void finish(std::exception_ptr error);

    const int width_;
    // The fetching thread's batch being filled.
    Batch filling_;
    // Handed over, oldest first; at most kQueued at once so memory stays flat.
    static constexpr size_t kQueued = 4;
    std::deque<Batch> queue_;
    std::vector<Batch> spare_;  // emptied batches, reused for their buffers
    bool done_ = false;
    std::atomic<bool> cancelled_ = false;
    std::exception_ptr error_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    // The reader's current batch and row.
    Batch reading_;
    int row_ = -1;
    std::thread thread_;
};

}  // namespace kestrova
