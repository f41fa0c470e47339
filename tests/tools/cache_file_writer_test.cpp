// The cache index writer: what it writes, libmsiecf's own tool reads back without complaint.
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include "mksample/sample_system.h"
#include "msiecf/cache_file_writer.h"

namespace kestrova {
namespace {

TEST(CacheFileWriter, MsiecfexportReadsTheSampleCachesBack) {
    if (QStandardPaths::findExecutable("msiecfexport").isEmpty()) GTEST_SKIP() << "msiecfexport is not installed";
    QTemporaryDir root;
    ASSERT_TRUE(tools::addInternetExplorerCaches(root.path()));
    const QString local = root.path() + "/Users/alice/AppData/Local/Microsoft/Windows/";
    const std::pair<QString, int> files[] = {{local + "History/History.IE5/index.dat", 6},
                                             {local + "Temporary Internet Files/Content.IE5/index.dat", 4}};
    for (const auto& [file, items] : files) {
        QProcess p;
        p.start("msiecfexport", {file});
        ASSERT_TRUE(p.waitForFinished());
        const QString out = QString::fromUtf8(p.readAllStandardOutput());
        const QString err = QString::fromUtf8(p.readAllStandardError());
        EXPECT_EQ(p.exitCode(), 0) << err.toStdString();
        EXPECT_FALSE(err.contains("Unable") || out.contains("Unable")) << err.toStdString();
        EXPECT_TRUE(out.contains(QString("Number of items: %1.").arg(items))) << out.toStdString();
        EXPECT_EQ(out.count("Record type\t\t: URL"), items);
    }
}

TEST(CacheFileWriter, FatAndFileTimesEncodeTheirCalendarFields) {
    // 2015-09-20 10:58:10, as a real History.IE5 record stores its expiry.
    EXPECT_EQ(tools::fatTimeOf(2015, 9, 20, 10, 58, 10), 0x57454734u);
    EXPECT_EQ(tools::fileTimeOf(1970, 1, 1, 0, 0, 0), 116444736000000000ULL);
}

}  // namespace
}  // namespace kestrova
