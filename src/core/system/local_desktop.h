// The machine Kestrova runs on: where it lives, where it may write, and the desktop's "open"
// action. Everything written (settings, reports) goes here, never into the analysed system.
#pragma once

#include <QString>

namespace kestrova {

class LocalDesktop {
public:
    virtual ~LocalDesktop() = default;
    virtual QString programFolder() const = 0;  // without a trailing separator
    virtual QString documentsFolder() const = 0;
    virtual QString desktopFolder() const = 0;
    virtual QString appDataFolder() const = 0;
    virtual QString tempFolder() const = 0;
    // Hands a file, folder or address to the desktop's opener; the result is not waited for.
    virtual void open(const QString& target) = 0;
};

}  // namespace kestrova
