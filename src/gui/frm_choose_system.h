// Chooses the Windows system to examine: the folder standing for C:\, or a disk image, and one of
// its profiles. The profile list follows the folder or image; one that cannot be examined says
// why, and OK waits until it can.
#pragma once

#include <QDialog>
#include <memory>
#include <optional>

#include "platform/system/image_source.h"
#include "platform/system/source.h"

class QComboBox;
class QDialogButtonBox;
class QLabel;
class QLineEdit;

namespace kestrova {

// The file dialogs' filter for disk images.
inline const QString kDiskImageFilter = QStringLiteral(
    "Disk images (*.E01 *.e01 *.Ex01 *.dd *.raw *.img *.bin *.000 *.001 *.vhd *.vhdx *.vmdk *.qcow2 *.qcow);;All files (*)");

class FrmChooseSystem : public QDialog {
    Q_OBJECT
public:
    FrmChooseSystem(const Source& current, QWidget* parent = nullptr);
    Source chosen() const;
    void accept() override;

    QLineEdit* rootEdit;
    QComboBox* userBox;
    QLabel* problemLabel;
    QDialogButtonBox* buttons;

private:
    void refreshProfiles();
    void showProblem();
    std::optional<QString> problem() const;
    // The image the path names, opened to list its profiles (nullopt for a folder).
    std::optional<ImageSource> image_;
};

}  // namespace kestrova
