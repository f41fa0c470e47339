// A Windows volume built at test time in a temporary folder: profile folders, hives written with
// the project's hive writer, and files. Removed when the test ends.
#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <memory>

#include "hivewriter/hive_writer.h"
#include "mksample/sample_system.h"
#include "platform/system/volume_system.h"

namespace kestrova::test {

class TempVolume {
public:
    TempVolume() { tools::makeProfileFolders(root(), user_); }
    QString root() const { return dir_.path(); }
    const QString& user() const { return user_; }

    // Writes a file at a path relative to the root ("Users/alice/x.txt").
    void file(const QString& relative, const QByteArray& bytes) const {
        const QString path = root() + QLatin1Char('/') + relative;
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile f(path);
        f.open(QIODevice::WriteOnly);
        f.write(bytes);
    }
    void userHive(const tools::HiveBuilder& hive) const {
        write(hive, QStringLiteral("Users/") + user_ + QStringLiteral("/NTUSER.DAT"));
    }
    void systemHive(const tools::HiveBuilder& hive) const {
        write(hive, QStringLiteral("Windows/System32/config/SYSTEM"));
    }
    void softwareHive(const tools::HiveBuilder& hive) const {
        write(hive, QStringLiteral("Windows/System32/config/SOFTWARE"));
    }
    // Copies a real sample into the volume (realdata is read in place, never committed).
    void copy(const QString& realFile, const QString& relative) const {
        QDir().mkpath(QFileInfo(root() + QLatin1Char('/') + relative).absolutePath());
        QFile::copy(realFile, root() + QLatin1Char('/') + relative);
    }
    std::unique_ptr<VolumeSystem> open() const { return std::make_unique<VolumeSystem>(root(), user_); }

private:
    void write(const tools::HiveBuilder& hive, const QString& relative) const {
        const QString path = root() + QLatin1Char('/') + relative;
        QDir().mkpath(QFileInfo(path).absolutePath());
        QString error;
        if (!hive.write(path, &error)) qFatal("hive fixture: %s", qPrintable(error));
    }

    QTemporaryDir dir_;
    QString user_ = QStringLiteral("alice");
};

inline QString realData(const char* name) { return QStringLiteral(KESTROVA_REALDATA "/") + QLatin1String(name); }

}  // namespace kestrova::test

// Declares `var` as the path of a real sample, or skips the test, naming the missing file: a clone
// without ../shared/realdata passes with skips.
#define REALDATA_OR_SKIP(var, name)                                                      \
    const QString var = ::kestrova::test::realData(name);                               \
    if (!QFileInfo::exists(var)) GTEST_SKIP() << "real sample not found: " << var.toStdString()

namespace kestrova::test {

}  // namespace kestrova::test
