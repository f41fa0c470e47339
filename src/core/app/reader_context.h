// What a category reader works on: the list and its panels, the state the main window keeps
// between readers (ListMode, StopRequested, the remembered folders), the environment queries and
// the conversions, and the few ways a long reader talks to whoever runs it (pending events,
// progress, questions). The window, the command line and the tests all run readers through this.
#pragma once

#include <QString>
#include <functional>
#include <memory>

#include "core/app/result_list.h"
#include "core/settings/os_api.h"
#include "core/time/mod_covert.h"
#include "core/time/mod_time_stamp.h"

namespace kestrova {

// State the main window keeps for the whole run; readers read and change it.
struct AppState {
    // "run", "open", "url", "recdoc", "index.dat", "cache", "cookies", ...: steers the registry
    // list filter and the double-click action. A reader that does not set it leaves the previous
    // category's mode in force, and later readers depend on that carry-over.
    QString listMode;
    bool stopRequested = false;
    QString windowsVersionTag;
    QString recentFolder;       // the last Recent Document listing's folder, with its "\"
    QString cookieFolder;       // the folder a double-click on a cookie row opens
    QString selectedIndexFile;  // the index.dat chosen for scanning; "" = nothing to scan
};

// The long readers' window on the front end. Every call may be a no-op (the command line).
class ReaderHost {
public:
    virtual ~ReaderHost() = default;
    // Lets pending window events run (the Cancel button among them).
    virtual void processEvents() {}
    virtual void showProgress(int maximum) { (void)maximum; }
    virtual void setProgress(int value, const QString& label) { (void)value; (void)label; }
    virtual void closeProgress() {}
    // Shows or hides the main window's Cancel button.
    virtual void showStopButton(bool shown) { (void)shown; }
    // A plain message box with an OK button.
    virtual void message(const QString& text) { (void)text; }
    // The index.dat chooser; returns the path to scan, "" when cancelled.
    virtual QString chooseIndexFile(const QString& proposed) { return proposed; }
    // A line for --verbose output: why a category came out empty.
    virtual void diagnostic(const QString& text) { (void)text; }
};

struct ReaderContext {
    ResultList& list;
    AppState& state;
    const OsApi& os;
    const ModTimeStamp& stamps;
    const ModCovert& covert;
    ReaderHost& host;

    const RegApi& reg() const { return os.reg(); }
    // The locale class of the analysed system, for the MRU decoders.
    QString localeClass() const { return ModCovert::SystemLocaleClass(os.system().systemLocaleId()); }
};

}  // namespace kestrova
