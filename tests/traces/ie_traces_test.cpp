// Internet Explorer's kinds: the real history container with every record's own times, the
// content cache index, and cookie text files (a damaged record does not take the next one along).
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "support/temp_volume.h"
#include "support/trace_collector.h"
#include "traces/ie/ie_sources.h"
#include "webcache/ese_writer.h"

namespace kestrova {
namespace {

TEST(IeTraces, EveryRecordOfTheRealHistoryAndCacheIndexesWithTheirTimes) {
    REALDATA_OR_SKIP(history, "History.IE5-index.dat");
    REALDATA_OR_SKIP(content, "Content.IE5-index.dat");
    test::TempVolume volume;
    volume.copy(history, "Users/alice/AppData/Local/Microsoft/Windows/History/History.IE5/index.dat");
    volume.copy(history, "Users/alice/AppData/Local/Microsoft/Windows/History/History.IE5/MSHist012011062020110627/index.dat");
    volume.copy(content, "Users/alice/AppData/Local/Microsoft/Windows/Temporary Internet Files/Content.IE5/index.dat");
    const auto system = volume.open();
    QTemporaryDir temp;
    const test::TraceCollector got = test::readTraces(*system, {"ie.history", "ie.cache"}, temp.path());
    const auto records = got.of("ie.history");
    ASSERT_EQ(records.size() % 2, 0u);
    const size_t perContainer = records.size() / 2;
    EXPECT_GE(perContainer, 15u);
    const test::TraceRecord& first = records[0];
    EXPECT_EQ(first["container"], "History.IE5");
    EXPECT_EQ(first["user"], "alice");
    EXPECT_FALSE(first["url"].startsWith("Visited:"));
    EXPECT_TRUE(first["last_visited"].endsWith("+00:00"));
    // In a daily or weekly container the second time is local time: it is not given as exact.
    const test::TraceRecord& daily = records[perContainer];
    EXPECT_EQ(daily["container"], "MSHist012011062020110627");
    EXPECT_FALSE(daily.fields.contains("last_updated"));
    EXPECT_TRUE(first.fields.contains("last_updated"));
    bool visitor = false;
    for (const auto& r : records) visitor |= r["visited_as"] == "gold_administrator";
    EXPECT_TRUE(visitor);
    EXPECT_EQ(got.of("ie.cache").size(), 21u);  // its URL records; the 14 REDR records hold no times
}

TEST(IeTraces, CookieFilesRecordByRecordAndADamagedRecordSkipped) {
    const QByteArray file = "id\nabc\nie.example/\n0\n2916341504\n31233235\n1455141504\n31111111\n*\n"
                            "broken\nonly\n*\n"
                            "token\nxyz\nie.example/account/\n8193\n2916341504\n31233235\n1455141504\n31111111\n*\n";
    const auto cookies = parseCookieFile(file);
    ASSERT_EQ(cookies.size(), 2u);
    EXPECT_EQ(cookies[1].name, "token");
    EXPECT_EQ(cookies[1].path, "/account/");
    EXPECT_EQ(cookies[1].flags, 8193u);
    ASSERT_TRUE(cookies[0].expires);
    EXPECT_EQ(IsoTimeWriter().text(*cookies[0].expires), "2026-02-03T06:09:38.962406+00:00");
    EXPECT_TRUE(parseCookieFile("").empty());
    EXPECT_TRUE(parseCookieFile("a\nb\n*\n").empty());
}

}  // namespace
}  // namespace kestrova

