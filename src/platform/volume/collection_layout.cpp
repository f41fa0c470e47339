#include "platform/volume/collection_layout.h"

#include <QRegularExpression>
#include <QUrl>
#include <algorithm>
#include <map>
#include <set>
#include <span>

namespace kestrova {

namespace {

// The folders only a Windows volume has at its top, and the files and folders NTFS keeps there:
// the latter also stand at the top of a container's own NTFS (a KAPE .vhdx), so they tell where a
// volume lies only when nothing of the former does.
constexpr const char* kWindowsTops[] = {"Windows", "Users", "Documents and Settings", "ProgramData", "Program Files"};
constexpr const char* kNtfsTops[] = {"$MFT", "$LogFile", "$Extend", "$Recycle.Bin", "pagefile.sys", "$Secure_$SDS"};

bool isAmong(const QString& name, std::span<const char* const> tops) {
    return std::any_of(tops.begin(), tops.end(), [&](const char* top) { return name.compare(QLatin1String(top), Qt::CaseInsensitive) == 0; });
}

}  // namespace

bool isVolumeTop(const QString& name) { return isAmong(name, kWindowsTops) || isAmong(name, kNtfsTops); }

namespace {

struct Named {
    QString name;
    int store = 0;
    bool lettered = false;  // named by a drive letter in its path
};

// The volume a prefix stands for, from its last part: "C", "C:", "\\.\C:" or a shadow copy's device.
Named volumeOf(const QStringList& prefix) {
    if (prefix.isEmpty()) return {QStringLiteral("C:"), 0, false};
    const QString last = decodedPart(prefix.last());
    static const QRegularExpression shadow(QStringLiteral("HarddiskVolumeShadowCopy(\\d+)$"), QRegularExpression::CaseInsensitiveOption);
    if (const auto m = shadow.match(last); m.hasMatch()) {
        const int store = m.captured(1).toInt();
        if (store > 0) return {last, store, false};
    }
    static const QRegularExpression letter(QStringLiteral("^(?:\\\\\\\\[.?]\\\\)?([A-Za-z]):?$"));
    if (const auto m = letter.match(last); m.hasMatch()) return {m.captured(1).toUpper() + QLatin1Char(':'), 0, true};
    return {prefix.join(QLatin1Char('/')), 0, false};
}

}  // namespace

QString decodedPart(const QString& part) {
    if (!part.contains(QLatin1Char('%'))) return part;
    return QUrl::fromPercentEncoding(part.toUtf8());
}

QString collectionKindName(CollectionKind kind) {
    switch (kind) {
    case CollectionKind::PlainTree: return QStringLiteral("copy of a C: tree");
    case CollectionKind::Kape: return QStringLiteral("KAPE collection");
    case CollectionKind::Velociraptor: return QStringLiteral("Velociraptor offline collection");
    }
    return {};
}

std::optional<CollectionLayout> recogniseCollection(const std::vector<QStringList>& files) {
    // Where each file's path first reaches a volume's top folder; a prefix that extends another
    // (a Windows folder copied under C:\Temp) is inside that volume, not one of its own.
    std::set<QStringList> candidates;
    for (const auto tops : {std::span<const char* const>(kWindowsTops), std::span<const char* const>(kNtfsTops)}) {
        for (const QStringList& parts : files) {
            for (qsizetype j = 0; j < parts.size(); ++j) {
                if (!isAmong(decodedPart(parts[j]), tops)) continue;
                candidates.insert(parts.mid(0, j));
                break;
            }
        }
        if (!candidates.empty()) break;
    }
    const auto within = [](const QStringList& path, const QStringList& prefix) {
        if (path.size() < prefix.size()) return false;
        for (qsizetype i = 0; i < prefix.size(); ++i) {
            if (path[i] != prefix[i]) return false;
        }
        return true;
    };
    std::vector<QStringList> roots;
    for (const QStringList& c : candidates) {
        if (std::none_of(roots.begin(), roots.end(), [&](const QStringList& r) { return within(c, r); })) roots.push_back(c);
    }
    std::map<QString, qint64> prefixes;  // joined prefix -> files under it
    for (const QStringList& parts : files) {
        for (const QStringList& r : roots) {
            if (parts.size() > r.size() && within(parts, r)) {
                ++prefixes[r.join(QLatin1Char('/'))];
                break;
            }
        }
    }
    if (prefixes.empty()) return std::nullopt;
    CollectionLayout layout;
    std::map<QString, size_t> byName;
    bool lettered = false;
    for (const auto& [joined, count] : prefixes) {
        const QStringList prefix = joined.isEmpty() ? QStringList() : joined.split(QLatin1Char('/'));
        if (!prefix.isEmpty() && prefix.first().compare(QLatin1String("uploads"), Qt::CaseInsensitive) == 0) {
            layout.kind = CollectionKind::Velociraptor;
        }
        const Named named = volumeOf(prefix);
        lettered = lettered || named.lettered;
        const QString key = named.store > 0 ? QStringLiteral("shadow %1").arg(named.store) : named.name.toUpper();
        auto [at, added] = byName.emplace(key, layout.volumes.size());
        if (added) layout.volumes.push_back({named.name, named.store, {}, 0});
        CollectedVolume& volume = layout.volumes[at->second];
        volume.prefixes.append(joined);
        volume.files += count;
    }
    if (layout.kind != CollectionKind::Velociraptor && lettered) layout.kind = CollectionKind::Kape;
    // The examined volume first: C: where the collection has it, else the one with most files;
    // then the other volumes, then the shadow copies by number.
    std::stable_sort(layout.volumes.begin(), layout.volumes.end(), [](const CollectedVolume& a, const CollectedVolume& b) {
        const auto rank = [](const CollectedVolume& v) { return v.store > 0 ? 2 : v.name.compare(QLatin1String("C:"), Qt::CaseInsensitive) == 0 ? 0 : 1; };
        if (rank(a) != rank(b)) return rank(a) < rank(b);
        if (a.store != b.store) return a.store < b.store;
        return a.files > b.files;
    });
    return layout;
}

}  // namespace kestrova
