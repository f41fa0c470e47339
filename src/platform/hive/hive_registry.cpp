#include "platform/hive/hive_registry.h"

#include "core/registry/reg_api.h"

namespace kestrova {

HiveRegistry::HiveRegistry(HiveSet hives) : hives_(std::move(hives)) {
    if (!hives_.system) return;
    // A SYSTEM hive holds the control sets as ControlSet00N; Select names the one in use. A hive
    // without a readable Select is taken to use the first set, which is what a fresh install has.
    quint32 current = 1;
    if (const auto select = hives_.system->walk({QStringLiteral("Select")})) {
        if (const auto n = dwordValue(*hives_.system->key(*select), QStringLiteral("Current"))) {
            current = *n;
        }
    }
    currentControlSet_ = QStringLiteral("ControlSet%1").arg(current, 3, 10, QLatin1Char('0'));
}

std::unique_ptr<RegistryKey> HiveRegistry::openKey(RootKey root, const QString& path) const {
    QStringList parts = QString(path).replace(QLatin1Char('/'), QLatin1Char('\\'))
                            .split(QLatin1Char('\\'), Qt::SkipEmptyParts);
    const HiveFile* hive = nullptr;
    if (root == RootKey::CurrentUser) {
        hive = hives_.user.get();
    } else if (root == RootKey::LocalMachine && !parts.isEmpty()) {
        const QString top = parts.takeFirst();
        if (top.compare(QLatin1String("SYSTEM"), Qt::CaseInsensitive) == 0) {
            hive = hives_.system.get();
            if (!parts.isEmpty() &&
                parts.first().compare(QLatin1String("CurrentControlSet"), Qt::CaseInsensitive) == 0) {
                parts.first() = currentControlSet_;
            }
        } else if (top.compare(QLatin1String("SOFTWARE"), Qt::CaseInsensitive) == 0) {
            hive = hives_.software.get();
        }
    }
    if (!hive) return nullptr;
    const auto node = hive->walk(parts);
    if (!node) return nullptr;
    return hive->key(*node);
}

}  // namespace kestrova
