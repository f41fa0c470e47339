// The registry of an analysed system put together from its hive files: HKEY_CURRENT_USER is the
// profile's NTUSER.DAT, HKEY_LOCAL_MACHINE\SYSTEM and \SOFTWARE the files under
// Windows\System32\config, with CurrentControlSet followed through SYSTEM\Select "Current".
// A hive that is missing, unreadable or damaged behaves as keys that cannot be opened, and says
// why in the findings whenever a reader asks for one of its keys.
#pragma once

#include <QString>
#include <memory>
#include <optional>

#include "core/common/findings.h"
#include "core/registry/registry_backend.h"
#include "platform/hive/hive_file.h"

namespace kestrova {

// One hive of the set: the opened file, or why there is none.
struct HiveSlot {
    std::shared_ptr<HiveFile> file;
    std::optional<Finding> problem;
};

struct HiveSet {
    HiveSlot user;      // NTUSER.DAT
    HiveSlot system;    // SYSTEM
    HiveSlot software;  // SOFTWARE
};

class HiveRegistry : public RegistryBackend {
public:
    HiveRegistry(HiveSet hives, Findings* findings);
    std::unique_ptr<RegistryKey> openKey(RootKey root, const QString& path) const override;
    void noteUnopenable(RootKey root, const QString& path) const override;
    void noteMissingValue(RootKey root, const QString& path, const QString& name) const override;
    // "ControlSet001" and the like, or "" when SYSTEM is unreadable.
    const QString& currentControlSet() const { return currentControlSet_; }

private:
    // The hive that holds root\path and the path inside it; nullptr slot when no hive does.
    const HiveSlot* slotFor(RootKey root, QStringList& parts) const;

    HiveSet hives_;
    Findings* findings_;
    QString currentControlSet_;
};

}  // namespace kestrova
