// The environment queries: the version tag table kept exactly, the user name with its NUL, the
// special folders and the shell folders of the analysed profile.
#include <gtest/gtest.h>

#include "core/settings/os_api.h"
#include "support/fake_desktop.h"
#include "support/temp_volume.h"

namespace kestrova {
namespace {

TEST(WindowsVersionTag, KeepsTheTableExactly) {
    struct Case { uint32_t platform, major, minor; const char* tag; };
    const Case cases[] = {
        {1, 4, 0, "95"},   {1, 4, 10, "98"}, {1, 4, 90, "98"}, {1, 4, 3, ""},
        {2, 3, 51, "Windows NT 3.51"}, {2, 4, 0, "98"}, {2, 5, 0, "2000"}, {2, 5, 1, "xp"},
        {2, 5, 2, ""},     {2, 6, 0, "Vista"}, {2, 6, 1, "Vista"}, {2, 6, 2, "Vista"},
        {2, 10, 0, ""},    {3, 6, 1, "Failed"}, {0, 0, 0, "Failed"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(OsApi::VersionTagFor(VersionRecord{c.platform, c.major, c.minor}), c.tag)
            << c.platform << ' ' << c.major << '.' << c.minor;
    }
    EXPECT_EQ(OsApi::VersionTagFor(std::nullopt), "Failed");
}

class OsApiTest : public ::testing::Test {
protected:
    void SetUp() override {
        auto user = tools::sampleUserHive(volume_.user());
        volume_.userHive(user);
        volume_.systemHive(tools::sampleSystemHive());
        volume_.softwareHive(tools::sampleSoftwareHive());
        system_ = volume_.open();
        os_ = std::make_unique<OsApi>(*system_, desktop_);
    }
    test::TempVolume volume_;
    test::FakeDesktop desktop_;
    std::unique_ptr<VolumeSystem> system_;
    std::unique_ptr<OsApi> os_;
};

TEST_F(OsApiTest, UserNameKeepsOneTrailingNul) {
    const QString name = os_->UserName();
    EXPECT_EQ(name.size(), 6);
    EXPECT_EQ(name, QString("alice") + QChar(0));
}

TEST_F(OsApiTest, AnswersForTheAnalysedSystem) {
    EXPECT_EQ(os_->ComputerName(), "KESTROVA-SAMPLE");
    EXPECT_EQ(os_->WindowsVersionTag(), "Vista");
    EXPECT_EQ(os_->WindowsFolder(), "C:\\Windows\\");
    EXPECT_EQ(os_->GetShellFolder("Cookies"), "C:\\Users\\alice\\AppData\\Roaming\\Microsoft\\Windows\\Cookies");
    EXPECT_EQ(os_->GetShellFolder("No Such Folder"), "");
    EXPECT_EQ(os_->ChromeFolder(), "C:\\Users\\alice\\AppData\\Local\\Google\\Chrome\\User Data\\default");
    EXPECT_EQ(os_->OperaFolder(), "C:\\Users\\alice\\AppData\\Roaming\\Opera\\Opera");
}

TEST_F(OsApiTest, SpecialFoldersEndWithASeparator) {
    EXPECT_EQ(os_->SpecialFolder(5), "/home/u/Documents/");
    desktop_.documents = QStringLiteral("/home/u/Docs/");
    EXPECT_EQ(os_->SpecialFolder(5), "/home/u/Docs/");
    EXPECT_EQ(os_->SpecialFolder(51), "/tmp/");
    EXPECT_EQ(os_->SpecialFolder(36), "C:\\Windows\\");
    EXPECT_EQ(os_->SpecialFolder(37), "C:\\Windows\\system32\\");
    EXPECT_EQ(os_->SpecialFolder(99), "\\");
    EXPECT_EQ(os_->SpecialFolder(20), "\\");  // fonts: no counterpart on this desktop
}

TEST_F(OsApiTest, FolderPickerCutsAtNulAndCancelGivesEmpty) {
    QString title;
    os_->setFolderPicker([&](const QString& t) {
        title = t;
        return QString("/data") + QChar(0) + "junk";
    });
    EXPECT_EQ(os_->BrowseForFolder(), "/data");
    EXPECT_EQ(title, "Select a Folder...");
    os_->setFolderPicker([](const QString&) { return QString(); });
    EXPECT_EQ(os_->BrowseForFolder(), "");
}

}  // namespace
}  // namespace kestrova
