// Windows paths on a copied volume: case-insensitive resolution as NTFS matches names, other
// drives resolving to nothing, NTFS listing order and the synthesised attribute values.
#include <QFile>
#include <gtest/gtest.h>

#include "platform/volume/windows_volume.h"
#include "support/temp_volume.h"

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

}  // namespace
}  // namespace kestrova
