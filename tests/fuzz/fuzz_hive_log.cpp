// The transaction log replay over any hive and logs: the input is a 4-byte size, that many bytes
// of primary file, then one log (either format, any damage). The replay never reads outside its
// inputs, never grows the hive past its size limit, and a replayed hive is never dirty.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/hive/hive_log.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4) return 0;
    uint32_t primarySize = 0;
    std::memcpy(&primarySize, data, 4);
    primarySize = static_cast<uint32_t>(std::min<size_t>(primarySize, size - 4));
    const QByteArray primary(reinterpret_cast<const char*>(data + 4), static_cast<qsizetype>(primarySize));
    const QByteArray log(reinterpret_cast<const char*>(data + 4 + primarySize), static_cast<qsizetype>(size - 4 - primarySize));
    const kestrova::HiveReplay replay = kestrova::replayHive(primary, {{QStringLiteral("LOG1"), log}, {QStringLiteral("LOG2"), log}});
    if (!replay.hive.isEmpty() && kestrova::hiveIsDirty(replay.hive)) std::abort();
    if (replay.hive.size() > (qsizetype{1} << 30) + 4096 + primary.size()) std::abort();
    return 0;
}
