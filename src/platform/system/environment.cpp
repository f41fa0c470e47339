#include "platform/system/environment.h"

#include "platform/clock/system_clock.h"
#include "platform/desktop/xdg_desktop.h"

namespace kestrova {

std::unique_ptr<Environment> Environment::create(const QString& cliRoot, const QString& cliUser, LastChoice last) {
    return create(cliRoot, cliUser, std::make_unique<XdgDesktop>(), std::make_unique<SystemClock>(), last);
}

std::unique_ptr<Environment> Environment::create(const QString& cliRoot, const QString& cliUser,
                                                 std::unique_ptr<LocalDesktop> desktop, std::unique_ptr<Clock> clock,
                                                 LastChoice last) {
    auto env = std::make_unique<Environment>();
    env->desktop = std::move(desktop);
    env->clock = std::move(clock);
    const QString program = env->desktop->programFolder();
    env->settings.setPath(settingsPath(*env->desktop));
    env->select(chooseSource(cliRoot, cliUser, env->settings, program + QStringLiteral("/sample"), last));
    return env;
}

QString Environment::settingsPath(const LocalDesktop& desktop) {
    const QString named = qEnvironmentVariable("KESTROVA_SETTINGS");
    return named.isEmpty() ? desktop.programFolder() + QStringLiteral("/kr.ini") : named;
}

void Environment::select(const Source& chosen) {
    source = chosen;
    os.reset();
    system = std::make_unique<VolumeSystem>(source.root, source.user);
    os = std::make_unique<OsApi>(*system, *desktop);
    os->setFolderPicker(folderPicker);
}

void Environment::setFolderPicker(FolderPickerFn picker) {
    folderPicker = std::move(picker);
    os->setFolderPicker(folderPicker);
}

}  // namespace kestrova
