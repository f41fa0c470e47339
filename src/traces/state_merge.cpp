#include "traces/state_merge.h"

#include <QHashFunctions>
#include <cstring>

#include "traces/record_body.h"

namespace kestrova {
namespace {

constexpr size_t kSpillBuffer = size_t{1} << 20;
constexpr QByteArrayView kGone = "gone from the current volume";

}  // namespace

StateMerge::StateMerge(QString tempFolder, std::vector<StateName> names) : tempFolder_(std::move(tempFolder)), names_(std::move(names)) {}

bool StateMerge::record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) {
    kind_ = &kind;
    body_.clear();
    appendRecordBody(body_, from, values);
    const Hash hash{qHashBits(body_.data(), body_.size(), 0x6b657374), qHashBits(body_.data(), body_.size(), 0x726f7661)};
    const auto [at, fresh] = seen_.try_emplace(hash, Seen{{}, static_cast<uint8_t>(state_)});
    at->second.states.set(state_);
    // Read again in another state: only marked. Read twice in the state it was first read in:
    // two records of that state, both written.
    if (!fresh && at->second.first != state_) return true;
    return spill(hash, body_);
}

bool StateMerge::spill(const Hash& hash, const std::string& body) {
    const auto state = static_cast<uint8_t>(state_);
    const auto size = static_cast<uint32_t>(body.size());
    buffer_.append(reinterpret_cast<const char*>(&hash), sizeof hash);
    buffer_.push_back(static_cast<char>(state));
    buffer_.append(reinterpret_cast<const char*>(&size), sizeof size);
    buffer_ += body;
    if (buffer_.size() < kSpillBuffer) return true;
    if (!waiting_) {
        waiting_ = std::make_unique<QTemporaryFile>(tempFolder_ + QStringLiteral("/states-XXXXXX"));
        if (!waiting_->open()) {
            why_ = QStringLiteral("the records read cannot be kept in %1: %2").arg(tempFolder_, waiting_->errorString());
            return false;
        }
    }
    if (waiting_->write(buffer_.data(), static_cast<qint64>(buffer_.size())) != static_cast<qint64>(buffer_.size())) {
        why_ = QStringLiteral("the records read cannot be kept in %1: %2").arg(tempFolder_, waiting_->errorString());
        return false;
    }
    buffer_.clear();
    return true;
}

void StateMerge::sameAsCurrent(size_t i) {
    for (auto& [hash, seen] : seen_) {
        if (seen.states.test(0)) seen.states.set(i);
    }
}

bool StateMerge::flush(TraceSink& out) {
    if (!why_.isEmpty()) return false;
    if (!kind_) return true;
    // The records waiting: those in the file first (they came first), then the buffer's.
    // Read back piece by piece: the file may be larger than memory should hold.
    if (waiting_) waiting_->seek(0);
    Provenance from;
    std::vector<Value> values;
    std::string pending;
    const auto deliver = [&](std::string_view bytes, std::string* rest) {
        size_t at = 0;
        constexpr size_t kHead = sizeof(Hash) + 1 + 4;
        while (bytes.size() - at >= kHead) {
            Hash hash;
            std::memcpy(&hash, bytes.data() + at, sizeof hash);
            const auto state = static_cast<uint8_t>(bytes[at + sizeof hash]);
            uint32_t size = 0;
            std::memcpy(&size, bytes.data() + at + sizeof hash + 1, 4);
            if (bytes.size() - at - kHead < size) break;
            decodeRecordBody(bytes.substr(at + kHead, size), *kind_, from, values);
            const auto seen = seen_.find(hash);
            QByteArray seenIn;
            for (size_t i = 0; i < names_.size(); ++i) {
                if (seen == seen_.end() || !seen->second.states.test(i)) continue;
                if (!seenIn.isEmpty()) seenIn += ", ";
                seenIn += names_[i].label;
            }
            from.snapshot = names_[state < names_.size() ? state : 0].name;
            from.seenIn = seenIn;
            from.snapshotNote = seen != seen_.end() && !seen->second.states.test(0) ? QByteArray(kGone.data(), kGone.size()) : QByteArray();
            ++written_;
            if (!out.record(*kind_, from, values)) return false;
            at += kHead + size;
        }
        if (rest) rest->assign(bytes.substr(at));
        return true;
    };
    if (waiting_) {
        for (;;) {
            const qint64 had = static_cast<qint64>(pending.size());
            pending.resize(kSpillBuffer + static_cast<size_t>(had));
            const qint64 got = waiting_->read(pending.data() + had, static_cast<qint64>(kSpillBuffer));
            if (got < 0) {
                why_ = QStringLiteral("the records kept cannot be read back: %1").arg(waiting_->errorString());
                return false;
            }
            pending.resize(static_cast<size_t>(had + got));
            if (got == 0) break;
            std::string rest;
            if (!deliver(pending, &rest)) return false;
            pending = std::move(rest);
        }
        if (!pending.empty()) {
            why_ = QStringLiteral("the records kept were read back cut short");
            return false;
        }
    }
    return deliver(buffer_, nullptr);
}

