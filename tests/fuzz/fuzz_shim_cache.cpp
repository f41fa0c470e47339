// The ShimCache decoder over any AppCompatCache value: every layout it recognises, entries that
// claim more than the value holds, paths whose lengths and offsets point anywhere.
#include <cstdint>
#include <cstdlib>

#include "traces/windows/shim_cache.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    QString layout;
    const auto entries = kestrova::parseShimCache(kestrova::ByteView(data, size), &layout);
    // An entry takes at least 8 bytes of the value in every layout.
    if (entries.size() > size / 8 + 1) std::abort();
    return 0;
}
