// What a customDestinations-ms file declares: category counts and name sizes that lie, footers
// missing or repeated.
#include <QByteArray>
#include <cstdint>
#include <cstdlib>

#include "traces/windows/activity_decoders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const kestrova::DeclaredEntries declared = kestrova::declaredEntries(bytes);
    // At most 4,096 categories of at most 65,536 entries each are believed.
    if (declared.entries < 0 || declared.entries > qint64{4096} * 65536) std::abort();
    return 0;
}
