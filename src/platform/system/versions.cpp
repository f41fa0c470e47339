#include "platform/system/versions.h"

#include <QtGlobal>
#include <libewf.h>
#include <libfsntfs.h>
#include <libmsiecf.h>
#include <libqcow.h>
#include <libvhdi.h>
#include <libvmdk.h>
#include <libvshadow.h>
#include <sqlite3.h>

#include "core/app/startup.h"

namespace kestrova {

QString versionText(const QString& program) {
    return QStringLiteral("%1 %2 (commit %3)\n"
                          "Qt %4, SQLite %5, hivex %6, libmsiecf %7, libewf %8, libvhdi %9, libvmdk %10, libqcow %11, "
                          "libfsntfs %12, libvshadow %13\n")
        .arg(program)
        .arg(static_cast<double>(kProgramVersion))
        .arg(QStringLiteral(KESTROVA_COMMIT))
        .arg(QLatin1String(qVersion()), QLatin1String(sqlite3_libversion()), QStringLiteral(KESTROVA_HIVEX_VERSION),
             QLatin1String(libmsiecf_get_version()), QLatin1String(libewf_get_version()), QLatin1String(libvhdi_get_version()),
             QLatin1String(libvmdk_get_version()), QLatin1String(libqcow_get_version()), QLatin1String(libfsntfs_get_version()),
             QLatin1String(libvshadow_get_version()));
}

}  // namespace kestrova
