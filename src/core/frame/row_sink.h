// Where a category's rows go, and what a row source reads with.
//
// A row source reads one category's source (registry keys, a folder, a file, a database) and
// hands each row to a RowSink as it reads it. The same source serves two sinks: the window's list
// (ListFill, which owns the panels, the columns, the progress window and the event pump) and the
// report (a collector that turns each row into one "^"-joined text). A source therefore never
// sees the list, the panels or ListMode; what differs between list and report it reads from its
// SourceContext.
#pragma once

#include <QAnyStringView>
#include <QString>
#include <QStringList>
#include <span>

#include "core/common/findings.h"
#include "core/common/runtime_error.h"
#include "core/settings/os_api.h"
#include "core/time/mod_covert.h"
#include "core/time/mod_time_stamp.h"

namespace kestrova {

// Whose rules a source follows where the window and the report differ (the report keeps only
// "run" entries with a "\", lists Chrome's hidden URLs, scans a fixed index.dat).
enum class Side { List, Report };

// What a run-time error inside one step of a row loop does, as each category prescribes:
//  SkipStep  - the failing step is passed over and the loop goes on;
//  EndLoop   - the loop ends there and the source closes what it opened;
//  EndReader - the source ends where it stands, without closing anything.
// Rows already added stay in every case, and the list is finished (hint, count) all the same.
enum class OnError { SkipStep, EndLoop, EndReader };

// Folders the window remembers from its last listing of a category (the double-click target).
struct KeptFolders {
    QString recent;   // the last Recent Document listing's folder, with its "\"
    QString cookies;  // the folder a double-click on a cookie row opens
};

struct SourceContext {
    const OsApi& os;
    const ModTimeStamp& stamps;
    const ModCovert& covert;
    QString versionTag;  // WindowsVersionTag of the analysed system
    // The list mode the rows are filtered by: the window's ListMode as the category found or set
    // it; for the report, the mode its collector is called with.
    QString mode;
    Side side = Side::List;
    KeptFolders* kept = nullptr;  // the window's; nullptr for the report
    Findings& findings;

    const RegApi& reg() const { return os.reg(); }
    // The analysed system's locale class, for the MRU decoders.
    QString localeClass() const { return ModCovert::SystemLocaleClass(os.system().systemLocaleId()); }
    // Notes why a source gave nothing, for --verbose.
    void note(FindingKind kind, const QString& what, const QString& why = QString()) const {
        findings.note(kind, what, why);
    }
};

class RowSink {
public:
    explicit RowSink(OnError onError = OnError::EndReader) : onError_(onError) {}
    virtual ~RowSink() = default;

    // Adds one row: its own text first, then its sub-items. Lets window events run now and then
    // (never more often than every few tens of milliseconds). False once a stop was requested:
    // long sources end their loop then, the others go on.
    virtual bool add(const QStringList& cells) = 0;
    virtual bool add(const QString& text) { return add(QStringList{text}); }
    // The same row as views of text the source still holds (a database's column bytes, one
    // byte one character, or decoded text): sinks that store text copy it once, without
    // building a QString per cell. Latin-1 or UTF-16 views only.
    virtual bool addViews(std::span<const QAnyStringView> cells) {
        QStringList row;
        row.reserve(static_cast<qsizetype>(cells.size()));
        for (const QAnyStringView& cell : cells) row.append(cell.toString());
        return add(row);
    }
    // A one-cell row from bytes taken one byte one character (a fixed-size field of a file).
    virtual bool addLatin1(QByteArrayView bytes) { return add(QString::fromLatin1(bytes.data(), bytes.size())); }
    // The stop poll without a row: lets events run (rate-limited) and says whether to stop.
    virtual bool stopRequested() = 0;
    // Long readers clear StopRequested when they start.
    virtual void clearStop() {}

    // The progress window of long readers ("Records: n"); the report shows its own progress.
    virtual void showProgress(int maximum) { (void)maximum; }
    // Whether showProgress shows anything: its maximum is worked out only then (a counting query
    // over a million rows is a fifth of a history reader's time).
    virtual bool showsProgress() const { return false; }
    // The bar's value and the label: the prefix ("Records: ", or "Records:" for the database
    // readers) followed by the count.
    virtual void setProgress(int value, const char* prefix, qint64 count) { (void)value, (void)prefix, (void)count; }
    virtual void closeProgress() {}

    // A plain message box with an OK button (the window), or a line of output (command line).
    virtual void message(const QString& text) { (void)text; }
    // The index.dat chooser; the proposed path back when nobody asks, "" when cancelled.
    virtual QString chooseIndexFile(const QString& proposed) { return proposed; }
    // A reader that ends before its rows (a cancelled chooser) leaves panel 2 unwritten.
    virtual void leaveCountUnwritten() {}
    // Panel 1 while the reader runs (the scanned file's path); nothing in the report.
    virtual void showStatus(const QString& text) { (void)text; }

    // Runs one step of a row loop under the category's failure policy. True: go on with the next
    // step; false: end the loop. EndReader lets the error through to the reader frame.
    template <typename Step>
    bool step(Step&& body) {
        try {
            body();
            return true;
        } catch (const RuntimeError& error) {
            stepFailed(error);
            switch (onError_) {
                case OnError::SkipStep: return true;
                case OnError::EndLoop: return false;
                case OnError::EndReader: throw;
            }
            return false;
        }
    }
    OnError onError() const { return onError_; }

protected:
    // A step failed (and its policy applies); sinks may say so under --verbose.
    virtual void stepFailed(const RuntimeError& error) { (void)error; }

private:
    OnError onError_;
};

// A category's row source, shared by the window's reader and the report's collector.
using RowSource = void (*)(const SourceContext& source, RowSink& sink);

}  // namespace kestrova
