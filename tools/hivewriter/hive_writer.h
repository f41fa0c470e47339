// Writes registry hive files for tests and the sample system: an empty hive is laid out here
// (base block, one bin, a root key and its security cell), and keys and values go in through
// hivex's write API. Keys keep the hive's sorted order; values keep the order they are given in,
// which is the order Windows enumerates them.
#pragma once

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <vector>

namespace kestrova::tools {

struct HiveValue {
    QString name;  // "" is the key's default value
    uint32_t type = 0;
    QByteArray data;
};

class HiveBuilder {
public:
    // Makes sure the key exists ("A\B\C", no root name).
    HiveBuilder& key(const QString& path);
    HiveBuilder& value(const QString& keyPath, const QString& name, uint32_t type, const QByteArray& data);
    HiveBuilder& sz(const QString& keyPath, const QString& name, const QString& text);
    HiveBuilder& dword(const QString& keyPath, const QString& name, uint32_t number);
    HiveBuilder& binary(const QString& keyPath, const QString& name, const QByteArray& data);

    // Writes the hive; false with the reason in *error.
    bool write(const QString& file, QString* error = nullptr) const;

private:
    struct Key {
        QString path;
        std::vector<HiveValue> values;
    };
    Key& find(const QString& path);
    std::vector<Key> keys_;
};

// A valid hive file holding nothing but its root key.
QByteArray emptyHive();
// Text as UTF-16LE with its terminating NUL, as REG_SZ values are stored.
QByteArray utf16z(const QString& text);
// Text as UTF-16LE without a NUL.
QByteArray utf16(const QString& text);

}  // namespace kestrova::tools
