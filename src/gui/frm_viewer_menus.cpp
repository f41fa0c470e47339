// The window's menus and the traces' toolbar: File, Report, View (the zone times are in, More
// traces), Help. Every command has a keyboard shortcut; the window's own captions an Alt
// accelerator, the classic menus keep their captions as they always were.
#include "gui/frm_viewer.h"

#include <QActionGroup>
#include <QApplication>
#include <QFileDialog>
#include <QMenuBar>
#include <QMessageBox>
#include <QToolBar>

#include "core/app/startup.h"
#include "core/time/iso_time.h"
#include "gui/frm_choose_system.h"
#include "platform/system/volume_states.h"
#include "gui/frm_create_report.h"
#include "gui/frm_options.h"
#include "gui/timeline_pane.h"
#include "gui/trace_pane.h"

namespace kestrova {

void FrmViewer::buildMenus() {
    QMenu* file = menuBar()->addMenu(QStringLiteral("File"));
    // Keyboard shortcuts on every command; Alt accelerators only where the caption is this
    // window's own (the classic menus keep their captions as they always were).
    mnuChooseSystem = file->addAction(QStringLiteral("&Choose Windows System..."), this, [this] {
        if (!refuseWhileRunning()) chooseSystem();
    });
    mnuChooseSystem->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_O));
    mnuOpenImage = file->addAction(QStringLiteral("Open &Disk Image..."), this, [this] {
        if (refuseWhileRunning()) return;
        const QString chosen = openFileDialog(QStringLiteral("Open Disk Image"), kDiskImageFilter);
        if (!chosen.isEmpty()) openImage(chosen);
    });
    mnuOpenImage->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O));
    mnuOpenCollection = file->addAction(QStringLiteral("Open C&ollection..."), this, [this] {
        if (refuseWhileRunning()) return;
        const QString chosen = openFileDialog(QStringLiteral("Open Collection"), QStringLiteral("Triage collections (*.zip *.ZIP *.vhdx *.vhd);;All files (*)"));
        if (!chosen.isEmpty()) openCollection(chosen);
    });
    mnuOpenCollection->setShortcut(QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_O));
    mnuOpenCase = file->addAction(QStringLiteral("Open Cas&e..."), this, [this] {
        if (refuseWhileRunning()) return;
        const QString chosen = folderDialog(QStringLiteral("Open Case: the folder of the hosts' images and collections"));
        if (!chosen.isEmpty()) openCase(chosen);
    });
    mnuOpenCase->setShortcut(QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_E));
    mnuOptions = file->addAction(QStringLiteral("Options"), this, [this] {
        FrmOptions options(*services_.reportFolder, env_.settings, *env_.os, this);
        options.exec();
    });
    mnuOptions->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma));
    mnuExport = file->addAction(QStringLiteral("E&xport..."), this, [this] {
        const QString formats = timelinePane->isVisible() ? QStringLiteral("CSV (*.csv);;Excel workbook (*.xlsx);;JSON lines (*.jsonl)")
                                                          : QStringLiteral("CSV (*.csv);;Excel workbook (*.xlsx)");
        const QString path = QFileDialog::getSaveFileName(this, QStringLiteral("Export"), QString(), formats);
        if (path.isEmpty()) return;
        if (const auto why = exportTraces(path)) {
            QMessageBox::warning(this, QStringLiteral("Kestrova"), QStringLiteral("%1 could not be written: %2").arg(path, *why));
        }
    });
    mnuExport->setEnabled(false);
    mnuExport->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_E));
    mnuExportCaseReport = file->addAction(QStringLiteral("Export Case &Report..."), this, [this] {
        const QString path = QFileDialog::getSaveFileName(this, QStringLiteral("Export Case Report"), QString(),
                                                          QStringLiteral("HTML (*.html);;PDF (*.pdf)"));
        if (path.isEmpty()) return;
        if (const auto why = exportCaseReport(path)) {
            QMessageBox::warning(this, QStringLiteral("Kestrova"), QStringLiteral("%1 could not be written: %2").arg(path, *why));
        }
    });
    mnuExit = file->addAction(QStringLiteral("&Exit"), this, &QWidget::close);
    mnuExit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));

    QMenu* report = menuBar()->addMenu(QStringLiteral("Report"));
    mnuCreate = report->addAction(QStringLiteral("Create Report"), this, [this] {
        if (refuseWhileRunning()) return;
        FrmCreateReport window(*services_.reportFolder, *env_.os, run_, services_.report ? services_.report : this, this);
        window.exec();
    });
    mnuCreate->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_R));
    mnuView = report->addAction(QStringLiteral("View Report"), this, [this] {
        // Titled "Save Report File" although it opens one, as it always was.
        const QString chosen = openFileDialog(QStringLiteral("Save Report File"), QStringLiteral("HTML file (*.htm)"));
        // The dialog offers 254 characters; a longer path does not fit and is refused as the
        // Windows dialog refuses it, never cut to another file's name.
        if (!chosen.isEmpty() && chosen.size() <= kDialogPathLimit) env_.desktop->open(chosen);
    });
    mnuView->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R));

    QMenu* view = menuBar()->addMenu(QStringLiteral("&View"));
    QMenu* zones = view->addMenu(QStringLiteral("&Times in"));
    auto* zoneGroup = new QActionGroup(this);
    const auto zoneAction = [&](const QString& caption, const QString& choice) {
        QAction* action = zones->addAction(caption, this, [this, choice] {
            if (!refuseWhileRunning()) chooseZone(choice);
        });
        action->setCheckable(true);
        action->setData(choice);
        zoneGroup->addAction(action);
        return action;
    };
    mnuZoneLocal = zoneAction(QStringLiteral("This &computer's zone"), QStringLiteral("local"));
    mnuZoneUtc = zoneAction(QStringLiteral("&UTC"), QStringLiteral("UTC"));
    mnuZoneSystem = zoneAction(QStringLiteral("The &examined system's zone"), QStringLiteral("system"));
    view->addSeparator();
    mnuMoreTraces = view->addAction(QStringLiteral("&More traces"), this, [this](bool on) {
        if (refuseWhileRunning()) {
            mnuMoreTraces->setChecked(!on);
            return;
        }
        env_.settings.SaveSetting(QStringLiteral("general"), kMoreTracesKey, on ? QStringLiteral("1") : QStringLiteral("0"));
        showTracePane(nullptr);
        traceBar->setVisible(on);
        mnuExportCaseReport->setVisible(on);
        buildTree();
    });
    mnuMoreTraces->setCheckable(true);
    mnuMoreTraces->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_M));
    mnuMoreTraces->setChecked(env_.settings.GetSetting(QStringLiteral("general"), kMoreTracesKey) == QLatin1String("1"));
    mnuSnapshots = view->addMenu(QStringLiteral("&Snapshots"));
    fillSnapshotsMenu();
    // The traces' toolbar exists only with More traces, so the classic window stays as it is.
    traceBar = addToolBar(QStringLiteral("Traces"));
    traceBar->setObjectName(QStringLiteral("traceBar"));
    traceBar->setMovable(false);
    mnuTimeline = traceBar->addAction(QStringLiteral("Timeline"), this, [this] { selectKey(kTimelineKey); });
    mnuTimeline->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_T));
    mnuTimeline->setToolTip(QStringLiteral("Timeline (Ctrl+T): every dated field of every trace, in order"));
    traceBar->setVisible(mnuMoreTraces->isChecked());
    // The case report is of the traces: the classic File menu stays as it is without them.
    mnuExportCaseReport->setVisible(mnuMoreTraces->isChecked());

    QMenu* help = menuBar()->addMenu(QStringLiteral("Help"));
    mnuhelp = help->addAction(QStringLiteral("Online Help"), this, [this] { env_.desktop->open(services_.vendor.helpPage); });
    mnuhelp->setShortcut(QKeySequence(Qt::Key_F1));
    newversion = help->addAction(QStringLiteral("Check for new version"), this, [this] {
        if (services_.update) services_.update->check(false);
    });
    help->addSeparator();
    mnuAbout1 = help->addAction(QStringLiteral("About"), this, [this] {
        QMessageBox::about(this, QStringLiteral("About Kestrova"),
                           QStringLiteral("Kestrova %1 build 1000\nShows what a Windows computer has been used for.")
                               .arg(static_cast<double>(kProgramVersion)));
    });
}

