// The registry of the analysed Windows system as core sees it: predefined root keys, keys opened
// by path, values with their raw type and bytes. The platform layer puts hive files behind it;
// tests may put an in-memory fake behind it.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <memory>
#include <optional>

namespace kestrova {

enum class RootKey { ClassesRoot, CurrentUser, LocalMachine, Users, PerformanceData, CurrentConfig, DynData };

// Registry value types as stored in a hive.
namespace regtype {
inline constexpr uint32_t None = 0;
inline constexpr uint32_t Sz = 1;
inline constexpr uint32_t ExpandSz = 2;
inline constexpr uint32_t Binary = 3;
inline constexpr uint32_t Dword = 4;
inline constexpr uint32_t DwordBigEndian = 5;
inline constexpr uint32_t MultiSz = 7;
inline constexpr uint32_t Qword = 11;
}  // namespace regtype

struct RegValueData {
    uint32_t type = regtype::None;
    QByteArray bytes;
};

class RegistryKey {
public:
    virtual ~RegistryKey() = default;
    // The value of that name (matched case-insensitively), or nullopt when there is none or it
    // cannot be read.
    virtual std::optional<RegValueData> value(const QString& name) const = 0;
    // Value names in the hive's own order. A damaged value list ends the list where it breaks.
    virtual QStringList valueNames() const = 0;
    // Subkey names in the hive's own order, likewise cut where a damaged list breaks.
    virtual QStringList subkeyNames() const = 0;
};

class RegistryBackend {
public:
    virtual ~RegistryBackend() = default;
    // Opens root\path ("\"-separated, any case; empty components, such as a trailing "\", are
    // ignored). nullptr when the key does not exist or its hive cannot be read.
    virtual std::unique_ptr<RegistryKey> openKey(RootKey root, const QString& path) const = 0;
    // Notes why root\path cannot be opened (its hive missing, unreadable or damaged, or the key
    // not there) where the backend keeps findings; nothing by default.
    virtual void noteUnopenable(RootKey root, const QString& path) const { (void)root, (void)path; }
    // Notes that an open key has no readable value of that name.
    virtual void noteMissingValue(RootKey root, const QString& path, const QString& name) const {
        (void)root, (void)path, (void)name;
    }
};

}  // namespace kestrova
