#include "platform/evtx/binxml.h"

#include <QStringList>
#include <algorithm>
#include <cstring>

#include "core/time/iso_time.h"

namespace kestrova {
namespace {

// Token types (the low bits; 0x40 says "more follows": attributes on an element, another
// attribute, another value part).
enum Token : uint8_t {
    kEndOfFragment = 0x00,
    kOpenStartElement = 0x01,
    kCloseStartElement = 0x02,
    kCloseEmptyElement = 0x03,
    kEndElement = 0x04,
    kValue = 0x05,
    kAttribute = 0x06,
    kCData = 0x07,
    kCharReference = 0x08,
    kEntityReference = 0x09,
    kPiTarget = 0x0A,
    kPiData = 0x0B,
    kTemplateInstance = 0x0C,
    kNormalSubstitution = 0x0D,
    kOptionalSubstitution = 0x0E,
    kFragmentHeader = 0x0F,
};

constexpr size_t kChunkHeaderSize = 512;
constexpr uint8_t kTypeString = 0x01, kTypeBinXml = 0x21, kArray = 0x80;
// Templates within values within templates: real logs nest two or three deep.
constexpr int kMaxDepth = 16;
// A template instance's values: real templates have a few dozen slots.
constexpr uint32_t kMaxValues = 4096;
// Tokens one record may take, templates counted each time they are instantiated: a real record
// takes a few hundred; a crafted chunk whose templates instantiate each other twice over would
// otherwise take 2^16 walks.
constexpr size_t kMaxTokens = 200000;

QString hex(uint64_t v, int digits) {
    return QStringLiteral("0x%1").arg(v, digits, 16, QLatin1Char('0'));
}

// A text of `units` code units; trailing NULs are the writer's terminators, not text.
QString utf16(ByteView v, size_t units) {
    units = std::min(units, v.size() / 2);
    while (units > 0 && v.u16((units - 1) * 2) == 0) --units;
    return v.utf16(0, units);
}

// "2022-02-05T22:17:39.990830200Z": FILETIME's seven fraction digits and two zeros, as evtxexport
// writes SystemTime.
QString fileTimeText(uint64_t ticks) {
    constexpr uint64_t kPerDay = 864000000000ULL;
    const int64_t days = static_cast<int64_t>(ticks / kPerDay) - 134774;  // 1601-01-01 to 1970-01-01
    const uint64_t inDay = ticks % kPerDay;
    const CivilDate date = civilFromDays(days);
    const uint64_t seconds = inDay / 10000000;
    return QStringLiteral("%1-%2-%3T%4:%5:%6.%7Z")
        .arg(date.year, 4, 10, QLatin1Char('0'))
        .arg(date.month, 2, 10, QLatin1Char('0'))
        .arg(date.day, 2, 10, QLatin1Char('0'))
        .arg(seconds / 3600, 2, 10, QLatin1Char('0'))
        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'))
        .arg(inDay % 10000000 * 100, 9, 10, QLatin1Char('0'));
}

// SYSTEMTIME: year, month, day of week, day, hour, minute, second, milliseconds (u16 each);
// "2019-03-08T23:23:05.000Z".
QString systemTimeText(ByteView v) {
    return QStringLiteral("%1-%2-%3T%4:%5:%6.%7Z")
        .arg(v.u16(0), 4, 10, QLatin1Char('0'))
        .arg(v.u16(2), 2, 10, QLatin1Char('0'))
        .arg(v.u16(6), 2, 10, QLatin1Char('0'))
        .arg(v.u16(8), 2, 10, QLatin1Char('0'))
        .arg(v.u16(10), 2, 10, QLatin1Char('0'))
        .arg(v.u16(12), 2, 10, QLatin1Char('0'))
        .arg(v.u16(14), 3, 10, QLatin1Char('0'));
}

// "S-1-5-21-…": revision, count, a 48-bit big-endian authority, then `count` little-endian words.
std::optional<QString> sidText(ByteView v) {
    const unsigned count = v.u8(1);
    if (v.size() < 8 || v.size() < 8 + 4 * size_t{count}) return std::nullopt;
    uint64_t authority = 0;
    for (int i = 2; i < 8; ++i) authority = (authority << 8) | v.u8(i);
    QString text = QStringLiteral("S-%1-%2").arg(v.u8(0)).arg(authority);
    for (unsigned i = 0; i < count; ++i) text += QLatin1Char('-') + QString::number(v.u32(8 + 4 * i));
    return text;
}

QString bytesText(ByteView v) {
    return QString::fromLatin1(QByteArray(reinterpret_cast<const char*>(v.data()), static_cast<qsizetype>(v.size())).toHex().toUpper());
}

// The size of one value of a fixed-size type; 0 for the types of any size.
size_t fixedSize(uint8_t base) {
    switch (base) {
        case 0x03: case 0x04: return 1;
        case 0x05: case 0x06: return 2;
        case 0x07: case 0x08: case 0x0B: case 0x0D: case 0x14: return 4;
        case 0x09: case 0x0A: case 0x0C: case 0x11: case 0x15: return 8;
        case 0x0F: case 0x12: return 16;
        default: return 0;
    }
}

std::optional<QString> scalarText(uint8_t base, ByteView v) {
    const size_t want = fixedSize(base);
    if (want != 0 && v.size() != want) return bytesText(v);  // not what the type says: its bytes
    switch (base) {
        case 0x00: return std::nullopt;
        case 0x01: return utf16(v, v.size() / 2);
        case 0x02: {
            size_t n = v.size();
            while (n > 0 && v.u8(n - 1) == 0) --n;
            return QString::fromLatin1(reinterpret_cast<const char*>(v.data()), static_cast<qsizetype>(n));
        }
        case 0x03: return QString::number(static_cast<int8_t>(v.u8(0)));
        case 0x04: return QString::number(v.u8(0));
        case 0x05: return QString::number(static_cast<int16_t>(v.u16(0)));
        case 0x06: return QString::number(v.u16(0));
        case 0x07: return QString::number(static_cast<int32_t>(v.u32(0)));
        case 0x08: return QString::number(v.u32(0));
        case 0x09: return QString::number(static_cast<int64_t>(v.u64(0)));
        case 0x0A: return QString::number(v.u64(0));
        case 0x0B: {
            float f;
            const uint32_t bits = v.u32(0);
            std::memcpy(&f, &bits, 4);
            return QString::number(f);
        }
        case 0x0C: {
            double d;
            const uint64_t bits = v.u64(0);
            std::memcpy(&d, &bits, 8);
            return QString::number(d, 'g', 17);
        }
        case 0x0D: return v.u32(0) ? QStringLiteral("true") : QStringLiteral("false");
        case 0x0F: return v.guidText(0);
        case 0x10: return v.size() == 4 ? QString::number(v.u32(0)) : v.size() == 8 ? QString::number(v.u64(0)) : bytesText(v);
        case 0x11: return fileTimeText(v.u64(0));
        case 0x12: return systemTimeText(v);
        case 0x13: return sidText(v).value_or(bytesText(v));
        case 0x14: return hex(v.u32(0), 8);
        case 0x15: return hex(v.u64(0), 16);
        case kTypeBinXml: return std::nullopt;
        default: return bytesText(v);  // binary, handles, and what the format document does not name
    }
}

// What the reader gathers as the elements open and close, taken into an event's fields.
class EventBuilder {
public:
    void start(const QString& name) {
        if (open_ == frames_.size()) frames_.emplace_back();
        Frame& f = frames_[open_++];
        f.name = name;
        f.text.clear();
        f.attributes.clear();
        f.absent = false;
    }
    // The element's content was an optional substitution without a value: an element with no
    // other content is not written at all (as evtxexport leaves out an empty <Binary>).
    void absentContent() {
        if (open_ > 0) frames_[open_ - 1].absent = true;
    }
    void attribute(const QString& name, const QString& value) {
        if (open_ > 0) frames_[open_ - 1].attributes.emplace_back(name, value);
    }
    void text(const QString& t) {
        if (open_ > 0) frames_[open_ - 1].text += t;
    }
    void end() {
        if (open_ == 0) return;
        const size_t at = --open_;
        const Frame& f = frames_[at];
        const QString section = at >= 1 ? frames_[1].name : QString();
        if (f.absent && f.text.isEmpty()) return;
        if (at == 2 && section == QLatin1String("System")) {
            system(f);
        } else if (at == 2 && section == QLatin1String("EventData")) {
            // Data, Binary, ComplexData: by its Name where it has one.
            QString field = attributeOf(f, "Name");
            if (field.isEmpty()) field = f.name == QLatin1String("Data") ? QStringLiteral("Data%1").arg(++unnamed_) : f.name;
            event_.data.emplace_back(field, f.text);
        } else if (at == 3 && section == QLatin1String("UserData")) {
            event_.data.emplace_back(f.name, f.text);
        } else if (at >= 3 && !f.text.isEmpty()) {
            // Deeper text belongs to the field it lies in, a space between the texts of two
            // elements.
            QString& outer = frames_[at - 1].text;
            if (!outer.isEmpty()) outer += QLatin1Char(' ');
            outer += f.text;
        }
    }
    // Ends the open element and opens another of the same name and attributes: each item of an
    // array value is an element of its own (<Data>a</Data><Data>b</Data>).
    void repeat() {
        if (open_ == 0) return;
        Frame copy{frames_[open_ - 1].name, {}, frames_[open_ - 1].attributes, false};
        end();
        start(copy.name);
        frames_[open_ - 1].attributes = std::move(copy.attributes);
    }
    EventXml finish(const QString& why) {
        // A stream that broke inside elements keeps what they gathered.
        while (open_ > 0) end();
        event_.why = why;
        return std::move(event_);
    }

private:
    struct Frame {
        QString name, text;
        std::vector<std::pair<QString, QString>> attributes;
        bool absent = false;
    };
    static QString attributeOf(const Frame& f, const char* name) {
        for (const auto& [n, v] : f.attributes) {
            if (n == QLatin1String(name)) return v;
        }
        return QString();
    }
    static std::optional<int64_t> number(const QString& text) {
        bool ok = false;
        const qlonglong n = text.trimmed().toLongLong(&ok, 0);
        return ok ? std::optional<int64_t>(n) : std::nullopt;
    }
    void system(const Frame& f) {
        if (f.name == QLatin1String("Provider")) {
            event_.provider = attributeOf(f, "Name");
            if (event_.provider.isEmpty()) event_.provider = attributeOf(f, "EventSourceName");
        } else if (f.name == QLatin1String("TimeCreated")) {
            event_.systemTime = attributeOf(f, "SystemTime");
        } else if (f.name == QLatin1String("Security")) {
            event_.userSid = attributeOf(f, "UserID");
        } else if (f.name == QLatin1String("EventID")) {
            event_.eventId = number(f.text);
        } else if (f.name == QLatin1String("Level")) {
            event_.level = number(f.text);
        } else if (f.name == QLatin1String("EventRecordID")) {
            event_.recordId = number(f.text);
        } else if (f.name == QLatin1String("Channel")) {
            event_.channel = f.text;
        } else if (f.name == QLatin1String("Computer")) {
            event_.computer = f.text;
        }
    }

