#include "traces/timeline.h"

#include <QFile>
#include <algorithm>
#include <cstring>
#include <queue>

namespace kestrova {
namespace {

// An event as held and as written to a run, all numbers little-endian host order (both ends are
// this program):
//   i64 time, u16 kind index, u8 time field, u64 sequence   (the sort key, 19 bytes)
//   5 provenance texts, then per value: u8 state, i64 number or u32 size + bytes
constexpr int kKeySize = 19;

template <typename T>
void put(QByteArray& out, T value) { out.append(reinterpret_cast<const char*>(&value), sizeof value); }
void putText(QByteArray& out, std::string_view text) {
    put(out, static_cast<uint32_t>(text.size()));
    out.append(text.data(), static_cast<qsizetype>(text.size()));
}

class Reader {
public:
    explicit Reader(const QByteArray& bytes) : bytes_(bytes) {}
    template <typename T>
    T get() {
        T value{};
        if (at_ + static_cast<qsizetype>(sizeof value) <= bytes_.size()) std::memcpy(&value, bytes_.constData() + at_, sizeof value);
        at_ += sizeof value;
        return value;
    }
    std::string_view text() {
        const auto size = static_cast<qsizetype>(get<uint32_t>());
        const qsizetype start = std::min(at_, bytes_.size());
        const qsizetype n = std::min(size, bytes_.size() - start);
        at_ += size;
        return std::string_view(bytes_.constData() + start, static_cast<size_t>(n));
    }

private:
    const QByteArray& bytes_;
    qsizetype at_ = 0;
};

// Sort keys compare as (time, kind, sequence); the time field orders nothing the sequence does not.
bool before(const QByteArray& a, const QByteArray& b) {
    int64_t ta, tb;
    uint16_t ka, kb;
    uint64_t sa, sb;
    std::memcpy(&ta, a.constData(), 8), std::memcpy(&tb, b.constData(), 8);
    if (ta != tb) return ta < tb;
    std::memcpy(&ka, a.constData() + 8, 2), std::memcpy(&kb, b.constData() + 8, 2);
    if (ka != kb) return ka < kb;
    std::memcpy(&sa, a.constData() + 11, 8), std::memcpy(&sb, b.constData() + 11, 8);
    return sa < sb;
}

// A run file read back event by event: u32 size, then the event.
class RunReader {
public:
    explicit RunReader(const QString& path) : file_(path) { ok_ = file_.open(QIODevice::ReadOnly); }
    bool next(QByteArray& event) {
        uint32_t size = 0;
        if (!ok_ || file_.read(reinterpret_cast<char*>(&size), 4) != 4) return false;
        event = file_.read(size);
        return event.size() == static_cast<qsizetype>(size);
    }
    bool ok() const { return ok_; }

private:
    QFile file_;
    bool ok_ = false;
};

bool hand(const QByteArray& event, const std::function<bool(const TimelineEvent&)>& out) {
    Reader in(event);
    const auto time = in.get<int64_t>();
    const auto kindIndex = in.get<uint16_t>();
    const auto field = in.get<uint8_t>();
    in.get<uint64_t>();
    const std::span<const TraceKind> kinds = traceKinds();
    if (kindIndex >= kinds.size()) return true;
    const TraceKind& kind = kinds[kindIndex];
    Provenance from;
    // The texts stay where they lie in the event, which outlives the hand-over.
    for (QByteArray* text : {&from.user, &from.browser, &from.profile, &from.source, &from.part}) {
        const std::string_view t = in.text();
        *text = QByteArray::fromRawData(t.data(), static_cast<qsizetype>(t.size()));
    }
    std::vector<Value> values(kind.fields.size());
    for (Value& v : values) {
        v.is = static_cast<Value::Is>(in.get<uint8_t>());
        if (v.is == Value::Is::Number) v.number = in.get<int64_t>();
        else if (v.is == Value::Is::Text) v.utf8 = in.text();
    }
    return out(TimelineEvent{&kind, field, time, from, values});
}

}  // namespace

Timeline::Timeline(QString tempFolder, size_t budget) : tempFolder_(std::move(tempFolder)), budget_(budget) {}
Timeline::~Timeline() = default;

bool Timeline::record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) {
    const auto kindIndex = static_cast<uint16_t>(&kind - traceKinds().data());
    QByteArray tail;
    for (const QByteArray* text : {&from.user, &from.browser, &from.profile, &from.source, &from.part}) {
        putText(tail, std::string_view(text->constData(), static_cast<size_t>(text->size())));
    }
    for (const Value& v : values) {
        put(tail, static_cast<uint8_t>(v.is));
        if (v.is == Value::Is::Number) put(tail, v.number);
        else if (v.is == Value::Is::Text) putText(tail, v.utf8);
    }
    const uint64_t sequence = sequence_++;
    for (size_t f = 0; f < kind.fields.size(); ++f) {
        const Value& v = values[f];
        if (kind.fields[f].type != FieldType::Time || v.absent()) continue;
        if ((from_ && v.number < *from_) || (to_ && v.number > *to_)) continue;
        QByteArray event;
        event.reserve(kKeySize + tail.size());
        put(event, v.number);
        put(event, kindIndex);
        put(event, static_cast<uint8_t>(f));
        put(event, sequence);
        event.append(tail);
        heldBytes_ += static_cast<size_t>(event.size()) + sizeof(QByteArray) + 32;
        held_.push_back(std::move(event));
        ++events_;
    }
    if (heldBytes_ >= budget_ && !spill()) return false;
    return true;
}

