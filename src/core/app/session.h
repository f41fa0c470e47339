// One examining session: the list, the state the window keeps between readers, and the
// conversions, bound to an analysed system, the program's run control and a front end.
// Selecting a key runs its category through the one reader frame, as a click in the tree does.
#pragma once

#include "core/app/catalogue.h"

namespace kestrova {

// How a category's last run ended, for what the window says beside the classic panels: why the
// list is empty, or why it may not hold everything.
struct RunOutcome {
    QString key;
    int rows = 0;
    bool stopped = false;    // a stop asked for by the user ended it before its end
    QString endedEarly;      // a run-time error that ended it, in the error's words
    QStringList findings;    // the sources it could not give, and why

    // One line for the window; "" when there is nothing to say (rows, and nothing missing).
    QString text() const;
};

class Session {
public:
    Session(const OsApi& os, const Clock& clock, RunControl& run, ReaderHost& host);

    // Runs the category bound to the key; false when the key runs nothing (groups, unknown
    // keys), in which case list and panels stay as they were.
    bool select(const QString& key);
    // Runs one category: the frame starts the list, the row source adds its rows, the frame
    // finishes the list. A run-time error that the source lets through ends it where it stands:
    // the rows it added stay and the list is finished as usual. Anything else is a fault of the
    // program and goes to the host as one, never swallowed.
    void run(const Category& category);
    // What a report collector reads with: the report's rules and the mode it is called with.
    SourceContext reportContext(const QString& mode = QString()) const;

    const OsApi& os() const { return os_; }
    // How the last category run ended.
    const RunOutcome& lastOutcome() const { return outcome_; }
    const ModTimeStamp& stamps() const { return stamps_; }

    ResultList list;
    AppState state;

private:
    const OsApi& os_;
    ModTimeStamp stamps_;
    ModCovert covert_;
    RunControl& run_;
    ReaderHost& host_;
    RunOutcome outcome_;
};

}  // namespace kestrova
