// ResultList: the content of the main window's list: column headers with widths in twips, rows
// of text cells and the two status-bar panels. Rows are stored compactly because a category can
// hold a million rows: cell texts back to back in large chunks, one place per cell, and a cell
// whose characters all lie below 256 (most URLs, paths, dates) one byte a character.
#pragma once

#include <QAnyStringView>
#include <QString>
#include <QStringList>
#include <QStringView>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace kestrova {

// An array that grows in blocks which never move, so that appending never copies what it holds
// (a list of a million rows has four million cell places).
template <typename T>
class BlockArray {
public:
    void push_back(T value) {
        if (size_ % kBlock == 0) blocks_.push_back(std::make_unique_for_overwrite<T[]>(kBlock));
        blocks_.back()[size_ % kBlock] = value;
        ++size_;
    }
    const T& operator[](size_t i) const { return blocks_[i / kBlock][i % kBlock]; }
    size_t size() const { return size_; }
    void clear() {
        blocks_.clear();
        blocks_.shrink_to_fit();
        size_ = 0;
    }

private:
    static constexpr size_t kBlock = 4096;
    std::vector<std::unique_ptr<T[]>> blocks_;
    size_t size_ = 0;
};

// What a column's cells hold, for sorting: text, numbers, or times as the list writes them.
enum class ColumnKind { Text, Number, Time };

struct Column {
    QString text;
    int widthTwips = 0;
    ColumnKind kind = ColumnKind::Text;
};

inline const QString kTotalRecords = QStringLiteral("Total Records: ");

// Where a list hands its rows when it streams instead of keeping them: the command line writes
// each row as it is read, so a million rows leave the program without ever being held. Cells are
// Latin-1 or UTF-16 views, exactly as many as the list has columns (at least one): missing cells
// are empty, cells beyond the columns are not shown. Valid for the call only.
class RowStream {
public:
    virtual ~RowStream() = default;
    virtual void row(std::span<const QAnyStringView> cells) = 0;
};

class ResultList {
public:
    void clearRows();
    void clearColumns();
    void addColumn(const QString& text, int widthTwips, ColumnKind kind = ColumnKind::Text);
    // A row: its own text first, then its sub-items; missing trailing cells read as empty.
    void addRow(const QStringList& cells);
    void addRow(QStringView text);
    void addRow(const QString& text) { addRow(QStringView(text)); }
    // A row of Latin-1 or UTF-16 views, copied in.
    void addRow(std::span<const QAnyStringView> cells);
    // A one-cell row from bytes, one byte one character, stored as they are.
    void addRowLatin1(QByteArrayView bytes);

    // Rows added from now on go to the stream and are only counted (nullptr: kept again). The
    // list's panels, columns and count behave as before; a streamed row has no cells to look at.
    void streamTo(RowStream* stream) { stream_ = stream; }

    const std::vector<Column>& columns() const { return columns_; }
    int rowCount() const { return static_cast<int>(rowFirstCell_.size() + streamed_); }
    // The text of a cell ("" beyond the row's cells).
    QString cell(int row, int column) const;
    // The same without a copy, valid until the list changes.
    QAnyStringView cellView(int row, int column) const;
    QStringList row(int row) const;

    // The rows in the order a click on that column's header sorts them, ties kept in insertion
    // order, also when descending: a time column by its times and a number column by its
    // numbers (cells that hold none, such as an empty one, come first, among themselves by
    // their text), any other case-insensitively.
    std::vector<uint32_t> sortedOrder(int column, bool descending = false) const;

    const QString& panel1() const { return panel1_; }
    const QString& panel2() const { return panel2_; }
    void setPanel1(const QString& text);
    void setPanel2(const QString& text);
    // Panel 2 from the rows the list holds now, never from a reader's own count.
    void showCount() { setPanel2(kTotalRecords + QString::number(rowCount())); }

    // Readers hide the list while they fill it; a view redraws when it is shown again.
    bool visible() const { return visible_; }
    void setVisible(bool visible);

    // Bumped whenever rows are cleared or the columns change: a view that saw another
    // generation starts over, one that saw this one only needs the rows appended since.
    uint64_t generation() const { return generation_; }

    // Called after a change a view must redraw for (columns, cleared rows, panels, shown or
    // hidden), not per added row: views pick appended rows up when they next look.
    void setListener(std::function<void()> listener) { listener_ = std::move(listener); }

    // The text shown, as UTF-16 would hold it (what the storage is measured against).
    size_t textBytes() const { return textUnits_ * sizeof(char16_t); }

private:
    // Room for a cell of that many bytes: the current chunk, or a new one. A UTF-16 cell starts
    // at an even offset; a one-byte cell of odd length is followed by a pad byte, so every cell
    // starts aligned and its length is the distance to the next one less its pad.
    char* reserveCell(uint32_t units, bool wide);
    void storeCell(QStringView text);
    void storeAnyCell(QAnyStringView text);
    // Hands a row to the stream, fitted to the columns.
    void passOn(std::span<const QAnyStringView> cells);
    void changed() {
        if (listener_) listener_();
    }

    // Cell texts live back to back in chunks of a fixed size that never move, so filling never
    // copies what is already stored and wastes at most the tail of the last chunk. A cell never
    // straddles two chunks; one longer than a chunk gets a chunk of its own.
    struct FreeChunk {
        void operator()(char* bytes) const { std::free(bytes); }
    };
    struct Chunk {
        std::unique_ptr<char[], FreeChunk> bytes;
        uint32_t used = 0;
        uint32_t capacity = 0;
    };
    static std::unique_ptr<char[], FreeChunk> allocateChunk(uint32_t capacity, bool large);
    static constexpr uint32_t kChunkBytes = 2u << 20;
    static constexpr size_t kSmallListChunks = 8;  // up to 16 MiB of text: ordinary pages
    // A cell's place: chunk index in the high 32 bits; in the low ones the UTF-16 flag (bit 31),
    // the pad flag (bit 30) and the byte offset in the chunk.
    static constexpr uint64_t kWide = 1u << 31;
    static constexpr uint64_t kPadded = 1u << 30;
    static constexpr uint64_t kOffset = kPadded - 1;

    std::vector<Column> columns_;
    std::vector<Chunk> chunks_;
    BlockArray<uint64_t> cellStart_;     // place of each cell
    BlockArray<uint32_t> rowFirstCell_;  // index of each row's first cell in cellStart_
    size_t textUnits_ = 0;
    QString panel1_;
    QString panel2_;
    bool visible_ = true;
    uint64_t generation_ = 0;
    std::function<void()> listener_;
    RowStream* stream_ = nullptr;
    size_t streamed_ = 0;
    std::vector<QAnyStringView> fitted_, spare_;  // a streamed row's views, reused
};

}  // namespace kestrova
