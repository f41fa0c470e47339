// WriteHTML: every category of the catalogue (a1 to d5) written into one HTML file, section
// after section in the catalogue's order, from a fixed template. Each section's rows come
// straight from its category's row source run on the report's side ("^"-joined texts) and are
// written as they come, so memory stays flat however many rows a section has.
//
// The document is written exactly as the product always wrote it: every fragment one line (CR LF),
// the odd spacing and unbalanced mark-up kept, the text of rows unescaped, the file in UTF-16
// little-endian with a byte-order mark although it declares utf-8.
#pragma once

#include <QFile>
#include <QString>
#include <functional>

#include "core/app/services.h"
#include "core/frame/row_sink.h"
#include "core/frame/run_control.h"

namespace kestrova {

struct ReportEnvironment {
    SourceContext source;    // the report's side of the readers
    RunControl& run;         // its skip flag ends the Index.dat section
    QString homePage;        // the footer's link
    QString reportedAt;      // the present date and time in the default date-time form
    std::function<void(const QString&)> progress;  // the progress label's text
    std::function<void(bool)> showSkip;            // the skip button, shown for Index.dat
    std::function<void()> pumpEvents;               // lets the report window's events run
};

// Writes the report to path; false when the file cannot be created (nothing is retried).
bool WriteHTML(const QString& path, const ReportSelection& selection, const ReportEnvironment& env);
// The same into a file already open for writing (the command line's standard output); false
// when writing failed.
bool WriteHTML(QFile& file, const ReportSelection& selection, const ReportEnvironment& env);

}  // namespace kestrova
