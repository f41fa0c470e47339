// What the registry kinds share: every user's hives, the machine's hives, key times, MRU orders.
// Hives come from TraceContext::hive (opened once, replayed where dirty); keys are addressed by
// "\"-separated paths below a hive's root, matched case-insensitively.
#pragma once

#include <QString>
#include <QTimeZone>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "core/time/iso_time.h"
#include "traces/trace_context.h"

namespace kestrova {

struct UserHive {
    const UserProfile* user;
    QString path;  // the hive's Windows path
    std::shared_ptr<HiveFile> hive;
};

enum class UserHiveKind { NtUser, UsrClass };

// The hive of that kind of every user that has one (others are skipped; a damaged one is noted).
std::vector<UserHive> userHives(TraceContext& context, UserHiveKind kind);

inline const QString kSystemHive = QStringLiteral("C:\\Windows\\System32\\config\\SYSTEM");
inline const QString kSoftwareHive = QStringLiteral("C:\\Windows\\System32\\config\\SOFTWARE");

// The key at that path below the root; nullopt when it is not there.
std::optional<HiveFile::Node> keyAt(const HiveFile& hive, const QString& path);
// A key's last-written time.
std::optional<UtcMicros> keyTime(const HiveFile& hive, HiveFile::Node node);
// SYSTEM's current control set ("ControlSet001"), from Select\Current; "" when unknown.
QString currentControlSet(const HiveFile& system);
// Minutes to add to the examined system's local time for UTC (TimeZoneInformation's
// ActiveTimeBias of control set `ccs`, the zone as it was last in force); 0 where it is not kept.
int activeTimeBias(const HiveFile& system, const QString& ccs);
// The examined system's zone as it was last in force, as a fixed offset from UTC (its SYSTEM
// hive's current control set); UTC where the volume does not say.
QTimeZone examinedZone(TraceContext& context);
// Every USB device instance of SYSTEM's control set `ccs`: Enum\USBSTOR's, then Enum\USB's (root
// hubs left out), each as its class, device key and instance key (whose name is the serial) to
// `each` (false: stop). The devices windows.usb lists.
void forEachUsbInstance(const HiveFile& system, const QString& ccs,
                        const std::function<bool(const char* deviceClass, const HiveFile::Named& device, const HiveFile::Named& instance)>& each);

// The value names of an MRU key in most-recent-first order: MRUListEx (4-byte indexes ended by
// 0xFFFFFFFF) or MRUList (one letter a value). Names the list repeats or that are not there are
// left out; an MRU key without a list gives its values in hive order.
QStringList mruOrder(const HiveFile& hive, HiveFile::Node node);

// A value's data as text: REG_SZ/EXPAND_SZ (and untyped UTF-16) up to the first NUL.
QString valueText(const RegValueData& data);
// The text of a key's value of that name; "" when there is none.
QString textAt(const HiveFile& hive, HiveFile::Node node, const QString& name);

// ROT13 over the Latin letters, as UserAssist stores its names.
QString rot13(const QString& text);

// The user whose profile folder a SID names (SOFTWARE's ProfileList), "" when none does.
QString userOfSid(TraceContext& context, const QString& sid);
// Every SID this volume names an account for, with the name userOfSid gives it: ProfileList's,
// the service accounts, and each user's UsrClass.dat. Made before a contained child reads, which
// must not open hives itself.
std::map<QString, QString> knownAccounts(TraceContext& context);

}  // namespace kestrova
