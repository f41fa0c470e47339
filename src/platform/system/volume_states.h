// The states of a volume an examination reads: the volume as it is and the shadow copies asked
// for, each examined as a system of its own. An image's states are each served by a reader child
// of its own; a collection's are the copies its collector took of each shadow copy. Each state's
// volume notes the paths the readers touch, so that what a reader read in one state can be
// recognised unchanged in another (an image's files by their MFT reference, sequence number, size
// and times; a collection keeps none of these, and its states are always read) and not read twice.
#pragma once

#include <QByteArray>
#include <QString>
#include <memory>
#include <mutex>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "platform/system/image_source.h"
#include "platform/system/volume_system.h"
#include "platform/volume/zip_volume.h"

namespace kestrova {

// A volume that notes every path asked of it.
class WatchedVolume : public Volume {
public:
    explicit WatchedVolume(std::shared_ptr<ServedVolume> inner) : inner_(inner), served_(std::move(inner)) {}
    // A volume that keeps no identities (a collection's): nothing is recognised unchanged.
    explicit WatchedVolume(std::shared_ptr<Volume> inner) : inner_(std::move(inner)) {}
    QString description() const override { return inner_->description(); }
    bool exists(const QString& windowsPath) const override { return touch(windowsPath), inner_->exists(windowsPath); }
    std::unique_ptr<QIODevice> openFile(const QString& windowsPath, const QString& label, Findings* findings) const override {
        touch(windowsPath);
        return inner_->openFile(windowsPath, label, findings);
    }
    std::vector<DirEntry> list(const QString& windowsFolder, Findings* findings) const override {
        touch(windowsFolder);
        return inner_->list(windowsFolder, findings);
    }
    std::optional<QString> localPath(const QString& windowsPath) const override { return touch(windowsPath), inner_->localPath(windowsPath); }
    std::optional<PlainFile> plainFile(const QString& windowsPath) const override { return touch(windowsPath), inner_->plainFile(windowsPath); }
    std::optional<FileTimes> fileTimes(const QString& windowsPath) const override { return touch(windowsPath), inner_->fileTimes(windowsPath); }
    std::optional<qint64> fileSize(const QString& windowsPath) const override { return touch(windowsPath), inner_->fileSize(windowsPath); }

    // The paths touched since the last call, lower-cased (NTFS matches them so), each once.
    std::set<QString> takeTouched();
    // A path's identity (see ServedVolume::Identity), asked of the child once: the evidence does
    // not change while it is examined. `path` as takeTouched gives it. nullopt where the volume
    // keeps none.
    std::optional<ServedVolume::Identity> identity(const QString& path) const;

private:
    void touch(const QString& windowsPath) const;
    std::shared_ptr<Volume> inner_;
    std::shared_ptr<ServedVolume> served_;  // the same volume, where an image's child serves it
    mutable std::mutex mutex_;
    mutable std::set<QString> touched_;
    mutable std::map<QString, std::optional<ServedVolume::Identity>> identities_;
};

struct VolumeState {
    int store = 0;          // the shadow copy, 0: the volume as it is
    QByteArray name;        // "current", or the store's number and creation time: "1 (2013-12-03T06:35:09Z)"
    std::optional<ImageSource> image;  // its reader child, for an image's state
    std::shared_ptr<WatchedVolume> volume;
    std::unique_ptr<VolumeSystem> system;
};

// The states: the current volume first (served by the child already serving it), then the
// shadow copies `stores` names of the same partition, each served by a reader child of its own,
// all started at once. A state that cannot be opened is left out with the reason in *problems
// (one line each).
std::vector<std::unique_ptr<VolumeState>> openVolumeStates(const ImageSource& current, const QString& imagePath, const std::vector<int>& stores,
                                                           const QString& tempFolder, bool replayLogs, QStringList* problems);

// A collection's states: the volume examined first, then the shadow copies `stores` names, as the
// collector copied them.
std::vector<std::unique_ptr<VolumeState>> openCollectionStates(const std::shared_ptr<ZipVolume>& current, const std::vector<int>& stores, bool replayLogs);
// The shadow copies a collection holds, numbered as its collector numbered them.
std::vector<ShadowStore> collectionStores(const ZipVolume& collection);

struct Environment;
// The states `snapshots` names ("all", "none", "1,3") of the evidence examined: its volume as it
// is first, then the shadow copies of its image or its collection. Empty when none is named;
// nullopt with why when the evidence keeps none or the text names one it lacks. What does not
// stop the reading (a store list that cannot be read, a store that cannot be opened) goes to *said.
std::optional<std::vector<std::unique_ptr<VolumeState>>> openChosenStates(const Environment& env, const QString& snapshots, QStringList* said,
                                                                           QString* why);

// The most shadow copies read at once: as many as Windows keeps of a volume.
constexpr size_t kMostStores = 64;

// The shadow copies --snapshots names ("all", "none", or numbers "1,3"), checked against those the
// volume has; nullopt with the reason when it names one the volume lacks or is no such list.
std::optional<std::vector<int>> chosenStores(const QString& text, const std::vector<ShadowStore>& stores, QString* why);

}  // namespace kestrova
