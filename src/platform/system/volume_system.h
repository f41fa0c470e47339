// The analysed system served from a Windows volume: a folder standing for C:\ and one user
// profile in it. Hives are opened once, read-only, when the system is set up.
#pragma once

#include <QString>
#include <QStringList>
#include <memory>

#include "core/system/analysed_system.h"
#include "platform/hive/hive_registry.h"
#include "platform/volume/volume.h"

namespace kestrova {

class VolumeSystem : public AnalysedSystem {
public:
    // root: the local folder standing for C:\; user: the profile folder's name.
    // replayLogs: a dirty hive's transaction logs are applied to a copy before it is read.
    VolumeSystem(const QString& root, const QString& user, bool replayLogs = true);
    // The same on any volume (an image's NTFS partition).
    VolumeSystem(std::shared_ptr<const Volume> volume, const QString& user, bool replayLogs = true);

    // Profile names under Users\ and Documents and Settings\ that hold an NTUSER.DAT, by name.
    static QStringList profiles(const Volume& volume);
    static QStringList profiles(const QString& root);
    // The profile to examine when none is named: the only one, else the first by name; "" if none.
    static QString defaultProfile(const QString& root);

    const RegistryBackend& registry() const override { return *registry_; }
    std::optional<VersionRecord> versionRecord() const override { return version_; }
    QString computerName() const override { return computerName_; }
    QString profileName() const override { return user_; }
    uint32_t systemLocaleId() const override { return localeId_; }
    QString windowsDirectory() const override { return windowsDirectory_; }
    QString systemDirectory() const override { return windowsDirectory_ + QStringLiteral("\\system32"); }
    bool exists(const QString& windowsPath) const override { return volume_->exists(windowsPath); }
    std::optional<QString> localPath(const QString& windowsPath) const override { return volume_->localPath(windowsPath); }
    std::optional<PlainFile> plainFile(const QString& windowsPath) const override { return volume_->plainFile(windowsPath); }
    std::optional<FileTimes> fileTimes(const QString& windowsPath) const override { return volume_->fileTimes(windowsPath); }
    std::optional<qint64> fileSize(const QString& windowsPath) const override { return volume_->fileSize(windowsPath); }
    std::unique_ptr<QIODevice> openFile(const QString& windowsPath, const QString& label) const override {
        return volume_->openFile(windowsPath, label, &findings_);
    }
    std::vector<DirEntry> listFolder(const QString& windowsFolder) const override {
        return volume_->list(windowsFolder, &findings_);
    }
    Findings& findings() const override { return findings_; }
    UrlHistoryStore& urlHistory() const override;
    SqliteEngine& sqliteEngine() const override;

    const Volume& volume() const { return *volume_; }
    // The Windows path of the profile folder, "" when the user has none on this volume.
    const QString& profileFolder() const { return profileFolder_; }
    // One line per hive: where it was found and whether it could be read.
    const QStringList& notes() const { return notes_; }
    // What was done about dirty hives: one line each, also among notes().
    const QStringList& hiveReplays() const { return replays_; }

private:
    HiveSlot openHive(const QString& windowsPath, const QString& label);
    // A regular file of the volume opened for reading, or nullptr with the reason in *why.
    std::unique_ptr<QIODevice> openFileOrWhy(const QString& windowsPath, const QString& label,
                                             std::optional<Finding>* why) const;
    void readRecords();

    mutable Findings findings_;  // declared first: the volume and the registry note into it
    mutable std::unique_ptr<UrlHistoryStore> history_;  // read on first use
    mutable std::unique_ptr<SqliteEngine> sqlite_;
    std::shared_ptr<const Volume> volume_;
    QString user_;
    bool replayLogs_;
    QString profileFolder_;
    std::unique_ptr<HiveRegistry> registry_;
    std::optional<VersionRecord> version_;
    QString computerName_;
    uint32_t localeId_ = 0;
    QString windowsDirectory_ = QStringLiteral("C:\\Windows");
    QStringList notes_;
    QStringList replays_;
};

}  // namespace kestrova
