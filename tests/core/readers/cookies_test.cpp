// The cookie folder: both passes in the folder's own order, what gives a row and what does not,
// the site line of a text file, Windows 8's INetCookies, the full-path variant.
#include <QBuffer>

#include "core/readers/ie/cookies.h"
#include "mksample/sample_system.h"
#include "core/frame/collector.h"
#include "support/reader_fixture.h"

namespace kestrova {
namespace {

const QString kCookies = "Users/alice/AppData/Roaming/Microsoft/Windows/Cookies/";

class Cookies : public test::ReaderFixture {
protected:
    void useVersion(const char* version) {
        tools::HiveBuilder software;
        software.sz("Microsoft\\Windows NT\\CurrentVersion", "CurrentVersion", version);
        volume_.softwareHive(software);
    }
};

TEST_F(Cookies, ListsNamesAndSiteLinesOfBothFoldersOnVista) {
    volume_.userHive(tools::sampleUserHive());
    ASSERT_TRUE(tools::addCookies(volume_.root()));
    volume_.file(kCookies + "short.txt", "only\ntwo pieces");
    volume_.file(kCookies + "CAPS.TXT", "a\nb\nnot read: the test is case-sensitive\n");
    volume_.file(kCookies + "cr.txt", "a\nb\r\nc\nd\n");  // the line ends at the CR: two pieces
    useVersion("6.1");
    open();
    // Each folder in its own (NTFS) order: "8WQ3B0XZ.txt" comes before "alice@...".
    EXPECT_EQ(run("a3"), (QStringList{"alice@example[1].txt", "alice@intranet.corp[2].txt", "bing.com/",
                                      "mail.example.org/inbox/", "alice@ads.example[1].txt"}));
    EXPECT_EQ(session().list.panel1(), "Double click to view cookie folder");
    EXPECT_EQ(session().list.panel2(), "Total Records: 5");
    EXPECT_EQ(session().state.listMode, "cookies");
    EXPECT_EQ(session().state.kept.cookies, "C:\\Users\\alice\\AppData\\Roaming\\Microsoft\\Windows\\Cookies\\Low\\");
    EXPECT_EQ(GetCookies(reportContext()), run("a3"));
}

TEST_F(Cookies, BeforeVistaOnlyTheFolderItself) {
    volume_.userHive(tools::sampleUserHive());
    ASSERT_TRUE(tools::addCookies(volume_.root()));
    useVersion("5.1");
    open();
    EXPECT_EQ(run("a3"), (QStringList{"alice@example[1].txt", "alice@intranet.corp[2].txt", "bing.com/"}));
}

TEST_F(Cookies, Windows8InetCookiesHoldRandomNameTextFiles) {
    tools::HiveBuilder user = tools::sampleUserHive();
    user.sz("Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders", "Cookies",
            "C:\\Users\\alice\\AppData\\Local\\Microsoft\\Windows\\INetCookies");
    volume_.userHive(user);
    const QString inet = "Users/alice/AppData/Local/Microsoft/Windows/INetCookies/";
    volume_.file(inet + "0ZK5P3QF.txt", "NID\n511=x\ngoogle.com/\n9728\n");
    volume_.file(inet + "Low/JQ2Y9C1A.txt", "_ga\nGA1.2\nnews.example/\n1600\n");
    useVersion("6.3");
    open();
    EXPECT_EQ(run("a3"), (QStringList{"google.com/", "news.example/"}));
}

TEST_F(Cookies, AnEmptyOrMissingFolderGivesTheHeaderAndZero) {
    volume_.userHive(tools::sampleUserHive());
    open();
    EXPECT_EQ(run("a3"), QStringList{});
    EXPECT_EQ(session().list.columns().front().text, "Cookies");
    EXPECT_EQ(session().list.panel2(), "Total Records: 0");
}

TEST_F(Cookies, TheFullPathVariantListsEveryEntryButIndexDatAndLow) {
    volume_.userHive(tools::sampleUserHive());
    ASSERT_TRUE(tools::addCookies(volume_.root()));
    useVersion("5.1");
    open();
    const QStringList rows = collectRows(cookieFullPathRows, reportContext(), OnError::EndReader);
    const QString folder = "C:\\Users\\alice\\AppData\\Roaming\\Microsoft\\Windows\\Cookies\\";
    EXPECT_EQ(rows, (QStringList{folder + "alice@example[1].txt", folder + "alice@intranet.corp[2].txt",
                                 folder + "desktop.ini", folder + "Q7A2YH1M.txt"}));
}

TEST(CookieSiteLine, ReadsPieceTwoOfTheFirstLineOnly) {
    const auto site = [](const QByteArray& bytes) {
        QBuffer buffer;
        buffer.setData(bytes);
        buffer.open(QIODevice::ReadOnly);
        return cookieSiteLine(buffer);
    };
    EXPECT_EQ(site("n\nv\nsite/path\n1\n"), QString("site/path"));
    EXPECT_EQ(site("n\nv\nsite"), QString("site"));
    EXPECT_EQ(site("n\nv\n"), QString(""));
    EXPECT_EQ(site("n\nv"), std::nullopt);
    EXPECT_EQ(site("n\r\nv\nsite\n"), std::nullopt);
    EXPECT_EQ(site("n\n" + QByteArray(40000, 'v') + "\nsite\n"), QString("site"));  // a long value
    // No line end in a huge file: the search stops within the first lines' limit.
    QBuffer huge;
    QByteArray zeros(8 << 20, '\0');
    huge.setData(zeros);
    huge.open(QIODevice::ReadOnly);
    EXPECT_EQ(cookieSiteLine(huge), std::nullopt);
    EXPECT_LE(huge.pos(), kCookieLinesLimit);
}

}  // namespace
}  // namespace kestrova
