#include "traces/record_body.h"

#include <algorithm>
#include <cstring>

namespace kestrova {
namespace {

template <typename T>
void put(std::string& out, T value) { out.append(reinterpret_cast<const char*>(&value), sizeof value); }
void putText(std::string& out, std::string_view text) {
    put(out, static_cast<uint32_t>(text.size()));
    out.append(text.data(), text.size());
}

class Reader {
public:
    explicit Reader(std::string_view bytes) : bytes_(bytes) {}
    template <typename T>
    T get() {
        T value{};
        if (at_ + sizeof value <= bytes_.size()) std::memcpy(&value, bytes_.data() + at_, sizeof value);
        at_ += sizeof value;
        return value;
    }
    std::string_view text() {
        const size_t size = get<uint32_t>();
        const size_t start = std::min(at_, bytes_.size());
        const size_t n = std::min(size, bytes_.size() - start);
        at_ += size;
        return bytes_.substr(start, n);
    }
    std::string_view rest() const { return bytes_.substr(std::min(at_, bytes_.size())); }

private:
    std::string_view bytes_;
    size_t at_ = 0;
};

}  // namespace

void appendProvenance(std::string& out, const Provenance& from) {
    for (const QByteArray* text : {&from.user, &from.browser, &from.profile, &from.source, &from.part, &from.snapshot, &from.seenIn, &from.snapshotNote, &from.tag, &from.host}) {
        putText(out, std::string_view(text->constData(), static_cast<size_t>(text->size())));
    }
}

void appendValues(std::string& out, std::span<const Value> values) {
    for (const Value& v : values) {
        put(out, static_cast<uint8_t>(v.is));
        if (v.is == Value::Is::Number) put(out, v.number);
        else if (v.is == Value::Is::Text) putText(out, v.utf8);
    }
}

void appendRecordBody(std::string& out, const Provenance& from, std::span<const Value> values) {
    appendProvenance(out, from);
    appendValues(out, values);
}

void appendSizedRecord(std::string& arena, const Provenance& from, std::span<const Value> values) {
    const size_t start = arena.size();
    arena.append(4, '\0');
    appendRecordBody(arena, from, values);
    const auto size = static_cast<uint32_t>(arena.size() - start - 4);
    std::memcpy(arena.data() + start, &size, 4);
}

std::string_view sizedRecordAt(std::string_view arena, uint32_t offset) {
    uint32_t size = 0;
    std::memcpy(&size, arena.data() + offset, 4);
    return std::string_view(arena.data() + offset + 4, size);
}

std::string_view decodeProvenance(std::string_view bytes, Provenance& from) {
    Reader in(bytes);
    for (QByteArray* text : {&from.user, &from.browser, &from.profile, &from.source, &from.part, &from.snapshot, &from.seenIn, &from.snapshotNote, &from.tag, &from.host}) {
        const std::string_view t = in.text();
        *text = QByteArray::fromRawData(t.data(), static_cast<qsizetype>(t.size()));
    }
    return in.rest();
}

void decodeValues(std::string_view bytes, const TraceKind& kind, std::vector<Value>& values) {
    Reader in(bytes);
    values.assign(kind.fields.size(), Value{});
    for (Value& v : values) {
        const auto state = in.get<uint8_t>();
        v.is = state <= 2 ? static_cast<Value::Is>(state) : Value::Is::Absent;
        if (v.is == Value::Is::Number) v.number = in.get<int64_t>();
        else if (v.is == Value::Is::Text) v.utf8 = in.text();
    }
}

void decodeRecordBody(std::string_view body, const TraceKind& kind, Provenance& from, std::vector<Value>& values) {
    decodeValues(decodeProvenance(body, from), kind, values);
}

QByteArray namedValues(const std::vector<std::pair<QString, QString>>& pairs) {
    const auto clean = [](const QString& text) {
        QByteArray utf8 = text.toUtf8();
        if (utf8.contains('\x1E') || utf8.contains('\x1F')) {
            utf8.replace('\x1E', "\xEF\xBF\xBD");
            utf8.replace('\x1F', "\xEF\xBF\xBD");
        }
        return utf8;
    };
    QByteArray encoded;
    for (const auto& [name, value] : pairs) {
        if (!encoded.isEmpty()) encoded += '\x1E';
        encoded += clean(name);
        encoded += '\x1F';
        encoded += clean(value);
    }
    return encoded;
}

std::string namedValuesLine(std::string_view encoded) {
    std::string line;
    forEachNamedValue(encoded, [&line](std::string_view name, std::string_view value) {
        if (!line.empty()) line += "; ";
        line += name;
        line += '=';
        line += value;
    });
    return line;
}

}  // namespace kestrova
