// What a trace source hands over: records, one at a time. A record is a row of typed values in
// the order its kind declares its fields, with the provenance of the source it came from. Texts
// are UTF-8 bytes viewed where the source holds them (a database's row, a decoded name) and are
// valid only until the sink returns: a sink that keeps a record copies it. A value the source
// does not hold (a time never set, a column the schema lacks) is absent, not zero or "".
#pragma once

#include <QByteArray>
#include <QString>
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>
#include <string_view>

#include "core/common/findings.h"
#include "core/time/iso_time.h"

namespace kestrova {

struct TraceKind;

struct Value {
    enum class Is : uint8_t { Absent, Text, Number };
    Is is = Is::Absent;
    int64_t number = 0;      // an integer, a time (UtcMicros), a boolean (0 or 1)
    std::string_view utf8;   // a text; bytes that are not UTF-8 are the source's, kept

    static Value text(std::string_view bytes) { return {Is::Text, 0, bytes}; }
    static Value text(const QByteArray& bytes) { return text(std::string_view(bytes.constData(), static_cast<size_t>(bytes.size()))); }
    static Value integer(int64_t n) { return {Is::Number, n, {}}; }
    static Value time(std::optional<UtcMicros> t) { return t ? integer(*t) : Value{}; }
    static Value boolean(bool b) { return integer(b ? 1 : 0); }
    bool absent() const { return is == Is::Absent; }
};

// Where records come from. Provenance fields that do not apply (no browser for a registry key)
// stay empty. Texts are UTF-8 so that each record's writing costs no conversion.
struct Provenance {
    QByteArray user;     // the name of the user's profile folder (under Users or Documents and Settings)
    QByteArray browser;  // "Chrome", "Edge", "Firefox", ...
    QByteArray profile;  // the browser profile's folder name ("Default", "Profile 1", "x1y2.default")
    QByteArray source;   // the Windows path of the file the records are read from
    QByteArray part;     // within it: the table or the registry key
    // When several states of the volume are read (its shadow copies): the state the record was
    // written from ("current", or the shadow copy's number and creation time), every state it
    // was seen in, and "gone from the current volume" for one only shadow copies hold. Empty when
    // only the current volume is read.
    QByteArray snapshot{};
    QByteArray seenIn{};
    QByteArray snapshotNote{};
    // The examiner's tag of the record and its note ("suspicious: copied to the USB disk"), from
    // the case file, where it is asked for (--tags).
    QByteArray tag{};
    // The host the record was read from, where a case holds several (its computer's name, else
    // its evidence file's); empty when one host is examined.
    QByteArray host{};
};

// A record whose texts it owns: for sources that decode their texts (a registry value, a shell
// item) rather than view them where they lie. Fields not set stay absent.
template <size_t N>
class OwnedRecord {
public:
    void text(size_t field, const QString& text) {
        if (text.isNull()) return;
        texts_[field] = text.toUtf8();
        values_[field] = Value::text(texts_[field]);
    }
    void bytes(size_t field, QByteArray utf8) {
        texts_[field] = std::move(utf8);
        values_[field] = Value::text(texts_[field]);
    }
    void integer(size_t field, int64_t n) { values_[field] = Value::integer(n); }
    void time(size_t field, std::optional<UtcMicros> t) { values_[field] = Value::time(t); }
    void boolean(size_t field, bool b) { values_[field] = Value::boolean(b); }
    bool has(size_t field) const { return !values_[field].absent(); }
    std::span<const Value> values() const { return values_; }

private:
    std::array<Value, N> values_{};
    std::array<QByteArray, N> texts_{};
};

// A Fields value: each name and value in UTF-8, a name followed by 0x1F and its value, pairs
// separated by 0x1E. Those two bytes never occur in a name or value (a source's text that holds
// them has them as U+FFFD), so that each output can take the pairs apart without a parser.
QByteArray namedValues(const std::vector<std::pair<QString, QString>>& pairs);
template <typename Each>
void forEachNamedValue(std::string_view encoded, Each each) {
    while (!encoded.empty()) {
        const size_t end = encoded.find('\x1E');
        const std::string_view pair = encoded.substr(0, end);
        const size_t cut = pair.find('\x1F');
        each(pair.substr(0, cut), cut == std::string_view::npos ? std::string_view() : pair.substr(cut + 1));
        if (end == std::string_view::npos) break;
        encoded.remove_prefix(end + 1);
    }
}
// The pairs as one line of text: "name=value; name=value".
std::string namedValuesLine(std::string_view encoded);

class TraceSink {
public:
    virtual ~TraceSink() = default;
    // One record of the kind, its values in the kind's field order. False: stop reading.
    virtual bool record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) = 0;
};

// Passes every record on with the host it was read from: the evidence layer's host, set where
// records leave a host's reading, so no source knows of hosts.
class HostSink : public TraceSink {
public:
    HostSink(TraceSink& next, QByteArray host) : next_(next), host_(std::move(host)) {}
    bool record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) override {
        Provenance withHost = from;
        withHost.host = host_;
        return next_.record(kind, withHost, values);
    }

private:
    TraceSink& next_;
    QByteArray host_;
};

}  // namespace kestrova
