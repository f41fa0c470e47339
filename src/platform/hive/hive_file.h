// One registry hive file opened read-only through hivex, and its keys as core's RegistryKey.
// hivex's conventions (0 with errno clear = not found, errno set = error) end here.
#pragma once

#include <QString>
#include <QStringList>
#include <memory>
#include <optional>
#include <vector>

#include "core/registry/registry_backend.h"

struct hive_h;

namespace kestrova {

class HiveFile : public std::enable_shared_from_this<HiveFile> {
public:
    using Node = size_t;

    // The opened hive, or nullptr with the reason in *problem.
    static std::shared_ptr<HiveFile> open(const QString& localPath, QString* problem = nullptr);
    // A hive held in memory (one replayed from its logs), opened the same way; nothing of it is
    // written to disk.
    static std::shared_ptr<HiveFile> openBytes(const QByteArray& bytes, QString* problem = nullptr);
    ~HiveFile();
    HiveFile(const HiveFile&) = delete;
    HiveFile& operator=(const HiveFile&) = delete;

    Node root() const;
    // A subkey by name, matched case-insensitively; nullopt when absent or unreadable.
    std::optional<Node> child(Node node, const QString& name) const;
    // Walks "\"-separated components from the root.
    std::optional<Node> walk(const QStringList& components) const;
    QStringList childNames(Node node) const;
    QStringList valueNames(Node node) const;
    std::optional<RegValueData> value(Node node, const QString& name) const;

    std::unique_ptr<RegistryKey> key(Node node) const;

    // What the traces walk: subkeys with their nodes, every value with its type and data, and a
    // key's last-written time (a FILETIME; nullopt when unreadable).
    struct Named {
        Node node;
        QString name;
    };
    std::vector<Named> children(Node node) const;
    struct NamedValue {
        QString name;
        RegValueData data;
    };
    std::vector<NamedValue> values(Node node) const;
    std::optional<int64_t> lastWritten(Node node) const;
    // A key's own name ("" when unreadable): the root's is the name Windows mounted the hive as.
    QString nameOf(Node node) const;

    // What was lost since the last call, a line each ("key Software\...\Count: hivex refuses its
    // values (...)"): a subkey or value list hivex refused (damaged, or over its limits), an entry
    // whose name or data could not be read. Every walk above notes it, classic or trace; the
    // traces say it as a finding, so that a damaged key is never taken for an empty one.
    QStringList takeLosses() const;

private:
    explicit HiveFile(hive_h* handle) : handle_(handle) {}
    // The key's path below the root, for a loss's line.
    QString pathOf(Node node) const;
    void lose(Node node, const QString& what) const;
    hive_h* handle_;
    mutable QStringList losses_;
};

}  // namespace kestrova
