// What Windows keeps of itself: the Program Compatibility Assistant's logs (plaso's real ones,
// and the same as Windows writes them, in UTF-16) and scheduled tasks (the 202 real XML
// definitions of a Windows 10 machine and a real .job file, the Task Scheduler's cache in SOFTWARE
// adding the last run), and what a damaged one says; the machine's profile from the shared real
// hives (SYSTEM of Windows 10 1709, a SAM of three accounts, a Software key with its programs and
// Run keys) and from made-up user hives.
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <gtest/gtest.h>

#include "support/temp_volume.h"
#include "support/trace_collector.h"
#include "traces/system/task_files.h"

namespace kestrova {
namespace {

using test::TraceRecord;

QByteArray realFile(const QString& name) {
    QFile f(test::realData(qPrintable(name)));
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

QByteArray utf16le(const QByteArray& ascii) {
    QByteArray out("\xFF\xFE");
    for (const char c : ascii) out.append(c).append('\0');
    return out;
}

TEST(Pca, TheLaunchDictionaryAndTheGeneralLogInAsciiAndUtf16) {
    REALDATA_OR_SKIP(dic, "pca/PcaAppLaunchDic.txt");
    for (const bool wide : {false, true}) {
        SCOPED_TRACE(wide ? "UTF-16LE" : "ASCII");
        test::TempVolume volume;
        const auto put = [&](const char* name) {
            const QByteArray bytes = realFile(QStringLiteral("pca/") + QLatin1String(name));
            volume.file(QStringLiteral("Windows/appcompat/pca/") + QLatin1String(name), wide ? utf16le(bytes) : bytes);
        };
        put("PcaAppLaunchDic.txt");
        put("PcaGeneralDb0.txt");
        const test::KindRead read = test::readKind(*volume.open(), "windows.pca");
        ASSERT_EQ(read.records.size(), 7u) << read.findings.join("\n").toStdString();
        EXPECT_TRUE(read.findings.isEmpty()) << read.findings.join("\n").toStdString();
        EXPECT_EQ(read.records[1]["path"], "C:\\Program Files\\Microsoft VS Code\\Code.exe");
        EXPECT_EQ(read.records[1]["time"], "2023-01-21T04:14:27.856000+00:00");
        EXPECT_EQ(read.records[1]["event"], "launched");
        const TraceRecord& exit = read.records[6];
        EXPECT_EQ(exit["path"], "\\program files\\git\\mingw64\\bin\\git.exe");
        EXPECT_EQ(exit["time"], "2022-11-15T00:00:17.499000+00:00");
        EXPECT_EQ(exit["product"], "git");
        EXPECT_EQ(exit["publisher"], "the git development community");
        EXPECT_EQ(exit["version"], "2.33.0.windows.2");
        EXPECT_EQ(exit["detail"], "Abnormal process exit with code 0x1");
        EXPECT_EQ(exit["event"], "type 2");
    }
    test::TempVolume volume;
    volume.file("Windows/appcompat/pca/PcaAppLaunchDic.txt", "C:\\a.exe|2023-01-21 04:14:27.856\r\nno time here\r\nC:\\b.exe|yesterday\r\n");
    const test::KindRead read = test::readKind(*volume.open(), "windows.pca");
    EXPECT_EQ(read.records.size(), 1u);
    EXPECT_EQ(read.findings.filter("2 lines are not records of its form and were passed over (the first: line 2: \"no time here\")").size(), 1)
        << read.findings.join("\n").toStdString();
}

TEST(Tasks, EveryRealDefinitionWithItsCommandTriggersAndCachedLastRun) {
    REALDATA_OR_SKIP(tasks, "tasks/win10-aptsimulatorvm");
    test::TempVolume volume;
    int files = 0;
    for (QDirIterator it(tasks, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories); it.hasNext();) {
        const QString file = it.next();
        QFile f(file);
        ASSERT_TRUE(f.open(QIODevice::ReadOnly));
        volume.file(QStringLiteral("Windows/System32/Tasks/") + QDir(tasks).relativeFilePath(file), f.readAll());
        ++files;
    }
    ASSERT_EQ(files, 202);
    volume.file("Windows/Tasks/wintask.job", realFile("tasks/wintask.job"));
    // The cache: GameOver cached 2022-03-10 15:59:03 UTC, last run 16:04:00, last success 16:04:01.
    QByteArray dynamicInfo(36, '\0');
    const auto put = [&](int at, uint64_t filetime) { std::memcpy(dynamicInfo.data() + at, &filetime, 8); };
    put(4, 132914015430000000ull);
    put(12, 132914018400000000ull);
    put(28, 132914018410000000ull);
    tools::HiveBuilder software;
    software.sz("Microsoft\\Windows NT\\CurrentVersion\\Schedule\\TaskCache\\Tree\\GameOver", "Id", "{1D2F0E56-0000-4000-8000-000000000001}");
    software.binary("Microsoft\\Windows NT\\CurrentVersion\\Schedule\\TaskCache\\Tasks\\{1D2F0E56-0000-4000-8000-000000000001}", "DynamicInfo", dynamicInfo);
    volume.softwareHive(software);
    const test::KindRead read = test::readKind(*volume.open(), "windows.tasks");
    ASSERT_EQ(read.records.size(), 203u);
    EXPECT_TRUE(read.findings.isEmpty()) << read.findings.join("\n").toStdString();
    const auto task = [&](const QString& path) {
        for (const TraceRecord& r : read.records) {
            if (r["path"] == path) return r;
        }
        return TraceRecord{};
    };
    const TraceRecord gameOver = task("\\GameOver");
    EXPECT_EQ(gameOver["command"], "C:\\TMP\\mim.exe");
    EXPECT_EQ(gameOver["arguments"], "sekurlsa::LogonPasswords > C:\\TMP\\o.txt");
    EXPECT_EQ(gameOver["author"], "DESKTOP-TMKU40H\\TestUser");
    EXPECT_EQ(gameOver["triggers"], "Time from 2022-03-10T15:59:00, repeated every PT5M");
    EXPECT_EQ(gameOver["registered"], "2022-03-10T15:59:03.000000+00:00");  // the sample has no SYSTEM: its zone is taken as UTC
    EXPECT_EQ(gameOver["enabled"], "1");
    EXPECT_EQ(gameOver["cache_created"], "2022-03-10T15:59:03.000000+00:00");
    EXPECT_EQ(gameOver["last_run"], "2022-03-10T16:04:00.000000+00:00");
    EXPECT_EQ(gameOver["last_success"], "2022-03-10T16:04:01.000000+00:00");
    EXPECT_EQ(gameOver["source"], "C:\\Windows\\System32\\Tasks\\GameOver");
    EXPECT_FALSE(task("\\Microsoft\\Windows\\Defrag\\ScheduledDefrag")["command"].isEmpty());
    // plaso's .job: Google Update, daily, last run 2013-08-24 12:42:00.112 (local time, here UTC).
    const TraceRecord job = task("\\wintask");
    EXPECT_EQ(job["format"], ".job");
    EXPECT_EQ(job["command"], "C:\\Program Files (x86)\\Google\\Update\\GoogleUpdate.exe");
    EXPECT_EQ(job["arguments"], "/ua /installsource scheduler");
    EXPECT_EQ(job["author"], "Brian");
    EXPECT_EQ(job["last_run"], "2013-08-24T12:42:00.112000+00:00");
    EXPECT_EQ(job["triggers"], "daily from 2013-07-12T15:42");
    EXPECT_EQ(job["status"], "ready");
}

TEST(Tasks, DefinitionsThatAreNoneSayWhy) {
    QString why;
    // UTF-8 bytes that claim to be UTF-16, as a copy re-encoded by a tool may be.
    EXPECT_FALSE(parseTaskXml("<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n<Task><Actions><Exec><Command>x</Command></Exec></Actions></Task>", &why) &&
                 why.isEmpty());
    EXPECT_FALSE(parseTaskXml("<Task><Actions>", &why));
    EXPECT_TRUE(why.startsWith("not a task definition's XML")) << why.toStdString();
    EXPECT_FALSE(parseTaskXml("<Other/>", &why));
    EXPECT_EQ(why, "its XML holds no Task element");
    const auto plain = parseTaskXml("<Task><Actions><Exec><Command>a.exe</Command></Exec><ComHandler><ClassId>{X}</ClassId></ComHandler></Actions></Task>", &why);
    ASSERT_TRUE(plain);
    EXPECT_EQ(plain->command, "a.exe");
    EXPECT_EQ(plain->arguments, " (then: COM handler {X})");

    QByteArray job = realFile("tasks/wintask.job");
    if (job.isEmpty()) return;
    job[0x46] = char(0xFF);  // the application name's length runs past the file
    job[0x47] = char(0x7F);
    EXPECT_FALSE(parseJobFile(job, &why));
    EXPECT_TRUE(why.contains("runs past its 896 bytes")) << why.toStdString();
    EXPECT_FALSE(parseJobFile(QByteArray(20, '\0'), &why));
    EXPECT_EQ(why, "it holds 20 bytes, fewer than a .job file's fixed part");
}

// -- the machine's profile from its hives --------------------------------------------------------

// A volume with the shared machine hives: Windows 10 1709's SYSTEM, the SAM of three accounts,
// and the Software key of a user's hive as the machine's SOFTWARE (its root holds the same keys).
std::unique_ptr<test::TempVolume> profileVolume() {
    auto volume = std::make_unique<test::TempVolume>();
    volume->file("Windows/System32/config/SYSTEM", realFile("registry/SYSTEM_WIN_10_1709"));
    volume->file("Windows/System32/config/SAM", realFile("registry/SAM"));
    volume->file("Windows/System32/config/SOFTWARE", realFile("registry/ntuser_software_partial"));
    tools::HiveBuilder alice;
    alice.sz("Software\\Microsoft\\Windows\\CurrentVersion\\Run", "updater", "C:\\Users\\alice\\AppData\\Roaming\\u.exe -quiet");
    alice.sz("Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\tool", "DisplayName", "A Tool");
    alice.sz("Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\tool", "InstallDate", "20240229");
    alice.sz("Software\\Microsoft\\Terminal Server Client\\Default", "MRU0", "10.0.0.5");
    alice.sz("Software\\Microsoft\\Terminal Server Client\\Default", "MRU1", "jump.example");
    alice.sz("Software\\Microsoft\\Terminal Server Client\\Servers\\10.0.0.5", "UsernameHint", "CORP\\admin");
    alice.sz("Software\\Microsoft\\Terminal Server Client\\Servers\\old.example", "UsernameHint", "bob");
    alice.sz("Network\\Z", "RemotePath", "\\\\fileserver\\projects");
    alice.key("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\MountPoints2\\##fileserver#projects");
    volume->userHive(alice);
    volume->file("Users/alice/AppData/Roaming/Microsoft/Windows/Start Menu/Programs/Startup/agent.lnk", "L");
    return volume;
}

const TraceRecord* find(const std::vector<TraceRecord>& records, const char* field, const QString& value) {
    for (const TraceRecord& r : records) {
        if (r[field] == value) return &r;
    }
    return nullptr;
}

TEST(SystemProfile, TheMachineItsAccountsProgramsAndAutostartsFromRealHives) {
    REALDATA_OR_SKIP(system, "registry/SYSTEM_WIN_10_1709");
    const auto volume = profileVolume();
    const auto opened = volume->open();

    // SYSTEM: ComputerName, the zone in force, ShutdownTime (hivexsh: ef,69,d4,20,2a,16,d6,01).
    const test::KindRead machine = test::readKind(*opened, "windows.system");
    ASSERT_EQ(machine.records.size(), 1u);
    EXPECT_EQ(machine.records[0]["computer_name"], "DESKTOP-2KGM189");
    EXPECT_EQ(machine.records[0]["time_zone"], "Pacific Standard Time, UTC-07:00");
    EXPECT_EQ(machine.records[0]["last_shutdown"], "2020-04-19T09:08:44.923748+00:00");
    EXPECT_EQ(machine.records[0]["control_set"], "ControlSet001");

    // SAM: Administrator, Guest and Preston, their F values as hivexsh shows them.
    const test::KindRead accounts = test::readKind(*opened, "windows.accounts.local");
    ASSERT_EQ(accounts.records.size(), 3u) << accounts.findings.join("\n").toStdString();
    const TraceRecord* preston = find(accounts.records, "name", "Preston");
    ASSERT_NE(preston, nullptr);
    EXPECT_EQ((*preston)["rid"], "1000");
    EXPECT_EQ((*preston)["sid"], "S-1-5-21-1760460187-1592185332-161725925-1000");
    EXPECT_EQ((*preston)["last_logon"], "2014-09-30T02:59:34.316692+00:00");
    EXPECT_EQ((*preston)["password_set"], "2014-09-24T03:35:45.844801+00:00");
    EXPECT_EQ((*preston)["created"], "2014-09-24T03:35:45.127200+00:00");
    EXPECT_EQ((*preston)["logon_count"], "4");
    EXPECT_EQ((*preston)["disabled"], "0");
    const TraceRecord* administrator = find(accounts.records, "rid", "500");
    ASSERT_NE(administrator, nullptr);
    EXPECT_EQ((*administrator)["name"], "Administrator");
    EXPECT_EQ((*administrator)["disabled"], "1");
    EXPECT_EQ((*administrator)["flags"], "disabled, normal, password never expires");

    const test::KindRead programs = test::readKind(*opened, "windows.programs");
    const TraceRecord* kraken = find(programs.records, "name", "GitKraken");
    ASSERT_NE(kraken, nullptr);
    EXPECT_EQ((*kraken)["version"], "5.0.4");
    EXPECT_EQ((*kraken)["publisher"], "Axosoft, LLC");
    EXPECT_EQ((*kraken)["install_date"], "2019-04-10T00:00:00.000000+00:00");
    EXPECT_EQ((*kraken)["scope"], "machine");
    const TraceRecord* tool = find(programs.records, "name", "A Tool");
    ASSERT_NE(tool, nullptr);
    EXPECT_EQ((*tool)["scope"], "user");
    EXPECT_EQ((*tool)["user"], "alice");
    EXPECT_EQ((*tool)["install_date"], "2024-02-29T00:00:00.000000+00:00");

    const test::KindRead autoruns = test::readKind(*opened, "windows.autoruns");
    const TraceRecord* onedrive = find(autoruns.records, "name", "OneDrive");
    ASSERT_NE(onedrive, nullptr);
    EXPECT_EQ((*onedrive)["type"], "Run");
    EXPECT_EQ((*onedrive)["location"], "HKLM\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run");
    const TraceRecord* defender = find(autoruns.records, "name", "WinDefend");
    ASSERT_NE(defender, nullptr);
    EXPECT_EQ((*defender)["type"], "service");
    EXPECT_EQ((*defender)["start"], "automatic");
    EXPECT_EQ((*defender)["account"], "LocalSystem");
    EXPECT_EQ((*find(autoruns.records, "name", "disk"))["type"], "driver");
    const TraceRecord* updater = find(autoruns.records, "name", "updater");
    ASSERT_NE(updater, nullptr);
    EXPECT_EQ((*updater)["location"], "HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Run");
    EXPECT_EQ((*updater)["user"], "alice");
    const TraceRecord* agent = find(autoruns.records, "name", "agent.lnk");
    ASSERT_NE(agent, nullptr);
    EXPECT_EQ((*agent)["type"], "Startup folder");
}

TEST(SystemProfile, AnAccountWhoseValuesAreCutSaysWhatIsNotKnown) {
    test::TempVolume volume;
    tools::HiveBuilder sam;
    sam.binary("SAM\\Domains\\Account\\Users\\000003E9", "F", QByteArray(20, '\0'));
    sam.binary("SAM\\Domains\\Account\\Users\\000003E9", "V", QByteArray(8, '\x7F'));
    QTemporaryDir dir;
    QString error;
    ASSERT_TRUE(sam.write(dir.filePath("SAM"), &error)) << error.toStdString();
    QFile f(dir.filePath("SAM"));
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    volume.file("Windows/System32/config/SAM", f.readAll());
    const test::KindRead read = test::readKind(*volume.open(), "windows.accounts.local");
    ASSERT_EQ(read.records.size(), 1u);
    EXPECT_EQ(read.records[0]["rid"], "1001");
    EXPECT_EQ(read.findings.filter("its F value is missing or shorter than 68 bytes").size(), 1) << read.findings.join("\n").toStdString();
}

// Every kind's own field names stay apart from the columns every output adds (a JSON object with
// "kind" twice is read as either), and from each other.
TEST(TraceKinds, FieldNamesNeverRepeatAnOutputColumn) {
    const QStringList reserved{"kind", "user", "browser", "profile", "hostname", "host", "source", "source_part", "snapshot", "seen_in",
                               "snapshot_note", "datetime", "timestamp", "timestamp_desc", "message", "fields"};
    for (const TraceKind& kind : traceKinds()) {
        QStringList seen;
        for (const FieldSpec& field : kind.fields) {
            const QString name = QLatin1String(field.name);
            EXPECT_FALSE(reserved.contains(name)) << kind.name << " has a field named " << field.name;
            EXPECT_FALSE(seen.contains(name)) << kind.name << " has two fields named " << field.name;
            seen << name;
        }
    }
}

TEST(SystemProfile, NetworksRemoteDesktopAndMountPoints) {
    REALDATA_OR_SKIP(system, "registry/SYSTEM_WIN_10_1709");
    const auto volume = profileVolume();
    const auto opened = volume->open();
    // The interface with a DHCP lease, as hivexsh shows it (LeaseObtainedTime 0x5ea275dc).
    const test::KindRead network = test::readKind(*opened, "windows.network");
    const TraceRecord* lease = find(network.records, "address", "192.168.146.128");
    ASSERT_NE(lease, nullptr) << network.findings.join("\n").toStdString();
    EXPECT_EQ((*lease)["type"], "interface");
    EXPECT_EQ((*lease)["gateway"], "192.168.146.2");
    EXPECT_EQ((*lease)["dhcp_server"], "192.168.146.254");
    EXPECT_EQ((*lease)["domain"], "localdomain");
    EXPECT_EQ((*lease)["lease_obtained"], "2020-04-24T05:15:08.000000+00:00");
    const TraceRecord* drive = find(network.records, "name", "Z:");
    ASSERT_NE(drive, nullptr);
    EXPECT_EQ((*drive)["address"], "\\\\fileserver\\projects");
    EXPECT_EQ((*drive)["user"], "alice");

    const test::KindRead rdp = test::readKind(*opened, "windows.rdp.client");
    ASSERT_EQ(rdp.records.size(), 3u);
    EXPECT_EQ(rdp.records[0]["server"], "10.0.0.5");
    EXPECT_EQ(rdp.records[0]["mru_position"], "0");
    EXPECT_EQ(rdp.records[0]["username_hint"], "CORP\\admin");
    EXPECT_EQ(rdp.records[1]["server"], "jump.example");
    EXPECT_EQ(rdp.records[2]["server"], "old.example");  // only the Servers key names it
    EXPECT_EQ(rdp.records[2]["mru_position"], "");

    const test::KindRead mounts = test::readKind(*opened, "windows.mountpoints");
    const TraceRecord* share = find(mounts.records, "name", "##fileserver#projects");
    ASSERT_NE(share, nullptr);
    EXPECT_EQ((*share)["type"], "network share");
    const TraceRecord* c = find(mounts.records, "name", "\\DosDevices\\C:");
    ASSERT_NE(c, nullptr);
    EXPECT_EQ((*c)["device"], "disk signature df4546ae, offset 525336576");
}

// Office's recent files and places of every version and application, with the time each was last
// opened ([T…]), and those of an Office 365 account (User MRU).
TEST(OfficeMru, EveryVersionsFilesAndPlacesWithWhenTheyWereOpened) {
    test::TempVolume volume;
    tools::HiveBuilder alice;
    alice.sz("Software\\Microsoft\\Office\\16.0\\Word\\User MRU\\ADAL_1234\\File MRU", "Item 1",
             "[F00000000][T01D7B7E3D3A7C000][O00000000]*C:\\Users\\alice\\Documents\\report.docx");
    alice.sz("Software\\Microsoft\\Office\\16.0\\Word\\User MRU\\ADAL_1234\\File MRU", "Item 2",
             "[F00000000][T01D7B000D3A7C000][O00000000]*C:\\Users\\alice\\Documents\\older.docx");
    alice.sz("Software\\Microsoft\\Office\\15.0\\Excel\\Place MRU", "Item 1", "[F00000000][T01D0000000000000][O00000000]*C:\\Finance\\");
    alice.sz("Software\\Microsoft\\Office\\12.0\\PowerPoint\\File MRU", "Item 1", "C:\\Talks\\plan.pptx");
    alice.sz("Software\\Microsoft\\Office\\Common", "Ignored", "not a version");
    volume.userHive(alice);
    const test::KindRead read = test::readKind(*volume.open(), "windows.mru");
    std::vector<TraceRecord> office;
    std::copy_if(read.records.begin(), read.records.end(), std::back_inserter(office), [](const TraceRecord& r) { return r["list"].startsWith("Office"); });
    ASSERT_EQ(office.size(), 4u) << read.findings.join("\n").toStdString();
    const TraceRecord* report = find(office, "entry", "C:\\Users\\alice\\Documents\\report.docx");
    ASSERT_NE(report, nullptr);
    EXPECT_EQ((*report)["list"], "Office File MRU");
    EXPECT_EQ((*report)["subkey"], "Word 16.0");
    EXPECT_EQ((*report)["program"], "Word");
    EXPECT_EQ((*report)["position"], "0");
    EXPECT_EQ((*report)["opened"], "2021-10-02T23:18:36.716441+00:00");  // 0x01D7B7E3D3A7C000
    EXPECT_EQ((*find(office, "entry", "C:\\Finance\\"))["list"], "Office Place MRU");
    const TraceRecord* plan = find(office, "entry", "C:\\Talks\\plan.pptx");  // Office 2007: the path alone
    ASSERT_NE(plan, nullptr);
    EXPECT_EQ((*plan)["opened"], "");
}

}  // namespace
}  // namespace kestrova
