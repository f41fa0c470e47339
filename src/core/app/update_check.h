// The update check: the product's version file fetched once, its leading number compared with
// this program's version (5.2, single precision), and the updater offered when it is newer.
// Silent from the window's load, interactive from Help > Check for new version.
//
// Kept as the product behaves: the fetched version starts as the sentinel 1.0, which also stands
// for "server unreachable" (a version file that really says 1.0 is reported the same way); a
// reply that does not begin with a number is 0 and counts as up to date; the question is asked
// in silent mode too; "LastCheckUpdate" is written only when a newer version was offered.
#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

#include "core/app/services.h"
#include "core/settings/ini_file.h"
#include "core/system/local_desktop.h"
#include "core/time/clock.h"

namespace kestrova {

// One HTTP GET of a small text file; nullopt when it fails or takes too long.
class VersionFetcher {
public:
    virtual ~VersionFetcher() = default;
    virtual std::optional<QByteArray> fetch(const QString& url) = 0;
};

// The check's message boxes (the program's title, an OK button / Yes and No).
class UpdateDialogs {
public:
    virtual ~UpdateDialogs() = default;
    virtual void notice(const QString& text) = 0;
    virtual bool ask(const QString& text) = 0;
};

// The shortest decimal text that reads back as the same single-precision value ("5.21").
QString shortestText(float value);

class CheckForUpdate : public UpdateCheck {
public:
    CheckForUpdate(VersionFetcher& fetcher, UpdateDialogs& dialogs, IniFile& settings, const Clock& clock,
                   LocalDesktop& desktop, QString versionFile)
        : fetcher_(fetcher), dialogs_(dialogs), settings_(settings), clock_(clock), desktop_(desktop),
          versionFile_(std::move(versionFile)) {}
    void check(bool silent) override;

private:
    VersionFetcher& fetcher_;
    UpdateDialogs& dialogs_;
    IniFile& settings_;
    const Clock& clock_;
    LocalDesktop& desktop_;
    QString versionFile_;
};

}  // namespace kestrova
