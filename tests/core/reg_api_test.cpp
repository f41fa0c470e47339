// regAPI over hives written by the project's hive writer: the comma lists, the 20-character
// name buffer, the reversed key list, the cut last character and the binary read.
#include <gtest/gtest.h>

#include "core/registry/reg_api.h"
#include "support/temp_volume.h"

namespace kestrova {
namespace {

const QString kKey = QStringLiteral("Software\\Test");

class RegApiTest : public ::testing::Test {
protected:
    void SetUp() override {
        tools::HiveBuilder hive;
        hive.sz(kKey, QStringLiteral("a"), QStringLiteral("first"))
            .sz(kKey, QStringLiteral("MRUList"), QStringLiteral("ba"))
            .sz(kKey, QStringLiteral("b"), QStringLiteral("second"))
            .dword(kKey, QStringLiteral("Number"), 1234)
            .dword(kKey, QStringLiteral("AllOnes"), 0xFFFFFFFF)
            .binary(kKey, QStringLiteral("Blob"), QByteArray("\x01\x02\x03", 3))
            .value(kKey, QStringLiteral("Expand"), regtype::ExpandSz, tools::utf16z(QStringLiteral("%TEMP%")))
            .value(kKey, QStringLiteral("NoNul"), regtype::Sz, tools::utf16(QStringLiteral("abc")))
            .value(kKey, QStringLiteral("Empty"), regtype::Sz, QByteArray())
            .sz(kKey, QStringLiteral("JustNul"), QString())
            .sz(QStringLiteral("Software\\Long"), QStringLiteral("x"), QStringLiteral("1"))
            .sz(QStringLiteral("Software\\Long"), QStringLiteral("abcdefghijklmnopqrstuvwxy"), QStringLiteral("2"))
            .sz(QStringLiteral("Software\\Long"), QStringLiteral("z"), QStringLiteral("3"))
            .sz(QStringLiteral("Software\\Nineteen"), QStringLiteral("abcdefghijklmnopqrs"), QStringLiteral("1"))
            .sz(QStringLiteral("Software\\Nineteen"), QStringLiteral("abcdefghijklmnopqrst"), QStringLiteral("2"))
            .key(QStringLiteral("Software\\Parent\\K1"))
            .key(QStringLiteral("Software\\Parent\\K0"))
            .key(QStringLiteral("Software\\Parent\\K2"))
            .key(QStringLiteral("Software\\NoValues"));
        volume_.userHive(hive);
        system_ = volume_.open();
        reg_ = std::make_unique<RegApi>(system_->registry());
    }

