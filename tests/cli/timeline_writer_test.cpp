// The timeline's events formatted on several threads a block at a time come out as one thread
// writes them, in every format, in memory and through sorted runs alike.
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "cli/timeline_output.h"

namespace kestrova::cli {
namespace {

// 20,000 visits (three blocks of events) in an order that is not the time order, some at equal
// times, with texts that need escaping; a timeline of that budget (small ones spill runs).
std::string written(TimelineFormat format, int workers, size_t budget, const QString& temp) {
    const TraceKind& kind = *findTraceKind("browser.history");
    Timeline events(temp, budget);
    for (int i = 0; i < 20000; ++i) {
        std::vector<Value> values(kind.fields.size());
        std::vector<QByteArray> texts;
        for (size_t f = 0; f < kind.fields.size(); ++f) {
            if (kind.fields[f].type == FieldType::Time) values[f] = Value::integer(int64_t{1700000000000000} + int64_t{i * 7919 % 20011} * 1000000);
            if (kind.fields[f].type == FieldType::Text || kind.fields[f].type == FieldType::Url) {
                texts.push_back(QByteArray("page \"") + QByteArray::number(i) + "\",\t|\n" + QByteArray(i % 300, 'x'));
                values[f] = Value::text(texts.back());
            }
        }
        Provenance from;
        from.user = "alice";
        from.source = "C:\\Users\\alice\\History";
        EXPECT_TRUE(events.record(kind, from, values));
    }
    std::string text;
    {
        ByteOutput out(text);
        const auto printerFor = [&](ByteOutput& to) { return std::make_unique<TimelinePrinter>(to, format, IsoTimeWriter(), QByteArray("HOST")); };
        printerFor(out)->header();
        EXPECT_TRUE(writeEvents(events, out, workers, printerFor));
    }
    return text;
}

TEST(TimelineWriter, SeveralThreadsWriteWhatOneWrites) {
    QTemporaryDir temp;
    for (const TimelineFormat format : {TimelineFormat::Jsonl, TimelineFormat::Csv, TimelineFormat::Tln}) {
        for (const size_t budget : {size_t{256} << 20, size_t{1} << 20}) {
            const std::string one = written(format, 1, budget, temp.path());
            EXPECT_GE(std::count(one.begin(), one.end(), '\n'), 20000);
            EXPECT_TRUE(written(format, 3, budget, temp.path()) == one) << static_cast<int>(format) << " budget " << budget;
        }
    }
}

}  // namespace
}  // namespace kestrova::cli
