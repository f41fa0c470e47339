#include "gui/frm_index_file.h"

#include <QFileDialog>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "core/common/text.h"

namespace kestrova {

FrmIndexFile::FrmIndexFile(const OsApi& os, const QString& versionTag, const QString& volumeRoot, QWidget* parent)
    : QDialog(parent), os_(os), volumeRoot_(volumeRoot) {
    setWindowTitle(QStringLiteral("Choose Index.dat file"));
    setObjectName(QStringLiteral("frmindexfile"));
    Label1 = new QLabel(QStringLiteral("Index.dat file location"), this);
    Text1 = new QLineEdit(this);
    Command1 = new QPushButton(QStringLiteral("OK"), this);
    Command2 = new QPushButton(QStringLiteral("Cancel"), this);
    Command3 = new QPushButton(QStringLiteral("Browse"), this);
    Command4 = new QPushButton(QStringLiteral("Use Default"), this);
    auto* layout = new QGridLayout(this);
    layout->addWidget(Label1, 0, 0, 1, 4);
    layout->addWidget(Text1, 1, 0, 1, 4);
    layout->addWidget(Command1, 2, 0);
    layout->addWidget(Command2, 2, 1);
    layout->addWidget(Command3, 2, 2);
    layout->addWidget(Command4, 2, 3);

    openFileDialog = [this](const QString& title, const QString& filter, const QString& folder) {
        return QFileDialog::getOpenFileName(this, title, folder, filter);
    };
    connect(Command1, &QPushButton::clicked, this, [this] {
        selected_ = Text1->text();
        accept();
    });
    connect(Command2, &QPushButton::clicked, this, [this] {
        selected_.clear();
        reject();
    });
    connect(Command3, &QPushButton::clicked, this, [this] {
        // "C:\" is the volume's root; a file chosen inside the volume is named as Windows names it.
        QString chosen = openFileDialog(QStringLiteral("Open Index.dat File"), QStringLiteral("Index data file (*.dat)"),
                                        volumeRoot_);
        if (chosen.isEmpty()) return;
        if (chosen.startsWith(volumeRoot_ + QLatin1Char('/'))) {
            chosen = QStringLiteral("C:\\") + chosen.mid(volumeRoot_.size() + 1).replace(QLatin1Char('/'), QLatin1Char('\\'));
        }
        Text1->setText(chosen);
    });
    connect(Command4, &QPushButton::clicked, this, &FrmIndexFile::useDefault);

    // On opening: the cache index as the version would have it, then "Use Default" over it.
    const QString cache = trimBlanks(os_.GetShellFolder(QStringLiteral("cache"))).toString();
    const bool vista = versionTag == QLatin1String("Vista");
    Text1->setText(cache + (vista ? QStringLiteral("\\Low\\Content.IE5\\") : QStringLiteral("\\Content.IE5\\")) +
                   QStringLiteral("index.dat"));
    useDefault();
    resize(520, 120);
}

void FrmIndexFile::useDefault() {
    selected_ = trimBlanks(os_.GetShellFolder(QStringLiteral("cache"))).toString() + QStringLiteral("\\Content.IE5\\index.dat");
    Text1->setText(selected_);
}

}  // namespace kestrova
