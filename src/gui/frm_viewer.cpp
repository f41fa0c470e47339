#include "gui/frm_viewer.h"

#include "gui/overview_pane.h"
#include "platform/cases/case_file.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QHeaderView>
#include <QLabel>
#include <QMenuBar>
#include <QGuiApplication>
#include <QMessageBox>
#include <QScreen>
#include <QUrl>
#include <QProgressBar>
#include <QPushButton>
#include <QMouseEvent>
#include <QResizeEvent>
#include <QStatusBar>
#include <QTreeView>
#include <QTreeWidget>

#include "core/app/startup.h"
#include "core/common/text.h"
#include "core/settings/ini_file.h"
#include "platform/clock/time_zone.h"
#include "core/app/viewer_layout.h"
#include "core/report/html_report.h"
#include "core/time/date_value.h"
#include "gui/frm_create_report.h"
#include "gui/frm_index_file.h"
#include "gui/frm_options.h"
#include "gui/frm_progress.h"
#include "gui/result_list_model.h"
#include "gui/timeline_pane.h"
#include "gui/trace_pane.h"
#include "traces/trace_context.h"

namespace kestrova {
namespace {

// Design-time geometry in twips: the tree on the left, about a quarter of the default width, the
// list to its right with their tops aligned.
constexpr int kTop = 60;
constexpr int kTreeLeft = 60;
constexpr int kTreeWidth = 2900;
constexpr int kListLeft = 3060;
constexpr int kStatusHeight = 330;
constexpr int kDefaultWidth = 14400;
constexpr int kDefaultHeight = 9600;
constexpr int kKeyRole = Qt::UserRole;
const QString kTimeZoneKey = QStringLiteral("TimeZone");
// Tree keys of trace kinds: the kind's name after this prefix (no category key has a colon).
const QString kTracePrefix = QStringLiteral("trace:");

}  // namespace

FrmViewer::FrmViewer(Environment& env, Services services, QWidget* parent)
    : QMainWindow(parent), env_(env), services_(std::move(services)) {
    setObjectName(QStringLiteral("frmViewer"));
    canvas_ = new QWidget(this);
    setCentralWidget(canvas_);
    TreeView1 = new QTreeWidget(canvas_);
    TreeView1->setObjectName(QStringLiteral("TreeView1"));
    TreeView1->setHeaderHidden(true);
    URLs = new QTreeView(canvas_);
    URLs->setObjectName(QStringLiteral("URLs"));
    URLs->setRootIsDecorated(false);
    URLs->setUniformRowHeights(true);  // keeps a million rows cheap to lay out
    URLs->setSelectionBehavior(QAbstractItemView::SelectRows);  // full-row selection
    URLs->setSelectionMode(QAbstractItemView::SingleSelection);
    URLs->setEditTriggers(QAbstractItemView::NoEditTriggers);
    URLs->setAlternatingRowColors(true);
    URLs->header()->setSectionsClickable(true);
    URLs->header()->setStretchLastSection(false);
    SBar1 = new QStatusBar(canvas_);
    SBar1->setObjectName(QStringLiteral("SBar1"));
    SBar1->setSizeGripEnabled(false);
    panel1 = new QLabel(SBar1);
    panel2 = new QLabel(SBar1);
    SBar1->addWidget(panel1);
    SBar1->addWidget(panel2, 1);
    outcomePanel = new QLabel(SBar1);
    outcomePanel->setObjectName(QStringLiteral("outcomePanel"));
    outcomePanel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    SBar1->addPermanentWidget(outcomePanel, 2);
    tracePane = new TracePane(canvas_);
    tracePane->hide();
    timelinePane = new TimelinePane(canvas_);
    timelinePane->hide();
    overviewPane = new OverviewPane(canvas_);
    overviewPane->hide();
    // An Overview item shows its records in the Timeline, read once and then narrowed.
    connect(overviewPane, &OverviewPane::showInTimeline, this,
            [this](const QString& text, const QString& user, std::optional<int64_t> from, std::optional<int64_t> to) {
                if (!timelinePane->model() || timelinePane->model()->rowCount() == 0) selectKey(kTimelineKey);
                else {
                    QTreeWidgetItemIterator it(TreeView1);
                    for (; *it; ++it) {
                        if ((*it)->data(0, kKeyRole).toString() == kTimelineKey) {
                            const QSignalBlocker quiet(TreeView1);
                            TreeView1->setCurrentItem(*it);
                        }
                    }
                    showTracePane(timelinePane);
                }
                timelinePane->focusOn(text, user, from, to);
            });
    connect(tracePane, &TracePane::openRequested, this, &FrmViewer::openEvidenceText);
    connect(timelinePane, &TimelinePane::openRequested, this, &FrmViewer::openEvidenceText);
    connect(tracePane, &TracePane::tagFailed, this, [this](const QString& why) { showOutcome(QStringLiteral("Tag not kept: ") + why); });
    connect(timelinePane, &TimelinePane::tagFailed, this, [this](const QString& why) { showOutcome(QStringLiteral("Tag not kept: ") + why); });
    traceFilter = tracePane->filter;
    traceTable = tracePane->table;
    PBar1 = new QProgressBar(canvas_);
    PBar1->setObjectName(QStringLiteral("PBar1"));
    Command1 = new QPushButton(QStringLiteral("Cancel"), canvas_);
    Command1->setObjectName(QStringLiteral("Command1"));
    Label1 = new QLabel(QStringLiteral("<a href=\"home\">What was this computer used for?</a>"), canvas_);
    Label1->setObjectName(QStringLiteral("Label1"));
    connect(Label1, &QLabel::linkActivated, this, [this] { env_.desktop->open(services_.vendor.homePage); });

    const double dpi = logicalDpiX();
    TreeView1->setGeometry(twipsToPixels(kTreeLeft, dpi), twipsToPixels(kTop, dpi), twipsToPixels(kTreeWidth, dpi), 100);
    URLs->setGeometry(twipsToPixels(kListLeft, dpi), twipsToPixels(kTop, dpi), 100, 100);
    PBar1->setGeometry(twipsToPixels(kListLeft, dpi), 0, 100, twipsToPixels(180, dpi));
    Command1->setGeometry(0, 0, twipsToPixels(900, dpi), twipsToPixels(225, dpi));
    Label1->setGeometry(0, 0, twipsToPixels(4400, dpi), twipsToPixels(270, dpi));

    confirmOpen = [this](const QString& question) {
        return QMessageBox::question(this, QStringLiteral("Kestrova"), question, QMessageBox::Open | QMessageBox::Cancel,
                                     QMessageBox::Cancel) == QMessageBox::Open;
    };
    openFileDialog = [this](const QString& title, const QString& filter) {
        return QFileDialog::getOpenFileName(this, title, QString(), filter);
    };
    folderDialog = [this](const QString& title) { return QFileDialog::getExistingDirectory(this, title); };
    indexFileChooser = [this](const QString&) {
        FrmIndexFile dialog(*env_.os, session_->state.windowsVersionTag, env_.source.root, this);
        dialog.exec();
        return dialog.selected();
    };
    // The folder picker of Options > Browse, for the whole run (every system chosen later too).
    env_.setFolderPicker([this](const QString& title) { return folderDialog(title); });

    buildMenus();
    applyZoneSetting(false);
    newSession();

    // Load steps 1 to 4: the tree, the list in details view, the hidden progress bar and Cancel.
    buildTree();
    connect(TreeView1, &QTreeWidget::currentItemChanged, this,
            [this](QTreeWidgetItem* current) { onNodeSelected(current); });
    PBar1->hide();
    Command1->hide();
    connect(Command1, &QPushButton::clicked, this, [this] {
        run_.stopRequested = true;
        Command1->hide();
    });
    // A header click makes that column the sort column; a second click on it reverses the order.
    // The rows themselves stay in the order the reader added them (that order is evidence).
    connect(URLs->header(), &QHeaderView::sectionClicked, this, [this](int section) {
        const bool again = model_->sortColumn() == section && model_->sortOrder() == Qt::AscendingOrder;
        const Qt::SortOrder order = again ? Qt::DescendingOrder : Qt::AscendingOrder;
        model_->setSort(section, order);
        URLs->header()->setSortIndicator(section, order);
        URLs->header()->setSortIndicatorShown(true);
    });
    TreeView1->viewport()->installEventFilter(this);
    connect(URLs, &QTreeView::doubleClicked, this, [this](const QModelIndex& index) { openRow(index.row()); });
    resize(twipsToPixels(kDefaultWidth, dpi), twipsToPixels(kDefaultHeight, dpi) + menuBar()->sizeHint().height());
    // The designed size where the screen holds it; on a smaller screen (a laptop at 1366 x 768, a
    // remote session) the window fits inside what the screen offers, frame and panels included.
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        const QRect room = screen->availableGeometry();
        const QSize fitted(std::min(width(), room.width() * 95 / 100), std::min(height(), room.height() * 90 / 100));
        if (fitted != size()) resize(fitted);
    }
    updateTitle();
}

