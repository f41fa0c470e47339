// The machine Kestrova runs on: where it lives, where it may write, and the desktop's "open"
// action. Everything written (settings, reports) goes here, never into the analysed system.
#pragma once

#include <QIODevice>
#include <QString>
#include <memory>

#include "core/common/findings.h"

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
    // A local file the user named explicitly (not one of the volume's), opened for reading if it
    // is a regular file; nullptr, with the reason noted, otherwise.
    virtual std::unique_ptr<QIODevice> openLocalFile(const QString& localPath, Findings& findings) const = 0;
    // Ends every process of this machine whose name contains the text (case-insensitively), by
    // the names the kernel reports and then by the executables' base names; no waiting.
    virtual void terminateProcesses(const QString& nameContains) = 0;
    // Starts a program on its own, without waiting; false when it cannot be started.
    virtual bool startProgram(const QString& program) = 0;
};

}  // namespace kestrova
