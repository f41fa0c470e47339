// Opening a hive of the examined volume the way Windows would load it: a dirty hive gets its
// transaction logs (.LOG1, .LOG2, and the single .LOG of older systems) replayed into a copy in
// memory first, so that keys and values that live only in the logs are read too. The classic
// registry and the traces both open their hives here.
#pragma once

#include <QIODevice>
#include <QString>
#include <functional>
#include <memory>

#include "platform/hive/hive_file.h"

namespace kestrova {

struct OpenedHive {
    std::shared_ptr<HiveFile> file;  // nullptr: not a hive
    QString problem;                 // why not, when file is nullptr
    QString replay;                  // what was done about a dirty hive ("" for a clean one)
    bool replayed = false;           // the logs were applied (replay says how much)
};

// Opens the hive read from `hive` (a file of the volume already opened and checked). `openLog`
// opens the file beside it with that suffix (".LOG1"), or gives nullptr when there is none;
// `replayLogs` false reads the base file alone, as it lies.
OpenedHive openVolumeHive(QIODevice& hive, const std::function<std::unique_ptr<QIODevice>(const QString& suffix)>& openLog,
                          bool replayLogs);

}  // namespace kestrova
