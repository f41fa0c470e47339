#include "traces/system/task_files.h"

#include <QStringList>
#include <QXmlStreamReader>

#include "core/common/byte_view.h"

namespace kestrova {
namespace {

// One trigger of the XML in a few words: "TimeTrigger from 2022-03-10T15:59:00, every PT5M".
struct Trigger {
    QString kind, start, user, interval, days, subscription, stateChange, delay;
    bool enabled = true;

    QString text() const {
        QString out = kind;
        if (out.endsWith(QLatin1String("Trigger"))) out.chop(7);
        QStringList parts;
        if (!user.isEmpty()) parts << QStringLiteral("of ") + user;
        if (!stateChange.isEmpty()) parts << stateChange;
        if (!start.isEmpty()) parts << QStringLiteral("from ") + start;
        if (!days.isEmpty()) parts << QStringLiteral("every %1 days").arg(days);
        if (!interval.isEmpty()) parts << QStringLiteral("repeated every ") + interval;
        if (!delay.isEmpty()) parts << QStringLiteral("delayed ") + delay;
        if (!subscription.isEmpty()) parts << QStringLiteral("on events ") + subscription.simplified().left(200);
        if (!enabled) parts << QStringLiteral("disabled");
        return parts.isEmpty() ? out : out + QLatin1Char(' ') + parts.join(QStringLiteral(", "));
    }
};

bool trueText(const QString& text) { return text.trimmed().compare(QLatin1String("true"), Qt::CaseInsensitive) == 0 || text.trimmed() == QLatin1String("1"); }

}  // namespace

std::optional<TaskDefinition> parseTaskXml(const QByteArray& bytes, QString* why) {
    QXmlStreamReader xml(bytes);
    TaskDefinition task;
    task.format = QStringLiteral("XML");
    QStringList path;  // the elements open, outermost first
    std::vector<Trigger> triggers;
    QStringList actions;  // every action after the first, in a few words
    bool firstAction = true, sawTask = false;
    QString actionCommand, actionArguments, actionFolder;
    while (!xml.atEnd()) {
        const auto token = xml.readNext();
        if (token == QXmlStreamReader::StartElement) {
            const QString name = xml.name().toString();
            if (path.isEmpty() && name == QLatin1String("Task")) sawTask = true;
            if (path.size() == 2 && path[1] == QLatin1String("Triggers")) triggers.push_back({name, {}, {}, {}, {}, {}, {}, {}, true});
            if (path.size() == 2 && path[1] == QLatin1String("Actions")) {
                actionCommand.clear();
                actionArguments.clear();
                actionFolder.clear();
            }
            path << name;
            continue;
        }
        if (token == QXmlStreamReader::EndElement) {
            if (path.size() == 3 && path[1] == QLatin1String("Actions")) {
                // An action ends: the first is the task's command, the others are listed after it.
                const QString kind = path[2];
                QString command = actionCommand, arguments = actionArguments;
                if (kind == QLatin1String("ComHandler")) command = QStringLiteral("COM handler ") + actionCommand;
                else if (kind != QLatin1String("Exec")) command = kind + (actionCommand.isEmpty() ? QString() : QLatin1Char(' ') + actionCommand);
                if (firstAction) {
                    task.command = command;
                    task.arguments = arguments;
                    task.workingFolder = actionFolder;
                    firstAction = false;
                } else {
                    actions << (arguments.isEmpty() ? command : command + QLatin1Char(' ') + arguments);
                }
            }
            if (!path.isEmpty()) path.removeLast();
            continue;
        }
        if (token != QXmlStreamReader::Characters || path.size() < 2) continue;
        const QString text = xml.text().toString();
        const QString& section = path[1];
        const QString& leaf = path.last();
        if (section == QLatin1String("RegistrationInfo") && path.size() == 3) {
            if (leaf == QLatin1String("Date")) task.registered += text.trimmed();
            else if (leaf == QLatin1String("Author")) task.author += text;
            else if (leaf == QLatin1String("Description")) task.description += text;
            else if (leaf == QLatin1String("URI")) task.uri += text;
        } else if (section == QLatin1String("Triggers") && path.size() >= 4 && !triggers.empty()) {
            Trigger& t = triggers.back();
            if (leaf == QLatin1String("StartBoundary")) t.start += text.trimmed();
            else if (leaf == QLatin1String("UserId")) t.user += text.trimmed();
            else if (leaf == QLatin1String("Interval") && path.size() == 5) t.interval += text.trimmed();
            else if (leaf == QLatin1String("DaysInterval")) t.days += text.trimmed();
            else if (leaf == QLatin1String("Subscription")) t.subscription += text;
            else if (leaf == QLatin1String("StateChange")) t.stateChange += text.trimmed();
            else if (leaf == QLatin1String("Delay")) t.delay += text.trimmed();
            else if (leaf == QLatin1String("Enabled") && path.size() == 4) t.enabled = trueText(text);
        } else if (section == QLatin1String("Principals") && path.size() == 4) {
            if (leaf == QLatin1String("UserId") || leaf == QLatin1String("GroupId")) task.runAs += text.trimmed();
            else if (leaf == QLatin1String("RunLevel")) task.runLevel += text.trimmed();
        } else if (section == QLatin1String("Settings") && path.size() == 3) {
            if (leaf == QLatin1String("Enabled")) task.enabled = trueText(text);
            else if (leaf == QLatin1String("Hidden")) task.hidden = trueText(text);
        } else if (section == QLatin1String("Actions") && path.size() == 4) {
            if (leaf == QLatin1String("Command") || leaf == QLatin1String("ClassId")) actionCommand += text.trimmed();
            else if (leaf == QLatin1String("Arguments") || leaf == QLatin1String("Data")) actionArguments += text.trimmed();
            else if (leaf == QLatin1String("WorkingDirectory")) actionFolder += text.trimmed();
        }
    }
    if (xml.hasError()) {
        *why = QStringLiteral("not a task definition's XML: %1 (line %2)").arg(xml.errorString()).arg(xml.lineNumber());
        return std::nullopt;
    }
    if (!sawTask) {
        *why = QStringLiteral("its XML holds no Task element");
        return std::nullopt;
    }
    QStringList words;
    for (const Trigger& t : triggers) words << t.text();
    task.triggers = words.join(QStringLiteral("; "));
    if (!actions.isEmpty()) task.arguments += QStringLiteral(" (then: %1)").arg(actions.join(QStringLiteral("; ")));
    return task;
}

std::optional<TaskDefinition> parseJobFile(const QByteArray& bytes, QString* why) {
    const ByteView v(bytes);
    if (v.size() < 70 || v.u16(2) != 1) {
        *why = v.size() < 70 ? QStringLiteral("it holds %1 bytes, fewer than a .job file's fixed part").arg(v.size())
                             : QStringLiteral("its format version is %1, not 1").arg(v.u16(2));
        return std::nullopt;
    }
    TaskDefinition task;
    task.format = QStringLiteral(".job");
    task.exitCode = v.u32(40);
    const uint32_t status = v.u32(44), flags = v.u32(48);
    switch (status) {
        case 0x41300: task.status = QStringLiteral("ready"); break;
        case 0x41301: task.status = QStringLiteral("running"); break;
        case 0x41302: task.status = QStringLiteral("disabled"); break;
        case 0x41303: task.status = QStringLiteral("has not run"); break;
        case 0x41304: task.status = QStringLiteral("no more runs"); break;
        case 0x41305: task.status = QStringLiteral("not scheduled"); break;
        case 0x41306: task.status = QStringLiteral("terminated"); break;
        default: task.status = QStringLiteral("0x%1").arg(status, 8, 16, QLatin1Char('0'));
    }
    task.enabled = !(flags & 0x4);
    task.hidden = flags & 0x200;
    if (v.u16(52) != 0) {
        task.lastRun = LocalTime{v.u16(52), v.u16(54), v.u16(58), v.u16(60), v.u16(62), v.u16(64), v.u16(66)};
    }
    // The five texts, one after another from the application name's offset.
    size_t at = v.u16(20);
    QString* texts[] = {&task.command, &task.arguments, &task.workingFolder, &task.author, &task.description};
    for (QString* text : texts) {
        const size_t units = v.u16(at);
        if (!v.has(at + 2, units * 2)) {
            *why = QStringLiteral("a text of %1 characters at offset %2 runs past its %3 bytes").arg(units).arg(at).arg(v.size());
            return std::nullopt;
        }
        *text = v.sub(at + 2, units * 2).utf16z(0);
        at += 2 + units * 2;
    }
    // The triggers.
    const size_t triggersAt = v.u16(22);
    const size_t count = v.u16(triggersAt);
    static const char* const kTypes[] = {"once", "daily", "weekly", "monthly by date", "monthly by weekday", "when idle", "at system start", "at logon"};
    QStringList words;
    for (size_t i = 0; i < count; ++i) {
        const ByteView t = v.sub(triggersAt + 2 + i * 48, 48);
        if (t.size() < 48) {
            *why = QStringLiteral("its %1 triggers run past its end").arg(count);
            return std::nullopt;
        }
        const uint32_t type = t.u32(32);
        const QString kind = type < 8 ? QLatin1String(kTypes[type]) : QStringLiteral("type %1").arg(type);
        words << QStringLiteral("%1 from %2-%3-%4T%5:%6")
                     .arg(kind)
                     .arg(t.u16(4), 4, 10, QLatin1Char('0'))
                     .arg(t.u16(6), 2, 10, QLatin1Char('0'))
                     .arg(t.u16(8), 2, 10, QLatin1Char('0'))
                     .arg(t.u16(16), 2, 10, QLatin1Char('0'))
                     .arg(t.u16(18), 2, 10, QLatin1Char('0'));
    }
    task.triggers = words.join(QStringLiteral("; "));
    return task;
}

}  // namespace kestrova
