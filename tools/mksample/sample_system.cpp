#include "mksample/sample_system.h"

#include <QDir>
#include <QFile>
#include <utility>

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
        hive.sz(kShellFolders, QLatin1String(name), QString::fromLatin1(path).arg(profile));
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

bool makeProfileFolders(const QString& root, const QString& user) {
    const QString profile = root + QStringLiteral("/Users/") + user;
    bool ok = true;
    for (const auto& [name, path] : kWin7ShellFolders) {
        QString local = QString::fromLatin1(path).arg(profile);
        if (local.startsWith(QLatin1String("C:\\"))) local = root + QLatin1Char('/') + local.mid(3);
        ok = QDir().mkpath(local.replace(QLatin1Char('\\'), QLatin1Char('/'))) && ok;
    }
    return ok;
}

bool writeSampleSystem(const QString& dir, QString* error) {
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

    QString why;
    if (!sampleUserHive().write(root + QStringLiteral("/Users/alice/NTUSER.DAT"), &why) ||
        !HiveBuilder().key(QStringLiteral("Software")).write(root + QStringLiteral("/Users/Default/NTUSER.DAT"), &why) ||
        !sampleSystemHive().write(config + QStringLiteral("/SYSTEM"), &why) ||
        !sampleSoftwareHive().write(config + QStringLiteral("/SOFTWARE"), &why)) {
        return fail(why);
    }
    if (!writeFile(root + QLatin1Char('/') + kSampleMarker,
                   "Generated by kestrova-mksample; safe to delete and regenerate.\n")) {
        return fail(QStringLiteral("cannot write the marker file"));
    }
    return true;
}

}  // namespace kestrova::tools
