// The registry of an analysed system put together from its hive files: HKEY_CURRENT_USER is the
// profile's NTUSER.DAT, HKEY_LOCAL_MACHINE\SYSTEM and \SOFTWARE the files under
// Windows\System32\config, with CurrentControlSet followed through SYSTEM\Select "Current".
// A hive that is missing or unreadable behaves as keys that cannot be opened.
#pragma once

#include <QString>
#include <memory>

#include "core/registry/registry_backend.h"
#include "platform/hive/hive_file.h"

namespace kestrova {

struct HiveSet {
    std::shared_ptr<HiveFile> user;      // NTUSER.DAT
    std::shared_ptr<HiveFile> system;    // SYSTEM
    std::shared_ptr<HiveFile> software;  // SOFTWARE
};

class HiveRegistry : public RegistryBackend {
public:
    explicit HiveRegistry(HiveSet hives);
    std::unique_ptr<RegistryKey> openKey(RootKey root, const QString& path) const override;
    // "ControlSet001" and the like, or "" when SYSTEM is unreadable.
    const QString& currentControlSet() const { return currentControlSet_; }

private:
    HiveSet hives_;
    QString currentControlSet_;
};

}  // namespace kestrova
