// Disk images against the same files in a folder tree, end to end through the built command
// line (TSV to /dev/null), in the same run:
//   all   every category of a volume holding a 1,000,000-url Chrome history and a
//         1,000,000-visit Firefox history, from a raw NTFS image  against  from the folder tree
//   d1    "rows d1" alone, image against folder tree
//   open  "info" on a 100 GiB sparse raw disk (MBR, the Windows partition at 1 MiB): the time to
//         open it and locate the Windows partition
// The NTFS image is written with mkntfs and filled through an ntfs-3g mount: it needs FUSE.
//   kestrova_image_bench [--keep DIR]
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <vector>

#include "process_run.h"
#include "browsers/browser_data.h"
#include "mksample/sample_system.h"
#include "../tests/support/image_fixture.h"

namespace {

using namespace kestrova;

double best(const std::vector<QByteArray>& args) { return bench::bestOfThree(args).seconds; }

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QString missing = test::ntfsUnavailable();
    if (!missing.isEmpty()) {
        std::fprintf(stderr, "an NTFS image cannot be built here: %s\n", qPrintable(missing));
        return 1;
    }
    const QByteArray cli = QFile::encodeName(QCoreApplication::applicationDirPath() + QStringLiteral("/kestrova-cli"));
    QTemporaryDir dir(argc == 3 && QByteArray(argv[1]) == "--keep" ? QString::fromLocal8Bit(argv[2]) + "/XXXXXX" : QString());
    dir.setAutoRemove(argc != 3);
    const QString tree = dir.filePath("tree");
    QString error;
    if (!tools::writeSampleSystem(tree, &error, {.scale = 1000000})) {
        std::fprintf(stderr, "cannot write the sample: %s\n", qPrintable(error));
        return 1;
    }
    const QString image = dir.filePath("windows.ntfs");
    if (!test::makeNtfs(image, tree, qint64{1} << 30, QStringLiteral("Windows"), &error)) {
        std::fprintf(stderr, "cannot write the image: %s\n", qPrintable(error));
        return 1;
    }
    QStringList keys = QStringLiteral("a1 a2 a3 a4 b1 b2 b3 b4 b5 b6 b7 b8 c1 c2 c3 c4 c5 d1 d2 d3 d4 d5").split(' ');
    const auto args = [&](const char* how, const QString& where, const QStringList& rows) {
        std::vector<QByteArray> a{cli, how, QFile::encodeName(where), "rows"};
        for (const QString& k : rows) a.push_back(k.toLatin1());
        return a;
    };
    bench::runProcess(args("--root", tree, keys));  // both into the page cache
    bench::runProcess(args("--image", image, keys));
    const double folderAll = best(args("--root", tree, keys));
    const double imageAll = best(args("--image", image, keys));
    const double folderD1 = best(args("--root", tree, {"d1"}));
    const double imageD1 = best(args("--image", image, {"d1"}));
    std::printf("all 22 categories: folder %.3f s, image %.3f s\n", folderAll, imageAll);
    std::printf("ratio all categories image / folder: %.2f (target 1.3 or less)\n", imageAll / folderAll);
    std::printf("d1 over 1,000,000 urls: folder %.3f s, image %.3f s\n", folderD1, imageD1);
    std::printf("ratio d1 image / folder: %.2f (target 1.3 or less)\n", imageD1 / folderD1);

    // 100 GiB, sparse: the table, the Windows partition at 1 MiB, the rest holes.
    const QString big = dir.filePath("big.raw");
    if (!test::makeDisk(big, {{.file = image}}, false) || !QFile(big).resize(qint64{100} << 30)) {
        std::fprintf(stderr, "cannot write the sparse disk\n");
        return 1;
    }
    const double open = best({cli, "--image", QFile::encodeName(big), "info"});
    std::printf("open a 100 GiB sparse image and locate its Windows partition: %.3f s (target under 1 s)\n", open);
    return 0;
}