namespace kestrova {
namespace {

// Internet Explorer 10/11 and legacy Edge: a WebCacheV01.dat written by the project's ESE writer
// with a History, a weekly MSHist, a Content and a Cookies container, each read as its kind.
TEST(IeTraces, WebCacheContainersAreReadAsHistoryCacheAndCookies) {
    constexpr int64_t visit = 134379936000000000;   // 2026-11-01T08:00:00Z
    constexpr int64_t later = 134380854000000000;   // 2026-11-02T09:30:00Z
    constexpr int64_t expiry = 134695008000000000;  // 2027-11-01T00:00:00Z
    constexpr int64_t before = 134379216000000000;  // 2026-10-31T12:00:00Z
    QString error;
    const auto database = tools::writeWebCache(
        {{1, "History", {{"Visited: alice@https://example.org/a", "", 3, visit, expiry, visit, later},
                         {"Visited: alice@https://example.org/b", "", 1, visit, 0, visit, visit}}},
         {2, "MSHist012026110220261109", {{"Visited: alice@https://example.org/week", "", 1, later, 0, later, later}}},
         {3, "Content", {{"https://cdn.example.org/app.js", "app[1].js", 2, before, expiry, before, later}}},
         {4, "Cookies", {{"Cookie:alice@example.org/shop", "", 5, before, expiry, before, visit}}},
         {5, "iedownload", {{"iedownload:https://example.org/setup.exe", "", 1, visit, 0, visit, visit}}}},
        &error);
    ASSERT_TRUE(database) << error.toStdString();
    test::TempVolume volume;
    volume.file("Users/alice/AppData/Local/Microsoft/Windows/WebCache/WebCacheV01.dat", *database);
    const auto system = volume.open();
    QTemporaryDir temp;
    const test::TraceCollector got = test::readTraces(*system, {"ie.history", "ie.cache", "ie.cookies"}, temp.path());

    const auto history = got.of("ie.history");
    ASSERT_EQ(history.size(), 3u);  // the History and MSHist containers, not iedownload
    EXPECT_EQ(history[0]["url"], "https://example.org/a");
    EXPECT_EQ(history[0]["visited_as"], "alice");
    EXPECT_EQ(history[0]["last_visited"], "2026-11-02T09:30:00.000000+00:00");
    EXPECT_EQ(history[0]["last_updated"], "2026-11-01T08:00:00.000000+00:00");
    EXPECT_EQ(history[0]["expires"], "2027-11-01T00:00:00.000000+00:00");
    EXPECT_EQ(history[0]["hits"], "3");
    EXPECT_EQ(history[0]["container"], "History");
    EXPECT_FALSE(history[1].fields.contains("expires"));  // a FILETIME of 0 is no time
    EXPECT_EQ(history[2]["container"], "MSHist012026110220261109");
    EXPECT_EQ(history[2]["source"], "C:\\Users\\alice\\AppData\\Local\\Microsoft\\Windows\\WebCache\\WebCacheV01.dat");
    EXPECT_EQ(history[2]["source_part"], "Container_2 (MSHist012026110220261109)");

    const auto cache = got.of("ie.cache");
    ASSERT_EQ(cache.size(), 1u);
    EXPECT_EQ(cache[0]["url"], "https://cdn.example.org/app.js");
    EXPECT_EQ(cache[0]["file_name"], "app[1].js");
    EXPECT_EQ(cache[0]["last_accessed"], "2026-11-02T09:30:00.000000+00:00");

    const auto cookies = got.of("ie.cookies");
    ASSERT_EQ(cookies.size(), 1u);
    EXPECT_EQ(cookies[0]["domain"], "example.org");
    EXPECT_EQ(cookies[0]["path"], "/shop");
    EXPECT_EQ(cookies[0]["created"], "2026-10-31T12:00:00.000000+00:00");
    EXPECT_EQ(cookies[0]["expires"], "2027-11-01T00:00:00.000000+00:00");
    EXPECT_EQ(cookies[0]["last_access"], "2026-11-01T08:00:00.000000+00:00");
}

// A WebCacheV01.dat cut short loses records only with a word: at every length, each of the five
// records is either read or its container (or the whole database) is named in a finding.
TEST(IeTraces, ACutWebCacheDatabaseAccountsForEveryRecord) {
    QString error;
    const auto database = tools::writeWebCache(
        {{1, "History", {{"Visited: alice@https://example.org/a", "", 3, 134379936000000000, 0, 134379936000000000, 134379936000000000},
                         {"Visited: alice@https://example.org/b", "", 1, 134379936000000000, 0, 134379936000000000, 134379936000000000}}},
         {2, "MSHist012026110220261109", {{"Visited: alice@https://example.org/week", "", 1, 134379936000000000, 0, 134379936000000000, 134379936000000000}}},
         {3, "Content", {{"https://cdn.example.org/app.js", "app[1].js", 2, 134379936000000000, 0, 134379936000000000, 134379936000000000}}},
         {4, "Cookies", {{"Cookie:alice@example.org/shop", "", 5, 134379936000000000, 0, 134379936000000000, 134379936000000000}}}},
        &error);
    ASSERT_TRUE(database) << error.toStdString();
    const qsizetype size = database->size();
    int lossesSaid = 0;
    for (const qsizetype cut : {size - 1, size - 4096, size - 8192, size / 2 + 4096, size / 2, size / 3, qsizetype{8192}}) {
        test::TempVolume volume;
        volume.file("Users/alice/AppData/Local/Microsoft/Windows/WebCache/WebCacheV01.dat", database->left(cut));
        const auto system = volume.open();
        QTemporaryDir temp;
        const test::TraceCollector got = test::readTraces(*system, {"ie.history", "ie.cache", "ie.cookies"}, temp.path());
        QStringList said;
        for (const Finding& f : system->findings().all()) {
            if (f.what.contains("WebCacheV01.dat")) said << f.what + ": " + f.why;
        }
        const auto accounted = [&](size_t read, size_t whole, const char* table) {
            return read == whole || std::any_of(said.begin(), said.end(), [&](const QString& s) {
                       // A finding on that table, or one on the whole database.
                       return s.contains(table) || (!s.contains(", table ") && !s.contains("Container_"));
                   });
        };
        EXPECT_TRUE(accounted(got.of("ie.history").size(), 3, "Container_")) << cut << ": " << said.join(" | ").toStdString();
        EXPECT_TRUE(accounted(got.of("ie.cache").size(), 1, "Container_3")) << cut << ": " << said.join(" | ").toStdString();
        EXPECT_TRUE(accounted(got.of("ie.cookies").size(), 1, "Container_4")) << cut << ": " << said.join(" | ").toStdString();
        lossesSaid += !said.isEmpty();
    }
    EXPECT_GT(lossesSaid, 0);
}

// A WebCacheV01.dat libesedb cannot read is said to be so, and the index.dat records beside it
// are still read: the database is parsed in a contained child, whatever its bytes.
TEST(IeTraces, AWebCacheDatabaseThatIsNoneIsAFindingAndTheOtherSourcesStay) {
    REALDATA_OR_SKIP(history, "History.IE5-index.dat");
    test::TempVolume volume;
    volume.copy(history, "Users/alice/AppData/Local/Microsoft/Windows/History/History.IE5/index.dat");
    QByteArray junk(64 * 1024, '\0');
    for (qsizetype i = 0; i < junk.size(); ++i) junk[i] = static_cast<char>((i * 2654435761u) >> 13);
    junk.replace(4, 4, QByteArray::fromHex("efcdab89"));  // ESE's signature, over bytes that are not a header
    volume.file("Users/alice/AppData/Local/Microsoft/Windows/WebCache/WebCacheV01.dat", junk);
    const auto system = volume.open();
    QTemporaryDir temp;
    test::TraceCollector got;
    TraceContext context(*system, temp.path());
    runTraceKind(*findTraceKind("ie.history"), context, got);
    EXPECT_GE(got.records.size(), 15u);
    bool said = false;
    for (const Finding& f : system->findings().all()) said |= f.what.contains("WebCacheV01.dat") && f.kind == FindingKind::Damaged;
    EXPECT_TRUE(said);
}

}  // namespace
}  // namespace kestrova
