#include "cli/output.h"

#include "platform/io/whole_io.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace kestrova::cli {

void ByteOutput::flush() {
    writeAll(buffer_.get(), used_);
    used_ = 0;
}

void ByteOutput::writeAll(const char* at, size_t left) {
    if (into_) {
        into_->append(at, left);
        return;
    }
    // Once failed, nothing more is written: errno keeps why for the message.
    if (!failed_ && !writeWhole(fd_, at, left)) failed_ = true;
}

void ByteOutput::putFormatted(std::string_view bytes) {
    flush();
    writeAll(bytes.data(), bytes.size());
}

void ByteOutput::makeRoom(size_t n) {
    flush();
    if (n <= capacity_) return;
    buffer_.reset(new char[n]);  // a cell larger than the buffer: rare, and kept for the next one
    capacity_ = n;
}

void ByteOutput::putEscaped(QAnyStringView text, Format format) {
    commit(cli::putEscaped(room(escapedRoom(text)), text, format));
}

template <typename Fields>
void Printer::line(std::string_view kind, const Fields& fields) {
    // Room for the whole line at once: one check a row, not one a cell.
    size_t need = kind.size() + 1;
    for (const auto& field : fields) need += escapedRoom(QAnyStringView(field)) + 1;
    char* to = out_.room(need);
    std::memcpy(to, kind.data(), kind.size());
    to += kind.size();
    const char separator = format_ == Format::Csv ? ',' : '\t';
    bool first = kind.empty();
    for (const auto& field : fields) {
        if (!first) *to++ = separator;
        first = false;
        to = putEscaped(to, QAnyStringView(field), format_);
    }
    *to++ = '\n';
    out_.commit(to);
}

void Printer::jsonArray(std::span<const QAnyStringView> items) {
    out_.put("[");
    for (size_t i = 0; i < items.size(); ++i) {
        char* to = out_.room(escapedRoom(items[i]) + 4);
        if (i) {
            *to++ = ',';
            *to++ = ' ';
        }
        *to++ = '"';
        to = putEscaped(to, items[i], Format::Json);
        *to++ = '"';
        out_.commit(to);
    }
    out_.put("]");
}

void Printer::begin(const QString& key, const ResultList& list) {
    key_ = key;
    list_ = &list;
    headerWritten_ = false;
    rows_ = 0;
}

// Written when the first row comes, or at the end: the columns are the category's by then.
void Printer::header() {
    if (headerWritten_) return;
    headerWritten_ = true;
    std::vector<QAnyStringView> columns;
    for (const Column& c : list_->columns()) columns.emplace_back(c.text);
    const QAnyStringView key(key_);
    switch (format_) {
        case Format::Tsv:
            line("key", std::span(&key, 1));
            line("columns", columns);
            break;
        case Format::Csv:
            if (started_) out_.put("\n");
            line("", columns);
            break;
        case Format::Json:
            out_.put(started_ ? ",\n  {\n    \"key\": \"" : "[\n  {\n    \"key\": \"");
            out_.putEscaped(key, Format::Json);
            out_.put("\",\n    \"columns\": ");
            jsonArray(columns);
            out_.put(",\n    \"rows\": [");
            break;
    }
    started_ = true;
}

void Printer::row(std::span<const QAnyStringView> cells) {
    header();
    switch (format_) {
        case Format::Tsv: line("row", cells); break;
        case Format::Csv: line("", cells); break;
        case Format::Json:
            out_.put(rows_ ? ",\n      " : "\n      ");
            jsonArray(cells);
            break;
    }
    ++rows_;
    out_.maybeFlush();
}

void Printer::end(const QStringList& messages) {
    header();
    const QString& panel1 = list_->panel1();
    const QString& panel2 = list_->panel2();
    switch (format_) {
        case Format::Tsv:
            for (const QString& message : messages) line("message", std::span<const QString>(&message, 1));
            line("panel1", std::span(&panel1, 1));
            line("panel2", std::span(&panel2, 1));
            break;
        case Format::Csv:
            // Not part of the table: a spreadsheet would take them for rows.
            for (const QString& message : messages) {
                std::fprintf(notes_, "%s: message: %s\n", qPrintable(key_), qPrintable(message));
            }
            std::fprintf(notes_, "%s: panel1: %s\n%s: panel2: %s\n", qPrintable(key_), qPrintable(panel1),
                         qPrintable(key_), qPrintable(panel2));
            break;
        case Format::Json: {
            out_.put(rows_ ? "\n    ]" : "]");
            const auto member = [&](const char* name, const QString& value) {
                out_.put(",\n    \"");
                out_.put(name);
                out_.put("\": \"");
                out_.putEscaped(value, Format::Json);
                out_.put("\"");
            };
            if (!messages.isEmpty()) member("message", messages.join(QLatin1Char('\n')));
            member("panel1", panel1);
            member("panel2", panel2);
            out_.put("\n  }");
            break;
        }
    }
    out_.flush();
}

void Printer::finish() {
    if (finished_) return;
    finished_ = true;
    if (format_ == Format::Json) out_.put(started_ ? "\n]\n" : "[]\n");
    out_.flush();
}

}  // namespace kestrova::cli
