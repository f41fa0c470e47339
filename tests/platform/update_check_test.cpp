// The update check against a small HTTP server started here on 127.0.0.1: what each reply is
// made of, what each mode shows, when "LastCheckUpdate" is written, and a server that is not
// there or too slow.
#include <QElapsedTimer>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTimer>
#include <gtest/gtest.h>

#include "core/app/update_check.h"
#include "core/time/date_value.h"
#include "platform/network/http_fetcher.h"
#include "support/fake_desktop.h"
#include "support/version_server.h"
#include "support/reader_fixture.h"

namespace kestrova {
namespace {

class Dialogs : public UpdateDialogs {
public:
    void notice(const QString& text) override { shown << "notice: " + text; }
    bool ask(const QString& text) override {
        shown << "ask: " + text;
        return answer;
    }
    QStringList shown;
    bool answer = false;
};

class UpdateCheck : public ::testing::Test {
protected:
    QStringList check(const QString& url, bool silent, bool answer = false, int timeoutMs = 2000) {
        HttpFetcher fetcher(timeoutMs);
        Dialogs dialogs;
        dialogs.answer = answer;
        CheckForUpdate(fetcher, dialogs, settings_, clock_, desktop_, url).check(silent);
        return dialogs.shown;
    }
    QString lastCheck() const { return settings_.GetSetting("General", "LastCheckUpdate"); }

    QTemporaryDir dir_;
    IniFile settings_{dir_.filePath("kr.ini")};
    FixedClock clock_ = test::utcClock();
    test::FakeDesktop desktop_;
};

TEST_F(UpdateCheck, TheSameVersionIsSaidOnlyWhenAskedAndWritesNothing) {
    test::VersionServer server("5.2\r\n");
    EXPECT_EQ(check(server.url(), false), QStringList{"notice: You are using the latest version 5.2 now"});
    EXPECT_EQ(check(server.url(), true), QStringList{});
    EXPECT_EQ(lastCheck(), "unknown value");
}

TEST_F(UpdateCheck, ANewerVersionIsOfferedInBothModesAndTheDateWrittenWhateverTheAnswer) {
    test::VersionServer server("5.21 is out");
    EXPECT_EQ(check(server.url(), true, false),
              QStringList{"ask: A new version 5.21 is available for download now, would you like to download now?"});
    EXPECT_EQ(lastCheck(), shortDateText(QDate(2026, 11, 21)));
    EXPECT_TRUE(desktop_.started.isEmpty());
    test::VersionServer newer("5.3");
    EXPECT_EQ(check(newer.url(), false, true).size(), 1);
    // Yes starts the updater (missing here, which is not said) and writes the date all the same.
    EXPECT_EQ(desktop_.started, QStringList{"/opt/kestrova/liveupdate"});
}

TEST_F(UpdateCheck, NoServerAOneAndASlowServerAreAllAFailedConnection) {
    QTcpServer closed;
    closed.listen(QHostAddress::LocalHost);
    const QString nobody = QStringLiteral("http://127.0.0.1:%1/version.txt").arg(closed.serverPort());
    closed.close();
    const QStringList failed{"notice: Failed to connect to server, please check your Internet connection"};
    EXPECT_EQ(check(nobody, false), failed);
    EXPECT_EQ(check(nobody, true), QStringList{});
    test::VersionServer one("1.0");
    EXPECT_EQ(check(one.url(), false), failed);
    test::VersionServer slow("5.3", -1);
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(check(slow.url(), false, false, 300), failed);
    EXPECT_LT(timer.elapsed(), 5000);
    EXPECT_EQ(lastCheck(), "unknown value");
}

TEST_F(UpdateCheck, AReplyThatIsNoNumberCountsAsUpToDate) {
    test::VersionServer server("<html>Not Found</html>");
    EXPECT_EQ(check(server.url(), false), QStringList{"notice: You are using the latest version 5.2 now"});
    EXPECT_EQ(shortestText(5.21f), "5.21");
    EXPECT_EQ(shortestText(5.2f), "5.2");
}

}  // namespace
}  // namespace kestrova
