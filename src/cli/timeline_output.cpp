#include "cli/timeline_output.h"

#include <algorithm>
#include <charconv>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <iterator>
#include <mutex>
#include <thread>

#include "traces/record_body.h"

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

// A time's whole seconds since 1970, rounded down (before 1970 too), as body and TLN files count.
int64_t wholeSeconds(UtcMicros t) { return t >= 0 ? t / 1000000 : -((-t + 999999) / 1000000); }

void appendNumber(std::string& out, int64_t n) {
    char digits[24];
    out.append(digits, static_cast<size_t>(std::to_chars(digits, digits + 24, n).ptr - digits));
}

}  // namespace

TimelinePrinter::TimelinePrinter(ByteOutput& out, TimelineFormat format, IsoTimeWriter times, QByteArray hostname, ExtraColumns extra)
    : out_(out), format_(format), times_(std::move(times)), hostname_(std::move(hostname)), withStates_(extra.states), withTags_(extra.tags),
      withHost_(extra.host) {}

void TimelinePrinter::header() {
    if (format_ == TimelineFormat::Csv) {
        out_.put("datetime,timestamp,timestamp_desc,message,kind,user,browser,profile,hostname,");
        if (withHost_) out_.put("host,");
        out_.put("source,source_part,");
        if (withStates_) out_.put("snapshot,seen_in,snapshot_note,");
        if (withTags_) out_.put("tag,");
        out_.put("fields\n");
    }
}

void TimelinePrinter::event(const TimelineEvent& e) {
    const TraceKind& kind = *e.kind;
    const char* meaning = kind.fields[static_cast<size_t>(e.timeField)].meaning;
    const std::string_view desc = meaning ? meaning : kind.fields[static_cast<size_t>(e.timeField)].name;
    message_.assign(kind.name);
    message_ += ": ";
    appendEventSubject(message_, kind, e.values);
    char when[IsoTimeWriter::kMaxSize];
    const std::string_view datetime(when, static_cast<size_t>(times_.write(when, e.time) - when));
    const std::string_view hostname = e.from.host.isEmpty() ? view(hostname_) : view(e.from.host);
    if (format_ == TimelineFormat::Tln) {
        std::string& line = pairs_;
        line.clear();
        appendNumber(line, wholeSeconds(e.time));
        line += '|';
        line += kind.name;
        line += '|';
        appendPlain(line, hostname);
        line += '|';
        appendPlain(line, view(e.from.user));
        line += '|';
        line += desc;
        line += ": ";
        appendPlain(line, message_);
        line += '\n';
        out_.put(line);
        out_.maybeFlush();
        return;
    }
    // JSONL and CSV: each field escaped straight into the output buffer; numbers and booleans
    // unquoted in JSON; an empty text left out of a JSON object (but never the message).
    const bool json = format_ == TimelineFormat::Jsonl;
    bool first = true;
    const auto field = [&](std::string_view name, std::string_view value, bool text, bool named = false) {
        if (json && text && value.empty() && name != "message") return;
        char* to = out_.room(name.size() + escapedUtf8Room(value) * (named ? 2 : 1) + 8);
        if (!first) *to++ = ',';
        first = false;
        if (json) {
            *to++ = '"';
            std::memcpy(to, name.data(), name.size());
            to += name.size();
            *to++ = '"';
            *to++ = ':';
            if (named) {
                to = putNamedValuesObject(to, value);
            } else {
                if (text) *to++ = '"';
                to = putEscapedUtf8(to, value, Format::Json);
                if (text) *to++ = '"';
            }
        } else {
            to = putEscapedUtf8(to, value, Format::Csv);
        }
        out_.commit(to);
    };
    if (json) out_.put("{");
    char number[24];
    field("datetime", datetime, true);
    field("timestamp", std::string_view(number, static_cast<size_t>(std::to_chars(number, number + 24, e.time).ptr - number)), false);
    field("timestamp_desc", desc, true);
    field("message", message_, true);
    field("kind", kind.name, true);
    field("user", view(e.from.user), true);
    field("browser", view(e.from.browser), true);
    field("profile", view(e.from.profile), true);
    field("hostname", hostname, true);
    if (withHost_) field("host", view(e.from.host), true);
    field("source", view(e.from.source), true);
    field("source_part", view(e.from.part), true);
    if (json || withStates_) {
        field("snapshot", view(e.from.snapshot), true);
        field("seen_in", view(e.from.seenIn), true);
        field("snapshot_note", view(e.from.snapshotNote), true);
    }
    if (withTags_ && !json) field("tag", view(e.from.tag), true);
    if (withTags_ && json && !e.from.tag.isEmpty()) {
        // "label: note": Timesketch takes the labels as a list.
        const qsizetype cut = e.from.tag.indexOf(": ");
        const QByteArray label = cut < 0 ? e.from.tag : e.from.tag.left(cut);
        out_.put(",\"tag\":[\"");
        char* to = out_.room(static_cast<size_t>(label.size()) * 6 + 8);
        to = putEscapedUtf8(to, view(label), Format::Json);
        out_.commit(to);
        out_.put("\"]");
        if (cut >= 0) field("tag_note", view(e.from.tag).substr(static_cast<size_t>(cut) + 2), true);
    }
    pairs_.clear();
    for (size_t i = 0; i < kind.fields.size(); ++i) {
        const Value& v = e.values[i];
        if (v.absent()) continue;
        std::string_view value;
        bool text = true;
        char buffer[IsoTimeWriter::kMaxSize > 24 ? IsoTimeWriter::kMaxSize : 24];
        std::string line;
        if (v.is == Value::Is::Text && kind.fields[i].type == FieldType::Fields && !json) {
            line = namedValuesLine(v.utf8);
            value = line;
        } else if (v.is == Value::Is::Text) {
            value = v.utf8;
        } else if (kind.fields[i].type == FieldType::Time) {
            value = std::string_view(buffer, static_cast<size_t>(times_.write(buffer, v.number) - buffer));
        } else if (kind.fields[i].type == FieldType::Bool) {
            value = v.number ? "true" : "false";
            text = false;
        } else {
            value = std::string_view(buffer, static_cast<size_t>(std::to_chars(buffer, buffer + sizeof buffer, v.number).ptr - buffer));
            text = false;
        }
        if (json) {
            field(kind.fields[i].name, value, text, kind.fields[i].type == FieldType::Fields && v.is == Value::Is::Text);
        } else {
            if (!pairs_.empty()) pairs_ += "; ";
            pairs_ += kind.fields[i].name;
            pairs_ += '=';
            pairs_ += value;
        }
    }
    if (!json) field("fields", pairs_, true);
    out_.put(json ? "}\n" : "\n");
    out_.maybeFlush();
}

