#include "core/frame/list_fill.h"

namespace kestrova {

ListFill::ListFill(ResultList& list, AppState& state, RunControl& run, ReaderHost& host, const FillSpec& plan)
    : RowSink(plan.onError), list_(list), state_(state), run_(run), host_(host), plan_(plan) {}

void ListFill::start() {
    if (plan_.loadingHint) list_.setPanel1(QString::fromLatin1(plan_.loadingHint));
    if (plan_.listMode) state_.listMode = QString::fromLatin1(plan_.listMode);
    if (plan_.clearsStop) run_.stopRequested = false;
    list_.clearRows();
    list_.clearColumns();
    for (const ColumnSpec& column : plan_.columns) {
        list_.addColumn(QString::fromLatin1(column.text), column.widthTwips, column.kind);
    }
    list_.setVisible(false);
    if (plan_.showsStopButton) host_.showStopButton(true);
    sincePump_.start();
}

void ListFill::pump() {
    if (sincePump_.elapsed() < kPumpIntervalMs) return;
    if (progressPending_) {
        progressPending_ = false;
        host_.setProgress(progressValue_, QLatin1String(progressPrefix_) + QString::number(progressCount_));
    }
    host_.processEvents();
    sincePump_.restart();
}

bool ListFill::add(const QStringList& cells) {
    list_.addRow(cells);
    return afterRow();
}

bool ListFill::add(const QString& text) {
    list_.addRow(QStringView(text));
    return afterRow();
}

bool ListFill::addLatin1(QByteArrayView bytes) {
    list_.addRowLatin1(bytes);
    return afterRow();
}

bool ListFill::addViews(std::span<const QAnyStringView> cells) {
    list_.addRow(cells);
    return afterRow();
}

bool ListFill::stopRequested() {
    pump();
    return run_.stopRequested;
}

void ListFill::showProgress(int maximum) {
    progressShown_ = true;
    host_.showProgress(maximum);
}

void ListFill::setProgress(int value, const char* prefix, qint64 count) {
    progressPending_ = true;
    progressValue_ = value;
    progressPrefix_ = prefix;
    progressCount_ = count;
}

void ListFill::closeProgress() {
    if (!progressShown_) return;
    progressShown_ = false;
    host_.closeProgress();
}

void ListFill::stepFailed(const RuntimeError& error) {
    host_.diagnostic(QStringLiteral("a step failed: %1").arg(QString::fromLocal8Bit(error.what())));
}

void ListFill::finish() {
    closeProgress();
    list_.setVisible(true);
    // A reader that ended before its rows (the index.dat chooser cancelled) stops there: the
    // Cancel button it showed stays, as it always did, until it is clicked.
    if (plan_.showsStopButton && !countUnwritten_) host_.showStopButton(false);
    if (plan_.hint) list_.setPanel1(QString::fromLatin1(plan_.hint));
    if (plan_.writesCount && !countUnwritten_) list_.showCount();
}

}  // namespace kestrova
