// kr.ini as any bytes: its settings, section lists and the dates kept in it read without fault.
#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

#include "core/settings/ini_file.h"
#include "core/time/date_value.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const int fd = memfd_create("kr.ini", 0);
    ftruncate(fd, 0);
    pwrite(fd, data, size, 0);
    const kestrova::IniFile ini(QStringLiteral("/proc/self/fd/%1").arg(fd));
    for (const char* section : {"general", "General", "source", "vendor"}) {
        QStringList keys;
        ini.GetSection(QLatin1String(section), keys);
        for (const QString& key : keys) (void)kestrova::parseDateText(ini.GetSetting(QLatin1String(section), key));
    }
    (void)kestrova::parseDateText(ini.GetSetting(QStringLiteral("general"), QStringLiteral("lastcheckupdate")));
    return 0;
}