int BodyFileWriter::slotOf(const FieldSpec& field) {
    const std::string_view name = field.name;
    const auto has = [&name](std::string_view part) { return name.find(part) != std::string_view::npos; };
    if (has("changed")) return 2;
    if (has("created") || has("install") || has("added") || has("first") || has("born")) return 3;
    if (has("modified") || has("written") || has("updated")) return 1;
    if (has("access") || has("visit") || has("run") || has("used") || has("last")) return 0;
    return -1;  // an expiry, a start or an end: no slot means it
}

bool BodyFileWriter::record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) {
    constexpr int kMostLines = 16;  // Prefetch keeps eight run times, all accesses
    static constexpr int kFreeOrder[4] = {0, 1, 2, 3};
    // The record's times by slot; a slot taken already sends the time to another line.
    struct Line {
        std::optional<int64_t> at[4];
        const char* meanings[4] = {};
    };
    Line lines[kMostLines];
    int used = 0;
    bool inRange = false;
    for (size_t f = 0; f < kind.fields.size(); ++f) {
        if (!times_.wanted(kind, f, from, values)) continue;
        const int64_t t = values[f].number;
        inRange = inRange || ((!from_ || t >= *from_) && (!to_ || t <= *to_));
        int slot = slotOf(kind.fields[f]);
        int next = 0;
        if (slot >= 0) {
            while (next < used && lines[next].at[slot]) ++next;
        } else {
            // No slot means it: the first one free, its meaning named in the line.
            for (;; ++next) {
                const int* free = next < kMostLines ? std::find_if(std::begin(kFreeOrder), std::end(kFreeOrder), [&](int s) { return !lines[next].at[s]; })
                                                    : std::end(kFreeOrder);
                if (next == kMostLines || free != std::end(kFreeOrder)) {
                    if (next < kMostLines) slot = *free;
                    break;
                }
            }
        }
        if (next == kMostLines) continue;  // no kind has that many times of one meaning
        used = std::max(used, next + 1);
        lines[next].at[slot] = wholeSeconds(t);
        lines[next].meanings[slot] = kind.fields[f].meaning ? kind.fields[f].meaning : kind.fields[f].name;
    }
    if (used == 0 || !inRange) return true;
    message_.assign(kind.name);
    message_ += ": ";
    appendEventSubject(message_, kind, values);
    static constexpr char kSlotLetter[4] = {'a', 'm', 'c', 'b'};
    static constexpr int kBodyOrder[4] = {0, 1, 2, 3};  // atime|mtime|ctime|crtime, as the format has them
    for (int l = 0; l < used; ++l) {
        line_.assign("0|");
        appendPlain(line_, message_);
        line_ += " [";
        bool first = true;
        for (const int slot : {1, 0, 2, 3}) {  // the m, a, c, b order mactime shows
            if (!lines[l].at[slot]) continue;
            if (!first) line_ += "; ";
            first = false;
            line_ += kSlotLetter[slot];
            line_ += ": ";
            line_ += lines[l].meanings[slot];
        }
        line_ += "]|0|0|0|0|0";
        for (const int slot : kBodyOrder) {
            line_ += '|';
            appendNumber(line_, lines[l].at[slot].value_or(0));
        }
        line_ += '\n';
        if (!written_.insert(qHash(QByteArrayView(line_.data(), static_cast<qsizetype>(line_.size())), 0)).second) continue;
        out_.put(line_);
        out_.maybeFlush();
        ++lines_;
    }
    return !out_.failed();
}

