#include "platform/system/environment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include "platform/clock/system_clock.h"
#include "platform/desktop/xdg_desktop.h"

namespace kestrova {

std::unique_ptr<Environment> Environment::create(const QString& cliRoot, const QString& cliUser, LastChoice last, bool replayLogs) {
    return create(cliRoot, cliUser, std::make_unique<XdgDesktop>(), std::make_unique<SystemClock>(), last, replayLogs);
}

std::unique_ptr<Environment> Environment::create(const QString& cliRoot, const QString& cliUser,
                                                 std::unique_ptr<LocalDesktop> desktop, std::unique_ptr<Clock> clock,
                                                 LastChoice last, bool replayLogs) {
    auto env = withDesktop(std::move(desktop), std::move(clock));
    env->replayLogs = replayLogs;
    env->select(chooseSource(cliRoot, cliUser, env->settings, dataFolder(*env->desktop) + QStringLiteral("/sample"), last));
    return env;
}

std::unique_ptr<Environment> Environment::withDesktop(std::unique_ptr<LocalDesktop> desktop, std::unique_ptr<Clock> clock) {
    auto env = std::make_unique<Environment>();
    env->desktop = std::move(desktop);
    env->clock = std::move(clock);
    env->settings.setPath(settingsPath(*env->desktop));
    return env;
}

QString Environment::dataFolder(const LocalDesktop& desktop) {
    const QString program = desktop.programFolder();
    // A build tree keeps the delivered kr.ini and the sample beside the programs; an installed
    // program finds them in share/kestrova beside its bin folder.
    if (QFileInfo::exists(program + QStringLiteral("/kr.ini")) || QFileInfo::exists(program + QStringLiteral("/sample"))) return program;
    const QString shared = QDir::cleanPath(program + QStringLiteral("/../share/kestrova"));
    return QFileInfo::exists(shared + QStringLiteral("/kr.ini")) ? shared : program;
}

QString Environment::settingsPath(const LocalDesktop& desktop) {
    const QString named = qEnvironmentVariable("KESTROVA_SETTINGS");
    if (!named.isEmpty()) return named;
    const QString data = dataFolder(desktop);
    if (data == desktop.programFolder()) return data + QStringLiteral("/kr.ini");
    // Installed: the user's own copy under $XDG_CONFIG_HOME, made from the delivered one on the
    // first start; the installed files are never written.
    const QString config = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/kestrova/kr.ini");
    if (!QFileInfo::exists(config)) {
        QDir().mkpath(QFileInfo(config).absolutePath());
        if (QFile::copy(data + QStringLiteral("/kr.ini"), config)) {
            QFile::setPermissions(config, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        }
    }
    return config;
}

std::unique_ptr<Environment> Environment::createForImage(const QString& imagePath, int partition, const QString& user,
                                                         bool replayLogs) {
    auto env = withDesktop(std::make_unique<XdgDesktop>(), std::make_unique<SystemClock>());
    env->replayLogs = replayLogs;
    env->select(Source{.user = user, .origin = QStringLiteral("command line"), .image = imagePath, .partition = partition});
    return env;
}

std::unique_ptr<Environment> Environment::createForCollection(const QString& collectionPath, const QString& user, bool replayLogs) {
    auto env = withDesktop(std::make_unique<XdgDesktop>(), std::make_unique<SystemClock>());
    env->replayLogs = replayLogs;
    env->select(Source{.user = user, .origin = QStringLiteral("command line"), .collection = collectionPath});
    return env;
}

void Environment::select(const Source& chosen) {
    source = chosen;
    os.reset();
    image.reset();
    collection.reset();
    if (!source.collection.isEmpty()) collection = openCollection(source.collection, privateTemp.path());
    else if (!source.image.isEmpty()) image = openImageSource(source.image, source.partition, privateTemp.path());
    if (const std::shared_ptr<Volume> volume = openedVolume()) source.user = matchProfile(VolumeSystem::profiles(*volume), source.user);
    analyse();
}

std::shared_ptr<Volume> Environment::openedVolume() const {
    if (collection) return collection->volume;
    if (image) return image->volume;
    return nullptr;
}

void Environment::analyse() {
    if (const std::shared_ptr<Volume> volume = openedVolume()) system = std::make_unique<VolumeSystem>(volume, source.user, replayLogs);
    else if (image || collection) system = std::make_unique<VolumeSystem>(QString(), source.user);  // it says why there is none
    else system = std::make_unique<VolumeSystem>(source.root, source.user, replayLogs);
    os = std::make_unique<OsApi>(*system, *desktop);
    os->setFolderPicker(folderPicker);
}

std::unique_ptr<Environment> Environment::sibling() const {
    auto env = std::make_unique<Environment>();
    env->desktop = std::make_unique<XdgDesktop>();
    env->clock = std::make_unique<SystemClock>();
    env->settings.setPath(settings.path());
    env->replayLogs = replayLogs;
    env->source = source;
    env->image = image;
    env->collection = collection;
    env->analyse();
    return env;
}

void Environment::setFolderPicker(FolderPickerFn picker) {
    folderPicker = std::move(picker);
    os->setFolderPicker(folderPicker);
}

std::optional<QString> Environment::volumeProblem() const {
    if (collection) return collection->volume ? std::nullopt : std::optional<QString>(collection->problem);
    if (!image) return rootProblem(source);
    if (!image->problem.isEmpty()) return image->problem;
    return std::nullopt;
}

std::optional<QString> Environment::problem() const {
    if (collection) {
        if (auto problem = volumeProblem()) return problem;
        return profileProblem(*collection->volume, collection->volume->description(), source.user);
    }
    if (!image) return sourceProblem(source);
    if (auto problem = volumeProblem()) return problem;
    return profileProblem(*image->volume, QStringLiteral("%1, partition %2").arg(source.image).arg(image->summary().chosen), source.user);
}

}  // namespace kestrova
