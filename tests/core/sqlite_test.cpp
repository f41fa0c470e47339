// The SQLite access layer: the hand-written UTF-8 decoder, the text to the engine, the library
// path, and an engine that does not load (every operation then answers 1).
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "core/common/runtime_error.h"
#include "core/sqlite/msqlite.h"
#include "core/sqlite/row_read_ahead.h"

namespace kestrova {
namespace {

TEST(DecodeUtf8, AcceptsEveryFormAndNeverFails) {
    const std::pair<QByteArray, QString> cases[] = {
        {"plain", "plain"},
        {"caf\xC3\xA9", QString::fromUtf8("caf\xC3\xA9")},
        {"\xE6\x97\xA5\xE6\x9C\xAC", QString::fromUtf8("\xE6\x97\xA5\xE6\x9C\xAC")},
        {"\xF0\x9F\x98\x80", QString::fromUtf8("\xF0\x9F\x98\x80")},  // above U+FFFF: a surrogate pair
        {"\xC0\xAF", QString(QChar(0x2F))},                            // an overlong form, taken at its bits
        {"\xF8\x80\x80\x81\x80", QString(QChar(0x0040))},             // a 5-byte form
        {"\xFC\x80\x80\x80\x81\x81", QString(QChar(0x0041))},         // a 6-byte form
        {"\x80\xA9x", QString::fromUtf8("\xC2\x80\xC2\xA9x")},         // stray bytes: one Latin-1 character each
        {"ab\xE6\x97", "ab?"},                                         // cut off by the end
        {"\xC3", "?"},
    };
    for (const auto& [bytes, text] : cases) EXPECT_EQ(DecodeUtf8(bytes), text) << bytes.toHex().toStdString();
    EXPECT_EQ(DecodeUtf8("\xF4\x90\x80\x80").size(), 1);  // beyond U+10FFFF: one replacement character
}

TEST(ToUtf8, AppendsOneNulExceptToEmptyText) {
    EXPECT_EQ(ToUtf8(""), QByteArray());
    EXPECT_EQ(ToUtf8(QString::fromUtf8("\xC3\xA9")), QByteArray("\xC3\xA9\0", 3));
}

class RecordingEngine : public SqliteEngine {
public:
    bool loads = true;
    int initialiseCode = 0;
    QStringList loaded;
    int calls = 0;
    bool load(const QString& path) override {
        loaded << path;
        return loads;
    }
    void unload() override {}
    int initialize() override { return initialiseCode; }
    int shutdown() override { return 0; }
    int open(const QByteArray&, SqlHandle*) override { return ++calls, 0; }
    int close(SqlHandle) override { return ++calls, 0; }
    int prepare(SqlHandle, const QByteArray&, int, SqlHandle*) override { return ++calls, 0; }
    int step(SqlHandle) override { return ++calls, 101; }
    int reset(SqlHandle) override { return ++calls, 0; }
    int bindText(SqlHandle, int, const QByteArray&) override { return ++calls, 0; }
    int finalize(SqlHandle) override { return ++calls, 0; }
    int columnBytes(SqlHandle, int) override { return ++calls, 0; }
    const unsigned char* columnText(SqlHandle, int) override { return ++calls, nullptr; }
    std::optional<QString> schemaProblem(SqlHandle, const QString&, const QStringList&) override { return std::nullopt; }
};

TEST(MSQLite, LooksForTheEngineInTheCanonicalProgramFolder) {
    RecordingEngine engine;
    MSQLite sql(engine, "/opt/kestrova/bin");
    EXPECT_EQ(sql.LoadEngine(""), 0);
    EXPECT_EQ(sql.LoadEngine("/opt/kestrova/bin/"), 0);
    EXPECT_EQ(sql.LoadEngine("/opt/kestrova/lib/../bin/./"), 0);
    EXPECT_EQ(engine.loaded, QStringList(3, "/opt/kestrova/bin/kr3.dll"));
    EXPECT_EQ(CanonicalizeFolder("C:\\Program Files\\..\\Kestrova\\.\\"), "C:\\Kestrova\\");
}

TEST(MSQLite, WithoutALoadedEngineEveryOperationAnswersOne) {
    for (const bool loads : {false, true}) {
        RecordingEngine engine;
        engine.loads = loads;
        engine.initialiseCode = 21;  // when it loads, its initialise fails
        MSQLite sql(engine, "/opt/kestrova");
        EXPECT_EQ(sql.LoadEngine(""), loads ? 0 : 1);  // a failed initialise is noticed later
        EXPECT_FALSE(sql.EngineLoaded());
        SqlHandle h = 0;
        EXPECT_EQ(sql.DbOpen("C:\\x.sqlite", &h), 1);
        EXPECT_EQ(sql.DbPrepare(h, "SELECT 1", 0, &h), 1);
        EXPECT_EQ(sql.DbStep(h), 1);
        EXPECT_EQ(sql.DbFinalize(h), 1);
        EXPECT_EQ(sql.DbClose(h), 1);
        EXPECT_EQ(sql.ColumnBytes(h, 0), 0);
        EXPECT_EQ(sql.ColumnText(h, 0), "");
        EXPECT_EQ(engine.calls, 0);  // the engine itself was never touched
    }
}

// An engine whose one statement yields rows of two columns: a number text and a text that is
// NULL every fifth row, empty every seventh and not ASCII every eleventh.
class CountingEngine : public RecordingEngine {
public:
    int rows = 0;
    int at = 0;
    int step(SqlHandle) override { return ++at <= rows ? 100 : 101; }
    const unsigned char* columnText(SqlHandle, int column) override {
        text = column == 0 ? std::to_string(at) : at % 5 == 0 ? std::string() : at % 7 == 0 ? std::string("")
                                                 : at % 11 == 0 ? std::string("caf\xC3\xA9") : "row " + std::to_string(at);
        if (column == 1 && at % 5 == 0) return nullptr;
        return reinterpret_cast<const unsigned char*>(text.c_str());
    }
    int columnBytes(SqlHandle, int) override { return static_cast<int>(text.size()); }
    std::string text;
};

// The same rows with a text of a megabyte in every one.
class HugeValueEngine : public CountingEngine {
public:
    const unsigned char* columnText(SqlHandle, int) override {
        text = std::string(1 << 20, 'x') + std::to_string(at);
        return reinterpret_cast<const unsigned char*>(text.c_str());
    }
};

TEST(RowReadAhead, HandsOverEveryRowInOrderAcrossBatchesAsTheColumnsRead) {
    CountingEngine engine;
    engine.rows = 3 * RowReadAhead::kBatchRows + 17;
    MSQLite sql(engine, "/opt/kestrova");
    ASSERT_EQ(sql.LoadEngine(""), 0);
    RowReadAhead ahead(2, [&](RowReadAhead::Out& out) {
        while (sql.DbStep(1) == 100) out.row(sql, 1, 0, engine.at * 10);
    });
    int row = 0;
    QString scratch;
    while (ahead.next()) {
        ++row;
        ASSERT_EQ(ahead.text(0), QString::number(row));
        EXPECT_EQ(ahead.tag(), row * 10);
        const QString expected = row % 5 == 0 ? "" : row % 7 == 0 ? "" : row % 11 == 0 ? QString::fromUtf8("caf\xC3\xA9") : "row " + QString::number(row);
        EXPECT_EQ(ahead.view(1, scratch).toString(), expected) << row;
        EXPECT_EQ(ahead.text(1), expected);
        EXPECT_EQ(ahead.cell(1).has_value(), row % 5 != 0) << "NULL is not empty text";
    }
    EXPECT_EQ(row, engine.rows);
    EXPECT_FALSE(ahead.next());
}

TEST(RowReadAhead, HugeValuesGoInSmallBatchesSoTheFetchStaysFewMegabytesAhead) {
    HugeValueEngine engine;
    engine.rows = 200;
    MSQLite sql(engine, "/opt/kestrova");
    ASSERT_EQ(sql.LoadEngine(""), 0);
    RowReadAhead ahead(1, [&](RowReadAhead::Out& out) {
        while (sql.DbStep(1) == 100) out.row(sql, 1);
    });
    ASSERT_TRUE(ahead.next());
    // The reader holds its first row; the fetch may only be the queue's few batches ahead.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_LT(engine.at, 20);
    int rows = 1;
    while (ahead.next()) {
        ++rows;
        EXPECT_TRUE(ahead.text(0).endsWith(QString::number(rows)));
    }
    EXPECT_EQ(rows, 200);
}

TEST(RowReadAhead, AReaderThatStopsEndsTheFetchAndAFailedFetchIsThrownAfterItsRows) {
    CountingEngine engine;
    engine.rows = 1000000;
    MSQLite sql(engine, "/opt/kestrova");
    ASSERT_EQ(sql.LoadEngine(""), 0);
    {
        RowReadAhead ahead(1, [&](RowReadAhead::Out& out) {
            while (!out.cancelled() && sql.DbStep(1) == 100) out.row(sql, 1);
        });
        ASSERT_TRUE(ahead.next());
        ahead.cancel();  // the fetch is held a few batches ahead; it ends instead of reading on
    }
    EXPECT_LT(engine.at, 10 * RowReadAhead::kBatchRows);

    engine.at = 0;
    engine.rows = 5;
    RowReadAhead failing(1, [&](RowReadAhead::Out& out) {
        while (sql.DbStep(1) == 100) out.row(sql, 1);
        throw RuntimeError("damaged");
    });
    int rows = 0;
    EXPECT_THROW(
        while (failing.next()) ++rows, RuntimeError);
    EXPECT_EQ(rows, 5);
}

}  // namespace
}  // namespace kestrova
