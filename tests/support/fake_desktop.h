// A local desktop with fixed folders that records what it was asked to open.
#pragma once

#include <QStringList>

#include "core/system/local_desktop.h"

namespace kestrova::test {

class FakeDesktop : public LocalDesktop {
public:
    QString programFolder() const override { return program; }
    QString documentsFolder() const override { return documents; }
    QString desktopFolder() const override { return QStringLiteral("/home/u/Desktop"); }
    QString appDataFolder() const override { return QStringLiteral("/home/u/.local/share"); }
    QString tempFolder() const override { return QStringLiteral("/tmp"); }
    void open(const QString& target) override { opened.append(target); }

    QString program = QStringLiteral("/opt/kestrova");
    QString documents = QStringLiteral("/home/u/Documents");
    QStringList opened;
};

}  // namespace kestrova::test
