#include "platform/system/volume_states.h"

#include <QTimeZone>

#include "platform/system/environment.h"

namespace kestrova {

void WatchedVolume::touch(const QString& windowsPath) const {
    QString key = windowsPath.toLower();
    key.replace(QLatin1Char('/'), QLatin1Char('\\'));
    const std::lock_guard lock(mutex_);
    touched_.insert(std::move(key));
}

std::set<QString> WatchedVolume::takeTouched() {
    const std::lock_guard lock(mutex_);
    return std::exchange(touched_, {});
}

std::optional<ServedVolume::Identity> WatchedVolume::identity(const QString& path) const {
    {
        const std::lock_guard lock(mutex_);
        if (const auto known = identities_.find(path); known != identities_.end()) return known->second;
    }
    const auto identity = served_ ? served_->identity(path) : std::nullopt;
    const std::lock_guard lock(mutex_);
    identities_.emplace(path, identity);
    return identity;
}

namespace {

QByteArray stateName(const ShadowStore& store) {
    QByteArray name = QByteArray::number(store.number);
    if (store.created) name += " (" + QDateTime::fromMSecsSinceEpoch(*store.created / 1000, QTimeZone::utc()).toString(Qt::ISODate).toUtf8() + ')';
    return name;
}

std::unique_ptr<VolumeState> stateOf(ImageSource image, bool replayLogs) {
    auto state = std::make_unique<VolumeState>();
    state->store = image.summary().store;
    state->name = "current";
    for (const ShadowStore& s : image.summary().stores) {
        if (s.number == state->store) state->name = stateName(s);
    }
    state->volume = std::make_shared<WatchedVolume>(image.volume);
    state->image = std::move(image);
    state->system = std::make_unique<VolumeSystem>(state->volume, QString(), replayLogs);
    return state;
}

}  // namespace

std::vector<std::unique_ptr<VolumeState>> openVolumeStates(const ImageSource& current, const QString& imagePath, const std::vector<int>& stores,
                                                           const QString& tempFolder, bool replayLogs, QStringList* problems) {
    std::vector<std::unique_ptr<VolumeState>> states;
    if (!current.volume) {
        problems->append(current.problem);
        return states;
    }
    states.push_back(stateOf(current, replayLogs));
    const auto servers = ImageServer::startEach(imagePath, current.summary().chosen, stores);
    for (const auto& server : servers) {
        ImageSource image = servedSource(server, imagePath, tempFolder);
        if (image.volume) states.push_back(stateOf(std::move(image), replayLogs));
        else problems->append(QStringLiteral("shadow copy %1: %2").arg(server->summary().store).arg(image.problem));
    }
    return states;
}

std::vector<ShadowStore> collectionStores(const ZipVolume& collection) {
    std::vector<ShadowStore> stores;
    for (const CollectedVolume& v : collection.layout().volumes) {
        if (v.store <= 0) continue;
        ShadowStore store;
        store.number = v.store;
        store.identifier = v.name;
        stores.push_back(store);
    }
    return stores;
}

std::vector<std::unique_ptr<VolumeState>> openCollectionStates(const std::shared_ptr<ZipVolume>& current, const std::vector<int>& stores, bool replayLogs) {
    std::vector<std::unique_ptr<VolumeState>> states;
    const auto stateOf = [&](std::shared_ptr<Volume> volume, int store) {
        auto state = std::make_unique<VolumeState>();
        state->store = store;
        state->name = store > 0 ? QByteArray::number(store) : QByteArray("current");
        state->volume = std::make_shared<WatchedVolume>(std::move(volume));
        state->system = std::make_unique<VolumeSystem>(state->volume, QString(), replayLogs);
        states.push_back(std::move(state));
    };
    stateOf(current, 0);
    const auto& volumes = current->layout().volumes;
    for (const int store : stores) {
        for (size_t i = 0; i < volumes.size(); ++i) {
            if (volumes[i].store == store) stateOf(current->sibling(i), store);
        }
    }
    return states;
}

std::optional<std::vector<std::unique_ptr<VolumeState>>> openChosenStates(const Environment& env, const QString& snapshots, QStringList* said,
                                                                           QString* why) {
    std::vector<std::unique_ptr<VolumeState>> states;
    if (snapshots.isEmpty() || snapshots == QLatin1String("none")) return states;
    if (env.collection && env.collection->zip) {
        // A collection's shadow copies, as its collector copied them.
        const auto stores = chosenStores(snapshots, collectionStores(*env.collection->zip), why);
        if (!stores) return std::nullopt;
        if (!stores->empty()) states = openCollectionStates(env.collection->zip, *stores, env.replayLogs);
        return states;
    }
    if (!env.image) {
        *why = QStringLiteral("shadow copies are read from a disk image's volume or a collection that holds them");
        return std::nullopt;
    }
    const auto stores = chosenStores(snapshots, env.image->summary().stores, why);
    if (!stores) return std::nullopt;
    if (!env.image->summary().storesProblem.isEmpty()) *said << QStringLiteral("shadow copies: ") + env.image->summary().storesProblem;
    if (stores->empty()) return states;
    states = openVolumeStates(*env.image, env.source.image, *stores, env.privateTemp.path(), env.replayLogs, said);
    if (states.empty()) {
        *why = QStringLiteral("the volume cannot be read again beside its shadow copies");
        return std::nullopt;
    }
    return states;
}

std::optional<std::vector<int>> chosenStores(const QString& text, const std::vector<ShadowStore>& stores, QString* why) {
    std::vector<int> chosen;
    if (text.isEmpty() || text == QLatin1String("none")) return chosen;
    const auto tooMany = [&] {
        if (chosen.size() <= kMostStores) return false;
        *why = QStringLiteral("--snapshots reads at most %1 shadow copies at once; name them (1,2,...)").arg(kMostStores);
        return true;
    };
    if (text == QLatin1String("all")) {
        for (const ShadowStore& s : stores) chosen.push_back(s.number);
        if (tooMany()) return std::nullopt;
        return chosen;
    }
    for (const QString& part : text.split(QLatin1Char(','))) {
        bool number = false;
        const int n = part.trimmed().toInt(&number);
        if (!number || n < 1) {
            *why = QStringLiteral("--snapshots takes all, none or the shadow copies' numbers (1,2), not \"%1\"").arg(text);
            return std::nullopt;
        }
        if (std::none_of(stores.begin(), stores.end(), [n](const ShadowStore& s) { return s.number == n; })) {
            *why = stores.empty() ? QStringLiteral("the volume has no shadow copies")
                                  : QStringLiteral("the volume has no shadow copy %1 (it has %2; info lists them)").arg(n).arg(stores.size());
            return std::nullopt;
        }
        if (std::find(chosen.begin(), chosen.end(), n) == chosen.end()) chosen.push_back(n);
    }
    if (tooMany()) return std::nullopt;
    return chosen;
}

}  // namespace kestrova
