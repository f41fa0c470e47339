#include "support/event_xml_reference.h"

#include <QXmlStreamReader>

namespace kestrova {
namespace {

std::optional<int64_t> number(const QString& text) {
    bool ok = false;
    const qlonglong n = text.trimmed().toLongLong(&ok, 0);
    return ok ? std::optional<int64_t>(n) : std::nullopt;
}

}  // namespace

EventXml parseEventXml(QByteArrayView utf8) {
    EventXml event;
    // libevtx writes a value's characters as they are: control characters XML forbids become
    // U+FFFD, so that one odd value does not end the event's reading.
    QByteArray text = utf8.toByteArray();
    for (char& c : text) {
        if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r') c = '?';
    }
    QXmlStreamReader xml(text);
    // UserData's elements carry prefixes libevtx does not always declare: names are taken as
    // written, without namespaces.
    xml.setNamespaceProcessing(false);
    // Where the reader is: inside System, EventData or UserData, and how deep in UserData.
    enum class Part { None, System, EventData, UserData } part = Part::None;
    int userDepth = 0;
    int unnamed = 0;
    while (!xml.atEnd()) {
        const QXmlStreamReader::TokenType token = xml.readNext();
        if (token == QXmlStreamReader::StartElement) {
            const QStringView name = xml.name();
            if (part == Part::UserData) {
                ++userDepth;
                if (userDepth >= 2) {
                    // A leaf of UserData's element: its own name, its text.
                    const QString field = name.toString();
                    const QString value = xml.readElementText(QXmlStreamReader::IncludeChildElements);
                    event.data.emplace_back(field, value);
                    --userDepth;
                }
                continue;
            }
            if (name == QLatin1String("System")) {
                part = Part::System;
            } else if (name == QLatin1String("EventData")) {
                part = Part::EventData;
            } else if (name == QLatin1String("UserData")) {
                part = Part::UserData;
                userDepth = 0;
            } else if (part == Part::System) {
                const QXmlStreamAttributes attributes = xml.attributes();
                if (name == QLatin1String("Provider")) {
                    event.provider = attributes.value(QLatin1String("Name")).toString();
                    if (event.provider.isEmpty()) event.provider = attributes.value(QLatin1String("EventSourceName")).toString();
                } else if (name == QLatin1String("TimeCreated")) {
                    event.systemTime = attributes.value(QLatin1String("SystemTime")).toString();
                } else if (name == QLatin1String("Security")) {
                    event.userSid = attributes.value(QLatin1String("UserID")).toString();
                } else if (name == QLatin1String("EventID")) {
                    event.eventId = number(xml.readElementText());
                } else if (name == QLatin1String("Level")) {
                    event.level = number(xml.readElementText());
                } else if (name == QLatin1String("EventRecordID")) {
                    event.recordId = number(xml.readElementText());
                } else if (name == QLatin1String("Channel")) {
                    event.channel = xml.readElementText();
                } else if (name == QLatin1String("Computer")) {
                    event.computer = xml.readElementText();
                }
            } else if (part == Part::EventData) {
                // Data, Binary, ComplexData: by its Name where it has one.
                QString field = xml.attributes().value(QLatin1String("Name")).toString();
                if (field.isEmpty()) field = name == QLatin1String("Data") ? QStringLiteral("Data%1").arg(++unnamed) : name.toString();
                event.data.emplace_back(field, xml.readElementText(QXmlStreamReader::IncludeChildElements));
            }
        } else if (token == QXmlStreamReader::EndElement) {
            const QStringView name = xml.name();
            if (part == Part::UserData && userDepth > 0) {
                --userDepth;
            } else if (name == QLatin1String("System") || name == QLatin1String("EventData") || name == QLatin1String("UserData")) {
                part = Part::None;
            }
        }
    }
    if (xml.hasError() && xml.error() != QXmlStreamReader::PrematureEndOfDocumentError) {
        event.why = QStringLiteral("its XML breaks at line %1 (%2)").arg(xml.lineNumber()).arg(xml.errorString());
    } else if (xml.hasError()) {
        event.why = QStringLiteral("its XML ends early");
    }
    return event;
}

}  // namespace kestrova
