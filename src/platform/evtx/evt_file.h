// A Windows NT event log (.evt, Windows NT to Server 2003, under Windows\System32\config) read
// with libevt in its helper program (kestrova-evt-reader, under the limits of a contained parser),
// each record given as the .evtx reader gives its own: the System fields, the insertion strings as
// Data1, Data2 ... in their order and the record's data as Binary. A log of this age names no
// channel: it is the file's (AppEvent.Evt is Application, SecEvent.Evt Security, SysEvent.Evt
// System, any other its name).
#pragma once

#include <QIODevice>
#include <QString>
#include <functional>

#include "platform/evtx/evtx_file.h"

namespace kestrova {

// The channel a .evt file's name stands for.
QString evtChannel(const QString& fileName);

// Reads every record, then libevt's recovered ones, handing each to `each` (false: stop). `file`
// must be a file of this process (the helper reads it through its descriptor). A log libevt does
// not open, or a helper that is not installed, ends with `log` false and why in `damage`.
EvtxReading readEvt(QIODevice& file, const QString& channel, const std::function<bool(EvtxRecord&)>& each);

}  // namespace kestrova
