// The MRU value decoders of every locale class over any value bytes, and the list split after.
#include <cstdint>

#include "core/registry/mru_decoders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    static const QString kClasses[] = {QStringLiteral("en"), QStringLiteral("jan"), QStringLiteral("asia"), QString()};
    const QString& localeClass = kClasses[data[0] % 4];
    const kestrova::ByteArray bytes(data + 1, data + size);
    (void)kestrova::decodeFirstString(bytes, localeClass);
    (void)kestrova::decodeCountedString(bytes, localeClass);
    (void)kestrova::splitList(kestrova::convertByLocale(bytes, localeClass));
    (void)kestrova::ReverseBytes(bytes);
    return 0;
}
