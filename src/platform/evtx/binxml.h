// Windows event logs' binary XML, read into the fields of the event schema
// (http://schemas.microsoft.com/win/2004/08/events/event) without writing the XML out: an EVTX
// record is a token stream that instantiates a template (an element tree with numbered
// substitution slots) with its own typed values, and the template usually sits earlier in the
// same chunk. Names and templates are referred to by their offset in the chunk; names are decoded
// once per chunk, a template's tokens are walked where they lie each time it is instantiated.
//
// Format knowledge: libyal's "Windows XML Event Log (EVTX)" document (token types, the name and
// template definition layouts, value types and their sizes); where it is silent, observed in the
// real logs of the shared samples, with libevtx's evtxexport as the reference of the tests. Value
// texts follow evtxexport's ("0x%016x" for a 64-bit hex integer, GUIDs upper-case in braces),
// so that a field reads the same in both.
//
// Every offset and size a chunk gives is checked against the chunk; nesting (templates inside
// values inside templates) is bounded, and a stream that breaks keeps what it gave before the
// break and says where it broke.
#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "core/common/byte_view.h"

namespace kestrova {

// One event's fields as the event schema names them.
struct EventXml {
    QString provider;      // System/Provider@Name (or @EventSourceName)
    QString channel;       // System/Channel
    QString computer;      // System/Computer
    QString userSid;       // System/Security@UserID
    std::optional<int64_t> eventId, level, recordId;  // EventID (without its qualifiers), Level, EventRecordID
    QString systemTime;    // System/TimeCreated@SystemTime as written
    // EventData's <Data Name="X">v</Data> give X = v (a Data without a name is "Data1", "Data2" ...
    // in its order; <Binary> is "Binary"); UserData's one child element gives its leaf elements
    // by their own names.
    std::vector<std::pair<QString, QString>> data;
    QString why;           // "" when the event was read whole, else what broke it
};

// One 64 KiB chunk as its records share it: its bytes, and the names decoded from them by offset.
// Holds a view of the chunk's bytes, which must outlive it.
class BinXmlChunk {
public:
    explicit BinXmlChunk(ByteView chunk) : chunk_(chunk) {}

    // Reads the binary XML of [begin, end) (offsets in the chunk: an event record's body) into
    // an event's fields.
    EventXml readEvent(size_t begin, size_t end);

    ByteView bytes() const { return chunk_; }
    // The name structure at `offset`: {name, offset just past the structure}; nullopt where it
    // does not fit the chunk.
    std::optional<std::pair<QString, size_t>> name(size_t offset);

private:
    ByteView chunk_;
    QHash<uint32_t, std::pair<QString, size_t>> names_;
};

// The text a substitution value of `type` gives (an array's items joined by ", "); nullopt for the
// types that are no text (NULL, binary XML).
std::optional<QString> binXmlValueText(uint8_t type, ByteView value);
// The items of an array value (type with its array bit 0x80), each as its text.
QStringList binXmlArrayItems(uint8_t type, ByteView value);

}  // namespace kestrova
