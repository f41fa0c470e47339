#include "core/app/session.h"

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
    try {
        if (category.rows) {
            category.rows(source, fill);
        } else {
            findings.note(FindingKind::Absent, QStringLiteral("reader"), QStringLiteral("not part of this build yet"));
        }
    } catch (const RuntimeError& error) {
        host_.diagnostic(QStringLiteral("%1: ended early: %2").arg(key, QString::fromLocal8Bit(error.what())));
    } catch (const std::exception& error) {
        host_.bug(QStringLiteral("%1: %2").arg(key, QString::fromLocal8Bit(error.what())));
    }
    fill.finish();
    for (const Finding& finding : findings.all()) host_.diagnostic(key + QStringLiteral(": ") + finding.text());
    if (list.rowCount() == 0 && findings.all().empty()) {
        host_.diagnostic(key + QStringLiteral(": no rows: its sources are there and hold no entries"));
    }
}

SourceContext Session::reportContext(const QString& mode) const {
    return SourceContext{os_, stamps_, covert_, state.windowsVersionTag, mode, Side::Report, nullptr,
                         os_.system().findings()};
}

}  // namespace kestrova
