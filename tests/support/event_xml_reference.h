// An event as evtxexport (libevtx's exporter, the tests' independent reference) writes it, read
// back into the same fields our binary XML reader gives: the System fields, EventData's <Data
// Name="X">v</Data> as X = v ("Data1", "Data2" ... for those without a name), UserData's one child
// element's leaves by their own names. Any text, however it breaks, gives what it held up to the
// break and says why.
#pragma once

#include <QByteArrayView>

#include "platform/evtx/binxml.h"

namespace kestrova {

EventXml parseEventXml(QByteArrayView utf8);

}  // namespace kestrova