bool writeEvents(Timeline& events, ByteOutput& out, int workers, const std::function<std::unique_ptr<TimelinePrinter>(ByteOutput&)>& printerFor) {
    if (workers <= 1) {
        const auto printer = printerFor(out);
        return events.drain([&](const TimelineEvent& event) {
            printer->event(event);
            return !out.failed();
        });
    }
    // A block: events as the merge handed them (keys, their bodies copied), then their text.
    // Blocks written are used again, keeping their memory: a block's text is megabytes, and
    // fresh memory costs a page fault a page.
    struct Block {
        std::vector<Timeline::Key> keys;
        std::string bodies;
        std::string text;
        bool formatted = false;
    };
    constexpr size_t kBlockEvents = 8192;
    const size_t mostInFlight = 3 * static_cast<size_t>(workers);
    std::mutex mutex;
    std::condition_variable queued, formatted;
    std::deque<std::shared_ptr<Block>> order;  // to be written, in order
    std::deque<std::shared_ptr<Block>> queue;  // to be formatted
    std::vector<std::shared_ptr<Block>> spare;  // written, to be used again
    bool ended = false;
    std::vector<std::thread> formatters;
    for (int w = 0; w < workers; ++w) {
        formatters.emplace_back([&] {
            std::string text;
            ByteOutput into(text);
            const auto printer = printerFor(into);
            std::vector<Value> values;
            Provenance from;
            while (true) {
                std::shared_ptr<Block> block;
                {
                    std::unique_lock lock(mutex);
                    queued.wait(lock, [&] { return !queue.empty() || ended; });
                    if (queue.empty()) return;
                    block = std::move(queue.front());
                    queue.pop_front();
                }
                for (const Timeline::Key& key : block->keys) {
                    if (const auto event = events.decodeEvent(key, sizedRecordAt(block->bodies, key.body), from, values)) printer->event(*event);
                }
                into.flush();
                {
                    const std::lock_guard lock(mutex);
                    std::swap(block->text, text);  // the block's old text, emptied, takes the next
                    block->formatted = true;
                }
                text.clear();
                formatted.notify_all();
            }
        });
    }
    // Writes the blocks formatted at the front, and waits for more while over `atMost` are left.
    const auto writeFront = [&](size_t atMost) {
        while (true) {
            std::shared_ptr<Block> front;
            {
                std::unique_lock lock(mutex);
                if (order.empty() || (order.size() <= atMost && !order.front()->formatted)) return;
                formatted.wait(lock, [&] { return order.front()->formatted; });
                front = std::move(order.front());
                order.pop_front();
            }
            out.putFormatted(front->text);
            front->keys.clear();
            front->bodies.clear();
            front->text.clear();
            front->formatted = false;
            const std::lock_guard lock(mutex);
            spare.push_back(std::move(front));
        }
    };
    const auto fresh = [&] {
        const std::lock_guard lock(mutex);
        if (spare.empty()) return std::make_shared<Block>();
        auto used = std::move(spare.back());
        spare.pop_back();
        return used;
    };
    auto block = fresh();
    const auto submit = [&] {
        {
            const std::lock_guard lock(mutex);
            order.push_back(block);
            queue.push_back(block);
        }
        queued.notify_one();
        block = fresh();
        writeFront(mostInFlight);
    };
    const bool drained = events.drainKeyed([&](const Timeline::Key& key, std::string_view body) {
        Timeline::Key copy = key;
        copy.body = static_cast<uint32_t>(block->bodies.size());
        const auto size = static_cast<uint32_t>(body.size());
        block->bodies.append(reinterpret_cast<const char*>(&size), 4);
        block->bodies.append(body);
        block->keys.push_back(copy);
        if (block->keys.size() >= kBlockEvents) submit();
        return !out.failed();
    });
    if (!block->keys.empty()) submit();
    {
        const std::lock_guard lock(mutex);
        ended = true;
    }
    queued.notify_all();
    writeFront(0);
    for (std::thread& t : formatters) t.join();
    return drained;
}

}  // namespace kestrova::cli
