#include "cli/state_rows.h"

#include <QHash>
#include <utility>
#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "cli/cli_host.h"
#include "core/app/session.h"
#include "core/frame/run_control.h"
#include "platform/system/volume_states.h"

namespace kestrova::cli {
namespace {

// One state's classic session: its own system (the state's volume, the examined user), OsApi and
// session, kept for every category asked, as one session is (a mode carries from one to the next).
struct StateSession {
    QByteArray name;
    std::unique_ptr<VolumeSystem> system;
    std::unique_ptr<OsApi> os;
    std::unique_ptr<CliHost> host;
    RunControl run;
    std::unique_ptr<Session> session;
};

struct MergedRow {
    QStringList cells;
    size_t from = 0;           // the state it is written from: the first that shows it
    std::vector<bool> seenIn;  // by state
};

}  // namespace

int rowsOverStates(Environment& env, const StateRowsOptions& o) {
    QString why;
    QStringList problems;
    const auto chosen = openChosenStates(env, o.snapshots, &problems, &why);
    for (const QString& problem : problems) std::fprintf(stderr, "kestrova-cli: %s\n", qPrintable(problem));
    if (!chosen) {
        std::fprintf(stderr, "kestrova-cli: --snapshots: %s\n", qPrintable(why));
        return 2;
    }
    const auto& states = *chosen;
    // The current volume's session is the one every classic command uses; the shadow copies get
    // sessions of their own, on the same user.
    std::vector<StateSession> sessions(std::max<size_t>(1, states.size()));
    for (size_t i = 0; i < sessions.size(); ++i) {
        StateSession& s = sessions[i];
        s.name = i < states.size() ? states[i]->name : QByteArray("current");
        s.host = std::make_unique<CliHost>(i == 0 && o.verbose, o.indexFile);
        if (i == 0) {
            s.session = std::make_unique<Session>(*env.os, *env.clock, s.run, *s.host);
            continue;
        }
        s.system = std::make_unique<VolumeSystem>(states[i]->volume, env.source.user, env.replayLogs);
        s.os = std::make_unique<OsApi>(*s.system, *env.desktop);
        s.session = std::make_unique<Session>(*s.os, *env.clock, s.run, *s.host);
    }

    ByteOutput out(STDOUT_FILENO);
    Printer printer(out, o.format);
    bool failed = false;
    for (const QString& key : o.keys) {
        std::vector<MergedRow> rows;
        QHash<QString, size_t> known;  // a row's cells, joined, to its place
        for (size_t s = 0; s < sessions.size(); ++s) {
            if (!sessions[s].session->select(key)) {
                if (s == 0) std::fprintf(stderr, "kestrova-cli: %s runs no reader; the list is left as it was\n", qPrintable(key));
                continue;
            }
            const ResultList& list = sessions[s].session->list;
            for (int r = 0; r < list.rowCount(); ++r) {
                QStringList cells = list.row(r);
                const QString joined = cells.join(QChar(0x1F));
                auto at = known.constFind(joined);
                if (at == known.constEnd()) {
                    at = known.insert(joined, rows.size());
                    rows.push_back({std::move(cells), s, std::vector<bool>(sessions.size(), false)});
                }
                rows[at.value()].seenIn[s] = true;
            }
        }
        // The current volume's columns and panels, and the three columns of the states.
        const ResultList& current = sessions[0].session->list;
        ResultList merged;
        for (const Column& c : current.columns()) merged.addColumn(c.text, c.widthTwips, c.kind);
        for (const char* name : {"snapshot", "seen_in", "snapshot_note"}) merged.addColumn(QLatin1String(name), 0);
        merged.streamTo(&printer);
        printer.begin(key, merged);
        const int width = static_cast<int>(current.columns().size());
        for (MergedRow& row : rows) {
            while (row.cells.size() < width) row.cells << QString();
            QStringList seen;
            for (size_t s = 0; s < sessions.size(); ++s) {
                if (row.seenIn[s]) seen << QString::fromUtf8(sessions[s].name);
            }
            row.cells << QString::fromUtf8(sessions[row.from].name) << seen.join(QStringLiteral(", "))
                      << (row.seenIn[0] ? QString() : QStringLiteral("gone from the current volume"));
            merged.addRow(row.cells);
        }
        merged.setPanel1(current.panel1());
        merged.setPanel2(current.panel2());
        printer.end(std::exchange(sessions[0].host->messages, {}));
        for (StateSession& s : sessions) {
            failed = failed || s.host->failed;
            s.host->messages.clear();
        }
    }
    printer.finish();
    if (out.failed()) {
        std::fprintf(stderr, "kestrova-cli: the output could not be written: %s\n", std::strerror(errno));
        return 1;
    }
    return failed ? 3 : 0;
}

}  // namespace kestrova::cli
