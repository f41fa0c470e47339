#include "gui/frm_create_report.h"

#include <QCheckBox>
#include <QFileDialog>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace kestrova {

QString proposedReportFile(QString& reportFolder, const QString& computerName) {
    // The program-wide folder itself loses its trailing separator; the change stays for the run.
    if (reportFolder.endsWith(QLatin1Char('\\')) || reportFolder.endsWith(QLatin1Char('/'))) reportFolder.chop(1);
    const QString name = QStringLiteral("Report_for_") + computerName + QStringLiteral(".htm");
    // An empty folder leaves a path relative to the current folder, as it always did.
    return reportFolder.isEmpty() ? name : reportFolder + QLatin1Char('/') + name;
}

FrmCreateReport::FrmCreateReport(QString& reportFolder, const OsApi& os, RunControl& run, ReportWriter* writer,
                                 QWidget* parent)
    : QDialog(parent), reportFolder_(reportFolder), run_(run), writer_(writer) {
    setWindowTitle(QStringLiteral("Create Report"));
    setObjectName(QStringLiteral("FrmCreateReport"));
    Label2 = new QLabel(QStringLiteral("Report File"), this);
    Text1 = new QLineEdit(this);
    Command3 = new QPushButton(QStringLiteral("Browse"), this);
    Frame1 = new QGroupBox(QStringLiteral("Create Report for"), this);
    Check1 = new QCheckBox(QStringLiteral("Internet Explorer"), Frame1);
    Check2 = new QCheckBox(QStringLiteral("Windows"), Frame1);
    Check3 = new QCheckBox(QStringLiteral("Mozilla Firefox"), Frame1);
    Check4 = new QCheckBox(QStringLiteral("Google Chrome"), Frame1);
    Check5 = new QCheckBox(QStringLiteral("Index.dat file"), Frame1);
    for (QCheckBox* box : {Check1, Check2, Check3, Check4}) box->setChecked(true);
    Command1 = new QPushButton(QStringLiteral("Start Create Report"), this);
    Command2 = new QPushButton(QStringLiteral("skip"), this);
    PBar1 = new QProgressBar(this);
    Label1 = new QLabel(this);

    auto* checks = new QGridLayout(Frame1);
    checks->addWidget(Check1, 0, 0);
    checks->addWidget(Check2, 0, 1);
    checks->addWidget(Check3, 1, 0);
    checks->addWidget(Check4, 1, 1);
    checks->addWidget(Check5, 2, 0);
    auto* layout = new QGridLayout(this);
    layout->addWidget(Label2, 0, 0);
    layout->addWidget(Text1, 0, 1);
    layout->addWidget(Command3, 0, 2);
    layout->addWidget(Frame1, 1, 0, 1, 3);
    layout->addWidget(Label1, 2, 0, 1, 3);
    layout->addWidget(PBar1, 3, 0, 1, 3);
    layout->addWidget(Command2, 4, 1, Qt::AlignRight);
    layout->addWidget(Command1, 4, 2);

    saveDialog_ = [this](const QString& title, const QString& filter, const QString& folder) {
        return QFileDialog::getSaveFileName(this, title, folder, filter);
    };

    // Load.
    PBar1->hide();
    Command2->hide();
    Text1->setText(proposedReportFile(reportFolder_, os.ComputerName()));

    connect(Command3, &QPushButton::clicked, this, [this] {
        const QString chosen = saveDialog_(QStringLiteral("Save Report File"), QStringLiteral("HTML file (*.htm)"), reportFolder_);
        // A path longer than the dialog's 254 characters is refused, never cut.
        if (!chosen.isEmpty() && chosen.size() <= kDialogPathLimit) Text1->setText(chosen);
    });
    connect(Command2, &QPushButton::clicked, this, [this] {
        run_.skipRequested = true;
        Command2->hide();
    });
    connect(Command1, &QPushButton::clicked, this, &FrmCreateReport::startReport);
    resize(520, 240);
}

ReportSelection FrmCreateReport::selection() const {
    auto value = [](const QCheckBox* box) { return box->isChecked() ? 1 : 0; };
    return ReportSelection{value(Check1), value(Check2), value(Check3), value(Check4), value(Check5)};
}

void FrmCreateReport::startReport() {
    if (!writer_ || run_.running) return;
    const RunningScope running(run_);
    run_.skipRequested = false;
    writer_->WriteHTML(Text1->text(), selection(), [this](const QString& text) { Label1->setText(text); },
                       [this](bool shown) { Command2->setVisible(shown); });
    run_.skipRequested = false;
}

}  // namespace kestrova
