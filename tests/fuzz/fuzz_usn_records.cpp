// Change journal records, whatever their bytes: every place the journal reader may look at, as it
// steps through a block (a record's size, zeros, or 8 bytes on).
#include <cstdint>
#include <cstdlib>

#include "traces/filesystem/usn_records.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const kestrova::ByteView view(data, size);
    size_t pos = 0;
    while (pos < size) {
        size_t step = 0;
        kestrova::UsnRecord record;
        QString why;
        const kestrova::UsnFind found = kestrova::decodeUsnRecord(view, pos, &step, &record, &why);
        if (found == kestrova::UsnFind::Short) break;
        if (step == 0 || step > size - pos) std::abort();  // every step moves on, inside the input
        if (found == kestrova::UsnFind::Record && record.name.size() * 2 > static_cast<qsizetype>(step)) std::abort();
        pos += step;
    }
    return 0;
}
