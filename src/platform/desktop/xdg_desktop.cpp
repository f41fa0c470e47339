#include "platform/desktop/xdg_desktop.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

namespace kestrova {

QString XdgDesktop::programFolder() const {
    if (QCoreApplication::instance()) return QCoreApplication::applicationDirPath();
    return QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/self/exe"))).absolutePath();
}

QString XdgDesktop::documentsFolder() const {
    return QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
}

QString XdgDesktop::desktopFolder() const {
    return QStandardPaths::writableLocation(QStandardPaths::DesktopLocation);
}

QString XdgDesktop::appDataFolder() const {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
}

QString XdgDesktop::tempFolder() const { return QDir::tempPath(); }

void XdgDesktop::open(const QString& target) {
    // Whatever the opener makes of the target (a title text, a deleted file) is its business.
    QProcess::startDetached(QStringLiteral("xdg-open"), {target});
}

}  // namespace kestrova
