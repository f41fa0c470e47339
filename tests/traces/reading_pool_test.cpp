// The reading pool hands every record on in task order whatever the number of workers, keeps
// what is read ahead beyond its budget in the spill file, stops when the writer stops, and says
// when what is read ahead cannot be kept.
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <atomic>
#include <string>

#include "traces/reading_pool.h"

namespace kestrova {
namespace {

const FieldSpec kFields[] = {{"n", FieldType::Integer}, {"text", FieldType::Text}};
const TraceKind kNumbers{.name = "test.numbers", .group = "", .caption = "", .carries = Carries::None, .fields = kFields, .source = nullptr, .about = ""};

// Task t gives t * 100,000 + i for i below its size; tasks of uneven sizes, some empty.
size_t sizeOf(size_t task) { return task % 4 == 3 ? 0 : (task % 3 + 1) * 7000; }

struct PoolRun {
    std::vector<int64_t> numbers;
    std::vector<size_t> begun, ended;
    bool completed = false;
    QString why;
};

PoolRun runNumbers(int workers, size_t heldBudget, const QString& spillFolder, size_t tasks = 12, int64_t stopAt = -1) {
    PoolRun run;
    const std::string text(200, 'x');  // records large enough to fill chunks
    Provenance from;
    from.source = "C:\\f";
    PoolTasks pool;
    pool.count = tasks;
    pool.read = [&](int worker, size_t task, PoolOutput& out) {
        EXPECT_LT(worker, workers);
        RecordsInto sink(out);
        for (size_t i = 0; i < sizeOf(task); ++i) {
            const Value values[] = {Value::integer(static_cast<int64_t>(task * 100000 + i)), Value::text(text)};
            if (!sink.record(kNumbers, from, values)) return;
        }
    };
    pool.begin = [&](size_t task) {
        run.begun.push_back(task);
        return true;
    };
    pool.chunk = [&](size_t, std::string_view chunk) {
        return forEachRecord(chunk, kNumbers, [&](const Provenance& from, std::span<const Value> values) {
            EXPECT_EQ(from.source, "C:\\f");
            EXPECT_EQ(values[1].utf8, text);
            run.numbers.push_back(values[0].number);
            return values[0].number != stopAt;
        });
    };
    pool.end = [&](size_t task) {
        run.ended.push_back(task);
        return true;
    };
    run.completed = runPool({.workers = workers, .spillFolder = spillFolder, .heldBudget = heldBudget}, pool, &run.why);
    return run;
}

std::vector<int64_t> expectedNumbers(size_t tasks) {
    std::vector<int64_t> all;
    for (size_t t = 0; t < tasks; ++t) {
        for (size_t i = 0; i < sizeOf(t); ++i) all.push_back(static_cast<int64_t>(t * 100000 + i));
    }
    return all;
}

TEST(ReadingPool, RecordsComeInTaskOrderWhateverTheWorkersAndTheBudget) {
    QTemporaryDir spill;
    std::vector<size_t> everyTask(12);
    for (size_t t = 0; t < everyTask.size(); ++t) everyTask[t] = t;
    // No budget: every chunk read ahead goes through the spill file.
    for (const auto& [workers, budget] : {std::pair{1, size_t{64} << 20}, std::pair{4, size_t{64} << 20}, std::pair{4, size_t{0}}, std::pair{3, size_t{1} << 20}}) {
        const PoolRun run = runNumbers(workers, budget, spill.path());
        EXPECT_TRUE(run.completed) << run.why.toStdString();
        EXPECT_EQ(run.numbers, expectedNumbers(12)) << workers << " workers, budget " << budget;
        EXPECT_EQ(run.begun, everyTask);
        EXPECT_EQ(run.ended, everyTask);
    }
}

TEST(ReadingPool, AWriterThatStopsStopsTheWorkersAndNothingFollows) {
    QTemporaryDir spill;
    const PoolRun run = runNumbers(4, 0, spill.path(), 12, 200000 + 100);
    EXPECT_FALSE(run.completed);
    EXPECT_TRUE(run.why.isEmpty());
    ASSERT_FALSE(run.numbers.empty());
    EXPECT_EQ(run.numbers.back(), 200000 + 100);
    EXPECT_EQ(run.ended, (std::vector<size_t>{0, 1}));
}

TEST(ReadingPool, RecordsReadAheadThatCannotBeKeptAreSaid) {
    const PoolRun run = runNumbers(2, 0, QStringLiteral("/nonexistent/kestrova-spill"));
    EXPECT_FALSE(run.completed);
    EXPECT_TRUE(run.why.contains("could not be kept")) << run.why.toStdString();
    // What was handed on before is in order, and nothing after a gap.
    const std::vector<int64_t> all = expectedNumbers(12);
    ASSERT_LE(run.numbers.size(), all.size());
    EXPECT_TRUE(std::equal(run.numbers.begin(), run.numbers.end(), all.begin()));
}

}  // namespace
}  // namespace kestrova
