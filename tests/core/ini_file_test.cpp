// kr.ini: the "unknown value" default, case-insensitive names, the cut values, the key list that
// stops at a one-letter key, and writes that keep every other line.
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "core/settings/ini_file.h"

namespace kestrova {
namespace {

class IniFileTest : public ::testing::Test {
protected:
    QString write(const QByteArray& text) {
        QFile f(path());
        f.open(QIODevice::WriteOnly);
        f.write(text);
        return path();
    }
    QString path() const { return dir_.filePath(QStringLiteral("kr.ini")); }
    QByteArray contents() const {
        QFile f(path());
        f.open(QIODevice::ReadOnly);
        return f.readAll();
    }
    QTemporaryDir dir_;
};

TEST_F(IniFileTest, MissingKeySectionOrFileReadsUnknownValueButEmptyValueReadsEmpty) {
    IniFile ini(path());
    EXPECT_EQ(ini.GetSetting("general", "ReportFolder"), "unknown value");
    write("[general]\nReportFolder=\nCheckInterval = 7 \n");
    EXPECT_EQ(ini.GetSetting("general", "ReportFolder"), "");
    EXPECT_EQ(ini.GetSetting("general", "CheckInterval"), "7");
    EXPECT_EQ(ini.GetSetting("general", "Nothing"), "unknown value");
    EXPECT_EQ(ini.GetSetting("other", "CheckInterval"), "unknown value");
}

TEST_F(IniFileTest, NamesMatchWithoutRegardToCaseAndWritesUpdateTheSameLine) {
    write("; delivered\n[general]\nlastcheckupdate=1/1/2026\nCheckInterval=7\n\n[source]\nRoot=/mnt/win\n");
    IniFile ini(path());
    EXPECT_EQ(ini.SaveSetting("General", "LastCheckUpdate", "11/21/2026"), 1);
    EXPECT_EQ(ini.GetSetting("general", "lastcheckupdate"), "11/21/2026");
    EXPECT_EQ(contents(),
              "; delivered\n[general]\nlastcheckupdate=11/21/2026\nCheckInterval=7\n\n[source]\nRoot=/mnt/win\n");
}

TEST_F(IniFileTest, SaveCreatesFileSectionAndKeyAndKeepsCrLf) {
    IniFile ini(path());
    EXPECT_EQ(ini.SaveSetting("general", "ReportFolder", "/home/u/Documents/"), 1);
    EXPECT_EQ(ini.SaveSetting("general", "CheckInterval", "7"), 1);
    EXPECT_EQ(ini.SaveSetting("source", "Root", "/mnt/win"), 1);
    EXPECT_EQ(contents(), "[general]\nReportFolder=/home/u/Documents/\nCheckInterval=7\n\n[source]\nRoot=/mnt/win\n");
    write("[general]\r\nA1=x\r\n");
    ini.SaveSetting("general", "B1", "y");
    EXPECT_EQ(contents(), "[general]\r\nA1=x\r\nB1=y\r\n");
}

TEST_F(IniFileTest, SaveIntoAnUnwritableFolderReturnsZero) {
    IniFile ini(QStringLiteral("/nonexistent-folder/kr.ini"));
    EXPECT_EQ(ini.SaveSetting("general", "x", "y"), 0);
}

TEST_F(IniFileTest, ValuesAreCutTo254Characters) {
    write("[general]\nLong=" + QByteArray(300, 'v') + "\n");
    EXPECT_EQ(IniFile(path()).GetSetting("general", "long").size(), 254);
}

TEST_F(IniFileTest, GetSectionStopsAtTheFirstOneLetterKey) {
    write("[general]\nReportFolder=a\nx=1\nCheckInterval=2\n[empty]\n");
    IniFile ini(path());
    QStringList keys;
    EXPECT_EQ(ini.GetSection("GENERAL", keys), 1);
    EXPECT_EQ(keys, (QStringList{"", "ReportFolder"}));
    EXPECT_EQ(ini.GetSection("empty", keys), 0);
    EXPECT_EQ(keys, QStringList{""});
    EXPECT_EQ(ini.GetSection("missing", keys), 0);
}

TEST_F(IniFileTest, EraseSectionRemovesOnlyThatSection) {
    write("[a]\nk1=1\n[b]\nk2=2\n");
    IniFile ini(path());
    ini.EraseSection("A");
    EXPECT_EQ(contents(), "[b]\nk2=2\n");
}

}  // namespace
}  // namespace kestrova
