#include "traces/record_tags.h"

#include <QCryptographicHash>

#include "traces/timeline.h"

namespace kestrova {

QByteArray recordIdentity(const TraceKind& kind, const Provenance& from, std::span<const Value> values) {
    QCryptographicHash hash(QCryptographicHash::Sha1);
    const auto add = [&](std::string_view bytes) {
        hash.addData(QByteArrayView(bytes.data(), static_cast<qsizetype>(bytes.size())));
        hash.addData(QByteArrayView("\0", 1));
    };
    add(kind.name);
    add(std::string_view(from.source.constData(), static_cast<size_t>(from.source.size())));
    add(std::string_view(from.part.constData(), static_cast<size_t>(from.part.size())));
    for (const Value& v : values) {
        switch (v.is) {
        case Value::Is::Absent: add("-"); break;
        case Value::Is::Number: add(std::to_string(v.number)); break;
        case Value::Is::Text: add(v.utf8); break;
        }
    }
    return hash.result().toHex();
}

QString recordWhat(const TraceKind& kind, std::span<const Value> values) { return QLatin1String(kind.name) + QStringLiteral(": ") + eventSubject(kind, values); }

bool TaggingSink::record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) {
    if (tags_.tags().empty()) return inner_.record(kind, from, values);
    const RecordTag* tag = tags_.tagOf(recordIdentity(kind, from, values));
    if (!tag) return inner_.record(kind, from, values);
    Provenance tagged = from;
    tagged.tag = (tag->note.isEmpty() ? tag->label : tag->label + QStringLiteral(": ") + tag->note).toUtf8();
    return inner_.record(kind, tagged, values);
}

}  // namespace kestrova
