// The SQLite access layer: the hand-written UTF-8 decoder, the text to the engine, the library
// path, and an engine that does not load (every operation then answers 1).
#include <gtest/gtest.h>

#include "core/sqlite/msqlite.h"

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

}  // namespace
}  // namespace kestrova
