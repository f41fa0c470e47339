// OsApi: the environment queries. Those about Windows (version tag, user and computer name, the
// Windows folder, the user's shell folders) answer for the analysed system; the special folders
// the program writes to (documents, temp) and the folder picker belong to the local desktop.
#pragma once

#include <QString>
#include <functional>
#include <optional>

#include "core/registry/reg_api.h"
#include "core/system/analysed_system.h"
#include "core/system/local_desktop.h"

namespace kestrova {

inline const QString kShellFoldersKey =
    QStringLiteral("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders");

// The desktop's folder browser: given its title, the chosen folder or "" when cancelled.
using FolderPickerFn = std::function<QString(const QString& title)>;

class OsApi {
public:
    OsApi(const AnalysedSystem& system, LocalDesktop& desktop)
        : system_(system), desktop_(desktop), reg_(system.registry()) {}

    QString ComputerName() const;
    // The user's name with the terminating NUL the system counts in its length; callers pass it
    // on as it is (the report's header shows it).
    QString UserName() const;
    QString WindowsFolder() const;
    QString WindowsVersionTag() const;
    static QString VersionTagFor(const std::optional<VersionRecord>& record);
    QString SpecialFolder(int id) const;
    QString BrowseForFolder() const;
    void setFolderPicker(FolderPickerFn picker) { picker_ = std::move(picker); }
    // A value under the current user's Shell Folders key; "" when it cannot be read.
    QString GetShellFolder(const QString& valueName) const;
    QString ChromeFolder() const;
    QString OperaFolder() const;

    const AnalysedSystem& system() const { return system_; }
    LocalDesktop& desktop() const { return desktop_; }
    const RegApi& reg() const { return reg_; }

private:
    const AnalysedSystem& system_;
    LocalDesktop& desktop_;
    RegApi reg_;
    FolderPickerFn picker_;
};

// Appends "\" to a Windows folder text unless it already ends with one.
QString withBackslash(const QString& folder);

}  // namespace kestrova
