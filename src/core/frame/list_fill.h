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

    ListFill(ResultList& list, AppState& state, RunControl& run, ReaderHost& host, const FillSpec& spec);

    void start();
    bool add(const QStringList& cells) override;
    using RowSink::add;
    bool stopRequested() override;
    void clearStop() override { run_.stopRequested = false; }
    void showProgress(int maximum) override;
    void setProgress(int value, const QString& label) override { host_.setProgress(value, label); }
    void closeProgress() override;
    void message(const QString& text) override { host_.message(text); }
    QString chooseIndexFile(const QString& proposed) override { return host_.chooseIndexFile(proposed); }
    void leaveCountUnwritten() override { countUnwritten_ = true; }
    // Panel 1 while the reader runs (the scanned file's path).
    void showStatus(const QString& text) { list_.setPanel1(text); }
    void finish();

protected:
    void stepFailed(const RuntimeError& error) override;

private:
    void pump();

    ResultList& list_;
    AppState& state_;
    RunControl& run_;
    ReaderHost& host_;
    const FillSpec& spec_;
    QElapsedTimer sincePump_;
    bool progressShown_ = false;
    bool countUnwritten_ = false;
};

}  // namespace kestrova