std::vector<StateReading> startStateReadings(const std::vector<std::unique_ptr<VolumeState>>& states, const QString& tempFolder,
                                             const QString& onlyUser, bool replayLogs) {
    std::vector<StateReading> readings;
    for (const auto& state : states) {
        StateReading reading{state.get(), std::make_unique<TraceContext>(*state->system, tempFolder), {}, 0, false};
        reading.context->replayLogs = replayLogs;
        reading.context->narrowToUser(onlyUser);
        state->volume->takeTouched();
        reading.context->users();
        reading.context->browserProfiles();
        reading.discovery = state->volume->takeTouched();
        readings.push_back(std::move(reading));
    }
    return readings;
}

namespace {

// NTFS's own files, whose times NTFS does not keep as it changes them: one of them is never
// recognised unchanged by its times. `path` is lower-cased.
bool metafile(QString path) {
    if (path.startsWith(QLatin1String("c:"))) path.remove(0, 2);
    while (path.startsWith(QLatin1Char('\\'))) path.remove(0, 1);
    const QString first = path.section(QLatin1Char('\\'), 0, 0);
    static const QStringList kMetafiles{"$mft", "$mftmirr", "$logfile", "$volume", "$attrdef", "$bitmap",
                                        "$boot", "$badclus", "$secure", "$upcase", "$extend"};
    return kMetafiles.contains(first.section(QLatin1Char(':'), 0, 0));
}

using Identities = std::vector<std::pair<QString, std::optional<ServedVolume::Identity>>>;

// What the kind touched in the current volume and what finding the profiles touched, each with
// its identity there. A metafile has none: it is never recognised unchanged.
Identities identitiesOf(const StateReading& current, const std::set<QString>& touched) {
    Identities identities;
    for (const std::set<QString>* paths : {&touched, &current.discovery}) {
        for (const QString& path : *paths) {
            identities.emplace_back(path, metafile(path) ? std::nullopt : current.state->volume->identity(path));
        }
    }
    return identities;
}

// Whether each of them is the same file or folder, unchanged, in the other state.
bool unchanged(const Identities& current, const StateReading& other) {
    return std::all_of(current.begin(), current.end(), [&](const auto& pathIdentity) {
        return pathIdentity.second && pathIdentity.second == other.state->volume->identity(pathIdentity.first);
    });
}

}  // namespace

bool runTraceKindOverStates(const TraceKind& kind, std::vector<StateReading>& readings, TraceSink& out, const QString& tempFolder,
                            qint64* written, QString* why) {
    std::vector<StateMerge::StateName> names;
    for (const StateReading& r : readings) {
        names.push_back({r.state->store == 0 ? QByteArray("current") : QByteArray::number(r.state->store), r.state->name});
    }
    StateMerge merge(tempFolder, std::move(names));
    std::optional<Identities> current;
    for (size_t i = 0; i < readings.size(); ++i) {
        StateReading& reading = readings[i];
        reading.skipped = false;
        reading.records = 0;
        merge.setState(i);
        if (i > 0 && current && unchanged(*current, reading)) {
            merge.sameAsCurrent(i);
            reading.skipped = true;
            continue;
        }
        reading.state->volume->takeTouched();
        reading.records = runTraceKind(kind, *reading.context, merge);
        if (i == 0 && reading.state->store == 0) current = identitiesOf(reading, reading.state->volume->takeTouched());
        if (!merge.why().isEmpty()) break;
    }
    const bool flushed = merge.flush(out);
    *written = merge.written();
    *why = merge.why();
    return flushed;
}

}  // namespace kestrova
