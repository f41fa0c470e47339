// FrmCreateReport: the report file (named after the computer by default), the groups of
// sections to write, and the button that starts the report writer.
#pragma once

#include <QDialog>
#include <functional>

#include "core/app/services.h"
#include "core/frame/run_control.h"
#include "core/settings/os_api.h"

class QCheckBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

namespace kestrova {

// The file dialogs offer a buffer of 255 characters, 254 of them for the path.
inline constexpr int kDialogPathLimit = 254;

// The save dialog: title, filter and starting folder in, the chosen path out ("" = cancelled).
using SaveFileDialogFn = std::function<QString(const QString& title, const QString& filter, const QString& folder)>;

class FrmCreateReport : public QDialog {
    Q_OBJECT
public:
    FrmCreateReport(QString& reportFolder, const OsApi& os, RunControl& run, ReportWriter* writer,
                    QWidget* parent = nullptr);
    void setSaveFileDialog(SaveFileDialogFn dialog) { saveDialog_ = std::move(dialog); }
    ReportSelection selection() const;
    bool skipRequested() const { return run_.skipRequested; }

    QLabel* Label2;
    QLineEdit* Text1;
    QPushButton* Command3;
    QGroupBox* Frame1;
    QCheckBox* Check1;
    QCheckBox* Check2;
    QCheckBox* Check3;
    QCheckBox* Check4;
    QCheckBox* Check5;
    QPushButton* Command1;
    QPushButton* Command2;
    QProgressBar* PBar1;
    QLabel* Label1;

private:
    void startReport();
    QString& reportFolder_;
    RunControl& run_;
    ReportWriter* writer_;
    SaveFileDialogFn saveDialog_;
};

// The proposed report file for a report folder; the folder loses a trailing separator for good.
QString proposedReportFile(QString& reportFolder, const QString& computerName);

}  // namespace kestrova
