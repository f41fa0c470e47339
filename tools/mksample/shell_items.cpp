#include "mksample/shell_items.h"

#include <QRegularExpression>
#include <QStringList>
#include <QtEndian>

#include "hivewriter/hive_writer.h"

namespace kestrova::tools {
namespace {

void append16(QByteArray& b, uint16_t v) {
    char raw[2];
    qToLittleEndian(v, raw);
    b.append(raw, 2);
}

void append32(QByteArray& b, uint32_t v) {
    char raw[4];
    qToLittleEndian(v, raw);
    b.append(raw, 4);
}

// The root item: a GUID item (0x1F) naming My Computer {20D04FE0-3AEA-1069-A2D8-08002B30309D}.
QByteArray myComputerItem() {
    return QByteArray::fromHex("14001f50e04fd020ea3a6910a2d808002b30309d");
}

// A drive item (0x2F): "C:\" padded with zeros to 25 bytes, as Windows 7 writes it.
QByteArray driveItem(QChar letter) {
    QByteArray b;
    append16(b, 0x19);
    b.append('\x2f');
    b.append(letter.toLatin1());
    b.append(":\\");
    b.append(QByteArray(0x19 - b.size(), '\0'));
    return b;
}

// The 8.3 name Windows would give; names that already fit are kept as they are.
QByteArray shortName(const QString& name) {
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    const QString base = dot < 0 ? name : name.left(dot);
    const QString ext = dot < 0 ? QString() : name.mid(dot + 1);
    static const QRegularExpression kPlain(QStringLiteral("^[A-Za-z0-9_-]+$"));
    if (base.size() <= 8 && ext.size() <= 3 && kPlain.match(base).hasMatch()) return name.toLatin1();
    QString stem = base.toUpper();
    stem.remove(QRegularExpression(QStringLiteral("[^A-Z0-9]")));
    QString shortened = stem.left(6) + QStringLiteral("~1");
    if (!ext.isEmpty()) shortened += QLatin1Char('.') + ext.toUpper().left(3);
    return shortened.toLatin1();
}

// Localised display names of the profile folders that have one.
QString localizedName(const QString& name) {
    if (name == QLatin1String("Users")) return QStringLiteral("@shell32.dll,-21813");
    if (name == QLatin1String("Documents")) return QStringLiteral("@shell32.dll,-21770");
    if (name == QLatin1String("Desktop")) return QStringLiteral("@shell32.dll,-21769");
    if (name == QLatin1String("Downloads")) return QStringLiteral("@shell32.dll,-21798");
    if (name == QLatin1String("Pictures")) return QStringLiteral("@shell32.dll,-21779");
    return QString();
}

// A file entry item:
//   0   size u16, 2 type (0x31 folder, 0x32 file), 3 unknown, 4 file size u32,
//   8   modified (FAT date and time), 12 attributes u16, 14 short name, NUL, padded to even
//   then the extension block 0xBEEF0004 version 8:
//   0   size u16, 2 version u16 = 8, 4 signature, 8 created, 12 accessed, 16 identifier 0x2A,
//   18  unknown u16, 20 MFT reference (8), 28 unknown (8), 36 offset of the localised name in the
//       block (0 when none), 38 unknown u32, 42 long name UTF-16 + NUL, [localised name + NUL],
//   and last the offset of the block within the item, u16.
QByteArray fileEntryItem(const QString& name, bool folder) {
    QByteArray shortBytes = shortName(name) + '\0';
    if (shortBytes.size() % 2) shortBytes.append('\0');
    const QString localized = folder ? localizedName(name) : QString();
    const QByteArray longName = utf16z(name);
    const QByteArray localizedBytes = localized.isEmpty() ? QByteArray() : utf16z(localized);
    const uint16_t fatDate = 0x3f28, fatTime = 0xa610;  // 8 Sep 2011, 20:48

    QByteArray ext;
    append16(ext, 0);  // size, set below
    append16(ext, 8);
    append32(ext, 0xBEEF0004);
    append16(ext, fatDate);
    append16(ext, fatTime);
    append16(ext, fatDate);
    append16(ext, fatTime);
    append16(ext, 0x2A);
    append16(ext, 0);
    ext.append(QByteArray(16, '\0'));
    append16(ext, localized.isEmpty() ? 0 : static_cast<uint16_t>(42 + longName.size()));
    append32(ext, 0);
    ext.append(longName);
    ext.append(localizedBytes);
    const uint16_t blockOffset = static_cast<uint16_t>(14 + shortBytes.size());
    append16(ext, blockOffset);
    qToLittleEndian(static_cast<uint16_t>(ext.size()), ext.data());

    QByteArray item;
    append16(item, 0);  // size, set below
    item.append(folder ? '\x31' : '\x32');
    item.append('\0');
    append32(item, folder ? 0 : 24576);
    append16(item, fatDate);
    append16(item, fatTime);
    append16(item, folder ? 0x10 : 0x20);
    item.append(shortBytes);
    item.append(ext);
    qToLittleEndian(static_cast<uint16_t>(item.size()), item.data());
    return item;
}

}  // namespace

QByteArray shellItemList(const QString& path, bool lastIsFile) {
    QStringList parts = path.split(QLatin1Char('\\'), Qt::SkipEmptyParts);
    QByteArray list = myComputerItem();
    if (!parts.isEmpty() && parts.first().endsWith(QLatin1Char(':'))) {
        list += driveItem(parts.takeFirst().at(0));
    }
    for (qsizetype i = 0; i < parts.size(); ++i) {
        list += fileEntryItem(parts[i], !(lastIsFile && i == parts.size() - 1));
    }
    list.append(2, '\0');
    return list;
}

QByteArray programAndFolderValue(const QString& program, const QString& folder) {
    return utf16z(program) + shellItemList(folder, false);
}

QByteArray openSaveValue(const QString& filePath) { return shellItemList(filePath, true); }

}  // namespace kestrova::tools
