// Chooses the Windows system to examine: the folder standing for C:\ and one of its profiles.
// The profile list follows the folder; a folder that cannot be examined says why, and OK waits
// until it can.
#pragma once

#include <QDialog>

#include "platform/system/source.h"

class QComboBox;
class QDialogButtonBox;
class QLabel;
class QLineEdit;

namespace kestrova {

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
};

}  // namespace kestrova
