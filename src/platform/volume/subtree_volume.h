// A folder of another volume as a volume of its own: a KAPE container (.vhdx) holds the collected
// volume under C\ of its own NTFS, and what the readers call C:\Windows is C:\C\Windows there.
// Every request is passed on with the folder put in front of its path.
#pragma once

#include <memory>

#include "platform/volume/volume.h"

namespace kestrova {

class SubtreeVolume : public Volume {
public:
    // folder: the subtree's root in `inner`, as a Windows path ("C:\C").
    SubtreeVolume(std::shared_ptr<Volume> inner, QString folder, QString description)
        : inner_(std::move(inner)), folder_(std::move(folder)), description_(std::move(description)) {}
    QString description() const override { return description_; }
    bool exists(const QString& p) const override { return inner_->exists(inside(p)); }
    std::unique_ptr<QIODevice> openFile(const QString& p, const QString& label, Findings* findings) const override {
        return inner_->openFile(inside(p), label, findings);
    }
    std::vector<DirEntry> list(const QString& folder, Findings* findings) const override { return inner_->list(inside(folder), findings); }
    std::optional<QString> localPath(const QString& p) const override { return inner_->localPath(inside(p)); }
    std::optional<PlainFile> plainFile(const QString& p) const override { return inner_->plainFile(inside(p)); }
    std::optional<FileTimes> fileTimes(const QString& p) const override { return inner_->fileTimes(inside(p)); }
    std::optional<qint64> fileSize(const QString& p) const override { return inner_->fileSize(inside(p)); }

private:
    // "C:\Users\bob" -> "C:\C\Users\bob"; a path without its drive is taken from the root.
    QString inside(const QString& windowsPath) const {
        QString rest = windowsPath;
        if (rest.size() >= 2 && rest[1] == QLatin1Char(':')) rest = rest.mid(2);
        while (rest.startsWith(QLatin1Char('\\')) || rest.startsWith(QLatin1Char('/'))) rest.remove(0, 1);
        return rest.isEmpty() ? folder_ : folder_ + QLatin1Char('\\') + rest;
    }
    std::shared_ptr<Volume> inner_;
    QString folder_, description_;
};

}  // namespace kestrova