    std::vector<Frame> frames_;  // kept between elements, so that their texts keep their buffers
    size_t open_ = 0;
    int unnamed_ = 0;
    EventXml event_;
};

struct Value {
    uint8_t type;
    size_t at, size;
};

// Walks a token stream of the chunk into the builder.
class Walker {
public:
    Walker(BinXmlChunk& chunk, EventBuilder& out) : chunk_(chunk), c_(chunk.bytes()), out_(out) {}

    // Reads [at, end); a template's stream gets its instance's values. False where it broke.
    bool walk(size_t at, size_t end, const std::vector<Value>* values, int depth) {
        if (depth > kMaxDepth) return fail(at, QStringLiteral("templates nested deeper than %1").arg(kMaxDepth));
        if (end > c_.size()) return fail(at, QStringLiteral("a stream reaching past its chunk"));
        size_t pos = at;
        // An attribute's value is the value tokens that follow it, up to the next attribute or the
        // end of the start tag; an attribute whose only value is an empty optional substitution
        // is not written.
        QString attribute, attributeValue;
        bool inAttribute = false, attributeHasValue = false;
        const auto flushAttribute = [&] {
            if (inAttribute && attributeHasValue) out_.attribute(attribute, attributeValue);
            inAttribute = attributeHasValue = false;
            attributeValue.clear();
        };
        const auto put = [&](const QString& text) {
            if (inAttribute) {
                attributeValue += text;
                attributeHasValue = true;
            } else {
                out_.text(text);
            }
        };
        const auto need = [&](size_t n) { return pos <= end && n <= end - pos; };
        while (pos < end) {
            const size_t tokenAt = pos;
            if (++tokens_ > kMaxTokens) return fail(tokenAt, QStringLiteral("more than %1 tokens").arg(kMaxTokens));
            const uint8_t token = c_.u8(pos++);
            switch (token & 0xBF) {
                case kEndOfFragment:
                    flushAttribute();
                    return true;
                case kFragmentHeader:
                    if (!need(3)) return fail(tokenAt, QStringLiteral("a fragment header cut short"));
                    pos += 3;
                    break;
                case kOpenStartElement: {
                    flushAttribute();
                    // Dependency identifier (2), data size (4), name offset (4), then the name
                    // itself where the offset points right here, then the attribute list's size.
                    // Some writers leave the dependency identifier out (observed in a real CAPI2
                    // log): where the offset read with it names no name, it is read without.
                    // A name that follows inline decides; else the first offset that names one.
                    if (!need(8)) return fail(tokenAt, QStringLiteral("an element cut short"));
                    const bool withInline = need(10) && c_.u32(pos + 6) == pos + 10, withoutInline = c_.u32(pos + 4) == pos + 8;
                    auto name = !withoutInline && need(10) ? nameAt(c_.u32(pos + 6), pos + 10, end) : std::nullopt;
                    if (!name && !withInline) name = nameAt(c_.u32(pos + 4), pos + 8, end);
                    if (!name) return fail(tokenAt, QStringLiteral("an element whose name lies outside its chunk"));
                    pos = name->second;
                    if (token & 0x40) {
                        if (!need(4)) return fail(tokenAt, QStringLiteral("an element cut short"));
                        pos += 4;
                    }
                    out_.start(name->first);
                    break;
                }
                case kCloseStartElement:
                    flushAttribute();
                    break;
                case kCloseEmptyElement:
                case kEndElement:
                    flushAttribute();
                    out_.end();
                    break;
                case kValue: {
                    if (!need(3)) return fail(tokenAt, QStringLiteral("a value cut short"));
                    const uint8_t type = c_.u8(pos);
                    if (type != kTypeString) return fail(tokenAt, QStringLiteral("a value of type 0x%1 outside a template").arg(type, 2, 16, QLatin1Char('0')));
                    const size_t units = c_.u16(pos + 1);
                    pos += 3;
                    if (!need(units * 2)) return fail(tokenAt, QStringLiteral("a value cut short"));
                    put(utf16(c_.sub(pos, units * 2), units));
                    pos += units * 2;
                    break;
                }
                case kAttribute: {
                    flushAttribute();
                    if (!need(4)) return fail(tokenAt, QStringLiteral("an attribute cut short"));
                    const auto name = nameAt(c_.u32(pos), pos + 4, end);
                    if (!name) return fail(tokenAt, QStringLiteral("an attribute whose name lies outside its chunk"));
                    pos = name->second;
                    attribute = name->first;
                    inAttribute = true;
                    break;
                }
                case kCData:
                case kPiData: {
                    if (!need(2)) return fail(tokenAt, QStringLiteral("a text cut short"));
                    const size_t units = c_.u16(pos);
                    pos += 2;
                    if (!need(units * 2)) return fail(tokenAt, QStringLiteral("a text cut short"));
                    if ((token & 0xBF) == kCData) put(utf16(c_.sub(pos, units * 2), units));
                    pos += units * 2;
                    break;
                }
                case kCharReference:
                    if (!need(2)) return fail(tokenAt, QStringLiteral("a character reference cut short"));
                    put(QString(QChar(c_.u16(pos))));
                    pos += 2;
                    break;
                case kEntityReference:
                case kPiTarget: {
                    if (!need(4)) return fail(tokenAt, QStringLiteral("a reference cut short"));
                    const auto name = nameAt(c_.u32(pos), pos + 4, end);
                    if (!name) return fail(tokenAt, QStringLiteral("a reference whose name lies outside its chunk"));
                    pos = name->second;
                    if ((token & 0xBF) == kEntityReference) put(entity(name->first));
                    break;
                }
                case kTemplateInstance:
                    if (!instance(tokenAt, pos, end, depth)) return false;
                    break;
                case kNormalSubstitution:
                case kOptionalSubstitution: {
                    if (!need(3)) return fail(tokenAt, QStringLiteral("a substitution cut short"));
                    const uint16_t id = c_.u16(pos);
                    pos += 3;
                    const bool optional = (token & 0xBF) == kOptionalSubstitution;
                    const Value* given = values && id < values->size() ? &(*values)[id] : nullptr;
                    if (!given && !optional) return fail(tokenAt, QStringLiteral("substitution %1 has no value").arg(id));
                    if (optional && (!given || given->type == 0 || given->size == 0)) {
                        if (!inAttribute) out_.absentContent();
                        break;
                    }
                    const Value& v = *given;
                    if ((v.type & 0x7F) == kTypeBinXml) {
                        if (!walk(v.at, v.at + v.size, nullptr, depth + 1)) return false;
                        break;
                    }
                    if ((v.type & kArray) && !inAttribute) {
                        const QStringList items = binXmlArrayItems(v.type, c_.sub(v.at, v.size));
                        for (qsizetype i = 0; i < items.size(); ++i) {
                            if (i > 0) out_.repeat();
                            out_.text(items[i]);
                        }
                        break;
                    }
                    put(binXmlValueText(v.type, c_.sub(v.at, v.size)).value_or(QString()));
                    break;
                }
                default:
                    return fail(tokenAt, QStringLiteral("unknown token 0x%1").arg(token, 2, 16, QLatin1Char('0')));
            }
        }
        flushAttribute();
        return true;
    }

