#include "hivewriter/hive_writer.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>
#include <cerrno>
#include <cstring>
#include <hivex.h>
#include <memory>

namespace kestrova::tools {
namespace {

// Layout of a new, empty hive (Windows registry file format, as publicly documented for the
// "regf" base block, "hbin" bins and "nk"/"sk" cells):
//   0x0000  base block, 4096 bytes: "regf", sequence numbers, version 1.3, root cell offset,
//           bins size, XOR checksum of the first 508 bytes at 0x1FC
//   0x1000  hive bin header, 32 bytes: "hbin", its offset from the first bin, its size
//   0x1020  root key cell (nk), named "ROOT"
//   0x1078  security cell (sk) with a minimal self-relative descriptor; hivex hands it on to
//           every key it adds, so the root must have one
//   0x10A8  one free cell for the rest of the bin
constexpr int kBaseBlock = 0x1000;
constexpr int kBinSize = 0x1000;
constexpr int kRootCell = 0x20;   // offsets of cells count from the first bin
constexpr int kSecurityCell = 0x78;
constexpr int kFreeCell = 0xA8;

void put16(QByteArray& b, int at, uint16_t v) { qToLittleEndian(v, b.data() + at); }
void put32(QByteArray& b, int at, uint32_t v) { qToLittleEndian(v, b.data() + at); }

}  // namespace

QByteArray emptyHive() {
    QByteArray b(kBaseBlock + kBinSize, '\0');
    std::memcpy(b.data(), "regf", 4);
    put32(b, 4, 1);           // primary sequence number
    put32(b, 8, 1);           // secondary sequence number (equal: the hive is consistent)
    put32(b, 20, 1);          // major version
    put32(b, 24, 3);          // minor version
    put32(b, 28, 0);          // primary file
    put32(b, 32, 1);          // direct memory load format
    put32(b, 36, kRootCell);  // root cell offset
    put32(b, 40, kBinSize);   // size of the bins
    put32(b, 44, 1);          // clustering factor
    uint32_t sum = 0;
    for (int i = 0; i < 0x1FC; i += 4) sum ^= qFromLittleEndian<uint32_t>(b.constData() + i);
    put32(b, 0x1FC, sum);

    const int bin = kBaseBlock;
    std::memcpy(b.data() + bin, "hbin", 4);
    put32(b, bin + 4, 0);         // offset of this bin
    put32(b, bin + 8, kBinSize);  // size of this bin

    const int nk = bin + kRootCell;
    put32(b, nk, static_cast<uint32_t>(-0x58));  // allocated cell of 88 bytes
    std::memcpy(b.data() + nk + 4, "nk", 2);
    put16(b, nk + 6, 0x2C);                       // hive entry, not deletable, ASCII name
    put32(b, nk + 20, 0xFFFFFFFF);                // parent
    put32(b, nk + 32, 0xFFFFFFFF);                // subkey list
    put32(b, nk + 36, 0xFFFFFFFF);                // volatile subkey list
    put32(b, nk + 44, 0xFFFFFFFF);                // value list
    put32(b, nk + 48, kSecurityCell);             // security cell
    put32(b, nk + 52, 0xFFFFFFFF);                // class name
    put16(b, nk + 76, 4);                         // name length
    std::memcpy(b.data() + nk + 80, "ROOT", 4);

    const int sk = bin + kSecurityCell;
    put32(b, sk, static_cast<uint32_t>(-0x30));  // allocated cell of 48 bytes
    std::memcpy(b.data() + sk + 4, "sk", 2);
    put32(b, sk + 8, kSecurityCell);   // next in the circular list: itself
    put32(b, sk + 12, kSecurityCell);  // previous: itself
    put32(b, sk + 16, 1);              // reference count
    put32(b, sk + 20, 20);             // descriptor length
    b[sk + 24] = 1;                    // descriptor revision
    put16(b, sk + 26, 0x8004);         // self-relative, DACL present (and null)

    put32(b, bin + kFreeCell, kBinSize - kFreeCell);  // free cell: positive size
    return b;
}

QByteArray utf16(const QString& text) {
    QByteArray out(text.size() * 2, '\0');
    for (qsizetype i = 0; i < text.size(); ++i) {
        qToLittleEndian<uint16_t>(text[i].unicode(), out.data() + 2 * i);
    }
    return out;
}

QByteArray utf16z(const QString& text) { return utf16(text) + QByteArray(2, '\0'); }

HiveBuilder::Key& HiveBuilder::find(const QString& path) {
    const QString clean = QStringList(path.split(QLatin1Char('\\'), Qt::SkipEmptyParts)).join('\\');
    for (Key& k : keys_) {
        if (k.path.compare(clean, Qt::CaseInsensitive) == 0) return k;
    }
    keys_.push_back({clean, {}});
    return keys_.back();
}

HiveBuilder& HiveBuilder::key(const QString& path) {
    find(path);
    return *this;
}

HiveBuilder& HiveBuilder::value(const QString& keyPath, const QString& name, uint32_t type,
                                const QByteArray& data) {
    Key& k = find(keyPath);
    for (HiveValue& v : k.values) {
        if (v.name.compare(name, Qt::CaseInsensitive) == 0) {
            v = {name, type, data};
            return *this;
        }
    }
    k.values.push_back({name, type, data});
    return *this;
}

HiveBuilder& HiveBuilder::sz(const QString& keyPath, const QString& name, const QString& text) {
    return value(keyPath, name, hive_t_REG_SZ, utf16z(text));
}

HiveBuilder& HiveBuilder::dword(const QString& keyPath, const QString& name, uint32_t number) {
    QByteArray data(4, '\0');
    qToLittleEndian(number, data.data());
    return value(keyPath, name, hive_t_REG_DWORD, data);
}

HiveBuilder& HiveBuilder::binary(const QString& keyPath, const QString& name, const QByteArray& data) {
    return value(keyPath, name, hive_t_REG_BINARY, data);
}

bool HiveBuilder::write(const QString& file, QString* error) const {
    auto fail = [error](const QString& why) {
        if (error) *error = why;
        return false;
    };
    QTemporaryDir scratch;
    if (!scratch.isValid()) return fail(QStringLiteral("no temporary folder"));
    const QString seed = scratch.filePath(QStringLiteral("empty.hive"));
    {
        QFile out(seed);
        if (!out.open(QIODevice::WriteOnly) || out.write(emptyHive()) != kBaseBlock + kBinSize) {
            return fail(QStringLiteral("cannot write %1").arg(seed));
        }
    }
    std::unique_ptr<hive_h, int (*)(hive_h*)> h(
        hivex_open(QFile::encodeName(seed).constData(), HIVEX_OPEN_WRITE), hivex_close);
    if (!h) return fail(QStringLiteral("hivex cannot open the empty hive: %1").arg(std::strerror(errno)));

    for (const Key& k : keys_) {
        hive_node_h node = hivex_root(h.get());
        for (const QString& part : k.path.split(QLatin1Char('\\'), Qt::SkipEmptyParts)) {
            const QByteArray name = part.toUtf8();
            hive_node_h next = hivex_node_get_child(h.get(), node, name.constData());
            if (next == 0) next = hivex_node_add_child(h.get(), node, name.constData());
            if (next == 0) return fail(QStringLiteral("cannot add key %1").arg(k.path));
            node = next;
        }
        if (k.values.empty()) continue;
        std::vector<QByteArray> names;
        std::vector<hive_set_value> values;
        names.reserve(k.values.size());
        for (const HiveValue& v : k.values) names.push_back(v.name.toUtf8());
        for (size_t i = 0; i < k.values.size(); ++i) {
            values.push_back({const_cast<char*>(names[i].constData()), static_cast<hive_type>(k.values[i].type),
                              static_cast<size_t>(k.values[i].data.size()),
                              const_cast<char*>(k.values[i].data.constData())});
        }
        if (hivex_node_set_values(h.get(), node, values.size(), values.data(), 0) != 0) {
            return fail(QStringLiteral("cannot set values of %1: %2").arg(k.path, std::strerror(errno)));
        }
    }
    if (hivex_commit(h.get(), QFile::encodeName(file).constData(), 0) != 0) {
        return fail(QStringLiteral("cannot write %1: %2").arg(file, std::strerror(errno)));
    }
    return true;
}

}  // namespace kestrova::tools
