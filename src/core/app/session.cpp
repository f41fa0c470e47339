#include "core/app/session.h"

#include "core/common/text.h"

namespace kestrova {

Session::Session(const OsApi& os, const Clock& clock, RunControl& run, ReaderHost& host)
    : os_(os), stamps_(clock), covert_(stamps_), run_(run), host_(host) {
    state.windowsVersionTag = os.WindowsVersionTag();
}

bool Session::select(const QString& key) {
    const Category* category = dispatch(key);
    if (!category) return false;
    run(*category);
    return true;
}

void Session::run(const Category& category) {
    const RunningScope running(run_);
    Findings& findings = os_.system().findings();
    findings.clear();
    const QString key = QLatin1String(category.key);
    const FillSpec plan = category.fill();
    ListFill fill(list, state, run_, host_, plan);
    fill.start();
    const SourceContext source{os_,   stamps_,    covert_, state.windowsVersionTag, state.listMode,
                               Side::List, &state.kept, findings};
    outcome_ = RunOutcome{key, 0, false, {}, {}};
    try {
        if (category.rows) {
            category.rows(source, fill);
        } else {
            findings.note(FindingKind::Absent, QStringLiteral("reader"), QStringLiteral("not part of this build yet"));
        }
    } catch (const RuntimeError& error) {
        outcome_.endedEarly = QString::fromLocal8Bit(error.what());
        host_.diagnostic(QStringLiteral("%1: ended early: %2").arg(key, outcome_.endedEarly));
    } catch (const std::exception& error) {
        host_.bug(QStringLiteral("%1: %2").arg(key, QString::fromLocal8Bit(error.what())));
    }
    fill.finish();
    // A long reader clears the stop flag when it starts: set at its end, the user stopped it.
    outcome_.stopped = category.clearsStop && run_.stopRequested;
    outcome_.rows = list.rowCount();
    for (const Finding& finding : findings.all()) {
        outcome_.findings.append(finding.text());
        host_.diagnostic(key + QStringLiteral(": ") + finding.text());
    }
    if (list.rowCount() == 0 && findings.all().empty()) {
        host_.diagnostic(key + QStringLiteral(": no rows: its sources are there and hold no entries"));
    }
}

QString RunOutcome::text() const {
    QString line;
    if (stopped) {
        line = QStringLiteral("Stopped before the end: the list holds the %1 rows read until then.").arg(rows);
    } else if (!endedEarly.isEmpty()) {
        line = QStringLiteral("Ended early on an error (%1) after %2 rows.").arg(endedEarly).arg(rows);
    } else if (rows == 0) {
        line = findings.isEmpty() ? QStringLiteral("Nothing found: its sources are there and hold no entries.")
                                  : QStringLiteral("Nothing found.");
    } else if (!findings.isEmpty()) {
        line = QStringLiteral("Not every source could be read.");
    }
    if (!findings.isEmpty()) line += QLatin1Char(' ') + findings.join(QStringLiteral("; "));
    return showEscapedBytes(line);
}

SourceContext Session::reportContext(const QString& mode) const {
    return SourceContext{os_, stamps_, covert_, state.windowsVersionTag, mode, Side::Report, nullptr,
                         os_.system().findings()};
}

}  // namespace kestrova
