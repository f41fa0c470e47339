#include "platform/system/source.h"

#include <QFileInfo>

#include "core/common/text.h"
#include "platform/system/volume_system.h"

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
    if (!cliRoot.isEmpty()) {
        source = {cliRoot, cliUser, QStringLiteral("command line")};
    } else if (isSet(iniRoot)) {
        // The user stored with a root belongs to it; --user alone still picks another profile.
        source = {iniRoot, cliUser.isEmpty() && isSet(iniUser) ? iniUser : cliUser, QStringLiteral("kr.ini")};
    } else {
        source = {sampleRoot, cliUser, QStringLiteral("sample")};
    }
    const QStringList profiles = VolumeSystem::profiles(source.root);
    if (source.user.isEmpty()) {
        source.user = profiles.isEmpty() ? QString() : profiles.first();
    } else {
        for (const QString& profile : profiles) {
            if (profile.compare(source.user, Qt::CaseInsensitive) == 0 ||
                showEscapedBytes(profile).compare(source.user, Qt::CaseInsensitive) == 0) {
                source.user = profile;
            }
        }
    }
    return source;
}

std::optional<QString> sourceProblem(const Source& source) {
    if (source.root.isEmpty()) return QStringLiteral("no Windows folder was given");
    const QFileInfo root(source.root);
    if (!root.exists()) return QStringLiteral("the Windows folder %1 does not exist").arg(source.root);
    if (!root.isDir()) return QStringLiteral("the Windows folder %1 is not a folder").arg(source.root);
    if (!root.isReadable() || !root.isExecutable()) {
        return QStringLiteral("the Windows folder %1 cannot be read (permission denied)").arg(source.root);
    }
    const QStringList profiles = VolumeSystem::profiles(source.root);
    if (source.user.isEmpty()) {
        return QStringLiteral("%1 holds no user profile (no Users\\NAME\\NTUSER.DAT or Documents and "
                              "Settings\\NAME\\NTUSER.DAT); choose the folder that stands for C:\\")
            .arg(source.root);
    }
    // A profile folder whose hive is missing or broken is still examined: the readers say why
    // its categories are empty.
    const WindowsVolume volume(source.root);
    const bool folderOnly = volume.resolve(QStringLiteral("C:\\Users\\") + source.user) ||
                            volume.resolve(QStringLiteral("C:\\Documents and Settings\\") + source.user);
    if (!profiles.contains(source.user, Qt::CaseInsensitive) && !folderOnly) {
        return QStringLiteral("%1 holds no profile named \"%2\"; profiles found: %3")
            .arg(source.root, showEscapedBytes(source.user),
                 profiles.isEmpty() ? QStringLiteral("none") : showEscapedBytes(profiles.join(QStringLiteral(", "))));
    }
    return std::nullopt;
}

}  // namespace kestrova
