// What the event kinds ask of an event's fields (platform/evtx/binxml.h reads them): a data
// field by name, an account as the session events write it.
#pragma once

#include <QString>
#include <optional>
#include <utility>
#include <vector>

#include "platform/evtx/binxml.h"

namespace kestrova {

// "DOMAIN\user" as the session events write an account, taken apart: {account, domain}; a name
// without a domain is the account alone.
std::pair<QString, QString> accountAndDomain(const QString& user);

// The value of a data field by name; "" when the event has none.
QString dataValue(const EventXml& event, const char* name);

}  // namespace kestrova
