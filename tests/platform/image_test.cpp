// Disk images as evidence: the partition tables, the real containers of ../shared/realdata, and a
// Windows volume packed into every container this program reads, which must show exactly what
// the same volume shows as a folder (an ntfs-3g mount of it), and stay unchanged.
#include <QCryptographicHash>
#include <QDirIterator>
#include <QProcess>
#include <csignal>
#include <QtEndian>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

#include "mksample/sample_system.h"
#include "platform/image/disk_image.h"
#include "platform/image/partitions.h"
#include "platform/system/image_source.h"
#include "support/image_fixture.h"
#include "support/temp_volume.h"

namespace kestrova {
namespace {

constexpr const char* kEfi = "{c12a7328-f81f-11d2-ba4b-00a0c93ec93b}";
constexpr const char* kReserved = "{e3c9e316-0b5c-4db8-817d-f92df00215ae}";
constexpr const char* kBasicData = "{ebd0a0a2-b9e5-4433-87c0-68b6b72699c7}";

struct CliRun {
    int exitCode = -1;
    QByteArray out;
    QString err;
};

CliRun cli(const QStringList& args) {
    QProcess p;
    p.start(QStringLiteral(KESTROVA_BIN_DIR "/kestrova-cli"), args);
    CliRun run;
    if (!p.waitForFinished(120000)) {
        p.kill();
        ADD_FAILURE() << "kestrova-cli did not finish: " << args.join(' ').toStdString();
        return run;
    }
    run.exitCode = p.exitCode();
    run.out = p.readAllStandardOutput();
    run.err = QString::fromUtf8(p.readAllStandardError());
    return run;
}

// A partition's first sector as its file system writes it (enough for telling them apart).
QByteArray bootSector(const char* oem, int at = 3) {
    QByteArray sector(512, '\0');
    sector.replace(at, static_cast<qsizetype>(qstrlen(oem)), oem);
    sector[510] = char(0x55);
    sector[511] = char(0xAA);
    return sector;
}

QString writeFile(const QTemporaryDir& dir, const QString& name, const QByteArray& bytes, qint64 size = 0) {
    QFile file(dir.filePath(name));
    file.open(QIODevice::WriteOnly);
    file.write(bytes);
    if (size) file.resize(size);
    return file.fileName();
}

TEST(Partitions, MbrWithLogicalDrivesGptAndABareFileSystemAreListedWithWhatTheyHold) {
    QTemporaryDir dir;
    const QString ntfs = writeFile(dir, "ntfs", bootSector("NTFS    "), 2 << 20);
    const QString fat = writeFile(dir, "fat", bootSector("FAT32   ", 82), 1 << 20);
    const QString locked = writeFile(dir, "bitlocker", bootSector("-FVE-FS-"), 1 << 20);
    ASSERT_TRUE(test::makeDisk(dir.filePath("mbr.raw"),
                               {{.file = fat, .mbrType = 0x0C}, {.file = ntfs, .logical = true},
                                {.file = locked, .logical = true}},
                               false));
    QString why;
    auto disk = DiskImage::open(dir.filePath("mbr.raw"), &why);
    ASSERT_TRUE(disk) << why.toStdString();
    EXPECT_EQ(disk->format(), "raw");
    auto parts = listPartitions(*disk);
    ASSERT_EQ(parts.size(), 3u);
    EXPECT_EQ(parts[0].fileSystem, "FAT32");
    EXPECT_EQ(parts[0].type, "0x0C");
    EXPECT_EQ(parts[1].fileSystem, "NTFS");
    EXPECT_EQ(parts[1].size, uint64_t{2} << 20);
    EXPECT_EQ(parts[2].fileSystem, "BitLocker");
    EXPECT_EQ(parts[2].number, 3);

    ASSERT_TRUE(test::makeDisk(dir.filePath("gpt.raw"),
                               {{.bytes = 1 << 20, .gptType = kEfi}, {.bytes = 1 << 20, .gptType = kReserved},
                                {.file = ntfs, .gptType = kBasicData}},
                               true));
    disk = DiskImage::open(dir.filePath("gpt.raw"), &why);
    ASSERT_TRUE(disk) << why.toStdString();
    parts = listPartitions(*disk);
    ASSERT_EQ(parts.size(), 3u);
    EXPECT_EQ(parts[0].type, "EFI system");
    EXPECT_TRUE(parts[0].reservedOrEfi && parts[1].reservedOrEfi && !parts[2].reservedOrEfi);
    EXPECT_EQ(parts[2].fileSystem, "NTFS");
    EXPECT_EQ(parts[2].scheme, "GPT");

    disk = DiskImage::open(ntfs, &why);
    parts = listPartitions(*disk);
    ASSERT_EQ(parts.size(), 1u);
    EXPECT_EQ(parts[0].scheme, "none");

    // A chain of extended boot records that points back at itself ends there.
    QFile mbr(dir.filePath("mbr.raw"));
    ASSERT_TRUE(mbr.open(QIODevice::ReadWrite));
    const qint64 firstEbr = 2 << 20;  // after the FAT partition, as makeDisk lays them out
    mbr.seek(firstEbr + 462 + 4);
    mbr.write("\x05", 1);
    mbr.seek(firstEbr + 462 + 8);
    mbr.write(QByteArray(4, '\0').replace(0, 1, "\x00"));
    mbr.close();
    disk = DiskImage::open(dir.filePath("mbr.raw"), &why);
    EXPECT_LE(listPartitions(*disk).size(), 3u);
}

// Table entries past the image's end are listed with that reason, numbered as the table has them;
// one running past the end is said to be cut.
TEST(Partitions, EntriesPastTheImagesEndAreListedWithTheReason) {
    QTemporaryDir dir;
    QByteArray mbr(512, '\0');
    const auto entry = [&](int i, uint8_t type, uint32_t start, uint32_t sectors) {
        mbr[446 + i * 16 + 4] = static_cast<char>(type);
        qToLittleEndian<quint32>(start, mbr.data() + 446 + i * 16 + 8);
        qToLittleEndian<quint32>(sectors, mbr.data() + 446 + i * 16 + 12);
    };
    entry(0, 0x07, 1, 64);      // whole
    entry(1, 0x07, 120, 100);   // 8 of its 100 sectors in the image
    entry(2, 0x07, 4000, 10);   // beyond it
    mbr[510] = char(0x55);
    mbr[511] = char(0xAA);
    const QString disk = writeFile(dir, "cut.raw", mbr, 128 * 512);
    QString why;
    const auto image = DiskImage::open(disk, &why);
    ASSERT_TRUE(image) << why.toStdString();
    const auto parts = listPartitions(*image);
    ASSERT_EQ(parts.size(), 3u);
    EXPECT_TRUE(parts[0].problem.isEmpty());
    EXPECT_EQ(parts[1].number, 2);
    EXPECT_EQ(parts[1].size, 8u * 512);
    EXPECT_EQ(parts[1].problem, "runs past the image's end: 4096 of its 51200 bytes are in the image");
    EXPECT_EQ(parts[2].number, 3);
    EXPECT_TRUE(parts[2].beyondImage);
    EXPECT_EQ(parts[2].size, 10u * 512);
    EXPECT_EQ(parts[2].problem, "lies past the image's end (the image holds 65536 bytes)");
    const CliRun info = cli({"--image", disk, "info"});
    EXPECT_TRUE(info.out.contains("partition 3: MBR 0x07, offset 2048000, 5120 bytes, unknown file system; lies past the image's end"))
        << info.out.toStdString();
}

// An EWF set whose last segment is missing is said to be incomplete, not taken for a disk
// without a partition table; verify hashes the media and compares with the stored MD5.
TEST(DiskImages, AnIncompleteEwfSetIsSaidAndVerifyComparesTheStoredHash) {
    REALDATA_OR_SKIP(e01, "images/image-split.E01");
    const CliRun whole = cli({"--image", e01, "verify"});
    EXPECT_EQ(whole.exitCode, 0) << whole.err.toStdString();
    EXPECT_TRUE(whole.out.contains("computed MD5: 38ea5af8a80e16e46c095c9110242fc0\nstored MD5: 38ea5af8a80e16e46c095c9110242fc0 (matches)"))
        << whole.out.toStdString();
    EXPECT_TRUE(whole.err.contains("verify: 100%")) << whole.err.toStdString();
    QTemporaryDir dir;
    ASSERT_TRUE(QFile::copy(e01, dir.filePath("alone.E01")));
    const CliRun info = cli({"--image", dir.filePath("alone.E01"), "info"});
    EXPECT_TRUE(info.out.contains("incomplete: a segment after alone.E01 is missing")) << info.out.toStdString();
    EXPECT_TRUE(info.err.contains("the image is incomplete: a segment after alone.E01 is missing")) << info.err.toStdString();
    const CliRun alone = cli({"--image", dir.filePath("alone.E01"), "verify"});
    EXPECT_EQ(alone.exitCode, 1);
    EXPECT_TRUE(alone.err.contains("cannot be verified: incomplete: a segment after alone.E01 is missing")) << alone.err.toStdString();
    // A stored hash tampered with: libewf refuses the set (the section's checksum), and verify fails
    // saying why.
    const QString other = test::realData("images/image-split.E02");
    ASSERT_TRUE(QFile::copy(e01, dir.filePath("x.E01")));
    ASSERT_TRUE(QFile::copy(other, dir.filePath("x.E02")));
    QFile::setPermissions(dir.filePath("x.E02"), QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    QFile seg(dir.filePath("x.E02"));
    ASSERT_TRUE(seg.open(QIODevice::ReadWrite));
    QByteArray bytes = seg.readAll();
    const qsizetype md5 = bytes.indexOf(QByteArray::fromHex("38ea5af8a80e16e46c095c9110242fc0"));
    ASSERT_GT(md5, 0);
    bytes[md5] = static_cast<char>(bytes[md5] ^ 0x01);
    seg.seek(0);
    seg.write(bytes);
    seg.close();
    const CliRun changed = cli({"--image", dir.filePath("x.E01"), "verify"});
    EXPECT_EQ(changed.exitCode, 1);
    EXPECT_TRUE(changed.err.contains("x.E01 cannot be verified: ")) << changed.err.toStdString();
    EXPECT_FALSE(changed.out.contains("(matches)")) << changed.out.toStdString();
}

TEST(DiskImages, TheRealContainersOpenAndShowTheirPartitions) {
    REALDATA_OR_SKIP(e01, "images/image-split.E01");
    QString why;
    auto ewf = DiskImage::open(e01, &why);
    ASSERT_TRUE(ewf) << why.toStdString();
    EXPECT_EQ(ewf->format(), "EWF");
    EXPECT_EQ(ewf->files().size(), 2);  // .E01 and .E02
    auto parts = listPartitions(*ewf);
    ASSERT_EQ(parts.size(), 2u);  // a primary and a logical drive
    EXPECT_EQ(parts[0].type, "0x83");
    EXPECT_EQ(parts[0].offset, 512u);
    EXPECT_EQ(parts[0].size, 179200u);
    EXPECT_EQ(parts[1].type, "0x83");
    EXPECT_GT(parts[1].offset, parts[0].offset + parts[0].size);

    auto raw = DiskImage::open(test::realData("images/tsk_volume_system.raw"), &why);
    ASSERT_TRUE(raw) << why.toStdString();
    const auto rawParts = listPartitions(*raw);
    ASSERT_EQ(rawParts.size(), 2u);
    EXPECT_EQ(rawParts[1].offset, parts[1].offset);

    auto split = DiskImage::open(test::realData("images/ext2.splitraw.000"), &why);
    ASSERT_TRUE(split) << why.toStdString();
    EXPECT_EQ(split->format(), "raw (split)");
    EXPECT_EQ(split->size(), static_cast<uint64_t>(QFileInfo(test::realData("images/ext2.splitraw.000")).size() +
                                                   QFileInfo(test::realData("images/ext2.splitraw.001")).size()));

    for (const auto& [file, format] : {std::pair{"images/image.vhd", "VHD"}, {"images/image.vmdk", "VMDK"}, {"images/image.qcow2", "QCOW"}}) {
        auto image = DiskImage::open(test::realData(file), &why);
        ASSERT_TRUE(image) << file << ": " << why.toStdString();
        EXPECT_TRUE(image->format().startsWith(QLatin1String(format))) << image->format().toStdString();
        const auto found = listPartitions(*image);
        ASSERT_FALSE(found.empty()) << file;
        EXPECT_EQ(found[0].fileSystem, "ext") << file;
    }

    // A bare NTFS volume inside a QCOW2: found, but it holds no Windows system to examine.
    const CliRun info = cli({"--image", test::realData("images/windows_volume.qcow2"), "info"});
    EXPECT_NE(info.exitCode, 0);
    EXPECT_TRUE(info.out.contains("partition 1: none, offset 0")) << info.out.toStdString();
    EXPECT_TRUE(info.out.contains("NTFS")) << info.out.toStdString();
    EXPECT_TRUE(info.err.contains("no partition of")) << info.err.toStdString();
}

TEST(DiskImages, ImagesThatCannotBeExaminedSayWhyInOneLine) {
    QTemporaryDir dir;
    const QString text = writeFile(dir, "notes.txt", "not a disk image at all\n");
    const QString fat = writeFile(dir, "fat", bootSector("FAT32   ", 82), 1 << 20);
    const QString locked = writeFile(dir, "bitlocker", bootSector("-FVE-FS-"), 1 << 20);
    ASSERT_TRUE(test::makeDisk(dir.filePath("disk.raw"), {{.file = fat, .mbrType = 0x0C}, {.file = locked}}, false));
    const QString truncatedVhd = writeFile(dir, "cut.vhd", "conectix" + QByteArray(100, '\0'));
    const QString truncatedEwf = writeFile(dir, "cut.E01", QByteArray("EVF\x09\x0D\x0A\xFF\x00", 8) + QByteArray(40, '\x01'));
    const std::pair<QStringList, QString> cases[] = {
        {{"--image", dir.filePath("none.E01"), "info"}, "does not exist"},
        {{"--image", text, "info"}, "holds no partition table and no file system this program knows"},
        {{"--image", dir.filePath("disk.raw"), "rows", "b1"}, "partition 2 is encrypted with BitLocker"},
        {{"--image", dir.filePath("disk.raw"), "--partition", "1", "rows", "b1"}, "partition 1 holds no NTFS file system (FAT32)"},
        {{"--image", dir.filePath("disk.raw"), "--partition", "9", "info"}, "has no partition 9"},
        {{"--image", truncatedVhd, "info"}, "cannot be read as a disk image"},
        {{"--image", truncatedEwf, "info"}, "cannot be read as a disk image"},
    };
    for (const auto& [args, message] : cases) {
        const CliRun run = cli(args);
        EXPECT_NE(run.exitCode, 0) << args.join(' ').toStdString();
        EXPECT_TRUE(run.err.contains(message)) << args.join(' ').toStdString() << ": " << run.err.toStdString();
        EXPECT_EQ(run.err.count('\n'), 1) << run.err.toStdString();
    }
    // Two hosts, one of which cannot be examined: it is said and left out, and the run fails.
    const CliRun two = cli({"--image", text, "--root", dir.path(), "info"});
    EXPECT_EQ(two.exitCode, 1);
    EXPECT_TRUE(two.err.contains("left out: ")) << two.err.toStdString();
}

// The sample Windows system on an NTFS volume, packed into every container, behind MBR (after a
// System Reserved partition, as a logical drive) and GPT (after EFI and reserved partitions).
class WindowsImages : public ::testing::Test {
protected:
    void SetUp() override {
        const QString missing = test::ntfsUnavailable();
        if (!missing.isEmpty()) GTEST_SKIP() << "NTFS fixtures need FUSE and ntfs-3g: " << missing.toStdString();
        QString error;
        ASSERT_TRUE(tools::writeSampleSystem(dir_.filePath("tree"), &error)) << error.toStdString();
        QDir().mkpath(dir_.filePath("tree/Users/alice/Documents"));
        QFile odd(dir_.filePath(QString::fromUtf8("tree/Users/alice/Documents/\xD0\xA4\xD0\xB0\xD0\xB9\xD0\xBB_\xC3\x9C" "n\xC3\xAF.txt")));
        ASSERT_TRUE(odd.open(QIODevice::WriteOnly));
        odd.write("x");
        odd.close();
        ASSERT_TRUE(test::makeNtfs(dir_.filePath("windows.ntfs"), dir_.filePath("tree"), 48 << 20, "Windows", &error))
            << error.toStdString();
        ASSERT_TRUE(test::makeNtfs(dir_.filePath("reserved.ntfs"), QString(), 8 << 20, "System Reserved", &error))
            << error.toStdString();
    }
    QTemporaryDir dir_;
};

TEST_F(WindowsImages, EveryContainerShowsWhatTheSameVolumeShowsAsAFolderAndStaysUnchanged) {
    QString error;
    const QString mbr = dir_.filePath("mbr.raw");
    const QString gpt = dir_.filePath("gpt.raw");
    ASSERT_TRUE(test::makeDisk(mbr, {{.file = dir_.filePath("reserved.ntfs")}, {.file = dir_.filePath("windows.ntfs"), .logical = true}}, false));
    ASSERT_TRUE(test::makeDisk(gpt, {{.bytes = 1 << 20, .gptType = kEfi}, {.bytes = 1 << 20, .gptType = kReserved},
                                     {.file = dir_.filePath("reserved.ntfs"), .gptType = kBasicData},
                                     {.file = dir_.filePath("windows.ntfs"), .gptType = kBasicData}},
                               true));
    QStringList images{dir_.filePath("windows.ntfs"), mbr, gpt};
    for (const auto& [format, name] : {std::pair{"vpc", "disk.vhd"}, {"vhdx", "disk.vhdx"}, {"vmdk", "disk.vmdk"}, {"qcow2", "disk.qcow2"}}) {
        if (!test::runTool("qemu-img", {"convert", "-O", format, mbr, dir_.filePath(name)}, &error)) {
            ADD_FAILURE() << error.toStdString();
            continue;
        }
        images << dir_.filePath(name);
    }
    // EWF in segments of 4 MiB, uncompressed, so that the volume spans several.
    if (test::runTool("ewfacquire", {"-u", "-t", dir_.filePath("disk"), "-S", "4194304", "-c", "none", "-C", "CASE-1", mbr}, &error)) {
        images << dir_.filePath("disk.E01");
    } else {
        ADD_FAILURE() << error.toStdString();
    }
    // And compressed, as images mostly are: every chunk inflated through the reader's own
    // uncompress().
    if (test::runTool("ewfacquire", {"-u", "-t", dir_.filePath("compressed"), "-c", "fast", "-C", "CASE-2", mbr}, &error)) {
        images << dir_.filePath("compressed.E01");
    } else {
        ADD_FAILURE() << error.toStdString();
    }

    QStringList keys = QString::fromUtf8(cli({"categories", "--keys"}).out).trimmed().split(' ');
    test::NtfsMount mount(dir_.filePath("windows.ntfs"), true, &error);
    ASSERT_TRUE(mount.mounted()) << error.toStdString();
    const CliRun folder = cli(QStringList{"--root", mount.path(), "rows"} + keys);
    ASSERT_EQ(folder.exitCode, 0) << folder.err.toStdString();
    ASSERT_TRUE(folder.out.contains("row\thttps://www.example.com/"));  // browsers too
    const auto withoutDate = [](QByteArray report) {
        const QString text = QString::fromUtf16(reinterpret_cast<const char16_t*>(report.constData() + 2), (report.size() - 2) / 2);
        QStringList lines = text.split("\r\n");
        if (lines.size() > 28) lines.removeAt(28);  // "Reported Date": now (a report cut short compares unequal)
        return lines;
    };
    const QStringList folderReport = withoutDate(cli({"--root", mount.path(), "report", "-"}).out);

    for (const QString& image : images) {
        SCOPED_TRACE(image.toStdString());
        const auto hash = [&] {
            QCryptographicHash sha(QCryptographicHash::Sha256);
            for (const QString& file : QDir(dir_.path()).entryList({QFileInfo(image).completeBaseName() + "*"}, QDir::Files)) {
                QFile f(dir_.filePath(file));
                f.open(QIODevice::ReadOnly);
                sha.addData(&f);
            }
            return sha.result();
        };
        const QByteArray before = hash();
        const CliRun rows = cli(QStringList{"--image", image, "rows"} + keys);
        EXPECT_EQ(rows.exitCode, 0) << rows.err.toStdString();
        EXPECT_EQ(rows.out, folder.out);
        EXPECT_EQ(withoutDate(cli({"--image", image, "report", "-"}).out), folderReport);
        EXPECT_EQ(hash(), before) << "the image changed";
    }
    const CliRun info = cli({"--image", dir_.filePath("disk.E01"), "info"});
    EXPECT_TRUE(info.out.contains("container: EWF")) << info.out.toStdString();
    EXPECT_TRUE(info.out.contains("case number: CASE-1")) << info.out.toStdString();
    EXPECT_TRUE(info.out.contains("stored MD5: ")) << info.out.toStdString();
    EXPECT_TRUE(info.out.contains("label \"Windows\", Windows (examined)")) << info.out.toStdString();
    EXPECT_TRUE(cli({"--image", dir_.filePath("disk.vhdx"), "info"}).out.contains("container: VHDX,"));
    EXPECT_TRUE(cli({"--image", dir_.filePath("disk.vhd"), "info"}).out.contains("container: VHD,"));
    const CliRun verified = cli({"--image", dir_.filePath("disk.E01"), "verify"});
    EXPECT_EQ(verified.exitCode, 0) << verified.out.toStdString() << verified.err.toStdString();
    EXPECT_TRUE(verified.out.contains("(matches)")) << verified.out.toStdString();
    const CliRun gptInfo = cli({"--image", gpt, "info"});
    EXPECT_TRUE(gptInfo.out.contains("partition 1: GPT EFI system")) << gptInfo.out.toStdString();
    EXPECT_TRUE(gptInfo.out.contains("partition 4: GPT Microsoft basic data")) << gptInfo.out.toStdString();
    EXPECT_TRUE(gptInfo.out.contains("NTFS, label \"Windows\", Windows (examined)")) << gptInfo.out.toStdString();
}

TEST_F(WindowsImages, NamesInAnyScriptAreFoundInAnyCase) {
    QString why;
    const ImageSource image = openImageSource(dir_.filePath("windows.ntfs"), 0, dir_.path());
    ASSERT_TRUE(image.volume) << image.problem.toStdString();
    EXPECT_TRUE(image.volume->exists(QString::fromUtf8("C:\\Users\\alice\\Documents\\\xD0\xA4\xD0\xB0\xD0\xB9\xD0\xBB_\xC3\x9C" "n\xC3\xAF.txt")));
    EXPECT_TRUE(image.volume->exists(QString::fromUtf8("c:\\users\\ALICE\\documents\\\xD1\x84\xD0\x90\xD0\x99\xD0\x9B_\xC3\xBC" "N\xC3\x8F.TXT")));
    EXPECT_TRUE(image.volume->exists("C:\\WINDOWS\\system32\\CONFIG\\system"));
    EXPECT_FALSE(image.volume->exists("D:\\Windows"));
    EXPECT_FALSE(image.volume->exists("C:\\Users\\alice\\nothing.txt"));
    Findings findings;
    EXPECT_FALSE(image.volume->openFile("C:\\Users\\alice", "folder", &findings));
    EXPECT_EQ(findings.all().front().text(), "folder C:\\Users\\alice: unreadable: not a regular file");
}

// Several threads take files out at once (the reading pool's workers): a second reader child
// takes one out beside the first, never more than two, and every file comes out whole.
TEST_F(WindowsImages, FilesTakenOutByThreadsAtOnceComeOutWhole) {
    const ImageSource image = openImageSource(dir_.filePath("windows.ntfs"), 0, dir_.path());
    ASSERT_TRUE(image.volume) << image.problem.toStdString();
    std::vector<std::pair<QString, QByteArray>> files;  // Windows path, bytes
    const QDir tree(dir_.filePath("tree"));
    for (QDirIterator it(tree.path(), QDir::Files, QDirIterator::Subdirectories); it.hasNext();) {
        QFile file(it.next());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        files.emplace_back("C:\\" + QDir::toNativeSeparators(tree.relativeFilePath(file.fileName())).replace('/', '\\'), file.readAll());
    }
    ASSERT_GT(files.size(), 10u);
    std::atomic<int> whole{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (size_t i = 0; i < files.size(); ++i) {
                const auto& [path, bytes] = files[(i * 7 + static_cast<size_t>(t) * 5) % files.size()];
                const auto file = image.volume->openFile(path, "file", nullptr);
                if (file && file->readAll() == bytes) ++whole;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(whole, static_cast<int>(4 * files.size()));
    int readers = 0;
    for (const QString& pid : QDir("/proc").entryList(QDir::Dirs)) {
        QFile stat("/proc/" + pid + "/stat");
        if (!stat.open(QIODevice::ReadOnly)) continue;
        const QList<QByteArray> fields = stat.readAll().split(' ');
        if (fields.size() > 3 && fields[1] == "(kestrova-image-)" && fields[3].toLongLong() == ::getpid()) ++readers;
    }
    EXPECT_GE(readers, 1);
    EXPECT_LE(readers, 2);
}

// The image is read by a child process of its own: whatever ends it (here a kill, as a crash in a
// container or file system library would), the program goes on and says why.
TEST_F(WindowsImages, AReaderThatDiesLeavesTheProgramRunningAndSaysWhy) {
    const ImageSource image = openImageSource(dir_.filePath("windows.ntfs"), 0, dir_.path());
    ASSERT_TRUE(image.volume) << image.problem.toStdString();
    Findings findings;
    EXPECT_TRUE(image.volume->openFile("C:\\Users\\alice\\NTUSER.DAT", "user hive", &findings));
    ASSERT_GT(image.server->pid(), 0);
    ::kill(image.server->pid(), SIGKILL);
    EXPECT_FALSE(image.volume->openFile("C:\\Windows\\System32\\config\\SYSTEM", "SYSTEM hive", &findings));
    EXPECT_TRUE(image.volume->list("C:\\Users", &findings).empty());
    ASSERT_EQ(findings.all().size(), 2u);
    EXPECT_EQ(findings.all()[0].text(), "SYSTEM hive C:\\Windows\\System32\\config\\SYSTEM: damaged: the image's reader was killed "
                                        "(it may have run out of memory)");
    EXPECT_EQ(findings.all()[1].text(), "folder C:\\Users: damaged: the image's reader was killed (it may have run out of memory)");
    EXPECT_FALSE(image.volume->exists("C:\\Users"));
}

// A file's alternate data streams are files of their own to the readers: "C:\\file:stream" (the
// change journal is $Extend\\$UsnJrnl:$J). ntfs-3g writes a stream through an extended attribute.
TEST(ImageStreams, AStreamIsReadByItsNameBesideTheFilesOwnContent) {
    const QString missing = test::ntfsUnavailable();
    if (!missing.isEmpty()) GTEST_SKIP() << missing.toStdString();
    QTemporaryDir dir;
    const QString image = dir.filePath("volume.ntfs");
    QString error;
    ASSERT_TRUE(test::makeNtfs(image, QString(), 16 << 20, "Data", &error)) << error.toStdString();
    const QByteArray zone = "[ZoneTransfer]\r\nZoneId=3\r\n";
    QByteArray big(40000, '\0');
    for (int i = 0; i < big.size(); i += 7) big[i] = char(i % 251);
    {
        test::NtfsMount mount(image, false, &error);
        ASSERT_TRUE(mount.mounted()) << error.toStdString();
        QFile file(mount.path() + "/setup.exe");
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("MZ program");
        file.close();
        const QByteArray path = QFile::encodeName(file.fileName());
        ASSERT_EQ(::setxattr(path.constData(), "user.Zone.Identifier", zone.constData(), static_cast<size_t>(zone.size()), 0), 0);
        ASSERT_EQ(::setxattr(path.constData(), "user.$J", big.constData(), static_cast<size_t>(big.size()), 0), 0);
    }
    const ImageSource source = openImageSource(image, 1, dir.path());
    ASSERT_TRUE(source.volume) << source.problem.toStdString();
    const auto content = [&](const QString& path) {
        const auto file = source.volume->openFile(path, "file", nullptr);
        return file ? file->readAll() : QByteArray("(none)");
    };
    EXPECT_EQ(content("C:\\setup.exe"), "MZ program");
    EXPECT_EQ(content("C:\\SETUP.EXE:zone.identifier"), zone);
    EXPECT_EQ(content("C:\\setup.exe:Zone.Identifier:$DATA"), zone);
    EXPECT_EQ(source.volume->fileSize("C:\\setup.exe:$J"), big.size());
    EXPECT_EQ(content("C:\\setup.exe:$J"), big);  // a non-resident stream, read by its runs
    EXPECT_EQ(content("C:\\setup.exe"), "MZ program");  // not mistaken for a stream taken out before
    EXPECT_FALSE(source.volume->exists("C:\\setup.exe:nothing"));
    EXPECT_TRUE(source.volume->exists("C:\\setup.exe:$J"));
}

}  // namespace
}  // namespace kestrova
