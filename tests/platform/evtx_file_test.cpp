// Event logs read by our own binary XML reader, against libevtx's evtxexport as the independent
// reference: the same records, each field for field, over the shared real logs; then what our
// reader gives where evtxexport gives less (a log it stops in, a chunk cut short).
#include <QBuffer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <gtest/gtest.h>
#include <map>

#include "platform/evtx/evtx_file.h"
#include "support/event_xml_reference.h"
#include "support/temp_volume.h"

namespace kestrova {
namespace {

std::vector<EvtxRecord> readAllRecords(QIODevice& file, EvtxReading* reading = nullptr) {
    std::vector<EvtxRecord> records;
    const EvtxReading r = readEvtx(file, [&](EvtxRecord& record) {
        records.push_back(std::move(record));
        return true;
    });
    if (reading) *reading = r;
    return records;
}

// The events evtxexport writes of a log, by record id (the recovered ones it appends included:
// a record id met twice keeps the first).
std::map<int64_t, EventXml> evtxexportEvents(const QString& log) {
    std::map<int64_t, EventXml> events;
    QProcess run;
    run.start("evtxexport", {"-f", "xml", log});
    if (!run.waitForFinished(120000)) return events;
    const QByteArray out = run.readAllStandardOutput();
    for (qsizetype at = out.indexOf("<Event xmlns"); at >= 0; at = out.indexOf("<Event xmlns", at + 1)) {
        const qsizetype end = out.indexOf("</Event>", at);
        if (end < 0) break;
        EventXml event = parseEventXml(QByteArrayView(out).sliced(at, end + 8 - at));
        if (event.recordId) events.emplace(*event.recordId, std::move(event));
    }
    return events;
}

// A value as evtxexport's XML gives it back: line ends and the indentation it writes between
// nested elements are not the value's.
QString comparable(QString value) {
    return value.replace(QLatin1String("\r\n"), QLatin1String("\n")).simplified();
}

// Every record of the real Windows 10 logs and the Sysmon log, field for field as evtxexport
// writes it: provider, channel, computer, user, event id, level, and every data field by name.
TEST(EvtxFile, EveryRecordOfRealLogsReadsAsEvtxexportWritesIt) {
    if (QStandardPaths::findExecutable("evtxexport").isEmpty()) GTEST_SKIP() << "evtxexport (libevtx-utils) is not installed";
    REALDATA_OR_SKIP(folder, "eventlogs/win10-rathbunvm");
    QStringList logs;
    for (const char* name : {"Security.evtx", "System.evtx", "Application.evtx", "Microsoft-Windows-Partition%4Diagnostic.evtx",
                             "Microsoft-Windows-TerminalServices-LocalSessionManager%4Operational.evtx", "Windows PowerShell.evtx",
                             "Microsoft-Windows-Kernel-PnP%4Configuration.evtx"}) {
        logs << folder + "/" + name;
    }
    const QString sysmon = test::realData("eventlogs/evtx-samples/sysmon.evtx");
    if (QFileInfo::exists(sysmon)) logs << sysmon;
    for (const QString& log : logs) {
        SCOPED_TRACE(log.toStdString());
        const std::map<int64_t, EventXml> reference = evtxexportEvents(log);
        ASSERT_FALSE(reference.empty());
        QFile file(log);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        int compared = 0;
        for (const EvtxRecord& record : readAllRecords(file)) {
            if (record.recovered) continue;
            const auto found = reference.find(static_cast<int64_t>(record.recordId));
            ASSERT_NE(found, reference.end()) << "record " << record.recordId << " is not evtxexport's";
            const EventXml& want = found->second;
            const EventXml& got = record.xml;
            SCOPED_TRACE("record " + std::to_string(record.recordId));
            EXPECT_TRUE(got.why.isEmpty()) << got.why.toStdString();
            EXPECT_EQ(got.provider, want.provider);
            EXPECT_EQ(got.channel, want.channel);
            EXPECT_EQ(got.computer, want.computer);
            EXPECT_EQ(got.userSid, want.userSid);
            EXPECT_EQ(got.eventId, want.eventId);
            EXPECT_EQ(got.level, want.level);
            EXPECT_EQ(got.systemTime, want.systemTime);
            ASSERT_EQ(got.data.size(), want.data.size());
            for (size_t i = 0; i < got.data.size(); ++i) {
                EXPECT_EQ(got.data[i].first, want.data[i].first);
                // libevtx 20181227 writes a signed 32-bit -1 as -2147483647; the bytes say -1.
                if (want.data[i].second == "-2147483647" && got.data[i].second == "-1") continue;
                EXPECT_EQ(comparable(got.data[i].second), comparable(want.data[i].second)) << got.data[i].first.toStdString();
            }
            ++compared;
        }
        EXPECT_GT(compared, 0);
    }
}

// The CAPI2 log of a shadow copy, where evtxexport stops after record 89 ("invalid binary XML sub
// token": its templates leave out the elements' dependency identifiers), is read whole; and a log
// cut inside a chunk gives that chunk's records up to the cut and counts the one cut off.
TEST(EvtxFile, ALogTheLibraryStopsInAndAChunkCutShortAreRead) {
    REALDATA_OR_SKIP(capi2, "eventlogs/evtx-samples/E_ShadowCopy6_windows_system32_winevt_logs_Microsoft-Windows-CAPI2%4Operational.evtx");
    QFile file(capi2);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EvtxReading reading;
    const auto records = readAllRecords(file, &reading);
    EXPECT_EQ(reading.records.given, 459);
    EXPECT_EQ(reading.records.partly, 0) << reading.records.firstPartly.toStdString();
    EXPECT_EQ(reading.lost, 0);

    REALDATA_OR_SKIP(system2, "eventlogs/plaso-System2.evtx");
    QFile cut(system2);
    ASSERT_TRUE(cut.open(QIODevice::ReadOnly));
    const auto cutRecords = readAllRecords(cut, &reading);
    // Chunks 0 and 1 hold records 1-194 (evtxexport's 194); chunk 2 holds 195-284 and ends at 200,000 bytes.
    EXPECT_EQ(reading.records.given, 283);
    EXPECT_EQ(reading.lost, 1);
    EXPECT_TRUE(reading.firstLost.startsWith("chunk 2 ")) << reading.firstLost.toStdString();
    EXPECT_EQ(cutRecords.back().recordId, 283u);
    EXPECT_TRUE(reading.damage.contains("its header counts 96 chunks, the file holds 3: it was cut short")) << reading.damage.join("\n").toStdString();
}

// Damage made by hand in a real log's first chunk: a wrong header checksum is said and the chunk
// still read; a record whose size was overwritten is passed over, counted, and the next one read;
// a record whose template offset leaves the chunk is given with what was read, and says why.
TEST(EvtxFile, DamageInAChunkIsSaidAndTheRestRead) {
    REALDATA_OR_SKIP(path, "eventlogs/win10-rathbunvm/Microsoft-Windows-TerminalServices-LocalSessionManager%4Operational.evtx");
    QFile original(path);
    ASSERT_TRUE(original.open(QIODevice::ReadOnly));
    QByteArray bytes = original.readAll();
    const qsizetype chunk = 4096, first = chunk + 512;
    const auto u32 = [&](qsizetype at) { return static_cast<uint32_t>(ByteView(bytes).u32(static_cast<size_t>(at))); };
    const qsizetype second = first + u32(first + 4), third = second + u32(second + 4);
    bytes[chunk + 124] = static_cast<char>(bytes[chunk + 124] ^ 1);                   // chunk header checksum
    bytes[second + 4] = 0x7F;                                                          // the second record's size
    const qsizetype instance = bytes.indexOf("\x0c\x01", third + 24);                   // the third's template instance
    ASSERT_GT(instance, 0);
    bytes[instance + 6] = bytes[instance + 7] = bytes[instance + 8] = bytes[instance + 9] = static_cast<char>(0xFF);
    QBuffer buffer(&bytes);
    ASSERT_TRUE(buffer.open(QIODevice::ReadOnly));
    EvtxReading reading;
    const auto records = readAllRecords(buffer, &reading);
    EXPECT_EQ(reading.records.given, 46);
    // A header whose checksum fails cannot be trusted to count its records: the stretch without a
    // record counts as one.
    EXPECT_EQ(reading.lost, 1);
    EXPECT_TRUE(reading.damage.filter("have a chunk header whose checksum does not match (the first: chunk 0)").size() == 1) << reading.damage.join("\n").toStdString();
    EXPECT_EQ(reading.records.partly, 1);
    EXPECT_TRUE(reading.records.firstPartly.contains("a template definition outside its chunk")) << reading.records.firstPartly.toStdString();
    ASSERT_GE(records.size(), 3u);
    EXPECT_EQ(records[0].recordId, 1u);
    EXPECT_EQ(records[1].recordId, 3u);
    EXPECT_FALSE(records[1].xml.why.isEmpty());
    EXPECT_EQ(records[2].recordId, 4u);
    EXPECT_TRUE(records[2].xml.why.isEmpty());
}

}  // namespace
}  // namespace kestrova

