#include "core/sqlite/row_read_ahead.h"

#include <utility>

namespace kestrova {

RowReadAhead::RowReadAhead(int width, Fetch fetch) : width_(width) {
    thread_ = std::thread([this, fetch = std::move(fetch)] {
        Out out(*this);
        std::exception_ptr error;
        try {
            fetch(out);
        } catch (...) {
            error = std::current_exception();
        }
        finish(error);
    });
}

RowReadAhead::~RowReadAhead() {
    cancel();
    thread_.join();
}

void RowReadAhead::Out::row(MSQLite& sql, SqlHandle statement, int first, int64_t tag) {
    Batch& batch = owner_.filling_;
    MSQLite::Digits digits;
    for (int column = first; column < first + owner_.width_; ++column) {
        const auto bytes = sql.ColumnUtf8(statement, column, digits);
        Cell cell;
        if (bytes) {
            cell.offset = static_cast<uint32_t>(batch.bytes.size());
            cell.length = static_cast<int32_t>(bytes->size());
            batch.bytes.append(bytes->data(), static_cast<size_t>(bytes->size()));
            cell.ascii = IsAscii(*bytes);
        }
        batch.cells.push_back(cell);
    }
    batch.tags.push_back(tag);
    if (++batch.rows == kBatchRows || batch.bytes.size() >= kBatchBytes) owner_.flush();
}

bool RowReadAhead::Out::cancelled() const { return owner_.cancelled_; }

void RowReadAhead::flush() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return queue_.size() < kQueued || cancelled_; });
    if (cancelled_) {
        filling_.bytes.clear();
        filling_.cells.clear();
        filling_.tags.clear();
        filling_.rows = 0;
        return;
    }
    queue_.push_back(std::move(filling_));
    filling_ = Batch{};
    if (!spare_.empty()) {
        filling_ = std::move(spare_.back());
        spare_.pop_back();
    }
    changed_.notify_all();
}

void RowReadAhead::finish(std::exception_ptr error) {
    if (filling_.rows > 0) flush();
    const std::lock_guard lock(mutex_);
    done_ = true;
    error_ = std::move(error);
    changed_.notify_all();
}

bool RowReadAhead::next() {
    if (row_ + 1 < reading_.rows) {
        ++row_;
        return true;
    }
    std::unique_lock lock(mutex_);
    if (reading_.bytes.capacity() > 0 && spare_.size() < kQueued) {
        // Kept for the fetching thread to fill again, emptied but with its buffers.
        reading_.bytes.clear();
        reading_.cells.clear();
        reading_.tags.clear();
        reading_.rows = 0;
        spare_.push_back(std::move(reading_));
    }
    reading_ = Batch{};
    row_ = -1;
    changed_.wait(lock, [this] { return !queue_.empty() || done_; });
    if (queue_.empty()) {
        const std::exception_ptr error = std::exchange(error_, nullptr);
        lock.unlock();
        if (error) std::rethrow_exception(error);
        return false;
    }
    reading_ = std::move(queue_.front());
    queue_.pop_front();
    changed_.notify_all();
    row_ = 0;
    return true;
}

void RowReadAhead::cancel() {
    const std::lock_guard lock(mutex_);
    cancelled_ = true;
    queue_.clear();
    changed_.notify_all();
}

std::optional<QByteArrayView> RowReadAhead::cell(int column) const {
    const Cell& cell = reading_.cells[static_cast<size_t>(row_ * width_ + column)];
    if (cell.length < 0) return std::nullopt;
    return QByteArrayView(reading_.bytes.data() + cell.offset, cell.length);
}

QString RowReadAhead::text(int column) const {
    const auto bytes = cell(column);
    return bytes ? DecodeUtf8(*bytes) : QString();
}

QAnyStringView RowReadAhead::view(int column, QString& scratch) const {
    const Cell& at = reading_.cells[static_cast<size_t>(row_ * width_ + column)];
    if (at.length < 0) return QLatin1StringView();
    const char* bytes = reading_.bytes.data() + at.offset;
    if (at.ascii) return QLatin1StringView(bytes, at.length);  // what the decoder makes of it
    scratch = DecodeUtf8(QByteArrayView(bytes, at.length));
    return scratch;
}

}  // namespace kestrova
