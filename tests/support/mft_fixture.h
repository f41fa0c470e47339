// MFT entries crafted byte by byte, as NTFS writes them (see traces/filesystem/mft_entries.h for
// the layout), for what real tables lack: deleted and orphaned entries, extension entries, lies.
#pragma once

#include <QByteArray>
#include <QString>
#include <QtEndian>
#include <cstring>
#include <optional>
#include <vector>

namespace kestrova::test {

struct Crafted {
    uint16_t sequence = 1;
    bool inUse = true, folder = false;
    QString name{};
    uint64_t parent = 5;
    uint16_t parentSequence = 5;
    uint64_t siCreated = 0, fnCreated = 0;
    std::optional<uint64_t> dataSize{};
    uint64_t base = 0;  // an extension entry's base reference
    bool withStandardInformation = true;
};

// A 1,024-byte entry as NTFS writes it, its update sequence applied.
inline QByteArray craft(const Crafted& c) {
    QByteArray e(1024, '\0');
    auto* d = reinterpret_cast<uchar*>(e.data());
    e.replace(0, 4, "FILE");
    qToLittleEndian<quint16>(48, d + 4);
    qToLittleEndian<quint16>(3, d + 6);
    qToLittleEndian<quint16>(c.sequence, d + 16);
    qToLittleEndian<quint16>(56, d + 20);
    qToLittleEndian<quint16>((c.inUse ? 1 : 0) | (c.folder ? 2 : 0), d + 22);
    qToLittleEndian<quint32>(1024, d + 28);
    qToLittleEndian<quint64>(c.base, d + 32);
    int at = 56;
    const auto resident = [&](uint32_t type, const QByteArray& value, const QString& name = QString()) {
        const int nameBytes = static_cast<int>(name.size()) * 2;
        const int valueAt = (24 + nameBytes + 7) / 8 * 8;
        const int length = (valueAt + static_cast<int>(value.size()) + 7) / 8 * 8;
        qToLittleEndian<quint32>(type, d + at);
        qToLittleEndian<quint32>(static_cast<quint32>(length), d + at + 4);
        d[at + 9] = static_cast<uchar>(name.size());
        qToLittleEndian<quint16>(24, d + at + 10);
        std::memcpy(d + at + 24, name.utf16(), static_cast<size_t>(nameBytes));
        qToLittleEndian<quint32>(static_cast<quint32>(value.size()), d + at + 16);
        qToLittleEndian<quint16>(static_cast<quint16>(valueAt), d + at + 20);
        std::memcpy(d + at + valueAt, value.constData(), static_cast<size_t>(value.size()));
        at += length;
    };
    if (c.withStandardInformation) {
        QByteArray si(72, '\0');
        qToLittleEndian<quint64>(c.siCreated, si.data());
        resident(0x10, si);
    }
    if (!c.name.isEmpty()) {
        QByteArray fn(66 + c.name.size() * 2, '\0');
        qToLittleEndian<quint64>(c.parent | (uint64_t{c.parentSequence} << 48), fn.data());
        qToLittleEndian<quint64>(c.fnCreated, fn.data() + 8);
        fn[64] = static_cast<char>(c.name.size());
        fn[65] = 1;
        std::memcpy(fn.data() + 66, c.name.utf16(), static_cast<size_t>(c.name.size()) * 2);
        resident(0x30, fn);
    }
    if (c.folder) resident(0x90, QByteArray(32, '\0'), QStringLiteral("$I30"));
    if (c.dataSize) {
        qToLittleEndian<quint32>(0x80, d + at);
        qToLittleEndian<quint32>(72, d + at + 4);
        d[at + 8] = 1;
        qToLittleEndian<quint16>(64, d + at + 32);
        qToLittleEndian<quint64>(*c.dataSize, d + at + 48);
        at += 72;
    }
    qToLittleEndian<quint32>(0xFFFFFFFF, d + at);
    qToLittleEndian<quint32>(static_cast<quint32>(at + 8), d + 24);
    // The update sequence: the value at the end of each 512 bytes, the bytes it hides in the array.
    qToLittleEndian<quint16>(0x0007, d + 48);
    for (int i = 1; i <= 2; ++i) {
        std::memcpy(d + 48 + i * 2, d + i * 512 - 2, 2);
        qToLittleEndian<quint16>(0x0007, d + i * 512 - 2);
    }
    return e;
}

// A table: $MFT, four entries never written, the root, then `rest` from entry 6.
inline QByteArray craftedTable(const std::vector<QByteArray>& rest) {
    QByteArray bytes = craft({.name = "$MFT", .dataSize = 1024 * (6 + rest.size())});
    for (int i = 1; i < 5; ++i) bytes += QByteArray(1024, '\0');
    bytes += craft({.sequence = 5, .folder = true, .name = "."});
    for (const QByteArray& e : rest) bytes += e;
    return bytes;
}

}  // namespace kestrova::test
