// A Windows volume seen from Linux: a local folder standing for C:\. Windows paths are resolved
// component by component, case-insensitively, as NTFS matches names; listings come in NTFS index
// order with Windows attribute values. Read-only by construction: nothing here writes.
//
// The volume may be hostile. Nothing that resolves outside the root (a link to /etc) is listed or
// read, and only regular files are handed out for reading, so a named pipe in place of a hive
// cannot block the program. Every refusal is noted, with its reason, in the findings given.
#pragma once

#include <QIODevice>
#include <QString>
#include <memory>
#include <optional>
#include <vector>

#include "core/common/findings.h"
#include "core/system/analysed_system.h"
#include "platform/volume/volume.h"

namespace kestrova {

class WindowsVolume : public Volume {
public:
    // findings: where refusals are noted (may be nullptr).
    explicit WindowsVolume(QString root, Findings* findings = nullptr);

    const QString& root() const { return root_; }
    // "C:\Users\bob" (any case, "\" or "/"), or a drive-relative "\Users\bob", to the local path
    // of an existing file or folder inside the volume. Other drives, relative paths, missing
    // components and links leading out of the volume: nullopt.
    std::optional<QString> resolve(const QString& windowsPath) const;
    // A regular file inside the volume that this process can read; nullopt with the reason noted
    // (label names the source in that note: "user hive", "places database").
    std::optional<QString> readableFile(const QString& windowsPath, const QString& label) const;
    // The same file opened for reading (nullptr, with the reason noted, when it cannot be).
    std::unique_ptr<QIODevice> openFile(const QString& windowsPath, const QString& label) const;
    // The entries of a folder inside the volume; empty, with the reason noted, when there is none.
    std::vector<DirEntry> list(const QString& windowsFolder) const;

    // Volume: the same, with the findings given.
    QString description() const override { return root_; }
    bool exists(const QString& windowsPath) const override { return resolve(windowsPath).has_value(); }
    std::unique_ptr<QIODevice> openFile(const QString& windowsPath, const QString& label, Findings* findings) const override {
        return withFindings(findings).openFile(windowsPath, label);
    }
    std::vector<DirEntry> list(const QString& windowsFolder, Findings* findings) const override {
        return withFindings(findings).list(windowsFolder);
    }
    std::optional<QString> localPath(const QString& windowsPath) const override { return resolve(windowsPath); }
    std::optional<FileTimes> fileTimes(const QString& windowsPath) const override;
    std::optional<qint64> fileSize(const QString& windowsPath) const override;

    // The NTFS attribute value: from ntfs-3g's extended attribute where the volume offers it,
    // otherwise made up from what Linux can tell (folder 16, file 32, hidden 2, read-only 1).
    static uint32_t attributesOf(const QString& localPath);

private:
    WindowsVolume withFindings(Findings* findings) const {
        WindowsVolume copy = *this;
        copy.findings_ = findings;
        return copy;
    }
    enum class Outcome { Found, Missing, Outside };
    Outcome locate(const QString& windowsPath, QString* local) const;
    // The local path of a name inside the volume; nullopt, noted under `what`, when it is missing
    // or leads out of the volume.
    std::optional<QString> locateFile(const QString& windowsPath, const QString& what) const;
    void note(FindingKind kind, const QString& what, const QString& why = QString()) const {
        if (findings_) findings_->note(kind, what, why);
    }

    QString root_;
    QString canonicalRoot_;
    Findings* findings_;
};

}  // namespace kestrova
