// What the window keeps between readers, and the window as the reader frame sees it: pending
// events, the progress window, the Cancel button, the few dialogs a reader may show, and where
// diagnostics go. The window, the command line and the tests each put their own host behind it.
#pragma once

#include <QString>

#include "core/frame/row_sink.h"

namespace kestrova {

// The ListMode values readers set. "run" and "open" steer the registry list filter; every value
// steers the double-click (through the catalogue). A category that sets none keeps the mode of
// the category shown before it, and later readers depend on that carry-over.
namespace listmode {
inline constexpr const char* Run = "run";
inline constexpr const char* Open = "open";
inline constexpr const char* Url = "url";
inline constexpr const char* RecentDocuments = "recdoc";
inline constexpr const char* IndexDat = "index.dat";
inline constexpr const char* Cache = "cache";
inline constexpr const char* Cookies = "cookies";
}  // namespace listmode

// State the main window keeps for the whole run; the frame sets the mode, sources fill `kept`.
struct AppState {
    QString listMode;
    QString windowsVersionTag;
    KeptFolders kept;
    QString selectedIndexFile;  // the index.dat chosen for scanning; "" = nothing to scan
};

class ReaderHost {
public:
    virtual ~ReaderHost() = default;
    // Lets pending window events run (the Cancel button among them). The frame calls it at a
    // bounded rate, never per row.
    virtual void processEvents() {}
    virtual void showProgress(int maximum) { (void)maximum; }
    // Whether a progress window is shown at all: where none is (the command line), a reader need
    // not work out its maximum, which for some is a query over the whole table.
    virtual bool showsProgress() const { return true; }
    virtual void setProgress(int value, const QString& label) { (void)value; (void)label; }
    virtual void closeProgress() {}
    // Shows or hides the main window's Cancel button.
    virtual void showStopButton(bool shown) { (void)shown; }
    virtual void message(const QString& text) { (void)text; }
    virtual QString chooseIndexFile(const QString& proposed) { return proposed; }
    // A line for --verbose output: why a category came out empty, how a reader ended.
    virtual void diagnostic(const QString& text) { (void)text; }
    // A fault of the program itself escaped a reader: never swallowed. The window shows it, the
    // command line prints it and fails, the tests fail.
    virtual void bug(const QString& text) = 0;
};

}  // namespace kestrova
