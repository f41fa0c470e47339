// The window's trace panes: a kind's table and the Timeline, shown in the list's place, read
// with the window's run control (Cancel, one reading at a time) and exported from File > Export.
#include "gui/frm_viewer.h"

#include <QFile>
#include <QPushButton>
#include <QTreeView>

#include "core/common/text.h"
#include "core/app/startup.h"
#include "gui/case_report_pdf.h"
#include "gui/overview_pane.h"
#include "traces/overview/case_report.h"
#include "gui/timeline_pane.h"
#include "gui/trace_pane.h"
#include "traces/kind_reading.h"
#include "traces/trace_context.h"

namespace kestrova {

void FrmViewer::showTracePane(QWidget* pane) {
    for (QWidget* each : {static_cast<QWidget*>(tracePane), static_cast<QWidget*>(timelinePane), static_cast<QWidget*>(overviewPane)}) {
        each->setGeometry(URLs->geometry());
        each->setVisible(each == pane);
    }
    mnuExport->setEnabled(pane != nullptr);
    if (pane) URLs->hide();
}

namespace {

// Reads through the states chosen; a merge that fails is said as a finding of the volume.
qint64 readThrough(KindReading& kinds, Findings& findings, const TraceKind& kind, TraceSink& sink) {
    bool goOn = true;
    QString why;
    const qint64 records = kinds.read(kind, sink, &goOn, &why);
    if (!why.isEmpty()) findings.note(FindingKind::Unreadable, QLatin1String(kind.name), why);
    return records;
}

}  // namespace

void FrmViewer::runTraces(QWidget* pane, const QString& reading, const std::function<QString(const TraceReading&)>& read) {
    if (run_.running) return;
    {
        const RunningScope running(run_);
        run_.stopRequested = false;
        showTracePane(pane);
        showOutcome(reading);
        Command1->show();
        // The volume examined, or every host of the case opened.
        std::vector<std::pair<QString, Environment*>> hosts;
        if (caseHosts_.empty()) hosts.emplace_back(QString(), &env_);
        for (Host& host : caseHosts_) hosts.emplace_back(host.name, host.env.get());
        std::vector<std::unique_ptr<KindReading>> kinds;
        QStringList said;
        for (const auto& [name, env] : hosts) {
            env->system->findings().clear();
            kinds.push_back(std::make_unique<KindReading>(*env, QString()));
        }
        // The shadow copies View > Snapshots names; a choice that no longer fits the image (fewer
        // stores) is said, and the volume is read as it is.
        QString why;
        const bool stores = env_.image || (env_.collection && env_.collection->zip);
        const QString snapshots = caseHosts_.empty() && stores ? env_.settings.GetSetting(QStringLiteral("general"), kSnapshotsKey) : QString();
        if (snapshots != kUnknownValue && !kinds.front()->chooseStates(snapshots, &said, &why)) said << QStringLiteral("snapshots: ") + why;
        const bool named = !caseHosts_.empty();
        TraceReading traces;
        traces.withStates = kinds.front()->withStates();
        traces.withHosts = named;
        traces.read = [&](const TraceKind& kind, TraceSink& sink) {
            qint64 records = 0;
            for (size_t h = 0; h < hosts.size() && !run_.stopRequested; ++h) {
                std::optional<HostSink> host;
                TraceSink& to = named ? host.emplace(sink, hosts[h].first.toUtf8()) : sink;
                records += readThrough(*kinds[h], hosts[h].second->system->findings(), kind, to);
            }
            return records;
        };
        traces.emptyReason = [&] { return kinds.front()->context().emptyReason(); };
        traces.anyFinding = [&] {
            return std::any_of(hosts.begin(), hosts.end(), [](const auto& host) { return !host.second->system->findings().all().empty(); });
        };
        const QString counted = read(traces);
        Command1->hide();
        QStringList outcome{counted + (run_.stopRequested ? QStringLiteral(", stopped by Cancel") : QString())};
        outcome.append(said);
        for (size_t h = 0; h < hosts.size(); ++h) {
            const QString prefix = named ? hosts[h].first + QStringLiteral(": ") : QString();
            for (const Finding& finding : hosts[h].second->system->findings().all()) outcome.append(prefix + showEscapedBytes(finding.text()));
            for (const StateReading& state : kinds[h]->states()) {
                for (const Finding& finding : state.state->system->findings().all()) {
                    outcome.append(prefix + QString::fromUtf8(state.state->name) + QStringLiteral(": ") + showEscapedBytes(finding.text()));
                }
            }
        }
        showOutcome(outcome.join(QStringLiteral("; ")), outcome.join(QLatin1Char('\n')));
    }
    if (!pendingKey_.isEmpty()) runKey(std::exchange(pendingKey_, QString()));
}

void FrmViewer::runTraceKind(const TraceKind& kind) {
    caseFile();
    runTraces(tracePane, QStringLiteral("Reading %1...").arg(QLatin1String(kind.name)), [&](const TraceReading& traces) {
        const qint64 records = tracePane->fill(kind, traces.read, {.states = traces.withStates, .host = traces.withHosts}, traceZone(), run_);
        // An empty table says why, as an empty category does: a finding when there is one, else
        // what the kind looked for.
        if (records == 0 && !traces.anyFinding() && !run_.stopRequested) {
            return QStringLiteral("%1: Nothing found: %2").arg(QLatin1String(kind.name), traces.emptyReason());
        }
        return QStringLiteral("%1: %2 records").arg(QLatin1String(kind.name)).arg(records);
    });
}

void FrmViewer::runTimeline() {
    caseFile();
    runTraces(timelinePane, QStringLiteral("Reading every trace into the timeline..."), [&](const TraceReading& traces) {
        const qint64 events = timelinePane->fill(traces.read, traceZone(), env_.system->computerName(), run_);
        return QStringLiteral("timeline: %1 events").arg(events);
    });
}

void FrmViewer::runOverview() {
    runTraces(overviewPane, QStringLiteral("Reading every trace into the overview..."), [&](const TraceReading& traces) {
        const qint64 records = overviewPane->fill(traces.read, traceZone(), run_);
        return QStringLiteral("overview: %1 records read").arg(records);
    });
    mnuExport->setEnabled(false);  // the overview is exported as the case report (kestrova-cli summary --format html)
}

std::optional<QString> FrmViewer::exportCaseReport(const QString& path) {
    if (!overviewPane->model()) runOverview();
    if (!overviewPane->model()) return QStringLiteral("the overview could not be read");
    CaseFacts facts = caseFactsOf(env_, traceZone(), QStringLiteral("the window's"));
    facts.tool = QStringLiteral("Kestrova %1").arg(static_cast<double>(kProgramVersion));
    const QByteArray html = caseReportHtml(*overviewPane->model(), facts, caseFile());
    if (path.endsWith(QLatin1String(".pdf"), Qt::CaseInsensitive)) {
        // The charts as the Overview draws them, in the report's order: each user's grid, then bars.
        std::vector<QImage> charts;
        for (size_t u = 0; u < overviewPane->heatMaps.size(); ++u) {
            charts.push_back(overviewPane->heatMaps[u]->grab().toImage());
            charts.push_back(overviewPane->dayBars[u]->grab().toImage());
        }
        return writeCaseReportPdf(html, charts, path);
    }
    QFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(html) != html.size()) return out.errorString();
    return std::nullopt;
}

std::optional<QString> FrmViewer::exportTraces(const QString& path) {
    return timelinePane->isVisible() ? timelinePane->exportTo(path) : tracePane->exportTo(path);
}

}  // namespace kestrova
