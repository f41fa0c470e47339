#include "collections/collection_writer.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QUrl>
#include <array>

namespace kestrova::tools {
namespace {

quint32 crc32(const QByteArray& bytes) {
    static const auto table = [] {
        std::array<quint32, 256> t{};
        for (quint32 i = 0; i < 256; ++i) {
            quint32 c = i;
            for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[i] = c;
        }
        return t;
    }();
    quint32 c = 0xFFFFFFFFu;
    for (const char b : bytes) c = table[(c ^ static_cast<quint8>(b)) & 0xFF] ^ (c >> 8);
    return c ^ 0xFFFFFFFFu;
}

void put(QByteArray& out, quint64 value, int bytes) {
    for (int i = 0; i < bytes; ++i) out.append(static_cast<char>((value >> (8 * i)) & 0xFF));
}

constexpr qint64 kUnixToFiletime = 11644473600LL;

qint64 filetimeOf(const QDateTime& t) { return (t.toMSecsSinceEpoch() + kUnixToFiletime * 1000) * 10000; }

// Every file of the tree, by its path under the tree ("Users/bob/NTUSER.DAT").
QStringList filesOf(const QString& tree) {
    QStringList files;
    QDirIterator it(tree, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) files << QDir(tree).relativeFilePath(it.next());
    files.sort();
    return files;
}

QByteArray encodedPart(const QString& part) { return QUrl::toPercentEncoding(part, " $()!,'~[]{}@#&+=;"); }

}  // namespace

bool writeZip(const QString& path, const std::vector<ZipMember>& members, QString* why) {
    QByteArray out, central;
    for (const ZipMember& m : members) {
        const quint32 crc = crc32(m.content);
        const quint32 size = m.claimedSize.value_or(static_cast<quint32>(m.content.size()));
        QByteArray extra;
        if (m.modified) {
            put(extra, 0x000a, 2);
            put(extra, 32, 2);
            put(extra, 0, 4);
            put(extra, 1, 2);
            put(extra, 24, 2);
            for (int i = 0; i < 3; ++i) put(extra, static_cast<quint64>(*m.modified), 8);
        }
        const quint16 flags = m.utf8 ? 0x0800 : 0;
        const quint32 offset = static_cast<quint32>(out.size());
        put(out, 0x04034b50, 4);
        put(out, 20, 2);
        put(out, flags, 2);
        put(out, 0, 2);       // stored
        put(out, 0, 2);       // DOS time 00:00
        put(out, 0x5021, 2);  // DOS date 2020-01-01
        put(out, crc, 4);
        put(out, static_cast<quint64>(m.content.size()), 4);
        put(out, size, 4);
        put(out, static_cast<quint64>(m.name.size()), 2);
        put(out, static_cast<quint64>(extra.size()), 2);
        out += m.name;
        out += extra;
        out += m.content;
        put(central, 0x02014b50, 4);
        put(central, 20, 2);
        put(central, 20, 2);
        put(central, flags, 2);
        put(central, 0, 2);
        put(central, 0, 2);
        put(central, 0x5021, 2);
        put(central, crc, 4);
        put(central, static_cast<quint64>(m.content.size()), 4);
        put(central, size, 4);
        put(central, static_cast<quint64>(m.name.size()), 2);
        put(central, static_cast<quint64>(extra.size()), 2);
        put(central, 0, 2);  // comment
        put(central, 0, 2);  // disk
        put(central, 0, 2);  // internal attributes
        put(central, 0x20, 4);  // archive
        put(central, offset, 4);
        central += m.name;
        central += extra;
    }
    const quint32 centralAt = static_cast<quint32>(out.size());
    out += central;
    put(out, 0x06054b50, 4);
    put(out, 0, 2);
    put(out, 0, 2);
    put(out, members.size(), 2);
    put(out, members.size(), 2);
    put(out, static_cast<quint64>(central.size()), 4);
    put(out, centralAt, 4);
    put(out, 0, 2);
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(out) != out.size()) {
        *why = QStringLiteral("%1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

bool writeCollection(const QString& volume, const QString& out, CollectionLayoutKind kind, QString* why, const QString& accessor, const QString& host,
                     const QStringList& shadows) {
    if (kind == CollectionLayoutKind::Kape) {
        const QStringList files = filesOf(volume);
        for (const QString& file : files) {
            const QString target = out + QStringLiteral("/C/") + file;
            QDir().mkpath(QFileInfo(target).path());
            QFile::remove(target);
            if (!QFile::copy(volume + QLatin1Char('/') + file, target)) {
                *why = QStringLiteral("cannot copy %1 to %2").arg(file, target);
                return false;
            }
            // KAPE keeps the files' times; so does this copy.
            QFile copy(target);
            if (!copy.open(QIODevice::ReadWrite) || !copy.setFileTime(QFileInfo(volume + QLatin1Char('/') + file).lastModified(), QFileDevice::FileModificationTime)) {
                *why = QStringLiteral("cannot set the times of %1").arg(target);
                return false;
            }
        }
        return true;
    }
    std::vector<ZipMember> members;
    QByteArray uploads;
    // Each tree's files under its volume's name: the volume, then its shadow copies.
    std::vector<std::pair<QString, QByteArray>> trees{{volume, accessor == QLatin1String("ntfs") ? QByteArray("%5C%5C.%5CC%3A") : QByteArray("C%3A")}};
    for (qsizetype i = 0; i < shadows.size(); ++i) {
        trees.emplace_back(shadows[i], "%5C%5C%3F%5CGLOBALROOT%5CDevice%5CHarddiskVolumeShadowCopy" + QByteArray::number(i + 1));
    }
    for (const auto& [tree, volumePart] : trees) {
        const QByteArray through = &tree == &trees.front().first ? accessor.toUtf8() : QByteArray("ntfs");
        for (const QString& file : filesOf(tree)) {
            QFile in(tree + QLatin1Char('/') + file);
            if (!in.open(QIODevice::ReadOnly)) {
                *why = QStringLiteral("cannot read %1").arg(in.fileName());
                return false;
            }
            ZipMember m;
            m.content = in.readAll();
            m.modified = filetimeOf(QFileInfo(in).lastModified());
            if (kind == CollectionLayoutKind::PlainTree) {
                m.name = file.toUtf8();
            } else {
                m.name = "uploads/" + through + '/' + volumePart;
                for (const QString& part : file.split(QLatin1Char('/'))) m.name += '/' + encodedPart(part);
                uploads += QStringLiteral("{\"Timestamp\":\"2026-11-20T10:00:00Z\",\"vfs_path\":\"C:\\\\%1\",\"file_size\":%2,\"uploaded_size\":%2}\n")
                               .arg(QString(file).replace(QLatin1Char('/'), QStringLiteral("\\\\")))
                               .arg(m.content.size())
                               .toUtf8();
            }
            members.push_back(std::move(m));
        }
    }
    if (kind == CollectionLayoutKind::Velociraptor) {
        members.push_back({.name = "uploads.json", .content = uploads});
        members.push_back({.name = "client_info.json", .content = QStringLiteral("{\"Hostname\":\"%1\",\"OS\":\"windows\"}").arg(host).toUtf8()});
        // 2026-11-20T10:00:00Z, in microseconds as Velociraptor counts.
        members.push_back({.name = "collection_context.json", .content = "{\"create_time\":1795168800000000,\"total_uploaded_files\":1}"});
    }
    return writeZip(out, members, why);
}

}  // namespace kestrova::tools
