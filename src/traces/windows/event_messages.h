// What an event means, in one line, for the events an examiner meets most: Windows keeps its
// message texts in DLLs that a Linux machine has not, so the common ones are written here, with
// the event's own data filled in ("An account logged on: CORP\bob, Remote Desktop (10), from
// 10.0.0.5"). Events of another id give "" and keep their data.
#pragma once

#include <QString>

#include "traces/windows/event_xml.h"

namespace kestrova {

// The logon type of 4624/4625/4634 and the like by its number: "Interactive (2)"; the number alone
// when unknown.
QString logonTypeName(const QString& number);

QString eventMessage(const EventXml& event);

}  // namespace kestrova
