// Everything a front end needs to start examining a system, put together in one place: the local
// desktop and clocks, the settings file beside the program, the chosen Windows system.
#pragma once

#include <QTemporaryDir>
#include <memory>
#include <optional>

#include "core/settings/ini_file.h"
#include "core/settings/os_api.h"
#include "core/time/clock.h"
#include "platform/system/collection_source.h"
#include "platform/system/image_source.h"
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
    // Whether dirty hives get their transaction logs replayed (--no-log-replay turns it off; the
    // create functions take it, so that the hives are opened once, the way asked).
    bool replayLogs = true;
    // The disk image examined, when the source is one.
    std::optional<ImageSource> image;
    // The triage collection examined, when the source is one.
    std::optional<CollectionSource> collection;
    // The program's private temporary folder (files taken out of an image), removed at exit.
    QTemporaryDir privateTemp{QDir::tempPath() + QStringLiteral("/kestrova-XXXXXX")};

    // The settings file (settingsPath(), below), and the system chosen by the arguments, the last
    // choice kept in it where `last` says so, or the sample.
    static std::unique_ptr<Environment> create(const QString& cliRoot, const QString& cliUser,
                                               LastChoice last = LastChoice::Take, bool replayLogs = true);
    // The same over another desktop and clock (tests).
    static std::unique_ptr<Environment> create(const QString& cliRoot, const QString& cliUser,
                                               std::unique_ptr<LocalDesktop> desktop, std::unique_ptr<Clock> clock,
                                               LastChoice last = LastChoice::Take, bool replayLogs = true);
    // The file the environment variable KESTROVA_SETTINGS names (a test's own, or an examiner's
    // per-case settings); else kr.ini beside the program in a build tree; else, installed,
    // $XDG_CONFIG_HOME/kestrova/kr.ini, copied from the delivered one on the first start.
    static QString settingsPath(const LocalDesktop& desktop);
    // Where the delivered kr.ini and the sample system are: the program folder in a build tree,
    // share/kestrova beside the bin folder when installed.
    static QString dataFolder(const LocalDesktop& desktop);
    // A disk image as the source (partition from 1, 0: the one that holds Windows).
    static std::unique_ptr<Environment> createForImage(const QString& image, int partition, const QString& user,
                                                       bool replayLogs = true);
    // A triage collection (a ZIP, a KAPE folder or container) as the source.
    static std::unique_ptr<Environment> createForCollection(const QString& collection, const QString& user, bool replayLogs = true);
    // Another environment on the same evidence, for a thread of its own: the volume (an image's
    // reader child, a ZIP, and the files taken out of them) is shared, which is safe from several
    // threads; the analysed system (its hives, findings and caches) is the sibling's own.
    std::unique_ptr<Environment> sibling() const;
    // Switches to another analysed system.
    void select(const Source& chosen);
    // What keeps the chosen system from being examined, in the user's words; nullopt when nothing.
    std::optional<QString> problem() const;
    // What keeps the volume itself from being read (the traces need no examined profile).
    std::optional<QString> volumeProblem() const;
    void setFolderPicker(FolderPickerFn picker);

private:
    // The volume opened from an image or a collection; nullptr for a folder tree or none.
    std::shared_ptr<Volume> openedVolume() const;
    // The analysed system (and its OsApi) over what source, image and collection name.
    void analyse();
    // An environment on that desktop and clock with its settings file, no system chosen yet.
    static std::unique_ptr<Environment> withDesktop(std::unique_ptr<LocalDesktop> desktop, std::unique_ptr<Clock> clock);
};

}  // namespace kestrova