FrmViewer::~FrmViewer() {
    // The view outlives this body (child widgets go with the QWidget base); it must not reach a
    // model whose list is about to be destroyed.
    URLs->setModel(nullptr);
    delete model_;
    model_ = nullptr;
    session_->list.setListener({});
}

ReaderHost& FrmViewer::host() { return *this; }

void FrmViewer::newSession() {
    // Never under a running reader: the commands that get here are refused while one runs.
    Q_ASSERT(!run_.running);
    URLs->setModel(nullptr);
    delete model_;
    session_ = std::make_unique<Session>(*env_.os, *env_.clock, run_, static_cast<ReaderHost&>(*this));
    outcomePanel->clear();
    outcomePanel->setToolTip(QString());
    session_->list.setListener([this] { listChanged_ = true; });
    model_ = new ResultListModel(session_->list, this);
    URLs->setModel(model_);
    listChanged_ = true;
    syncView();
}

bool FrmViewer::refuseWhileRunning() {
    if (!run_.running) return false;
    QApplication::beep();
    return true;
}

void FrmViewer::buildTree() {
    TreeView1->clear();
    QHash<QString, QTreeWidgetItem*> groups;
    for (const Category& c : catalogue()) {
        auto* item = c.isGroup() ? new QTreeWidgetItem(TreeView1) : new QTreeWidgetItem(groups.value(QLatin1String(c.parent)));
        item->setText(0, QString::fromLatin1(c.caption));
        item->setData(0, kKeyRole, QString::fromLatin1(c.key));
        if (c.isGroup()) groups.insert(QLatin1String(c.key), item);
    }
    for (const char* key : {"root", "root2", "root3", "root4"}) groups.value(QLatin1String(key))->setExpanded(true);
    if (mnuMoreTraces->isChecked()) {
        auto* overview = new QTreeWidgetItem(TreeView1);
        overview->setText(0, QStringLiteral("Overview"));
        overview->setToolTip(0, QStringLiteral("what the computer was used for, on one page"));
        overview->setData(0, kKeyRole, kOverviewKey);
        auto* timeline = new QTreeWidgetItem(TreeView1);
        timeline->setText(0, QStringLiteral("Timeline"));
        timeline->setToolTip(0, QStringLiteral("every dated field of every trace, in order"));
        timeline->setData(0, kKeyRole, kTimelineKey);
        QHash<QString, QTreeWidgetItem*> traceGroups;
        for (const TraceKind& kind : traceKinds()) {
            const QString group = QLatin1String(kind.group);
            QTreeWidgetItem*& parent = traceGroups[group];
            if (!parent) {
                parent = new QTreeWidgetItem(TreeView1);
                parent->setText(0, group);
            }
            auto* item = new QTreeWidgetItem(parent);
            item->setText(0, QLatin1String(kind.caption));
            item->setToolTip(0, QStringLiteral("%1: %2").arg(QLatin1String(kind.name), QLatin1String(kind.about)));
            item->setData(0, kKeyRole, kTracePrefix + QLatin1String(kind.name));
        }
    }
    TreeView1->setCurrentItem(nullptr);
    TreeView1->clearSelection();
}

