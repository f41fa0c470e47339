// The reader frame: the fill object's contract (start, rows, finish), the failure policies of a
// row loop, the rate-limited event pump, stop requests, and the collectors that share a source
// with the window's reader.
#include <QThread>
#include <gtest/gtest.h>

#include "core/frame/collector.h"
#include "core/readers/windows/windows_readers.h"
#include "mksample/sample_system.h"
#include "support/reader_fixture.h"

namespace kestrova {
namespace {

constexpr ColumnSpec kColumns[] = {{"Text", 4000}, {"More", 2000}};

class Frame : public test::ReaderFixture {
protected:
    void SetUp() override {
        volume_.userHive(tools::sampleUserHive());
        open();
    }
};

// Three steps, the second of which fails; what comes out depends on the category's policy.
void threeStepsSecondFails(const SourceContext&, RowSink& sink) {
    for (int i = 1; i <= 3; ++i) {
        const bool goOn = sink.step([&] {
            if (i == 2) throw RuntimeError("Subscript out of range");
            sink.add(QStringList{QString::number(i), QStringLiteral("x")});
        });
        if (!goOn) break;
    }
    sink.add(QStringLiteral("after the loop"));
}

TEST_F(Frame, FailurePoliciesKeepRowsAndStillFinishTheList) {
    const std::pair<OnError, QStringList> cases[] = {
        {OnError::SkipStep, {"1", "3", "after the loop"}},
        {OnError::EndLoop, {"1", "after the loop"}},
        {OnError::EndReader, {"1"}},
    };
    for (const auto& [policy, expected] : cases) {
        const Category category{.key = "zz", .parent = "root", .caption = "Steps", .columns = kColumns,
                                .loadingHint = "Loading...", .hint = "done", .onError = policy,
                                .rows = threeStepsSecondFails};
        session().run(category);
        EXPECT_EQ(rows(), expected) << static_cast<int>(policy);
        EXPECT_EQ(session().list.panel1(), "done");
        EXPECT_EQ(session().list.panel2(), QString("Total Records: %1").arg(expected.size()));
        EXPECT_TRUE(session().list.visible());
        EXPECT_EQ(session().list.columns().size(), 2u);
    }
}

TEST_F(Frame, StartClearsTheListSetsTheModeAndOnlyLongReadersClearStop) {
    session().list.addRow(QStringLiteral("left over"));
    session().state.listMode = "run";
    run_.stopRequested = true;
    const Category keepsMode{.key = "zz", .parent = "root", .caption = "Keeps", .columns = kColumns,
                             .writesCount = false, .rows = [](const SourceContext& src, RowSink& sink) {
                                 sink.add(src.mode);
                             }};
    session().list.setPanel2("kept");
    session().run(keepsMode);
    EXPECT_EQ(rows(), QStringList{"run"});  // the source filters by the mode it found
    EXPECT_EQ(session().list.panel2(), "kept");
    EXPECT_TRUE(run_.stopRequested);
    const Category long_{.key = "zz", .parent = "root", .caption = "Long", .listMode = listmode::Cache,
                         .clearsStop = true, .rows = [](const SourceContext&, RowSink&) {}};
    session().run(long_);
    EXPECT_EQ(session().state.listMode, "cache");
    EXPECT_FALSE(run_.stopRequested);
    EXPECT_EQ(session().list.panel2(), "Total Records: 0");
    EXPECT_FALSE(run_.running);
}

TEST_F(Frame, EventsRunAtABoundedRateAndAStopEndsALongLoopAtTheNextRow) {
    static RunControl* run = nullptr;
    run = &run_;
    const Category slow{.key = "zz", .parent = "root", .caption = "Slow", .clearsStop = true,
                        .rows = [](const SourceContext&, RowSink& sink) {
                            // 200 rows over about 400 ms; a stop is requested after 150 rows.
                            for (int i = 0; i < 200; ++i) {
                                QThread::msleep(2);
                                if (i == 150) run->stopRequested = true;
                                if (!sink.add(QString::number(i))) return;
                            }
                        }};
    session().run(slow);
    EXPECT_EQ(session().list.rowCount(), 151);
    EXPECT_TRUE(run_.running == false);
    // About 300 ms of rows: events ran, but far fewer times than there were rows.
    EXPECT_GE(host_.events, 3);
    EXPECT_LE(host_.events, 300 / ListFill::kPumpIntervalMs + 2);
}

TEST_F(Frame, AFaultThatIsNotARunTimeErrorReachesTheHostAsABug) {
    struct BugHost : test::RecordingHost {
        void bug(const QString& text) override { bugs.append(text); }
        QStringList bugs;
    } host;
    Session session(*os_, clock_, run_, host);
    const Category broken{.key = "zz", .parent = "root", .caption = "Broken", .rows = [](const SourceContext&, RowSink& sink) {
                              sink.add(QStringLiteral("kept"));
                              throw std::logic_error("index out of range");
                          }};
    session.run(broken);
    EXPECT_EQ(host.bugs, QStringList{"zz: index out of range"});
    EXPECT_EQ(session.list.rowCount(), 1);
    EXPECT_EQ(session.list.panel2(), "Total Records: 1");
}

TEST_F(Frame, CollectorsJoinCellsWithACaretAndStopOnlyOnTheirSkip) {
    QStringList rows;
    RunControl run;
    CollectingSink sink([&rows](const QString& row) { rows.append(row); }, OnError::SkipStep, &run);
    EXPECT_TRUE(sink.add(QStringList{"a", "b^c", ""}));
    run.stopRequested = true;  // the window's stop is not the report's skip
    EXPECT_TRUE(sink.add(QStringLiteral("d")));
    run.skipRequested = true;
    EXPECT_FALSE(sink.add(QStringLiteral("e")));
    EXPECT_EQ(rows, (QStringList{"a^b^c^", "d", "e"}));
}

// Every Windows category gives the same rows in the window as its collector gives the report,
// in whatever mode the window filtered by, except where the report's own rule differs: in mode
// "run" it keeps only entries with a "\" before cutting them.
class SharedSources : public test::ReaderFixture {};

TEST_F(SharedSources, CollectorAndWindowReaderGiveTheSameRowsForEveryWindowsCategory) {
    tools::HiveBuilder user = tools::sampleUserHive();
    tools::addWindowsHistory(user);
    volume_.userHive(user);
    tools::HiveBuilder system = tools::sampleSystemHive();
    tools::addUsbDevices(system);
    volume_.systemHive(system);
    volume_.softwareHive(tools::sampleSoftwareHive());
    tools::addRecentItems(volume_.root());
    open();
    for (const char* before : {"a2", "b3", "b4"}) {
        for (const char* key : {"a2", "b1", "b2", "b3", "b4", "b5", "b6", "b7", "b8"}) {
            run(before);
            const QString mode = session().state.listMode;
            QStringList window = run(key);
            const Category* category = findCategory(QLatin1String(key));
            const QStringList report = collectRows(category->rows, reportContext(session().state.listMode), category->onError);
            EXPECT_FALSE(window.isEmpty()) << key;
            if (session().state.listMode == "run" && QString(key) == "b2") {
                EXPECT_EQ(window.takeFirst(), "*.x");  // the ACMru entry "*.xls" has no "\"
            }
            EXPECT_EQ(window, report) << key << " after " << before << " in mode " << mode.toStdString();
        }
    }
}

}  // namespace
}  // namespace kestrova
