// The byte-order-mark text reader over any file, in every encoding asked for.
#include <QByteArrayView>
#include <cstdint>

#include "core/readers/browsers/opera.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArrayView bytes(data, static_cast<qsizetype>(size));
    for (int asked = -2; asked <= 6; ++asked) {
        int encoding = asked;
        (void)kestrova::DecodeTextFile(bytes, encoding);
    }
    return 0;
}
