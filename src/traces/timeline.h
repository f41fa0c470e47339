// One timeline of every dated field of every trace record: each time field of a record is an
// event, and the events come out in time order whatever their number. A record's values are
// kept once, as compact bytes in one arena, with its provenance (kept once for the records that
// share it), and each of its events as a small fixed sort key pointing there; when those held
// pass a memory budget the keys are sorted and the events written as a run to an unnamed file of
// the private temporary folder, and the runs are merged at the end with what is still held, so memory stays
// bounded.
// Equal times keep a stable order: the kind's place in the table, then the order the records were
// read in (which follows the sources, then the rows).
#pragma once

#include <QString>
#include <algorithm>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "traces/trace_kind.h"

namespace kestrova {

// Which of a record's times are events. Most times are the record's own (a visit, a run). A
// registry key's last-written time is one moment for the whole key, which every value of the key
// repeats: it is an event once for the key (its hive and path), and not at all on a record whose
// own time says more (a UserAssist entry's last run), so that the timeline does not suggest each
// program or document was used at that moment.
class EventTimes {
public:
    bool wanted(const TraceKind& kind, size_t field, const Provenance& from, std::span<const Value> values);

private:
    std::unordered_set<uint64_t> keysGiven_;  // hashes of (kind, hive, key path)
};

struct TimelineEvent {
    const TraceKind* kind;
    int timeField;  // the index of the time field this event is of
    UtcMicros time;
    const Provenance& from;
    std::span<const Value> values;
};

class Timeline : public TraceSink {
public:
    // tempFolder: where sorted runs go; budget: the bytes of events held before a run is written.
    Timeline(QString tempFolder, size_t budget = kBudget);
    // What a timeline holds before it writes a sorted run: most of the memory the command line
    // may take (512 MiB), less what the reading beside it holds.
    static constexpr size_t kBudget = size_t{320} << 20;
    ~Timeline() override;
    // Only events inside [from, to] are kept (either end open when absent).
    void limit(std::optional<UtcMicros> from, std::optional<UtcMicros> to) { from_ = from, to_ = to; }

    bool record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) override;
    // Hands every event over in order; false from `out` stops. Returns false, with why(), when a
    // run could not be written or read back.
    bool drain(const std::function<bool(const TimelineEvent&)>& out);
    // The same order as keys and record bodies, not decoded: for a caller that decodes and
    // formats them on other threads (decodeEvent). A body is valid during its call only.
    struct Key;
    bool drainKeyed(const std::function<bool(const Key&, std::string_view body)>& out);
    // The event of a key and body drainKeyed handed over, its record decoded into from and values
    // (which it views); nullopt for a key of no kind. Safe from several threads while draining.
    std::optional<TimelineEvent> decodeEvent(const Key& key, std::string_view body, Provenance& from, std::vector<Value>& values) const;
    qint64 events() const { return events_; }
    int runs() const { return static_cast<int>(runs_.size()); }
    const QString& why() const { return why_; }

    // Where a sorted run lies in the runs' file.
    struct Run {
        uint64_t at, size;
    };

    // The sort key of an event held in memory; `body` is where its record lies in the arena.
    struct Key {
        int64_t time;
        uint64_t sequence;
        uint32_t body;
        uint16_t kind;
        uint8_t field;
        uint8_t host;  // index into the hosts named (setHost), in the key's padding
    };

    // The host the records that follow were read from, where a case holds several: kept with each
    // event in its key, not copied into every record. False when more hosts are named than a key
    // can tell apart (then the records must carry their host themselves).
    bool setHost(const QByteArray& host);
    static constexpr size_t kMostHosts = 255;

private:
    bool spill();
    std::optional<UtcMicros> from_, to_;
    QString tempFolder_;
    size_t budget_;
    std::vector<Key> held_;
    // Record bodies, each with its size first, in blocks that never move once written (no copy
    // as the arena grows, no doubling of its memory): a key's body is the block's index in the
    // high byte and the offset in it in the rest.
    // A record's body starts with its provenance's number in shared_, or kInline and the
    // provenance itself, then its values.
    class Arena {
    public:
        uint32_t append(uint32_t provenance, std::string_view inlineProvenance, std::span<const Value> values);
        std::string_view at(uint32_t body) const;
        size_t bytes() const { return bytes_; }
        bool full() const { return blocks_.size() >= kMostBlocks; }
        void clear();
        static constexpr size_t kBlockBits = 24;  // 16 MiB a block
        static constexpr size_t kMostBlocks = 255;

    private:
        std::vector<std::string> blocks_;
        size_t bytes_ = 0;
    };
    Arena arena_;
    // The provenances records share (every record of a source has the same one), each kept once
    // for the whole timeline, in memory, up to an eighth of the budget (at most 8 MiB): a record
    // of another keeps its provenance with it.
    class SharedProvenances {
    public:
        static constexpr uint32_t kInline = UINT32_MAX;
        explicit SharedProvenances(size_t budget) : mostBytes_(std::min(budget / 8, size_t{8} << 20)) {}
        // The number of a provenance; kInline when the table is full (encoded() then holds it).
        uint32_t numberOf(const Provenance& from);
        std::string_view encoded() const { return scratch_; }
        std::string_view at(uint32_t number) const { return number < all_.size() ? std::string_view(all_[number]) : std::string_view(); }
        size_t bytes() const { return bytes_; }

    private:
        std::deque<std::string> all_;  // never moved once added: the map views them
        std::unordered_map<std::string_view, uint32_t> numbers_;
        std::string scratch_;
        uint32_t last_ = kInline;
        size_t bytes_ = 0;
        size_t mostBytes_;
    };
    SharedProvenances shared_;
    // The sorted runs, one after another in one unnamed file: gone with the process however it
    // ends, so no copy of what was read outlives it.
    int runFile_ = -1;
    uint64_t runsEnd_ = 0;
    std::vector<Run> runs_;
    qint64 events_ = 0;
    uint64_t sequence_ = 0;
    std::vector<QByteArray> hosts_;
    uint8_t host_ = 0;
    QString why_;
    EventTimes times_;
};

// A one-line description of what an event's record is about: its url or path, its title, name
// or term ("https://example.org/ (Example)"), appended to `out` as UTF-8.
void appendEventSubject(std::string& out, const TraceKind& kind, std::span<const Value> values);
QString eventSubject(const TraceKind& kind, std::span<const Value> values);

}  // namespace kestrova
