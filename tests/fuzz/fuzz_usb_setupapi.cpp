// The device installation log reader over any text, with any zone bias (the first two bytes).
#include <QByteArray>
#include <cstdint>
#include <cstdlib>

#include "traces/windows/activity_decoders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const int bias = static_cast<int16_t>(data[0] | (data[1] << 8));
    const QByteArray log(reinterpret_cast<const char*>(data + 2), static_cast<qsizetype>(size - 2));
    const auto installs = kestrova::setupApiInstalls(log, bias);
    // An install takes a device line and a section line.
    if (installs.size() > static_cast<size_t>(log.count('\n')) / 2 + 1) std::abort();
    return 0;
}