void FrmViewer::selectKey(const QString& key) {
    QTreeWidgetItemIterator it(TreeView1);
    for (; *it; ++it) {
        if ((*it)->data(0, kKeyRole).toString() == key) {
            TreeView1->setCurrentItem(*it);
            return;
        }
    }
    TreeView1->setCurrentItem(nullptr);
}

void FrmViewer::onNodeSelected(QTreeWidgetItem* item) {
    if (!item) return;
    const QString key = item->data(0, kKeyRole).toString();
    // A node picked while a reader lets events run waits for that reader: readers share the one
    // list and are not re-entrant. The last node picked runs when it ends.
    if (run_.running) {
        pendingKey_ = key;
        return;
    }
    runKey(key);
}

void FrmViewer::runKey(const QString& key) {
    if (key == kTimelineKey) {
        runTimeline();
        return;
    }
    if (key == kOverviewKey) {
        runOverview();
        return;
    }
    if (key.startsWith(kTracePrefix)) {
        if (const TraceKind* kind = findTraceKind(key.mid(kTracePrefix.size()).toStdString())) runTraceKind(*kind);
        return;
    }
    if (const Category* category = dispatch(key)) runCategory(*category);
}

QTimeZone FrmViewer::traceZone() const {
    const QString choice = env_.settings.GetSetting(QStringLiteral("general"), kTimeZoneKey);
    if (choice.isEmpty() || choice == kUnknownValue) return QTimeZone::utc();
    QString why;
    const auto zone = resolveZone(choice, env_.system->registry(), &why);
    return zone ? zone->zone : QTimeZone::utc();
}

