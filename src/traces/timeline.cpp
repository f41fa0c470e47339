#include "traces/timeline.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <queue>
#include <thread>
#include <unistd.h>

#include "platform/contained/fork_gate.h"
#include "platform/io/unnamed_file.h"
#include "platform/io/whole_io.h"
#include "traces/record_body.h"

namespace kestrova {
namespace {

// A record in the arena: u32 size, then its body: u32 its provenance's number (or kInline and
// the provenance), then its values (record_body.h). An event in a run: u32 size, its key (i64
// time, u64 sequence, u16 kind, u8 field, u8 host: 20 bytes), then its record's body.
constexpr size_t kKeyBytes = 20;

template <typename T>
void put(std::string& out, T value) { out.append(reinterpret_cast<const char*>(&value), sizeof value); }

template <typename T>
T read(const char* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

bool before(const Timeline::Key& a, const Timeline::Key& b) {
    if (a.time != b.time) return a.time < b.time;
    if (a.kind != b.kind) return a.kind < b.kind;
    if (a.sequence != b.sequence) return a.sequence < b.sequence;
    return a.field < b.field;
}

// Sorts the keys on two cores where there are many: each half on its own, then merged. Keys are
// unique, so the order is the one a single sort gives.
void sortKeys(std::vector<Timeline::Key>& keys) {
    constexpr size_t kApart = 100000;
    if (keys.size() < kApart || std::thread::hardware_concurrency() < 2) {
        std::sort(keys.begin(), keys.end(), before);
        return;
    }
    const auto middle = keys.begin() + static_cast<std::ptrdiff_t>(keys.size() / 2);
    // A member of the fork gate from before it starts: a worker's parser child is not forked
    // while it starts up.
    ForkGate::instance().expectMember();
    std::thread first([&] {
        const ForkGate::Member member(ForkGate::expected);
        std::sort(keys.begin(), middle, before);
    });
    std::sort(middle, keys.end(), before);
    first.join();
    std::inplace_merge(keys.begin(), middle, keys.end(), before);
}

// A run read back event by event from the runs' file, through a buffer of its own filled by
// large reads: the merge takes one event at a time from each run.
class RunReader {
public:
    RunReader(int fd, Timeline::Run run, size_t buffer) : fd_(fd), next_(run.at), end_(run.at + run.size), bufferSize_(buffer) {}
    // The next event; false at the run's end, or when it cannot be read (failed() then).
    bool next() {
        at_ += event_;
        event_ = 0;
        if (!fill(4)) return false;
        uint32_t size = 0;
        std::memcpy(&size, buffer_.data() + at_, 4);
        if (size < kKeyBytes || !fill(4 + size)) return failed_ = true, false;
        const char* event = buffer_.data() + at_ + 4;
        key_.time = read<int64_t>(event);
        key_.sequence = read<uint64_t>(event + 8);
        key_.kind = read<uint16_t>(event + 16);
        key_.field = read<uint8_t>(event + 18);
        key_.host = read<uint8_t>(event + 19);
        body_ = std::string_view(event + kKeyBytes, size - kKeyBytes);
        event_ = 4 + size;
        return true;
    }
    bool failed() const { return failed_; }
    const Timeline::Key& key() const { return key_; }
    // Valid until the next event is asked for.
    std::string_view body() const { return body_; }

private:
    // At least `bytes` unread in the buffer, unless the run ends first.
    bool fill(size_t bytes) {
        if (held_ - at_ >= bytes) return true;
        std::memmove(buffer_.data(), buffer_.data() + at_, held_ - at_);
        held_ -= at_;
        at_ = 0;
        const size_t wanted = std::max(bytes, bufferSize_);
        if (buffer_.size() < wanted) buffer_.resize(wanted);
        const uint64_t left = end_ - next_;
        if (held_ + left < bytes) {
            failed_ = left > 0 || held_ > 0;  // the run ends inside an event
            return false;
        }
        const size_t read = static_cast<size_t>(std::min<uint64_t>(left, buffer_.size() - held_));
        if (!preadWhole(fd_, buffer_.data() + held_, read, next_)) return failed_ = true, false;
        next_ += read;
        held_ += read;
        return true;
    }
    int fd_;
    uint64_t next_, end_;  // what of the run is still to be read
    size_t bufferSize_;
    std::string buffer_;
    size_t at_ = 0, held_ = 0, event_ = 0;
    bool failed_ = false;
    Timeline::Key key_{};
    std::string_view body_;
};

}  // namespace

bool EventTimes::wanted(const TraceKind& kind, size_t field, const Provenance& from, std::span<const Value> values) {
    if (kind.fields[field].type != FieldType::Time || values[field].absent()) return false;
    if (std::strcmp(kind.fields[field].name, "key_last_written") != 0) return true;
    for (size_t f = 0; f < kind.fields.size(); ++f) {
        if (f != field && kind.fields[f].type == FieldType::Time && !values[f].absent()) return false;
    }
    uint64_t hash = qHash(QByteArrayView(kind.name), 0);
    hash = qHash(from.source, hash);
    hash = qHash(from.part, hash);
    return keysGiven_.insert(hash).second;
}

Timeline::Timeline(QString tempFolder, size_t budget) : tempFolder_(std::move(tempFolder)), budget_(budget), shared_(budget) {}
Timeline::~Timeline() {
    if (runFile_ >= 0) ::close(runFile_);
}

bool Timeline::setHost(const QByteArray& host) {
    const auto known = std::find(hosts_.begin(), hosts_.end(), host);
    if (known == hosts_.end() && hosts_.size() >= kMostHosts) return false;
    if (known == hosts_.end()) hosts_.push_back(host);
    host_ = static_cast<uint8_t>(std::find(hosts_.begin(), hosts_.end(), host) - hosts_.begin());
    return true;
}

uint32_t Timeline::SharedProvenances::numberOf(const Provenance& from) {
    scratch_.clear();
    appendProvenance(scratch_, from);
    if (last_ != kInline && all_[last_] == scratch_) return last_;
    if (const auto known = numbers_.find(scratch_); known != numbers_.end()) return last_ = known->second;
    if (bytes_ + scratch_.size() > mostBytes_ || all_.size() >= kInline) return kInline;
    all_.push_back(scratch_);
    bytes_ += scratch_.size() + sizeof(std::string) + 32;  // and the map's node
    last_ = static_cast<uint32_t>(all_.size() - 1);
    numbers_.emplace(all_.back(), last_);
    return last_;
}

uint32_t Timeline::Arena::append(uint32_t provenance, std::string_view inlineProvenance, std::span<const Value> values) {
    constexpr size_t kBlock = size_t{1} << kBlockBits;
    if (blocks_.empty()) {
        blocks_.emplace_back();
        blocks_.back().reserve(kBlock);
    }
    std::string* block = &blocks_.back();
    size_t start = block->size();
    block->append(4, '\0');
    put(*block, provenance);
    if (provenance == SharedProvenances::kInline) block->append(inlineProvenance);
    appendValues(*block, values);
    const auto size = static_cast<uint32_t>(block->size() - start - 4);
    std::memcpy(block->data() + start, &size, 4);
    if (block->size() > kBlock && start > 0) {
        // It does not fit: it starts the next block (one larger than a block has one of its own).
        std::string next;
        next.reserve(std::max(kBlock, block->size() - start));
        next.append(*block, start, std::string::npos);
        block->resize(start);
        blocks_.push_back(std::move(next));
        block = &blocks_.back();
        start = 0;
    }
    bytes_ += block->size() - start;
    const size_t index = blocks_.size() - 1;
    if (block->size() >= kBlock) blocks_.emplace_back().reserve(kBlock);  // the next record's
    return static_cast<uint32_t>(index << kBlockBits | start);
}

std::string_view Timeline::Arena::at(uint32_t body) const {
    return sizedRecordAt(blocks_[body >> kBlockBits], body & ((uint32_t{1} << kBlockBits) - 1));
}

void Timeline::Arena::clear() {
    blocks_.clear();
    bytes_ = 0;
}

bool Timeline::record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) {
    const auto kindIndex = static_cast<uint16_t>(&kind - traceKinds().data());
    uint8_t fields[256];
    size_t kept = 0;
    for (size_t f = 0; f < kind.fields.size() && f < std::size(fields); ++f) {
        const Value& v = values[f];
        if (!times_.wanted(kind, f, from, values)) continue;
        if ((from_ && v.number < *from_) || (to_ && v.number > *to_)) continue;
        fields[kept++] = static_cast<uint8_t>(f);
    }
    if (kept == 0) return true;
    const uint64_t sequence = sequence_++;
    const uint32_t provenance = shared_.numberOf(from);
    const uint32_t body = arena_.append(provenance, shared_.encoded(), values);
    for (size_t i = 0; i < kept; ++i) held_.push_back(Key{values[fields[i]].number, sequence, body, kindIndex, fields[i], host_});
    events_ += static_cast<qint64>(kept);
    const size_t held = arena_.bytes() + held_.size() * sizeof(Key) + shared_.bytes();
    if ((held >= budget_ || arena_.full()) && !spill()) return false;
    return true;
}

bool Timeline::spill() {
    if (runFile_ < 0) {
        runFile_ = openUnnamedFile(tempFolder_);
        if (runFile_ < 0) {
            why_ = QStringLiteral("no room for sorted runs in %1: %2").arg(tempFolder_, QString::fromLocal8Bit(std::strerror(errno)));
            return false;
        }
    }
    sortKeys(held_);
    const Run run{runsEnd_, 0};
    std::string chunk;
    const auto write = [&] {
        if (!pwriteWhole(runFile_, chunk.data(), chunk.size(), runsEnd_)) return false;
        runsEnd_ += chunk.size();
        chunk.clear();
        return true;
    };
    for (const Key& key : held_) {
        const std::string_view body = arena_.at(key.body);
        put(chunk, static_cast<uint32_t>(kKeyBytes + body.size()));
        put(chunk, key.time);
        put(chunk, key.sequence);
        put(chunk, key.kind);
        put(chunk, key.field);
        put(chunk, key.host);
        chunk.append(body);
        if (chunk.size() >= (size_t{1} << 20) && !write()) break;
    }
    if (!chunk.empty() && !write()) {
        why_ = QStringLiteral("a sorted run could not be written: %1").arg(QString::fromLocal8Bit(std::strerror(errno ? errno : EIO)));
        return false;
    }
    runs_.push_back(Run{run.at, runsEnd_ - run.at});
    held_.clear();
    arena_.clear();
    return true;
}

bool Timeline::drain(const std::function<bool(const TimelineEvent&)>& out) {
    std::vector<Value> values;
    Provenance from;
    return drainKeyed([&](const Key& key, std::string_view body) {
        const auto event = decodeEvent(key, body, from, values);
        return !event || out(*event);
    });
}

std::optional<TimelineEvent> Timeline::decodeEvent(const Key& key, std::string_view body, Provenance& from, std::vector<Value>& values) const {
    const std::span<const TraceKind> kinds = traceKinds();
    if (key.kind >= kinds.size()) return std::nullopt;
    const TraceKind& kind = kinds[key.kind];
    uint32_t provenance = SharedProvenances::kInline;
    if (body.size() >= 4) std::memcpy(&provenance, body.data(), 4);
    std::string_view rest = body.substr(std::min<size_t>(4, body.size()));
    if (provenance == SharedProvenances::kInline) rest = decodeProvenance(rest, from);
    else decodeProvenance(shared_.at(provenance), from);
    decodeValues(rest, kind, values);
    if (from.host.isEmpty() && key.host < hosts_.size()) from.host = hosts_[key.host];
    return TimelineEvent{&kind, key.field, key.time, from, values};
}

bool Timeline::drainKeyed(const std::function<bool(const Key&, std::string_view body)>& out) {
    if (!why_.isEmpty()) return false;
    if (runs_.empty()) {
        sortKeys(held_);
        for (const Key& key : held_) {
            if (!out(key, arena_.at(key.body))) break;
        }
        return true;
    }
    // A k-way merge of the runs and what is still held (sorted, not written): the smallest head
    // next. Keys are unique (a record's sequence and field), so the order does not depend on the
    // runs'.
    sortKeys(held_);
    // Each run read through a buffer of its own: 2 MiB, less where there are many runs, so that
    // all of them take no more than a quarter of the budget (64 KiB at least).
    const size_t buffer = std::clamp(budget_ / 4 / runs_.size(), size_t{64} << 10, size_t{2} << 20);
    std::vector<std::unique_ptr<RunReader>> readers;
    for (const Run& run : runs_) readers.push_back(std::make_unique<RunReader>(runFile_, run, buffer));
    const size_t inMemory = readers.size();  // the source that is held_
    size_t nextHeld = 0;
    const auto keyOf = [&](size_t i) -> const Key& { return i == inMemory ? held_[nextHeld] : readers[i]->key(); };
    const auto later = [&](size_t a, size_t b) { return before(keyOf(b), keyOf(a)); };
    std::priority_queue<size_t, std::vector<size_t>, decltype(later)> queue(later);
    for (size_t i = 0; i < inMemory; ++i) {
        if (readers[i]->next()) queue.push(i);
        else if (readers[i]->failed()) return why_ = QStringLiteral("a sorted run could not be read back"), false;
    }
    if (!held_.empty()) queue.push(inMemory);
    while (!queue.empty()) {
        const size_t i = queue.top();
        queue.pop();
        if (i == inMemory) {
            const Key& key = held_[nextHeld];
            if (!out(key, arena_.at(key.body))) return true;
            if (++nextHeld < held_.size()) queue.push(i);
            continue;
        }
        if (!out(readers[i]->key(), readers[i]->body())) return true;
        if (readers[i]->next()) queue.push(i);
        else if (readers[i]->failed()) return why_ = QStringLiteral("a sorted run could not be read back"), false;
    }
    return true;
}

void appendEventSubject(std::string& out, const TraceKind& kind, std::span<const Value> values) {
    std::string_view main, detail;
    for (FieldType wanted : {FieldType::Url, FieldType::Path}) {
        for (size_t i = 0; i < kind.fields.size() && main.empty(); ++i) {
            if (kind.fields[i].type == wanted && values[i].is == Value::Is::Text && !values[i].utf8.empty()) main = values[i].utf8;
        }
    }
    for (size_t i = 0; i < kind.fields.size() && detail.empty(); ++i) {
        if (kind.fields[i].type != FieldType::Text || values[i].is != Value::Is::Text || values[i].utf8.empty()) continue;
        if (main.empty()) main = values[i].utf8;
        else if (values[i].utf8 != main) detail = values[i].utf8;
    }
    out.append(main);
    if (!detail.empty()) {
        out.append(" (");
        out.append(detail);
        out.append(")");
    }
}

QString eventSubject(const TraceKind& kind, std::span<const Value> values) {
    std::string subject;
    appendEventSubject(subject, kind, values);
    return QString::fromUtf8(subject.data(), static_cast<qsizetype>(subject.size()));
}

}  // namespace kestrova
