// The activity overview: periods inferred from bursts of a user's own records (active 09:00–12:00
// and 14:00–15:00 on two days gives those four periods), logon sessions taking their place where
// the event logs keep them, days in the zone asked for, top lists, the machine's statements, and
// the summary command's JSON on the built-in sample.
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QXmlStreamReader>
#include <gtest/gtest.h>

#include "support/cli_run.h"
#include "traces/overview/activity_model.h"

namespace kestrova {
namespace {

constexpr UtcMicros kMinute = int64_t{60} * 1000000;
constexpr UtcMicros kDay1 = int64_t{1793404800} * 1000000;  // 2026-10-31T00:00:00Z, a Saturday
constexpr UtcMicros kHour = 60 * kMinute;

// A text value of a literal (it lives as long as the program: the model copies what it keeps).
Value txt(const char* text) { return Value::text(std::string_view(text)); }

// Feeds a record of the kind, its fields by name.
void feed(ActivityModel& model, const char* kindName, const QByteArray& user, std::initializer_list<std::pair<const char*, Value>> fields,
          const QByteArray& source = "C:\\Users\\bob\\History") {
    const TraceKind& kind = *findTraceKind(kindName);
    std::vector<Value> values(kind.fields.size());
    for (const auto& [name, value] : fields) {
        for (size_t i = 0; i < kind.fields.size(); ++i) {
            if (std::string_view(kind.fields[i].name) == name) values[i] = value;
        }
    }
    ASSERT_TRUE(model.record(kind, Provenance{user, {}, {}, source, {}}, values));
}

// Visits every ten minutes from `from` to `to` (inclusive).
void visits(ActivityModel& model, const QByteArray& user, UtcMicros from, UtcMicros to) {
    for (UtcMicros t = from; t <= to; t += 10 * kMinute) {
        feed(model, "browser.history", user, {{"visit_time", Value::time(t)}, {"url", txt("https://news.example/a")}});
    }
}

TEST(ActivityModel, BurstsOfTheUsersOwnRecordsAreInferredPeriods) {
    ActivityModel model;
    for (const UtcMicros day : {kDay1, kDay1 + 24 * kHour}) {
        visits(model, "bob", day + 9 * kHour, day + 12 * kHour);
        visits(model, "bob", day + 14 * kHour, day + 15 * kHour);
    }
    // A cookie's expiry is no activity of the user's.
    feed(model, "browser.cookies", "bob", {{"expires", Value::time(kDay1 + 20 * kHour)}, {"domain", txt("news.example")}});
    model.finish();
    ASSERT_EQ(model.users().size(), 1u);
    const UserActivity& bob = model.users().front();
    ASSERT_EQ(bob.periods.size(), 4u);
    const UtcMicros expected[4][2] = {{kDay1 + 9 * kHour, kDay1 + 12 * kHour},
                                      {kDay1 + 14 * kHour, kDay1 + 15 * kHour},
                                      {kDay1 + 33 * kHour, kDay1 + 36 * kHour},
                                      {kDay1 + 38 * kHour, kDay1 + 39 * kHour}};
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(bob.periods[i].start, expected[i][0]) << i;
        EXPECT_EQ(bob.periods[i].end, expected[i][1]) << i;
        EXPECT_TRUE(bob.periods[i].inferred);
    }
    EXPECT_EQ(bob.periods[0].how, "inferred from 19 records");
    EXPECT_EQ(bob.periods[0].from.size(), ActivityModel::kReferences);
    ASSERT_EQ(bob.days.size(), 2u);
    EXPECT_EQ(bob.days[0].activeSeconds, 4 * 3600);
    EXPECT_EQ(bob.days[0].first, kDay1 + 9 * kHour);
    EXPECT_EQ(bob.days[0].last, kDay1 + 15 * kHour);
    ASSERT_EQ(bob.sites.size(), 1u);
    EXPECT_EQ(bob.sites[0].name, "news.example");
    EXPECT_EQ(bob.sites[0].count, 2 * (19 + 7));
    // 2026-10-31 is a Saturday (weekday 5 from Monday), 09:00 holds six visits.
    EXPECT_EQ(bob.hours[5][9], 6);
}

TEST(ActivityModel, ALogonSessionTakesThePlaceOfTheInference) {
    ActivityModel model;
    visits(model, "bob", kDay1 + 9 * kHour, kDay1 + 12 * kHour);
    visits(model, "bob", kDay1 + 14 * kHour, kDay1 + 15 * kHour);
    feed(model, "windows.sessions", "bob",
         {{"start", Value::time(kDay1 + 8 * kHour + 55 * kMinute)}, {"end", Value::time(kDay1 + 15 * kHour + 5 * kMinute)},
          {"type", txt("Interactive (2)")}},
         "C:\\Windows\\System32\\winevt\\Logs\\Security.evtx");
    // A service's logon is no user's session.
    feed(model, "windows.sessions", "bob", {{"start", Value::time(kDay1)}, {"end", Value::time(kDay1 + kHour)}, {"type", txt("Service (5)")}});
    model.finish();
    const UserActivity& bob = model.users().front();
    ASSERT_EQ(bob.periods.size(), 1u);
    EXPECT_FALSE(bob.periods[0].inferred);
    EXPECT_EQ(bob.periods[0].how, "session, Interactive (2)");
    EXPECT_EQ(bob.periods[0].records, 19 + 7);
    EXPECT_EQ(bob.periods[0].from.front().kind, "windows.sessions");
    EXPECT_EQ(bob.days[0].activeSeconds, 6 * 3600 + 10 * 60);
}

TEST(ActivityModel, DaysFollowTheZoneAskedForAndTheMachineHasItsStatements) {
    ActivityModel model(QTimeZone("Asia/Tokyo"));  // UTC+9: 20:00Z is the next day's 05:00
    feed(model, "browser.history", "bob", {{"visit_time", Value::time(kDay1 + 20 * kHour)}, {"url", txt("https://a.example/")}});
    feed(model, "windows.userassist", "bob", {{"name", txt("C:\\Tools\\x.exe")}, {"run_count", Value::integer(7)}, {"last_run", Value::time(kDay1)}});
    feed(model, "windows.userassist", "bob", {{"name", txt("notepad.exe")}, {"run_count", Value::integer(2)}, {"last_run", Value::time(kDay1)}});
    feed(model, "windows.usb", "", {{"friendly_name", txt("SanDisk Cruzer")}, {"serial", txt("4C53")}, {"last_arrival", Value::time(kDay1 + 20 * kHour)}});
    feed(model, "windows.recyclebin", "bob", {{"original_path", txt("C:\\Users\\bob\\plan.docx")}, {"deleted", Value::time(kDay1 + 21 * kHour)}});
    feed(model, "windows.logons", "bob",
         {{"time", Value::time(kDay1 + 3 * kHour)}, {"action", txt("logon")}, {"source_address", txt("203.0.113.9")},
          {"logon_type", txt("RemoteInteractive (10)")}, {"account", txt("bob")}});
    feed(model, "windows.logons", "bob",
         {{"time", Value::time(kDay1 + 4 * kHour)}, {"action", txt("logon")}, {"source_address", txt("192.168.1.20")}});
    // The change journal's deletions join the Recycle Bin's: only FILE_DELETE records.
    feed(model, "file.journal", "", {{"time", Value::time(kDay1 + 22 * kHour)}, {"reasons", txt("FILE_DELETE|CLOSE")}, {"path", txt("C:\\secret.txt")}});
    feed(model, "file.journal", "", {{"time", Value::time(kDay1 + 22 * kHour)}, {"reasons", txt("FILE_CREATE")}, {"path", txt("C:\\new.txt")}});
    model.finish();
    ASSERT_EQ(model.deletions().size(), 2u);
    EXPECT_EQ(model.deletions()[1].what, "C:\\secret.txt (change journal)");
    EXPECT_EQ(model.journalDeletions(), 1);
    const UserActivity& bob = model.users().front();
    ASSERT_EQ(bob.days.size(), 2u);  // the visit's day in Tokyo, and the day UserAssist's runs are on
    EXPECT_EQ(bob.days.back().date, "2026-11-01");
    ASSERT_EQ(bob.programs.size(), 2u);
    EXPECT_EQ(bob.programs[0].name, "C:\\Tools\\x.exe");
    EXPECT_EQ(bob.programs[0].count, 7);
    ASSERT_EQ(model.devices().size(), 1u);
    EXPECT_EQ(model.devices()[0].what, "SanDisk Cruzer (serial 4C53)");
    EXPECT_EQ(model.devices()[0].user, "bob");  // active then
    ASSERT_EQ(model.notable().size(), 1u);  // only the logon from outside
    EXPECT_EQ(model.notable()[0].what, "logon from 203.0.113.9 (RemoteInteractive (10))");
}

TEST(Summary, TheCommandsJsonHoldsTheModelOfTheSample) {
    const CliRun run = runCli({"summary", "--format", "json"});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject root = QJsonDocument::fromJson(run.out.toUtf8()).object();
    EXPECT_EQ(root["computer"].toString(), "KESTROVA-SAMPLE");
    const QJsonArray users = root["users"].toArray();
    ASSERT_FALSE(users.isEmpty());
    const QJsonObject alice = users[0].toObject();
    EXPECT_EQ(alice["user"].toString(), "alice");
    EXPECT_FALSE(alice["periods"].toArray().isEmpty());
    EXPECT_EQ(alice["sites"].toArray()[0].toObject()["name"].toString(), "www.example.com");
    EXPECT_FALSE(alice["sites"].toArray()[0].toObject()["records"].toArray().isEmpty());
    const CliRun text = runCli({"summary"});
    EXPECT_TRUE(text.out.contains("== alice ==")) << text.out.toStdString();
    const CliRun wrong = runCli({"summary", "--format", "csv"});
    EXPECT_EQ(wrong.exitCode, 2);
}

// The case report: well-formed, no script, a heat map and a bar a day for each user, and the
// numbers summary --format json gives.
TEST(Summary, TheCaseReportIsOnePageOfChartsWithTheSummarysNumbers) {
    const CliRun json = runCli({"summary", "--format", "json"});
    const CliRun html = runCli({"summary", "--format", "html"});
    ASSERT_EQ(html.exitCode, 0) << html.err.toStdString();
    const QJsonObject root = QJsonDocument::fromJson(json.out.toUtf8()).object();
    QXmlStreamReader xml(html.out);
    int scripts = 0, svgs = 0, bars = 0, cells = 0;
    bool csp = false;
    QStringList users;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement) continue;
        const QString name = xml.name().toString(), cls = xml.attributes().value("class").toString();
        if (name == "script") ++scripts;
        if (name == "svg") ++svgs;
        if (name == "rect" && cls == "bar") ++bars;
        if (name == "rect" && cls == "cell") ++cells;
        if (name == "meta" && xml.attributes().value("content").contains(QLatin1String("script-src 'none'"))) csp = true;
        if (name == "h3" && cls == "user") users << xml.readElementText();
    }
    ASSERT_FALSE(xml.hasError()) << xml.errorString().toStdString() << " at line " << xml.lineNumber();
    EXPECT_EQ(scripts, 0);
    EXPECT_TRUE(csp);
    const QJsonArray jsonUsers = root["users"].toArray();
    ASSERT_EQ(users.size(), jsonUsers.size());
    EXPECT_EQ(svgs, 2 * users.size());
    EXPECT_EQ(cells, 7 * 24 * users.size());
    int days = 0;
    for (const QJsonValue& u : jsonUsers) days += static_cast<int>(u.toObject()["days"].toArray().size());
    EXPECT_EQ(bars, days);
    EXPECT_TRUE(html.out.contains(QStringLiteral("<tr><th>records read</th><td>%1</td></tr>").arg(root["records_read"].toInt())));
}

}  // namespace
}  // namespace kestrova
