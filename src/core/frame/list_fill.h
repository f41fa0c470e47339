// ListFill: the one object through which every category fills the window's list, so that the
// reader contract is written once:
//   start   - panel 1 "Loading..." where the category shows it, ListMode where it sets one,
//             StopRequested cleared where it is a long reader, rows then columns removed, its
//             columns added, the list hidden;
//   add     - rows one by one as the source reads them, window events let run every few tens of
//             milliseconds (never per row), and whether a stop was requested;
//   finish  - the list shown again, the progress window closed, panel 1 the hint, panel 2
//             "Total Records: n" from the list itself where the category writes it.
// finish runs also after a run-time error ended the source: what was added stays.
#pragma once

#include <QElapsedTimer>
#include <span>

#include "core/frame/reader_host.h"
#include "core/frame/result_list.h"
#include "core/frame/run_control.h"

namespace kestrova {

struct ColumnSpec {
    const char* text;
    int widthTwips;
    ColumnKind kind = ColumnKind::Text;  // how a click on its header sorts it
};

// How a category fills the list, as its catalogue row says.
struct FillSpec {
    std::span<const ColumnSpec> columns;
    const char* loadingHint = nullptr;  // panel 1 while loading; nullptr leaves it
    const char* hint = nullptr;         // panel 1 when filled; nullptr leaves it
    const char* listMode = nullptr;     // nullptr keeps the previous category's mode
    bool writesCount = true;            // b5 to b8 leave panel 2 as they found it
    bool clearsStop = false;            // long readers clear StopRequested when they start
    bool showsStopButton = false;       // the main window's Cancel, shown while it runs
    OnError onError = OnError::EndReader;
};

class ListFill : public RowSink {
public:
    // How often window events run while rows stream in.
    static constexpr int kPumpIntervalMs = 30;

    ListFill(ResultList& list, AppState& state, RunControl& run, ReaderHost& host, const FillSpec& plan);

    void start();
    bool add(const QStringList& cells) override;
    bool add(const QString& text) override;
    bool addLatin1(QByteArrayView bytes) override;
    bool addViews(std::span<const QAnyStringView> cells) override;
    bool stopRequested() override;
    void clearStop() override { run_.stopRequested = false; }
    void showProgress(int maximum) override;
    bool showsProgress() const override { return host_.showsProgress(); }
    // Kept and handed to the window when events next run: a label per row would cost more
    // than the rows.
    void setProgress(int value, const char* prefix, qint64 count) override;
    void closeProgress() override;
    void message(const QString& text) override { host_.message(text); }
    // What the chooser answers is also the window's SelectedIndexFile.
    QString chooseIndexFile(const QString& proposed) override {
        return state_.selectedIndexFile = host_.chooseIndexFile(proposed);
    }
    void leaveCountUnwritten() override { countUnwritten_ = true; }
    void showStatus(const QString& text) override { list_.setPanel1(text); }
    void finish();

protected:
    void stepFailed(const RuntimeError& error) override;

private:
    void pump();
    // After a row: the clock is looked at every few rows only, events run when it is time.
    bool afterRow() {
        if ((++addsSinceClock_ & 15u) == 0) pump();
        return !run_.stopRequested;
    }

    ResultList& list_;
    AppState& state_;
    RunControl& run_;
    ReaderHost& host_;
    const FillSpec& plan_;
    QElapsedTimer sincePump_;
    bool progressShown_ = false;
    bool progressPending_ = false;
    int progressValue_ = 0;
    const char* progressPrefix_ = "";
    qint64 progressCount_ = 0;
    unsigned addsSinceClock_ = 0;
    bool countUnwritten_ = false;
};

}  // namespace kestrova
