// The windows under QtTest, offscreen: the tree, the dispatch as the user sees it, double-click
// targets, the resize layout, the options, report and progress windows, and the single instance.
#include <QCheckBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTemporaryDir>
#include <QTreeView>
#include <QTreeWidget>
#include <QtTest>

#include "core/app/startup.h"
#include "core/app/viewer_layout.h"
#include "gui/frm_create_report.h"
#include "gui/frm_options.h"
#include "gui/frm_progress.h"
#include "gui/frm_viewer.h"
#include "gui/result_list_model.h"
#include "gui/single_instance.h"
#include "support/fake_desktop.h"
#include "support/reader_fixture.h"

using namespace kestrova;

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

    std::unique_ptr<World> makeWorld() {
        auto world = std::make_unique<World>();
        tools::HiveBuilder user = tools::sampleUserHive();
        tools::addWindowsHistory(user);
        world->volume.userHive(user);
        tools::HiveBuilder system = tools::sampleSystemHive();
        tools::addUsbDevices(system);
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
        w->window->selectKey("b1");
        w->window->openRow(0);
        QCOMPARE(w->desktop->opened.last(),
                 QString("C:\\Users\\alice\\AppData\\Roaming\\Microsoft\\Windows\\Recent\\beach.jpg.lnk"));
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
        QCOMPARE(w->desktop->opened.last(), QString("C:\\Users\\alice\\AppData\\Roaming\\Microsoft\\Windows\\Cookies"));
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
        FrmCreateReport report(w->reportFolder, *w->env->os, nullptr);
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
        FrmCreateReport relative(w->reportFolder, *w->env->os, nullptr);
        QCOMPARE(relative.Text1->text(), QString("Report_for_KESTROVA-SAMPLE.htm"));
    }

    void progressWindowSetsStopWhenClosedAnyWay() {
        bool stop = false;
        FrmProgress progress(stop);
        QCOMPARE(progress.windowTitle(), QString("Analyzing..."));
        progress.show();
        progress.close();
        QVERIFY(stop);
        stop = false;
        FrmProgress again(stop);
        again.show();
        again.Command1->click();
        QVERIFY(stop);
    }

    void cancelButtonSetsStopAndHidesItself() {
        auto w = makeWorld();
        w->window->Command1->show();
        w->window->Command1->click();
        QVERIFY(w->window->session().state.stopRequested);
        QVERIFY(w->window->Command1->isHidden());
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
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    QApplication app(argc, argv);
    GuiTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "gui_test.moc"
