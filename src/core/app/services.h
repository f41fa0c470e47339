// Services the windows call that live elsewhere: the update check, the report writer, and the
// vendor's web addresses, which are configuration.
#pragma once

#include <QString>
#include <functional>

#include "core/settings/ini_file.h"

namespace kestrova {

class UpdateCheck {
public:
    virtual ~UpdateCheck() = default;
    // Silent from the window's load, interactive from the Help menu.
    virtual void check(bool silent) = 0;
};

// Which groups of sections a report holds: the report window's check boxes (1 = checked).
struct ReportSelection {
    int internetExplorer = 1;
    int windows = 1;
    int firefox = 1;
    int chrome = 1;
    int indexDat = 0;
};

class ReportWriter {
public:
    virtual ~ReportWriter() = default;
    // Writes the report to path and opens it with the desktop's "open" action. Progress texts go
    // to progress; showSkip shows or hides the skip button, which ends the index.dat section
    // through the run control's skip flag.
    virtual void WriteHTML(const QString& path, const ReportSelection& selection,
                           const std::function<void(const QString&)>& progress,
                           const std::function<void(bool)>& showSkip) = 0;
};

// The vendor's addresses: kr.ini section "vendor" may name others (keys "HomePage", "HelpPage",
// "VersionFile"); the defaults are placeholders under the reserved .example domain.
struct VendorAddresses {
    QString homePage = QStringLiteral("https://www.kestrova.example/");
    QString helpPage = QStringLiteral("https://www.kestrova.example/help/");
    QString versionFile = QStringLiteral("https://www.kestrova.example/version.txt");
    static VendorAddresses from(const IniFile& settings);
};

}  // namespace kestrova
