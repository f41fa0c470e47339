#include "platform/evtx/evt_file.h"

#include <QFileDevice>
#include <QFileInfo>
#include <cstring>

#include "platform/contained/contained_run.h"

namespace kestrova {
namespace {

// A frame of kestrova-evt-reader (src/helpers/evt_reader.cpp has the layout), read with every size
// checked: the helper parses evidence and may answer anything.
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
    QByteArrayView bytes() {
        const auto size = number<uint32_t>();
        if (!ok_ || size > static_cast<size_t>(bytes_.size()) - at_) {
            ok_ = false;
            return {};
        }
        const QByteArrayView t = bytes_.sliced(static_cast<qsizetype>(at_), size);
        at_ += size;
        return t;
    }
    QString text() { return QString::fromUtf8(bytes()); }
    bool ok() const { return ok_; }

private:
    QByteArrayView bytes_;
    size_t at_ = 0;
    bool ok_ = true;
};

// The event type as the level an .evtx log would give it: error 2, warning 3, information 4;
// the audit types (Security) are level 0, as Windows writes audits.
int levelOf(uint16_t type) {
    if (type & 0x0001) return 2;
    if (type & 0x0002) return 3;
    if (type & 0x0004) return 4;
    return 0;
}

}  // namespace

QString evtChannel(const QString& fileName) {
    const QString base = QFileInfo(fileName).completeBaseName();
    if (base.compare(QLatin1String("AppEvent"), Qt::CaseInsensitive) == 0) return QStringLiteral("Application");
    if (base.compare(QLatin1String("SecEvent"), Qt::CaseInsensitive) == 0) return QStringLiteral("Security");
    if (base.compare(QLatin1String("SysEvent"), Qt::CaseInsensitive) == 0) return QStringLiteral("System");
    return base;
}

EvtxReading readEvt(QIODevice& file, const QString& channel, const std::function<bool(EvtxRecord&)>& each) {
    EvtxReading reading;
    static const QString helper = helperProgram("kestrova-evt-reader");
    if (helper.isEmpty()) {
        reading.damage << QStringLiteral("its reader, kestrova-evt-reader, is not installed");
        return reading;
    }
    const auto* device = qobject_cast<const QFileDevice*>(&file);
    qint64 counted[2] = {-1, -1};
    qint64 lost[2] = {0, 0};  // records libevt lists but cannot give, and recovered ones
    QString fatal, uncounted, firstLost[2];
    // A large log takes a while: ten minutes of processor time, twenty of wall clock.
    const ContainedEnd end = runContainedProgram(
        helper, {}, device ? device->handle() : -1,
        [&](QByteArrayView bytes) {
            if (reading.stopped || bytes.isEmpty()) return;
            FrameReader in(bytes.sliced(1));
            const char type = bytes[0];
            if (type == 'D') {
                reading.dirty = true;
            } else if (type == 'E') {
                fatal = in.text();
            } else if (type == 'C') {
                reading.log = true;
                const bool recovered = in.number<uint8_t>() != 0;
                counted[recovered] = in.number<uint32_t>();
            } else if (type == 'L') {
                const bool recovered = in.number<uint8_t>() != 0;
                const uint32_t index = in.number<uint32_t>();
                const QString why = in.text();
                if (index == 0xFFFFFFFFu) uncounted = why;  // none of them can be read
                else if (lost[recovered]++ == 0) firstLost[recovered] = QStringLiteral("record %1: %2").arg(index + 1).arg(why);
            } else if (type == 'R') {
                EvtxRecord record;
                record.recovered = in.number<uint8_t>() != 0;
                record.recordId = in.number<uint32_t>();
                const uint32_t written = in.number<uint32_t>();
                const uint32_t eventId = in.number<uint32_t>();
                const uint16_t eventType = in.number<uint16_t>();
                record.offset = in.number<uint64_t>();
                record.xml.provider = in.text();
                record.xml.computer = in.text();
                record.xml.userSid = in.text();
                const uint32_t strings = in.number<uint32_t>();
                for (uint32_t i = 0; i < strings && in.ok(); ++i) record.xml.data.emplace_back(QStringLiteral("Data%1").arg(i + 1), in.text());
                const QByteArrayView data = in.bytes();
                if (!in.ok()) return;
                if (!data.isEmpty()) record.xml.data.emplace_back(QStringLiteral("Binary"), QString::fromLatin1(data.toByteArray().toHex().toUpper()));
                record.xml.channel = channel;
                // The low word is the event id the messages know; the high word its qualifiers.
                record.xml.eventId = eventId & 0xFFFF;
                record.xml.level = levelOf(eventType);
                record.xml.recordId = record.recordId;
                // POSIX seconds as FILETIME, for one record type with the .evtx reader's.
                if (written != 0) record.written = (uint64_t{written} + 11644473600ULL) * 10000000ULL;
                EvtxReading::Tally& tally = record.recovered ? reading.recovered : reading.records;
                ++tally.given;
                if (!each(record)) reading.stopped = true;
            }
        },
        ContainedLimits{.memoryBytes = size_t{2} << 30, .cpuSeconds = 600, .wallSeconds = 1200});
    if (!fatal.isEmpty()) {
        reading.log = false;
        reading.damage << QStringLiteral("not an event log libevt reads (%1)").arg(fatal);
        return reading;
    }
    if (!uncounted.isEmpty()) reading.damage << QStringLiteral("its records cannot be counted, and some are not read (%1)").arg(uncounted);
    // Said here, not as an .evtx log's loss: libevt counts a log's records, not its chunks'.
    for (const bool recovered : {false, true}) {
        if (lost[recovered] == 0) continue;
        reading.damage << QStringLiteral("%1 of its %2 %3 cannot be read and were passed over (the first: %4)")
                              .arg(lost[recovered])
                              .arg(counted[recovered])
                              .arg(recovered ? QStringLiteral("recovered records") : QStringLiteral("records"), firstLost[recovered]);
    }
    if (!end.completed && !reading.stopped) reading.damage << QStringLiteral("its reader %1; what it read before is kept").arg(end.why);
    return reading;
}

}  // namespace kestrova