void FrmViewer::showOutcome(const QString& line, const QString& whole) {
    // Long texts (many unreadable sources) are cut in the bar and whole in the tooltip.
    outcomePanel->setText(outcomePanel->fontMetrics().elidedText(line, Qt::ElideRight, 900));
    outcomePanel->setToolTip(whole.isEmpty() ? line : whole);
}

void FrmViewer::runCategory(const Category& category) {
    if (run_.running) return;
    showTracePane(nullptr);
    session_->run(category);
    showOutcome(session_->lastOutcome().text());
    syncView();
    if (!pendingKey_.isEmpty()) {
        const QString next = std::exchange(pendingKey_, QString());
        runKey(next);
    }
}

void FrmViewer::openRow(int viewRow) {
    const QTreeWidgetItem* node = TreeView1->currentItem();
    if (!node) return;
    const Category* category = findCategory(node->data(0, kKeyRole).toString());
    const int row = model_->listRow(viewRow);
    if (!category || row < 0) return;
    if (const auto target = openTarget(*category, session_->list, row, *env_.os)) {
        env_.desktop->open(desktopTarget(*target, env_.os->system()));
    }
}

void FrmViewer::openEvidenceText(const QString& text) {
    const QUrl url(text, QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    const bool web = url.isValid() && scheme.size() > 1 && scheme != QLatin1String("file");
    if (web) {
        const QString question =
            QStringLiteral("Open this address from the evidence?\n\n%1\n\nOpening it asks the site for the page: its owner "
                           "learns this computer's address, and that the address was opened.")
                .arg(text);
        if (confirmOpen && confirmOpen(question)) env_.desktop->open(text);
        return;
    }
    // A Windows path opens as the volume's own file where it has one here (a folder volume, or
    // a file an image gave out); a shell path such as "My Computer\Pictures" opens nothing.
    const bool drivePath = text.size() >= 3 && text[1] == QLatin1Char(':') && (text[2] == QLatin1Char('\\') || text[2] == QLatin1Char('/'));
    if (!drivePath) return;
    if (const auto local = env_.os->system().localPath(text)) env_.desktop->open(*local);
}

void FrmViewer::syncView() {
    const ResultList& list = session_->list;
    URLs->setVisible(list.visible());
    if (model_->sync()) {
        // A new list shows its rows in the order the reader added them.
        URLs->header()->setSortIndicatorShown(false);
        const double dpi = logicalDpiX();
        for (size_t c = 0; c < list.columns().size(); ++c) {
            URLs->header()->resizeSection(static_cast<int>(c), twipsToPixels(list.columns()[c].widthTwips, dpi));
        }
    }
    if (listChanged_) {
        listChanged_ = false;
        panel1->setText(list.panel1());
        panel2->setText(list.panel2());
    }
}

void FrmViewer::processEvents() {
    // The reader frame calls this every few tens of milliseconds, not per row.
    syncView();
    QCoreApplication::processEvents();
}

void FrmViewer::showProgress(int maximum) {
    if (!progress_) progress_ = new FrmProgress(run_, this);
    progress_->PBar1->setMaximum(std::max(maximum, 0));
    progress_->PBar1->setValue(0);
    progress_->show();
}

void FrmViewer::setProgress(int value, const QString& label) {
    if (!progress_) return;
    progress_->PBar1->setValue(std::min(value, progress_->PBar1->maximum()));
    progress_->Label1->setText(label);
}

void FrmViewer::closeProgress() {
    // Hidden, not closed: closing it is the user's way of asking the reader to stop.
    if (progress_) progress_->hide();
}

void FrmViewer::showStopButton(bool shown) { Command1->setVisible(shown); }

void FrmViewer::message(const QString& text) { QMessageBox::information(this, QStringLiteral("Kestrova"), text); }

void FrmViewer::WriteHTML(const QString& path, const ReportSelection& selection,
                          const std::function<void(const QString&)>& progress, const std::function<void(bool)>& showSkip) {
    QElapsedTimer sincePump;
    sincePump.start();
    const ReportEnvironment report{session_->reportContext(), run_, services_.vendor.homePage,
                                   generalDateText(fromDateTime(QDateTime::currentDateTime())),
                                   [&](const QString& text) {
                                       progress(text);
                                       QCoreApplication::processEvents();
                                   },
                                   showSkip,
                                   [&] {
                                       if (sincePump.elapsed() < ListFill::kPumpIntervalMs) return;
                                       QCoreApplication::processEvents();
                                       sincePump.restart();
                                   }};
    // The report folder may not exist yet (a fresh account has no Documents folder): it is made.
    // A file that still cannot be written is said, with the reason, and nothing is opened.
    QFile file(path);
    const QString folder = QFileInfo(path).absolutePath();
    QString why;
    if (!QDir().mkpath(folder)) {
        why = QStringLiteral("the folder %1 cannot be created").arg(folder);
    } else if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        why = file.errorString();
    } else if (!kestrova::WriteHTML(file, selection, report)) {
        why = file.errorString();
    }
    if (!why.isEmpty()) {
        QMessageBox::warning(this, QStringLiteral("Kestrova"), QStringLiteral("The report cannot be written to %1: %2").arg(path, why));
        return;
    }
    file.close();
    env_.desktop->open(path);
}

