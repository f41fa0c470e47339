// The window's trace panes: a kind's table and the Timeline, shown in the list's place, read
// with the window's run control (Cancel, one reading at a time) and exported from File > Export.
#include "gui/frm_viewer.h"

#include <QPushButton>
#include <QTreeView>

#include "core/common/text.h"
#include "gui/timeline_pane.h"
#include "gui/trace_pane.h"
#include "traces/trace_context.h"

namespace kestrova {

void FrmViewer::showTracePane(QWidget* pane) {
    for (QWidget* each : {static_cast<QWidget*>(tracePane), static_cast<QWidget*>(timelinePane)}) {
        each->setGeometry(URLs->geometry());
        each->setVisible(each == pane);
    }
    mnuExport->setEnabled(pane != nullptr);
    if (pane) URLs->hide();
}

void FrmViewer::runTraces(QWidget* pane, const QString& reading, const std::function<QString(TraceContext&)>& read) {
    if (run_.running) return;
    {
        const RunningScope running(run_);
        run_.stopRequested = false;
        showTracePane(pane);
        showOutcome(reading);
        Command1->show();
        env_.system->findings().clear();
        TraceContext context(*env_.system, env_.privateTemp.path());
        context.replayLogs = env_.replayLogs;
        const QString counted = read(context);
        Command1->hide();
        QStringList outcome{counted + (run_.stopRequested ? QStringLiteral(", stopped by Cancel") : QString())};
        for (const Finding& finding : env_.system->findings().all()) outcome.append(showEscapedBytes(finding.text()));
        showOutcome(outcome.join(QStringLiteral("; ")), outcome.join(QLatin1Char('\n')));
    }
    if (!pendingKey_.isEmpty()) runKey(std::exchange(pendingKey_, QString()));
}

void FrmViewer::runTraceKind(const TraceKind& kind) {
    runTraces(tracePane, QStringLiteral("Reading %1...").arg(QLatin1String(kind.name)), [&](TraceContext& context) {
        const qint64 records = tracePane->fill(kind, context, traceZone(), run_);
        // An empty table says why, as an empty category does: a finding when there is one, else
        // what the kind looked for.
        if (records == 0 && env_.system->findings().all().empty() && !run_.stopRequested) {
            return QStringLiteral("%1: Nothing found: %2").arg(QLatin1String(kind.name), context.emptyReason());
        }
        return QStringLiteral("%1: %2 records").arg(QLatin1String(kind.name)).arg(records);
    });
}

void FrmViewer::runTimeline() {
    runTraces(timelinePane, QStringLiteral("Reading every trace into the timeline..."), [&](TraceContext& context) {
        const qint64 events = timelinePane->fill(context, traceZone(), env_.system->computerName(), run_);
        return QStringLiteral("timeline: %1 events").arg(events);
    });
}

std::optional<QString> FrmViewer::exportTraces(const QString& path) {
    return timelinePane->isVisible() ? timelinePane->exportTo(path) : tracePane->exportTo(path);
}

}  // namespace kestrova
