#include "platform/hive/hive_file.h"

#include <QFile>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <hivex.h>

namespace kestrova {
namespace {

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T>
using CPtr = std::unique_ptr<T, FreeDeleter>;

class HiveKey : public RegistryKey {
public:
    HiveKey(std::shared_ptr<const HiveFile> hive, HiveFile::Node node)
        : hive_(std::move(hive)), node_(node) {}
    std::optional<RegValueData> value(const QString& name) const override {
        return hive_->value(node_, name);
    }
    QStringList valueNames() const override { return hive_->valueNames(node_); }
    QStringList subkeyNames() const override { return hive_->childNames(node_); }

private:
    std::shared_ptr<const HiveFile> hive_;
    HiveFile::Node node_;
};

}  // namespace

std::shared_ptr<HiveFile> HiveFile::open(const QString& localPath, QString* problem) {
    errno = 0;
    // Unsafe mode lets hivex read on past damaged cells, which real (dirty) hives often have;
    // every offset is still bounds-checked. Never opened for writing.
    hive_h* handle = hivex_open(QFile::encodeName(localPath).constData(), HIVEX_OPEN_UNSAFE);
    if (!handle) {
        if (problem) *problem = QString::fromLocal8Bit(std::strerror(errno ? errno : EINVAL));
        return nullptr;
    }
    return std::shared_ptr<HiveFile>(new HiveFile(handle));
}

HiveFile::~HiveFile() { hivex_close(handle_); }

HiveFile::Node HiveFile::root() const { return hivex_root(handle_); }

QStringList HiveFile::childNames(Node node) const {
    QStringList names;
    CPtr<hive_node_h> children(hivex_node_children(handle_, node));
    if (!children) return names;
    for (const hive_node_h* c = children.get(); *c != 0; ++c) {
        CPtr<char> name(hivex_node_name(handle_, *c));
        if (!name) break;  // a damaged entry ends the list, as the enumeration call would
        names.append(QString::fromUtf8(name.get()));
    }
    return names;
}

std::optional<HiveFile::Node> HiveFile::child(Node node, const QString& name) const {
    CPtr<hive_node_h> children(hivex_node_children(handle_, node));
    if (!children) return std::nullopt;
    for (const hive_node_h* c = children.get(); *c != 0; ++c) {
        CPtr<char> childName(hivex_node_name(handle_, *c));
        if (childName && QString::fromUtf8(childName.get()).compare(name, Qt::CaseInsensitive) == 0) {
            return *c;
        }
    }
    return std::nullopt;
}

std::optional<HiveFile::Node> HiveFile::walk(const QStringList& components) const {
    Node node = root();
    if (node == 0) return std::nullopt;
    for (const QString& part : components) {
        const auto next = child(node, part);
        if (!next) return std::nullopt;
        node = *next;
    }
    return node;
}

QStringList HiveFile::valueNames(Node node) const {
    QStringList names;
    CPtr<hive_value_h> values(hivex_node_values(handle_, node));
    if (!values) return names;
    for (const hive_value_h* v = values.get(); *v != 0; ++v) {
        CPtr<char> name(hivex_value_key(handle_, *v));
        if (!name) break;
        names.append(QString::fromUtf8(name.get()));
    }
    return names;
}

std::optional<RegValueData> HiveFile::value(Node node, const QString& name) const {
    CPtr<hive_value_h> values(hivex_node_values(handle_, node));
    if (!values) return std::nullopt;
    for (const hive_value_h* v = values.get(); *v != 0; ++v) {
        CPtr<char> key(hivex_value_key(handle_, *v));
        if (!key || QString::fromUtf8(key.get()).compare(name, Qt::CaseInsensitive) != 0) continue;
        hive_type type{};
        size_t length = 0;
        errno = 0;
        CPtr<char> data(hivex_value_value(handle_, *v, &type, &length));
        if (!data) {
            // No buffer with errno clear is a value without data; with errno set it is damaged.
            if (errno != 0) return std::nullopt;
            return RegValueData{static_cast<uint32_t>(type), QByteArray()};
        }
        return RegValueData{static_cast<uint32_t>(type),
                            QByteArray(data.get(), static_cast<qsizetype>(length))};
    }
    return std::nullopt;
}

std::unique_ptr<RegistryKey> HiveFile::key(Node node) const {
    return std::make_unique<HiveKey>(shared_from_this(), node);
}

}  // namespace kestrova
