#include "traces/timeline_store.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <thread>

#include "traces/record_body.h"

namespace kestrova {
namespace {

char lowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

// Bytes compared with ASCII letters folded: the filter's search, a Boyer-Moore-Horspool search
// over the records' bytes that skips ahead by the needle's length where it can.
struct FoldedHash {
    size_t operator()(char c) const { return static_cast<unsigned char>(lowerAscii(c)); }
};
struct FoldedEqual {
    bool operator()(char a, char b) const { return lowerAscii(a) == lowerAscii(b); }
};
using FoldedSearcher = std::boyer_moore_horspool_searcher<std::string::const_iterator, FoldedHash, FoldedEqual>;

bool contains(std::string_view hay, const std::string& needle, const FoldedSearcher& searcher) {
    if (needle.empty()) return true;
    return std::search(hay.begin(), hay.end(), searcher) != hay.end();
}

}  // namespace

std::optional<TimeRange> bulkRange(std::span<const int64_t> sorted) {
    constexpr int64_t kDay = int64_t{86400} * 1000000;
    constexpr int64_t k1980 = int64_t{315532800} * 1000000;   // 1980-01-01T00:00:00Z
    constexpr int64_t k2100 = int64_t{4102444800} * 1000000;  // 2100-01-01T00:00:00Z
    const auto begin = std::lower_bound(sorted.begin(), sorted.end(), k1980);
    const auto end = std::lower_bound(begin, sorted.end(), k2100);
    if (begin == end) return std::nullopt;
    const std::span<const int64_t> plausible(begin, end);
    const size_t n = plausible.size(), cut = n / 100;
    const int64_t low = plausible[cut], high = plausible[n - 1 - cut];
    const int64_t margin = std::max(high - low, kDay);
    const int64_t from = low - std::min(margin, low - k1980), to = high + std::min(margin, k2100 - 1 - high);
    const auto first = std::lower_bound(plausible.begin(), plausible.end(), from);
    const auto last = std::upper_bound(first, plausible.end(), to) - 1;
    return TimeRange{*first, *last};
}

uint8_t TimelineStore::Names::indexOf(const QByteArray& name) {
    if (name == last && !names.isEmpty()) return lastIndex;
    const QString text = QString::fromUtf8(name);
    qsizetype at = names.indexOf(text);
    if (at < 0) {
        names.append(text);
        at = names.size() - 1;
    }
    last = QByteArray(name.constData(), name.size());  // a copy: the record's bytes are only lent
    lastIndex = static_cast<uint8_t>(std::min<qsizetype>(at, 255));
    return lastIndex;
}

bool TimelineStore::record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) {
    const auto kindIndex = static_cast<uint16_t>(&kind - traceKinds().data());
    const uint8_t user = users_.indexOf(from.user), host = hosts_.indexOf(from.host);
    // Offsets are 32-bit: a timeline of more than 4 GiB of records is more than a window shows.
    if (bodies_.size() >= 0xF0000000u) return false;
    const auto body = static_cast<uint32_t>(bodies_.size());
    bool any = false;
    for (size_t f = 0; f < kind.fields.size(); ++f) {
        if (!times_.wanted(kind, f, from, values)) continue;
        events_.push_back(Event{values[f].number, body, records_, kindIndex, static_cast<uint8_t>(f), user, host});
        any = true;
    }
    if (any) bodies_.append(records_, from, values);
    ++records_;
    return true;
}

void TimelineStore::finish() {
    bodies_.finish();
    std::sort(events_.begin(), events_.end(), [](const Event& a, const Event& b) {
        if (a.time != b.time) return a.time < b.time;
        if (a.kind != b.kind) return a.kind < b.kind;
        if (a.record != b.record) return a.record < b.record;
        return a.field < b.field;
    });
}

void TimelineStore::decode(const Event& e, Provenance& from, std::vector<Value>& values) const {
    // Read again only for another record: a row's cells decode the same one in turn.
    if (decodedAt_ != e.body) {
        decoded_ = bodies_.read(e.body, decodedBytes_);
        decodedAt_ = e.body;
    }
    decodeRecordBody(decoded_, kindOf(e), from, values);
}

std::string TimelineStore::message(const Event& e) const {
    Provenance from;
    std::vector<Value> values;
    std::string own;
    decodeRecordBody(bodies_.read(e.body, own), kindOf(e), from, values);
    std::string text = kindOf(e).name;
    text += ": ";
    appendEventSubject(text, kindOf(e), values);
    return text;
}

const char* TimelineStore::meaning(const Event& e) const {
    const FieldSpec& field = kindOf(e).fields[e.field];
    return field.meaning ? field.meaning : field.name;
}

std::vector<uint32_t> TimelineStore::select(const Filter& filter) const {
    const std::string needle = filter.text.toUtf8().toStdString();
    const FoldedSearcher searcher(needle.begin(), needle.end());
    const size_t threads = std::clamp<size_t>(std::thread::hardware_concurrency(), 1, 16);
    // The text first, record by record through the body file (its bytes as stored, read in
    // order on every core); a kind's name matches every record of the kind.
    std::vector<uint8_t> textMatches;
    if (!needle.empty()) {
        textMatches.assign(records_, 0);
        bodies_.scan(static_cast<int>(threads), [&](uint32_t record, std::string_view body) {
            if (record < textMatches.size() && contains(body, needle, searcher)) textMatches[record] = 1;
        });
    }
    std::vector<uint8_t> kindMatches(traceKinds().size(), 0);
    for (size_t k = 0; k < kindMatches.size(); ++k) kindMatches[k] = contains(traceKinds()[k].name, needle, searcher) ? 1 : 0;
    const auto passes = [&](const Event& e) {
        if (filter.from && e.time < *filter.from) return false;
        if (filter.to && e.time > *filter.to) return false;
        if (!filter.kinds.empty() && (e.kind >= filter.kinds.size() || !filter.kinds[e.kind])) return false;
        if (!filter.users.empty() && (e.user >= filter.users.size() || !filter.users[e.user])) return false;
        if (!filter.hosts.empty() && (e.host >= filter.hosts.size() || !filter.hosts[e.host])) return false;
        return needle.empty() || (e.kind < kindMatches.size() && kindMatches[e.kind]) || (e.record < textMatches.size() && textMatches[e.record]);
    };
    // The events are cut in one slice a core, each scanned on its own; the slices' results are
    // joined in order.
    const size_t slice = (events_.size() + threads - 1) / std::max<size_t>(threads, 1);
    std::vector<std::vector<uint32_t>> parts(threads);
    std::vector<std::thread> workers;
    for (size_t t = 0; t < threads; ++t) {
        const size_t begin = t * slice, end = std::min(events_.size(), begin + slice);
        if (begin >= end) break;
        workers.emplace_back([&, t, begin, end] {
            for (size_t i = begin; i < end; ++i) {
                if (passes(events_[i])) parts[t].push_back(static_cast<uint32_t>(i));
            }
        });
    }
    for (std::thread& w : workers) w.join();
    std::vector<uint32_t> shown;
    for (const auto& part : parts) shown.insert(shown.end(), part.begin(), part.end());
    return shown;
}

}  // namespace kestrova