void FrmViewer::bug(const QString& text) {
    ++bugs_;
    QMessageBox::critical(this, QStringLiteral("Kestrova - internal error"),
                          QStringLiteral("A reader failed in a way it should not:\n%1\n\nThe rows read so far are kept.").arg(text));
}

bool FrmViewer::load(QString* fatal) {
    show();
    const auto decision = decideUpdateCheck(env_.settings, env_.clock->today(), fatal);
    if (!decision) return false;
    if (decision->runSilentCheck && services_.update) services_.update->check(true);
    return true;
}

bool FrmViewer::eventFilter(QObject* watched, QEvent* event) {
    if (watched == TreeView1->viewport() && event->type() == QEvent::MouseButtonPress) {
        const auto* press = static_cast<QMouseEvent*>(event);
        QTreeWidgetItem* item = TreeView1->itemAt(press->position().toPoint());
        // A press on another node changes the current node and runs it through that change.
        if (item && item == TreeView1->currentItem()) onNodeSelected(item);
    }
    return QMainWindow::eventFilter(watched, event);
}

void FrmViewer::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    applyLayout();
}

void FrmViewer::applyLayout() {
    const double dpi = logicalDpiX();
    const int w = pixelsToTwips(canvas_->width(), dpi);
    const int h = pixelsToTwips(canvas_->height(), dpi);
    const ViewerLayout layout = viewerLayout(w, h);
    const auto px = [dpi](int twips) { return twipsToPixels(twips, dpi); };
    if (layout.urlsHeight) URLs->resize(URLs->width(), px(*layout.urlsHeight));
    if (layout.urlsWidth) URLs->resize(px(*layout.urlsWidth), URLs->height());
    if (layout.treeHeight) TreeView1->resize(TreeView1->width(), px(*layout.treeHeight));
    SBar1->setGeometry(0, std::max(0, canvas_->height() - px(kStatusHeight)), canvas_->width(), px(kStatusHeight));
    if (layout.panel1Width) panel1->setFixedWidth(px(*layout.panel1Width));
    PBar1->move(PBar1->x(), px(layout.progressTop));
    if (layout.progressWidth) PBar1->resize(px(*layout.progressWidth), PBar1->height());
    Label1->move(px(layout.labelLeft), px(layout.labelTop));
    Command1->move(px(layout.cancelLeft), px(layout.cancelTop));
    for (QWidget* pane : {static_cast<QWidget*>(tracePane), static_cast<QWidget*>(timelinePane), static_cast<QWidget*>(overviewPane)}) {
        if (pane->isVisible()) pane->setGeometry(URLs->geometry());
    }
    SBar1->lower();
    for (QWidget* w : {static_cast<QWidget*>(PBar1), static_cast<QWidget*>(Command1), static_cast<QWidget*>(Label1)}) w->raise();
}

