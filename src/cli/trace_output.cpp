#include "cli/trace_output.h"

#include <charconv>

namespace kestrova::cli {
namespace {

Format escaping(TraceFormat format) {
    switch (format) {
    case TraceFormat::Csv: return Format::Csv;
    case TraceFormat::Tsv: return Format::Tsv;
    default: return Format::Json;
    }
}

}  // namespace

void TracePrinter::useKind(const TraceKind& kind) {
    kind_ = &kind;
    columns_ = outputColumns(kind, extra_);
    jsonKeys_.clear();
    for (const OutputColumn& column : columns_) jsonKeys_.push_back(std::string(",\"") + column.name + "\":");
}

void TracePrinter::resume(const TraceKind& kind) {
    useKind(kind);
    anyTable_ = anyObject_ = finished_ = true;
}

void TracePrinter::begin(const TraceKind& kind) {
    useKind(kind);
    if (format_ != TraceFormat::Csv && format_ != TraceFormat::Tsv) return;
    if (anyTable_) out_.put("\n");
    anyTable_ = true;
    const char separator = format_ == TraceFormat::Csv ? ',' : '\t';
    std::string header;
    for (const OutputColumn& column : columns_) {
        if (!header.empty()) header += separator;
        header += column.name;
    }
    out_.put(header + '\n');
}

bool TracePrinter::record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) {
    if (kind_ != &kind) begin(kind);
    if (format_ == TraceFormat::Csv || format_ == TraceFormat::Tsv) tableRecord(from, values);
    else objectRecord(kind, from, values);
    out_.maybeFlush();
    return !out_.failed();
}

void TracePrinter::tableRecord(const Provenance& from, std::span<const Value> values) {
    const Format format = escaping(format_);
    size_t need = 1;
    for (const OutputColumn& column : columns_) {
        const std::string_view text = column.field < 0 ? provenanceValue(from, column.field) : values[column.field].utf8;
        // Named values take up to twice their bytes as "name=value; " pairs.
        need += escapedUtf8Room(text) * (column.type == FieldType::Fields ? 2 : 1) + IsoTimeWriter::kMaxSize + 24;
    }
    char* to = out_.room(need);
    const char separator = format_ == TraceFormat::Csv ? ',' : '\t';
    bool first = true;
    for (const OutputColumn& column : columns_) {
        if (!first) *to++ = separator;
        first = false;
        if (column.field < 0) {
            to = putEscapedUtf8(to, provenanceValue(from, column.field), format);
            continue;
        }
        const Value& value = values[column.field];
        if (value.is == Value::Is::Text && column.type == FieldType::Fields) {
            to = putEscapedUtf8(to, namedValuesLine(value.utf8), format);
        } else if (value.is == Value::Is::Text) {
            to = putEscapedUtf8(to, value.utf8, format);
        } else if (value.is == Value::Is::Number) {
            if (column.type == FieldType::Time) to = times_.write(to, value.number);
            else if (column.type == FieldType::Bool) to = std::to_chars(to, to + 8, value.number != 0 ? 1 : 0).ptr;
            else to = std::to_chars(to, to + 24, value.number).ptr;
        }
    }
    *to++ = '\n';
    out_.commit(to);
}

void TracePrinter::objectRecord(const TraceKind& kind, const Provenance& from, std::span<const Value> values) {
    size_t need = 64 + std::char_traits<char>::length(kind.name);
    for (size_t i = 0; i < columns_.size(); ++i) {
        const OutputColumn& column = columns_[i];
        const std::string_view text = column.field < 0 ? provenanceValue(from, column.field) : values[column.field].utf8;
        need += jsonKeys_[i].size() + escapedUtf8Room(text) * (column.type == FieldType::Fields ? 2 : 1) + IsoTimeWriter::kMaxSize + 26;
    }
    char* to = out_.room(need);
    if (format_ == TraceFormat::Json) *to++ = anyObject_ ? ',' : '[';
    anyObject_ = true;
    const auto put = [&to](std::string_view bytes) {
        std::memcpy(to, bytes.data(), bytes.size());
        to += bytes.size();
    };
    put("{\"kind\":\"");
    put(kind.name);
    *to++ = '"';
    for (size_t i = 0; i < columns_.size(); ++i) {
        const OutputColumn& column = columns_[i];
        if (column.field < 0) {
            const std::string_view text = provenanceValue(from, column.field);
            if (text.empty()) continue;
            put(jsonKeys_[i]);
            *to++ = '"';
            to = putEscapedUtf8(to, text, Format::Json);
            *to++ = '"';
            continue;
        }
        const Value& value = values[column.field];
        if (value.absent()) continue;
        put(jsonKeys_[i]);
        if (value.is == Value::Is::Text && column.type == FieldType::Fields) {
            to = putNamedValuesObject(to, value.utf8);
        } else if (value.is == Value::Is::Text) {
            *to++ = '"';
            to = putEscapedUtf8(to, value.utf8, Format::Json);
            *to++ = '"';
        } else if (column.type == FieldType::Time) {
            *to++ = '"';
            to = times_.write(to, value.number);
            *to++ = '"';
        } else if (column.type == FieldType::Bool) {
            put(value.number != 0 ? std::string_view("true") : std::string_view("false"));
        } else {
            to = std::to_chars(to, to + 24, value.number).ptr;
        }
    }
    *to++ = '}';
    if (format_ == TraceFormat::Jsonl) *to++ = '\n';
    out_.commit(to);
}

void TracePrinter::finish() {
    if (finished_) return;
    finished_ = true;
    if (format_ == TraceFormat::Json) out_.put(anyObject_ ? "]\n" : "[]\n");
    out_.flush();
}

}  // namespace kestrova::cli
