// The cache index header check over any bytes and any file size.
#include <QByteArrayView>
#include <cstdint>
#include <cstring>

#include "platform/historystore/history_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 8) return 0;
    qint64 fileSize = 0;
    std::memcpy(&fileSize, data, sizeof fileSize);
    (void)kestrova::historyHeaderProblem(QByteArrayView(data + 8, static_cast<qsizetype>(size - 8)), fileSize);
    return 0;
}
