#include "gui/frm_choose_system.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "platform/system/volume_system.h"

namespace kestrova {

FrmChooseSystem::FrmChooseSystem(const Source& current, QWidget* parent) : QDialog(parent) {
    setWindowTitle(QStringLiteral("Choose Windows System"));
    rootEdit = new QLineEdit(current.root, this);
    auto* browse = new QPushButton(QStringLiteral("Browse"), this);
    userBox = new QComboBox(this);
    problemLabel = new QLabel(this);
    problemLabel->setWordWrap(true);
    problemLabel->setStyleSheet(QStringLiteral("color: #a00000"));
    auto* rootRow = new QHBoxLayout;
    rootRow->addWidget(rootEdit);
    rootRow->addWidget(browse);
    auto* form = new QFormLayout(this);
    form->addRow(new QLabel(QStringLiteral("The folder that stands for C:\\ (a mounted Windows partition or a copy of one)"), this));
    form->addRow(QStringLiteral("Windows folder"), rootRow);
    form->addRow(QStringLiteral("User profile"), userBox);
    form->addRow(problemLabel);
    buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &FrmChooseSystem::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(browse, &QPushButton::clicked, this, [this] {
        const QString folder = QFileDialog::getExistingDirectory(this, QStringLiteral("Select a Folder..."), rootEdit->text());
        if (!folder.isEmpty()) rootEdit->setText(folder);
    });
    connect(rootEdit, &QLineEdit::textChanged, this, &FrmChooseSystem::refreshProfiles);
    connect(userBox, &QComboBox::currentTextChanged, this, &FrmChooseSystem::showProblem);
    refreshProfiles();
    const int at = userBox->findText(current.user, Qt::MatchFixedString);
    if (at >= 0) userBox->setCurrentIndex(at);
    resize(560, 180);
}

void FrmChooseSystem::refreshProfiles() {
    // The profiles of the folder now in the box; the user chosen before stays only if this
    // folder has that profile too, otherwise the only (or first) one is taken.
    const QString keep = userBox->currentText();
    const QSignalBlocker quiet(userBox);
    userBox->clear();
    userBox->addItems(VolumeSystem::profiles(rootEdit->text().trimmed()));
    const int at = userBox->findText(keep, Qt::MatchFixedString);
    userBox->setCurrentIndex(at >= 0 ? at : (userBox->count() > 0 ? 0 : -1));
    showProblem();
}

void FrmChooseSystem::showProblem() {
    const auto problem = sourceProblem(chosen());
    problemLabel->setText(problem.value_or(QString()));
    buttons->button(QDialogButtonBox::Ok)->setEnabled(!problem);
}

void FrmChooseSystem::accept() {
    showProblem();
    if (sourceProblem(chosen())) return;  // the dialog stays open and says why
    QDialog::accept();
}

Source FrmChooseSystem::chosen() const {
    return Source{.root = rootEdit->text().trimmed(), .user = userBox->currentText(), .origin = QStringLiteral("kr.ini")};
}

}  // namespace kestrova
