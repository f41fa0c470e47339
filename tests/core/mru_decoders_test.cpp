// The MRU decoders on hand-made bytes and on real Windows 7 values.
#include <gtest/gtest.h>

#include "core/registry/mru_decoders.h"
#include "hivewriter/hive_writer.h"
#include "mksample/shell_items.h"
#include "support/temp_volume.h"

namespace kestrova {
namespace {

// A value's bytes as the binary read returns them: the data and one extra zero.
ByteArray asRead(const QByteArray& data) {
    ByteArray bytes(data.begin(), data.end());
    bytes.push_back(0);
    return bytes;
}

TEST(ReverseBytes, ReversesAndAppendsOneZero) {
    EXPECT_EQ(ReverseBytes({1, 2, 3}), (ByteArray{3, 2, 1, 0}));
    EXPECT_EQ(ReverseBytes({}), (ByteArray{0}));
}

TEST(DecodeFirstString, TakesTheTextBeforeTheFirstZeroPair) {
    const QByteArray data = tools::utf16z("notepad.exe") + QByteArray::fromHex("14001f50e04f");
    EXPECT_EQ(decodeFirstString(asRead(data), "en"), "notepad.exe");
    EXPECT_EQ(decodeFirstString(asRead(QByteArray()), "en"), "");
    EXPECT_EQ(decodeFirstString({}, "en"), "");
    // Without a terminating pair the walk runs to the end of the data.
    EXPECT_EQ(decodeFirstString(asRead(tools::utf16("abc")), "en"), "abc");
    // An unknown locale class converts to nothing.
    EXPECT_EQ(decodeFirstString(asRead(data), "xx"), "");
}

TEST(DecodeFirstString, ConvertsByLocaleClass) {
    // "en" keeps only characters below 256: each byte is a character and NULs go.
    EXPECT_EQ(decodeFirstString(asRead(tools::utf16z(QString::fromUtf8("caf\u00e9"))), "en"), QString::fromUtf8("caf\u00e9"));
    EXPECT_EQ(decodeFirstString(asRead(tools::utf16z(QString::fromUtf8("\u3072\u3089"))), "jan"),
              QString::fromUtf8("\u30d2\u30e9"));
    EXPECT_EQ(decodeFirstString(asRead(tools::utf16z(QString::fromUtf8("\uff21\uff22\u3000\u4e2d"))), "asia"),
              QString::fromUtf8("AB \u4e2d"));
}

TEST(DecodeCountedString, NeedsFourZeroPairsUnderEn) {
    EXPECT_EQ(decodeCountedString(asRead(tools::utf16z("ab")), "en"), "");
    EXPECT_EQ(decodeCountedString(asRead(QByteArray()), "en"), "");
}

TEST(DecodeCountedString, FindsTheLongNameOfAnOpenSaveItem) {
    for (const char* path : {"C:\\Users\\alice\\Documents\\Quarterly report.docx", "C:\\a.txt",
                             "C:\\Users\\alice\\Pictures\\beach.jpg"}) {
        const QString name = QString::fromLatin1(path).section('\\', -1);
        EXPECT_EQ(decodeCountedString(asRead(tools::openSaveValue(path)), "en"), name) << path;
    }
}

TEST(DecodeCountedString, OnlyBlanksAreTrimmedWhenALengthIsTested) {
    // Tabs and line breaks are characters: a name of a tab, a tab and "x" is long enough.
    EXPECT_EQ(decodeCountedString(asRead(tools::openSaveValue("C:\\\t\tx")), "en"), "\t\tx");
    EXPECT_EQ(decodeCountedString(asRead(tools::openSaveValue("C:\\\n\rx")), "en"), "\n\rx");
}

TEST(DecodeCountedString, ReadsRealWindows7OpenSaveValues) {
    test::TempVolume volume;
    REALDATA_OR_SKIP(hive, "NTUSER-WIN7.DAT");
    volume.copy(hive, "Users/nfury/NTUSER.DAT");
    VolumeSystem system(volume.root(), "nfury");
    const RegApi reg(system.registry());
    const QString key = "HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ComDlg32\\OpenSavePidlMRU\\";
    EXPECT_EQ(DecodeCountedString(reg, key + "zip\\", "0", "en"), "StarFury.zip");
    EXPECT_EQ(DecodeCountedString(reg, key + "exe\\", "0", "en"), "Firefox Setup 3.6.12.exe");
    EXPECT_EQ(DecodeCountedString(reg, key + "zip\\", "nope", "en"), "");
    EXPECT_EQ(DecodeCountedString(reg, key + "nokey\\", "0", "en"), "");
    const QString last = "HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ComDlg32\\LastVisitedPidlMRU\\";
    EXPECT_EQ(DecodeFirstString(reg, last, "2", "en"), "Skype.exe");
}

TEST(SplitList, HasNoElementsForEmptyTextAndKeepsTheTrailingEmptyOne) {
    EXPECT_TRUE(splitList("").isEmpty());
    EXPECT_EQ(splitList("a,b,"), (QStringList{"a", "b", ""}));
}

}  // namespace
}  // namespace kestrova
