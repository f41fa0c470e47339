#include "cli/timeline_output.h"

#include <charconv>

namespace kestrova::cli {
namespace {

// Body and TLN fields are separated by "|" and end at a line break, with no escaping of their
// own: such characters inside a text are percent-encoded.
void appendPlain(std::string& out, std::string_view text) {
    for (const char c : text) {
        if (c == '|') out += "%7C";
        else if (c == '\n') out += "%0A";
        else if (c == '\r') out += "%0D";
        else out += c;
    }
}

std::string_view view(const QByteArray& bytes) { return std::string_view(bytes.constData(), static_cast<size_t>(bytes.size())); }

void appendNumber(std::string& out, int64_t n) {
    char digits[24];
    out.append(digits, static_cast<size_t>(std::to_chars(digits, digits + 24, n).ptr - digits));
}

}  // namespace

TimelinePrinter::TimelinePrinter(ByteOutput& out, TimelineFormat format, IsoTimeWriter times, QByteArray hostname)
    : out_(out), format_(format), times_(std::move(times)), hostname_(std::move(hostname)) {}

void TimelinePrinter::header() {
    if (format_ == TimelineFormat::Csv) {
        out_.put("datetime,timestamp,timestamp_desc,message,kind,user,browser,profile,hostname,source,source_part,fields\n");
    }
}

void TimelinePrinter::event(const TimelineEvent& e) {
    const TraceKind& kind = *e.kind;
    const char* meaning = kind.fields[static_cast<size_t>(e.timeField)].meaning;
    const std::string_view desc = meaning ? meaning : kind.fields[static_cast<size_t>(e.timeField)].name;
    const QByteArray message = (QLatin1String(kind.name) + QStringLiteral(": ") + eventSubject(kind, e.values)).toUtf8();
    char when[IsoTimeWriter::kMaxSize];
    const std::string_view datetime(when, static_cast<size_t>(times_.write(when, e.time) - when));
    const int64_t seconds = e.time >= 0 ? e.time / 1000000 : -((-e.time + 999999) / 1000000);
    std::string line;
    if (format_ == TimelineFormat::Body || format_ == TimelineFormat::Tln) {
        if (format_ == TimelineFormat::Body) {
            line += "0|";
            appendPlain(line, view(message));
            line += " [";
            line += desc;
            line += "]|0|0|0|0|0";
            for (int slot = 0; slot < 4; ++slot) {
                line += '|';
                appendNumber(line, seconds);
            }
        } else {
            appendNumber(line, seconds);
            line += '|';
            line += kind.name;
            line += '|';
            appendPlain(line, view(hostname_));
            line += '|';
            appendPlain(line, view(e.from.user));
            line += '|';
            line += desc;
            line += ": ";
            appendPlain(line, view(message));
        }
        line += '\n';
        out_.put(line);
        out_.maybeFlush();
        return;
    }
    const Format escaping = format_ == TimelineFormat::Csv ? Format::Csv : Format::Json;
    // The texts of an event: (name, value, quoted) in order; numbers and booleans unquoted in JSON.
    struct Field {
        std::string_view name;
        std::string value;
        bool text;
    };
    std::vector<Field> fields;
    const auto add = [&](std::string_view name, std::string_view value, bool text = true) {
        fields.push_back({name, std::string(value), text});
    };
    std::string timestamp;
    appendNumber(timestamp, e.time);
    add("datetime", datetime);
    add("timestamp", timestamp, false);
    add("timestamp_desc", desc);
    add("message", view(message));
    add("kind", kind.name);
    add("user", view(e.from.user));
    add("browser", view(e.from.browser));
    add("profile", view(e.from.profile));
    add("hostname", view(hostname_));
    add("source", view(e.from.source));
    add("source_part", view(e.from.part));
    std::string pairs;
    for (size_t i = 0; i < kind.fields.size(); ++i) {
        const Value& v = e.values[i];
        if (v.absent()) continue;
        std::string value;
        bool text = true;
        if (v.is == Value::Is::Text) {
            value = std::string(v.utf8);
        } else if (kind.fields[i].type == FieldType::Time) {
            char t[IsoTimeWriter::kMaxSize];
            value.assign(t, static_cast<size_t>(times_.write(t, v.number) - t));
        } else if (kind.fields[i].type == FieldType::Bool) {
            value = v.number ? "true" : "false";
            text = false;
        } else {
            appendNumber(value, v.number);
            text = false;
        }
        if (format_ == TimelineFormat::Jsonl) {
            fields.push_back({kind.fields[i].name, std::move(value), text});
        } else {
            if (!pairs.empty()) pairs += "; ";
            pairs += kind.fields[i].name;
            pairs += '=';
            pairs += value;
        }
    }
    if (format_ == TimelineFormat::Csv) add("fields", pairs);
    std::string out;
    if (format_ == TimelineFormat::Jsonl) out += '{';
    bool first = true;
    for (const Field& f : fields) {
        if (format_ == TimelineFormat::Jsonl && f.value.empty() && f.text && f.name != "message") continue;
        if (!first) out += ',';
        first = false;
        if (format_ == TimelineFormat::Jsonl) {
            out += '"';
            out += f.name;
            out += "\":";
        }
        const size_t at = out.size();
        out.resize(at + escapedUtf8Room(f.value) + 2);
        char* to = out.data() + at;
        if (format_ == TimelineFormat::Jsonl && f.text) *to++ = '"';
        to = putEscapedUtf8(to, f.value, escaping);
        if (format_ == TimelineFormat::Jsonl && f.text) *to++ = '"';
        out.resize(static_cast<size_t>(to - out.data()));
    }
    if (format_ == TimelineFormat::Jsonl) out += '}';
    out += '\n';
    out_.put(out);
    out_.maybeFlush();
}

}  // namespace kestrova::cli
