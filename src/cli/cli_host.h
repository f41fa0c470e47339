// The readers' host on the command line: no dialog, no progress; a message box's text becomes
// part of the category's output, diagnostics go to standard error with --verbose.
#pragma once

#include <QString>
#include <QStringList>
#include <cstdio>

#include "core/common/text.h"
#include "core/frame/reader_host.h"

namespace kestrova {

// Where a reader would ask the user, the command line takes the default answer.
class CliHost : public ReaderHost {
public:
    CliHost(bool verbose, QString indexFile) : verbose_(verbose), indexFile_(std::move(indexFile)) {}
    // The index.dat chooser's answer: --index-file, else what the dialog proposes.
    QString chooseIndexFile(const QString& proposed) override { return indexFile_.isEmpty() ? proposed : indexFile_; }
    // Progress is not shown: readers need not count their rows first.
    bool showsProgress() const override { return false; }
    // A message box's text becomes part of the category's output.
    void message(const QString& text) override { messages.append(text); }
    QStringList messages;
    void diagnostic(const QString& text) override {
        if (verbose_) std::fprintf(stderr, "%s\n", qPrintable(showEscapedBytes(text)));
    }
    void bug(const QString& text) override {
        std::fprintf(stderr, "kestrova-cli: internal error: %s\n", qPrintable(text));
        failed = true;
    }
    bool failed = false;

private:
    bool verbose_;
    QString indexFile_;
};

}  // namespace kestrova
