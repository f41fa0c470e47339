// Trace records read from several states of a volume (the volume as it is and its shadow copies),
// each written once. A record equal to one already read from another state (every field and the
// provenance but the state) is not written again: the one written names every state it was seen
// in, and one that only shadow copies hold says it is gone from the current volume.
//
// Memory stays bounded whatever the number of records: each record is known by a 128-bit hash of
// its bytes, and the records to write wait in a file in the private temporary folder until every
// state has been read, when the states each was seen in are known.
//
// A kind is not read again from a state in which every file and folder it touched in the current
// volume is unchanged (the same MFT reference, sequence number, size and times): its records there
// are the current ones, which are marked as seen there too.
#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryFile>
#include <bitset>
#include <memory>
#include <set>
#include <unordered_map>
#include <vector>

#include "platform/system/volume_states.h"
#include "traces/trace_context.h"

namespace kestrova {

// The most states one reading merges: the current volume and its shadow copies.
constexpr size_t kMostStates = kMostStores + 1;

class StateMerge : public TraceSink {
public:
    struct StateName {
        QByteArray label;  // in seen_in: "current", "1"
        QByteArray name;   // as the state a record was written from: "1 (2013-12-03T06:35:09Z)"
    };
    // names[0] is the current volume's.
    StateMerge(QString tempFolder, std::vector<StateName> names);
    // The records that follow come from state i.
    void setState(size_t i) { state_ = i; }
    bool record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) override;
    // Every record the current volume gave was in state i too.
    void sameAsCurrent(size_t i);
    // Writes each record once, with the states it was seen in, into out; false when out wanted no
    // more or the waiting records could not be kept or read back (why() says).
    bool flush(TraceSink& out);
    const QString& why() const { return why_; }
    qint64 written() const { return written_; }

private:
    struct Hash {
        uint64_t low, high;
        bool operator==(const Hash&) const = default;
    };
    struct HashOf {
        size_t operator()(const Hash& h) const { return static_cast<size_t>(h.low); }
    };
    struct Seen {
        std::bitset<kMostStates> states;
        uint8_t first;  // the state it was first read from
    };
    bool spill(const Hash& hash, const std::string& body);

    QString tempFolder_;
    std::vector<StateName> names_;
    size_t state_ = 0;
    const TraceKind* kind_ = nullptr;
    std::unordered_map<Hash, Seen, HashOf> seen_;
    std::unique_ptr<QTemporaryFile> waiting_;
    std::string buffer_, body_;
    qint64 written_ = 0;
    QString why_;
};

// A state as one reading goes through it.
struct StateReading {
    VolumeState* state;
    std::unique_ptr<TraceContext> context;
    std::set<QString> discovery;  // what finding the profiles touched (every kind relies on it)
    qint64 records = 0;           // the records the last kind read from it (before merging)
    bool skipped = false;         // the last kind was recognised unchanged here, not read
};

// A reading of every state, each with a context of its own, its profiles already found.
std::vector<StateReading> startStateReadings(const std::vector<std::unique_ptr<VolumeState>>& states, const QString& tempFolder,
                                             const QString& onlyUser, bool replayLogs);

// Reads a kind from every state into out, each record once, counting the records written. False
// when reading must stop: out wanted no more, or the merge failed (*why says why).
bool runTraceKindOverStates(const TraceKind& kind, std::vector<StateReading>& readings, TraceSink& out, const QString& tempFolder,
                            qint64* written, QString* why);

}  // namespace kestrova
