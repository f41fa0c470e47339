// The timeline's sorted runs and their merge: records of any times, in any number, through a
// memory budget small enough that nearly every input spills runs to the temporary folder. What
// comes out must be every event, in time order, the same as the input's times sorted.
#include <QTemporaryDir>
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "traces/timeline.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace kestrova;
    static QTemporaryDir temp;
    const std::span<const TraceKind> kinds = traceKinds();
    Timeline events(temp.path(), 512 + (size % 4096));
    std::vector<int64_t> expected;
    // Each record: a kind (1 byte), a text length (1 byte), then its times, 8 bytes each, for
    // every time field of the kind, then the text.
    size_t at = 0;
    while (at + 2 <= size) {
        const TraceKind& kind = kinds[data[at] % kinds.size()];
        const size_t textSize = data[at + 1] % 64;
        at += 2;
        std::vector<Value> values(kind.fields.size());
        for (size_t f = 0; f < kind.fields.size(); ++f) {
            if (kind.fields[f].type == FieldType::Time) {
                if (at + 8 > size) return 0;
                int64_t t = 0;
                std::memcpy(&t, data + at, 8);
                at += 8;
                values[f] = Value::integer(t);
                if (std::strcmp(kind.fields[f].name, "key_last_written") != 0) expected.push_back(t);
            } else if (kind.fields[f].type == FieldType::Text || kind.fields[f].type == FieldType::Url || kind.fields[f].type == FieldType::Path) {
                const size_t n = std::min(textSize, size - at);
                values[f] = Value::text(std::string_view(reinterpret_cast<const char*>(data + at), n));
            }
        }
        at += std::min(textSize, size - at);
        Provenance from;
        from.part = QByteArray::number(static_cast<qulonglong>(at));
        if (!events.record(kind, from, values)) std::abort();
    }
    std::vector<int64_t> out;
    if (!events.drain([&](const TimelineEvent& e) {
            if (std::strcmp(e.kind->fields[static_cast<size_t>(e.timeField)].name, "key_last_written") != 0) out.push_back(e.time);
            return true;
        })) {
        std::abort();
    }
    std::sort(expected.begin(), expected.end());
    if (out != expected) std::abort();
    return 0;
}
