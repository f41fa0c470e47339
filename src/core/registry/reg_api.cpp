#include "core/registry/reg_api.h"

#include <QtEndian>
#include <array>
#include <utility>

namespace kestrova {
namespace {

// RegEnumValueA is handed a name buffer of 20 characters: a name needs room for its NUL, so a
// name of 20 characters or more does not fit and the call fails, which ends the listing.
constexpr int kValueNameBuffer = 20;
// RegEnumKeyA's buffer of 256 characters; longer names cannot occur in a valid hive.
constexpr int kKeyNameBuffer = 256;

QString decodeUtf16Le(const QByteArray& bytes) {
    // An odd trailing byte cannot form a character and is dropped, as the ANSI conversion does.
    const qsizetype units = bytes.size() / 2;
    QString text(units, Qt::Uninitialized);
    for (qsizetype i = 0; i < units; ++i) {
        text[i] = QChar(qFromLittleEndian<quint16>(bytes.constData() + 2 * i));
    }
    return text;
}

}  // namespace

std::optional<RootKey> rootKeyFromShortName(const QString& shortName) {
    static const std::array<std::pair<const char*, RootKey>, 7> kRoots{{
        {"HKCR", RootKey::ClassesRoot},
        {"HKCU", RootKey::CurrentUser},
        {"HKLM", RootKey::LocalMachine},
        {"HKUS", RootKey::Users},
        {"HKPD", RootKey::PerformanceData},
        {"HKDD", RootKey::DynData},
        {"HKCC", RootKey::CurrentConfig},
    }};
    for (const auto& [name, root] : kRoots) {
        if (shortName == QLatin1String(name)) return root;
    }
    return std::nullopt;
}

long RegApi::QueryValueEx(const RegistryKey& key, const QString& valueName, RegSlot& out) const {
    const std::optional<RegValueData> value = key.value(valueName);
    if (!value) return winerr::FileNotFound;
    switch (value->type) {
        case regtype::Sz:
            // The ANSI call hands back the stored text with its terminating NUL.
            out = decodeUtf16Le(value->bytes);
            return winerr::Success;
        case regtype::Dword: {
            std::array<char, 4> raw{};
            for (qsizetype i = 0; i < 4 && i < value->bytes.size(); ++i) raw[i] = value->bytes[i];
            out = qFromLittleEndian<quint32>(raw.data());
            return winerr::Success;
        }
        default:
            return winerr::Unsupported;
    }
}

QString RegApi::QueryValue(RootKey root, const QString& keyPath, const QString& valueName) const {
    const std::unique_ptr<RegistryKey> key = backend_.openKey(root, keyPath);
    if (!key) {
        backend_.noteUnopenable(root, keyPath);
        return kError440;
    }
    RegSlot slot;
    if (const long status = QueryValueEx(*key, valueName, slot); status != winerr::Success) {
        if (status == winerr::FileNotFound) backend_.noteMissingValue(root, keyPath, valueName);
        return kError440;
    }

    QString text;
    if (const auto* s = std::get_if<QString>(&slot)) {
        text = *s;
    } else if (const auto* n = std::get_if<quint32>(&slot)) {
        // The slot is a signed 32-bit number in the original, so 0xFFFFFFFF reads as -1.
        text = QString::number(static_cast<qint32>(*n));
    }
    // The cut meant for the NUL of a string hits whatever came back: a DWORD loses its last
    // digit, a string stored without NUL loses its last letter. Nothing to cut is an error.
    if (text.isEmpty()) return kError440;
    text.chop(1);
    return text;
}

QString RegApi::EnumValues(RootKey root, const QString& keyPath) const {
    const std::unique_ptr<RegistryKey> key = backend_.openKey(root, keyPath);
    if (!key) {
        backend_.noteUnopenable(root, keyPath);
        return kError440;
    }
    QString list;
    for (const QString& name : key->valueNames()) {
        if (name.size() >= kValueNameBuffer) break;  // does not fit: the listing ends here
        list += name;
        list += QLatin1Char(',');
    }
    return list;
}

QString RegApi::EnumKeys(RootKey root, const QString& keyPath) const {
    const std::unique_ptr<RegistryKey> key = backend_.openKey(root, keyPath);
    if (!key) {
        backend_.noteUnopenable(root, keyPath);
        return QString();
    }
    QString list;
    for (const QString& name : key->subkeyNames()) {
        if (name.size() >= kKeyNameBuffer) break;
        // Prepending reverses the enumeration order; callers walk the split list from its end
        // when they want the hive's order back.
        list = name + QLatin1Char(',') + list;
    }
    list.chop(1);
    return list;
}

std::optional<std::vector<uint8_t>> RegApi::ReadBinary(const QString& fullKeyPath,
                                                       const QString& valueName) const {
    static const std::array<std::pair<const char*, const char*>, 7> kShortForms{{
        {"HKEY_CURRENT_USER", "HKCU"},
        {"HKEY_LOCAL_MACHINE", "HKLM"},
        {"HKEY_CLASSES_ROOT", "HKCR"},
        {"HKEY_USERS", "HKUS"},
        {"HKEY_PERFORMANCE_DATA", "HKPD"},
        {"HKEY_DYN_DATA", "HKDD"},
        {"HKEY_CURRENT_CONFIG", "HKCC"},
    }};
    QString path = fullKeyPath;
    for (const auto& [longName, shortName] : kShortForms) {
        path.replace(QLatin1String(longName), QLatin1String(shortName), Qt::CaseInsensitive);
    }
    const qsizetype slash = path.indexOf(QLatin1Char('\\'));
    const QString hivePart = slash < 0 ? path : path.left(slash);
    const QString subkey = slash < 0 ? QString() : path.mid(slash + 1);

    const std::optional<RootKey> root = rootKeyFromShortName(hivePart.left(4).toUpper());
    if (!root) return std::nullopt;
    const std::unique_ptr<RegistryKey> key = backend_.openKey(*root, subkey);
    if (!key) {
        backend_.noteUnopenable(*root, subkey);
        return std::nullopt;
    }

    // The array is sized from the value's byte count with one element to spare, which stays
    // zero; the decoders rely on that extra zero. A missing value reads as zero bytes.
    const std::optional<RegValueData> value = key->value(valueName);
    const QByteArray data = value ? value->bytes : QByteArray();
    std::vector<uint8_t> bytes(static_cast<size_t>(data.size()) + 1, 0);
    std::copy(data.begin(), data.end(), bytes.begin());
    return bytes;
}

}  // namespace kestrova

namespace kestrova {

std::optional<QString> stringValue(const RegistryKey& key, const QString& name) {
    const auto value = key.value(name);
    if (!value || (value->type != regtype::Sz && value->type != regtype::ExpandSz)) {
        return std::nullopt;
    }
    QString text = decodeUtf16Le(value->bytes);
    const qsizetype nul = text.indexOf(QChar(0));
    if (nul >= 0) text.truncate(nul);
    return text;
}

std::optional<quint32> dwordValue(const RegistryKey& key, const QString& name) {
    const auto value = key.value(name);
    if (!value || value->type != regtype::Dword || value->bytes.size() < 4) return std::nullopt;
    return qFromLittleEndian<quint32>(value->bytes.constData());
}

}  // namespace kestrova
