// How kestrova-cli writes a category: TSV, CSV or JSON, straight from the rows as the readers hand
// them over. Nothing is held between rows: a cell goes from the reader's view (Latin-1 bytes or
// UTF-16) into an output buffer, escaped on the way, and the buffer goes to the file descriptor
// when it is full. A million rows leave the program in the time the readers take to read them,
// in flat memory.
//
//   TSV   one record a line: "key", "columns", one "row" a row, a "message" for each message box
//         the category showed, "panel1", "panel2"; fields separated by tabs. Inside a field a
//         backslash is "\\", a tab "\t", a line feed "\n", a carriage return "\r", a NUL "\0",
//         and a byte of a file name that is not UTF-8 "\xFF".
//   CSV   a table a category, as RFC 4180 quotes it: one header row of the column names, then the
//         rows; a spreadsheet opens it as it is. Categories after the first follow an empty line.
//         The panels and messages are not part of the table: they go to the notes stream.
//   JSON  one array with an object a category: key, columns, rows, message (when one was shown),
//         panel1, panel2.
#pragma once

#include <QAnyStringView>
#include <QString>
#include <QStringList>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "cli/escape.h"
#include "core/frame/result_list.h"

namespace kestrova::cli {

// Bytes for a file descriptor, written in large pieces. Write errors are remembered, not thrown:
// the command line reports them once, at the end.
class ByteOutput {
public:
    explicit ByteOutput(int fd) : fd_(fd), buffer_(new char[kCapacity]), capacity_(kCapacity) {}
    // Into memory: what is flushed is appended to `into` (text formatted on another thread).
    explicit ByteOutput(std::string& into) : fd_(-1), into_(&into), buffer_(new char[kCapacity]), capacity_(kCapacity) {}
    ByteOutput(const ByteOutput&) = delete;
    ByteOutput& operator=(const ByteOutput&) = delete;
    ~ByteOutput() { flush(); }

    // Room for n bytes at the returned place; commit() says where the written bytes end.
    char* room(size_t n) {
        if (used_ + n > capacity_) makeRoom(n);
        return buffer_.get() + used_;
    }
    void commit(char* end) { used_ = static_cast<size_t>(end - buffer_.get()); }
    void put(std::string_view bytes) {
        char* to = room(bytes.size());
        std::memcpy(to, bytes.data(), bytes.size());
        commit(to + bytes.size());
    }
    // Text escaped for the format.
    void putEscaped(QAnyStringView text, Format format);
    // Writes what is buffered once there is enough of it.
    void maybeFlush() {
        if (used_ >= kFlushAt) flush();
    }
    void flush();
    // Bytes already made elsewhere, written through as they are (after what is buffered).
    void putFormatted(std::string_view bytes);
    bool failed() const { return failed_; }

private:
    static constexpr size_t kFlushAt = 1u << 20;
    static constexpr size_t kCapacity = 2u << 20;
    void makeRoom(size_t n);
    void writeAll(const char* at, size_t left);
    int fd_;
    std::string* into_ = nullptr;
    std::unique_ptr<char[]> buffer_;
    size_t used_ = 0;
    size_t capacity_;
    bool failed_ = false;
};

class Printer : public RowStream {
public:
    // notes: where CSV writes what is not part of its table (the panels and messages).
    Printer(ByteOutput& out, Format format, std::FILE* notes = stderr) : out_(out), format_(format), notes_(notes) {}
    ~Printer() override { finish(); }

    // A category's output starts: its rows will come through row(), from the list given.
    void begin(const QString& key, const ResultList& list);
    void row(std::span<const QAnyStringView> cells) override;
    // The category has run: what it showed besides its rows.
    void end(const QStringList& messages);
    // Closes the document (the JSON array); called by the destructor if not before.
    void finish();

private:
    void header();
    // A record of TSV or a row of CSV: fields separated by the format's separator.
    template <typename Fields>
    void line(std::string_view kind, const Fields& fields);
    void jsonArray(std::span<const QAnyStringView> items);

    ByteOutput& out_;
    Format format_;
    std::FILE* notes_;
    QString key_;
    const ResultList* list_ = nullptr;
    bool headerWritten_ = false;
    bool started_ = false;
    bool finished_ = false;
    qint64 rows_ = 0;
};

}  // namespace kestrova::cli
