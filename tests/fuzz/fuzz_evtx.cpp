// An event log file, whatever its bytes: the file and chunk headers, the record walk, the binary
// XML of each record (templates, nested values, names by offset) and the recovery of what lies in
// free space. Every record handed over must have been read from the input's own bytes.
#include <QBuffer>
#include <QByteArray>
#include <cstdint>
#include <cstdlib>

#include "platform/evtx/evtx_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    QBuffer file(&bytes);
    file.open(QIODevice::ReadOnly);
    size_t given = 0;
    const kestrova::EvtxReading reading = kestrova::readEvtx(file, [&](kestrova::EvtxRecord& record) {
        if (record.offset + 28 > size) std::abort();  // a record lies inside the input
        ++given;
        return true;
    });
    if (static_cast<size_t>(reading.records.given + reading.recovered.given) != given) std::abort();
    return 0;
}