    test::TempVolume volume_;
    std::unique_ptr<VolumeSystem> system_;
    std::unique_ptr<RegApi> reg_;
};

TEST_F(RegApiTest, EnumValuesJoinsNamesInHiveOrderWithTrailingComma) {
    EXPECT_EQ(reg_->EnumValues(RootKey::CurrentUser, QStringLiteral("Software\\Long")).left(2), "x,");
    const QString names = reg_->EnumValues(RootKey::CurrentUser, kKey);
    EXPECT_TRUE(names.startsWith("a,MRUList,b,Number,")) << names.toStdString();
    EXPECT_TRUE(names.endsWith(','));
    EXPECT_EQ(reg_->EnumValues(RootKey::CurrentUser, QStringLiteral("Software\\NoValues")), "");
    EXPECT_EQ(reg_->EnumValues(RootKey::CurrentUser, QStringLiteral("Software\\Missing")), kError440);
}

TEST_F(RegApiTest, EnumValuesStopsAtNameThatDoesNotFitTwentyCharacterBuffer) {
    EXPECT_EQ(reg_->EnumValues(RootKey::CurrentUser, QStringLiteral("Software\\Long")), "x,");
    // 19 characters fit with the NUL; 20 do not.
    EXPECT_EQ(reg_->EnumValues(RootKey::CurrentUser, QStringLiteral("Software\\Nineteen")),
              "abcdefghijklmnopqrs,");
}

TEST_F(RegApiTest, EnumKeysReversesEnumerationOrderWithoutTrailingComma) {
    EXPECT_EQ(reg_->EnumKeys(RootKey::CurrentUser, QStringLiteral("Software\\Parent")), "K2,K1,K0");
    EXPECT_EQ(reg_->EnumKeys(RootKey::CurrentUser, QStringLiteral("Software\\NoValues")), "");
    EXPECT_EQ(reg_->EnumKeys(RootKey::CurrentUser, QStringLiteral("Software\\Missing")), "");
}

TEST_F(RegApiTest, QueryValueCutsTheLastCharacterOfWhateverWasRead) {
    EXPECT_EQ(reg_->QueryValue(RootKey::CurrentUser, kKey, QStringLiteral("a")), "first");
    EXPECT_EQ(reg_->QueryValue(RootKey::CurrentUser, kKey, QStringLiteral("Number")), "123");
    EXPECT_EQ(reg_->QueryValue(RootKey::CurrentUser, kKey, QStringLiteral("AllOnes")), "-");
    EXPECT_EQ(reg_->QueryValue(RootKey::CurrentUser, kKey, QStringLiteral("NoNul")), "ab");
    EXPECT_EQ(reg_->QueryValue(RootKey::CurrentUser, kKey, QStringLiteral("JustNul")), "");
}

TEST_F(RegApiTest, QueryValueGivesError440ForWhatItCannotRead) {
    EXPECT_EQ(reg_->QueryValue(RootKey::CurrentUser, kKey, QStringLiteral("Missing")), kError440);
    EXPECT_EQ(reg_->QueryValue(RootKey::CurrentUser, QStringLiteral("Software\\Missing"), QStringLiteral("a")),
              kError440);
    EXPECT_EQ(reg_->QueryValue(RootKey::CurrentUser, kKey, QStringLiteral("Blob")), kError440);
    EXPECT_EQ(reg_->QueryValue(RootKey::CurrentUser, kKey, QStringLiteral("Expand")), kError440);
    EXPECT_EQ(reg_->QueryValue(RootKey::CurrentUser, kKey, QStringLiteral("Empty")), kError440);
    EXPECT_EQ(reg_->QueryValue(RootKey::ClassesRoot, kKey, QStringLiteral("a")), kError440);
}

TEST_F(RegApiTest, NamesMatchWithoutRegardToCase) {
    EXPECT_EQ(reg_->QueryValue(RootKey::CurrentUser, QStringLiteral("SOFTWARE\\test\\"), QStringLiteral("MRULIST")),
              "ba");
}

TEST_F(RegApiTest, QueryValueExKeepsTheNulAndLeavesTheSlotAloneOnOtherTypes) {
    auto key = system_->registry().openKey(RootKey::CurrentUser, kKey);
    ASSERT_TRUE(key);
    RegSlot slot;
    EXPECT_EQ(reg_->QueryValueEx(*key, QStringLiteral("a"), slot), winerr::Success);
    EXPECT_EQ(std::get<QString>(slot), QString("first") + QChar(0));
    RegSlot untouched = QStringLiteral("before");
    EXPECT_EQ(reg_->QueryValueEx(*key, QStringLiteral("Blob"), untouched), winerr::Unsupported);
    EXPECT_EQ(std::get<QString>(untouched), "before");
    EXPECT_EQ(reg_->QueryValueEx(*key, QStringLiteral("Missing"), untouched), winerr::FileNotFound);
}

TEST_F(RegApiTest, BinaryReadAddsOneZeroAndAcceptsLongHiveNamesInAnyCase) {
    const auto bytes = reg_->ReadBinary(QStringLiteral("hkey_current_user\\Software\\Test\\"), QStringLiteral("Blob"));
    ASSERT_TRUE(bytes);
    EXPECT_EQ(*bytes, (std::vector<uint8_t>{1, 2, 3, 0}));
    EXPECT_EQ(*reg_->ReadBinary(QStringLiteral("HKCU\\Software\\Test"), QStringLiteral("Missing")),
              std::vector<uint8_t>{0});
    EXPECT_FALSE(reg_->ReadBinary(QStringLiteral("HKEY_CURRENT_USER\\Software\\Nope\\"), QStringLiteral("Blob")));
    EXPECT_FALSE(reg_->ReadBinary(QStringLiteral("HKEY_NOWHERE\\Software\\Test\\"), QStringLiteral("Blob")));
}

}  // namespace
}  // namespace kestrova
