#include "platform/desktop/xdg_desktop.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QUrl>

#include "core/common/text.h"
#include "platform/processes/process_table.h"
#include "platform/volume/regular_file.h"

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

QString XdgDesktop::openerArgument(const QString& target) {
    // A local file goes as a file URL made from its very bytes, so a name that is not UTF-8
    // still reaches the opener intact; URLs and any other text go as they are.
    if (!target.startsWith(QLatin1Char('/'))) return target;
    return QStringLiteral("file://") + QString::fromLatin1(toFileNameBytes(target).toPercentEncoding("/"));
}

void XdgDesktop::open(const QString& target) {
    // Whatever the opener makes of the target (a title text, a deleted file) is its business.
    QProcess::startDetached(QStringLiteral("xdg-open"), {openerArgument(target)});
}

bool XdgDesktop::startProgram(const QString& program) { return QProcess::startDetached(program, {}); }

void XdgDesktop::terminateProcesses(const QString& nameContains) { terminateProcessesNamed(nameContains); }

std::unique_ptr<QIODevice> XdgDesktop::openLocalFile(const QString& localPath, Findings& findings) const {
    return openRegularFile(localPath, QStringLiteral("local file ") + localPath, &findings);
}

}  // namespace kestrova
