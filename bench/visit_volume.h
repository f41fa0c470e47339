// The volume the traces benchmarks read: a Chrome History and a Firefox places.sqlite of N visits
// each in alice's profile, and the reference every ratio is taken against, the sqlite3 command
// line writing the same visit rows (the equivalent joins) as CSV, one database after the other.
#pragma once

#include <QString>
#include <cstdio>
#include <optional>

#include "browsers/trace_volume.h"
#include "process_run.h"

namespace kestrova::bench {

struct VisitVolume {
    QByteArray history;  // the Chrome History
    QByteArray places;   // the Firefox places.sqlite
};

inline std::optional<VisitVolume> writeVisitVolume(const QString& root, int visits, const QString& user = QStringLiteral("alice")) {
    const QString chrome = root + "/Users/" + user + "/AppData/Local/Google/Chrome/User Data/Default";
    const QString firefox = root + "/Users/" + user + "/AppData/Roaming/Mozilla/Firefox/Profiles/a.default";
    QString error;
    std::printf("writing %d visits into each database...\n", visits);
    if (!tools::writeModernChromiumProfile(chrome, "chrome", visits, &error) ||
        !tools::writeModernFirefoxProfile(firefox, "firefox", visits, &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return std::nullopt;
    }
    return VisitVolume{(chrome + "/History").toUtf8(), (firefox + "/places.sqlite").toUtf8()};
}

// What the traces write of a visit, as each database holds it, best of three each.
inline ProcessRun chromeReference(const VisitVolume& v) {
    return bestOfThree({"sqlite3", "-csv", v.history,
                        "SELECT v.visit_time, u.url, u.title, v.transition, v.visit_duration, v.from_visit, v.id FROM visits v LEFT JOIN urls u ON u.id = v.url"});
}
inline ProcessRun firefoxReference(const VisitVolume& v) {
    return bestOfThree({"sqlite3", "-csv", v.places,
                        "SELECT v.visit_date, p.url, p.title, v.visit_type, v.from_visit, v.id FROM moz_historyvisits v LEFT JOIN moz_places p ON p.id = v.place_id"});
}

}  // namespace kestrova::bench
