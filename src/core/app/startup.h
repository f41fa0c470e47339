// The start-up rules of the main program that are worth a test: where reports go, and whether
// the window's load runs the silent update check. Kept apart from the widgets that apply them.
#pragma once

#include <QDate>
#include <QString>
#include <optional>

#include "core/settings/ini_file.h"
#include "core/settings/os_api.h"

namespace kestrova {

inline constexpr float kProgramVersion = 5.2f;
inline const QString kGeneral = QStringLiteral("general");

// Steps 5 to 7 of start-up: the documents folder unless "ReportFolder" says otherwise. A value
// that is present is kept as it is (a missing key therefore reads "unknown value" and stays so,
// by design of the settings file); only an empty value is replaced, and written back.
QString settleReportFolder(IniFile& settings, const OsApi& os);

struct UpdateCheckDecision {
    int checkInterval = 0;
    bool runSilentCheck = false;
};

// Load steps 7 to 9: "lastcheckupdate" read as a local short date, "CheckInterval" as the whole
// number it starts with (0 when none). A date that is missing or broken cannot be converted and
// stops start-up: nullopt, with the reason in *fatal.
std::optional<UpdateCheckDecision> decideUpdateCheck(const IniFile& settings, const QDate& today, QString* fatal);

}  // namespace kestrova
