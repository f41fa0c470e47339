#include "core/app/services.h"

namespace kestrova {

VendorAddresses VendorAddresses::from(const IniFile& settings) {
    VendorAddresses addresses;
    const auto take = [&](const char* key, QString& into) {
        const QString value = settings.GetSetting(QStringLiteral("vendor"), QLatin1String(key));
        if (!value.isEmpty() && value != kUnknownValue) into = value;
    };
    take("HomePage", addresses.homePage);
    take("HelpPage", addresses.helpPage);
    take("VersionFile", addresses.versionFile);
    return addresses;
}

}  // namespace kestrova
