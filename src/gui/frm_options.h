// FrmOptions: where reports are written. Browse takes whatever the folder picker answers, also
// the empty text of a cancelled picker; the confirmed folder goes into kr.ini.
#pragma once

#include <QDialog>

#include "core/settings/ini_file.h"
#include "core/settings/os_api.h"

class QGroupBox;
class QLineEdit;
class QPushButton;

namespace kestrova {

class FrmOptions : public QDialog {
    Q_OBJECT
public:
    FrmOptions(QString& reportFolder, IniFile& settings, const OsApi& os, QWidget* parent = nullptr);
    QGroupBox* Frame1;
    QLineEdit* Text1;
    QPushButton* Command3;
    QPushButton* Command1;
    QPushButton* Command2;

private:
    QString& reportFolder_;
    IniFile& settings_;
};

}  // namespace kestrova
