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
    userBox->setEditable(true);
    auto* rootRow = new QHBoxLayout;
    rootRow->addWidget(rootEdit);
    rootRow->addWidget(browse);
    auto* form = new QFormLayout(this);
    form->addRow(new QLabel(QStringLiteral("The folder that stands for C:\\ (a mounted Windows partition or a copy of one)"), this));
    form->addRow(QStringLiteral("Windows folder"), rootRow);
    form->addRow(QStringLiteral("User profile"), userBox);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(browse, &QPushButton::clicked, this, [this] {
        const QString folder = QFileDialog::getExistingDirectory(this, QStringLiteral("Select a Folder..."), rootEdit->text());
        if (!folder.isEmpty()) rootEdit->setText(folder);
    });
    connect(rootEdit, &QLineEdit::editingFinished, this, &FrmChooseSystem::refreshProfiles);
    connect(rootEdit, &QLineEdit::textChanged, this, &FrmChooseSystem::refreshProfiles);
    refreshProfiles();
    userBox->setCurrentText(current.user);
    resize(560, 160);
}

void FrmChooseSystem::refreshProfiles() {
    const QString keep = userBox->currentText();
    userBox->clear();
    userBox->addItems(VolumeSystem::profiles(rootEdit->text()));
    if (!keep.isEmpty()) userBox->setCurrentText(keep);
}

Source FrmChooseSystem::chosen() const {
    return Source{rootEdit->text().trimmed(), userBox->currentText().trimmed(), QStringLiteral("kr.ini")};
}

}  // namespace kestrova
