// The Windows system under examination, as the readers need it: its registry, a few records
// Windows would report about itself, and its files addressed by Windows paths. The platform layer
// serves it from a mounted volume or a copied folder tree; nothing here ever writes to it.
#pragma once

#include <QString>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/registry/registry_backend.h"

namespace kestrova {

// The version record as the system reports it to a program without a compatibility manifest.
struct VersionRecord {
    uint32_t platformId = 0;
    uint32_t major = 0;
    uint32_t minor = 0;
};

// File attribute bits in the numeric form Windows hands out (16 directory, 32 archive, ...).
namespace fileattr {
inline constexpr uint32_t ReadOnly = 1;
inline constexpr uint32_t Hidden = 2;
inline constexpr uint32_t System = 4;
inline constexpr uint32_t Directory = 16;
inline constexpr uint32_t Archive = 32;
}  // namespace fileattr

struct DirEntry {
    QString name;
    uint32_t attributes = 0;
};

class AnalysedSystem {
public:
    virtual ~AnalysedSystem() = default;

    virtual const RegistryBackend& registry() const = 0;
    // nullopt when the system's version cannot be told at all.
    virtual std::optional<VersionRecord> versionRecord() const = 0;
    virtual QString computerName() const = 0;  // "" when unknown
    virtual QString profileName() const = 0;   // the user whose profile is examined
    virtual uint32_t systemLocaleId() const = 0;  // 0 when unknown
    virtual QString windowsDirectory() const = 0; // a Windows path such as "C:\Windows"
    virtual QString systemDirectory() const = 0;  // "C:\Windows\system32"

    // The local file a Windows path names (matched case-insensitively, as NTFS does); nullopt
    // when it names nothing on this volume.
    virtual std::optional<QString> localPath(const QString& windowsPath) const = 0;
    // The entries of a Windows folder in the order Windows lists them; empty when the folder
    // does not exist or cannot be read.
    virtual std::vector<DirEntry> listFolder(const QString& windowsFolder) const = 0;
};

}  // namespace kestrova
