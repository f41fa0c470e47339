// frmProgress ("Analyzing..."): shows that a long reader runs and lets the user cancel it.
// Cancel, and closing the window by any means, set StopRequested.
#pragma once

#include <QDialog>

class QLabel;
class QProgressBar;
class QPushButton;

namespace kestrova {

class FrmProgress : public QDialog {
    Q_OBJECT
public:
    FrmProgress(bool& stopRequested, QWidget* parent = nullptr);
    QLabel* Label1;
    QProgressBar* PBar1;
    QPushButton* Command1;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    bool& stopRequested_;
};

}  // namespace kestrova
