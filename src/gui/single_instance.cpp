#include "gui/single_instance.h"

#include <QDir>
#include <QStandardPaths>

namespace kestrova {

SingleInstance::SingleInstance(const QString& lockPath) : lock_(std::make_unique<QLockFile>(lockPath)) {
    lock_->setStaleLockTime(0);  // a lock left by a crashed instance is recognised by its dead pid
}

bool SingleInstance::acquire() { return lock_->tryLock(0); }

QString SingleInstance::defaultLockPath() {
    QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (folder.isEmpty()) folder = QDir::tempPath();
    return folder + QStringLiteral("/kestrova.lock");
}

}  // namespace kestrova
