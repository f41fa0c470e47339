// Our own naming of the shell items libfwsi leaves unnamed: drive items, property stores, delegate
// items with their extension blocks, GUIDs at any offset. The first byte is the item's class.
#include <cstdint>
#include <cstdlib>

#include "traces/windows/shell_items.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    kestrova::ShellItem item;
    kestrova::nameUnnamedItem(kestrova::ByteView(data + 1, size - 1), data[0], item);
    if (item.name.isEmpty() || item.type.isEmpty()) std::abort();  // every item is named somehow
    return 0;
}
