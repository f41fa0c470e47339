#include "core/settings/os_api.h"

#include <array>

#include "core/time/mod_time_stamp.h"

namespace kestrova {
namespace {

constexpr int kNameBuffer = 255;
constexpr int kSpecialFolderBuffer = 200;

}  // namespace

QString withBackslash(const QString& folder) {
    return folder.endsWith(QLatin1Char('\\')) ? folder : folder + QLatin1Char('\\');
}

QString OsApi::ComputerName() const {
    return ModTimeStamp::TrimAtNull(system_.computerName()).left(kNameBuffer - 1);
}

QString OsApi::UserName() const {
    const QString name = system_.profileName().left(kNameBuffer - 1);
    if (name.isEmpty()) return QString();
    // The length the system reports counts the terminating NUL, and that many characters are
    // taken: the name keeps one NUL at its end. The report header shows it so; kept.
    return name + QChar(0);
}

QString OsApi::WindowsFolder() const {
    return withBackslash(system_.windowsDirectory());
}

QString OsApi::VersionTagFor(const std::optional<VersionRecord>& record) {
    if (!record) return QStringLiteral("Failed");
    const auto [platform, major, minor] = *record;
    if (platform == 1) {
        if (minor == 0) return QStringLiteral("95");
        if (minor == 10 || minor == 90) return QStringLiteral("98");  // Me shares "98"
        return QString();
    }
    if (platform == 2) {
        switch (major) {
            case 3: return QStringLiteral("Windows NT 3.51");
            case 4: return QStringLiteral("98");  // NT 4 shares "98" on purpose
            case 5:
                if (minor == 0) return QStringLiteral("2000");
                if (minor == 1) return QStringLiteral("xp");
                return QString();
            case 6: return QStringLiteral("Vista");  // Vista, 7, 8 and all later systems
            default: return QString();
        }
    }
    return QStringLiteral("Failed");
}

QString OsApi::WindowsVersionTag() const {
    return VersionTagFor(system_.versionRecord());
}

QString OsApi::SpecialFolder(int id) const {
    static constexpr std::array kShellIds{0, 2, 5, 6, 7, 8, 9, 11, 19, 20, 21,
                                          22, 23, 24, 25, 26, 27, 32, 33, 34, 38};
    QString folder;
    QChar separator = QLatin1Char('/');
    if (std::find(kShellIds.begin(), kShellIds.end(), id) != kShellIds.end()) {
        // The folders the program itself uses live on the local desktop; the Windows-only ones
        // (start menu, fonts, send-to, ...) have no counterpart here and come back empty.
        switch (id) {
            case 0: folder = desktop_.desktopFolder(); break;
            case 5: folder = desktop_.documentsFolder(); break;
            case 26: folder = desktop_.appDataFolder(); break;
            default: break;
        }
    } else if (id == 36 || id == 37) {
        folder = id == 36 ? system_.windowsDirectory() : system_.systemDirectory();
        separator = QLatin1Char('\\');
    } else if (id == 51) {
        folder = desktop_.tempFolder();
    }
    folder = ModTimeStamp::TrimAtNull(folder).left(kSpecialFolderBuffer - 1);
    // An empty answer still gets its separator: "\" as the system would give it.
    if (folder.isEmpty()) return QStringLiteral("\\");
    return folder.endsWith(separator) ? folder : folder + separator;
}

QString OsApi::BrowseForFolder() const {
    if (!picker_) return QString();
    return ModTimeStamp::TrimAtNull(picker_(QStringLiteral("Select a Folder...")));
}

QString OsApi::GetShellFolder(const QString& valueName) const {
    const QString value = reg_.QueryValue(RootKey::CurrentUser, kShellFoldersKey, valueName);
    return value == kError440 ? QString() : value;
}

QString OsApi::ChromeFolder() const {
    return GetShellFolder(QStringLiteral("Local AppData")) +
           QStringLiteral("\\Google\\Chrome\\User Data\\default");
}

QString OsApi::OperaFolder() const {
    return GetShellFolder(QStringLiteral("AppData")) + QStringLiteral("\\Opera\\Opera");
}

}  // namespace kestrova
