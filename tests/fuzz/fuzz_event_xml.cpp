// An event's XML as libevtx renders it, read back into its fields: any text, however it breaks
// (undeclared prefixes, control characters, nesting in UserData), and the message made of it.
#include <QByteArrayView>
#include <cstdint>
#include <cstdlib>

#include "traces/windows/event_messages.h"
#include "traces/windows/event_xml.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const kestrova::EventXml event = kestrova::parseEventXml(QByteArrayView(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    (void)kestrova::eventMessage(event);
    if (event.data.size() > size) std::abort();  // a field takes bytes of the text
    return 0;
}
