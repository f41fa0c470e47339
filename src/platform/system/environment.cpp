#include "platform/system/environment.h"

namespace kestrova {

std::unique_ptr<Environment> Environment::create(const QString& cliRoot, const QString& cliUser) {
    auto env = std::make_unique<Environment>();
    const QString program = env->desktop.programFolder();
    env->settings.setPath(program + QStringLiteral("/kr.ini"));
    env->select(chooseSource(cliRoot, cliUser, env->settings, program + QStringLiteral("/sample")));
    return env;
}

void Environment::select(const Source& chosen) {
    source = chosen;
    os.reset();
    system = std::make_unique<VolumeSystem>(source.root, source.user);
    os = std::make_unique<OsApi>(*system, desktop);
}

}  // namespace kestrova
