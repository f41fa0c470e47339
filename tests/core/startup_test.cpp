// Start-up rules: the report folder from kr.ini, and when the window's load runs the silent
// update check or refuses to start.
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "core/app/startup.h"
#include "core/app/viewer_layout.h"
#include "core/time/date_value.h"
#include "support/fake_desktop.h"
#include "support/temp_volume.h"

namespace kestrova {
namespace {

class Startup : public ::testing::Test {
protected:
    void SetUp() override {
        system_ = volume_.open();
        os_ = std::make_unique<OsApi>(*system_, desktop_);
        settings_.setPath(dir_.filePath("kr.ini"));
    }
    void write(const QByteArray& text) {
        QFile f(settings_.path());
        f.open(QIODevice::WriteOnly);
        f.write(text);
    }
    QTemporaryDir dir_;
    test::TempVolume volume_;
    test::FakeDesktop desktop_;
    std::unique_ptr<VolumeSystem> system_;
    std::unique_ptr<OsApi> os_;
    IniFile settings_;
};

TEST_F(Startup, EmptyReportFolderBecomesTheDocumentsFolderAndIsWrittenBack) {
    write("[general]\nReportFolder=\n");
    EXPECT_EQ(settleReportFolder(settings_, *os_), "/home/u/Documents/");
    EXPECT_EQ(settings_.GetSetting("general", "ReportFolder"), "/home/u/Documents/");
}

TEST_F(Startup, ASettingsFileThatCannotBeWrittenOnlyMeansNothingIsRemembered) {
    write("[general]\nReportFolder=\n");
    QFile::setPermissions(settings_.path(), QFileDevice::ReadOwner);
    QFile::setPermissions(dir_.path(), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    if (QFileInfo(settings_.path()).isWritable()) {
        QFile::setPermissions(dir_.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        GTEST_SKIP() << "running as root, which may write any file";
    }
    EXPECT_EQ(settleReportFolder(settings_, *os_), "/home/u/Documents/");
    EXPECT_EQ(settings_.GetSetting("general", "ReportFolder"), "");
    QFile::setPermissions(dir_.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}

TEST_F(Startup, MissingReportFolderStaysUnknownValueAndAPresentOneIsKept) {
    write("[general]\nCheckInterval=7\n");
    EXPECT_EQ(settleReportFolder(settings_, *os_), "unknown value");
    write("[general]\nReportFolder=/srv/reports\n");
    EXPECT_EQ(settleReportFolder(settings_, *os_), "/srv/reports");
}

TEST_F(Startup, SilentCheckRunsOnlyWhenMoreDaysThanTheIntervalHavePassed) {
    const QDate today(2026, 11, 21);
    QString fatal;
    write("[general]\nlastcheckupdate=11/14/2026\nCheckInterval=7\n");
    auto decision = decideUpdateCheck(settings_, today, &fatal);
    ASSERT_TRUE(decision);
    EXPECT_EQ(decision->checkInterval, 7);
    EXPECT_FALSE(decision->runSilentCheck);
    write("[general]\nlastcheckupdate=11/13/2026\nCheckInterval=7 days\n");
    EXPECT_TRUE(decideUpdateCheck(settings_, today, &fatal)->runSilentCheck);
    // Not a number counts as 0: every start from the day after the last check.
    write("[general]\nlastcheckupdate=11/20/2026\nCheckInterval=weekly\n");
    EXPECT_TRUE(decideUpdateCheck(settings_, today, &fatal)->runSilentCheck);
    write("[general]\nlastcheckupdate=11/21/2026\nCheckInterval=\n");
    EXPECT_FALSE(decideUpdateCheck(settings_, today, &fatal)->runSilentCheck);
}

TEST_F(Startup, StartsUnderEveryLocaleWithAFileWrittenUnderAnother) {
    const QLocale keep;
    const QDate today(2026, 11, 21);
    const char* const locales[] = {"C", "en_US", "en_GB", "de_DE", "fr_FR", "ja_JP"};
    for (const char* writer : locales) {
        // The delivered file (ISO) and one the update check wrote under the writer's locale.
        for (const QString& date : {QString("2026-11-10"), shortDateText(QDate(2026, 11, 10), QLocale(writer))}) {
            write(QString("[general]\nlastcheckupdate=%1\nCheckInterval=7\n").arg(date).toUtf8());
            for (const char* reader : locales) {
                QLocale::setDefault(QLocale(reader));
                QString fatal;
                const auto decision = decideUpdateCheck(settings_, today, &fatal);
                ASSERT_TRUE(decision) << writer << " -> " << reader << ": " << fatal.toStdString();
                EXPECT_TRUE(decision->runSilentCheck) << date.toStdString() << " read under " << reader;
            }
        }
    }
    QLocale::setDefault(keep);
}

TEST_F(Startup, MissingOrBrokenDateStopsStartUpWithAReason) {
    QString fatal;
    write("[general]\nCheckInterval=7\n");
    EXPECT_FALSE(decideUpdateCheck(settings_, QDate(2026, 11, 21), &fatal));
    EXPECT_TRUE(fatal.contains("has no key \"lastcheckupdate\"")) << fatal.toStdString();
    write("[General]\nLastCheckUpdate=yesterday\n");
    EXPECT_FALSE(decideUpdateCheck(settings_, QDate(2026, 11, 21), &fatal));
    EXPECT_TRUE(fatal.contains("\"yesterday\"")) << fatal.toStdString();
}

TEST(ViewerLayout, SkipsEachNegativeSizeOnItsOwn) {
    const ViewerLayout big = viewerLayout(14400, 9600);
    EXPECT_EQ(big.urlsHeight, 8850);
    EXPECT_EQ(big.urlsWidth, 11200);
    EXPECT_EQ(big.panel1Width, 12000);
    EXPECT_EQ(big.progressTop, 9390);
    EXPECT_EQ(big.progressWidth, 11220);
    EXPECT_EQ(big.labelLeft, 9900);
    EXPECT_EQ(big.cancelTop, 9370);
    // Narrower than 3200 twips: the list width step fails alone; the others still apply.
    const ViewerLayout narrow = viewerLayout(3000, 9600);
    EXPECT_FALSE(narrow.urlsWidth);
    EXPECT_FALSE(narrow.progressWidth);
    EXPECT_EQ(narrow.panel1Width, 600);
    EXPECT_EQ(narrow.urlsHeight, 8850);
    EXPECT_EQ(narrow.labelLeft, -1500);
    const ViewerLayout tiny = viewerLayout(100, 100);
    EXPECT_FALSE(tiny.urlsHeight);
    EXPECT_FALSE(tiny.treeHeight);
    EXPECT_FALSE(tiny.panel1Width);
    EXPECT_EQ(tiny.cancelLeft, -3000);
}

}  // namespace
}  // namespace kestrova
