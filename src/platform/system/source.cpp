#include "platform/system/source.h"

#include "platform/system/volume_system.h"

namespace kestrova {
namespace {

bool isSet(const QString& setting) { return !setting.isEmpty() && setting != kUnknownValue; }

}  // namespace

Source chooseSource(const QString& cliRoot, const QString& cliUser, const IniFile& ini,
                    const QString& sampleRoot) {
    Source source;
    const QString iniRoot = ini.GetSetting(kSourceSection, QStringLiteral("Root"));
    const QString iniUser = ini.GetSetting(kSourceSection, QStringLiteral("User"));
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
            if (profile.compare(source.user, Qt::CaseInsensitive) == 0) source.user = profile;
        }
    }
    return source;
}

}  // namespace kestrova
