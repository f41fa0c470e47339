// kestrova-cli traces and timeline over the hosts of a case (cli/case_hosts.h). One host reads as
// it always has; several add a host column (traces) or a host field (timeline), and write either
// one merged output (traces: each kind's records host after host, so a CSV stays a table a kind;
// timeline: every host's events in one time order) or, with -o DIR/, one file a host.
#pragma once

#include <QString>
#include <QStringList>
#include <QTimeZone>
#include <optional>
#include <vector>

#include "platform/system/case_hosts.h"

namespace kestrova::cli {

struct TraceRun {
    std::optional<QString> format;
    QStringList kinds;  // the kinds named; all when none is
    QString user, snapshots, from, to;
    QString folder;     // -o DIR/: one file a host in it; empty: standard output
    bool verbose = false, tags = false;
    int jobs = 1;       // --jobs: the workers reading at once
};

// The command's exit status.
int traces(std::vector<Host>& hosts, const TraceRun& run, const QTimeZone& zone);
int timeline(std::vector<Host>& hosts, const TraceRun& run, const QTimeZone& zone);

}  // namespace kestrova::cli
