// The index.dat scan over any bytes: every hit starts inside the file (its field may run past
// the end, read as zeros) and its field text is made.
#include <QBuffer>
#include <cstdint>
#include <cstdlib>

#include "core/readers/ie/index_dat.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    QBuffer file;
    file.setData(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    file.open(QIODevice::ReadOnly);
    kestrova::scanForUrls(
        file,
        [&](QByteArrayView field, qint64 position) {
            if (position < 1 || position > static_cast<qint64>(size)) std::abort();  // positions count from 1
            (void)kestrova::indexFieldText(field);
            return true;
        },
        [](qint64) { return true; });
    return 0;
}
