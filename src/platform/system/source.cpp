#include "platform/system/source.h"

#include <QFileInfo>

#include "core/common/text.h"
#include "platform/system/volume_system.h"
#include "platform/volume/windows_volume.h"

namespace kestrova {
namespace {

bool isSet(const QString& setting) { return !setting.isEmpty() && setting != kUnknownValue; }

}  // namespace

Source chooseSource(const QString& cliRoot, const QString& cliUser, const IniFile& ini,
                    const QString& sampleRoot, LastChoice last) {
    Source source;
    const bool takeLast = last == LastChoice::Take && cliRoot.isEmpty();
    const QString iniRoot = takeLast ? ini.GetSetting(kSourceSection, QStringLiteral("Root")) : QString();
    const QString iniUser = takeLast ? ini.GetSetting(kSourceSection, QStringLiteral("User")) : QString();
    const QString iniImage = takeLast ? ini.GetSetting(kSourceSection, QStringLiteral("Image")) : QString();
    const QString iniCollection = takeLast ? ini.GetSetting(kSourceSection, QStringLiteral("Collection")) : QString();
    if (cliRoot.isEmpty() && isSet(iniCollection)) {
        // The window's last choice was a triage collection: opened, as an image is, when examined.
        return Source{.user = cliUser.isEmpty() && isSet(iniUser) ? iniUser : cliUser, .origin = QStringLiteral("kr.ini"),
                      .collection = iniCollection};
    }
    if (cliRoot.isEmpty() && isSet(iniImage)) {
        // The window's last choice was a disk image: its profiles are looked up when it is opened.
        return Source{.user = cliUser.isEmpty() && isSet(iniUser) ? iniUser : cliUser, .origin = QStringLiteral("kr.ini"),
                      .image = iniImage};
    }
    if (!cliRoot.isEmpty()) {
        source = {cliRoot, cliUser, QStringLiteral("command line")};
    } else if (isSet(iniRoot)) {
        // The user stored with a root belongs to it; --user alone still picks another profile.
        source = {iniRoot, cliUser.isEmpty() && isSet(iniUser) ? iniUser : cliUser, QStringLiteral("kr.ini")};
    } else {
        source = {sampleRoot, cliUser, QStringLiteral("sample")};
    }
    source.user = matchProfile(VolumeSystem::profiles(source.root), source.user);
    return source;
}

QString matchProfile(const QStringList& profiles, const QString& user) {
    if (user.isEmpty()) return profiles.isEmpty() ? QString() : profiles.first();
    for (const QString& profile : profiles) {
        if (profile.compare(user, Qt::CaseInsensitive) == 0 || showEscapedBytes(profile).compare(user, Qt::CaseInsensitive) == 0) {
            return profile;
        }
    }
    return user;
}

std::optional<QString> profileProblem(const Volume& volume, const QString& where, const QString& user) {
    if (user.isEmpty()) {
        return QStringLiteral("%1 holds no user profile (no Users\\NAME\\NTUSER.DAT or Documents and "
                              "Settings\\NAME\\NTUSER.DAT); choose the folder that stands for C:\\")
            .arg(where);
    }
    // A profile folder whose hive is missing or broken is still examined: the readers say why
    // its categories are empty.
    const QStringList profiles = VolumeSystem::profiles(volume);
    const bool folderOnly = volume.exists(QStringLiteral("C:\\Users\\") + user) ||
                            volume.exists(QStringLiteral("C:\\Documents and Settings\\") + user);
    if (!profiles.contains(user, Qt::CaseInsensitive) && !folderOnly) {
        return QStringLiteral("%1 holds no profile named \"%2\"; profiles found: %3")
            .arg(where, showEscapedBytes(user),
                 profiles.isEmpty() ? QStringLiteral("none") : showEscapedBytes(profiles.join(QStringLiteral(", "))));
    }
    return std::nullopt;
}

std::optional<QString> rootProblem(const Source& source) {
    if (source.root.isEmpty()) return QStringLiteral("no Windows folder was given");
    const QFileInfo root(source.root);
    if (!root.exists()) return QStringLiteral("the Windows folder %1 does not exist").arg(source.root);
    if (!root.isDir()) return QStringLiteral("the Windows folder %1 is not a folder").arg(source.root);
    if (!root.isReadable() || !root.isExecutable()) {
        return QStringLiteral("the Windows folder %1 cannot be read (permission denied)").arg(source.root);
    }
    return std::nullopt;
}

std::optional<QString> sourceProblem(const Source& source) {
    if (auto problem = rootProblem(source)) return problem;
    return profileProblem(WindowsVolume(source.root), source.root, source.user);
}

}  // namespace kestrova
