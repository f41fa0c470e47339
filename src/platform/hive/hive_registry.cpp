#include "platform/hive/hive_registry.h"

#include "core/registry/reg_api.h"

namespace kestrova {
namespace {

QStringList partsOf(const QString& path) {
    return QString(path).replace(QLatin1Char('/'), QLatin1Char('\\')).split(QLatin1Char('\\'), Qt::SkipEmptyParts);
}

QString rootName(RootKey root) {
    return root == RootKey::CurrentUser ? QStringLiteral("HKEY_CURRENT_USER")
           : root == RootKey::LocalMachine ? QStringLiteral("HKEY_LOCAL_MACHINE")
                                           : QStringLiteral("HKEY_OTHER");
}

QString keyText(RootKey root, const QString& path) {
    return QStringLiteral("key ") + rootName(root) + QLatin1Char('\\') + partsOf(path).join(QLatin1Char('\\'));
}

}  // namespace

HiveRegistry::HiveRegistry(HiveSet hives, Findings* findings) : hives_(std::move(hives)), findings_(findings) {
    if (!hives_.system.file) return;
    // A SYSTEM hive holds the control sets as ControlSet00N; Select names the one in use. A hive
    // without a readable Select is taken to use the first set, which is what a fresh install has.
    quint32 current = 1;
    if (const auto select = hives_.system.file->walk({QStringLiteral("Select")})) {
        if (const auto n = dwordValue(*hives_.system.file->key(*select), QStringLiteral("Current"))) {
            current = *n;
        }
    }
    currentControlSet_ = QStringLiteral("ControlSet%1").arg(current, 3, 10, QLatin1Char('0'));
}

const HiveSlot* HiveRegistry::slotFor(RootKey root, QStringList& parts) const {
    if (root == RootKey::CurrentUser) return &hives_.user;
    if (root != RootKey::LocalMachine || parts.isEmpty()) return nullptr;
    const QString top = parts.takeFirst();
    if (top.compare(QLatin1String("SYSTEM"), Qt::CaseInsensitive) == 0) {
        if (!parts.isEmpty() && parts.first().compare(QLatin1String("CurrentControlSet"), Qt::CaseInsensitive) == 0) {
            parts.first() = currentControlSet_;
        }
        return &hives_.system;
    }
    if (top.compare(QLatin1String("SOFTWARE"), Qt::CaseInsensitive) == 0) return &hives_.software;
    return nullptr;
}

std::unique_ptr<RegistryKey> HiveRegistry::openKey(RootKey root, const QString& path) const {
    QStringList parts = partsOf(path);
    const HiveSlot* slot = slotFor(root, parts);
    if (!slot || !slot->file) return nullptr;
    const auto node = slot->file->walk(parts);
    if (!node) return nullptr;
    return slot->file->key(*node);
}

void HiveRegistry::noteUnopenable(RootKey root, const QString& path) const {
    if (!findings_) return;
    QStringList parts = partsOf(path);
    const HiveSlot* slot = slotFor(root, parts);
    if (slot && slot->problem) {
        findings_->note(slot->problem->kind, slot->problem->what, slot->problem->why);
    } else {
        findings_->note(FindingKind::Absent, keyText(root, path));
    }
}

void HiveRegistry::noteMissingValue(RootKey root, const QString& path, const QString& name) const {
    if (findings_) findings_->note(FindingKind::Absent, keyText(root, path) + QStringLiteral(" value \"") + name + '"');
}

}  // namespace kestrova
