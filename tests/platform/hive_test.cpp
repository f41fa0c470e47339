// Hives read through hivex: real Windows 7 hives agree with hivexsh, CurrentControlSet follows
// Select, and truncated, random or damaged hives never crash, they only make keys unopenable.
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "core/registry/reg_api.h"
#include "mksample/sample_system.h"
#include "support/temp_volume.h"

namespace kestrova {
namespace {

// What hivexsh says of one key: its value lines ("name"=data) and subkey names, in its order.
struct HivexView {
    QStringList values;
    QStringList subkeys;
};

std::optional<HivexView> hivexsh(const QString& hive, const QString& key) {
    if (QStandardPaths::findExecutable("hivexsh").isEmpty()) return std::nullopt;
    QProcess p;
    p.start("hivexsh", {hive});  // commands from standard input
    p.write(QString("cd \\%1\nlsval\nls\n").arg(key).toUtf8());
    p.closeWriteChannel();
    p.waitForFinished();
    HivexView view;
    for (const QString& line : QString::fromUtf8(p.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts)) {
        (line.startsWith('"') || line.startsWith('@') ? view.values : view.subkeys).append(line);
    }
    return view;
}

class RealWin7Hives : public ::testing::Test {
protected:
    void SetUp() override {
        REALDATA_OR_SKIP(user, "NTUSER-WIN7.DAT");
        REALDATA_OR_SKIP(system, "SYSTEM-WIN7");
        volume_.copy(user, "Users/nfury/NTUSER.DAT");
        volume_.copy(system, "Windows/System32/config/SYSTEM");
        system_ = std::make_unique<VolumeSystem>(volume_.root(), "nfury");
        reg_ = std::make_unique<RegApi>(system_->registry());
    }
    test::TempVolume volume_;
    std::unique_ptr<VolumeSystem> system_;
    std::unique_ptr<RegApi> reg_;
};

TEST_F(RealWin7Hives, NamesValuesAndOrderAgreeWithHivexsh) {
    const QString hive = test::realData("NTUSER-WIN7.DAT");
    const QStringList keys = {
        "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\RunMRU",
        "Software\\Microsoft\\Internet Explorer\\TypedURLs",
        "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\TypedPaths",
        "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders",
        "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ComDlg32\\OpenSavePidlMRU",
        "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ComDlg32\\LastVisitedPidlMRU",
        "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer",
    };
    for (const QString& key : keys) {
        const auto view = hivexsh(hive, key);
        if (!view) GTEST_SKIP() << "hivexsh is not installed";
        auto opened = system_->registry().openKey(RootKey::CurrentUser, key);
        ASSERT_TRUE(opened) << key.toStdString();
        EXPECT_EQ(opened->subkeyNames(), view->subkeys) << key.toStdString();
        QStringList ours;
        for (const QString& name : opened->valueNames()) {
            const auto text = stringValue(*opened, name);
            if (!text) {
                ours.append(QString("\"%1\"=?").arg(name));
                continue;
            }
            QString escaped = *text;
            escaped.replace("\\", "\\\\");
            ours.append(QString("\"%1\"=\"%2\"").arg(name, escaped));
        }
        ASSERT_EQ(ours.size(), view->values.size()) << key.toStdString();
        for (qsizetype i = 0; i < ours.size(); ++i) {
            if (ours[i].endsWith("=?")) {
                EXPECT_TRUE(view->values[i].startsWith(ours[i].chopped(1))) << view->values[i].toStdString();
            } else {
                EXPECT_EQ(ours[i], view->values[i]);
            }
        }
    }
}

TEST_F(RealWin7Hives, RegApiReadsTheKnownValues) {
    const QString typed = "Software\\Microsoft\\Internet Explorer\\TypedURLs";
    EXPECT_EQ(reg_->EnumValues(RootKey::CurrentUser, typed),
              "url1,url2,url3,url4,url5,url6,url7,url8,url9,url10,url11,url12,url13,");
    EXPECT_EQ(reg_->QueryValue(RootKey::CurrentUser, typed, "url13"), "http://go.microsoft.com/fwlink/?LinkId=69157");
    EXPECT_EQ(reg_->QueryValue(RootKey::CurrentUser, "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\RunMRU", "a"),
              "\\\\controller\\WebDavShare\\1");
    EXPECT_EQ(reg_->EnumKeys(RootKey::CurrentUser,
                             "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ComDlg32\\OpenSavePidlMRU"),
              "zip,pdf,jpg,exe,*");
    // The first value name is 28 characters long and ends the listing at once.
    EXPECT_EQ(reg_->EnumValues(RootKey::CurrentUser, "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders"), "");
}

TEST_F(RealWin7Hives, SystemHiveGivesNameAndFollowsCurrentControlSet) {
    EXPECT_EQ(system_->computerName(), "WKS-WIN732BITA");
    const QString usb = "SYSTEM\\CurrentControlSet\\Enum\\USBSTOR";
    EXPECT_EQ(reg_->EnumKeys(RootKey::LocalMachine, usb), "Disk&Ven_HP&Prod_v100w&Rev_1024");
    EXPECT_EQ(reg_->QueryValue(RootKey::LocalMachine, usb + "\\Disk&Ven_HP&Prod_v100w&Rev_1024\\AA951D0000007252&0",
                               "FriendlyName"),
              "HP v100w USB Device");
    // No SOFTWARE hive in this volume: the version comes from the profile's place.
    ASSERT_TRUE(system_->versionRecord());
    EXPECT_EQ(system_->versionRecord()->major, 6u);
}

TEST(HiveRegistry, SelectChoosesTheControlSetAndVersionsAreReportedWithoutManifest) {
    test::TempVolume volume;
    tools::HiveBuilder system;
    system.dword("Select", "Current", 2)
        .sz("ControlSet001\\Control\\ComputerName\\ComputerName", "ComputerName", "ONE")
        .sz("ControlSet002\\Control\\ComputerName\\ComputerName", "ComputerName", "TWO")
        .sz("ControlSet002\\Control\\Nls\\Language", "Default", "0411");
    volume.systemHive(system);
    for (const auto& [stored, minor] : {std::pair{"6.3", 2u}, {"6.1", 1u}, {"10.0", 2u}}) {
        tools::HiveBuilder software;
        software.sz("Microsoft\\Windows NT\\CurrentVersion", "CurrentVersion", stored);
        volume.softwareHive(software);
        const auto sys = volume.open();
        EXPECT_EQ(sys->computerName(), "TWO");
        EXPECT_EQ(sys->systemLocaleId(), 1041u);
        ASSERT_TRUE(sys->versionRecord());
        EXPECT_EQ(sys->versionRecord()->major, 6u) << stored;
        EXPECT_EQ(sys->versionRecord()->minor, minor) << stored;
    }
}

// Walks every key below a root through regAPI, as the readers would, with a bound on the count.
int walkEverything(const RegApi& reg, RootKey root, const QString& path, int budget) {
    if (budget <= 0) return 0;
    int seen = 1;
    const QString values = reg.EnumValues(root, path);
    for (const QString& name : values.split(',', Qt::SkipEmptyParts)) {
        reg.QueryValue(root, path, name);
        reg.ReadBinary("HKCU\\" + path + "\\", name);
    }
    for (const QString& sub : reg.EnumKeys(root, path).split(',', Qt::SkipEmptyParts)) {
        seen += walkEverything(reg, root, path.isEmpty() ? sub : path + "\\" + sub, budget - seen);
    }
    return seen;
}

TEST(BrokenHives, TruncatedRandomAndDamagedHivesNeverCrash) {
    // A full user hive of the project's own making (no real sample needed to break one).
    QTemporaryDir dir;
    tools::HiveBuilder full = tools::sampleUserHive();
    tools::addWindowsHistory(full);
    ASSERT_TRUE(full.write(dir.filePath("NTUSER.DAT")));
    QFile written(dir.filePath("NTUSER.DAT"));
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    const QByteArray bytes = written.readAll();
    ASSERT_GT(bytes.size(), 0x3000);

    QByteArray random(64 * 1024, '\0');
    QRandomGenerator rng(42);
    for (char& c : random) c = static_cast<char>(rng.bounded(256));
    QByteArray damaged = bytes;
    for (qsizetype i = bytes.size() / 3; i < 2 * bytes.size() / 3; ++i) damaged[i] = static_cast<char>(rng.bounded(256));
    QByteArray randomWithHeader = bytes.left(0x1000) + random;

    const QList<QPair<const char*, QByteArray>> cases = {
        {"empty", QByteArray()},
        {"header only", bytes.left(4096)},
        {"truncated", bytes.left(bytes.size() / 2)},
        {"random", random},
        {"real header, random bins", randomWithHeader},
        {"damaged middle", damaged},
    };
    for (const auto& [label, content] : cases) {
        test::TempVolume volume;
        volume.file("Users/alice/NTUSER.DAT", content);
        const auto system = volume.open();
        const RegApi reg(system->registry());
        walkEverything(reg, RootKey::CurrentUser, "", 20000);
        EXPECT_EQ(reg.QueryValue(RootKey::CurrentUser, "Software\\Nowhere", "x"), kError440) << label;
    }
    // A hive that cannot be opened at all behaves as keys that cannot be opened.
    test::TempVolume volume;
    volume.file("Users/alice/NTUSER.DAT", random);
    const auto system = volume.open();
    const RegApi reg(system->registry());
    EXPECT_EQ(reg.EnumValues(RootKey::CurrentUser, "Software"), kError440);
    EXPECT_EQ(reg.EnumKeys(RootKey::CurrentUser, "Software"), "");
}

TEST(BrokenHives, AValueTypeOutsideTheKnownOnesIsKeptAsANumber) {
    test::TempVolume volume;
    tools::HiveBuilder user;
    user.dword("Software\\Odd", "WEIRDTYPE", 7);
    volume.userHive(user);
    // vk cell: "vk", name length (2), data size (4), data offset (4), data type (4), ...
    const QString path = volume.root() + "/Users/alice/NTUSER.DAT";
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    QByteArray bytes = file.readAll();
    const qsizetype vk = bytes.indexOf(QByteArray("vk\x09\x00", 4));
    ASSERT_GT(vk, 0);
    bytes[vk + 12] = 120;
    file.seek(0);
    file.write(bytes);
    file.close();
    const auto system = volume.open();
    const auto key = system->registry().openKey(RootKey::CurrentUser, "Software\\Odd");
    ASSERT_TRUE(key);
    ASSERT_TRUE(key->value("WEIRDTYPE"));
    EXPECT_EQ(key->value("WEIRDTYPE")->type, 120u);
    EXPECT_EQ(RegApi(system->registry()).QueryValue(RootKey::CurrentUser, "Software\\Odd", "WEIRDTYPE"), kError440);
}

}  // namespace
}  // namespace kestrova