bool Timeline::spill() {
    if (!runFolder_) {
        runFolder_ = std::make_unique<QTemporaryDir>(tempFolder_ + QStringLiteral("/kestrova-timeline-XXXXXX"));
        if (!runFolder_->isValid()) {
            why_ = QStringLiteral("no room for sorted runs in %1").arg(tempFolder_);
            return false;
        }
    }
    std::stable_sort(held_.begin(), held_.end(), before);
    const QString path = runFolder_->filePath(QStringLiteral("run-%1").arg(runs_.size()));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        why_ = file.errorString();
        return false;
    }
    QByteArray chunk;
    for (const QByteArray& event : held_) {
        put(chunk, static_cast<uint32_t>(event.size()));
        chunk.append(event);
        if (chunk.size() >= (1 << 20)) {
            if (file.write(chunk) != chunk.size()) break;
            chunk.clear();
        }
    }
    if (file.write(chunk) != chunk.size() || !file.flush()) {
        why_ = QStringLiteral("a sorted run could not be written: %1").arg(file.errorString());
        return false;
    }
    runs_.push_back(path);
    held_.clear();
    held_.shrink_to_fit();
    heldBytes_ = 0;
    return true;
}

bool Timeline::drain(const std::function<bool(const TimelineEvent&)>& out) {
    if (!why_.isEmpty()) return false;
    if (runs_.empty()) {
        std::stable_sort(held_.begin(), held_.end(), before);
        for (const QByteArray& event : held_) {
            if (!hand(event, out)) break;
        }
        return true;
    }
    if (!held_.empty() && !spill()) return false;
    // A k-way merge: the smallest head of the runs next; runs of equal keys keep the run order,
    // which is the order they were read in.
    std::vector<std::unique_ptr<RunReader>> readers;
    std::vector<QByteArray> heads(runs_.size());
    const auto later = [&heads](size_t a, size_t b) {
        if (before(heads[a], heads[b])) return false;
        if (before(heads[b], heads[a])) return true;
        return a > b;
    };
    std::priority_queue<size_t, std::vector<size_t>, decltype(later)> queue(later);
    for (size_t i = 0; i < runs_.size(); ++i) {
        readers.push_back(std::make_unique<RunReader>(runs_[i]));
        if (!readers[i]->ok()) {
            why_ = QStringLiteral("a sorted run could not be read back");
            return false;
        }
        if (readers[i]->next(heads[i])) queue.push(i);
    }
    while (!queue.empty()) {
        const size_t i = queue.top();
        queue.pop();
        if (!hand(heads[i], out)) return true;
        if (readers[i]->next(heads[i])) queue.push(i);
    }
    return true;
}

QString eventSubject(const TraceKind& kind, std::span<const Value> values) {
    QString main, detail;
    const auto text = [&](size_t i) {
        return QString::fromUtf8(values[i].utf8.data(), static_cast<qsizetype>(values[i].utf8.size()));
    };
    for (FieldType wanted : {FieldType::Url, FieldType::Path}) {
        for (size_t i = 0; i < kind.fields.size() && main.isEmpty(); ++i) {
            if (kind.fields[i].type == wanted && values[i].is == Value::Is::Text && !values[i].utf8.empty()) main = text(i);
        }
    }
    for (size_t i = 0; i < kind.fields.size(); ++i) {
        if (kind.fields[i].type != FieldType::Text || values[i].is != Value::Is::Text || values[i].utf8.empty()) continue;
        if (main.isEmpty()) main = text(i);
        else if (detail.isEmpty() && text(i) != main) detail = text(i);
        if (!detail.isEmpty()) break;
    }
    return detail.isEmpty() ? main : QStringLiteral("%1 (%2)").arg(main, detail);
}

}  // namespace kestrova
