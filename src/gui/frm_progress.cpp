#include "gui/frm_progress.h"

#include <QCloseEvent>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace kestrova {

FrmProgress::FrmProgress(RunControl& run, QWidget* parent) : QDialog(parent), run_(run) {
    setWindowTitle(QStringLiteral("Analyzing..."));
    setObjectName(QStringLiteral("frmProgress"));
    Label1 = new QLabel(this);
    PBar1 = new QProgressBar(this);
    Command1 = new QPushButton(QStringLiteral("Cancel"), this);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(Label1);
    layout->addWidget(PBar1);
    layout->addWidget(Command1, 0, Qt::AlignRight);
    connect(Command1, &QPushButton::clicked, this, [this] {
        run_.stopRequested = true;
        close();
    });
    resize(360, 120);
}

void FrmProgress::closeEvent(QCloseEvent* event) {
    run_.stopRequested = true;
    QDialog::closeEvent(event);
}

void FrmProgress::reject() {
    run_.stopRequested = true;
    QDialog::reject();
}

}  // namespace kestrova
