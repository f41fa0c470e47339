#include "gui/frm_options.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "core/app/startup.h"

namespace kestrova {

FrmOptions::FrmOptions(QString& reportFolder, IniFile& settings, const OsApi& os, QWidget* parent)
    : QDialog(parent), reportFolder_(reportFolder), settings_(settings) {
    setWindowTitle(QStringLiteral("Options"));
    setObjectName(QStringLiteral("FrmOptions"));
    Frame1 = new QGroupBox(QStringLiteral("Report Folder"), this);
    Text1 = new QLineEdit(reportFolder_, Frame1);
    Command3 = new QPushButton(QStringLiteral("Browse"), Frame1);
    Command1 = new QPushButton(QStringLiteral("OK"), this);
    Command2 = new QPushButton(QStringLiteral("Cancel"), this);
    auto* row = new QHBoxLayout(Frame1);
    row->addWidget(Text1);
    row->addWidget(Command3);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(Command1);
    buttons->addWidget(Command2);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(Frame1);
    layout->addLayout(buttons);

    connect(Command3, &QPushButton::clicked, this, [this, &os] { Text1->setText(os.BrowseForFolder()); });
    connect(Command1, &QPushButton::clicked, this, [this] {
        reportFolder_ = Text1->text().trimmed();
        settings_.SaveSetting(kGeneral, QStringLiteral("ReportFolder"), reportFolder_);
        accept();
    });
    connect(Command2, &QPushButton::clicked, this, &QDialog::reject);
    resize(480, 130);
}

}  // namespace kestrova
