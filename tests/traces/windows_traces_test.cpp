// The Windows activity kinds and the hive log replay, on the real hives, shortcuts, Jump Lists and
// prefetch files of the shared samples, placed in a volume tree the way Windows keeps them.
// Expected values were read once with independent readers (RegRipper, lnkinfo, sccainfo,
// olecfinfo) and by hand from the bytes.
#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>
#include <functional>

#include <QSet>
#include <QtEndian>

#include "platform/hive/hive_log.h"
#include "support/cli_run.h"
#include "traces/timeline.h"
#include "support/temp_volume.h"
#include "support/trace_collector.h"
#include "traces/windows/registry_walk.h"
#include "traces/windows/shell_items.h"
#include "traces/windows/shim_cache.h"

namespace kestrova {
namespace {

using test::TraceCollector;
using test::TraceRecord;

QByteArray readAll(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

int countKeys(const HiveFile& hive, HiveFile::Node node) {
    int n = 1;
    for (const HiveFile::Named& child : hive.children(node)) n += countKeys(hive, child.node);
    return n;
}

TEST(HiveLogReplay, ARealDirtyHiveGetsTheKeysThatLiveOnlyInItsLogs) {
    REALDATA_OR_SKIP(primaryPath, "registry/transactions_NTUSER.DAT");
    const QByteArray primary = readAll(primaryPath);
    const std::vector<HiveLog> logs{{"LOG1", readAll(test::realData("registry/transactions_ntuser.dat.log1"))},
                                    {"LOG2", readAll(test::realData("registry/transactions_ntuser.dat.log2"))}};
    ASSERT_TRUE(hiveIsDirty(primary));
    const HiveReplay replay = replayHive(primary, logs);
    EXPECT_EQ(replay.entries, 23);
    EXPECT_EQ(replay.pages, 132);
    EXPECT_EQ(replay.used, QStringList{"LOG1"});  // LOG2 holds only entries older than the hive
    ASSERT_FALSE(replay.hive.isEmpty());
    EXPECT_FALSE(hiveIsDirty(replay.hive));

    const auto base = HiveFile::openBytes(primary);
    const auto replayed = HiveFile::openBytes(replay.hive);
    ASSERT_TRUE(base && replayed);
    EXPECT_GT(countKeys(*replayed, replayed->root()), countKeys(*base, base->root()));
}

TEST(HiveLogReplay, ATornLogEntryEndsTheReplayAndACleanHiveIsLeftAlone) {
    REALDATA_OR_SKIP(primaryPath, "registry/transactions_NTUSER.DAT");
    const QByteArray primary = readAll(primaryPath);
    QByteArray log1 = readAll(test::realData("registry/transactions_ntuser.dat.log1"));
    // The first entry's page data no longer matches its hash: nothing of that log is applied.
    log1[600] = static_cast<char>(log1[600] ^ 0x5A);
    const HiveReplay torn = replayHive(primary, {{"LOG1", log1}});
    EXPECT_EQ(torn.entries, 0);
    EXPECT_TRUE(torn.hive.isEmpty());
    EXPECT_EQ(torn.why, "the replay stopped at a damaged entry of LOG1 (at offset 0x200: its pages' hash does not match); "
                        "0 entries were applied before it");
    // The sixth entry torn: the five before it are applied, and the replay says where it stopped.
    QByteArray sixth = readAll(test::realData("registry/transactions_ntuser.dat.log1"));
    qsizetype at = 512;
    for (int i = 0; i < 5; ++i) at += qFromLittleEndian<quint32>(sixth.constData() + at + 4);
    sixth[at + 600] = static_cast<char>(sixth[at + 600] ^ 0x5A);
    const HiveReplay partly = replayHive(primary, {{"LOG1", sixth}});
    EXPECT_EQ(partly.entries, 5);
    EXPECT_FALSE(partly.hive.isEmpty());
    EXPECT_TRUE(partly.why.startsWith("the replay stopped at a damaged entry of LOG1 (at offset 0x")) << partly.why.toStdString();
    EXPECT_TRUE(partly.why.endsWith("5 entries were applied before it")) << partly.why.toStdString();

    const HiveReplay none = replayHive(primary, {});
    EXPECT_TRUE(none.dirty);
    EXPECT_EQ(none.why, "its transaction logs are missing");

    REALDATA_OR_SKIP(clean, "NTUSER-WIN7.DAT");
    EXPECT_FALSE(replayHive(readAll(clean), {{"LOG1", log1}}).dirty);
}

TEST(ShellItemDecoding, FatTimesKnownFoldersAndRot13) {
    // 2018-03-30 02:24:24: date (38 << 9 | 3 << 5 | 30), time (2 << 11 | 24 << 5 | 12).
    const uint32_t fat = ((2u << 11 | 24u << 5 | 12u) << 16) | (38u << 9 | 3u << 5 | 30u);
    EXPECT_EQ(IsoTimeWriter().text(*fromFatDateTime(fat)), "2018-03-30T02:24:24.000000+00:00");
    EXPECT_FALSE(fromFatDateTime(0).has_value());
    EXPECT_FALSE(fromFatDateTime(38u << 9 | 13u << 5 | 1u).has_value());  // month 13
    EXPECT_EQ(knownFolderName("{1ac14e77-02e7-4e5d-b744-2eb1ae5198b7}"), "System");
    EXPECT_EQ(knownFolderName("20D04FE0-3AEA-1069-A2D8-08002B30309D"), "My Computer");
    EXPECT_EQ(knownFolderName("{00000000-0000-0000-0000-000000000000}"), "");
    EXPECT_EQ(rot13("HRZR_EHACNGU:p:\\jvaqbjf\\flfgrz32\\pzq.rkr"), "UEME_RUNPATH:c:\\windows\\system32\\cmd.exe");
}

// ShimCache values of the layouts the samples lack, built by hand after the layouts' descriptions.
struct ShimBytes {
    QByteArray bytes;
    void u16(uint16_t v) { bytes.append(reinterpret_cast<const char*>(&v), 2); }
    void u32(uint32_t v) { bytes.append(reinterpret_cast<const char*>(&v), 4); }
    void u64(uint64_t v) { bytes.append(reinterpret_cast<const char*>(&v), 8); }
    void utf16(const QString& text) { bytes.append(reinterpret_cast<const char*>(text.utf16()), text.size() * 2); }
    void pad(qsizetype to) { bytes.append(QByteArray(to - bytes.size(), '\0')); }
};
constexpr uint64_t kFileTime2020 = 132223104000000000ull;  // 2020-01-01T00:00:00Z

TEST(ShimCacheLayouts, Windows10SevenSixtyFourBitAndXpEntriesAndACountThatLies) {
    const QString path = QStringLiteral("C:\\Tools\\run.exe");
    ShimBytes ten;
    ten.u32(0x34);
    ten.pad(0x34);
    ten.bytes.append("10ts");
    ten.u32(0);
    ten.u32(static_cast<uint32_t>(2 + path.size() * 2 + 8 + 4));
    ten.u16(static_cast<uint16_t>(path.size() * 2));
    ten.utf16(path);
    ten.u64(kFileTime2020);
    ten.u32(0);
    QString layout;
    auto entries = parseShimCache(ByteView(ten.bytes), &layout);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(layout, "Windows 10/11");
    EXPECT_EQ(entries[0].path, path);
    EXPECT_EQ(IsoTimeWriter().text(*entries[0].modified), "2020-01-01T00:00:00.000000+00:00");
    EXPECT_FALSE(entries[0].executed.has_value());

    ShimBytes seven;
    seven.u32(0xBADC0FEEu);
    seven.u32(1);
    seven.pad(128);
    seven.u16(static_cast<uint16_t>(path.size() * 2));
    seven.u16(static_cast<uint16_t>(path.size() * 2 + 2));
    seven.u32(0);
    seven.u64(176);
    seven.u64(kFileTime2020);
    seven.u32(2);  // insertion flags: executed
    seven.u32(0);
    seven.u64(0);
    seven.u64(0);
    seven.utf16(path);
    entries = parseShimCache(ByteView(seven.bytes), &layout);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(layout, "Windows 7, 64-bit");
    EXPECT_EQ(entries[0].path, path);
    EXPECT_EQ(entries[0].executed, std::optional<bool>(true));

    ShimBytes xp;
    xp.u32(0xDEADBEEFu);
    xp.u32(1000);  // more entries than the value holds: only whole ones are read
    xp.pad(400);
    xp.utf16(path);
    xp.pad(400 + 528);
    xp.u64(kFileTime2020);
    xp.pad(400 + 552 + 100);
    entries = parseShimCache(ByteView(xp.bytes), &layout);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(layout, "Windows XP");
    EXPECT_EQ(entries[0].path, path);

    EXPECT_TRUE(parseShimCache(ByteView(QByteArray("not a cache")), &layout).empty());
}

// One volume with every real Windows sample where Windows keeps it: a Windows 7 user (nfury), a
// Windows 10 user with a dirty UsrClass.dat and its logs (win10), the dirty NTUSER.DAT (dirty).
class RealWindowsVolume : public ::testing::Test {
protected:
    void SetUp() override {
        if (!QFileInfo::exists(test::realData("registry/amcache.hve"))) GTEST_SKIP() << "real samples not found";
        const auto put = [&](const char* sample, const QString& where) { volume_.copy(test::realData(sample), where); };
        const QString win10 = QStringLiteral("Users/win10/AppData/");
        put("NTUSER-WIN7.DAT", "Users/nfury/NTUSER.DAT");
        put("registry/UsrClass-plaso.dat", "Users/plaso/AppData/Local/Microsoft/Windows/UsrClass.dat");
        put("registry/NTUSER_with_winscp.DAT", "Users/win10/NTUSER.DAT");
        for (const char* f : {"UsrClass.dat", "UsrClass.dat.LOG1", "UsrClass.dat.LOG2"}) {
            put(QByteArray("registry/").append(f).constData(), win10 + "Local/Microsoft/Windows/" + f);
        }
        for (const char* f : {"example.lnk", "NeroInfoTool.lnk", "unpaired_surrogate.lnk"}) {
            put(QByteArray("shell/").append(f).constData(), win10 + "Roaming/Microsoft/Windows/Recent/" + f);
        }
        put("shell/1b4dd67f29cb1962.automaticDestinations-ms",
            win10 + "Roaming/Microsoft/Windows/Recent/AutomaticDestinations/1b4dd67f29cb1962.automaticDestinations-ms");
        put("shell/5afe4de1b92fc382.customDestinations-ms",
            win10 + "Roaming/Microsoft/Windows/Recent/CustomDestinations/5afe4de1b92fc382.customDestinations-ms");
        put("SYSTEM-WIN7", "Windows/System32/config/SYSTEM");
        for (const char* f : {"CMD.EXE-087B4001.pf", "NOTEPAD.EXE-D8414F97.pf", "PING.EXE-B29F6629.pf", "TASKHOST.EXE-3AE259FC.pf"}) {
            put(QByteArray("prefetch/").append(f).constData(), QStringLiteral("Windows/Prefetch/") + f);
        }
        put("logs/setupapi.dev.log", "Windows/INF/setupapi.dev.log");
        put("registry/amcache.hve", "Windows/AppCompat/Programs/Amcache.hve");
        put("registry/transactions_NTUSER.DAT", "Users/dirty/NTUSER.DAT");
        put("registry/transactions_ntuser.dat.log1", "Users/dirty/NTUSER.DAT.LOG1");
        put("registry/transactions_ntuser.dat.log2", "Users/dirty/NTUSER.DAT.LOG2");
        system_ = volume_.open();
    }
    TraceCollector read(const char* kind, bool replay = true) {
        TraceCollector got;
        TraceContext context(*system_, temp_.path());
        context.replayLogs = replay;
        runTraceKind(*findTraceKind(kind), context, got);
        return got;
    }
    static const TraceRecord* find(const std::vector<TraceRecord>& records, const std::function<bool(const TraceRecord&)>& match) {
        for (const TraceRecord& r : records) {
            if (match(r)) return &r;
        }
        return nullptr;
    }

    test::TempVolume volume_;
    QTemporaryDir temp_;
    std::unique_ptr<VolumeSystem> system_;
};

TEST_F(RealWindowsVolume, UserAssistDecodesNamesCountsAndTimesAndReplaysTheDirtyHive) {
    const auto all = read("windows.userassist").records;
    const TraceRecord* cmd = find(all, [](const TraceRecord& r) { return r["user"] == "win10" && r["name"] == "System\\cmd.exe"; });
    ASSERT_NE(cmd, nullptr);
    EXPECT_EQ((*cmd)["run_count"], "36");
    EXPECT_EQ((*cmd)["focus_count"], "313");
    EXPECT_EQ((*cmd)["last_run"], "2022-05-30T11:26:22.119000+00:00");
    EXPECT_EQ((*cmd)["raw_name"], "{1AC14E77-02E7-4E5D-B744-2EB1AE5198B7}\\cmd.exe");
    const auto ofUser = [](const std::vector<TraceRecord>& records, const char* user) {
        return std::count_if(records.begin(), records.end(), [&](const TraceRecord& r) { return r["user"] == user; });
    };
    EXPECT_EQ(ofUser(all, "win10"), 138);  // as RegRipper lists them
    EXPECT_EQ(ofUser(all, "nfury"), 90);
    // The dirty hive's newest UserAssist values are in its logs only.
    EXPECT_GT(ofUser(all, "dirty"), ofUser(read("windows.userassist", false).records, "dirty"));
}

TEST_F(RealWindowsVolume, RecentDocsAndMruListsKeepTheirOrderAndFullPaths) {
    const auto docs = read("windows.recentdocs").records;
    const TraceRecord* first = find(docs, [](const TraceRecord& r) { return r["user"] == "win10" && r["extension"].isEmpty() && r["position"] == "0"; });
    ASSERT_NE(first, nullptr);
    EXPECT_EQ((*first)["name"], "All Tasks");
    const auto mru = read("windows.mru").records;
    const auto entry = [&](const char* list, const char* position) {
        const TraceRecord* r = find(mru, [&](const TraceRecord& x) { return x["user"] == "nfury" && x["list"] == list && x["position"] == position && x["subkey"] != "exe"; });
        return r ? (*r)["entry"] : QString("(none)");
    };
    EXPECT_EQ(entry("OpenSavePidlMRU", "10"), "My Computer\\C:\\Users\\nfury\\Documents\\StarFury.zip");
    EXPECT_EQ(entry("OpenSavePidlMRU", "2"), "Libraries\\Documents Library\\My Documents\\Leadership\\followership");
    const auto typed = std::count_if(mru.begin(), mru.end(), [](const TraceRecord& r) { return r["user"] == "nfury" && r["list"] == "TypedURLs"; });
    EXPECT_EQ(typed, 13);
    const auto words = std::count_if(mru.begin(), mru.end(), [](const TraceRecord& r) { return r["user"] == "nfury" && r["list"] == "WordWheelQuery"; });
    EXPECT_EQ(words, 2);
    // The legacy dialog's list RegRipper also reads (its one entry: pythonw.exe's last folder).
    const TraceRecord* legacy = find(mru, [](const TraceRecord& r) { return r["user"] == "win10" && r["list"] == "LastVisitedPidlMRULegacy"; });
    ASSERT_NE(legacy, nullptr);
    EXPECT_EQ((*legacy)["program"], "pythonw.exe");
    EXPECT_FALSE((*legacy)["entry"].isEmpty());
}

TEST_F(RealWindowsVolume, ShellBagsWalkToFullPathsWithTheFoldersOwnTimes) {
    const auto bags = read("windows.shellbags").records;
    const TraceRecord* desktop = find(bags, [](const TraceRecord& r) { return r["path"] == "My Computer\\C:\\Users\\jcloudy\\Desktop"; });
    ASSERT_NE(desktop, nullptr);
    EXPECT_EQ((*desktop)["modified"], "2018-03-30T02:24:24.000000+00:00");
    EXPECT_EQ((*desktop)["created"], "2018-03-27T09:19:00.000000+00:00");
    EXPECT_EQ((*desktop)["mft_entry"], "93001");
    EXPECT_EQ((*desktop)["source"], "C:\\Users\\win10\\AppData\\Local\\Microsoft\\Windows\\UsrClass.dat");
    // Items libfwsi leaves unnamed: Windows 10's drive items, Control Panel categories.
    for (const char* path : {"D:\\AKMonitor\\logs\\pic", "Control Panel\\System and Security\\System", "My Computer\\Downloads",
                             "My Computer\\Pictures"}) {
        EXPECT_NE(find(bags, [&](const TraceRecord& r) { return r["path"] == path; }), nullptr) << path;
    }
    EXPECT_EQ(find(bags, [](const TraceRecord& r) { return r["path"].contains("[item class"); }), nullptr);
    // The user's folders of Windows 10 are delegate items: their DOS modification date is read
    // where libfwsi gives none.
    const TraceRecord* dropbox = find(bags, [](const TraceRecord& r) { return r["path"] == "Users Files\\Dropbox"; });
    ASSERT_NE(dropbox, nullptr);
    EXPECT_EQ((*dropbox)["modified"], "2018-03-28T00:06:28.000000+00:00");
}

// BAM and DAM name the user a SID belongs to: from ProfileList where SOFTWARE has it, else from
// the user's UsrClass.dat (mounted as "<SID>_Classes"), and the service accounts by their names.
TEST_F(RealWindowsVolume, BackgroundActivityNamesTheUserOfItsSid) {
    tools::HiveBuilder system;
    system.dword("Select", "Current", 1);
    QByteArray when(24, '\0');
    qToLittleEndian<quint64>(131669000000000000ull, when.data());  // 2018-04-02
    const QString bam = "ControlSet001\\Services\\bam\\State\\UserSettings\\";
    system.binary(bam + "S-1-5-21-2734969515-1644526556-1039763013-1001", "\\Device\\HarddiskVolume2\\Windows\\notepad.exe", when);
    system.binary(bam + "S-1-5-18", "\\Device\\HarddiskVolume2\\Windows\\System32\\svchost.exe", when);
    system.binary(bam + "S-1-5-21-9-9-9-1009", "\\Device\\HarddiskVolume2\\x.exe", when);
    volume_.systemHive(system);
    system_ = volume_.open();
    const auto all = read("windows.execution").records;
    const auto userOf = [&](const char* path) {
        const TraceRecord* r = find(all, [&](const TraceRecord& x) { return x["mechanism"] == "BAM" && x["path"].endsWith(path); });
        return r ? (*r)["user"] : QString("(no record)");
    };
    EXPECT_EQ(userOf("notepad.exe"), "win10");
    EXPECT_EQ(userOf("svchost.exe"), "SYSTEM");
    EXPECT_EQ(userOf("x.exe"), "");
}

TEST_F(RealWindowsVolume, UsbDevicesGetTheirDriveLetterAndInstallTime) {
    const auto usb = read("windows.usb").records;
    const TraceRecord* hp = find(usb, [](const TraceRecord& r) { return r["device_class"] == "USBSTOR"; });
    ASSERT_NE(hp, nullptr);
    EXPECT_EQ((*hp)["vendor"], "HP");
    EXPECT_EQ((*hp)["product"], "v100w");
    EXPECT_EQ((*hp)["serial"], "AA951D0000007252&0");
    EXPECT_EQ((*hp)["friendly_name"], "HP v100w USB Device");
    EXPECT_EQ((*hp)["drive_letter"], "E:");
    EXPECT_EQ((*hp)["first_install"], "2011-04-01T04:52:38.686000+00:00");
}

TEST_F(RealWindowsVolume, ShortcutsJumpListsAndPrefetchThroughTheirLibraries) {
    const auto lnk = read("windows.lnk").records;
    EXPECT_EQ(lnk.size(), 3u);
    const TraceRecord* example = find(lnk, [](const TraceRecord& r) { return r["lnk_path"].endsWith("example.lnk"); });
    ASSERT_NE(example, nullptr);
    EXPECT_EQ((*example)["target_created"], "2009-07-13T23:29:02.849131+00:00");
    EXPECT_EQ((*example)["target_size"], "544768");
    EXPECT_EQ((*example)["machine_id"], "win-tj9qcsjkags");

    const auto jump = read("windows.jumplists").records;
    const auto automatic = std::count_if(jump.begin(), jump.end(), [](const TraceRecord& r) { return r["jumplist_type"] == "automatic"; });
    EXPECT_EQ(automatic, 7);
    const TraceRecord* downloads = find(jump, [](const TraceRecord& r) { return r["target_path"] == "C:\\Users\\bperry\\Downloads"; });
    ASSERT_NE(downloads, nullptr);
    EXPECT_EQ((*downloads)["last_accessed"], "2015-08-29T15:32:44.034300+00:00");
    EXPECT_EQ((*downloads)["access_count"], "4");
    EXPECT_EQ((*downloads)["application"], "Windows Explorer");

    const auto pf = read("windows.prefetch").records;
    EXPECT_EQ(pf.size(), 4u);
    const TraceRecord* notepad = find(pf, [](const TraceRecord& r) { return r["executable"] == "NOTEPAD.EXE"; });
    ASSERT_NE(notepad, nullptr);  // format 30, compressed
    EXPECT_EQ((*notepad)["run_count"], "2");
    EXPECT_EQ((*notepad)["last_run"], "2019-06-05T19:55:04.877778+00:00");
    EXPECT_EQ((*notepad)["run_2"], "2019-06-05T19:23:00.815705+00:00");
}

TEST_F(RealWindowsVolume, ExecutionFromShimCacheAndAmcache) {
    const auto ran = read("windows.execution").records;
    const TraceRecord* first = find(ran, [](const TraceRecord& r) { return r["mechanism"].startsWith("ShimCache") && r["position"] == "0"; });
    ASSERT_NE(first, nullptr);
    EXPECT_EQ((*first)["mechanism"], "ShimCache (Windows 7, 32-bit)");
    EXPECT_EQ((*first)["path"], "C:\\Program Files\\McAfee\\VirusScan Enterprise\\mfeann.exe");
    EXPECT_EQ((*first)["file_modified"], "2011-01-12T12:08:00.000000+00:00");
    EXPECT_EQ((*first)["executed"], "1");
    const auto shims = std::count_if(ran.begin(), ran.end(), [](const TraceRecord& r) { return r["mechanism"].startsWith("ShimCache"); });
    EXPECT_EQ(shims, 330);
    const TraceRecord* mrt = find(ran, [](const TraceRecord& r) { return r["path"].endsWith("mrtstub.exe"); });
    ASSERT_NE(mrt, nullptr);
    EXPECT_EQ((*mrt)["executed"], "1");
    const auto amcache = std::count_if(ran.begin(), ran.end(), [](const TraceRecord& r) {
        return r["mechanism"] == "Amcache" && r["source_part"].startsWith("Root\\InventoryApplicationFile");
    });
    EXPECT_EQ(amcache, 247);
}

}  // namespace
}  // namespace kestrova

namespace kestrova {
namespace {

// A key's last-written time is repeated by every value of the key: the timeline makes it one
// event a key, and none on a record whose own time says more; the body file never repeats a line.
TEST_F(RealWindowsVolume, AKeysLastWrittenTimeIsOneEventAKeyAndTheBodyFileRepeatsNoLine) {
    QTemporaryDir temp;
    Timeline events(temp.path());
    TraceContext context(*system_, temp.path());
    qint64 records = 0;
    for (const char* kind : {"windows.userassist", "windows.recentdocs", "windows.mru", "windows.shellbags"}) {
        records += runTraceKind(*findTraceKind(kind), context, events);
    }
    QSet<QString> keys;
    qint64 keyEvents = 0;
    bool onDatedRecord = false;
    ASSERT_TRUE(events.drain([&](const TimelineEvent& e) {
        if (std::string_view(e.kind->fields[static_cast<size_t>(e.timeField)].name) != "key_last_written") return true;
        ++keyEvents;
        keys.insert(QString::fromUtf8(e.kind->name) + '|' + QString::fromUtf8(e.from.source) + '|' + QString::fromUtf8(e.from.part));
        for (size_t f = 0; f < e.kind->fields.size(); ++f) {
            onDatedRecord = onDatedRecord || (static_cast<int>(f) != e.timeField && e.kind->fields[f].type == FieldType::Time && !e.values[f].absent());
        }
        return true;
    }));
    EXPECT_GT(keyEvents, 10);
    EXPECT_EQ(keyEvents, keys.size());  // once a key
    EXPECT_FALSE(onDatedRecord);
    EXPECT_LT(keyEvents, records / 4);

    const CliRun body = runCli({"--root", volume_.root(), "timeline", "--format", "body", "--kinds", "windows.userassist,windows.recentdocs,windows.shellbags"});
    ASSERT_EQ(body.exitCode, 0) << body.err.toStdString();
    const QStringList lines = body.out.split('\n', Qt::SkipEmptyParts);
    EXPECT_GT(lines.size(), 200);
    EXPECT_EQ(QSet<QString>(lines.begin(), lines.end()).size(), lines.size());
    for (const QString& line : lines) {
        const QStringList cells = line.split('|');
        ASSERT_EQ(cells.size(), 11) << line.toStdString();
        // Never one moment in all four slots.
        EXPECT_FALSE(cells[7] != "0" && cells[7] == cells[8] && cells[8] == cells[9] && cells[9] == cells[10]) << line.toStdString();
    }
}

}  // namespace
}  // namespace kestrova

namespace kestrova {
namespace {

// A key whose value list hivex refuses (over its limit of 110,000) is a damaged finding naming
// the key, not an empty list: the UserAssist entries of the other key still come.
TEST(RegistryLosses, AValueListHivexRefusesIsADamagedFindingNamingTheKey) {
    const QString root = QStringLiteral("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\UserAssist\\");
    const QString many = root + "{CEBFF5CD-ACE2-4F4F-9178-9926F41749EA}\\Count";
    const QString few = root + "{F4E57C4B-2036-4F4F-9178-9926F41749EA}\\Count";
    tools::HiveBuilder hive;
    QByteArray entry(72, '\0');
    entry[4] = 3;  // run count
    for (int i = 0; i < 3; ++i) hive.binary(many, rot13(QStringLiteral("C:\\p%1.exe").arg(i)), entry);
    hive.binary(few, rot13("C:\\Windows\\notepad.exe"), entry);
    hive.binary(few, rot13("C:\\Windows\\calc.exe"), entry);
    test::TempVolume volume;
    volume.userHive(hive);
    // The key of three values is made to claim 110,001 (its nk cell's value count, at 0x24 from
    // the signature; its name at 0x4C): writing that many takes hivex minutes.
    QFile file(volume.root() + "/Users/alice/NTUSER.DAT");
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    QByteArray bytes = file.readAll();
    bool patched = false;
    for (qsizetype at = bytes.indexOf("nk"); at >= 0 && !patched; at = bytes.indexOf("nk", at + 2)) {
        if (bytes.mid(at + 0x4C, 5) != "Count" || qFromLittleEndian<quint32>(bytes.constData() + at + 0x24) != 3) continue;
        qToLittleEndian<quint32>(110001, bytes.data() + at + 0x24);
        patched = true;
    }
    ASSERT_TRUE(patched);
    file.seek(0);
    file.write(bytes);
    file.close();
    const auto system = volume.open();
    QTemporaryDir temp;
    const TraceCollector got = test::readTraces(*system, {"windows.userassist"}, temp.path());
    EXPECT_EQ(got.records.size(), 2u);
    QStringList said;
    for (const Finding& f : system->findings().all()) said << f.what + ": " + f.why;
    EXPECT_TRUE(std::any_of(said.begin(), said.end(), [&](const QString& s) { return s.contains("NTUSER.DAT") && s.contains(many + ": hivex refuses its values"); }))
        << said.join("\n").toStdString();
}

}  // namespace
}  // namespace kestrova

namespace kestrova {
namespace {

// A customDestinations-ms file cut short says how many of the shortcuts it declares were lost;
// the whole file says nothing and gives every one.
TEST(JumpListLosses, ACutCustomDestinationsFileSaysWhatItLost) {
    REALDATA_OR_SKIP(custom, "shell/5afe4de1b92fc382.customDestinations-ms");
    QFile file(custom);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray whole = file.readAll();
    const QString where = "AppData/Roaming/Microsoft/Windows/Recent/CustomDestinations/5afe4de1b92fc382.customDestinations-ms";
    test::TempVolume volume;
    volume.file("Users/alice/NTUSER.DAT", "x");
    volume.file("Users/alice/" + where, whole);
    volume.file("Users/bob/" + where, whole.left(8000));
    const auto system = volume.open();
    QTemporaryDir temp;
    const TraceCollector got = test::readTraces(*system, {"windows.jumplists"}, temp.path());
    const auto ofUser = [&](const char* user) {
        return std::count_if(got.records.begin(), got.records.end(), [&](const TraceRecord& r) { return r["user"] == user; });
    };
    EXPECT_EQ(ofUser("alice"), 9);
    EXPECT_EQ(ofUser("bob"), 4);
    QStringList said;
    for (const Finding& f : system->findings().all()) said << f.what + ": " + f.why;
    ASSERT_FALSE(said.filter("alice").size()) << said.join("\n").toStdString();
    EXPECT_EQ(said.filter("bob").filter("it declares 9 shortcuts, 4 were read; the file ends inside a category").size(), 1)
        << said.join("\n").toStdString();
}

}  // namespace
}  // namespace kestrova
