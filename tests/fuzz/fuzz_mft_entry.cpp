// MFT entries, whatever their bytes: the input is cut into entries of the size its first one
// declares, as the table reader cuts a table, and each is decoded in a private copy.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "traces/filesystem/mft_entries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const size_t entrySize = kestrova::mftEntrySize(kestrova::ByteView(data, size));
    kestrova::MftEntry entry;
    QString why;
    for (size_t at = 0; at + entrySize <= size; at += entrySize) {
        std::vector<uint8_t> copy(data + at, data + at + entrySize);
        if (kestrova::decodeMftEntry(copy, &entry, &why) != kestrova::MftEntryRead::Entry) continue;
        for (const kestrova::MftFileName& name : entry.names) {
            // Every name lies inside the entry's own bytes.
            if (name.name.size() > 0 && (name.name.data() < copy.data() || name.name.data() + name.name.size() > copy.data() + copy.size())) std::abort();
            (void)kestrova::mftNameText(name);
        }
    }
    return 0;
}
