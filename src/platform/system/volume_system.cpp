#include "platform/system/volume_system.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>

#include "core/registry/reg_api.h"
#include "core/settings/os_api.h"
#include "platform/hive/volume_hive.h"
#include "platform/historystore/history_file.h"
#include "platform/sqlite/linked_sqlite_engine.h"
#include "platform/volume/windows_volume.h"

namespace kestrova {
namespace {

const QStringList kProfileParents{QStringLiteral("Users"), QStringLiteral("Documents and Settings")};

// "6.1" to (6, 1); nullopt when the text is not a version.
std::optional<std::pair<uint32_t, uint32_t>> parseVersion(const QString& text) {
    const QStringList parts = text.trimmed().split(QLatin1Char('.'));
    if (parts.size() < 2) return std::nullopt;
    bool okMajor = false, okMinor = false;
    const uint32_t major = parts[0].toUInt(&okMajor);
    const uint32_t minor = parts[1].toUInt(&okMinor);
    if (!okMajor || !okMinor) return std::nullopt;
    return std::make_pair(major, minor);
}

}  // namespace

QStringList VolumeSystem::profiles(const QString& root) { return profiles(WindowsVolume(root)); }

QStringList VolumeSystem::profiles(const Volume& volume) {
    QStringList names;
    for (const QString& parent : kProfileParents) {
        for (const DirEntry& entry : volume.list(QStringLiteral("C:\\") + parent, nullptr)) {
            const QString hive = QStringLiteral("C:\\%1\\%2\\NTUSER.DAT").arg(parent, entry.name);
            if (volume.exists(hive) && !names.contains(entry.name, Qt::CaseInsensitive)) {
                names.append(entry.name);
            }
        }
    }
    std::sort(names.begin(), names.end(), [](const QString& a, const QString& b) {
        return a.compare(b, Qt::CaseInsensitive) < 0;
    });
    return names;
}

QString VolumeSystem::defaultProfile(const QString& root) {
    const QStringList names = profiles(root);
    return names.isEmpty() ? QString() : names.first();
}

VolumeSystem::VolumeSystem(const QString& root, const QString& user, bool replayLogs)
    : VolumeSystem(std::make_shared<WindowsVolume>(root), user, replayLogs) {}

VolumeSystem::VolumeSystem(std::shared_ptr<const Volume> volume, const QString& user, bool replayLogs)
    : volume_(std::move(volume)), user_(user), replayLogs_(replayLogs) {
    // The profile holding the user's hive; else a profile folder of that name without one, so
    // that the hive is reported missing where it should be.
    for (const bool withHive : {true, false}) {
        for (const QString& parent : kProfileParents) {
            const QString folder = QStringLiteral("C:\\%1\\%2").arg(parent, user);
            if (profileFolder_.isEmpty() && !user.isEmpty() &&
                volume_->exists(withHive ? folder + QStringLiteral("\\NTUSER.DAT") : folder)) {
                profileFolder_ = folder;
            }
        }
    }
    HiveSet hives;
    if (!profileFolder_.isEmpty()) {
        hives.user = openHive(profileFolder_ + QStringLiteral("\\NTUSER.DAT"), QStringLiteral("user hive"));
    } else {
        hives.user.problem = Finding{FindingKind::Absent, QStringLiteral("user hive"),
                                     QStringLiteral("no profile named \"%1\" on this volume").arg(user)};
        notes_.append(hives.user.problem->text());
    }
    hives.system = openHive(QStringLiteral("C:\\Windows\\System32\\config\\SYSTEM"), QStringLiteral("SYSTEM hive"));
    hives.software = openHive(QStringLiteral("C:\\Windows\\System32\\config\\SOFTWARE"), QStringLiteral("SOFTWARE hive"));
    registry_ = std::make_unique<HiveRegistry>(std::move(hives), &findings_);
    readRecords();
}

std::unique_ptr<QIODevice> VolumeSystem::openFileOrWhy(const QString& windowsPath, const QString& label,
                                                       std::optional<Finding>* why) const {
    // Sources read once and kept (hives, the history) keep their reason to say it again at every
    // reader that asks for them; the system's own findings are a reader run's.
    Findings local;
    auto file = volume_->openFile(windowsPath, label, &local);
    if (!file) {
        *why = local.all().empty() ? Finding{FindingKind::Absent, label + QLatin1Char(' ') + windowsPath, QString()}
                                   : local.all().front();
    }
    return file;
}

HiveSlot VolumeSystem::openHive(const QString& windowsPath, const QString& label) {
    HiveSlot slot;
    const QString what = label + QLatin1Char(' ') + windowsPath;
    if (const auto file = openFileOrWhy(windowsPath, label, &slot.problem)) {
        const auto openLog = [&](const QString& suffix) -> std::unique_ptr<QIODevice> {
            if (!volume_->exists(windowsPath + suffix)) return nullptr;
            return volume_->openFile(windowsPath + suffix, label, nullptr);
        };
        OpenedHive opened = openVolumeHive(*file, openLog, replayLogs_);
        slot.file = std::move(opened.file);
        if (!slot.file) slot.problem = Finding{FindingKind::Damaged, what, QStringLiteral("not a registry hive (%1)").arg(opened.problem)};
        if (!opened.replay.isEmpty()) {
            replays_.append(what + QStringLiteral(": ") + opened.replay);
            notes_.append(replays_.back());
        }
    }
    notes_.append(slot.problem ? slot.problem->text() : what);
    return slot;
}

UrlHistoryStore& VolumeSystem::urlHistory() const {
    if (history_) return *history_;
    // The profile's History folder as the user's Shell Folders name it.
    QString folder;
    if (auto key = registry_->openKey(RootKey::CurrentUser, kShellFoldersKey)) {
        folder = stringValue(*key, QStringLiteral("History")).value_or(QString()).trimmed();
    }
    const QString path = folder + QStringLiteral("\\History.IE5\\index.dat");
    const QString label = QStringLiteral("URL history");
    std::vector<StatUrl> records;
    std::optional<Finding> problem;
    if (const auto file = openFileOrWhy(path, label, &problem)) {
        HistoryRead read = readHistoryFile(*file);
        records = std::move(read.records);
        if (read.problem) problem = Finding{FindingKind::Damaged, label + QLatin1Char(' ') + path, *read.problem};
    }
    history_ = std::make_unique<HistoryFileStore>(std::move(records), problem, &findings_);
    return *history_;
}

SqliteEngine& VolumeSystem::sqliteEngine() const {
    if (!sqlite_) sqlite_ = std::make_unique<LinkedSqliteEngine>(*this, QDir::tempPath());
    return *sqlite_;
}

void VolumeSystem::readRecords() {
    const RegistryBackend& reg = *registry_;
    if (auto key = reg.openKey(RootKey::LocalMachine,
                               QStringLiteral("SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion"))) {
        if (const auto text = stringValue(*key, QStringLiteral("CurrentVersion"))) {
            if (const auto v = parseVersion(*text)) {
                // Without a compatibility manifest Windows 8.1, 10 and 11 all say 6.2.
                const bool clamp = v->first > 6 || (v->first == 6 && v->second > 2);
                version_ = clamp ? VersionRecord{2, 6, 2} : VersionRecord{2, v->first, v->second};
            }
        }
        if (const auto root = stringValue(*key, QStringLiteral("SystemRoot")); root && !root->isEmpty()) {
            windowsDirectory_ = *root;
        }
    }
    if (!version_) {
        // Without a readable SOFTWARE hive the profile's place still tells the family apart:
        // "Users" came with Vista, "Documents and Settings" is XP and older.
        if (profileFolder_.startsWith(QLatin1String("C:\\Users"))) {
            version_ = VersionRecord{2, 6, 1};
            notes_.append(QStringLiteral("version: inferred from the profile folder"));
        } else if (!profileFolder_.isEmpty()) {
            version_ = VersionRecord{2, 5, 1};
            notes_.append(QStringLiteral("version: inferred from the profile folder"));
        }
    }
    if (auto key = reg.openKey(RootKey::LocalMachine, QStringLiteral(
            "SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ComputerName"))) {
        computerName_ = stringValue(*key, QStringLiteral("ComputerName")).value_or(QString());
    }
    if (auto key = reg.openKey(RootKey::LocalMachine,
                               QStringLiteral("SYSTEM\\CurrentControlSet\\Control\\Nls\\Language"))) {
        bool ok = false;
        const uint32_t id = stringValue(*key, QStringLiteral("Default")).value_or(QString()).toUInt(&ok, 16);
        if (ok) localeId_ = id;
    }
}

}  // namespace kestrova
