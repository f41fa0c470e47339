// Scheduled tasks' definitions, whatever their bytes: as a .job file and as task XML.
#include <QByteArray>
#include <cstdint>

#include "traces/system/task_files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    QString why;
    (void)kestrova::parseJobFile(bytes, &why);
    (void)kestrova::parseTaskXml(bytes, &why);
    return 0;
}
