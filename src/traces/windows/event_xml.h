// One Windows event record as libevtx renders it: the XML of the event schema
// (http://schemas.microsoft.com/win/2004/08/events/event), read back into its System fields and
// its data by name. EventData's <Data Name="X">v</Data> give X = v (a Data without a name is
// "Data1", "Data2" ... in its order); UserData's one child element gives its leaf elements by
// their own names. Our own reading with QXmlStreamReader: any text, however it breaks, gives what
// it held up to the break and says why.
#pragma once

#include <QByteArrayView>
#include <QString>
#include <optional>
#include <utility>
#include <vector>

namespace kestrova {

struct EventXml {
    QString provider;      // System/Provider@Name (or @EventSourceName)
    QString channel;       // System/Channel
    QString computer;      // System/Computer
    QString userSid;       // System/Security@UserID
    std::optional<int64_t> eventId, level, recordId;  // EventID (without its qualifiers), Level, EventRecordID
    QString systemTime;    // System/TimeCreated@SystemTime as written
    std::vector<std::pair<QString, QString>> data;
    QString why;           // "" when the text was read whole, else what broke it
};

EventXml parseEventXml(QByteArrayView utf8);

// "DOMAIN\user" as the session events write an account, taken apart: {account, domain}; a name
// without a domain is the account alone.
std::pair<QString, QString> accountAndDomain(const QString& user);

// The value of a data field by name; "" when the event has none.
QString dataValue(const EventXml& event, const char* name);

}  // namespace kestrova