void FrmViewer::applyZoneSetting(bool rerun) {
    QString choice = env_.settings.GetSetting(QStringLiteral("general"), kTimeZoneKey);
    if (choice == kUnknownValue) choice.clear();
    QString why;
    auto zone = resolveZone(choice, env_.system->registry(), &why);
    if (!zone) {
        if (isVisible()) {
            QMessageBox::warning(this, QStringLiteral("Kestrova"),
                                 QStringLiteral("Times cannot be shown in the zone chosen: %1.\nThey are shown in this computer's zone.").arg(why));
        }
        zone = resolveZone(QString(), env_.system->registry(), &why);
        choice = QStringLiteral("local");
    }
    applyZone(*zone);
    for (QAction* action : {mnuZoneLocal, mnuZoneUtc, mnuZoneSystem}) {
        action->setChecked(action->data().toString().compare(choice.isEmpty() ? QStringLiteral("local") : choice, Qt::CaseInsensitive) == 0);
    }
    updateTitle();
    if (!rerun) return;
    if (const QTreeWidgetItem* node = TreeView1->currentItem()) runKey(node->data(0, kKeyRole).toString());
}

void FrmViewer::chooseZone(const QString& choice) {
    env_.settings.SaveSetting(QStringLiteral("general"), kTimeZoneKey, choice);
    applyZoneSetting(true);
}

void FrmViewer::chooseSnapshots(const QString& choice) {
    if (refuseWhileRunning()) {
        fillSnapshotsMenu();
        return;
    }
    env_.settings.SaveSetting(QStringLiteral("general"), kSnapshotsKey, choice);
    fillSnapshotsMenu();
    // A trace table or the Timeline shown is read again with the states chosen.
    if (tracePane->isVisible() || timelinePane->isVisible()) {
        if (const QTreeWidgetItem* node = TreeView1->currentItem()) runKey(node->data(0, kKeyRole).toString());
    }
}

}  // namespace kestrova
