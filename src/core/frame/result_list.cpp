#include "core/frame/result_list.h"

#include "core/common/text.h"
#include "core/time/date_value.h"

#include <QLocale>
#include <algorithm>
#include <optional>
#include <cstring>
#include <new>
#include <numeric>
#include <sys/mman.h>
#include <type_traits>

namespace kestrova {

void ResultList::clearRows() {
    streamed_ = 0;
    chunks_.clear();
    chunks_.shrink_to_fit();
    textUnits_ = 0;
    cellStart_.clear();
    rowFirstCell_.clear();
    ++generation_;
    changed();
}

void ResultList::clearColumns() {
    columns_.clear();
    ++generation_;
    changed();
}

void ResultList::addColumn(const QString& text, int widthTwips, ColumnKind kind) {
    columns_.push_back({text, widthTwips, kind});
    ++generation_;
    changed();
}

std::unique_ptr<char[], ResultList::FreeChunk> ResultList::allocateChunk(uint32_t capacity, bool large) {
    // Once a list is large, a chunk of the standard size is one aligned huge page where the
    // system allows it: a million rows then fill a few hundred pages instead of a hundred
    // thousand small ones, each a fault and a zeroing of its own. Small lists, the everyday
    // case, keep ordinary pages: a huge page may make its first touch wait while the kernel
    // compacts memory, a cost only a long fill earns back.
    if (large && capacity == kChunkBytes) {
        if (void* bytes = std::aligned_alloc(kChunkBytes, kChunkBytes)) {
            ::madvise(bytes, kChunkBytes, MADV_HUGEPAGE);
            return std::unique_ptr<char[], FreeChunk>(static_cast<char*>(bytes));
        }
    }
    auto* bytes = static_cast<char*>(std::malloc(capacity));
    if (!bytes) throw std::bad_alloc();
    return std::unique_ptr<char[], FreeChunk>(bytes);
}

char* ResultList::reserveCell(uint32_t units, bool wide) {
    const uint32_t bytes = wide ? units * 2 : units;
    const uint32_t padded = bytes + (bytes & 1u);
    if (chunks_.empty() || chunks_.back().capacity - chunks_.back().used < padded) {
        const uint32_t capacity = std::max(padded, kChunkBytes);
        // Not zeroed: every byte is written before it is read.
        chunks_.push_back({allocateChunk(capacity, chunks_.size() >= kSmallListChunks), 0, capacity});
    }
    Chunk& chunk = chunks_.back();
    cellStart_.push_back((uint64_t{chunks_.size() - 1} << 32) | (wide ? kWide : 0) | (padded != bytes ? kPadded : 0) | chunk.used);
    char* at = chunk.bytes.get() + chunk.used;
    chunk.used += padded;
    textUnits_ += units;
    return at;
}

void ResultList::storeCell(QStringView text) {
    const auto units = static_cast<uint32_t>(text.size());
    const char16_t* from = reinterpret_cast<const char16_t*>(text.utf16());
    bool narrow = true;
    for (uint32_t i = 0; i < units && narrow; ++i) narrow = from[i] < 0x100;
    char* into = reserveCell(units, !narrow);
    if (narrow) {
        for (uint32_t i = 0; i < units; ++i) into[i] = static_cast<char>(from[i]);
    } else {
        std::memcpy(into, from, units * sizeof(char16_t));
    }
}

void ResultList::storeAnyCell(QAnyStringView text) {
    text.visit([this](auto view) {
        using View = decltype(view);
        if constexpr (std::is_same_v<View, QLatin1StringView>) {
            const auto units = static_cast<uint32_t>(view.size());
            char* into = reserveCell(units, false);
            if (units) std::memcpy(into, view.data(), units);  // an empty view may have no data
        } else if constexpr (std::is_same_v<View, QStringView>) {
            storeCell(view);
        } else {
            storeCell(QStringView(view.toString()));  // UTF-8: not what sources hand over, but exact
        }
    });
}

void ResultList::passOn(std::span<const QAnyStringView> cells) {
    ++streamed_;
    const size_t shown = std::max<size_t>(columns_.size(), 1);
    if (cells.size() == shown) return stream_->row(cells);
    // Fitted in a copy kept for the next row: the common row costs no allocation.
    std::vector<QAnyStringView>& fitted = fitted_.data() == cells.data() ? spare_ : fitted_;
    fitted.assign(cells.begin(), cells.begin() + static_cast<std::ptrdiff_t>(std::min(cells.size(), shown)));
    fitted.resize(shown);
    stream_->row(fitted);
}

void ResultList::addRow(std::span<const QAnyStringView> cells) {
    if (stream_) return passOn(cells);
    rowFirstCell_.push_back(static_cast<uint32_t>(cellStart_.size()));
    for (const QAnyStringView& cell : cells) storeAnyCell(cell);
    if (cells.empty()) reserveCell(0, false);
}

void ResultList::addRow(const QStringList& cells) {
    if (stream_) {
        fitted_.assign(cells.begin(), cells.end());
        return passOn(fitted_);
    }
    rowFirstCell_.push_back(static_cast<uint32_t>(cellStart_.size()));
    for (const QString& cell : cells) storeCell(cell);
    if (cells.isEmpty()) reserveCell(0, false);
}

void ResultList::addRow(QStringView text) {
    if (stream_) {
        const QAnyStringView cell(text);
        return passOn(std::span(&cell, 1));
    }
    rowFirstCell_.push_back(static_cast<uint32_t>(cellStart_.size()));
    storeCell(text);
}

void ResultList::addRowLatin1(QByteArrayView bytes) {
    if (stream_) {
        const QAnyStringView cell(QLatin1StringView(bytes.data(), bytes.size()));
        return passOn(std::span(&cell, 1));
    }
    rowFirstCell_.push_back(static_cast<uint32_t>(cellStart_.size()));
    const auto units = static_cast<uint32_t>(bytes.size());
    char* into = reserveCell(units, false);
    if (units) std::memcpy(into, bytes.data(), units);
}

QAnyStringView ResultList::cellView(int row, int column) const {
    if (row < 0 || row >= rowCount() || column < 0) return {};
    const size_t first = rowFirstCell_[static_cast<size_t>(row)];
    const size_t end = static_cast<size_t>(row) + 1 < rowFirstCell_.size() ? rowFirstCell_[static_cast<size_t>(row) + 1]
                                                                           : cellStart_.size();
    const size_t index = first + static_cast<size_t>(column);
    if (index >= end) return {};
    const uint64_t at = cellStart_[index];
    const size_t chunk = static_cast<size_t>(at >> 32);
    const auto from = static_cast<uint32_t>(at & kOffset);
    // The cell ends where the next one starts in the same chunk, else where the chunk's text ends.
    uint32_t to = chunks_[chunk].used;
    if (index + 1 < cellStart_.size() && (cellStart_[index + 1] >> 32) == chunk) {
        to = static_cast<uint32_t>(cellStart_[index + 1] & kOffset);
    }
    const uint32_t bytes = to - from - ((at & kPadded) ? 1 : 0);
    const char* text = chunks_[chunk].bytes.get() + from;
    if (at & kWide) return QStringView(reinterpret_cast<const char16_t*>(text), static_cast<qsizetype>(bytes / 2));
    return QLatin1StringView(text, static_cast<qsizetype>(bytes));
}

QString ResultList::cell(int row, int column) const { return cellView(row, column).toString(); }

QStringList ResultList::row(int row) const {
    QStringList cells;
    for (int c = 0; c < static_cast<int>(std::max<size_t>(columns_.size(), 1)); ++c) {
        cells.append(cell(row, c));
    }
    return cells;
}

std::vector<uint32_t> ResultList::sortedOrder(int column, bool descending) const {
    std::vector<uint32_t> order(static_cast<size_t>(rowCount()));
    std::iota(order.begin(), order.end(), 0u);
    const ColumnKind kind = column >= 0 && static_cast<size_t>(column) < columns_.size() ? columns_[static_cast<size_t>(column)].kind
                                                                                         : ColumnKind::Text;
    const auto text = [&](uint32_t a, uint32_t b) {
        return QAnyStringView::compare(cellView(static_cast<int>(a), column), cellView(static_cast<int>(b), column),
                                       Qt::CaseInsensitive);
    };
    if (kind == ColumnKind::Text) {
        std::stable_sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
            const int c = text(a, b);
            return descending ? c > 0 : c < 0;
        });
        return order;
    }
    // Each cell's value worked out once, not per comparison.
    const QLocale locale;
    std::vector<std::optional<double>> keys(order.size());
    for (uint32_t row = 0; row < keys.size(); ++row) {
        const QString cell = this->cell(static_cast<int>(row), column);
        if (kind == ColumnKind::Time) {
            if (const auto seconds = generalDateSeconds(upToNul(cell), locale)) keys[row] = static_cast<double>(*seconds);
        } else {
            bool ok = false;
            const double number = QStringView(cell).trimmed().toDouble(&ok);
            if (ok) keys[row] = number;
        }
    }
    std::stable_sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
        const auto& ka = keys[a];
        const auto& kb = keys[b];
        int c = 0;
        if (ka && kb) c = *ka < *kb ? -1 : *ka > *kb ? 1 : 0;
        else if (ka || kb) c = ka ? 1 : -1;
        else c = text(a, b);
        return descending ? c > 0 : c < 0;
    });
    return order;
}

void ResultList::setPanel1(const QString& text) {
    panel1_ = text;
    changed();
}

void ResultList::setPanel2(const QString& text) {
    panel2_ = text;
    changed();
}

void ResultList::setVisible(bool visible) {
    visible_ = visible;
    changed();
}

}  // namespace kestrova
