#include "platform/system/volume_states.h"

#include <QTimeZone>

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

namespace {

QByteArray stateName(const ShadowStore& store) {
    QByteArray name = QByteArray::number(store.number);
    if (store.created) name += " (" + QDateTime::fromMSecsSinceEpoch(*store.created / 1000, QTimeZone::utc()).toString(Qt::ISODate).toUtf8() + ')';
    return name;
}

std::unique_ptr<VolumeState> openState(const QString& imagePath, int partition, int store, const QString& tempFolder, bool replayLogs,
                                       QString* why) {
    auto state = std::make_unique<VolumeState>();
    state->store = store;
    state->image = openImageSource(imagePath, partition, tempFolder, store);
    if (!state->image.volume) {
        *why = state->image.problem;
        return nullptr;
    }
    state->name = "current";
    for (const ShadowStore& s : state->image.summary().stores) {
        if (s.number == store) state->name = stateName(s);
    }
    state->volume = std::make_shared<WatchedVolume>(state->image.volume);
    state->system = std::make_unique<VolumeSystem>(state->volume, QString(), replayLogs);
    return state;
}

}  // namespace

std::vector<std::unique_ptr<VolumeState>> openVolumeStates(const QString& imagePath, int partition, const std::vector<int>& stores,
                                                           const QString& tempFolder, bool replayLogs, QStringList* problems) {
    std::vector<std::unique_ptr<VolumeState>> states;
    for (const int store : [&] {
             std::vector<int> all{0};
             all.insert(all.end(), stores.begin(), stores.end());
             return all;
         }()) {
        QString why;
        if (auto state = openState(imagePath, partition, store, tempFolder, replayLogs, &why)) states.push_back(std::move(state));
        else problems->append(store == 0 ? why : QStringLiteral("shadow copy %1: %2").arg(store).arg(why));
    }
    return states;
}

std::optional<std::vector<int>> chosenStores(const QString& text, const std::vector<ShadowStore>& stores, QString* why) {
    std::vector<int> chosen;
    if (text.isEmpty() || text == QLatin1String("none")) return chosen;
    if (text == QLatin1String("all")) {
        for (const ShadowStore& s : stores) chosen.push_back(s.number);
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
    return chosen;
}

}  // namespace kestrova
