// regAPI: the narrow registry layer every Windows-history reader and the shell-folder lookup go
// through, plus the binary read of clsRegistryAccess used by the MRU decoders.
//
// It keeps the behaviour of the ANSI registry calls it was written against: lists travel as one
// comma-joined text, unreadable keys and values come back as the text "error440", names are read
// into a 20-character buffer, subkey lists come out reversed, and QueryValue cuts the last
// character of whatever it read. Readers depend on every one of these, so they are kept.
#pragma once

#include <QString>
#include <optional>
#include <variant>
#include <vector>

#include "core/registry/registry_backend.h"

namespace kestrova {

inline const QString kError440 = QStringLiteral("error440");

// Windows status codes the layer hands around.
namespace winerr {
inline constexpr long Success = 0;
inline constexpr long FileNotFound = 2;
inline constexpr long MoreData = 234;
inline constexpr long NoMoreItems = 259;
inline constexpr long Unsupported = -1;  // QueryValueEx's own answer for types it does not read
}  // namespace winerr

// The output slot of QueryValueEx: empty until something was read, then text or a number.
using RegSlot = std::variant<std::monostate, QString, quint32>;

class RegApi {
public:
    explicit RegApi(const RegistryBackend& backend) : backend_(backend) {}

    // Typed read on an open key. REG_SZ gives the text with its terminating NUL still on it;
    // REG_DWORD the number; any other type -1 with the slot untouched.
    long QueryValueEx(const RegistryKey& key, const QString& valueName, RegSlot& out) const;
    // One value as text, without its last character; "error440" when it cannot be read.
    QString QueryValue(RootKey root, const QString& keyPath, const QString& valueName) const;
    // Value names joined by "," with a trailing ","; "error440" for a key that cannot be opened.
    QString EnumValues(RootKey root, const QString& keyPath) const;
    // Subkey names in reverse enumeration order joined by ","; empty when none or unopenable.
    QString EnumKeys(RootKey root, const QString& keyPath) const;

    // clsRegistryAccess binary read: the raw bytes of a value addressed by a full path that starts
    // with the hive's name ("HKEY_CURRENT_USER\...\"), with one extra zero byte at the end.
    // nullopt (an array without dimensions) when the key cannot be opened.
    std::optional<std::vector<uint8_t>> ReadBinary(const QString& fullKeyPath,
                                                   const QString& valueName) const;

    const RegistryBackend& backend() const { return backend_; }

private:
    const RegistryBackend& backend_;
};

// The short forms ("HKCU", "HKLM", ...) used to address a root key by its name.
std::optional<RootKey> rootKeyFromShortName(const QString& shortName);

}  // namespace kestrova

namespace kestrova {

// Plain typed reads for the platform's own queries (computer name, Select, version), which are
// not bound to regAPI's text rules: a string up to its first NUL, a DWORD as a number.
std::optional<QString> stringValue(const RegistryKey& key, const QString& name);
std::optional<quint32> dwordValue(const RegistryKey& key, const QString& name);

}  // namespace kestrova
