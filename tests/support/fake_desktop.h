// A local desktop with fixed folders that records what it was asked to open.
#pragma once

#include <QFile>
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
    std::unique_ptr<QIODevice> openLocalFile(const QString& localPath, Findings& findings) const override {
        auto file = std::make_unique<QFile>(localPath);
        if (file->open(QIODevice::ReadOnly)) return file;
        findings.note(FindingKind::Absent, "local file " + localPath);
        return nullptr;
    }

    void terminateProcesses(const QString& nameContains) override { terminated.append(nameContains); }
    bool startProgram(const QString& program) override {
        started.append(program);
        return false;  // as if the updater were missing
    }
    QStringList started;

    QString program = QStringLiteral("/opt/kestrova");
    QStringList terminated;
    QString documents = QStringLiteral("/home/u/Documents");
    QStringList opened;
};

}  // namespace kestrova::test
