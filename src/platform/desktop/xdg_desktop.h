// The local Linux desktop: the program's own folder, the XDG user folders, the temporary folder
// and xdg-open as the "open" action.
#pragma once

#include "core/system/local_desktop.h"

namespace kestrova {

class XdgDesktop : public LocalDesktop {
public:
    QString programFolder() const override;
    QString documentsFolder() const override;
    QString desktopFolder() const override;
    QString appDataFolder() const override;
    QString tempFolder() const override;
    void open(const QString& target) override;
    std::unique_ptr<QIODevice> openLocalFile(const QString& localPath, Findings& findings) const override;
    void terminateProcesses(const QString& nameContains) override;
    bool startProgram(const QString& program) override;
    // What xdg-open is given for a target: local paths as file URLs, anything else unchanged.
    static QString openerArgument(const QString& target);
};

}  // namespace kestrova
