// Everything a front end needs to start examining a system, put together in one place: the local
// desktop and clocks, the settings file beside the program, the chosen Windows system.
#pragma once

#include <memory>

#include "core/settings/ini_file.h"
#include "core/settings/os_api.h"
#include "core/time/clock.h"
#include "platform/system/source.h"
#include "platform/system/volume_system.h"

namespace kestrova {

struct Environment {
    std::unique_ptr<LocalDesktop> desktop;
    std::unique_ptr<Clock> clock;
    IniFile settings;
    Source source;
    std::unique_ptr<VolumeSystem> system;
    std::unique_ptr<OsApi> os;
    // The desktop's folder browser, installed by the window for the whole run: every OsApi made
    // for another system gets it too.
    FolderPickerFn folderPicker;

    // The settings file (settingsPath(), below), and the system chosen by the arguments, the last
    // choice kept in it where `last` says so, or the sample.
    static std::unique_ptr<Environment> create(const QString& cliRoot, const QString& cliUser,
                                               LastChoice last = LastChoice::Take);
    // The same over another desktop and clock (tests).
    static std::unique_ptr<Environment> create(const QString& cliRoot, const QString& cliUser,
                                               std::unique_ptr<LocalDesktop> desktop, std::unique_ptr<Clock> clock,
                                               LastChoice last = LastChoice::Take);
    // kr.ini beside the program, or the file the environment variable KESTROVA_SETTINGS names (a
    // test's own, or an examiner's per-case settings).
    static QString settingsPath(const LocalDesktop& desktop);
    // Switches to another analysed system.
    void select(const Source& chosen);
    void setFolderPicker(FolderPickerFn picker);
};

}  // namespace kestrova
