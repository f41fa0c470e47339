#include "traces/windows/event_xml.h"

namespace kestrova {

std::pair<QString, QString> accountAndDomain(const QString& user) {
    const qsizetype slash = user.indexOf(QLatin1Char('\\'));
    return slash < 0 ? std::pair{user, QString()} : std::pair{user.mid(slash + 1), user.left(slash)};
}

QString dataValue(const EventXml& event, const char* name) {
    for (const auto& [field, value] : event.data) {
        if (field == QLatin1String(name)) return value;
    }
    return QString();
}

}  // namespace kestrova
