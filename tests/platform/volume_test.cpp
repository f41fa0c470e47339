// Windows paths on a copied volume: case-insensitive resolution as NTFS matches names, other
// drives resolving to nothing, NTFS listing order and the synthesised attribute values.
#include <QFile>
#include <gtest/gtest.h>

#include "platform/volume/regular_file.h"
#include "platform/volume/windows_volume.h"
#include "core/app/catalogue.h"
#include "core/common/text.h"
#include "platform/desktop/xdg_desktop.h"
#include "support/reader_fixture.h"
#include "support/temp_volume.h"

#include <QTemporaryDir>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrova {
namespace {

class VolumeTest : public ::testing::Test {
protected:
    void SetUp() override {
        volume_.file("Users/alice/AppData/Local/Google/Chrome/User Data/Default/History", "db");
        volume_.file("Users/alice/Recent/b.lnk", "x");
        volume_.file("Users/alice/Recent/A.lnk", "x");
        volume_.file("Users/alice/Recent/.hidden", "x");
        volume_.file("Users/alice/Recent/readonly.txt", "x");
        QFile::setPermissions(volume_.root() + "/Users/alice/Recent/readonly.txt", QFile::ReadOwner);
        volume_.file("Users/alice/Recent/sub/c.lnk", "x");
    }
    test::TempVolume volume_;
    WindowsVolume vol() const { return WindowsVolume(volume_.root()); }
};

TEST_F(VolumeTest, ResolvesWindowsPathsCaseInsensitively) {
    const auto history = vol().resolve("C:\\USERS\\Alice\\appdata\\local\\google\\chrome\\User Data\\default\\history");
    ASSERT_TRUE(history);
    EXPECT_TRUE(history->endsWith("/Users/alice/AppData/Local/Google/Chrome/User Data/Default/History"));
    EXPECT_TRUE(vol().resolve("c:/users/alice/recent/"));
    EXPECT_TRUE(vol().resolve("\\Users\\alice\\Recent\\sub\\..\\A.lnk"));
    EXPECT_EQ(*vol().resolve("C:\\"), vol().root());
}

TEST_F(VolumeTest, OtherDrivesRelativePathsAndMissingComponentsResolveToNothing) {
    EXPECT_FALSE(vol().resolve("D:\\Users\\alice"));
    EXPECT_FALSE(vol().resolve("Users\\alice"));
    EXPECT_FALSE(vol().resolve("C:\\Users\\bob\\Recent"));
    EXPECT_FALSE(vol().resolve(""));
    // ".." never climbs above the volume's root.
    EXPECT_EQ(*vol().resolve("C:\\..\\..\\Users"), vol().root() + "/Users");
}

TEST_F(VolumeTest, ListsInNtfsOrderWithWindowsAttributeValues) {
    const std::vector<DirEntry> entries = vol().list("C:\\Users\\alice\\Recent");
    QStringList names;
    for (const DirEntry& e : entries) names.append(e.name);
    EXPECT_EQ(names, (QStringList{".hidden", "A.lnk", "b.lnk", "readonly.txt", "sub"}));
    EXPECT_EQ(entries[0].attributes, fileattr::Archive | fileattr::Hidden);
    EXPECT_EQ(entries[1].attributes, fileattr::Archive);
    EXPECT_EQ(entries[4].attributes, fileattr::Directory);
    EXPECT_TRUE(vol().list("C:\\Users\\alice\\Nowhere").empty());
    EXPECT_TRUE(vol().list("C:\\Users\\alice\\Recent\\A.lnk").empty());
}

TEST_F(VolumeTest, ReadOnlyFilesCarryTheReadOnlyBit) {
    const auto path = vol().resolve("C:\\Users\\alice\\Recent\\readonly.txt");
    ASSERT_TRUE(path);
    EXPECT_EQ(WindowsVolume::attributesOf(*path), fileattr::Archive | fileattr::ReadOnly);
}

// A hostile volume: names that are not UTF-8, links out of it, pipes in place of files.
class HostileVolume : public test::ReaderFixture {
protected:
    const QString recent = "Users/alice/AppData/Roaming/Microsoft/Windows/Recent";
    QByteArray local(const QString& relative) const { return QFile::encodeName(volume_.root() + "/" + relative); }
    static void touch(const QByteArray& path) { QFile f(QFile::decodeName(path)); close(::open(path.constData(), O_CREAT | O_WRONLY, 0644)); }
};

TEST_F(HostileVolume, NamesThatAreNotUtf8AreListedVisiblyAndLeadBackToTheirFile) {
    volume_.userHive(tools::sampleUserHive());
    QDir().mkpath(volume_.root() + "/" + recent);
    touch(local(recent) + "/caf\xE9.lnk");        // Latin-1
    touch(local(recent) + "/cut\xC3.lnk");        // UTF-8 cut short
    touch(local(recent) + "/\xE6\x97\xA5.lnk");  // valid UTF-8
    // Beyond the Basic Multilingual Plane: the second half of U+1F4A9 (DCA9) is no escaped byte,
    // even when a stray byte of the same value follows.
    touch(local(recent) + "/\xF0\x9F\x92\xA9.lnk");
    touch(local(recent) + "/\xF0\x9F\x92\xA9\xA9.lnk");
    open();
    const QStringList rows = run("b1");
    ASSERT_EQ(rows.size(), 5);
    const QString folder = "C:\\Users\\alice\\AppData\\Roaming\\Microsoft\\Windows\\Recent\\";
    const QString pile = QString::fromUtf8("\xF0\x9F\x92\xA9");
    QStringList shown;
    for (const QString& row : rows) shown << showEscapedBytes(row);
    EXPECT_EQ(shown, (QStringList{folder + "caf\\xE9.lnk", folder + "cut\\xC3.lnk", folder + QString::fromUtf8("\xE6\x97\xA5.lnk"),
                                  folder + pile + ".lnk", folder + pile + "\\xA9.lnk"}));
    // The row's path maps back to the very bytes of the file, for the double-click.
    const QString target = desktopTarget(rows[0], *system_);
    EXPECT_EQ(toFileNameBytes(target), local(recent) + "/caf\xE9.lnk");
    EXPECT_EQ(toFileNameBytes(desktopTarget(rows[3], *system_)), local(recent) + "/\xF0\x9F\x92\xA9.lnk");
    EXPECT_EQ(toFileNameBytes(desktopTarget(rows[4], *system_)), local(recent) + "/\xF0\x9F\x92\xA9\xA9.lnk");
    EXPECT_TRUE(XdgDesktop::openerArgument(target).endsWith("/Recent/caf%E9.lnk")) << XdgDesktop::openerArgument(target).toStdString();
}

TEST_F(HostileVolume, LinksOutOfTheVolumeAreNotFollowedButLinksInsideItAre) {
    QTemporaryDir outside;
    QFile(outside.filePath("secret.txt")).open(QIODevice::WriteOnly);
    tools::HiveBuilder hive = tools::sampleUserHive();
    volume_.userHive(hive);
    QDir(volume_.root()).rmpath(recent);
    QDir().mkpath(QFileInfo(volume_.root() + "/" + recent).absolutePath());
    ASSERT_TRUE(QFile::link(outside.path(), volume_.root() + "/" + recent));
    open();
    EXPECT_EQ(run("b1"), QStringList{});
    EXPECT_TRUE(host_.diagnostics.join('\n').contains("link not followed")) << host_.diagnostics.join('\n').toStdString();

    // The same folder as a link to another folder inside the volume: listed.
    QFile::remove(volume_.root() + "/" + recent);
    volume_.file("Elsewhere/inside.lnk", "x");
    ASSERT_TRUE(QFile::link(volume_.root() + "/Elsewhere", volume_.root() + "/" + recent));
    open();
    EXPECT_EQ(run("b1").size(), 1);

    // A hive that is a link to this machine's files is not opened.
    QFile::remove(volume_.root() + "/Users/alice/NTUSER.DAT");
    ASSERT_TRUE(QFile::link("/etc/passwd", volume_.root() + "/Users/alice/NTUSER.DAT"));
    host_.diagnostics.clear();
    open();
    run("b3");
    EXPECT_TRUE(host_.diagnostics.contains("b3: user hive C:\\Users\\alice\\NTUSER.DAT: link not followed: it leads out of the volume"))
        << host_.diagnostics.join('\n').toStdString();
}

// A folder that is a link out of the volume is refused before anything is opened through it: no
// lookup inside it, no listing of it (watched with inotify on the folder outside).
TEST_F(HostileVolume, AFolderLinkOutOfTheVolumeIsNeverOpened) {
    QTemporaryDir outside;
    QFile(outside.filePath("secret.txt")).open(QIODevice::WriteOnly);
    ASSERT_TRUE(QDir().mkpath(volume_.root() + "/Users/alice/Desktop"));
    ASSERT_TRUE(QFile::link(outside.path(), volume_.root() + "/Users/alice/Desktop/out"));
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(watch, 0);
    ASSERT_GE(inotify_add_watch(watch, QFile::encodeName(outside.path()).constData(), IN_OPEN | IN_ACCESS), 0);
    const WindowsVolume volume(volume_.root());
    // Another case than the file's: a lookup would have to list the folder to find it.
    EXPECT_FALSE(volume.resolve("C:\\Users\\alice\\Desktop\\out\\SECRET.TXT"));
    EXPECT_TRUE(volume.list("C:\\Users\\alice\\Desktop\\OUT").empty());
    EXPECT_FALSE(volume.openFile("C:\\Users\\alice\\Desktop\\out\\secret.txt", "file"));
    char events[4096];
    EXPECT_LT(::read(watch, events, sizeof events), 0) << "the folder outside the volume was opened";
    ::close(watch);
}

TEST_F(HostileVolume, OnlyRegularFilesAreHandedOutForReading) {
    volume_.file("Users/alice/data.bin", "x");
    ASSERT_EQ(mkfifo(local("Users/alice/pipe").constData(), 0600), 0);
    open();
    EXPECT_TRUE(system_->openFile("C:\\Users\\alice\\data.bin", "data"));
    EXPECT_FALSE(system_->openFile("C:\\Users\\alice\\pipe", "data"));
    EXPECT_FALSE(system_->openFile("C:\\Users\\alice", "data"));
    EXPECT_FALSE(system_->openFile("C:\\Users\\alice\\none", "data"));
    QStringList notes;
    for (const Finding& f : system_->findings().all()) notes << f.text();
    EXPECT_EQ(notes, (QStringList{"data C:\\Users\\alice\\pipe: unreadable: not a regular file",
                                  "data C:\\Users\\alice: unreadable: not a regular file",
                                  "data C:\\Users\\alice\\none: missing"}));
}

// A journal that is a sparse gigabyte (or a gigabyte of written zeros) is copied into the private
// temporary folder as what it holds, not as a gigabyte of disk.
TEST(SparseCopy, HolesAndZeroBlocksStayHolesAndTheSizeIsKept) {
    QTemporaryDir dir;
    const QByteArray from = QFile::encodeName(dir.filePath("journal-wal"));
    const QByteArray to = QFile::encodeName(dir.filePath("copy-wal"));
    const int in = ::open(from.constData(), O_CREAT | O_RDWR, 0600);
    ASSERT_GE(in, 0);
    ASSERT_EQ(::pwrite(in, "head", 4, 0), 4);
    const QByteArray zeros(4 << 20, '\0');  // written zeros, not a hole
    ASSERT_EQ(::pwrite(in, zeros.constData(), zeros.size(), 1 << 20), zeros.size());
    ASSERT_EQ(::pwrite(in, "middle", 6, off_t{512} << 20), 6);
    ASSERT_EQ(::ftruncate(in, off_t{1} << 30), 0);
    const int out = ::open(to.constData(), O_CREAT | O_WRONLY | O_TRUNC, 0600);
    ASSERT_TRUE(copySparse(in, out));
    ::close(in);
    ::close(out);
    struct stat st {};
    ASSERT_EQ(::stat(to.constData(), &st), 0);
    EXPECT_EQ(st.st_size, off_t{1} << 30);
    EXPECT_LT(st.st_blocks * 512, 8 << 20) << "the copy takes disk for its holes";
    QFile copy(dir.filePath("copy-wal"));
    ASSERT_TRUE(copy.open(QIODevice::ReadOnly));
    EXPECT_EQ(copy.read(4), "head");
    copy.seek(qint64{512} << 20);
    EXPECT_EQ(copy.read(6), "middle");
}

TEST(FileNameBytes, RoundTripEveryByteSequence) {
    const QByteArray samples[] = {"plain", "caf\xE9", "\xC3", "\xED\xA0\x80", "\xF0\x9F\x98\x80", "\xC0\xAF",
                                  "a\\x41", QByteArray("\x00z", 2), "\xFF\xFE",
                                  "\xF0\x9F\x92\xA9", "\xF0\x9F\x92\xA9\xA9", "\xA9\xF0\x9F\x92\xA9"};
    for (const QByteArray& bytes : samples) EXPECT_EQ(toFileNameBytes(fromFileNameBytes(bytes)), bytes) << bytes.toHex().toStdString();
    EXPECT_EQ(showEscapedBytes(fromFileNameBytes("caf\xE9\xC3")), "caf\\xE9\\xC3");
    EXPECT_EQ(fromFileNameBytes("\xF0\x9F\x98\x80"), QString::fromUtf8("\xF0\x9F\x98\x80"));
    EXPECT_EQ(trimBlanks(u" \tx\n "), u"\tx\n");
}

}  // namespace
}  // namespace kestrova