    const QString& why() const { return why_; }

private:
    // A template instance: unknown (1), template id (4), definition offset (4); the definition
    // itself where the offset points right here (next offset 4, GUID 16, data size 4, data);
    // then the number of values (4), a descriptor per value (size 2, type 1, unknown 1), and the
    // values one after another.
    bool instance(size_t tokenAt, size_t& pos, size_t end, int depth) {
        if (pos + 9 > end) return fail(tokenAt, QStringLiteral("a template instance cut short"));
        const size_t definition = c_.u32(pos + 5);
        pos += 9;
        if (!c_.has(definition, 24)) return fail(tokenAt, QStringLiteral("a template definition outside its chunk"));
        const size_t dataAt = definition + 24, dataSize = c_.u32(definition + 20);
        if (!c_.has(dataAt, dataSize)) return fail(tokenAt, QStringLiteral("a template definition reaching past its chunk"));
        if (definition == pos) pos = dataAt + dataSize;
        if (pos + 4 > end) return fail(tokenAt, QStringLiteral("a template instance without its values"));
        const uint32_t count = c_.u32(pos);
        pos += 4;
        if (count > kMaxValues || pos + size_t{count} * 4 > end) return fail(tokenAt, QStringLiteral("a template instance with %1 values").arg(count));
        std::vector<Value> values(count);
        size_t at = pos + size_t{count} * 4;
        for (uint32_t i = 0; i < count; ++i) {
            values[i] = Value{c_.u8(pos + 4 * i + 2), at, c_.u16(pos + 4 * i)};
            at += values[i].size;
        }
        if (at > end) return fail(tokenAt, QStringLiteral("template values reaching past their record"));
        pos = at;
        return walk(dataAt, dataAt + dataSize, &values, depth + 1);
    }

