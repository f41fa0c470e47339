// The column decoder: any bytes decode; bytes it calls ASCII decode to themselves.
#include <QByteArrayView>
#include <cstdint>
#include <cstdlib>

#include "core/sqlite/msqlite.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArrayView bytes(data, static_cast<qsizetype>(size));
    const QString text = kestrova::DecodeUtf8(bytes);
    if (kestrova::IsAscii(bytes) && text != QString::fromLatin1(bytes)) std::abort();
    return 0;
}
