// The windows under QtTest, offscreen: the tree, the dispatch as the user sees it, double-click
// targets, the resize layout, the options, report and progress windows, and the single instance.
#include <QCheckBox>
#include <QListWidget>
#include <QMenu>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QToolBar>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPlainTextEdit>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProcess>
#include <QRegularExpression>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QStatusBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTableView>
#include <QThread>
#include <QTimer>
#include <QTreeView>
#include <QTreeWidget>
#include <QtTest>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <unistd.h>

#include "browsers/trace_volume.h"
#include "collections/collection_writer.h"
#include "core/app/startup.h"
#include "core/app/viewer_layout.h"
#include "gui/frm_choose_system.h"
#include "gui/frm_create_report.h"
#include "gui/frm_options.h"
#include "gui/frm_progress.h"
#include "gui/frm_viewer.h"
#include "gui/result_list_model.h"
#include "gui/single_instance.h"
#include "gui/timeline_pane.h"
#include "gui/overview_pane.h"
#include "gui/trace_pane.h"
#include "support/cli_run.h"
#include "support/image_fixture.h"
#include "support/fake_desktop.h"
#include "support/version_server.h"
#include "core/app/update_check.h"
#include "platform/network/http_fetcher.h"
#include "support/reader_fixture.h"

using namespace kestrova;

namespace {
constexpr ColumnSpec kLongColumns[] = {{"Row", 2000}};
}

class GuiTest : public QObject {
    Q_OBJECT

private:
    struct World {
        test::TempVolume volume;
        QTemporaryDir program;
        test::FakeDesktop* desktop = nullptr;
        std::unique_ptr<Environment> env;
        QString reportFolder = QStringLiteral("/home/u/Documents/");
        std::unique_ptr<FrmViewer> window;
    };

    // Accepts the message box the next command shows, keeping its text.
    static void acceptNextMessageBox(QString* said) {
        QTimer::singleShot(0, [said] {
            if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
                *said = box->text();
                box->accept();
            }
        });
    }

    std::unique_ptr<World> makeWorld() {
        auto world = std::make_unique<World>();
        tools::HiveBuilder user = tools::sampleUserHive();
        tools::addWindowsHistory(user);
        world->volume.userHive(user);
        tools::HiveBuilder system = tools::sampleSystemHive();
        tools::addUsbDevices(system);
        system.sz("ControlSet001\\Control\\TimeZoneInformation", "TimeZoneKeyName", "W. Europe Standard Time");
        world->volume.systemHive(system);
        world->volume.softwareHive(tools::sampleSoftwareHive());
        tools::addRecentItems(world->volume.root());
        auto desktop = std::make_unique<test::FakeDesktop>();
        desktop->program = world->program.path();
        world->desktop = desktop.get();
        world->env = Environment::create(world->volume.root(), QString(), std::move(desktop),
                                         std::make_unique<FixedClock>(test::utcClock()));
        world->window = std::make_unique<FrmViewer>(*world->env, FrmViewer::Services{&world->reportFolder, nullptr, nullptr, VendorAddresses{}});
        world->window->resize(900, 600);
        world->window->show();
        return world;
    }

