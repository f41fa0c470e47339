// Chooses the Windows system to examine: the folder standing for C:\ and one of its profiles.
#pragma once

#include <QDialog>

#include "platform/system/source.h"

class QComboBox;
class QLineEdit;
class QPushButton;

namespace kestrova {

class FrmChooseSystem : public QDialog {
    Q_OBJECT
public:
    FrmChooseSystem(const Source& current, QWidget* parent = nullptr);
    Source chosen() const;
    QLineEdit* rootEdit;
    QComboBox* userBox;

private:
    void refreshProfiles();
};

}  // namespace kestrova
