// The cookie text picker over any file: it ends, and never reads past its limit.
#include <QBuffer>
#include <cstdint>
#include <cstdlib>

#include "core/readers/ie/cookies.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    QBuffer file;
    file.setData(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    file.open(QIODevice::ReadOnly);
    (void)kestrova::cookieSiteLine(file);
    if (file.pos() > kestrova::kCookieLinesLimit) std::abort();
    return 0;
}
