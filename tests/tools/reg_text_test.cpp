// The REGEDIT4 reader of the hive writer: every value form lands in the hive as regedit means it.
#include <gtest/gtest.h>

#include "core/registry/reg_api.h"
#include "hivewriter/reg_text.h"
#include "support/temp_volume.h"

namespace kestrova {
namespace {

TEST(RegText, WritesEveryValueFormIntoTheHive) {
    const QString text = R"(REGEDIT4

; a comment
[HKEY_CURRENT_USER\Software\Demo]
"quoted"="say \"hi\" to C:\\Temp"
"num"=dword:0000002a
"blob"=hex:14,00,1f,\
  50,e0
"exp"=hex(2):43,00,3a,00,00,00
@="default"
)";
    tools::HiveBuilder builder;
    QString error;
    ASSERT_TRUE(tools::parseRegText(text, builder, &error)) << error.toStdString();
    test::TempVolume volume;
    volume.userHive(builder);
    const auto system = volume.open();
    auto key = system->registry().openKey(RootKey::CurrentUser, "Software\\Demo");
    ASSERT_TRUE(key);
    EXPECT_EQ(key->valueNames(), (QStringList{"quoted", "num", "blob", "exp", ""}));
    EXPECT_EQ(stringValue(*key, "quoted"), "say \"hi\" to C:\\Temp");
    EXPECT_EQ(dwordValue(*key, "num"), 42u);
    EXPECT_EQ(key->value("blob")->bytes, QByteArray("\x14\x00\x1f\x50\xe0", 5));
    EXPECT_EQ(key->value("exp")->type, regtype::ExpandSz);
    EXPECT_EQ(stringValue(*key, ""), "default");
}

TEST(RegText, ReportsTheLineOfAnError) {
    tools::HiveBuilder builder;
    QString error;
    EXPECT_FALSE(tools::parseRegText("[A]\n\"x\"=dword:zz\n", builder, &error));
    EXPECT_EQ(error, "line 2: bad dword");
    EXPECT_FALSE(tools::parseRegText("\"x\"=\"y\"\n", builder, &error));
    EXPECT_EQ(error, "line 1: value before any [key]");
    EXPECT_FALSE(tools::parseRegText("[A]\n\"x\"=hex:1,2,300\n", builder, &error));
    EXPECT_EQ(error, "line 2: bad hex byte list");
}

}  // namespace
}  // namespace kestrova