    // The name at `offset`, and where the stream goes on: past the name where it lies inline
    // (its offset is the stream's position), else at `next`.
    std::optional<std::pair<QString, size_t>> nameAt(size_t offset, size_t next, size_t end) {
        const auto name = chunk_.name(offset);
        if (!name) return std::nullopt;
        if (offset != next) return std::pair{name->first, next};
        if (name->second > end) return std::nullopt;
        return name;
    }

    static QString entity(const QString& name) {
        if (name == QLatin1String("amp")) return QStringLiteral("&");
        if (name == QLatin1String("lt")) return QStringLiteral("<");
        if (name == QLatin1String("gt")) return QStringLiteral(">");
        if (name == QLatin1String("quot")) return QStringLiteral("\"");
        if (name == QLatin1String("apos")) return QStringLiteral("'");
        return QLatin1Char('&') + name + QLatin1Char(';');
    }

    bool fail(size_t at, const QString& why) {
        if (why_.isEmpty()) why_ = QStringLiteral("%1 at chunk offset 0x%2").arg(why).arg(at, 0, 16);
        return false;
    }

    BinXmlChunk& chunk_;
    ByteView c_;
    EventBuilder& out_;
    size_t tokens_ = 0;
    QString why_;
};

}  // namespace

std::optional<std::pair<QString, size_t>> BinXmlChunk::name(size_t offset) {
    // Next name in the hash chain (4), hash (2), character count (2), characters, NUL (2).
    if (const auto known = names_.constFind(static_cast<uint32_t>(offset)); known != names_.cend()) return *known;
    if (offset < kChunkHeaderSize || !chunk_.has(offset, 8)) return std::nullopt;  // names lie among the records
    const size_t units = chunk_.u16(offset + 6);
    if (!chunk_.has(offset + 8, units * 2 + 2) || chunk_.u16(offset + 8 + units * 2) != 0) return std::nullopt;
    std::pair<QString, size_t> name{utf16(chunk_.sub(offset + 8, units * 2), units), offset + 8 + units * 2 + 2};
    names_.insert(static_cast<uint32_t>(offset), name);
    return name;
}

EventXml BinXmlChunk::readEvent(size_t begin, size_t end) {
    EventBuilder builder;
    Walker walker(*this, builder);
    walker.walk(begin, end, nullptr, 0);
    return builder.finish(walker.why());
}

std::optional<QString> binXmlValueText(uint8_t type, ByteView value) {
    if (!(type & kArray)) return scalarText(type, value);
    if ((type & 0x7F) != kTypeString && fixedSize(type & 0x7F) == 0) return bytesText(value);
    return binXmlArrayItems(type, value).join(QStringLiteral(", "));
}

QStringList binXmlArrayItems(uint8_t type, ByteView value) {
    const uint8_t base = type & 0x7F;
    // Strings end with their NULs, other types are their fixed size each.
    QStringList items;
    if (base == kTypeString) {
        size_t at = 0;
        while (value.has(at, 2)) {
            items << value.utf16z(at);
            at = value.afterUtf16z(at);
        }
    } else if (const size_t size = fixedSize(base); size != 0) {
        for (size_t at = 0; value.has(at, size); at += size) items << scalarText(base, value.sub(at, size)).value_or(QString());
    } else {
        items << bytesText(value);
    }
    return items;
}

}  // namespace kestrova
