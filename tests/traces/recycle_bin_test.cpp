// The Recycle Bin: the real $I files of Vista to 10 and XP's INFO2 indexes, each entry's origin,
// size and time as the shared samples' README gives them, the user by the folder's SID, and
// whether the content is still there; damaged indexes are said.
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "support/temp_volume.h"
#include "support/trace_collector.h"

namespace kestrova {
namespace {

using test::TraceCollector;
using test::TraceRecord;

const TraceRecord* byPath(const std::vector<TraceRecord>& records, const QString& end) {
    for (const TraceRecord& r : records) {
        if (r["original_path"].endsWith(end)) return &r;
    }
    return nullptr;
}

TEST(RecycleBin, EveryEntryOfRealIndexesWithItsOriginAndWhetherItIsStillThere) {
    REALDATA_OR_SKIP(folder, "filesystem/recyclebin");
    test::TempVolume volume;
    const QString user = "$Recycle.Bin/S-1-5-21-1-2-3-1001/", other = "$Recycle.Bin/S-1-5-21-1-2-3-1002/";
    volume.copy(folder + "/win10/$IRL4KYI.txt", user + "$IRL4KYI.txt");
    volume.file(user + "$RRL4KYI.txt", "");
    volume.copy(folder + "/plaso/$I103S5F.jpg", user + "$I103S5F.jpg");
    volume.copy(folder + "/plaso/$II3DF3L.zip", other + "$II3DF3L.zip");
    volume.copy(folder + "/win10/$I2JRX90", other + "$I2JRX90");
    volume.file(other + "$R2JRX90/inside.txt", "x");  // a deleted folder
    volume.copy(folder + "/winxp/INFO2_MultiFiles", "RECYCLER/S-1-5-21-9-9-9-1003/INFO2");
    volume.file("RECYCLER/S-1-5-21-9-9-9-1003/Dc1.txt", QByteArray(100, 'a'));
    volume.file("RECYCLER/S-1-5-21-9-9-9-1003/Dc2.txt", QByteArray(4096, 'a'));  // emptied: its record says so
    volume.copy(folder + "/winxp/INFO2", "RECYCLED/INFO2");
    // Damage: an unknown version, a version 2 path that reaches past its file.
    volume.file(other + "$IBROKEN1", QByteArray("\x07\0\0\0\0\0\0\0", 8) + QByteArray(24, '\0'));
    QByteArray cut("\x02\0\0\0\0\0\0\0", 8);
    cut += QByteArray(16, '\0') + QByteArray("\xFF\0\0\0", 4) + QByteArray(10, 'a');
    volume.file(other + "$IBROKEN2", cut);
    const auto system = volume.open();
    QTemporaryDir temp;
    const auto all = test::readTraces(*system, {"windows.recyclebin"}, temp.path()).of("windows.recyclebin");
    QStringList findings;
    for (const Finding& f : system->findings().all()) findings << f.what + ": " + f.why;
    ASSERT_EQ(all.size(), 9u) << findings.join("\n").toStdString();

    const TraceRecord* bunnies = byPath(all, "\\bunnies.jpg");
    ASSERT_NE(bunnies, nullptr);
    EXPECT_EQ((*bunnies)["original_path"], "C:\\Users\\random\\Downloads\\bunnies.jpg");
    EXPECT_EQ((*bunnies)["size"], "222255");
    EXPECT_TRUE((*bunnies)["deleted"].startsWith("2016-06-29T21:37:45")) << (*bunnies)["deleted"].toStdString();
    EXPECT_EQ((*bunnies)["format"], "$I version 2");
    EXPECT_EQ((*bunnies)["still_there"], "0");
    const TraceRecord* starfury = byPath(all, "\\StarFury.zip");
    ASSERT_NE(starfury, nullptr);
    EXPECT_EQ((*starfury)["format"], "$I version 1");
    EXPECT_TRUE((*starfury)["deleted"].startsWith("2012-03-12T20:49:58"));
    EXPECT_EQ((*starfury)["sid"], "S-1-5-21-1-2-3-1002");
    const TraceRecord* deleted = byPath(all, "\\deletedfile.txt");
    ASSERT_NE(deleted, nullptr);
    EXPECT_EQ((*deleted)["still_there"], "1");
    EXPECT_EQ((*deleted)["recycled_size"], "0");
    EXPECT_TRUE((*deleted)["deleted"].startsWith("2022-02-06T20:10:32"));
    const TraceRecord* folderEntry = byPath(all, "C:\\temp");
    ASSERT_NE(folderEntry, nullptr);
    EXPECT_EQ((*folderEntry)["still_there"], "1");
    EXPECT_EQ((*folderEntry)["recycled_size"], "");  // a folder has no size of its own

    // XP: four entries, one with the longest path there is, two emptied (a Dc file left beside an
    // emptied record is not its content); the one whose Dc file lies there is still there.
    const auto xp = std::count_if(all.begin(), all.end(), [](const TraceRecord& r) { return r["source"].startsWith("C:\\RECYCLER\\"); });
    EXPECT_EQ(xp, 4);
    EXPECT_EQ(std::count_if(all.begin(), all.end(), [](const TraceRecord& r) { return r["format"] == "INFO2, entry emptied or restored"; }), 2);
    const TraceRecord* longName = byPath(all, "long name11.txt");
    ASSERT_NE(longName, nullptr);
    // The longest path an INFO2 record holds: 259 characters and the NUL.
    EXPECT_EQ((*longName)["original_path"].size(), 259) << (*longName)["original_path"].toStdString();
    const TraceRecord* first = byPath(all, "\\first file.txt");
    ASSERT_NE(first, nullptr);
    EXPECT_EQ((*first)["recycled_name"], "Dc2.txt");
    EXPECT_EQ((*first)["still_there"], "0");
    EXPECT_EQ((*longName)["recycled_name"], "Dc1.txt");
    EXPECT_EQ((*longName)["still_there"], "1");
    EXPECT_EQ((*longName)["recycled_size"], "100");
    const TraceRecord* explorer = byPath(all, "Z:\\WINDOWS\\explorer.exe");
    ASSERT_NE(explorer, nullptr);
    EXPECT_TRUE((*explorer)["deleted"].startsWith("2008-01-30T15:13:03"));
    EXPECT_EQ((*explorer)["source"], "C:\\RECYCLED\\INFO2");

    EXPECT_EQ(findings.filter("$IBROKEN1: its version is 7, not 1 or 2").size(), 1) << findings.join("\n").toStdString();
    EXPECT_EQ(findings.filter("$IBROKEN2: its path length (255 characters) reaches past").size(), 1) << findings.join("\n").toStdString();
}

}  // namespace
}  // namespace kestrova
