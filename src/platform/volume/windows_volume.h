// A Windows volume seen from Linux: a local folder standing for C:\. Windows paths are resolved
// component by component, case-insensitively, as NTFS matches names; listings come in NTFS index
// order with Windows attribute values. Read-only by construction: nothing here writes.
#pragma once

#include <QString>
#include <optional>
#include <vector>

#include "core/system/analysed_system.h"

namespace kestrova {

class WindowsVolume {
public:
    explicit WindowsVolume(QString root);

    const QString& root() const { return root_; }
    // "C:\Users\bob" (any case, "\" or "/"), or a drive-relative "\Users\bob", to the local path
    // of an existing file or folder. Other drives, relative paths and missing components: nullopt.
    std::optional<QString> resolve(const QString& windowsPath) const;
    std::vector<DirEntry> list(const QString& windowsFolder) const;

    // The NTFS attribute value: from ntfs-3g's extended attribute where the volume offers it,
    // otherwise made up from what Linux can tell (folder 16, file 32, hidden 2, read-only 1).
    static uint32_t attributesOf(const QString& localPath);

private:
    QString root_;
};

}  // namespace kestrova
