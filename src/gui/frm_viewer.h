// frmViewer: the main window. The category tree on the left, the list on the right, a status bar
// with two panels below; menus; the Cancel button and progress bar of long readers. Readers run
// through the session's catalogue; this window only wires them to widgets and is their host for
// pending events, progress and questions.
#pragma once

#include <QMainWindow>
#include <QTimeZone>
#include <functional>
#include <optional>
#include <memory>

#include "core/app/services.h"
#include "core/app/session.h"
#include "gui/responsive_sink.h"
#include "platform/system/case_hosts.h"
#include "platform/system/environment.h"

class QAction;
class QLabel;
class QLineEdit;
class QTableView;
class QToolBar;
class QProgressBar;
class QPushButton;
class QStatusBar;
class QTreeView;
class QTreeWidget;
class QTreeWidgetItem;

namespace kestrova {

class FrmProgress;
class ResultListModel;
class TracePane;
class TimelinePane;
class OverviewPane;
class TraceContext;
class KindReading;
class CaseFile;
struct TraceKind;

class FrmViewer : public QMainWindow, private ReaderHost, public ReportWriter {
    Q_OBJECT
public:
    struct Services {
        QString* reportFolder = nullptr;  // program-wide, shared with the report and options windows
        UpdateCheck* update = nullptr;
        ReportWriter* report = nullptr;
        VendorAddresses vendor;
    };

    FrmViewer(Environment& env, Services services, QWidget* parent = nullptr);
    ~FrmViewer() override;

    // Load steps 5 to 9: show the window, then the update-check decision. False, with the reason
    // in *fatal, when the settings file's date cannot be read and start-up must stop.
    bool load(QString* fatal);

    Session& session() { return *session_; }
    RunControl& runControl() { return run_; }
    // Runs one category as a click on its node does (tests run their own categories here).
    void runCategory(const Category& category);
    // The window as the reader frame sees it.
    ReaderHost& host();
    // ReportWriter: the session's report, written and opened.
    void WriteHTML(const QString& path, const ReportSelection& selection, const std::function<void(const QString&)>& progress,
                   const std::function<void(bool)>& showSkip) override;
    // Faults of the program that reached the window (each was shown as an internal error).
    int bugs() const { return bugs_; }
    ResultListModel* model() const { return model_; }
    // Selects the tree node of a key, as a click on it does (nullptr keys clear the selection).
    void selectKey(const QString& key);
    // The double-click action on a row of the list as shown.
    void openRow(int viewRow);
    // Applies the resize layout for the canvas' current size.
    void applyLayout();
    // The open-file dialog of View Report (title, filter) -> path; replaceable for tests.
    std::function<QString(const QString&, const QString&)> openFileDialog;
    // The index.dat chooser (the Use Default path in, SelectedIndexFile out); frmindexfile unless
    // a test puts another here.
    std::function<QString(const QString&)> indexFileChooser;
    // The folder picker (title -> folder, "" when cancelled); replaceable for tests.
    std::function<QString(const QString&)> folderDialog;
    // Asks before an address from the evidence is opened (the question -> yes); replaceable for tests.
    std::function<bool(const QString&)> confirmOpen;
    // What a double-click in a trace table or the Timeline opens: a URL from the evidence after
    // asking (opening it tells the page's owner this computer's address), a Windows path of the
    // volume as the volume's own file.
    void openEvidenceText(const QString& text);

