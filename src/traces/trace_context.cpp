#include "traces/trace_context.h"

#include <QScopedValueRollback>

#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>

#include "core/common/text.h"
#include "platform/hive/volume_hive.h"

namespace kestrova {
namespace {

// Where the Chromium-family browsers keep their user data, under the user's local application
// data ("User Data" holds one folder a profile) or, for Opera, under the roaming one, where the
// folder is itself the profile.
struct ChromiumHome {
    const char* browser;
    const char* folder;
    bool roaming = false;
    bool folderIsProfile = false;
};
constexpr ChromiumHome kChromiumHomes[] = {
    {"Chrome", "Google\\Chrome\\User Data"},
    {"Chrome Beta", "Google\\Chrome Beta\\User Data"},
    {"Chrome Canary", "Google\\Chrome SxS\\User Data"},
    {"Chromium", "Chromium\\User Data"},
    {"Edge", "Microsoft\\Edge\\User Data"},
    {"Brave", "BraveSoftware\\Brave-Browser\\User Data"},
    {"Vivaldi", "Vivaldi\\User Data"},
    {"Opera", "Opera Software\\Opera Stable", true, true},
    {"Opera GX", "Opera Software\\Opera GX Stable", true, true},
};

// "Default" first, then "Profile 2" before "Profile 10", then the rest by name.
bool profileOrder(const QString& a, const QString& b) {
    const auto rank = [](const QString& name) -> std::pair<int, qint64> {
        if (name.compare(QLatin1String("Default"), Qt::CaseInsensitive) == 0) return {0, 0};
        if (name.startsWith(QLatin1String("Profile "), Qt::CaseInsensitive)) {
            bool number = false;
            const qint64 n = name.mid(8).toLongLong(&number);
            if (number) return {1, n};
        }
        return {2, 0};
    };
    const auto ra = rank(a), rb = rank(b);
    if (ra != rb) return ra < rb;
    return a.compare(b, Qt::CaseInsensitive) < 0;
}

void addOnce(QStringList& names, const QString& name) {
    if (!names.contains(name, Qt::CaseInsensitive)) names.append(name);
}

// The profile folders a Chromium "User Data" folder holds: those its Local State lists (its
// profile.info_cache) and any Default or "Profile N" folder it does not list (a profile deleted
// from the browser's list keeps its folder until it is cleaned up).
QStringList chromiumProfiles(const TraceContext& context, const QString& userData) {
    QStringList names;
    const QString localState = userData + QStringLiteral("\\Local State");
    if (const auto state = context.exists(localState) ? context.readSmallFile(localState) : std::nullopt) {
        // A Local State that cannot be parsed lists nothing: the folders below are still found,
        // and a profile only the list named (a folder of another name) is said to be missed.
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(*state, &error);
        if (error.error != QJsonParseError::NoError || !document.isObject()) {
            context.note(FindingKind::Damaged, QStringLiteral("browser profile list ") + localState,
                         error.error != QJsonParseError::NoError
                             ? QStringLiteral("not JSON (%1 at byte %2); only Default and \"Profile N\" folders are read").arg(error.errorString()).arg(error.offset)
                             : QStringLiteral("not a JSON object; only Default and \"Profile N\" folders are read"));
        }
        const QJsonObject cache = document.object()[QLatin1String("profile")].toObject()[QLatin1String("info_cache")].toObject();
        for (const QString& name : cache.keys()) {
            // A listed name is a folder name; one that would lead elsewhere is not followed.
            if (!name.contains(QLatin1Char('\\')) && !name.contains(QLatin1Char('/')) && name != QLatin1String("..") &&
                context.exists(userData + QLatin1Char('\\') + name)) {
                addOnce(names, name);
            }
        }
    }
    for (const QString& name : context.list(userData, true)) {
        if (name.compare(QLatin1String("Default"), Qt::CaseInsensitive) == 0 ||
            name.startsWith(QLatin1String("Profile "), Qt::CaseInsensitive) ||
            name.compare(QLatin1String("Guest Profile"), Qt::CaseInsensitive) == 0) {
            addOnce(names, name);
        }
    }
    std::sort(names.begin(), names.end(), profileOrder);
    return names;
}

// The Firefox profile folders: those profiles.ini names (relative to the Firefox folder, or as
// absolute Windows paths) and every folder under Profiles.
QStringList firefoxProfiles(const TraceContext& context, const QString& home) {
    QStringList folders;
    const QString iniPath = home + QStringLiteral("\\profiles.ini");
    if (const auto ini = context.exists(iniPath) ? context.readSmallFile(iniPath, 1 << 20) : std::nullopt) {
        QString path;
        bool relative = true;
        const auto flush = [&] {
            if (!path.isEmpty()) {
                path.replace(QLatin1Char('/'), QLatin1Char('\\'));
                const QString folder = relative ? home + QLatin1Char('\\') + path : path;
                if (!path.contains(QLatin1String("..")) && context.exists(folder)) addOnce(folders, folder);
            }
            path.clear();
            relative = true;
        };
        for (const QByteArray& raw : ini->split('\n')) {
            const QString line = QString::fromUtf8(raw).trimmed();
            if (line.startsWith(QLatin1Char('['))) flush();
            else if (line.startsWith(QLatin1String("Path="), Qt::CaseInsensitive)) path = line.mid(5);
            else if (line.startsWith(QLatin1String("IsRelative="), Qt::CaseInsensitive)) relative = line.mid(11) != QLatin1String("0");
        }
        flush();
    }
    const QString profiles = home + QStringLiteral("\\Profiles");
    for (const QString& name : context.list(profiles, true)) addOnce(folders, profiles + QLatin1Char('\\') + name);
    return folders;
}

}  // namespace

const std::vector<UserProfile>& TraceContext::users() {
    if (users_) {
        // Said for every kind that looks, not only the first one a context reads: what a kind's
        // reading says must not depend on which kinds the same context read before it.
        if (users_->empty()) noteNoUsers();
        return *users_;
    }
    const QScopedValueRollback discovering(discovering_, true);
    users_.emplace();
    for (const char* parent : {"Users", "Documents and Settings"}) {
        const QString base = QStringLiteral("C:\\") + QLatin1String(parent);
        if (!exists(base)) continue;
        for (const DirEntry& entry : system_.listFolder(base)) {
            if (entry.isDotEntry() || !(entry.attributes & fileattr::Directory)) continue;
            // Junctions ("All Users", "Default User") lead to folders listed in their own right.
            if (entry.attributes & 0x400) continue;
            if (!onlyUser_.isEmpty() && entry.name.compare(onlyUser_, Qt::CaseInsensitive) != 0) continue;
            UserProfile user;
            user.name = entry.name;
            user.folder = base + QLatin1Char('\\') + entry.name;
            if (exists(user.folder + QStringLiteral("\\AppData"))) {
                user.local = user.folder + QStringLiteral("\\AppData\\Local");
                user.roaming = user.folder + QStringLiteral("\\AppData\\Roaming");
            } else {
                user.local = user.folder + QStringLiteral("\\Local Settings\\Application Data");
                user.roaming = user.folder + QStringLiteral("\\Application Data");
            }
            users_->push_back(std::move(user));
        }
    }
    if (users_->empty()) noteNoUsers();
    return *users_;
}

void TraceContext::noteNoUsers() const {
    note(FindingKind::Absent, QStringLiteral("user profiles"),
         onlyUser_.isEmpty() ? QStringLiteral("no folder under C:\\Users or C:\\Documents and Settings")
                             : QStringLiteral("no profile folder named \"%1\"").arg(onlyUser_));
}

const std::vector<BrowserProfile>& TraceContext::browserProfiles() {
    if (browsers_) {
        for (const auto& [kind, what, why] : profileNotes_) note(kind, what, why);
        return *browsers_;
    }
    const QScopedValueRollback discovering(discovering_, true);
    const QScopedValueRollback capturing(capture_, &profileNotes_);
    const std::vector<UserProfile>& all = users();
    browsers_.emplace();
    for (const UserProfile& user : all) {
        for (const ChromiumHome& home : kChromiumHomes) {
            const QString folder = (home.roaming ? user.roaming : user.local) + QLatin1Char('\\') + QLatin1String(home.folder);
            if (!exists(folder)) continue;
            const QString browser = QLatin1String(home.browser);
            if (home.folderIsProfile) {
                browsers_->push_back({&user, BrowserEngine::Chromium, browser, folder.section(QLatin1Char('\\'), -1), folder});
            }
            for (const QString& name : chromiumProfiles(*this, folder)) {
                browsers_->push_back({&user, BrowserEngine::Chromium, browser, name, folder + QLatin1Char('\\') + name});
            }
        }
        const QString firefox = user.roaming + QStringLiteral("\\Mozilla\\Firefox");
        if (!exists(firefox)) continue;
        for (const QString& folder : firefoxProfiles(*this, firefox)) {
            browsers_->push_back({&user, BrowserEngine::Firefox, QStringLiteral("Firefox"), folder.section(QLatin1Char('\\'), -1), folder});
        }
    }
    return *browsers_;
}

std::unique_ptr<EvidenceDatabase> TraceContext::openDatabase(const QString& windowsPath) const {
    return EvidenceDatabase::open(system_, windowsPath, tempFolder_);
}

std::optional<QByteArray> TraceContext::readSmallFile(const QString& windowsPath, qint64 limit) const {
    const auto file = system_.openFile(windowsPath, QStringLiteral("file"));
    if (!file) return std::nullopt;
    if (file->size() > limit) {
        note(FindingKind::Damaged, QStringLiteral("file ") + windowsPath,
             QStringLiteral("%1 bytes, more than the %2 such a file is read up to").arg(file->size()).arg(limit));
        return std::nullopt;
    }
    return file->read(limit);
}

QStringList TraceContext::list(const QString& windowsFolder, bool foldersOnly) const {
    QStringList names;
    if (!exists(windowsFolder)) return names;
    for (const DirEntry& entry : system_.listFolder(windowsFolder)) {
        if (entry.isDotEntry() || (foldersOnly && !(entry.attributes & fileattr::Directory))) continue;
        names.append(entry.name);
    }
    return names;
}

std::shared_ptr<HiveFile> TraceContext::hive(const QString& windowsPath) {
    const QString key = windowsPath.toLower();
    if (const auto it = hives_.find(key); it != hives_.end()) {
        // Looked for again, and what opening it said said again: what each kind relies on is seen
        // by the volume (states of a volume are compared by it) and by the kind's reason for an
        // empty result, even where the hive was opened for an earlier kind.
        for (const QString& path : it->second.files) exists(path);
        for (const auto& [kind, what, why] : it->second.notes) note(kind, what, why);
        return it->second.file;
    }
    HeldHive& held = hives_[key];
    held.files = {windowsPath};
    const QString label = QStringLiteral("hive");
    if (!exists(windowsPath)) return nullptr;
    const auto file = system_.openFile(windowsPath, label);
    if (!file) return nullptr;
    const auto openLog = [&](const QString& suffix) -> std::unique_ptr<QIODevice> {
        held.files.append(windowsPath + suffix);
        return exists(windowsPath + suffix) ? system_.openFile(windowsPath + suffix, label) : nullptr;
    };
    OpenedHive opened = openVolumeHive(*file, openLog, replayLogs);
    if (!opened.replay.isEmpty()) {
        held.notes.push_back({opened.replayed ? FindingKind::Recovered : FindingKind::Damaged, label + QLatin1Char(' ') + windowsPath, opened.replay});
    }
    if (!opened.file) {
        held.notes.push_back({FindingKind::Damaged, label + QLatin1Char(' ') + windowsPath, QStringLiteral("not a registry hive (%1)").arg(opened.problem)});
    }
    for (const auto& [kind, what, why] : held.notes) note(kind, what, why);
    held.file = std::move(opened.file);
    return held.file;
}

TraceContext::LookedFor TraceContext::lookedFor() const {
    LookedFor looked;
    for (const Looked& l : looked_) (l.found ? looked.read : looked.missing).append(l.path);
    looked.read.removeDuplicates();
    looked.missing.removeDuplicates();
    return looked;
}

void TraceContext::LookedFor::add(const LookedFor& part) {
    read += part.read;
    missing += part.missing;
    read.removeDuplicates();
    missing.removeDuplicates();
}

QString TraceContext::emptyReason(const LookedFor& looked) {
    const auto some = [](const QStringList& paths) {
        constexpr qsizetype kShown = 4;
        QString text = QStringList(paths.mid(0, kShown)).join(QStringLiteral("; "));
        if (paths.size() > kShown) text += QStringLiteral(" and %1 more").arg(paths.size() - kShown);
        return text;
    };
    if (looked.read.isEmpty() && looked.missing.isEmpty()) return QStringLiteral("no profile on this volume holds what it reads");
    if (looked.read.isEmpty()) return QStringLiteral("none of the places it reads is on this volume (looked for %1)").arg(some(looked.missing));
    const QString held = QStringLiteral("what it read holds no records of this kind (%1)").arg(some(looked.read));
    // What it read may only have served the rest (a hive naming the users): the places missing say more.
    if (looked.missing.isEmpty()) return held;
    return held + QStringLiteral(", and these are not on this volume: %1").arg(some(looked.missing));
}

void TraceContext::reportHiveLosses() {
    for (const auto& [key, held] : hives_) {
        if (!held.file) continue;
        const QStringList losses = held.file->takeLosses();
        if (losses.isEmpty()) continue;
        const QString path = held.files.isEmpty() ? key : held.files.front();
        for (const QString& loss : losses) note(FindingKind::Damaged, QStringLiteral("hive ") + path, loss);
    }
}

qint64 runTraceKind(const TraceKind& kind, TraceContext& context, TraceSink& sink) {
    struct Counting : TraceSink {
        TraceSink& inner;
        qint64 count = 0;
        explicit Counting(TraceSink& to) : inner(to) {}
        bool record(const TraceKind& k, const Provenance& from, std::span<const Value> values) override {
            ++count;
            return inner.record(k, from, values);
        }
    } counting(sink);
    context.kind = &kind;
    context.looked_.clear();
    kind.source(context, counting);
    context.reportHiveLosses();
    context.kind = nullptr;
    return counting.count;
}

Provenance browserProvenance(const BrowserProfile& profile, const QString& file, const QString& part) {
    return {showEscapedBytes(profile.user->name).toUtf8(), profile.browser.toUtf8(), showEscapedBytes(profile.name).toUtf8(),
            showEscapedBytes(file).toUtf8(), part.toUtf8()};
}

Provenance userProvenance(const UserProfile& user, const QString& file, const QString& part) {
    return {showEscapedBytes(user.name).toUtf8(), {}, {}, showEscapedBytes(file).toUtf8(), part.toUtf8()};
}

}  // namespace kestrova
