// The report's side of a row source: each row becomes one text with its cells joined by "^", the
// form the report writer splits again into table cells. A collector never sees the list, the
// panels or ListMode; it stops only where the report lets the user skip (the index.dat section).
#pragma once

#include <QStringList>
#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

#include "core/frame/row_sink.h"
#include "core/frame/run_control.h"

namespace kestrova {

class CollectingSink : public RowSink {
public:
    using Emit = std::function<void(const QString& row)>;
    // The same rows as their cells, for a writer that splits the joined text again anyway: what
    // it gets is what the "^"-joined text is made of, not joined (views valid during the call).
    using EmitCells = std::function<void(std::span<const QAnyStringView> cells)>;

    // skipRun: the run control whose skip flag ends this collector; nullptr for sections that
    // cannot be skipped. pump: lets the report window's events run (may be empty).
    CollectingSink(Emit onRow, OnError onError, RunControl* skipRun = nullptr, std::function<void()> pump = {})
        : RowSink(onError), emit_(std::move(onRow)), skipRun_(skipRun), pump_(std::move(pump)) {}
    CollectingSink(EmitCells onCells, OnError onError, RunControl* skipRun = nullptr, std::function<void()> pump = {})
        : RowSink(onError), emitCells_(std::move(onCells)), skipRun_(skipRun), pump_(std::move(pump)) {}

    bool add(const QStringList& cells) override {
        const std::vector<QAnyStringView> views(cells.begin(), cells.end());
        return addViews(views);
    }
    using RowSink::add;
    bool addViews(std::span<const QAnyStringView> cells) override {
        if (emitCells_) {
            emitCells_(cells);
            return !stopRequested();
        }
        // Joined in one text kept from row to row: what it is handed to is done with it when it
        // returns.
        row_.resize(0);
        for (size_t i = 0; i < cells.size(); ++i) {
            if (i) row_ += QLatin1Char('^');
            cells[i].visit([this](auto view) {
                if constexpr (std::is_same_v<decltype(view), QUtf8StringView>) {
                    row_ += view.toString();
                } else {
                    row_ += view;
                }
            });
        }
        emit_(row_);
        return !stopRequested();
    }
    bool stopRequested() override {
        if (pump_) pump_();
        return skipRun_ && skipRun_->skipRequested;
    }

private:
    QString row_;
    Emit emit_;
    EmitCells emitCells_;
    RunControl* skipRun_;
    std::function<void()> pump_;
};

// Runs a source on the report's side and returns its rows, one "^"-joined text each.
inline QStringList collectRows(RowSource source, const SourceContext& context, OnError onError) {
    QStringList rows;
    CollectingSink sink([&rows](const QString& row) { rows.append(row); }, onError);
    try {
        source(context, sink);
    } catch (const RuntimeError&) {
        // The source ended where it stood; the rows it gave stay, as in the window.
    }
    return rows;
}

}  // namespace kestrova