    QTreeWidget* TreeView1;
    QTreeView* URLs;
    QStatusBar* SBar1;
    QLabel* panel1;
    QLabel* panel2;
    // Beside the two classic panels: why the last category's list is empty, where it stopped,
    // which sources could not be read.
    QLabel* outcomePanel;
    QProgressBar* PBar1;
    QPushButton* Command1;
    QLabel* Label1;
    QAction* mnuChooseSystem;
    QAction* mnuOpenImage;  // File > Open Disk Image...
    QAction* mnuOpenCollection;  // File > Open Collection...
    QAction* mnuOpenCase;        // File > Open Case...
    QAction* mnuOptions;
    QAction* mnuExit;
    QAction* mnuCreate;
    QAction* mnuView;
    QAction* mnuhelp;
    QAction* newversion;
    QAction* mnuAbout1;
    // View > Times in: the zone local times are written in (kr.ini [general] TimeZone).
    QAction* mnuZoneLocal;
    QAction* mnuZoneUtc;
    QAction* mnuZoneSystem;
    // View > More traces: the trace kinds' groups after the classic ones (kr.ini [general]
    // MoreTraces, off by default, so the classic tree stays as it is).
    QAction* mnuMoreTraces;
    // View > Snapshots: the shadow copies of the image examined that the trace tables and the
    // Timeline read beside its volume, each record once (kr.ini [general] Snapshots: none, all,
    // or their numbers "1,2"); disabled where the volume has none.
    QMenu* mnuSnapshots;
    // File > Export...: the trace table shown, as CSV or XLSX.
    QAction* mnuExport;
    // Where a trace kind's table is shown, in the list's place, and its filter box and table.
    TracePane* tracePane;
    QLineEdit* traceFilter;
    QTableView* traceTable;
    // The Timeline (its tree node and toolbar button come with More traces): every event of
    // every kind, in the list's place.
    TimelinePane* timelinePane;
    // The Overview (its tree node comes first of the trace nodes, with More traces): what the
    // computer was used for, on one page.
    OverviewPane* overviewPane;
    // Reads every kind into the Overview, as a click on its node does.
    void runOverview();
    // File > Export Case Report...: the overview (read first where it is not yet) as the case
    // report, HTML or (a name ending in .pdf) PDF; nullopt when written, else why not.
    std::optional<QString> exportCaseReport(const QString& path);
    QAction* mnuExportCaseReport;
    QToolBar* traceBar;
    QAction* mnuTimeline;
    // Reads a trace kind into the trace table, as a click on its node does.
    void runTraceKind(const TraceKind& kind);
    // Reads every kind into the Timeline, as a click on its node or its button does.
    void runTimeline();
    // Writes the trace table or the timeline as shown; the format follows the name (.xlsx,
    // .jsonl for the timeline, else CSV). nullopt when written, else why not.
    std::optional<QString> exportTraces(const QString& path);

protected:
    void resizeEvent(QResizeEvent* event) override;
    // A click on the node already selected runs its reader again, as a click in the tree does.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // kr.ini's switch of More traces; the tree key of the Timeline node.
    static inline const QString kMoreTracesKey = QStringLiteral("MoreTraces");
    static inline const QString kTimelineKey = QStringLiteral("timeline");
    static inline const QString kOverviewKey = QStringLiteral("overview");
    static inline const QString kSnapshotsKey = QStringLiteral("Snapshots");
    // ReaderHost
    void processEvents() override;
    void showProgress(int maximum) override;
    void setProgress(int value, const QString& label) override;
    void closeProgress() override;
    void showStopButton(bool shown) override;
    void message(const QString& text) override;
    void bug(const QString& text) override;
    QString chooseIndexFile(const QString& proposed) override { return indexFileChooser(proposed); }

    void buildMenus();
    void buildTree();
    void onNodeSelected(QTreeWidgetItem* item);
    // Runs what a tree key stands for: a category or a trace kind.
    void runKey(const QString& key);
    // Shows that pane (the trace table or the timeline) in the list's place; nullptr: the list.
    void showTracePane(QWidget* pane);
    // Reads into a trace pane: shows it, runs `read` under the run control with a context on the
    // examined system, and writes the outcome panel: what `read` counted, Cancel, the findings.
    // What a trace pane reads through: every kind of the examined volume, or of every host of the
    // case opened, each record with its host.
    struct TraceReading {
        KindReader read;
        bool withStates = false;
        bool withHosts = false;
        std::function<QString()> emptyReason;  // why the last kind read gave nothing
        std::function<bool()> anyFinding;      // whether the last kind read noted a finding
    };
    void runTraces(QWidget* pane, const QString& reading, const std::function<QString(const TraceReading&)>& read);
    // Fills View > Snapshots with the stores of the image examined, checked as kr.ini says.
    void fillSnapshotsMenu();
    // Forgets the case file of the system examined before (another is opened when needed), and
    // the examiner's case file of the system examined (its tags), opened on first need.
    void openCaseFile();
    CaseFile* caseFile();
    void chooseSnapshots(const QString& choice);
    // The outcome panel: the line, cut to fit; the whole text (the line where none is given) as
    // its tooltip.
    void showOutcome(const QString& line, const QString& whole = QString());
    // The zone trace times are written in: the one View > Times in names, UTC where it names
    // this computer's by default (exact times are UTC unless the user picks a zone).
    QTimeZone traceZone() const;
    void syncView();
    void newSession();
    void chooseSystem();
    // Examines a disk image (its Windows partition); says why and changes nothing when it cannot.
    void openImage(const QString& path);
    // Examines a triage collection (a ZIP, a KAPE container); says why and changes nothing when
    // it cannot.
    void openCollection(const QString& path);
    // Opens every image, ZIP and collection folder in a folder as the hosts of one case: the trace
    // tables, the Timeline and the Overview read them all (the Timeline's Hosts menu chooses which
    // are shown); the classic categories examine the first. Says why and changes nothing when no
    // host can be examined.
    void openCase(const QString& folder);
    std::vector<Host> caseHosts_;
    // Examines an image or a collection the user opened, and remembers it in kr.ini.
    void examine(const Source& chosen);
    void systemChanged();
    void updateTitle();
    // Puts the zone kr.ini names in force (this computer's where it names none or one that
    // cannot be used, saying why); runs the shown category again when `rerun`.
    void applyZoneSetting(bool rerun);
    void chooseZone(const QString& choice);
    // True (and a beep) when a reader runs: the command must not replace or reset the session.
    bool refuseWhileRunning();

    Environment& env_;
    Services services_;
    RunControl run_;  // program-wide; outlives every session this window makes
    std::unique_ptr<Session> session_;
    std::unique_ptr<CaseFile> caseFile_;  // the examiner's tags of the evidence examined
    bool caseFileTried_ = false;
    ResultListModel* model_ = nullptr;
    QWidget* canvas_ = nullptr;
    FrmProgress* progress_ = nullptr;
    bool listChanged_ = true;
    QString pendingKey_;
    int bugs_ = 0;
};

}  // namespace kestrova
