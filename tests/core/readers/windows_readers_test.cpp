// The Windows categories and the typed addresses on generated hives: sources and their order,
// the version branches, the list-mode carry-over and which panels each category writes.
#include "core/readers/windows/windows_readers.h"
#include "mksample/sample_system.h"
#include "mksample/shell_items.h"
#include "support/reader_fixture.h"

namespace kestrova {
namespace {

const QString kExplorer = "Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\";
const QString kRecent = "Users/alice/AppData/Roaming/Microsoft/Windows/Recent/";

class WindowsReaders : public test::ReaderFixture {
protected:
    // The user hive with the shell folders plus whatever the test adds.
    void writeUser(const std::function<void(tools::HiveBuilder&)>& add = {}) {
        tools::HiveBuilder hive = tools::sampleUserHive();
        if (add) add(hive);
        volume_.userHive(hive);
    }
    void useVersion(const char* version) {
        tools::HiveBuilder software;
        software.sz("Microsoft\\Windows NT\\CurrentVersion", "CurrentVersion", version);
        volume_.softwareHive(software);
    }
};

TEST_F(WindowsReaders, RunHistoryListsInEnumerationOrderNotMruOrder) {
    writeUser([](tools::HiveBuilder& h) {
        h.sz(kExplorer + "RunMRU", "a", "cmd\\1").sz(kExplorer + "RunMRU", "b", "notepad\\1")
            .sz(kExplorer + "RunMRU", "MRUList", "ba").sz(kExplorer + "RunMRU", "c", "x");
    });
    open();
    EXPECT_EQ(run("b3"), (QStringList{"cmd", "notepad"}));  // "x" is too short to cut: no row
    EXPECT_EQ(session().state.listMode, "run");
    EXPECT_EQ(session().list.panel1(), "Double Cilck to run");
    EXPECT_EQ(session().list.panel2(), "Total Records: 2");
    EXPECT_EQ(session().list.columns().front().text, "Start Menu Run History");
    EXPECT_EQ(session().list.columns().front().widthTwips, 8000);
}

TEST_F(WindowsReaders, MissingKeysGiveTheColumnAndACountOfZero) {
    writeUser();
    open();
    for (const char* key : {"b1", "b2", "b3", "b4", "a2"}) {
        EXPECT_TRUE(run(key).isEmpty()) << key;
        EXPECT_EQ(session().list.columns().size(), 1u);
        EXPECT_EQ(session().list.panel2(), "Total Records: 0") << key;
    }
}

TEST_F(WindowsReaders, TypedPathsFollowTheModeLeftByThePreviousCategory) {
    writeUser([](tools::HiveBuilder& h) {
        h.sz(kExplorer + "TypedPaths", "url1", "C:\\Users\\alice\\Documents")
            .sz(kExplorer + "TypedPaths", "url2", "\\\\server\\share")
            .sz(kExplorer + "RunMRU", "a", "cmd\\1")
            .sz(kExplorer + "RunMRU", "b", "calc\\1")
            .sz("Software\\Microsoft\\Internet Explorer\\TypedURLs", "url1", "http://example.com/");
    });
    open();
    run("b3");
    EXPECT_EQ(run("b8"), (QStringList{"C:\\Users\\alice\\Documen", "\\\\server\\sha"}));
    // b8 leaves panel 2 as Run History left it.
    EXPECT_EQ(session().list.panel2(), "Total Records: 2");
    run("b4");
    EXPECT_EQ(run("b8"), QStringList{"C:\\Users\\alice\\Documents"});
    run("a2");
    EXPECT_EQ(run("b8"), (QStringList{"C:\\Users\\alice\\Documents", "\\\\server\\share"}));
    EXPECT_EQ(session().list.panel2(), "Total Records: 1");
    EXPECT_EQ(session().list.columns().front().text, "Type Paths (Windows 7)");
}

TEST_F(WindowsReaders, SearchHistoryTakesItsSourcesInOrderAndCarriesTheMode) {
    writeUser([](tools::HiveBuilder& h) {
        const QString bar = "Software\\Microsoft\\Internet Explorer\\Explorer Bars\\{C4EE31F3-4768-11D2-BE5C-00A0C9A83DA1}\\";
        h.sz(bar + "filesNamedMRU", "a", "*.doc\\1")
            .sz(bar + "ComputerNameMRU", "a", "SERVER1")
            .sz("Software\\Microsoft\\Search Assistant\\ACMru\\5604", "000", "C:\\secret")
            .binary(kExplorer + "WordWheelQuery", "MRUListEx", QByteArray::fromHex("00000000ffffffff"))
            .binary(kExplorer + "WordWheelQuery", "0", tools::utf16z("budget"))
            .binary(kExplorer + "WordWheelQuery", "1", tools::utf16z("  "))
            .sz(kExplorer + "Doc Find Spec MRU", "a", "old search");
    });
    open();
    EXPECT_EQ(run("b2"), (QStringList{"SERVER1", "*.doc\\1", "C:\\secret", "budget"}));
    run("b4");  // "open": only entries with ":" survive the registry lists, decoded terms stay
    EXPECT_EQ(run("b2"), (QStringList{"C:\\secret", "budget"}));
    EXPECT_EQ(session().list.panel1(), "");
    EXPECT_EQ(session().list.panel2(), "Total Records: 2");
}

TEST_F(WindowsReaders, SearchHistoryOn98ReadsTheOldKeys) {
    writeUser([](tools::HiveBuilder& h) {
        h.sz(kExplorer + "Doc Find Spec MRU", "a", "old search")
            .sz(kExplorer + "FindComputerMRU", "a", "PC2")
            .binary(kExplorer + "WordWheelQuery", "0", tools::utf16z("budget"));
    });
    useVersion("4.0");  // NT 4 shares the "98" tag
    open();
    EXPECT_EQ(session().state.windowsVersionTag, "98");
    EXPECT_EQ(run("b2"), (QStringList{"old search", "PC2"}));
}

TEST_F(WindowsReaders, OpenSaveOnVistaDecodesEveryExtensionButTheStarKey) {
    writeUser([](tools::HiveBuilder& h) {
        const QString pidl = kExplorer + "ComDlg32\\OpenSavePidlMRU\\";
        h.binary(pidl + "*", "0", tools::openSaveValue("C:\\Users\\alice\\notes.txt"))
            .binary(pidl + "*", "1", tools::openSaveValue("C:\\Users\\alice\\star-only.txt"))
            .binary(pidl + "txt", "MRUListEx", QByteArray::fromHex("0100000000000000ffffffff"))
            .binary(pidl + "txt", "0", tools::openSaveValue("C:\\Users\\alice\\notes.txt"))
            .binary(pidl + "txt", "1", tools::openSaveValue("C:\\Users\\alice\\Documents\\plan for 2013.txt"))
            .binary(pidl + "doc", "0", tools::openSaveValue("C:\\old.doc"))
            .binary(pidl + "doc", "1", QByteArray());
        h.sz(kExplorer + "ComDlg32\\OpenSaveMRU\\*", "a", "C:\\xp-era.txt");
    });
    useVersion("6.1");
    open();
    EXPECT_EQ(run("b4"), (QStringList{"old.doc", "notes.txt", "plan for 2013.txt"}));
    EXPECT_EQ(session().state.listMode, "open");
}

TEST_F(WindowsReaders, OpenSaveBeforeVistaReadsTheTextListWithFullPathsOnly) {
    writeUser([](tools::HiveBuilder& h) {
        const QString mru = kExplorer + "ComDlg32\\OpenSaveMRU\\*";
        h.sz(mru, "a", "C:\\Documents and Settings\\bob\\report.doc").sz(mru, "b", "report.doc")
            .sz(mru, "MRUList", "ba");
    });
    useVersion("5.1");
    open();
    EXPECT_EQ(run("b4"), QStringList{"C:\\Documents and Settings\\bob\\report.doc"});
}

TEST_F(WindowsReaders, LastVisitedAndFirstFolderShowTheProgramAndLeavePanel2Alone) {
    writeUser([](tools::HiveBuilder& h) {
        const QString lv = kExplorer + "ComDlg32\\LastVisitedPidlMRU";
        h.binary(lv, "MRUListEx", QByteArray::fromHex("0100000000000000ffffffff"))
            .binary(lv, "1", tools::programAndFolderValue("notepad.exe", "C:\\Users\\alice\\Desktop"))
            .binary(lv, "0", tools::programAndFolderValue("WINWORD.EXE", "C:\\Users\\alice\\Documents"))
            .binary(lv, "2", QByteArray::fromHex("0000"));
        h.binary(kExplorer + "ComDlg32\\FirstFolder", "0", tools::programAndFolderValue("mspaint.exe", "C:\\"));
        h.sz(kExplorer + "RunMRU", "a", "cmd\\1");
    });
    open();
    run("b3");
    EXPECT_EQ(run("b5"), (QStringList{"notepad.exe", "WINWORD.EXE"}));
    EXPECT_EQ(session().list.panel2(), "Total Records: 1");
    EXPECT_EQ(run("b7"), QStringList{"mspaint.exe"});
    EXPECT_EQ(session().list.columns().front().text, "First Folder (Windows 7)");
    EXPECT_EQ(session().list.panel2(), "Total Records: 1");
}

TEST_F(WindowsReaders, UsbStorageWalksReversedListsAndShowsError440WithoutAName) {
    writeUser();
    tools::HiveBuilder system = tools::sampleSystemHive();
    const QString usb = "ControlSet001\\Enum\\USBSTOR\\";
    system.sz(usb + "Disk&Ven_A\\1&0", "FriendlyName", "A one")
        .sz(usb + "Disk&Ven_A\\2&0", "FriendlyName", "A two")
        .sz(usb + "Disk&Ven_B\\1&0", "DeviceDesc", "no friendly name");
    volume_.systemHive(system);
    open();
    EXPECT_EQ(run("b6"), (QStringList{"error440", "A two", "A one"}));
    EXPECT_EQ(session().list.panel2(), "");
}

TEST_F(WindowsReaders, RecentDocumentsListsFilesOnlyAndRemembersTheFolder) {
    writeUser();
    tools::addRecentItems(volume_.root());
    volume_.file(kRecent + "INDEX.DAT", "case differs, so it is listed");
    open();
    const QString folder = "C:\\Users\\alice\\AppData\\Roaming\\Microsoft\\Windows\\Recent\\";
    EXPECT_EQ(run("b1"), (QStringList{folder + "beach.jpg.lnk", folder + "budget-2012.xlsx.lnk", folder + "Budget.lnk",
                                      folder + "INDEX.DAT", folder + "Quarterly report.docx.lnk"}));
    EXPECT_EQ(session().state.kept.recent, folder);
    EXPECT_EQ(session().state.listMode, "recdoc");
    EXPECT_EQ(session().list.panel1(), "Double Click to open");
}

TEST_F(WindowsReaders, OnlyBlanksAreTrimmedSoATabIsANameAndARow) {
    writeUser([](tools::HiveBuilder& h) {
        h.sz(kExplorer + "RunMRU", "\t", "tab\\1").sz(kExplorer + "RunMRU", " ", "blank\\1")
            .binary(kExplorer + "WordWheelQuery", "0", tools::utf16z("\t"))
            .binary(kExplorer + "WordWheelQuery", "1", tools::utf16z("  "));
    });
    open();
    EXPECT_EQ(run("b3"), QStringList{"tab"});
    EXPECT_EQ(run("b2"), QStringList{"\t"});
}

TEST_F(WindowsReaders, AddressBarShowsUnreadableValuesAsError440) {
    writeUser([](tools::HiveBuilder& h) {
        const QString typed = "Software\\Microsoft\\Internet Explorer\\TypedURLs";
        h.sz(typed, "url1", "http://a.example/").binary(typed, "url2", "\x01").sz(typed, "url3", "b.example")
            .dword(typed, "url4", 1234);
    });
    open();
    // A DWORD reads, minus its last digit, like any value regAPI can read.
    EXPECT_EQ(run("a2"), (QStringList{"http://a.example/", "error440", "b.example", "123"}));
    EXPECT_EQ(session().state.listMode, "url");
    EXPECT_EQ(session().list.panel1(), "Double Cilck to view");
    EXPECT_EQ(session().list.panel2(), "Total Records: 4");
}

TEST_F(WindowsReaders, ReportCollectorsFollowTheirOwnRules) {
    writeUser([](tools::HiveBuilder& h) {
        h.sz(kExplorer + "RunMRU", "a", "cmd\\1").sz(kExplorer + "RunMRU", "b", "calc")
            .sz(kExplorer + "TypedPaths", "url1", "C:\\x");
    });
    open();
    const SourceContext ctx = reportContext();
    // The report keeps only Run entries with a "\" before it cuts them; the window cuts them all.
    EXPECT_EQ(getRunHistory(ctx), QStringList{"cmd"});
    EXPECT_EQ(GetTypedPath(ctx, "run"), QStringList{"C:"});
    EXPECT_EQ(GetTypedPath(ctx, ""), QStringList{"C:\\x"});
    EXPECT_EQ(MergeA({"a"}, {"b", "c"}), (QStringList{"a", "b", "c"}));
    EXPECT_EQ(MergeA({}, {}), QStringList{});
    // Collectors never touch the list or the mode.
    EXPECT_EQ(session().list.rowCount(), 0);
    EXPECT_EQ(session().state.listMode, "");
    EXPECT_EQ(run("b3"), (QStringList{"cmd", "ca"}));
}

// The real Windows 7 hive, rows checked once by hand against hivexsh's view of the values.
TEST_F(WindowsReaders, RealWindows7HiveGivesTheRowsItsValuesCallFor) {
    REALDATA_OR_SKIP(user, "NTUSER-WIN7.DAT");
    REALDATA_OR_SKIP(system, "SYSTEM-WIN7");
    volume_.copy(user, "Users/nfury/NTUSER.DAT");
    volume_.copy(system, "Windows/System32/config/SYSTEM");
    system_ = std::make_unique<VolumeSystem>(volume_.root(), "nfury");
    os_ = std::make_unique<OsApi>(*system_, desktop_);
    session_ = std::make_unique<Session>(*os_, clock_, run_, host_);

    EXPECT_EQ(run("b3"), QStringList{"\\\\controller\\WebDavShare"});
    EXPECT_EQ(run("b4"), (QStringList{"Firefox Setup 3.6.12.exe", "Firefox Setup 6.0.exe", "wallpaper_medium.jpg",
                                      "C:\\Users\\nfury\\Pictures\\nick_fury_77831.jpg",
                                      "C:\\Users\\nfury\\Pictures\\The SHIELD\\captain-america-shield-front.jpg",
                                      "C:\\Users\\nfury\\Pictures\\The SHIELD\\captain_america_shield_by_almogrem-d48x9x8.jpg",
                                      "C:\\Users\\nfury\\Documents\\Leadership\\5031RR_BalancedLeadership.pdf",
                                      "C:\\Users\\nfury\\Documents\\Leadership\\htlhtl.pdf",
                                      "C:\\Users\\nfury\\Documents\\Leadership\\leaderqualities.pdf",
                                      "C:\\Users\\nfury\\Documents\\Leadership\\followership.pdf", "StarFury.zip",
                                      "StarFury.zip"}));
    EXPECT_EQ(run("b5"), (QStringList{"Skype.exe", "iexplore.exe", "{D4F85F66-003D-4127-BCE9-CAD7A57B2857}",
                                      "{0B8CFE96-DB69-4D33-8E3C-36EAB4F709E0}", "{24B5C9BB-48B5-47FF-8343-40481DBA1E2B}",
                                      "{427865A0-03AF-4F25-82EE-10B6CB1DED3E}", "{48E1ED6B-CF49-4609-B1C1-C082BFC3D0B4}",
                                      "chrome.exe"}));
    EXPECT_EQ(run("b7"), (QStringList{"C:\\Program Files (x86)\\Internet Explorer\\iexplore.exe",
                                      "C:\\Users\\nfury\\AppData\\Local\\Google\\Chrome\\Application\\chrome.exe"}));
    // Still in mode "open" from b4: the one typed path has no ":".
    EXPECT_EQ(run("b8"), QStringList{});
    EXPECT_EQ(session().list.panel2(), "Total Records: 12");
    EXPECT_EQ(run("b2"), (QStringList{"hyth", "rar.exe"}));
    const QStringList typed = run("a2");
    ASSERT_EQ(typed.size(), 13);
    EXPECT_EQ(typed.front(), "http://cnn.com/");
    EXPECT_EQ(typed[4], "mozilla");
    EXPECT_EQ(typed.back(), "http://go.microsoft.com/fwlink/?LinkId=69157");
    EXPECT_EQ(run("b8"), QStringList{"\\\\controller"});
    EXPECT_EQ(run("b6"), QStringList{"HP v100w USB Device"});
}

}  // namespace
}  // namespace kestrova
