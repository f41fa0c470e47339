// Disk images built at test time with the project's and Debian's own tools: an NTFS file system
// written with mkntfs and filled through an ntfs-3g mount (FUSE), put behind an MBR or a GPT
// written here, converted with qemu-img and ewfacquire. Tests that need FUSE skip, naming what is
// missing, where it is not there.
#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUuid>
#include <QtEndian>
#include <cstdint>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <vector>

namespace kestrova::test {

// Runs a tool; false, with what it said in *error, when it fails.
inline bool runTool(const QString& program, const QStringList& args, QString* error, int timeoutMs = 120000) {
    QProcess p;
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, args);
    if (!p.waitForFinished(timeoutMs) || p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
        if (error) *error = program + QLatin1Char(' ') + args.join(' ') + QStringLiteral(": ") + QString::fromLocal8Bit(p.readAll());
        p.kill();
        return false;
    }
    return true;
}

// Why an NTFS image cannot be built here; "" when it can.
inline QString ntfsUnavailable() {
    for (const char* tool : {"mkntfs", "ntfs-3g", "umount"}) {
        if (QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty() &&
            QStandardPaths::findExecutable(QLatin1String(tool), {QStringLiteral("/usr/sbin"), QStringLiteral("/sbin")}).isEmpty()) {
            return QStringLiteral("%1 is not installed").arg(QLatin1String(tool));
        }
    }
    if (!QFile::exists(QStringLiteral("/dev/fuse"))) return QStringLiteral("FUSE is not available (/dev/fuse)");
    return QString();
}

// A folder that mounts an NTFS image with ntfs-3g while it lives.
class NtfsMount {
public:
    NtfsMount(const QString& image, bool readOnly, QString* error) {
        QStringList args;
        if (readOnly) args << QStringLiteral("-o") << QStringLiteral("ro");
        mounted_ = runTool(QStringLiteral("ntfs-3g"), args << image << dir_.path(), error);
    }
    ~NtfsMount() {
        if (mounted_) runTool(QStringLiteral("umount"), {dir_.path()}, nullptr);
    }
    bool mounted() const { return mounted_; }
    QString path() const { return dir_.path(); }

private:
    QTemporaryDir dir_;
    bool mounted_ = false;
};

// Folders as Windows makes them carry the directory attribute alone; ntfs-3g adds the archive
// bit to the ones it creates, which the readers' folder test (16 to 31) would take for files.
inline void plainFolderAttributes(const QString& folder) {
    const QByteArray path = QFile::encodeName(folder);
    const unsigned char directory[4] = {0, 0, 0, 0x10};
    ::setxattr(path.constData(), "system.ntfs_attrib_be", directory, sizeof directory, 0);
    for (const QString& sub : QDir(folder).entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden)) {
        plainFolderAttributes(folder + QLatin1Char('/') + sub);
    }
}

// An NTFS file system image of `bytes` holding a copy of the folder `tree` (C:\'s contents).
inline bool makeNtfs(const QString& image, const QString& tree, qint64 bytes, const QString& label, QString* error) {
    QFile file(image);
    if (!file.open(QIODevice::WriteOnly) || !file.resize(bytes)) return false;
    file.close();
    if (!runTool(QStringLiteral("mkntfs"), {QStringLiteral("-F"), QStringLiteral("-q"), QStringLiteral("-L"), label, image}, error)) {
        return false;
    }
    if (tree.isEmpty()) return true;
    NtfsMount mount(image, false, error);
    if (!mount.mounted()) return false;
    if (!runTool(QStringLiteral("cp"), {QStringLiteral("-a"), tree + QStringLiteral("/."), mount.path()}, error)) return false;
    plainFolderAttributes(mount.path());
    return true;
}

// A partition of a disk built by makeDisk: its bytes from a file, or that many zeros.
struct DiskPart {
    QString file{};            // "" for zeros
    uint64_t bytes = 0;        // the partition's size (a file's own size when 0)
    uint8_t mbrType = 0x07;
    const char* gptType = "";  // GPT type GUID
    bool logical = false;      // MBR: inside the extended partition
};

