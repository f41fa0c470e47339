// Which system is examined: command line over kr.ini over the sample, and which profile.
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "platform/system/source.h"
#include "support/temp_volume.h"

namespace kestrova {
namespace {

TEST(Source, CommandLineBeatsSettingsWhichBeatTheSample) {
    test::TempVolume a, b;
    a.userHive(tools::sampleUserHive());
    b.userHive(tools::sampleUserHive());
    QTemporaryDir dir;
    IniFile ini(dir.filePath("kr.ini"));
    EXPECT_EQ(chooseSource("", "", ini, a.root()).origin, "sample");
    EXPECT_EQ(chooseSource("", "", ini, a.root()).root, a.root());
    ini.SaveSetting("source", "Root", b.root());
    EXPECT_EQ(chooseSource("", "", ini, a.root()).root, b.root());
    EXPECT_EQ(chooseSource("", "", ini, a.root()).origin, "kr.ini");
    const Source cli = chooseSource(a.root(), "ALICE", ini, b.root());
    EXPECT_EQ(cli.root, a.root());
    EXPECT_EQ(cli.user, "alice");  // matched to the profile folder's spelling
}

TEST(Source, WithoutANameTakesTheOnlyProfileOrTheFirstByName) {
    test::TempVolume volume;
    QTemporaryDir dir;
    IniFile ini(dir.filePath("kr.ini"));
    EXPECT_EQ(chooseSource(volume.root(), "", ini, "").user, "");
    volume.file("Users/zed/NTUSER.DAT", "not even a hive");
    EXPECT_EQ(chooseSource(volume.root(), "", ini, "").user, "zed");
    volume.file("Users/Default/ntuser.dat", "x");
    volume.file("Documents and Settings/bob/NTUSER.DAT", "x");
    volume.file("Users/Public/Documents/readme.txt", "no hive here");
    EXPECT_EQ(VolumeSystem::profiles(volume.root()), (QStringList{"bob", "Default", "zed"}));
    EXPECT_EQ(chooseSource(volume.root(), "", ini, "").user, "bob");
}

}  // namespace
}  // namespace kestrova
