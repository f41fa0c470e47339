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

#include <QDir>
#include <QFile>

#include "platform/system/environment.h"
#include "support/fake_desktop.h"

namespace kestrova {
namespace {

// Where the settings and the sample are: beside the program in a build tree; installed, the
// delivered files in share/kestrova and the user's settings under $XDG_CONFIG_HOME, copied from
// the delivered ones once and never written back into share.
TEST(InstalledLayout, SettingsFollowXdgWhenInstalledAndStayBesideTheProgramInABuildTree) {
    QTemporaryDir tree, config;
    const QByteArray namedBefore = qgetenv("KESTROVA_SETTINGS"), configBefore = qgetenv("XDG_CONFIG_HOME");
    qunsetenv("KESTROVA_SETTINGS");
    qputenv("XDG_CONFIG_HOME", config.path().toUtf8());
    test::FakeDesktop desktop;

    desktop.program = tree.filePath("build");
    QDir().mkpath(desktop.program + "/sample");
    EXPECT_EQ(Environment::dataFolder(desktop), desktop.program);
    EXPECT_EQ(Environment::settingsPath(desktop), desktop.program + "/kr.ini");

    desktop.program = tree.filePath("usr/bin");
    QDir().mkpath(desktop.program);
    QDir().mkpath(tree.filePath("usr/share/kestrova"));
    QFile delivered(tree.filePath("usr/share/kestrova/kr.ini"));
    ASSERT_TRUE(delivered.open(QIODevice::WriteOnly));
    delivered.write("[general]\r\nMoreTraces=0\r\n");
    delivered.close();
    EXPECT_EQ(Environment::dataFolder(desktop), tree.filePath("usr/share/kestrova"));
    const QString mine = config.filePath("kestrova/kr.ini");
    EXPECT_EQ(Environment::settingsPath(desktop), mine);
    QFile copy(mine);
    ASSERT_TRUE(copy.open(QIODevice::ReadWrite)) << "the user's copy is writable";
    EXPECT_EQ(copy.readAll(), QByteArray("[general]\r\nMoreTraces=0\r\n"));
    // Once there, the user's own file is kept as it is.
    copy.write("Mine=1\r\n");
    copy.close();
    EXPECT_EQ(Environment::settingsPath(desktop), mine);
    QFile again(mine);
    ASSERT_TRUE(again.open(QIODevice::ReadOnly));
    EXPECT_TRUE(again.readAll().endsWith("Mine=1\r\n"));

    qputenv("KESTROVA_SETTINGS", namedBefore);
    if (configBefore.isEmpty()) qunsetenv("XDG_CONFIG_HOME");
    else qputenv("XDG_CONFIG_HOME", configBefore);
}

}  // namespace
}  // namespace kestrova