private slots:
    void treeIsBuiltAsShippedWithNothingSelected() {
        auto w = makeWorld();
        QTreeWidget* tree = w->window->TreeView1;
        QCOMPARE(tree->topLevelItemCount(), 4);
        QStringList groups;
        for (int i = 0; i < 4; ++i) {
            groups << tree->topLevelItem(i)->text(0);
            QVERIFY(tree->topLevelItem(i)->isExpanded());
        }
        QCOMPARE(groups, (QStringList{"Internet Explorer ", "Windows", "Firefox", "Google Chrome"}));
        QCOMPARE(tree->topLevelItem(0)->childCount(), 4);
        QCOMPARE(tree->topLevelItem(1)->childCount(), 8);
        QCOMPARE(tree->topLevelItem(1)->child(7)->text(0), QString("Typed Paths (Win7)"));
        QCOMPARE(tree->topLevelItem(3)->child(3)->text(0), QString("Top Visted Sites"));
        QVERIFY(tree->selectedItems().isEmpty());
        QCOMPARE(w->window->model()->rowCount(), 0);
        QVERIFY(w->window->PBar1->isHidden());
        QVERIFY(w->window->Command1->isHidden());
    }

    // View > More traces (off by default) adds the trace kinds after the classic groups; a kind
    // fills a table in the list's place, which sorts by time, filters and exports what it shows.
    void moreTracesShowsEveryKindAsATableThatSortsFiltersAndExports() {
        auto w = makeWorld();
        QString error;
        QVERIFY(tools::writeTraceVolume(w->volume.root(), {}, nullptr, &error));
        QTreeWidget* tree = w->window->TreeView1;
        QCOMPARE(tree->topLevelItemCount(), 4);
        w->window->mnuMoreTraces->trigger();
        QCOMPARE(w->env->settings.GetSetting("general", "MoreTraces"), QString("1"));
        QCOMPARE(tree->topLevelItemCount(), 12);
        QCOMPARE(tree->topLevelItem(4)->text(0), QString("Overview"));
        QCOMPARE(tree->topLevelItem(5)->text(0), QString("Timeline"));
        QCOMPARE(tree->topLevelItem(6)->text(0), QString("Browsers"));
        QCOMPARE(tree->topLevelItem(7)->text(0), QString("Internet Explorer"));
        QCOMPARE(tree->topLevelItem(8)->text(0), QString("Windows activity"));
        QCOMPARE(tree->topLevelItem(9)->text(0), QString("Event logs"));
        QCOMPARE(tree->topLevelItem(10)->text(0), QString("Evidence files"));
        QCOMPARE(tree->topLevelItem(11)->text(0), QString("System"));
        w->window->selectKey("trace:browser.history");
        QVERIFY(w->window->tracePane->isVisible());
        QVERIFY(!w->window->URLs->isVisible());
        QAbstractItemModel* shown = w->window->traceTable->model();
        QCOMPARE(shown->rowCount(), 24);
        QCOMPARE(shown->headerData(3, Qt::Horizontal).toString(), QString("visit_time"));
        // Times sort as times: the latest visit first.
        w->window->traceTable->sortByColumn(3, Qt::DescendingOrder);
        QCOMPARE(shown->index(0, 3).data().toString(), QString("2026-11-01T08:00:02.000002+00:00"));
        w->window->traceFilter->setText("BOB-BRAVE");
        QCOMPARE(shown->rowCount(), 3);
        QTemporaryDir out;
        QVERIFY(!w->window->exportTraces(out.filePath("h.csv")));
        QFile csv(out.filePath("h.csv"));
        QVERIFY(csv.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = csv.readAll().split('\n');
        QCOMPARE(lines.size(), 1 + 3 + 1);
        QVERIFY(lines[0].startsWith("user,browser,profile,visit_time,url,"));
        QVERIFY(lines[1].startsWith("bob,Brave,Default,2026-11-01T08:00:02.000002+00:00,https://bob-brave-default.example/page/2,"));
        // A double-click on an address from the evidence asks first; a path opens the volume's file.
        QStringList asked;
        bool answer = false;
        w->window->confirmOpen = [&](const QString& question) {
            asked << question;
            return answer;
        };
        const int opened = w->desktop->opened.size();
        emit w->window->traceTable->doubleClicked(shown->index(0, 4));
        QCOMPARE(asked.size(), 1);
        QVERIFY(asked[0].contains("https://bob-brave-default.example/page/2") && asked[0].contains("learns this computer's address"));
        QCOMPARE(w->desktop->opened.size(), opened);
        answer = true;
        emit w->window->traceTable->doubleClicked(shown->index(0, 4));
        QCOMPARE(w->desktop->opened.last(), QString("https://bob-brave-default.example/page/2"));
        int sourceColumn = 0;
        while (shown->headerData(sourceColumn, Qt::Horizontal).toString() != "source") ++sourceColumn;
        emit w->window->traceTable->doubleClicked(shown->index(0, sourceColumn));
        QCOMPARE(asked.size(), 2);  // a path is not asked about
        QVERIFY2(w->desktop->opened.last().startsWith(w->volume.root() + "/Users/bob/"), qPrintable(w->desktop->opened.last()));
        QVERIFY(!w->window->exportTraces(out.filePath("h.xlsx")));
        QFile xlsx(out.filePath("h.xlsx"));
        QVERIFY(xlsx.open(QIODevice::ReadOnly));
        QCOMPARE(xlsx.read(2), QByteArray("PK"));
        // Times are date cells (a number of days since 1899-12-30, with a date format), not
        // texts: 2026-11-01T08:00:02.000002 UTC is day 46327 and 08:00:02 of it.
        QProcess sheet;
        sheet.start("python3", {"-c", "import sys,zipfile;print(zipfile.ZipFile(sys.argv[1]).read('xl/worksheets/sheet1.xml').decode())",
                                out.filePath("h.xlsx")});
        QVERIFY(sheet.waitForFinished(20000));
        const QString xml = QString::fromUtf8(sheet.readAllStandardOutput());
        QVERIFY2(QRegularExpression("<c r=\"D2\" s=\"\\d+\"><v>46327\\.33335648").match(xml).hasMatch(), qPrintable(xml.left(1500)));
        // A row tagged from its context menu's choices shows its tag in the last column, "Show only
        // tagged" keeps it alone, and the tag is there again in a new window on the same evidence.
        shown->sort(-1);
        w->window->traceFilter->clear();
        QCOMPARE(shown->headerData(shown->columnCount() - 1, Qt::Horizontal).toString(), QString("tag"));
        QString why;
        QVERIFY2(w->window->tracePane->tagRows({1}, "suspicious", QString("seen twice"), &why), qPrintable(why));
        const QString taggedUrl = shown->index(1, 4).data().toString();
        QCOMPARE(shown->index(1, shown->columnCount() - 1).data().toString(), QString("suspicious: seen twice"));
        w->window->tracePane->onlyTagged->setChecked(true);
        QCOMPARE(shown->rowCount(), 1);
        w->window->tracePane->onlyTagged->setChecked(false);
        {
            FrmViewer again(*w->env, FrmViewer::Services{&w->reportFolder, nullptr, nullptr, VendorAddresses{}});
            again.selectKey("trace:browser.history");
            QAbstractItemModel* other = again.traceTable->model();
            int found = 0;
            for (int r = 0; r < other->rowCount(); ++r) {
                if (other->index(r, other->columnCount() - 1).data().toString() == "suspicious: seen twice") {
                    ++found;
                    QCOMPARE(other->index(r, 4).data().toString(), taggedUrl);
                }
            }
            QCOMPARE(found, 1);
        }
        // A classic category takes the list's place back; the option off, the tree is as shipped.
        w->window->selectKey("b3");
        QVERIFY(!w->window->tracePane->isVisible());
        w->window->mnuMoreTraces->trigger();
        QCOMPARE(tree->topLevelItemCount(), 4);
    }

    // The Timeline: every event in one table under a histogram; the filters, the histogram's
    // range and the kinds narrow it, a click shows an event whole, and what is shown exports.
    // The Overview drawn offscreen holds the activity model's numbers: a bar a day, the top lists;
    // an item activated shows the Timeline narrowed to it.
    void theOverviewShowsTheModelAndLeadsToTheTimeline() {
        auto w = makeWorld();
        QString error;
        QVERIFY(tools::writeTraceVolume(w->volume.root(), {}, nullptr, &error));
        w->window->mnuMoreTraces->trigger();
        w->window->selectKey("overview");
        OverviewPane* pane = w->window->overviewPane;
        QVERIFY(pane->isVisible());
        const ActivityModel* model = pane->model();
        QVERIFY(model && !model->users().empty());
        QCOMPARE(pane->dayBars.size(), model->users().size());
        for (size_t u = 0; u < model->users().size(); ++u) {
            QCOMPARE(pane->dayBars[u]->bars(), static_cast<int>(model->users()[u].days.size()));
            QCOMPARE(pane->heatMaps[u]->cell(0, 0), model->users()[u].hours[0][0]);
        }
        pane->grab();  // painted without a display
        // The first user's sites list: one line a site.
        QListWidget* sites = nullptr;
        for (QListWidget* list : pane->lists) {
            if (list->objectName() == "Sites visited most " + model->users()[0].user) sites = list;
        }
        QVERIFY(sites);
        QCOMPARE(sites->count(), static_cast<int>(model->users()[0].sites.size()));
        const QString site = model->users()[0].sites[0].name;
        emit sites->itemActivated(sites->item(0));
        QVERIFY(w->window->timelinePane->isVisible());
        QCOMPARE(w->window->timelinePane->filter->text(), site);
        const int rows = w->window->timelinePane->table->model()->rowCount();
        QVERIFY(rows > 0);
        for (int r = 0; r < rows; ++r) {
            QVERIFY(w->window->timelinePane->model()->index(r, TimelineModel::Message).data().toString().contains(site, Qt::CaseInsensitive) ||
                    w->window->timelinePane->openableText(r).contains(site, Qt::CaseInsensitive));
        }
        // File > Export Case Report...: the page with its charts, and the same as PDF.
        QVERIFY(w->window->mnuExportCaseReport->isVisible());
        QTemporaryDir out;
        QVERIFY(!w->window->exportCaseReport(out.filePath("case.html")));
        QFile html(out.filePath("case.html"));
        QVERIFY(html.open(QIODevice::ReadOnly));
        const QByteArray page = html.readAll();
        qsizetype bars = 0;
        for (const DayBars* chart : pane->dayBars) bars += chart->bars();
        QCOMPARE(page.count("<rect class=\"bar\""), bars);
        QVERIFY(!w->window->exportCaseReport(out.filePath("case.pdf")));
        if (!QStandardPaths::findExecutable("pdfinfo").isEmpty()) {
            QProcess info;
            info.start("pdfinfo", {out.filePath("case.pdf")});
            QVERIFY(info.waitForFinished(20000));
            const QString said = QString::fromUtf8(info.readAllStandardOutput());
            const QRegularExpressionMatch pages = QRegularExpression("Pages:\\s+(\\d+)").match(said);
            QVERIFY2(pages.hasMatch() && pages.captured(1).toInt() >= 1, qPrintable(said));
        }
    }

    void theTimelineFiltersByTextKindAndRangeAndExportsWhatItShows() {
        auto w = makeWorld();
        QString error;
        QVERIFY(tools::writeTraceVolume(w->volume.root(), {}, nullptr, &error));
        {
            // A time far from every other: the histogram counts it outside its range.
            QFile hive(w->volume.root() + "/Users/alice/NTUSER.DAT");
            QVERIFY(hive.open(QIODevice::ReadWrite));
            QVERIFY(hive.setFileTime(QDateTime(QDate(1975, 1, 1), QTime(0, 0), QTimeZone::utc()), QFileDevice::FileModificationTime));
        }
        QVERIFY(!w->window->traceBar->isVisible());
        w->window->mnuMoreTraces->trigger();
        QVERIFY(w->window->traceBar->isVisibleTo(w->window.get()));
        w->window->mnuTimeline->trigger();
        TimelinePane* pane = w->window->timelinePane;
        QVERIFY(pane->isVisible());
        QAbstractItemModel* shown = pane->table->model();
        // As many events as the command line's timeline holds, counted into the histogram.
        QProcessEnvironment own = QProcessEnvironment::systemEnvironment();
        own.insert("KESTROVA_SETTINGS", w->program.filePath("cli-kr.ini"));
        const QStringList cli = runCli({"--root", w->volume.root(), "timeline", "--format", "csv"}, own).out.split('\n', Qt::SkipEmptyParts);
        QCOMPARE(shown->rowCount(), cli.size() - 1);
        // The bars cover where the events lie; the hive's time of 1975 is counted outside, and a
        // click shows just what is outside.
        qint64 binned = 0;
        for (const auto& bin : pane->histogram->bins()) binned += bin.count;
        QVERIFY(pane->histogram->outside() > 0);
        QCOMPARE(binned + pane->histogram->outside(), shown->rowCount());
        QCOMPARE(pane->outsideButton->text(), QString("%1 events outside the range").arg(pane->histogram->outside()));
        QCOMPARE(shown->index(0, 0).data().toString(), cli[1].section(',', 0, 0));
        // An event tagged from its context menu: its record's every event shows the tag, and
        // "Show only tagged" keeps just those.
        QString why;
        QVERIFY2(pane->tagEvents({5}, "relevant", std::nullopt, &why), qPrintable(why));
        QCOMPARE(shown->index(5, TimelineModel::Tag).data().toString(), QString("relevant"));
        pane->onlyTagged->setChecked(true);
        QVERIFY(shown->rowCount() >= 1);
        for (int r = 0; r < shown->rowCount(); ++r) QCOMPARE(shown->index(r, TimelineModel::Tag).data().toString(), QString("relevant"));
        QVERIFY2(pane->tagEvents({0}, "-", std::nullopt, &why), qPrintable(why));
        pane->onlyTagged->setChecked(false);
        QCOMPARE(shown->rowCount(), cli.size() - 1);
        pane->outsideButton->click();
        QCOMPARE(shown->rowCount(), pane->histogram->outside());
        QVERIFY(shown->index(0, 0).data().toString().startsWith("1975-01-01"));
        pane->histogram->clearSelection();
        pane->filter->setText("BOB-BRAVE");
        QVERIFY(shown->rowCount() > 0);
        for (int r = 0; r < shown->rowCount(); ++r) QCOMPARE(shown->index(r, 3).data().toString(), QString("bob"));
        pane->filter->clear();
        pane->setKinds({"browser.history"});
        QCOMPARE(shown->rowCount(), 24);
        pane->setKinds({});
        const int all = shown->rowCount();
        // The first bar: the events of its hour, day or month only; typing keeps that range.
        pane->histogram->selectBins(0, 0);
        QCOMPARE(shown->rowCount(), pane->histogram->bins()[0].count);
        QVERIFY(shown->rowCount() < all);
        pane->histogram->selectBins(0, static_cast<int>(pane->histogram->bins().size()) - 1);
        const int inBar = shown->rowCount();
        QCOMPARE(inBar, all - pane->histogram->outside());
        pane->filter->setText("chrome");
        QVERIFY(shown->rowCount() > 0 && shown->rowCount() < inBar);
        pane->filter->clear();
        QCOMPARE(shown->rowCount(), inBar);
        pane->histogram->selectBins(0, 0);
        pane->table->selectRow(0);
        QVERIFY(pane->details->toPlainText().contains("source: C:\\Users\\"));
        QVERIFY(pane->details->toPlainText().contains("timestamp_desc: "));
        QTemporaryDir out;
        QVERIFY(!w->window->exportTraces(out.filePath("t.jsonl")));
        QFile jsonl(out.filePath("t.jsonl"));
        QVERIFY(jsonl.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = jsonl.readAll().split('\n');
        QCOMPARE(lines.size(), shown->rowCount() + 1);
        const QJsonObject first = QJsonDocument::fromJson(lines[0]).object();
        QVERIFY(!first["timestamp_desc"].toString().isEmpty());
        QVERIFY(!first["message"].toString().isEmpty());
        QCOMPARE(first["datetime"].toString(), shown->index(0, 0).data().toString());
        QVERIFY(first["timestamp"].isDouble());
        QVERIFY(!w->window->exportTraces(out.filePath("t.csv")));
        QFile csv(out.filePath("t.csv"));
        QVERIFY(csv.open(QIODevice::ReadOnly));
        QVERIFY(csv.readLine().startsWith("datetime,timestamp,timestamp_desc,message,kind,user,"));
        QVERIFY(!w->window->exportTraces(out.filePath("t.xlsx")));
        pane->histogram->clearSelection();
        QCOMPARE(shown->rowCount(), all);
    }

    void menusHaveTheirCaptionsInOrder() {
        auto w = makeWorld();
        QCOMPARE(w->window->mnuOptions->text(), QString("Options"));
        QCOMPARE(w->window->mnuExit->text(), QString("&Exit"));
        QCOMPARE(w->window->mnuCreate->text(), QString("Create Report"));
        QCOMPARE(w->window->mnuView->text(), QString("View Report"));
        QCOMPARE(w->window->mnuhelp->text(), QString("Online Help"));
        QCOMPARE(w->window->newversion->text(), QString("Check for new version"));
        QCOMPARE(w->window->mnuAbout1->text(), QString("About"));
        w->window->mnuhelp->trigger();
        QCOMPARE(w->desktop->opened, QStringList{"https://www.kestrova.example/help/"});
        // Every command has a key; the window's own captions an Alt accelerator, the classic
        // ones stay as they were.
        for (QAction* a : {w->window->mnuChooseSystem, w->window->mnuOpenImage, w->window->mnuExport, w->window->mnuExit,
                           w->window->mnuCreate, w->window->mnuView, w->window->mnuMoreTraces, w->window->mnuTimeline}) {
            QVERIFY2(!a->shortcut().isEmpty(), qPrintable(a->text()));
        }
        QCOMPARE(w->window->mnuChooseSystem->text(), QString("&Choose Windows System..."));
        QCOMPARE(w->window->mnuOpenImage->shortcut(), QKeySequence("Ctrl+Shift+O"));
        QVERIFY(w->window->mnuMoreTraces->text().contains('&'));
    }

    // The window opens inside the screen: the designed 14,400 twips are wider than the test's
    // 800-pixel screen.
    void theWindowOpensAtASizeTheScreenHolds() {
        test::TempVolume volume;
        volume.userHive(tools::sampleUserHive());
        QTemporaryDir program;
        auto desktop = std::make_unique<test::FakeDesktop>();
        desktop->program = program.path();
        auto env = Environment::create(volume.root(), QString(), std::move(desktop), std::make_unique<FixedClock>(test::utcClock()));
        QString reportFolder = "/home/u/Documents/";
        FrmViewer window(*env, FrmViewer::Services{&reportFolder, nullptr, nullptr, VendorAddresses{}});
        const QRect room = QGuiApplication::primaryScreen()->availableGeometry();
        QVERIFY2(window.width() <= room.width() && window.height() <= room.height(),
                 qPrintable(QString("%1x%2 on %3x%4").arg(window.width()).arg(window.height()).arg(room.width()).arg(room.height())));
    }

    void selectingAGroupLeavesListAndPanelsAlone() {
        auto w = makeWorld();
        w->window->selectKey("b3");
        QCOMPARE(w->window->model()->rowCount(), 3);
        QCOMPARE(w->window->panel2->text(), QString("Total Records: 3"));
        w->window->selectKey("root3");
        QCOMPARE(w->window->model()->rowCount(), 3);
        QCOMPARE(w->window->panel1->text(), QString("Double Cilck to run"));
        QCOMPARE(w->window->panel2->text(), QString("Total Records: 3"));
    }

    void windowsFiveToEightLeavePanelTwoAsTheyFoundIt() {
        auto w = makeWorld();
        w->window->selectKey("a2");
        QCOMPARE(w->window->panel2->text(), QString("Total Records: 4"));
        for (const char* key : {"b5", "b6", "b7", "b8"}) {
            w->window->selectKey(key);
            QCOMPARE(w->window->panel2->text(), QString("Total Records: 4"));
        }
        QCOMPARE(w->window->model()->rowCount(), 2);  // typed paths, in the "url" mode of a2
    }

    void doubleClickOpensWhatTheCategorySays() {
        auto w = makeWorld();
        // Windows paths open as the volume's own files: nothing on Linux opens "C:\...".
        const QString profile = w->volume.root() + "/Users/alice/AppData/Roaming/Microsoft/Windows/";
        w->window->selectKey("b1");
        w->window->openRow(0);
        QCOMPARE(w->desktop->opened.last(), profile + "Recent/beach.jpg.lnk");
        // URL History opens the Title cell, not the URL.
        w->window->selectKey("a1");
        w->window->session().list.addRow(QStringList{"http://a.example/", "A title"});
        w->window->model()->reload();
        w->window->openRow(0);
        QCOMPARE(w->desktop->opened.last(), QString("A title"));
        // Cookies open the cookie folder, whatever the row.
        w->window->selectKey("a3");
        w->window->session().list.addRow(QStringList{"alice@example[1].txt"});
        w->window->model()->reload();
        w->window->openRow(0);
        QCOMPARE(w->desktop->opened.last(), profile + "Cookies");
        // URLs go as they are.
        w->window->selectKey("a2");
        w->window->openRow(0);
        QCOMPARE(w->desktop->opened.last(), QString("http://www.example.com/"));
        const int opened = w->desktop->opened.size();
        w->window->selectKey("b3");
        w->window->openRow(0);
        w->window->selectKey("d4");
        w->window->session().list.addRow(QStringList{"http://top.example/", "1", "Top"});
        w->window->model()->reload();
        w->window->openRow(0);
        w->window->openRow(-1);
        QCOMPARE(w->desktop->opened.size(), opened);
    }

    void columnClickSortsByThatColumn() {
        auto w = makeWorld();
        w->window->selectKey("b3");
        QHeaderView* header = w->window->URLs->header();
        emit header->sectionClicked(0);
        QCOMPARE(w->window->model()->sortColumn(), 0);
        QCOMPARE(w->window->model()->index(0, 0).data().toString(), QString("\\\\fileserver\\projects"));
        // The third header of a three-column list makes index 2 the sort column.
        w->window->selectKey("a1");
        emit header->sectionClicked(2);
        QCOMPARE(w->window->model()->sortColumn(), 2);
    }

    void resizeLayoutFollowsTheTwipsTable() {
        auto w = makeWorld();
        QWidget* canvas = w->window->centralWidget();
        w->window->resize(960, 640);
        QApplication::processEvents();
        const int width = canvas->width(), height = canvas->height();
        QCOMPARE(w->window->URLs->width(), twipsToPixels(pixelsToTwips(width) - 3200));
        QCOMPARE(w->window->URLs->height(), twipsToPixels(pixelsToTwips(height) - 750));
        QCOMPARE(w->window->TreeView1->height(), twipsToPixels(pixelsToTwips(height) - 750));
        QCOMPARE(w->window->panel1->width(), twipsToPixels(pixelsToTwips(width) - 2400));
        QCOMPARE(w->window->Command1->x(), twipsToPixels(pixelsToTwips(width) - 3100));
        // Too narrow for the list: its width stays, the heights still follow.
        const int listWidth = w->window->URLs->width();
        w->window->resize(190, 500);
        QApplication::processEvents();
        QCOMPARE(w->window->URLs->width(), listWidth);
        QCOMPARE(w->window->URLs->height(), twipsToPixels(pixelsToTwips(canvas->height()) - 750));
    }

    void optionsBrowseCancelEmptiesTheFolderAndConfirmStoresIt() {
        auto w = makeWorld();
        w->env->os->setFolderPicker([](const QString&) { return QString(); });
        FrmOptions options(w->reportFolder, w->env->settings, *w->env->os);
        QCOMPARE(options.windowTitle(), QString("Options"));
        QCOMPARE(options.Text1->text(), QString("/home/u/Documents/"));
        options.Command3->click();
        QCOMPARE(options.Text1->text(), QString(""));
        options.Command1->click();
        QCOMPARE(w->reportFolder, QString(""));
        QCOMPARE(w->env->settings.GetSetting("general", "ReportFolder"), QString(""));
        FrmOptions again(w->reportFolder, w->env->settings, *w->env->os);
        again.Text1->setText("  /srv/reports  ");
        again.Command2->click();
        QCOMPARE(w->reportFolder, QString(""));
    }

    void reportWindowProposesAFileNamedAfterTheComputer() {
        auto w = makeWorld();
        w->reportFolder = "/home/u/Reports/";
        FrmCreateReport report(w->reportFolder, *w->env->os, w->window->runControl(), nullptr);
        QCOMPARE(report.Text1->text(), QString("/home/u/Reports/Report_for_KESTROVA-SAMPLE.htm"));
        QCOMPARE(w->reportFolder, QString("/home/u/Reports"));  // shortened for the rest of the run
        QVERIFY(report.Command2->isHidden());
        QVERIFY(report.PBar1->isHidden());
        QCOMPARE(report.Command1->text(), QString("Start Create Report"));
        QCOMPARE(report.Check5->text(), QString("Index.dat file"));
        report.setSaveFileDialog([](const QString&, const QString&, const QString&) { return QString(); });
        report.Command3->click();
        QCOMPARE(report.Text1->text(), QString("/home/u/Reports/Report_for_KESTROVA-SAMPLE.htm"));
        report.setSaveFileDialog([](const QString& title, const QString& filter, const QString&) {
            return title == "Save Report File" && filter == "HTML file (*.htm)" ? QString("/tmp/r.htm") : QString();
        });
        report.Command3->click();
        QCOMPARE(report.Text1->text(), QString("/tmp/r.htm"));
        w->reportFolder = "";
        FrmCreateReport relative(w->reportFolder, *w->env->os, w->window->runControl(), nullptr);
        QCOMPARE(relative.Text1->text(), QString("Report_for_KESTROVA-SAMPLE.htm"));
    }

    void progressWindowSetsStopWhenClosedAnyWay() {
        RunControl run;
        FrmProgress progress(run);
        QCOMPARE(progress.windowTitle(), QString("Analyzing..."));
        progress.show();
        progress.close();
        QVERIFY(run.stopRequested);
        run.stopRequested = false;
        FrmProgress again(run);
        again.show();
        again.Command1->click();
        QVERIFY(run.stopRequested);
    }

    void cancelButtonSetsStopAndHidesItself() {
        auto w = makeWorld();
        w->window->Command1->show();
        w->window->Command1->click();
        QVERIFY(w->window->runControl().stopRequested);
        QVERIFY(w->window->Command1->isHidden());
    }

    // A long reader (test-only) that adds rows until it is asked to stop, for at most 10 s.
    static const Category& longReader() {
        static const Category category{
            .key = "zz", .parent = "root", .caption = "Long", .columns = kLongColumns, .hint = "done",
            .clearsStop = true, .rows = [](const SourceContext&, RowSink& sink) {
                QElapsedTimer clock;
                clock.start();
                sink.showProgress(1000);
                for (int i = 0; clock.elapsed() < 10000; ++i) {
                    QThread::usleep(200);
                    if (!sink.add(QString::number(i))) break;
                }
                sink.closeProgress();
            }};
        return category;
    }

    void cancelAndAClosedProgressWindowStopALongReaderAtTheNextRow() {
        auto w = makeWorld();
        for (const bool viaProgressWindow : {false, true}) {
            int rowsAtStop = -1;
            QTimer::singleShot(150, w->window.get(), [&] {
                rowsAtStop = w->window->session().list.rowCount();
                if (viaProgressWindow) {
                    auto* progress = w->window->findChild<FrmProgress*>();
                    QVERIFY(progress && progress->isVisible());
                    progress->close();
                } else {
                    w->window->Command1->click();
                }
            });
            QElapsedTimer clock;
            clock.start();
            w->window->runCategory(longReader());
            QVERIFY(clock.elapsed() < 5000);
            // The stop came while events ran after a row; the very next row ended the loop.
            QCOMPARE(w->window->session().list.rowCount(), rowsAtStop);
            QVERIFY(rowsAtStop > 0);
            QCOMPARE(w->window->panel2->text(), QString("Total Records: %1").arg(rowsAtStop));
            // Beside the classic panels, which look as after any run: it was stopped.
            QVERIFY(w->window->outcomePanel->text().startsWith("Stopped before the end")); 
            QVERIFY(!w->window->runControl().running);
        }
    }

    void commandsThatReplaceTheSessionWaitForARunningReader() {
        auto w = makeWorld();
        const Session* before = &w->window->session();
        bool tried = false;
        QTimer::singleShot(100, w->window.get(), [&] {
            // Neither may open its dialog or replace the session under the running reader.
            w->window->mnuChooseSystem->trigger();
            w->window->mnuCreate->trigger();
            w->window->selectKey("b3");  // queued: runs when the long reader ends
            tried = true;
            w->window->Command1->click();
        });
        w->window->runCategory(longReader());
        QVERIFY(tried);
        QCOMPARE(&w->window->session(), before);
        QVERIFY(!w->window->runControl().running);
        QCOMPARE(w->window->model()->rowCount(), 3);
        QCOMPARE(w->window->panel2->text(), QString("Total Records: 3"));
        QCOMPARE(w->window->session().state.listMode, QString("run"));
        // The stop the Cancel left behind is not stale for the next long reader: it clears it.
        QTimer::singleShot(100, w->window.get(), [&] { w->window->Command1->click(); });
        w->window->runCategory(longReader());
        QVERIFY(w->window->session().list.rowCount() > 10);
    }

    void rowsAppendedWhileAReaderRunsReachTheViewAsInsertions() {
        auto w = makeWorld();
        QSignalSpy resets(w->window->model(), &QAbstractItemModel::modelReset);
        QSignalSpy inserts(w->window->model(), &QAbstractItemModel::rowsInserted);
        QTimer::singleShot(200, w->window.get(), [&] { w->window->Command1->click(); });
        w->window->runCategory(longReader());
        QCOMPARE(resets.count(), 1);  // the new list, once
        QVERIFY(inserts.count() >= 2);
        QCOMPARE(w->window->model()->rowCount(), w->window->session().list.rowCount());
    }

    void sortingShowsItsIndicatorReversesOnASecondClickAndEndsWithTheCategory() {
        auto w = makeWorld();
        QHeaderView* header = w->window->URLs->header();
        w->window->selectKey("b3");
        const QStringList readerOrder{"cmd", "notepad C:\\Users\\alice\\Documents\\todo.txt", "\\\\fileserver\\projects"};
        const auto shown = [&] {
            QStringList rows;
            for (int r = 0; r < w->window->model()->rowCount(); ++r) rows << w->window->model()->index(r, 0).data().toString();
            return rows;
        };
        QCOMPARE(shown(), readerOrder);
        emit header->sectionClicked(0);
        QVERIFY(header->isSortIndicatorShown());
        QCOMPARE(header->sortIndicatorOrder(), Qt::AscendingOrder);
        QCOMPARE(shown().first(), QString("\\\\fileserver\\projects"));
        emit header->sectionClicked(0);
        QCOMPARE(header->sortIndicatorOrder(), Qt::DescendingOrder);
        QCOMPARE(shown().first(), QString("notepad C:\\Users\\alice\\Documents\\todo.txt"));
        // Another category, and this one again: each shows the order its reader added the rows.
        w->window->selectKey("a2");
        QVERIFY(!header->isSortIndicatorShown());
        QCOMPARE(shown().first(), QString("http://www.example.com/"));
        w->window->selectKey("b3");
        QCOMPARE(shown(), readerOrder);
    }

    void clickingTheSelectedCategoryAgainRunsItsReaderAgain() {
        auto w = makeWorld();
        w->window->selectKey("b3");
        QTreeWidgetItem* node = w->window->TreeView1->currentItem();
        w->window->session().list.clearRows();
        w->window->model()->sync();
        QCOMPARE(w->window->model()->rowCount(), 0);
        const QPoint at = w->window->TreeView1->visualItemRect(node).center();
        QTest::mouseClick(w->window->TreeView1->viewport(), Qt::LeftButton, {}, at);
        QCOMPARE(w->window->model()->rowCount(), 3);
        QCOMPARE(w->window->TreeView1->currentItem(), node);
    }

    void escapeInTheProgressWindowStopsLikeAnyClose() {
        RunControl run;
        FrmProgress progress(run);
        progress.show();
        QTest::keyClick(&progress, Qt::Key_Escape);
        QVERIFY(run.stopRequested);
        QVERIFY(!progress.isVisible());
    }

    void optionsBrowseUsesTheFolderPickerAlsoAfterAnotherSystemIsChosen() {
        auto w = makeWorld();
        QStringList titles;
        w->window->folderDialog = [&](const QString& title) {
            titles << title;
            return QString("/srv/reports");
        };
        FrmOptions options(w->reportFolder, w->env->settings, *w->env->os);
        options.Command3->click();
        QCOMPARE(options.Text1->text(), QString("/srv/reports"));
        w->env->select(Source{.root = w->volume.root(), .user = "alice", .origin = "kr.ini"});
        FrmOptions after(w->reportFolder, w->env->settings, *w->env->os);
        after.Text1->clear();
        after.Command3->click();
        QCOMPARE(after.Text1->text(), QString("/srv/reports"));
        QCOMPARE(titles, (QStringList{"Select a Folder...", "Select a Folder..."}));
    }

    void chooseSystemFollowsTheFolderAndRefusesOneWithoutAProfile() {
        test::TempVolume other;
        other.file("Users/bob/NTUSER.DAT", "x");
        other.file("Users/carol/NTUSER.DAT", "x");
        test::TempVolume first;
        first.userHive(tools::sampleUserHive());
        FrmChooseSystem dialog(Source{.root = first.root(), .user = "alice", .origin = "kr.ini"});
        QCOMPARE(dialog.userBox->currentText(), QString("alice"));
        QVERIFY(dialog.buttons->button(QDialogButtonBox::Ok)->isEnabled());
        dialog.rootEdit->setText(other.root());
        QCOMPARE(dialog.userBox->count(), 2);
        QCOMPARE(dialog.userBox->currentText(), QString("bob"));  // not the old "alice"
        QVERIFY(dialog.problemLabel->text().isEmpty());
        QTemporaryDir empty;
        dialog.rootEdit->setText(empty.path());
        QCOMPARE(dialog.userBox->count(), 0);
        QVERIFY(dialog.problemLabel->text().contains("holds no user profile"));
        QVERIFY(!dialog.buttons->button(QDialogButtonBox::Ok)->isEnabled());
        dialog.show();
        dialog.accept();
        QVERIFY(dialog.isVisible());  // still open, still saying why
        QCOMPARE(dialog.result(), 0);
        dialog.rootEdit->setText("/nonexistent");
        QVERIFY(dialog.problemLabel->text().contains("does not exist"));
    }

    void aPathLongerThanTheDialogOffersIsRefusedNotCut() {
        auto w = makeWorld();
        const QString tooLong = "/tmp/" + QString(260, 'r') + ".htm";
        w->window->openFileDialog = [&](const QString&, const QString&) { return tooLong; };
        w->window->mnuView->trigger();
        QVERIFY(w->desktop->opened.isEmpty());
        FrmCreateReport report(w->reportFolder, *w->env->os, w->window->runControl(), nullptr);
        const QString proposed = report.Text1->text();
        report.setSaveFileDialog([&](const QString&, const QString&, const QString&) { return tooLong; });
        report.Command3->click();
        QCOMPARE(report.Text1->text(), proposed);
    }

    void theWindowStartsUnderEveryLocale() {
        for (const char* locale : {"en_US.UTF-8", "en_GB.UTF-8", "de_DE.UTF-8", "fr_FR.UTF-8", "ja_JP.UTF-8"}) {
            QTemporaryDir runtime;
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            env.insert("XDG_RUNTIME_DIR", runtime.path());
            env.insert("TMPDIR", runtime.path());  // a window killed leaves its private folder there
            env.insert("QT_QPA_PLATFORM", "offscreen");
            env.insert("LC_ALL", locale);
            env.insert("LANG", locale);
            QProcess window;
            window.setProcessEnvironment(env);
            window.start(QStringLiteral(KESTROVA_BIN_DIR "/kestrova"), {});
            QVERIFY(window.waitForStarted());
            // A settings date it cannot read would end it at once with the fatal message.
            QVERIFY2(!window.waitForFinished(1500), qPrintable(QString(locale) + ": " + window.readAllStandardError()));
            window.kill();
            window.waitForFinished();
        }
    }

    // A wrong folder, an image that cannot be examined (named with --image or handed over bare as
    // a file manager does) or options that do not go together end the window at once, saying why.
    void theWindowRefusesAWrongRootAndSaysWhy() {
        QTemporaryDir runtime, dir;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("XDG_RUNTIME_DIR", runtime.path());
        env.insert("QT_QPA_PLATFORM", "offscreen");
        QFile text(dir.filePath("notes.E01"));
        QVERIFY(text.open(QIODevice::WriteOnly));
        text.write("not an image");
        text.close();
        const std::pair<QStringList, QStringList> cases[] = {
            {{"--root", "/nonexistent/windows"}, {"the Windows folder /nonexistent/windows does not exist"}},
            {{"--image", text.fileName()}, {"notes.E01", "no partition table"}},
            {{text.fileName()}, {"notes.E01", "no partition table"}},
            {{"--image", text.fileName(), "--partition", "2"}, {"notes.E01", "no partition table"}},
            {{"--partition", "2"}, {"--partition goes with an image"}},
        };
        for (const auto& [args, said] : cases) {
            QProcess window;
            window.setProcessEnvironment(env);
            window.start(QStringLiteral(KESTROVA_BIN_DIR "/kestrova"), args);
            QVERIFY(window.waitForFinished(20000));
            QCOMPARE(window.exitCode(), 2);
            const QByteArray err = window.readAllStandardError();
            for (const QString& part : said) QVERIFY2(err.contains(part.toUtf8()), qPrintable(args.join(' ') + ": " + err));
        }
    }

    void checkForNewVersionAsksTheLocalServerFromTheMenuAndSilentlyAtLoad() {
        test::VersionServer server("5.3");
        struct Boxes : UpdateDialogs {
            void notice(const QString& text) override { shown << text; }
            bool ask(const QString& text) override {
                shown << text;
                return false;
            }
            QStringList shown;
        } boxes;
        auto w = makeWorld();
        HttpFetcher fetcher(3000);
        CheckForUpdate update(fetcher, boxes, w->env->settings, *w->env->clock, *w->env->desktop, server.url());
        FrmViewer window(*w->env, FrmViewer::Services{&w->reportFolder, &update, nullptr, VendorAddresses{}});
        window.newversion->trigger();
        QCOMPARE(boxes.shown, QStringList{"A new version 5.3 is available for download now, would you like to download now?"});
        // The date written by that answer is today: no silent check at load. Ten days back: one.
        QString fatal;
        w->env->settings.SaveSetting("general", "CheckInterval", "7");
        QVERIFY(window.load(&fatal));
        QCOMPARE(boxes.shown.size(), 1);
        w->env->settings.SaveSetting("general", "lastcheckupdate", "2026-11-11");
        QVERIFY(window.load(&fatal));
        QCOMPARE(boxes.shown.size(), 2);
    }

    void startCreateReportWritesTheFileAndOpensIt() {
        auto w = makeWorld();
        QTemporaryDir out;
        FrmCreateReport report(w->reportFolder, *w->env->os, w->window->runControl(), w->window.get());
        report.Text1->setText(out.filePath("r.htm"));
        report.Check3->setChecked(false);
        report.Check4->setChecked(false);
        report.Command1->click();
        QCOMPARE(w->desktop->opened.last(), out.filePath("r.htm"));
        QFile file(out.filePath("r.htm"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        const QString text = QString::fromUtf16(reinterpret_cast<const char16_t*>(bytes.constData() + 2), (bytes.size() - 2) / 2);
        QVERIFY(text.contains("Windows-Run History"));
        QVERIFY(!text.contains("Firefox-URL History"));
        QCOMPARE(report.Label1->text(), QString("Creating Windows Typed Paths report..."));
        QVERIFY(report.Command2->isHidden());
    }

    // An empty category says why beside the classic panels, which keep their texts.
    void anEmptyCategorySaysWhyBesideThePanels() {
        auto w = makeWorld();
        w->window->selectKey("c1");
        QCOMPARE(w->window->panel2->text(), QString("Total Records: 0"));
        QCOMPARE(w->window->outcomePanel->toolTip(),
                 QString("Nothing found. folder C:\\Users\\alice\\AppData\\Roaming\\Mozilla\\Firefox\\Profiles\\: missing"));
        w->window->selectKey("b3");
        QVERIFY(w->window->outcomePanel->text().isEmpty());
        // An empty trace table says why too: where the kind looked.
        w->window->runTraceKind(*findTraceKind("windows.prefetch"));
        QCOMPARE(w->window->outcomePanel->toolTip(),
                 QString("windows.prefetch: Nothing found: none of the places it reads is on this volume (looked for C:\\Windows\\Prefetch)"));
    }

    void reportIntoAFolderThatIsNotThereYetMakesItAndOneThatCannotBeWrittenSaysWhy() {
        auto w = makeWorld();
        QTemporaryDir out;
        FrmCreateReport report(w->reportFolder, *w->env->os, w->window->runControl(), w->window.get());
        report.Text1->setText(out.filePath("no/such/Documents/r.htm"));
        for (QCheckBox* box : {report.Check1, report.Check3, report.Check4}) box->setChecked(false);
        report.Command1->click();
        QCOMPARE(w->desktop->opened.last(), out.filePath("no/such/Documents/r.htm"));
        QVERIFY(QFile::exists(out.filePath("no/such/Documents/r.htm")));

        QFile(out.filePath("a-file")).open(QIODevice::WriteOnly);
        report.Text1->setText(out.filePath("a-file/r.htm"));  // under a file: no folder can be made there
        QString said;
        acceptNextMessageBox(&said);
        const int opened = w->desktop->opened.size();
        report.Command1->click();
        QVERIFY2(said.startsWith("The report cannot be written to " + out.filePath("a-file/r.htm")), qPrintable(said));
        QCOMPARE(w->desktop->opened.size(), opened);
    }

    // The zone times are written in is in the title; View > Times in changes it (the examined
    // system's zone from its SYSTEM hive) and is remembered.
    void theTitleNamesTheZoneAndTheViewMenuChangesIt() {
        auto w = makeWorld();
        QVERIFY2(w->window->windowTitle().contains("times in UTC, UTC+00:00"), qPrintable(w->window->windowTitle()));
        QVERIFY(w->window->mnuZoneLocal->isChecked());
        w->window->mnuZoneSystem->trigger();
        QVERIFY2(w->window->windowTitle().contains("times in Europe/Berlin, UTC+0"), qPrintable(w->window->windowTitle()));
        QVERIFY(w->window->mnuZoneSystem->isChecked());
        QCOMPARE(w->env->settings.GetSetting("general", "TimeZone"), QString("system"));
        w->window->mnuZoneLocal->trigger();
        QVERIFY(w->window->windowTitle().contains("times in UTC"));
    }

    // File > Open Disk Image: an image that cannot be examined says why and changes nothing.
    void openDiskImageSaysWhyAnImageCannotBeExamined() {
        auto w = makeWorld();
        QTemporaryDir dir;
        QFile text(dir.filePath("notes.E01"));
        QVERIFY(text.open(QIODevice::WriteOnly));
        text.write("not an image");
        text.close();
        w->window->openFileDialog = [&](const QString& title, const QString& filter) {
            [&] {
                QCOMPARE(title, QString("Open Disk Image"));
                QVERIFY(filter.contains("*.E01") && filter.contains("*.vhdx") && filter.contains("*.qcow2"));
            }();
            return text.fileName();
        };
        QString said;
        acceptNextMessageBox(&said);
        const QString title = w->window->windowTitle();
        w->window->mnuOpenImage->trigger();
        QVERIFY2(said.contains("holds no partition table and no file system"), qPrintable(said));
        QCOMPARE(w->window->windowTitle(), title);
        QCOMPARE(w->env->settings.GetSetting("source", "Image"), QString("unknown value"));
    }

    // File > Open Collection: a Velociraptor ZIP of the volume is examined as the volume is, and
    // remembered; a ZIP that holds no Windows volume says why and changes nothing.
    void openCollectionExaminesAZipAndSaysWhyOneCannotBe() {
        auto w = makeWorld();
        QTemporaryDir dir;
        QString why;
        QVERIFY2(tools::writeCollection(w->volume.root(), dir.filePath("Collection-WKS.zip"), tools::CollectionLayoutKind::Velociraptor, &why), qPrintable(why));
        QVERIFY2(tools::writeZip(dir.filePath("photos.zip"), {{.name = "photos/a.jpg", .content = "x"}}, &why), qPrintable(why));
        w->window->selectKey("b3");
        const int rows = w->window->model()->rowCount();
        QString chosen = dir.filePath("photos.zip");
        w->window->openFileDialog = [&](const QString& title, const QString& filter) {
            [&] {
                QCOMPARE(title, QString("Open Collection"));
                QVERIFY(filter.contains("*.zip") && filter.contains("*.vhdx"));
            }();
            return chosen;
        };
        QString said;
        acceptNextMessageBox(&said);
        const QString title = w->window->windowTitle();
        w->window->mnuOpenCollection->trigger();
        QVERIFY2(said.contains("holds no Windows volume"), qPrintable(said));
        QCOMPARE(w->window->windowTitle(), title);

        chosen = dir.filePath("Collection-WKS.zip");
        said.clear();
        acceptNextMessageBox(&said);
        w->window->mnuOpenCollection->trigger();
        QVERIFY2(said.isEmpty(), qPrintable(said));
        QVERIFY2(w->window->windowTitle().contains("Collection-WKS.zip (Velociraptor offline collection"), qPrintable(w->window->windowTitle()));
        QCOMPARE(w->env->settings.GetSetting("source", "Collection"), chosen);
        w->window->selectKey("b3");
        QCOMPARE(w->window->model()->rowCount(), rows);
    }

    // File > Open Case: every host of a folder read into the trace tables and the Timeline, each
    // record with its host; the Timeline's Hosts menu shows the hosts chosen; the classic
    // categories examine the first host.
    void openCaseReadsEveryHostAndTheHostsMenuChoosesWhichAreShown() {
        auto w = makeWorld();
        QTemporaryDir dir;
        QString why;
        QVERIFY2(tools::writeCollection(w->volume.root(), dir.filePath("case/WKS-02.zip"), tools::CollectionLayoutKind::Velociraptor, &why), qPrintable(why));
        QVERIFY2(tools::writeTraceVolume(dir.filePath("case/profiles"), {}, nullptr, &why), qPrintable(why));
        w->window->folderDialog = [&](const QString& title) {
            [&] { QVERIFY(title.startsWith("Open Case")); }();
            return dir.filePath("case");
        };
        QString said;
        acceptNextMessageBox(&said);
        w->window->mnuOpenCase->trigger();
        QVERIFY2(said.isEmpty(), qPrintable(said));
        QVERIFY2(w->window->windowTitle().contains(" - a case of 2 hosts"), qPrintable(w->window->windowTitle()));

        w->window->mnuMoreTraces->trigger();
        w->window->runTraceKind(*findTraceKind("browser.history"));
        QAbstractItemModel* table = w->window->tracePane->table->model();
        QCOMPARE(table->headerData(0, Qt::Horizontal).toString(), QString("host"));
        QSet<QString> hosts;
        for (int r = 0; r < table->rowCount(); ++r) hosts.insert(table->index(r, 0).data().toString());
        QCOMPARE(hosts, QSet<QString>{"profiles"});  // the sample's volume here has no browser

        w->window->mnuTimeline->trigger();
        TimelinePane* pane = w->window->timelinePane;
        QAbstractItemModel* shown = pane->table->model();
        const int all = shown->rowCount();
        hosts.clear();
        for (int r = 0; r < all; ++r) hosts.insert(shown->index(r, TimelineModel::Host).data().toString());
        QCOMPARE(hosts, (QSet<QString>{"KESTROVA-SAMPLE", "profiles"}));
        QVERIFY(!pane->table->isColumnHidden(TimelineModel::Host));
        pane->setHosts({"profiles"});
        QVERIFY(shown->rowCount() > 0 && shown->rowCount() < all);
        for (int r = 0; r < shown->rowCount(); ++r) QCOMPARE(shown->index(r, TimelineModel::Host).data().toString(), QString("profiles"));
        pane->setHosts({});
        QCOMPARE(shown->rowCount(), all);

        // Another system chosen ends the case: one host, no host column.
        w->window->openFileDialog = [&](const QString&, const QString&) { return dir.filePath("case/WKS-02.zip"); };
        w->window->mnuOpenCollection->trigger();
        QVERIFY(!w->window->windowTitle().contains("a case of"));
        w->window->mnuTimeline->trigger();
        QVERIFY(pane->table->isColumnHidden(TimelineModel::Host));
    }

    // Opening an image, another image, then a folder: each reader child ends when the window
    // leaves its image, however many were started, and the window answers between them. A window
    // that waited for a child kept alive by another child's copy of its socket froze for good; a
    // watchdog ends this test, naming the step, instead of letting it hang.
    void openingImageAfterImageThenAFolderNeverFreezesTheWindow() {
        const QString missing = test::ntfsUnavailable();
        if (!missing.isEmpty()) QSKIP(qPrintable("NTFS fixtures need FUSE and ntfs-3g: " + missing));
        auto w = makeWorld();
        QTemporaryDir dir;
        QString error;
        const QString first = dir.filePath("first.raw");
        QVERIFY2(test::makeNtfs(first, w->volume.root(), 24 << 20, "Windows", &error), qPrintable(error));
        const QString second = dir.filePath("second.qcow2");
        QVERIFY2(test::runTool("qemu-img", {"convert", "-O", "qcow2", first, second}, &error), qPrintable(error));

        std::atomic<const char*> step{"start"};
        std::atomic<bool> done{false};
        std::thread watchdog([&] {
            for (int waited = 0; !done && waited < 60000; waited += 50) QThread::msleep(50);
            if (!done) {
                std::fprintf(stderr, "the window froze at: %s\n", step.load());
                std::_Exit(3);
            }
        });
        const auto answersEvents = [] {
            bool fired = false;
            QTimer::singleShot(0, [&fired] { fired = true; });
            QTRY_VERIFY_WITH_TIMEOUT(fired, 5000);
        };
        const auto childrenOfThisProcess = [] {
            int count = 0;
            for (const QString& task : QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
                QFile file(QStringLiteral("/proc/self/task/%1/children").arg(task));
                if (file.open(QIODevice::ReadOnly)) count += QString::fromLatin1(file.readAll()).split(' ', Qt::SkipEmptyParts).size();
            }
            return count;
        };
        const int before = childrenOfThisProcess();

        for (const QString& image : {first, second, first}) {
            step = "opening an image";
            w->window->openFileDialog = [&](const QString&, const QString&) { return image; };
            QString said;
            acceptNextMessageBox(&said);
            w->window->mnuOpenImage->trigger();
            QVERIFY2(said.isEmpty(), qPrintable(said));
            QVERIFY2(w->window->windowTitle().contains(QFileInfo(image).fileName()), qPrintable(w->window->windowTitle()));
            answersEvents();
            w->window->selectKey("b1");  // the image is really read, not only opened
            QVERIFY(w->window->model()->rowCount() > 0);
            // One reader child serves the window: the ones of images it left have ended.
            QTRY_COMPARE_WITH_TIMEOUT(childrenOfThisProcess(), before + 1, 5000);
        }

        step = "choosing a folder";
        QTimer::singleShot(0, [&] {
            if (auto* dialog = qobject_cast<FrmChooseSystem*>(QApplication::activeModalWidget())) {
                dialog->rootEdit->setText(w->volume.root());
                dialog->accept();
            }
        });
        w->window->mnuChooseSystem->trigger();
        answersEvents();
        QVERIFY2(!w->window->windowTitle().contains(".raw"), qPrintable(w->window->windowTitle()));
        QTRY_COMPARE_WITH_TIMEOUT(childrenOfThisProcess(), before, 5000);
        done = true;
        watchdog.join();
    }

    // View > Snapshots lists the shadow copies of the image examined, is remembered, and a trace
    // table read with them names where each record was seen, each record once. The real
    // shadow-copy volume gets the sample's profile through ntfs-3g, so that the window examines it.
    void snapshotsMenuReadsTheShadowCopiesChosenAndRemembersThem() {
        const QString vss = test::realData("vss/vsstest.qcow2");
        if (!QFileInfo::exists(vss)) QSKIP("real sample not found: vss/vsstest.qcow2");
        const QString missing = test::ntfsUnavailable();
        if (!missing.isEmpty()) QSKIP(qPrintable("NTFS fixtures need FUSE and ntfs-3g: " + missing));
        auto w = makeWorld();
        QVERIFY(!w->window->mnuSnapshots->isEnabled());  // a folder has none
        QTemporaryDir dir;
        const QString image = dir.filePath("vss.raw");
        QString error;
        QVERIFY2(test::runTool("qemu-img", {"convert", "-O", "raw", vss, image}, &error), qPrintable(error));
        {
            test::NtfsMount mount(image, false, &error);
            QVERIFY2(mount.mounted(), qPrintable(error));
            QVERIFY2(test::runTool("cp", {"-a", w->volume.root() + "/.", mount.path()}, &error), qPrintable(error));
        }
        w->window->openFileDialog = [&](const QString&, const QString&) { return image; };
        QString said;
        acceptNextMessageBox(&said);
        w->window->mnuOpenImage->trigger();
        QVERIFY2(said.isEmpty(), qPrintable(said));
        QVERIFY(w->window->mnuSnapshots->isEnabled());
        const auto choices = [&] {
            QList<QAction*> out;
            for (QAction* a : w->window->mnuSnapshots->actions()) {
                if (!a->isSeparator()) out << a;
            }
            return out;
        };
        QStringList captions;
        for (QAction* a : choices()) captions << a->text();
        QCOMPARE(captions, QStringList({"&None: the volume as it is", "&All shadow copies",
                                        "Shadow copy &1, created 2013-12-03T06:35:09.736378+00:00",
                                        "Shadow copy &2, created 2013-12-03T06:37:48.919058+00:00"}));
        QVERIFY(choices()[0]->isChecked());
        choices()[1]->trigger();
        QCOMPARE(w->env->settings.GetSetting("general", "Snapshots"), QString("all"));
        QVERIFY(choices()[2]->isChecked() && choices()[3]->isChecked());

        if (!w->window->mnuMoreTraces->isChecked()) w->window->mnuMoreTraces->trigger();
        w->window->selectKey("trace:file.mft");
        QAbstractItemModel* shown = w->window->traceTable->model();
        int path = -1, note = -1, seen = -1;
        for (int c = 0; c < shown->columnCount(); ++c) {
            const QString name = shown->headerData(c, Qt::Horizontal).toString();
            if (name == "path") path = c;
            if (name == "snapshot_note") note = c;
            if (name == "seen_in") seen = c;
        }
        QVERIFY(path >= 0 && note >= 0 && seen >= 0);
        int syslog = 0, alice = 0;
        for (int r = 0; r < shown->rowCount(); ++r) {
            const QString p = shown->index(r, path).data().toString();
            if (p == "C:\\syslog") {
                ++syslog;
                QCOMPARE(shown->index(r, note).data().toString(), QString("gone from the current volume"));
            }
            if (p == "C:\\Users\\alice\\NTUSER.DAT") ++alice;
        }
        QCOMPARE(syslog, 1);  // kept by both stores, written once
        QVERIFY(alice >= 1);

        // A store clicked out of "all" leaves the other; the choice outlives the window.
        choices()[2]->trigger();
        QCOMPARE(w->env->settings.GetSetting("general", "Snapshots"), QString("2"));
        QVERIFY(!choices()[1]->isChecked() && !choices()[2]->isChecked() && choices()[3]->isChecked());
        w->window = std::make_unique<FrmViewer>(*w->env, FrmViewer::Services{&w->reportFolder, nullptr, nullptr, VendorAddresses{}});
        QVERIFY(choices()[3]->isChecked() && !choices()[0]->isChecked());
    }

    void listShowsCellsUpToTheirFirstNul() {
        ResultList list;
        list.addColumn("URLs In Index.dat File", 8000);
        list.addRow(QString("http://a.example/") + QChar(0) + "garbage");
        ResultListModel model(list);
        QCOMPARE(model.index(0, 0).data().toString(), QString("http://a.example/"));
        QCOMPARE(model.headerData(0, Qt::Horizontal, Qt::DisplayRole).toString(), QString("URLs In Index.dat File"));
    }

    void secondInstanceEndsSilently() {
        QTemporaryDir dir;
        SingleInstance first(dir.filePath("kestrova.lock"));
        QVERIFY(first.acquire());
        SingleInstance second(dir.filePath("kestrova.lock"));
        QVERIFY(!second.acquire());

        // The real program: a second start while the first runs exits at once, saying nothing.
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("XDG_RUNTIME_DIR", dir.path());
        env.insert("TMPDIR", dir.path());  // the window killed leaves its private folder there
        env.insert("QT_QPA_PLATFORM", "offscreen");
        QProcess running, again;
        running.setProcessEnvironment(env);
        again.setProcessEnvironment(env);
        running.start(QStringLiteral(KESTROVA_BIN_DIR "/kestrova"), {});
        QVERIFY(running.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(dir.filePath("kestrova.lock")), 10000);
        again.start(QStringLiteral(KESTROVA_BIN_DIR "/kestrova"), {});
        QVERIFY(again.waitForFinished(10000));
        QCOMPARE(again.exitCode(), 0);
        QCOMPARE(again.readAllStandardOutput(), QByteArray());
        QVERIFY(running.state() == QProcess::Running);
        running.kill();
        running.waitForFinished();
    }
};

int main(int argc, char** argv) {
    qputenv("TZ", "UTC");
    // Each world keeps its settings beside its own program folder: never a file the environment
    // names, never the user's own.
    qunsetenv("KESTROVA_SETTINGS");
    qputenv("XDG_CONFIG_HOME", "/nonexistent/kestrova-gui-test");
    // The examiner's case files (tags) of the test's evidence go to a folder of the test's own.
    QTemporaryDir cases;
    qputenv("XDG_DATA_HOME", cases.path().toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    QApplication app(argc, argv);
    GuiTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "gui_test.moc"