// A raw disk: a table (MBR with primaries and logical drives, or GPT with a protective MBR) and
// the partitions' bytes, each starting on a 1 MiB boundary.
inline bool makeDisk(const QString& out, std::vector<DiskPart> parts, bool gpt) {
    constexpr uint64_t kAlign = 1 << 20;
    constexpr uint64_t kSector = 512;
    std::vector<uint64_t> starts;
    uint64_t at = kAlign;
    for (DiskPart& p : parts) {
        if (p.bytes == 0) p.bytes = static_cast<uint64_t>(QFileInfo(p.file).size());
        if (p.logical) at += kAlign;  // room for the logical drive's extended boot record
        starts.push_back(at);
        at += (p.bytes + kAlign - 1) / kAlign * kAlign;
    }
    const uint64_t total = at + kAlign;  // and room for GPT's backup at the end
    QFile disk(out);
    if (!disk.open(QIODevice::ReadWrite | QIODevice::Truncate) || !disk.resize(static_cast<qint64>(total))) return false;
    const auto put32 = [](QByteArray& b, int at, uint32_t v) { qToLittleEndian(v, b.data() + at); };
    const auto put64 = [](QByteArray& b, int at, uint64_t v) { qToLittleEndian(v, b.data() + at); };
    QByteArray mbr(kSector, '\0');
    mbr[510] = char(0x55);
    mbr[511] = char(0xAA);
    const auto entry = [&](QByteArray& sector, int slot, uint8_t type, uint64_t first, uint64_t sectors) {
        const int e = 446 + slot * 16;
        sector[e + 4] = char(type);
        put32(sector, e + 8, static_cast<uint32_t>(first));
        put32(sector, e + 12, static_cast<uint32_t>(sectors));
    };
    if (gpt) {
        entry(mbr, 0, 0xEE, 1, static_cast<uint32_t>(total / kSector - 1));
        QByteArray header(kSector, '\0');
        header.replace(0, 8, "EFI PART");
        put64(header, 72, 2);                 // entries from sector 2
        put32(header, 80, 128);
        put32(header, 84, 128);
        QByteArray entries(128 * 128, '\0');
        for (size_t i = 0; i < parts.size(); ++i) {
            const QUuid type(QLatin1String(parts[i].gptType));
            const QByteArray guid = type.toRfc4122();
            QByteArray mixed = guid;  // the first three fields little-endian
            for (const auto& [from, length] : {std::pair{0, 4}, {4, 2}, {6, 2}}) {
                for (int k = 0; k < length; ++k) mixed[from + k] = guid[from + length - 1 - k];
            }
            entries.replace(static_cast<int>(i) * 128, 16, mixed);
            entries[static_cast<int>(i) * 128 + 16] = char(i + 1);
            put64(entries, static_cast<int>(i) * 128 + 32, starts[i] / kSector);
            put64(entries, static_cast<int>(i) * 128 + 40, (starts[i] + parts[i].bytes) / kSector - 1);
        }
        disk.seek(kSector);
        disk.write(header);
        disk.seek(2 * kSector);
        disk.write(entries);
    } else {
        int slot = 0;
        uint64_t extendedStart = 0;
        QByteArray previous;
        qint64 previousAt = 0;
        for (size_t i = 0; i < parts.size(); ++i) {
            if (!parts[i].logical) {
                entry(mbr, slot++, parts[i].mbrType, starts[i] / kSector, parts[i].bytes / kSector);
                continue;
            }
            const uint64_t record = starts[i] - kAlign;  // this logical drive's extended boot record
            if (!extendedStart) {
                extendedStart = record;
                entry(mbr, slot++, 0x0F, record / kSector, (total - kAlign - record) / kSector);
            } else {
                entry(previous, 1, 0x05, (record - extendedStart) / kSector, (starts[i] + parts[i].bytes - record) / kSector);
                disk.seek(previousAt);
                disk.write(previous);
            }
            QByteArray ebr(kSector, '\0');
            ebr[510] = char(0x55);
            ebr[511] = char(0xAA);
            entry(ebr, 0, parts[i].mbrType, (starts[i] - record) / kSector, parts[i].bytes / kSector);
            disk.seek(static_cast<qint64>(record));
            disk.write(ebr);
            previous = ebr;
            previousAt = static_cast<qint64>(record);
        }
    }
    disk.seek(0);
    disk.write(mbr);
    for (size_t i = 0; i < parts.size(); ++i) {
        if (parts[i].file.isEmpty()) continue;
        QFile part(parts[i].file);
        if (!part.open(QIODevice::ReadOnly)) return false;
        disk.seek(static_cast<qint64>(starts[i]));
        while (!part.atEnd()) disk.write(part.read(1 << 20));
    }
    return true;
}

}  // namespace kestrova::test
