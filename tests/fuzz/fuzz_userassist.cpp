// A UserAssist value: its ROT13 name (the text up to the first NUL) and its data (the rest) in
// every size, the two layouts and all that is neither.
#include <QByteArray>
#include <QString>
#include <cstdint>
#include <cstdlib>

#include "traces/windows/activity_decoders.h"
#include "traces/windows/registry_walk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const qsizetype nul = bytes.indexOf('\0');
    const QString name = QString::fromUtf8(nul < 0 ? bytes : bytes.left(nul));
    if (kestrova::rot13(kestrova::rot13(name)) != name) std::abort();  // its own inverse
    const QByteArray value = nul < 0 ? QByteArray() : bytes.mid(nul + 1);
    const kestrova::UserAssistEntry entry = kestrova::decodeUserAssist(kestrova::ByteView(value));
    if (entry.runCount && *entry.runCount < 0) std::abort();
    return 0;
}
