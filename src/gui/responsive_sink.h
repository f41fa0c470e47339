// A trace sink for the window: hands each record on, and every tenth of a second lets the
// window's events run (after `beforeEvents`, which shows what arrived), so that the window stays
// responsive and Cancel (run.stopRequested) can end the reading.
#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <functional>

#include "core/frame/run_control.h"
#include "traces/record.h"

namespace kestrova {

// How a pane has a kind read into its sink: the records written. The window reads from the
// examined volume, and from the shadow copies View > Snapshots names.
using KindReader = std::function<qint64(const TraceKind&, TraceSink&)>;

class ResponsiveSink : public TraceSink {
public:
    ResponsiveSink(TraceSink& inner, RunControl& run, std::function<void()> beforeEvents = {})
        : inner_(inner), run_(run), beforeEvents_(std::move(beforeEvents)) {
        since_.start();
    }
    bool record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) override {
        if (!inner_.record(kind, from, values)) return false;
        if (since_.elapsed() >= 100) {
            if (beforeEvents_) beforeEvents_();
            QCoreApplication::processEvents();
            since_.restart();
        }
        return !run_.stopRequested;
    }

private:
    TraceSink& inner_;
    RunControl& run_;
    std::function<void()> beforeEvents_;
    QElapsedTimer since_;
};

}  // namespace kestrova
