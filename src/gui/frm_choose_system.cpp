#include "gui/frm_choose_system.h"

#include <QComboBox>
#include <QDir>
#include <QFileInfo>
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
    rootEdit->setText(current.image.isEmpty() ? current.root : current.image);
    auto* browse = new QPushButton(QStringLiteral("Browse"), this);
    auto* browseImage = new QPushButton(QStringLiteral("Image..."), this);
    userBox = new QComboBox(this);
    problemLabel = new QLabel(this);
    problemLabel->setWordWrap(true);
    problemLabel->setStyleSheet(QStringLiteral("color: #a00000"));
    auto* rootRow = new QHBoxLayout;
    rootRow->addWidget(rootEdit);
    rootRow->addWidget(browse);
    rootRow->addWidget(browseImage);
    auto* form = new QFormLayout(this);
    form->addRow(new QLabel(QStringLiteral("The folder that stands for C:\\ (a mounted Windows partition or a copy of one), "
                                           "or a disk image (E01, raw, VHD, VHDX, VMDK, QCOW2)"),
                            this));
    form->addRow(QStringLiteral("Windows folder or image"), rootRow);
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
    connect(browseImage, &QPushButton::clicked, this, [this] {
        const QString file = QFileDialog::getOpenFileName(this, QStringLiteral("Open Disk Image"), rootEdit->text(), kDiskImageFilter);
        if (!file.isEmpty()) rootEdit->setText(file);
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
    const QString path = rootEdit->text().trimmed();
    image_.reset();
    if (QFileInfo(path).isFile()) {
        image_ = openImageSource(path, 0, QDir::tempPath());
        if (image_->volume) userBox->addItems(VolumeSystem::profiles(*image_->volume));
    } else {
        userBox->addItems(VolumeSystem::profiles(path));
    }
    const int at = userBox->findText(keep, Qt::MatchFixedString);
    userBox->setCurrentIndex(at >= 0 ? at : (userBox->count() > 0 ? 0 : -1));
    showProblem();
}

std::optional<QString> FrmChooseSystem::problem() const {
    if (!image_) return sourceProblem(chosen());
    if (!image_->volume) return image_->problem;
    return profileProblem(*image_->volume, rootEdit->text().trimmed(), userBox->currentText());
}

void FrmChooseSystem::showProblem() {
    const auto why = problem();
    problemLabel->setText(why.value_or(QString()));
    buttons->button(QDialogButtonBox::Ok)->setEnabled(!why);
}

void FrmChooseSystem::accept() {
    showProblem();
    if (problem()) return;  // the dialog stays open and says why
    QDialog::accept();
}

Source FrmChooseSystem::chosen() const {
    const QString path = rootEdit->text().trimmed();
    if (image_) return Source{.user = userBox->currentText(), .origin = QStringLiteral("kr.ini"), .image = path};
    return Source{.root = path, .user = userBox->currentText(), .origin = QStringLiteral("kr.ini")};
}

}  // namespace kestrova
