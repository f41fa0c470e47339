// The DestList reader over any stream: entry counts that lie, path sizes that run past the end,
// versions it does not know.
#include <cstdint>
#include <cstdlib>

#include "traces/windows/activity_decoders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto entries = kestrova::readDestList(kestrova::ByteView(data, size));
    // An entry takes at least 114 bytes of the stream after its 32-byte header.
    if (!entries.empty() && entries.size() > (size - 32) / 114 + 1) std::abort();
    return 0;
}
