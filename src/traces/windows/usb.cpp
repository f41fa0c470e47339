// USB devices from the SYSTEM hive: Enum\USBSTOR (mass storage: vendor, product, revision from
// the device key's name, the serial from its instance key) and Enum\USB (every USB device by
// vendor and product id), with the install, arrival and removal times Windows 7 and later keep
// in each instance's Properties ({83da6326-...}\0064, 0066, 0067); the drive letter and volume
// GUID that MountedDevices gives the serial; the users whose MountPoints2 know that volume; and
// the first install the device installation log records (setupapi.dev.log, local time).
#include <QRegularExpression>

#include "core/common/byte_view.h"
#include "traces/windows/activity_decoders.h"
#include "traces/windows/registry_walk.h"
#include "traces/windows/windows_fields.h"
#include "traces/windows/windows_sources.h"

namespace kestrova {
namespace {

namespace usbf = windowsfields::usb;

// A device property time: Properties\{83da6326-...}\0064 (Windows 8+: the key's default value)
// or \00000064\00000000 "Data" (Windows 7); a FILETIME either way.
std::optional<UtcMicros> propertyTime(const HiveFile& hive, HiveFile::Node instance, const char* id) {
    const auto props = hive.child(instance, QStringLiteral("Properties"));
    const auto set = props ? hive.child(*props, QStringLiteral("{83da6326-97a6-4088-9453-a1923f573b29}")) : std::nullopt;
    if (!set) return std::nullopt;
    const QString shortId = QLatin1String(id);
    for (const QString& name : {shortId, QStringLiteral("0000") + shortId}) {
        const auto key = hive.child(*set, name);
        if (!key) continue;
        for (const HiveFile::NamedValue& v : hive.values(*key)) {
            if (v.data.bytes.size() >= 8) return utc::fromFileTime(static_cast<int64_t>(ByteView(v.data.bytes).u64(0)));
        }
        if (const auto sub = hive.child(*key, QStringLiteral("00000000"))) {
            if (const auto data = hive.value(*sub, QStringLiteral("Data")); data && data->bytes.size() >= 8) {
                return utc::fromFileTime(static_cast<int64_t>(ByteView(data->bytes).u64(0)));
            }
        }
    }
    return std::nullopt;
}

struct Mount {
    QString letter, volume;
};

// MountedDevices' values whose data names a device ("_??_USBSTOR#Disk&Ven_..#SERIAL#{...}"),
// by that text, upper-cased.
std::vector<std::pair<QString, Mount>> mountedDevices(const HiveFile& system) {
    std::vector<std::pair<QString, Mount>> mounts;
    const auto node = keyAt(system, QStringLiteral("MountedDevices"));
    if (!node) return mounts;
    for (const HiveFile::NamedValue& v : system.values(*node)) {
        const QString device = ByteView(v.data.bytes).utf16z(0);
        if (!device.contains(QLatin1Char('#'))) continue;
        auto it = std::find_if(mounts.begin(), mounts.end(), [&](const auto& m) { return m.first == device.toUpper(); });
        if (it == mounts.end()) {
            mounts.push_back({device.toUpper(), {}});
            it = std::prev(mounts.end());
        }
        if (v.name.startsWith(QLatin1String("\\DosDevices\\"), Qt::CaseInsensitive)) it->second.letter = v.name.mid(12);
        else if (v.name.contains(QLatin1String("Volume{"), Qt::CaseInsensitive)) it->second.volume = v.name.mid(v.name.indexOf(QLatin1Char('{')));
    }
    return mounts;
}

void usbDevices(TraceContext& context, TraceSink& sink, const std::shared_ptr<HiveFile>& system, const QByteArray& setupLog,
                const std::vector<std::pair<QString, QString>>& userMounts) {
    const HiveFile& hive = *system;
    const QString ccs = currentControlSet(hive);
    if (ccs.isEmpty()) {
        context.note(FindingKind::Damaged, QStringLiteral("SYSTEM hive ") + kSystemHive, QStringLiteral("no Select\\Current control set"));
        return;
    }
    const auto installs = setupApiInstalls(setupLog, activeTimeBias(hive, ccs));
    const auto mounts = mountedDevices(hive);
    forEachUsbInstance(hive, ccs, [&](const char* deviceClass, const HiveFile::Named& device, const HiveFile::Named& instance) {
        using namespace usbf;
        OwnedRecord<Count> r;
        r.text(DeviceClass, QLatin1String(deviceClass));
        // USBSTOR: "Disk&Ven_HP&Prod_v100w&Rev_1024"; USB: "VID_0781&PID_5567".
        for (const QString& part : device.name.split(QLatin1Char('&'))) {
            const QString upper = part.toUpper();
            if (upper.startsWith(QLatin1String("VEN_")) || upper.startsWith(QLatin1String("VID_"))) r.text(Vendor, part.mid(4));
            else if (upper.startsWith(QLatin1String("PROD_")) || upper.startsWith(QLatin1String("PID_"))) r.text(Product, part.mid(upper.startsWith(QLatin1String("PID_")) ? 4 : 5));
            else if (upper.startsWith(QLatin1String("REV_"))) r.text(Revision, part.mid(4));
        }
        r.text(Serial, instance.name);
        r.text(FriendlyName, textAt(hive, instance.node, QStringLiteral("FriendlyName")));
        r.time(FirstInstall, propertyTime(hive, instance.node, "0064"));
        r.time(LastArrival, propertyTime(hive, instance.node, "0066"));
        r.time(LastRemoval, propertyTime(hive, instance.node, "0067"));
        r.time(KeyWritten, keyTime(hive, instance.node));
        const QString marker = QLatin1Char('#') + instance.name.toUpper() + QLatin1Char('#');
        for (const auto& [text, mount] : mounts) {
            if (!text.contains(marker)) continue;
            r.text(DriveLetter, mount.letter);
            r.text(VolumeGuid, mount.volume);
            QStringList users;
            for (const auto& [user, guid] : userMounts) {
                if (!mount.volume.isEmpty() && guid.compare(mount.volume, Qt::CaseInsensitive) == 0 && !users.contains(user)) users << user;
            }
            r.text(Users, users.join(QStringLiteral(", ")));
        }
        const QString instanceId = (QLatin1String(deviceClass) + QLatin1Char('\\') + device.name + QLatin1Char('\\') + instance.name).toUpper();
        for (const auto& [id, when] : installs) {
            if (id == instanceId) {
                r.time(SetupApiInstall, when);
                break;
            }
        }
        const QString keyPath = ccs + QStringLiteral("\\Enum\\") + QLatin1String(deviceClass) + QLatin1Char('\\') + device.name +
                                QLatin1Char('\\') + instance.name;
        return context.deliver(sink, Provenance{{}, {}, {}, kSystemHive.toUtf8(), keyPath.toUtf8()}, r.values());
    });
}

}  // namespace

// First installs by device instance ("USBSTOR\DISK&VEN_..\SERIAL", upper-cased) from the device
// installation log. Its times are local; the zone's current bias (minutes, UTC = local + bias)
// turns them into UTC, which is off by the daylight saving difference for an install made in the
// other season: the log's text stays beside it to tell.
std::vector<std::pair<QString, UtcMicros>> setupApiInstalls(const QByteArray& log, int biasMinutes) {
    std::vector<std::pair<QString, UtcMicros>> installs;
    static const QRegularExpression device(QStringLiteral(R"(^>>>\s+\[Device Install.*? - (.+)\]\s*$)"));
    static const QRegularExpression start(QStringLiteral(R"(^>>>\s+Section start (\d{4})/(\d\d)/(\d\d) (\d\d):(\d\d):(\d\d)\.(\d{3}))"));
    QString pending;
    for (const QByteArray& raw : log.split('\n')) {
        const QString line = QString::fromUtf8(raw).trimmed();
        if (const auto m = device.match(line); m.hasMatch()) {
            pending = m.captured(1).toUpper();
            continue;
        }
        if (pending.isEmpty()) continue;
        if (const auto m = start.match(line); m.hasMatch()) {
            const int64_t days = daysFromCivil(m.captured(1).toInt(), m.captured(2).toUInt(), m.captured(3).toUInt());
            const int64_t seconds = ((days * 24 + m.captured(4).toInt()) * 60 + m.captured(5).toInt() + biasMinutes) * 60 + m.captured(6).toInt();
            installs.push_back({pending, seconds * 1000000 + m.captured(7).toInt() * 1000});
        }
        pending.clear();
    }
    return installs;
}

void windowsUsb(TraceContext& context, TraceSink& sink) {
    const auto system = context.hive(kSystemHive);
    if (!system) return;
    QByteArray setupLog;
    for (const QString& path : {QStringLiteral("C:\\Windows\\INF\\setupapi.dev.log"), QStringLiteral("C:\\Windows\\setupapi.log")}) {
        if (context.exists(path)) setupLog += context.readSmallFile(path, 256 << 20).value_or(QByteArray());
    }
    // Which users' Explorer saw which volume: MountPoints2's {GUID} subkeys.
    std::vector<std::pair<QString, QString>> userMounts;
    for (const UserHive& h : userHives(context, UserHiveKind::NtUser)) {
        if (const auto node = keyAt(*h.hive, QStringLiteral("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\MountPoints2"))) {
            for (const HiveFile::Named& m : h.hive->children(*node)) {
                if (m.name.startsWith(QLatin1Char('{'))) userMounts.emplace_back(h.user->name, m.name);
            }
        }
    }
    usbDevices(context, sink, system, setupLog, userMounts);
}

}  // namespace kestrova
