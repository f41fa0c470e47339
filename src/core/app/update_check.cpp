#include "core/app/update_check.h"

#include <charconv>

#include "core/app/startup.h"
#include "core/time/date_value.h"
#include "core/time/mod_covert.h"

namespace kestrova {

QString shortestText(float value) {
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return QString::fromLatin1(text, result.ptr - text);
}

void CheckForUpdate::check(bool silent) {
    float fetched = 1.0f;  // the sentinel: nothing came back
    if (const auto reply = fetcher_.fetch(versionFile_)) {
        fetched = static_cast<float>(leadingNumber(QString::fromLatin1(*reply)));
    }
    if (fetched == 1.0f) {
        if (!silent) dialogs_.notice(QStringLiteral("Failed to connect to server, please check your Internet connection"));
        return;
    }
    if (fetched > kProgramVersion) {
        const bool yes = dialogs_.ask(QStringLiteral("A new version ") + shortestText(fetched) +
                                      QStringLiteral(" is available for download now, would you like to download now?"));
        // The updater is started without waiting; that it is missing is not said.
        if (yes) desktop_.startProgram(desktop_.programFolder() + QStringLiteral("/liveupdate"));
        settings_.SaveSetting(QStringLiteral("General"), QStringLiteral("LastCheckUpdate"), shortDateText(clock_.today()));
        return;
    }
    if (!silent) {
        dialogs_.notice(QStringLiteral("You are using the latest version ") + shortestText(kProgramVersion) + QStringLiteral(" now"));
    }
}

}  // namespace kestrova