namespace kestrova {
namespace {

// A file whose device fails past a point (a damaged disk under an image): the chunk it fails in
// is said, and the chunks before and after are read.
TEST(EvtxFile, AChunkTheDeviceCannotGiveWholeIsSaid) {
    REALDATA_OR_SKIP(path, "eventlogs/win10-rathbunvm/System.evtx");
    class Failing : public QBuffer {
    public:
        using QBuffer::QBuffer;
        qint64 failFrom = 0, failTo = 0;

    protected:
        qint64 readData(char* data, qint64 max) override {
            if (pos() >= failFrom && pos() < failTo) return -1;
            return QBuffer::readData(data, std::min(max, pos() < failFrom ? failFrom - pos() : max));
        }
    };
    QFile original(path);
    ASSERT_TRUE(original.open(QIODevice::ReadOnly));
    QByteArray bytes = original.readAll();
    Failing device(&bytes);
    device.failFrom = 4096 + 3 * 65536 + 1000;  // inside chunk 3
    device.failTo = 4096 + 4 * 65536;
    ASSERT_TRUE(device.open(QIODevice::ReadOnly));
    EvtxReading reading;
    const auto records = readAllRecords(device, &reading);
    EXPECT_TRUE(reading.damage.contains("1 of its 17 chunks could not be read whole from the file: what they held past the failure is lost (the first: chunk 3)"))
        << reading.damage.join("\n").toStdString();
    EXPECT_GT(reading.lost, 0);  // chunk 3's records past the failure, counted against its header
    EXPECT_TRUE(std::any_of(records.begin(), records.end(), [](const EvtxRecord& r) { return r.offset > 4096 + 4 * 65536; }));
}

}  // namespace
}  // namespace kestrova
