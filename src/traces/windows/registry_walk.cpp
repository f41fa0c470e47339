#include "traces/windows/registry_walk.h"

#include "core/common/byte_view.h"
#include "core/common/text.h"

namespace kestrova {

std::vector<UserHive> userHives(TraceContext& context, UserHiveKind kind) {
    std::vector<UserHive> hives;
    for (const UserProfile& user : context.users()) {
        const QString path = kind == UserHiveKind::NtUser ? user.folder + QStringLiteral("\\NTUSER.DAT")
                                                          : user.local + QStringLiteral("\\Microsoft\\Windows\\UsrClass.dat");
        if (auto hive = context.hive(path)) hives.push_back({&user, path, std::move(hive)});
    }
    return hives;
}

std::optional<HiveFile::Node> keyAt(const HiveFile& hive, const QString& path) {
    return hive.walk(path.split(QLatin1Char('\\'), Qt::SkipEmptyParts));
}

std::optional<UtcMicros> keyTime(const HiveFile& hive, HiveFile::Node node) {
    const auto stamp = hive.lastWritten(node);
    return stamp ? utc::fromFileTime(*stamp) : std::nullopt;
}

QString textAt(const HiveFile& hive, HiveFile::Node node, const QString& name) {
    const auto value = hive.value(node, name);
    return value ? valueText(*value) : QString();
}

QString currentControlSet(const HiveFile& system) {
    const auto select = keyAt(system, QStringLiteral("Select"));
    const auto current = select ? system.value(*select, QStringLiteral("Current")) : std::nullopt;
    if (!current || current->bytes.size() < 4) return QString();
    return QStringLiteral("ControlSet%1").arg(ByteView(current->bytes).u32(0), 3, 10, QLatin1Char('0'));
}

int activeTimeBias(const HiveFile& system, const QString& ccs) {
    const auto tz = keyAt(system, ccs + QStringLiteral("\\Control\\TimeZoneInformation"));
    const auto bias = tz ? system.value(*tz, QStringLiteral("ActiveTimeBias")) : std::nullopt;
    return bias && bias->bytes.size() >= 4 ? ByteView(bias->bytes).i32(0) : 0;
}

QTimeZone examinedZone(TraceContext& context) {
    if (!context.exists(kSystemHive)) return QTimeZone::utc();
    const auto system = context.hive(kSystemHive);
    const QString ccs = system ? currentControlSet(*system) : QString();
    return ccs.isEmpty() ? QTimeZone::utc() : QTimeZone(-60 * activeTimeBias(*system, ccs));
}

void forEachUsbInstance(const HiveFile& system, const QString& ccs,
                        const std::function<bool(const char* deviceClass, const HiveFile::Named& device, const HiveFile::Named& instance)>& each) {
    for (const char* deviceClass : {"USBSTOR", "USB"}) {
        const auto classKey = keyAt(system, ccs + QStringLiteral("\\Enum\\") + QLatin1String(deviceClass));
        if (!classKey) continue;
        for (const HiveFile::Named& device : system.children(*classKey)) {
            if (device.name.startsWith(QLatin1String("ROOT_HUB"), Qt::CaseInsensitive)) continue;
            for (const HiveFile::Named& instance : system.children(device.node)) {
                if (!each(deviceClass, device, instance)) return;
            }
        }
    }
}

QStringList mruOrder(const HiveFile& hive, HiveFile::Node node) {
    QStringList present;
    for (const HiveFile::NamedValue& v : hive.values(node)) present << v.name;
    QStringList order;
    const auto add = [&](const QString& name) {
        if (present.contains(name, Qt::CaseInsensitive) && !order.contains(name, Qt::CaseInsensitive)) order << name;
    };
    if (const auto ex = hive.value(node, QStringLiteral("MRUListEx"))) {
        const ByteView list(ex->bytes);
        for (size_t at = 0; list.has(at, 4) && list.u32(at) != 0xFFFFFFFFu; at += 4) add(QString::number(list.u32(at)));
    } else if (const auto letters = hive.value(node, QStringLiteral("MRUList"))) {
        for (const QChar c : valueText(*letters)) add(QString(c));
    } else {
        for (const QString& name : present) add(name);
    }
    return order;
}

QString valueText(const RegValueData& data) {
    return ByteView(data.bytes).utf16z(0);
}

QString rot13(const QString& text) {
    QString out = text;
    for (QChar& c : out) {
        const char16_t u = c.unicode();
        if (u >= 'a' && u <= 'z') c = QChar(char16_t('a' + (u - 'a' + 13) % 26));
        else if (u >= 'A' && u <= 'Z') c = QChar(char16_t('A' + (u - 'A' + 13) % 26));
    }
    return out;
}

QString userOfSid(TraceContext& context, const QString& sid) {
    // SOFTWARE's ProfileList names the profile folder of every account that logged on.
    if (const auto software = context.hive(kSoftwareHive)) {
        const auto key = keyAt(*software, QStringLiteral("Microsoft\\Windows NT\\CurrentVersion\\ProfileList\\") + sid);
        const QString folder = key ? textAt(*software, *key, QStringLiteral("ProfileImagePath")).section(QLatin1Char('\\'), -1) : QString();
        if (!folder.isEmpty()) return folder;
    }
    // The accounts Windows runs services under.
    static const std::pair<const char*, const char*> kWellKnown[] = {
        {"S-1-5-18", "SYSTEM"}, {"S-1-5-19", "LOCAL SERVICE"}, {"S-1-5-20", "NETWORK SERVICE"}};
    for (const auto& [known, name] : kWellKnown) {
        if (sid == QLatin1String(known)) return QLatin1String(name);
    }
    // Without SOFTWARE (a triage copy, a damaged hive): a user's UsrClass.dat is mounted by
    // Windows as "<SID>_Classes", and its root key keeps that name.
    for (const UserHive& classes : userHives(context, UserHiveKind::UsrClass)) {
        const QString root = classes.hive->nameOf(classes.hive->root());
        if (root.compare(sid + QStringLiteral("_Classes"), Qt::CaseInsensitive) == 0) return classes.user->name;
    }
    return QString();
}

std::map<QString, QString> knownAccounts(TraceContext& context) {
    std::map<QString, QString> accounts;
    for (const char* sid : {"S-1-5-18", "S-1-5-19", "S-1-5-20"}) accounts[QLatin1String(sid)] = userOfSid(context, QLatin1String(sid));
    if (const auto software = context.hive(kSoftwareHive)) {
        if (const auto list = keyAt(*software, QStringLiteral("Microsoft\\Windows NT\\CurrentVersion\\ProfileList"))) {
            for (const HiveFile::Named& sid : software->children(*list)) accounts[sid.name] = userOfSid(context, sid.name);
        }
    }
    for (const UserHive& classes : userHives(context, UserHiveKind::UsrClass)) {
        const QString root = classes.hive->nameOf(classes.hive->root());
        if (root.endsWith(QLatin1String("_Classes"), Qt::CaseInsensitive)) accounts.try_emplace(root.chopped(8), classes.user->name);
    }
    return accounts;
}

}  // namespace kestrova
