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
    const QDate last = parseDateText(stored);
    if (!last.isValid()) {
        // Not caught on purpose: a settings file without this date is not one the program was
        // delivered with. Only the message says what is wrong, in the user's terms.
        const QString what = stored == kUnknownValue
                                 ? QStringLiteral("has no key \"lastcheckupdate\" in section [general]")
                                 : QStringLiteral("holds \"%1\" as \"lastcheckupdate\" in section [general], which is "
                                                  "not a date")
                                       .arg(stored);
        if (fatal) {
            *fatal = QStringLiteral("Type mismatch: %1 %2. Kestrova cannot start; put the date of the last update "
                                    "check there, for example lastcheckupdate=%3.")
                         .arg(settings.path(), what, today.toString(Qt::ISODate));
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
