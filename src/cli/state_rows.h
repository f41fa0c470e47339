// `rows --snapshots`: each classic category read from the image's volume and from the shadow copies
// chosen, each distinct row written once. A row's cells are compared whole; the row written gets
// three more cells: the state it was written from (snapshot), every state that shows it (seen_in)
// and, for a row only shadow copies show, "gone from the current volume" (snapshot_note). The
// panels and messages are the current volume's. The categories are small: their rows are held.
#pragma once

#include <QString>
#include <QStringList>

#include "cli/output.h"
#include "platform/system/environment.h"

namespace kestrova::cli {

struct StateRowsOptions {
    QStringList keys;
    QString snapshots;
    Format format = Format::Tsv;
    bool verbose = false;
    QString indexFile;
};

// The command's exit status: 0, 1 (the output failed), 2 (the states asked for are wrong, said),
// 3 (a reader failed).
int rowsOverStates(Environment& env, const StateRowsOptions& options);

}  // namespace kestrova::cli
