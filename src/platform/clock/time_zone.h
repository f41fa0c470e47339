// The zone the classic categories write their local times in. Their conversions read the
// process's local clock (localtime_r), as the product always read the machine's, so a zone is
// chosen by setting TZ for the whole process before anything is converted:
//   "local" (or "")  this machine's zone, as it was when the program started;
//   "UTC"            Coordinated Universal Time;
//   "system"         the examined system's own zone, from its SYSTEM hive (TimeZoneInformation);
//   an IANA name     "Europe/Berlin", "America/New_York".
// The examiner must be able to tell which zone a time is in, so each choice carries its name as
// shown beside the times (the window's title, the command line's --verbose).
#pragma once

#include <QByteArray>
#include <QString>
#include <QTimeZone>
#include <optional>

#include "core/registry/registry_backend.h"

namespace kestrova {

struct ZoneChoice {
    QByteArray tz;  // the TZ value; empty: the value the program started with
    QString name;   // "UTC", "Europe/Berlin", "this computer's zone (Europe/Berlin)"
    QTimeZone zone; // the same zone for exact times (the traces), which do not go through TZ
};

// The zone a choice names; nullopt, with the reason in *why, when it names none (an unknown name,
// a SYSTEM hive without a zone the program can map).
std::optional<ZoneChoice> resolveZone(const QString& choice, const RegistryBackend& registry, QString* why);

// Makes every local time written from now on a time in that zone.
void applyZone(const ZoneChoice& zone);
// Counts the zones put in force: what was worked out from the local clock in another generation
// is out of date.
unsigned zoneGeneration();

// The zone in force now and its offset from UTC at this moment: "Europe/Berlin, UTC+01:00".
QString zoneInForce();

// The examined system's zone as its SYSTEM hive names it (TimeZoneKeyName, or StandardName on
// systems before Vista); "" when the hive has none.
QString windowsZoneName(const RegistryBackend& registry);

}  // namespace kestrova
