#include "core/app/startup.h"

#include <cmath>

#include "core/time/date_value.h"
#include "core/time/mod_covert.h"

namespace kestrova {

QString settleReportFolder(IniFile& settings, const OsApi& os) {
    QString folder = os.SpecialFolder(5);
    if (!settings.GetSetting(kGeneral, QStringLiteral("ReportFolder")).isEmpty()) {
        folder = settings.GetSetting(kGeneral, QStringLiteral("ReportFolder"));
    } else {
        folder = os.SpecialFolder(5);
        settings.SaveSetting(kGeneral, QStringLiteral("ReportFolder"), folder);
    }
    return folder;
}

std::optional<UpdateCheckDecision> decideUpdateCheck(const IniFile& settings, const QDate& today, QString* fatal) {
    const QString stored = settings.GetSetting(kGeneral, QStringLiteral("lastcheckupdate"));
    const QDate last = parseShortDate(stored);
    if (!last.isValid()) {
        if (fatal) {
            *fatal = QStringLiteral("Type mismatch: \"lastcheckupdate\" in section [general] of %1 is \"%2\", "
                                    "which is not a date. Kestrova cannot start; put the date of the last "
                                    "update check there, for example %3.")
                         .arg(settings.path(), stored, shortDateText(today));
        }
        return std::nullopt;
    }
    UpdateCheckDecision decision;
    const double interval = leadingNumber(settings.GetSetting(kGeneral, QStringLiteral("CheckInterval")));
    decision.checkInterval = std::isfinite(interval) && std::fabs(interval) < 1e9 ? static_cast<int>(std::trunc(interval)) : 0;
    decision.runSilentCheck = last.daysTo(today) > decision.checkInterval;
    return decision;
}

}  // namespace kestrova
