// frmindexfile ("Choose Index.dat file"): which index.dat the Index.dat File category scans.
// It opens proposing the user's cache index (the "Low" one on Vista and later), then runs its own
// "Use Default", which replaces that with the non-"Low" file; so the default is always the
// non-"Low" one, as it always was. Closing it other than by Cancel keeps that default.
#pragma once

#include <QDialog>
#include <functional>

#include "core/settings/os_api.h"

class QLabel;
class QLineEdit;
class QPushButton;

namespace kestrova {

class FrmIndexFile : public QDialog {
    Q_OBJECT
public:
    // volumeRoot: the local folder standing for C:\, where Browse starts.
    FrmIndexFile(const OsApi& os, const QString& versionTag, const QString& volumeRoot, QWidget* parent = nullptr);
    // SelectedIndexFile as the dialog left it ("" after Cancel).
    const QString& selected() const { return selected_; }
    // The open-file dialog: title, filter and folder in, the chosen local path out ("" = cancelled).
    std::function<QString(const QString& title, const QString& filter, const QString& folder)> openFileDialog;

    QLabel* Label1;
    QLineEdit* Text1;
    QPushButton* Command1;
    QPushButton* Command2;
    QPushButton* Command3;
    QPushButton* Command4;

private:
    void useDefault();
    const OsApi& os_;
    QString volumeRoot_;
    QString selected_;
};

}  // namespace kestrova
