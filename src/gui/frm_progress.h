// frmProgress ("Analyzing..."): shows that a long reader runs and lets the user cancel it.
// Cancel, and closing the window by any means (Escape among them), set StopRequested on the
// program's run control, which outlives any session.
#pragma once

#include <QDialog>

#include "core/frame/run_control.h"

class QLabel;
class QProgressBar;
class QPushButton;

namespace kestrova {

class FrmProgress : public QDialog {
    Q_OBJECT
public:
    FrmProgress(RunControl& run, QWidget* parent = nullptr);
    QLabel* Label1;
    QProgressBar* PBar1;
    QPushButton* Command1;

protected:
    void closeEvent(QCloseEvent* event) override;
    // Escape closes a dialog without a close event; it stops the reader all the same.
    void reject() override;

private:
    RunControl& run_;
};

}  // namespace kestrova