void FrmViewer::fillSnapshotsMenu() {
    mnuSnapshots->clear();
    // An image's shadow copies, or the copies a collection's collector took of them.
    const std::vector<ShadowStore> stores = env_.image                                ? env_.image->summary().stores
                                            : env_.collection && env_.collection->zip ? collectionStores(*env_.collection->zip)
                                                                                      : std::vector<ShadowStore>{};
    mnuSnapshots->setEnabled(!stores.empty());
    QString choice = env_.settings.GetSetting(QStringLiteral("general"), kSnapshotsKey);
    if (choice.isEmpty() || choice == kUnknownValue) choice = QStringLiteral("none");
    const QStringList numbers = choice.split(QLatin1Char(','), Qt::SkipEmptyParts);
    const auto add = [&](const QString& caption, const QString& value, bool checked) {
        QAction* action = mnuSnapshots->addAction(caption, this, [this, value] { chooseSnapshots(value); });
        action->setCheckable(true);
        action->setChecked(checked);
        return action;
    };
    add(QStringLiteral("&None: the volume as it is"), QStringLiteral("none"), choice == QLatin1String("none"));
    add(QStringLiteral("&All shadow copies"), QStringLiteral("all"), choice == QLatin1String("all"));
    mnuSnapshots->addSeparator();
    const IsoTimeWriter utc;
    for (const ShadowStore& store : stores) {
        const QString number = QString::number(store.number);
        // A store toggles in or out of the numbers chosen ("all" is every one of them).
        QStringList toggled = choice == QLatin1String("none") ? QStringList() : numbers;
        if (choice == QLatin1String("all")) {
            toggled.clear();
            for (const ShadowStore& each : stores) toggled << QString::number(each.number);
        }
        if (toggled.contains(number)) toggled.removeAll(number);
        else toggled << number;
        std::sort(toggled.begin(), toggled.end(), [](const QString& a, const QString& b) { return a.toInt() < b.toInt(); });
        add(QStringLiteral("Shadow copy &%1, created %2").arg(number, store.created ? utc.text(*store.created) : QStringLiteral("at an unknown time")),
            toggled.isEmpty() ? QStringLiteral("none") : toggled.join(QLatin1Char(',')), choice == QLatin1String("all") || numbers.contains(number));
    }
}

}  // namespace kestrova
