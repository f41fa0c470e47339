#include "platform/hive/hive_file.h"

#include "core/common/text.h"

#include <QFile>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <hivex.h>
#include <sys/mman.h>
#include <unistd.h>

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
    hive_h* handle = hivex_open(toFileNameBytes(localPath).constData(), HIVEX_OPEN_UNSAFE);
    if (!handle) {
        if (problem) *problem = QString::fromLocal8Bit(std::strerror(errno ? errno : EINVAL));
        return nullptr;
    }
    return std::shared_ptr<HiveFile>(new HiveFile(handle));
}

std::shared_ptr<HiveFile> HiveFile::openBytes(const QByteArray& bytes, QString* problem) {
    // hivex opens a name: a memory file gives it one without the hive ever touching a disk.
    const int fd = memfd_create("kestrova-hive", MFD_CLOEXEC);
    if (fd < 0) {
        if (problem) *problem = QString::fromLocal8Bit(std::strerror(errno));
        return nullptr;
    }
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.constData() + written, static_cast<size_t>(bytes.size() - written));
        if (n <= 0) break;
        written += n;
    }
    std::shared_ptr<HiveFile> hive;
    if (written == bytes.size()) {
        hive = open(QStringLiteral("/proc/self/fd/%1").arg(fd), problem);
    } else if (problem) {
        *problem = QStringLiteral("no memory for the replayed hive");
    }
    ::close(fd);  // hivex holds the file open (or mapped) itself
    return hive;
}

HiveFile::~HiveFile() { hivex_close(handle_); }

HiveFile::Node HiveFile::root() const { return hivex_root(handle_); }

// Calls visit(handle, name) for each subkey or value of a node in the hive's order until it
// returns false. A damaged entry ends the walk, as the enumeration call would end there; a list
// hivex refuses and an entry whose name it cannot read are said through `lose`.
template <typename Handle, typename Visit, typename Lose>
static void forEachNamed(hive_h* h, Handle* (*list)(hive_h*, size_t), char* (*nameOf)(hive_h*, Handle),
                         size_t node, Visit visit, Lose lose) {
    const char* const what = list == hivex_node_children ? "subkeys" : "values";
    errno = 0;
    CPtr<Handle> handles(list(h, node));
    if (!handles) {
        lose(QStringLiteral("hivex refuses its %1 (%2)").arg(QLatin1String(what), QString::fromLocal8Bit(std::strerror(errno ? errno : EINVAL))));
        return;
    }
    size_t at = 0;
    for (const Handle* it = handles.get(); *it != 0; ++it, ++at) {
        CPtr<char> name(nameOf(h, *it));
        if (!name) {
            size_t total = at;
            while (handles.get()[total] != 0) ++total;
            lose(QStringLiteral("the name of one of its %1 cannot be read; %2 of %3 are left unread")
                     .arg(QLatin1String(what)).arg(total - at).arg(total));
            return;
        }
        if (!visit(*it, QString::fromUtf8(name.get()))) return;
    }
}

QString HiveFile::pathOf(Node node) const {
    QStringList parts;
    const Node top = root();
    for (int depth = 0; node != 0 && node != top && depth < 512; ++depth) {
        CPtr<char> name(hivex_node_name(handle_, node));
        parts.prepend(name ? QString::fromUtf8(name.get()) : QStringLiteral("?"));
        errno = 0;
        node = hivex_node_parent(handle_, node);
    }
    return parts.join(QLatin1Char('\\'));
}

void HiveFile::lose(Node node, const QString& what) const {
    const QString path = pathOf(node);
    const QString line = QStringLiteral("key %1: %2").arg(path.isEmpty() ? QStringLiteral("(the root)") : path, what);
    if (!losses_.contains(line)) losses_.append(line);
}

QStringList HiveFile::takeLosses() const { return std::exchange(losses_, {}); }

QStringList HiveFile::childNames(Node node) const {
    QStringList names;
    forEachNamed(handle_, hivex_node_children, hivex_node_name, node, [&](hive_node_h, const QString& name) {
        names.append(name);
        return true;
    }, [&](const QString& why) { lose(node, why); });
    return names;
}

std::optional<HiveFile::Node> HiveFile::child(Node node, const QString& name) const {
    std::optional<Node> found;
    forEachNamed(handle_, hivex_node_children, hivex_node_name, node, [&](hive_node_h c, const QString& childName) {
        if (childName.compare(name, Qt::CaseInsensitive) == 0) found = c;
        return !found;
    }, [&](const QString& why) { lose(node, why); });
    return found;
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
    forEachNamed(handle_, hivex_node_values, hivex_value_key, node, [&](hive_value_h, const QString& name) {
        names.append(name);
        return true;
    }, [&](const QString& why) { lose(node, why); });
    return names;
}

std::optional<RegValueData> HiveFile::value(Node node, const QString& name) const {
    std::optional<hive_value_h> match;
    forEachNamed(handle_, hivex_node_values, hivex_value_key, node, [&](hive_value_h v, const QString& key) {
        if (key.compare(name, Qt::CaseInsensitive) == 0) match = v;
        return !match;
    }, [&](const QString& why) { lose(node, why); });
    if (!match) return std::nullopt;
    // A damaged hive may store any number as the type; it is kept as a plain number, never loaded
    // as hivex's enumeration (whose range it may be outside).
    static_assert(sizeof(hive_type) == sizeof(uint32_t));
    uint32_t type = 0;
    size_t length = 0;
    errno = 0;
    CPtr<char> data(hivex_value_value(handle_, *match, reinterpret_cast<hive_type*>(&type), &length));
    if (!data) {
        // No buffer with errno clear is a value without data; with errno set it is damaged.
        if (errno != 0) return std::nullopt;
        return RegValueData{type, QByteArray()};
    }
    return RegValueData{type, QByteArray(data.get(), static_cast<qsizetype>(length))};
}

std::vector<HiveFile::Named> HiveFile::children(Node node) const {
    std::vector<Named> list;
    forEachNamed(handle_, hivex_node_children, hivex_node_name, node, [&](hive_node_h c, const QString& name) {
        list.push_back({c, name});
        return true;
    }, [&](const QString& why) { lose(node, why); });
    return list;
}

std::vector<HiveFile::NamedValue> HiveFile::values(Node node) const {
    std::vector<NamedValue> list;
    forEachNamed(handle_, hivex_node_values, hivex_value_key, node, [&](hive_value_h v, const QString& name) {
        uint32_t type = 0;
        size_t length = 0;
        errno = 0;
        CPtr<char> data(hivex_value_value(handle_, v, reinterpret_cast<hive_type*>(&type), &length));
        if (data || errno == 0) {
            list.push_back({name, RegValueData{type, data ? QByteArray(data.get(), static_cast<qsizetype>(length)) : QByteArray()}});
        } else {
            lose(node, QStringLiteral("the data of its value \"%1\" cannot be read (%2)").arg(name, QString::fromLocal8Bit(std::strerror(errno))));
        }
        return true;
    }, [&](const QString& why) { lose(node, why); });
    return list;
}

QString HiveFile::nameOf(Node node) const {
    CPtr<char> name(hivex_node_name(handle_, node));
    return name ? QString::fromUtf8(name.get()) : QString();
}

std::optional<int64_t> HiveFile::lastWritten(Node node) const {
    errno = 0;
    const int64_t stamp = hivex_node_timestamp(handle_, node);
    if (stamp < 0) return std::nullopt;
    return stamp;
}

std::unique_ptr<RegistryKey> HiveFile::key(Node node) const {
    return std::make_unique<HiveKey>(shared_from_this(), node);
}

}  // namespace kestrova
