#include "mksample/sample_system.h"

#include <QDir>
#include <QFile>
#include <utility>

#include "mksample/shell_items.h"
#include "msiecf/cache_file_writer.h"
#include "browsers/browser_data.h"

namespace kestrova::tools {
namespace {

const QString kShellFolders =
    QStringLiteral("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders");

// The Shell Folders values of a Windows 7 profile, in the order a real hive holds them (observed
// in a real Windows 7 NTUSER.DAT). "%1" is the profile folder.
const std::pair<const char*, const char*> kWin7ShellFolders[] = {
    {"AppData", "%1\\AppData\\Roaming"},
    {"Local AppData", "%1\\AppData\\Local"},
    {"My Video", "%1\\Videos"},
    {"My Pictures", "%1\\Pictures"},
    {"Desktop", "%1\\Desktop"},
    {"History", "%1\\AppData\\Local\\Microsoft\\Windows\\History"},
    {"NetHood", "%1\\AppData\\Roaming\\Microsoft\\Windows\\Network Shortcuts"},
    {"Cookies", "%1\\AppData\\Roaming\\Microsoft\\Windows\\Cookies"},
    {"Favorites", "%1\\Favorites"},
    {"SendTo", "%1\\AppData\\Roaming\\Microsoft\\Windows\\SendTo"},
    {"Start Menu", "%1\\AppData\\Roaming\\Microsoft\\Windows\\Start Menu"},
    {"My Music", "%1\\Music"},
    {"Programs", "%1\\AppData\\Roaming\\Microsoft\\Windows\\Start Menu\\Programs"},
    {"Recent", "%1\\AppData\\Roaming\\Microsoft\\Windows\\Recent"},
    {"PrintHood", "%1\\AppData\\Roaming\\Microsoft\\Windows\\Printer Shortcuts"},
    {"Startup", "%1\\AppData\\Roaming\\Microsoft\\Windows\\Start Menu\\Programs\\Startup"},
    {"Personal", "%1\\Documents"},
    {"Cache", "%1\\AppData\\Local\\Microsoft\\Windows\\Temporary Internet Files"},
    {"Templates", "%1\\AppData\\Roaming\\Microsoft\\Windows\\Templates"},
    {"Fonts", "C:\\Windows\\Fonts"},
};

bool writeFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

}  // namespace

HiveBuilder sampleUserHive(const QString& user) {
    HiveBuilder hive;
    const QString profile = QStringLiteral("C:\\Users\\") + user;
    for (const auto& [name, path] : kWin7ShellFolders) {
        hive.sz(kShellFolders, QLatin1String(name), QString::fromLatin1(path).replace(QLatin1String("%1"), profile));
    }
    hive.key(QStringLiteral("Software\\Microsoft\\Internet Explorer\\Main"));
    return hive;
}

HiveBuilder sampleSystemHive() {
    HiveBuilder hive;
    hive.dword(QStringLiteral("Select"), QStringLiteral("Current"), 1)
        .dword(QStringLiteral("Select"), QStringLiteral("Default"), 1)
        .dword(QStringLiteral("Select"), QStringLiteral("Failed"), 0)
        .dword(QStringLiteral("Select"), QStringLiteral("LastKnownGood"), 2);
    for (const QString& set : {QStringLiteral("ControlSet001"), QStringLiteral("ControlSet002")}) {
        hive.sz(set + QStringLiteral("\\Control\\ComputerName\\ComputerName"),
                QStringLiteral("ComputerName"), kSampleComputer);
        hive.sz(set + QStringLiteral("\\Control\\Nls\\Language"), QStringLiteral("Default"),
                QStringLiteral("0409"));
        hive.sz(set + QStringLiteral("\\Control\\Nls\\Language"), QStringLiteral("InstallLanguage"),
                QStringLiteral("0409"));
    }
    return hive;
}

HiveBuilder sampleSoftwareHive() {
    HiveBuilder hive;
    const QString cv = QStringLiteral("Microsoft\\Windows NT\\CurrentVersion");
    hive.sz(cv, QStringLiteral("CurrentVersion"), QStringLiteral("6.1"))
        .sz(cv, QStringLiteral("CurrentBuild"), QStringLiteral("7601"))
        .sz(cv, QStringLiteral("ProductName"), QStringLiteral("Windows 7 Professional"))
        .sz(cv, QStringLiteral("CSDVersion"), QStringLiteral("Service Pack 1"))
        .sz(cv, QStringLiteral("SystemRoot"), QStringLiteral("C:\\Windows"))
        .sz(cv, QStringLiteral("RegisteredOwner"), kSampleUser);
    return hive;
}

void addWindowsHistory(HiveBuilder& hive, const QString& user) {
    const QString explorer = QStringLiteral("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\");
    const QString profile = QStringLiteral("C:\\Users\\") + user;
    const QString docs = profile + QStringLiteral("\\Documents");

    const QString run = explorer + QStringLiteral("RunMRU");
    hive.sz(run, QStringLiteral("a"), QStringLiteral("cmd\\1"))
        .sz(run, QStringLiteral("b"), QStringLiteral("notepad ") + docs + QStringLiteral("\\todo.txt\\1"))
        .sz(run, QStringLiteral("c"), QStringLiteral("\\\\fileserver\\projects\\1"))
        .sz(run, QStringLiteral("MRUList"), QStringLiteral("cab"));

    const QString typedUrls = QStringLiteral("Software\\Microsoft\\Internet Explorer\\TypedURLs");
    const char* urls[] = {"http://www.example.com/", "http://intranet.corp.example/timesheets/",
                          "https://mail.example.org/", "kestrova.example"};
    for (int i = 0; i < 4; ++i) hive.sz(typedUrls, QStringLiteral("url%1").arg(i + 1), QLatin1String(urls[i]));

    const QString typedPaths = explorer + QStringLiteral("TypedPaths");
    hive.sz(typedPaths, QStringLiteral("url1"), docs + QStringLiteral("\\Budget"))
        .sz(typedPaths, QStringLiteral("url2"), QStringLiteral("\\\\fileserver\\projects"));

    const QString wordWheel = explorer + QStringLiteral("WordWheelQuery");
    hive.binary(wordWheel, QStringLiteral("MRUListEx"), QByteArray::fromHex("01000000" "00000000" "ffffffff"))
        .binary(wordWheel, QStringLiteral("0"), utf16z(QStringLiteral("budget")))
        .binary(wordWheel, QStringLiteral("1"), utf16z(QStringLiteral("holiday photos")));
    // A profile carried over from XP keeps its Search Assistant list.
    hive.sz(QStringLiteral("Software\\Microsoft\\Search Assistant\\ACMru\\5603"), QStringLiteral("000"),
            QStringLiteral("*.xls"));

    const QString openSave = explorer + QStringLiteral("ComDlg32\\OpenSavePidlMRU\\");
    const std::pair<const char*, QStringList> files[] = {
        {"docx", {docs + QStringLiteral("\\Quarterly report.docx"), docs + QStringLiteral("\\letter.docx")}},
        {"jpg", {profile + QStringLiteral("\\Pictures\\beach.jpg")}},
        {"xlsx", {docs + QStringLiteral("\\Budget\\budget-2012.xlsx")}},
    };
    int all = 0;
    for (const auto& [ext, paths] : files) {
        QByteArray order;
        for (int i = 0; i < paths.size(); ++i) {
            hive.binary(openSave + QLatin1String(ext), QString::number(i), openSaveValue(paths[i]));
            hive.binary(openSave + QStringLiteral("*"), QString::number(all++), openSaveValue(paths[i]));
            order += QByteArray::fromHex(QByteArray::number(i, 16).rightJustified(2, '0') + "000000");
        }
        hive.binary(openSave + QLatin1String(ext), QStringLiteral("MRUListEx"), order + QByteArray::fromHex("ffffffff"));
    }
    hive.binary(openSave + QStringLiteral("*"), QStringLiteral("MRUListEx"),
                QByteArray::fromHex("00000000010000000200000003000000ffffffff"));

    const QString lastVisited = explorer + QStringLiteral("ComDlg32\\LastVisitedPidlMRU");
    hive.binary(lastVisited, QStringLiteral("MRUListEx"), QByteArray::fromHex("010000000000000002000000ffffffff"))
        .binary(lastVisited, QStringLiteral("0"), programAndFolderValue(QStringLiteral("WINWORD.EXE"), docs))
        .binary(lastVisited, QStringLiteral("1"),
                programAndFolderValue(QStringLiteral("EXCEL.EXE"), docs + QStringLiteral("\\Budget")))
        .binary(lastVisited, QStringLiteral("2"),
                programAndFolderValue(QStringLiteral("mspaint.exe"), profile + QStringLiteral("\\Pictures")));

    const QString firstFolder = explorer + QStringLiteral("ComDlg32\\FirstFolder");
    hive.binary(firstFolder, QStringLiteral("MRUListEx"), QByteArray::fromHex("00000000ffffffff"))
        .binary(firstFolder, QStringLiteral("0"),
                programAndFolderValue(QStringLiteral("C:\\Program Files\\Microsoft Office\\Office14\\WINWORD.EXE"), docs));
}

void addUsbDevices(HiveBuilder& hive) {
    for (const QString& set : {QStringLiteral("ControlSet001"), QStringLiteral("ControlSet002")}) {
        const QString usb = set + QStringLiteral("\\Enum\\USBSTOR\\");
        hive.sz(usb + QStringLiteral("Disk&Ven_SanDisk&Prod_Cruzer_Blade&Rev_1.26\\4C530001230516117385&0"),
                QStringLiteral("FriendlyName"), QStringLiteral("SanDisk Cruzer Blade USB Device"))
            .sz(usb + QStringLiteral("Disk&Ven_Kingston&Prod_DataTraveler_3.0&Rev_PMAP\\60A44C3FAE2DBF91A9A701D5&0"),
                QStringLiteral("FriendlyName"), QStringLiteral("Kingston DataTraveler 3.0 USB Device"))
            // An instance whose driver never finished installing has no FriendlyName.
            .sz(usb + QStringLiteral("Disk&Ven_Kingston&Prod_DataTraveler_3.0&Rev_PMAP\\7C9A1E2B00000001&0"),
                QStringLiteral("DeviceDesc"), QStringLiteral("@disk.inf,%disk_devdesc%;Disk drive"));
    }
}

bool addRecentItems(const QString& root, const QString& user) {
    const QString recent = root + QStringLiteral("/Users/") + user + QStringLiteral("/AppData/Roaming/Microsoft/Windows/Recent/");
    // A shell link starts with its header size and class id; the readers never look inside.
    const QByteArray link = QByteArray::fromHex("4c0000000114020000000000c000000000000046");
    bool ok = true;
    for (const char* name : {"Quarterly report.docx.lnk", "budget-2012.xlsx.lnk", "Budget.lnk", "beach.jpg.lnk"}) {
        ok = writeFile(recent + QLatin1String(name), link) && ok;
    }
    ok = writeFile(recent + QStringLiteral("index.dat"), QByteArray("Client UrlCache MMF Ver 5.2")) && ok;
    ok = QDir().mkpath(recent + QStringLiteral("AutomaticDestinations")) && ok;
    ok = writeFile(recent + QStringLiteral("AutomaticDestinations/1b4dd67f29cb1962.automaticDestinations-ms"), "x") && ok;
    return ok;
}

bool addCookies(const QString& root, const QString& user) {
    const QString cookies = root + QStringLiteral("/Users/") + user + QStringLiteral("/AppData/Roaming/Microsoft/Windows/Cookies/");
    // A cookie text file: name, value, site and path, flags, expiry and creation times, "*",
    // each on a line ended by a line feed alone.
    const auto cookie = [](const char* name, const char* value, const char* site) {
        return QByteArray(name) + '\n' + value + '\n' + site + "\n1024\n2884458496\n31111961\n3562035072\n30258711\n*\n";
    };
    bool ok = true;
    ok = writeFile(cookies + QStringLiteral("alice@example[1].txt"), cookie("id", "a1b2", "example.com/")) && ok;
    ok = writeFile(cookies + QStringLiteral("alice@intranet.corp[2].txt"), cookie("SESSION", "77", "intranet.corp.example/")) && ok;
    ok = writeFile(cookies + QStringLiteral("Q7A2YH1M.txt"), cookie("MUID", "3F2A", "bing.com/")) && ok;
    ok = writeFile(cookies + QStringLiteral("index.dat"), QByteArray("Client UrlCache MMF Ver 5.2")) && ok;
    ok = writeFile(cookies + QStringLiteral("desktop.ini"), QByteArray("[.ShellClassInfo]\r\n")) && ok;
    ok = writeFile(cookies + QStringLiteral("Low/alice@ads.example[1].txt"), cookie("track", "9", "ads.example/")) && ok;
    ok = writeFile(cookies + QStringLiteral("Low/8WQ3B0XZ.txt"), cookie("pref", "dark", "mail.example.org/inbox/")) && ok;
    return ok;
}

bool addInternetExplorerCaches(const QString& root, const QString& user) {
    const QString local = root + QStringLiteral("/Users/") + user + QStringLiteral("/AppData/Local/Microsoft/Windows/");
    const QByteArray visited = "Visited: " + user.toLatin1() + '@';
    const auto visit = [&](const char* url, const char* title, int day, int hour, int minute) {
        CacheUrl entry;
        entry.location = visited + url;
        entry.title = QString::fromUtf8(title);
        entry.primaryTime = entry.secondaryTime = fileTimeOf(2026, 11, day, hour, minute, 12);
        entry.expiryFat = fatTimeOf(2026, 12, day, hour, minute, 12);
        entry.lastCheckedFat = fatTimeOf(2026, 11, day, hour, minute, 14);
        return entry;
    };
    CacheFile history;
    history.urls = {
        visit("http://www.example.com/", "Example Domain", 2, 9, 14),
        visit("https://mail.example.org/", "Inbox (3) - Example Mail", 2, 9, 20),
        visit("file:///C:/Users/alice/Documents/Budget/budget-2012.xlsx", "", 3, 10, 2),
        visit("http://intranet.corp.example/timesheets/", "Timesheets <week 45> & overtime", 4, 16, 45),
        visit("ftp://ftp.example.net/pub/", "", 5, 8, 1),
        visit("http://www.kestrova.example/download/", "", 5, 8, 30),
    };
    CacheFile content;
    content.directories = {"ENG3X4ZR", "5ZBG4UOD", "5F9C7HL9", "F4MAMNDH"};
    const auto cached = [](const char* url, const char* file, uint8_t directory, int day, int minute) {
        CacheUrl entry;
        entry.location = url;
        entry.fileName = file;
        entry.cacheDirectory = directory;
        entry.cachedSize = 4096;
        entry.primaryTime = entry.secondaryTime = fileTimeOf(2026, 11, day, 9, minute, 0);
        entry.expiryFat = fatTimeOf(2026, 12, day, 9, minute, 0);
        entry.headers = "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\n\r\n~U:alice\r\n";
        return entry;
    };
    content.urls = {
        cached("http://www.example.com/", "index[1].htm", 0, 2, 14),
        cached("http://www.example.com/logo.png", "logo[1].png", 1, 2, 14),
        cached("https://mail.example.org/static/app.js", "app[1].js", 2, 2, 20),
        cached("http://intranet.corp.example/timesheets/week45.pdf", "week45[1].pdf", 3, 4, 46),
    };
    return writeFile(local + QStringLiteral("History/History.IE5/index.dat"), writeCacheFile(history)) &&
           writeFile(local + QStringLiteral("Temporary Internet Files/Content.IE5/index.dat"), writeCacheFile(content));
}

bool makeProfileFolders(const QString& root, const QString& user) {
    const QString profile = root + QStringLiteral("/Users/") + user;
    bool ok = true;
    for (const auto& [name, path] : kWin7ShellFolders) {
        QString local = QString::fromLatin1(path).replace(QLatin1String("%1"), profile);
        if (local.startsWith(QLatin1String("C:\\"))) local = root + QLatin1Char('/') + local.mid(3);
        ok = QDir().mkpath(local.replace(QLatin1Char('\\'), QLatin1Char('/'))) && ok;
    }
    return ok;
}

bool writeSampleSystem(const QString& dir, QString* error, const BrowserDataOptions& options) {
    auto fail = [error](const QString& why) {
        if (error) *error = why;
        return false;
    };
    QDir target(dir);
    if (target.exists() && !target.isEmpty()) {
        if (!QFile::exists(target.filePath(kSampleMarker))) {
            return fail(QStringLiteral("%1 is not empty and not a sample system; not touching it").arg(dir));
        }
        if (!target.removeRecursively()) return fail(QStringLiteral("cannot clear %1").arg(dir));
    }
    const QString root = QDir(dir).absolutePath();
    const QString config = root + QStringLiteral("/Windows/System32/config");
    if (!QDir().mkpath(config) || !makeProfileFolders(root, kSampleUser)) {
        return fail(QStringLiteral("cannot create folders under %1").arg(root));
    }
    // A real Windows 7 volume also has the Default profile with its own hive; it must not be
    // taken for the user when nobody is named.
    QDir().mkpath(root + QStringLiteral("/Users/Default"));
    QDir().mkpath(root + QStringLiteral("/Users/Public/Documents"));

    HiveBuilder user = sampleUserHive();
    addWindowsHistory(user);
    HiveBuilder system = sampleSystemHive();
    addUsbDevices(system);
    QString why;
    if (!user.write(root + QStringLiteral("/Users/alice/NTUSER.DAT"), &why) ||
        !HiveBuilder().key(QStringLiteral("Software")).write(root + QStringLiteral("/Users/Default/NTUSER.DAT"), &why) ||
        !system.write(config + QStringLiteral("/SYSTEM"), &why) ||
        !sampleSoftwareHive().write(config + QStringLiteral("/SOFTWARE"), &why)) {
        return fail(why);
    }
    if (!addRecentItems(root)) return fail(QStringLiteral("cannot write the Recent folder"));
    if (!addCookies(root)) return fail(QStringLiteral("cannot write the cookie folder"));
    if (!addInternetExplorerCaches(root)) return fail(QStringLiteral("cannot write the Internet Explorer caches"));
    if (!writeFirefoxProfile(root, kSampleUser, options, &why) || !writeChromeProfile(root, kSampleUser, options, &why) ||
        !writeOperaHistory(root, kSampleUser, &why)) {
        return fail(why);
    }
    if (!writeFile(root + QLatin1Char('/') + kSampleMarker,
                   "Generated by kestrova-mksample; safe to delete and regenerate.\n")) {
        return fail(QStringLiteral("cannot write the marker file"));
    }
    return true;
}

}  // namespace kestrova::tools
