#include "traces/windows/event_log_reader.h"

#include <QFileDevice>
#include <QSet>
#include <cstring>

#include "platform/contained/contained_run.h"

namespace kestrova {
namespace {

using EachEvent = std::function<bool(const Event&)>;

const QString kLogFolder = QStringLiteral("C:\\Windows\\System32\\winevt\\Logs");

struct EventLog {
    QString path;
    std::unique_ptr<QIODevice> file;
};

std::vector<EventLog> openLogs(TraceContext& context) {
    std::vector<EventLog> logs;
    for (const QString& name : context.list(kLogFolder, false)) {
        if (!name.endsWith(QLatin1String(".evtx"), Qt::CaseInsensitive)) continue;
        const QString path = kLogFolder + QLatin1Char('\\') + name;
        if (auto file = context.system().openFile(path, QStringLiteral("event log"))) logs.push_back({path, std::move(file)});
    }
    return logs;
}

// A frame of kestrova-evtx-reader (src/helpers/evtx_reader.cpp has the layout), read with every
// size checked: the helper parses evidence and may answer anything.
class FrameReader {
public:
    explicit FrameReader(QByteArrayView bytes) : bytes_(bytes) {}
    template <typename T>
    T number() {
        T value{};
        if (at_ + sizeof(T) > static_cast<size_t>(bytes_.size())) {
            ok_ = false;
            return value;
        }
        std::memcpy(&value, bytes_.data() + at_, sizeof(T));
        at_ += sizeof(T);
        return value;
    }
    QByteArrayView text() {
        const auto size = number<uint32_t>();
        if (!ok_ || size > static_cast<size_t>(bytes_.size()) - at_) {
            ok_ = false;
            return {};
        }
        const QByteArrayView t = bytes_.sliced(static_cast<qsizetype>(at_), size);
        at_ += size;
        return t;
    }
    bool ok() const { return ok_; }

private:
    QByteArrayView bytes_;
    size_t at_ = 0;
    bool ok_ = true;
};

// Reads a log through the helper program, handing each record to `each` (false: stop). What could
// not be read is noted on the log, with the first reason: a record libevtx cannot give, a record
// whose XML it cannot render (its System fields are still read), the helper's own end.
void readLog(TraceContext& context, const QString& path, const QIODevice& file, const EachEvent& each) {
    const QString what = QStringLiteral("event log ") + path;
    static const QString helper = helperProgram("kestrova-evtx-reader");
    if (helper.isEmpty()) {
        context.note(FindingKind::Unreadable, what, QStringLiteral("its reader, kestrova-evtx-reader, is not installed"));
        return;
    }
    const auto* device = qobject_cast<const QFileDevice*>(&file);
    struct Tally {
        qint64 count = -1, lost = 0, partly = 0;  // count -1: never said
        QString firstLoss, firstPartly, uncounted;
    } tally[2];
    bool stopped = false;
    QString fatal;
    // A large log takes a while: ten minutes of processor time, twenty of wall clock.
    const ContainedEnd end = runContainedProgram(
        helper, {}, device ? device->handle() : -1,
        [&](QByteArrayView bytes) {
            if (stopped || bytes.isEmpty()) return;
            FrameReader in(bytes.sliced(1));
            const char type = bytes[0];
            if (type == 'D') {
                context.note(FindingKind::Recovered, what,
                             QStringLiteral("its header says it was not closed cleanly (dirty): records past its last checkpoint are read as they lie"));
            } else if (type == 'E') {
                fatal = QString::fromUtf8(in.text());
            } else if (type == 'C') {
                const bool recovered = in.number<uint8_t>() != 0;
                tally[recovered].count = in.number<uint32_t>();
            } else if (type == 'L') {
                const bool recovered = in.number<uint8_t>() != 0;
                const uint32_t index = in.number<uint32_t>();
                const QString why = QString::fromUtf8(in.text());
                Tally& t = tally[recovered];
                if (index == 0xFFFFFFFFu) t.uncounted = why;  // none of them can be read
                else if (t.lost++ == 0) t.firstLoss = QStringLiteral("record %1: %2").arg(index + 1).arg(why);
            } else if (type == 'R') {
                Event event;
                event.recovered = in.number<uint8_t>() != 0;
                event.recordId = static_cast<int64_t>(in.number<uint64_t>());
                const auto written = in.number<uint64_t>();
                const auto eventId = in.number<uint32_t>();
                const auto offset = in.number<uint64_t>();
                const QByteArrayView xml = in.text();
                const QString provider = QString::fromUtf8(in.text()), computer = QString::fromUtf8(in.text());
                const QString sid = QString::fromUtf8(in.text()), why = QString::fromUtf8(in.text());
                if (!in.ok()) return;
                if (!xml.isEmpty()) event.xml = parseEventXml(xml);
                // What libevtx reads without the XML fills what the XML did not give.
                if (!event.xml.eventId && eventId != 0xFFFFFFFFu) event.xml.eventId = eventId & 0xFFFF;
                if (event.xml.provider.isEmpty()) event.xml.provider = provider;
                if (event.xml.computer.isEmpty()) event.xml.computer = computer;
                if (event.xml.userSid.isEmpty()) event.xml.userSid = sid;
                if (written != 0) event.time = utc::fromFileTime(static_cast<int64_t>(written));
                const QString broken = !why.isEmpty() ? why : event.xml.why;
                Tally& t = tally[event.recovered];
                if (!broken.isEmpty() && t.partly++ == 0) {
                    t.firstPartly = offset > 0 ? QStringLiteral("record %1 at offset 0x%2: %3").arg(event.recordId).arg(offset, 0, 16).arg(broken)
                                               : QStringLiteral("record %1: %2").arg(event.recordId).arg(broken);
                }
                if (!each(event)) stopped = true;
            }
        },
        ContainedLimits{.memoryBytes = size_t{2} << 30, .cpuSeconds = 600, .wallSeconds = 1200});
    if (!fatal.isEmpty()) {
        context.note(FindingKind::Damaged, what, QStringLiteral("not an event log libevtx reads (%1)").arg(fatal));
        return;
    }
    for (const bool recovered : {false, true}) {
        const Tally& t = tally[recovered];
        const QString which = recovered ? QStringLiteral("recovered records") : QStringLiteral("records");
        // "12 of its 459 records"; the total only where the reader said it.
        const auto some = [&](qint64 n) {
            return t.count >= 0 ? QStringLiteral("%1 of its %2 %3").arg(n).arg(t.count).arg(which) : QStringLiteral("%1 %2").arg(n).arg(which);
        };
        if (!t.uncounted.isEmpty()) {
            context.note(FindingKind::Damaged, what, QStringLiteral("its %1 cannot be counted, and none is read (%2)").arg(which, t.uncounted));
        }
        if (t.lost > 0) {
            context.note(FindingKind::Damaged, what, QStringLiteral("%1 cannot be read and were passed over (the first: %2)").arg(some(t.lost), t.firstLoss));
        }
        if (t.partly > 0) {
            context.note(FindingKind::Damaged, what, QStringLiteral("%1 were read in part (the first: %2)").arg(some(t.partly), t.firstPartly));
        }
    }
    if (!end.completed && !stopped) {
        context.note(FindingKind::Damaged, what, QStringLiteral("its reader %1; what it read before is kept").arg(end.why));
    }
}

}  // namespace

void forEachEvent(TraceContext& context, TraceSink& sink,
                  const std::function<bool(TraceContext&, TraceSink&, const QString&, const Event&)>& each) {
    const std::vector<EventLog> logs = openLogs(context);
    QSet<quint64> seen;
    for (const EventLog& log : logs) {
        if (context.stopped()) return;
        readLog(context, log.path, *log.file, [&](const Event& event) {
            // The same record in two copies of a log (or a log copied twice) is written once.
            quint64 key = qHash(event.xml.channel, 0);
            key = qHash(event.recordId, key);
            key = qHash(event.time.value_or(0), key);
            if (seen.contains(key)) return true;
            seen.insert(key);
            return each(context, sink, log.path, event);
        });
    }
}

Provenance eventProvenance(const std::map<QString, QString>& accounts, const QString& path, const Event& event, const QString& sid) {
    const auto user = accounts.find(sid);
    const QString part = QStringLiteral("%1 record %2").arg(event.xml.channel).arg(event.recordId);
    return Provenance{user == accounts.end() ? QByteArray() : user->second.toUtf8(), {}, {}, path.toUtf8(), part.toUtf8()};
}

}  // namespace kestrova
