// The command line end to end, as users run it: the built kestrova-cli writing TSV to /dev/null,
// started as a process and timed from start to exit, against references measured in the same
// run on the same files:
//   a4  "rows a4" over a generated 256 MiB index.dat   against  cat of the file (both cached)
//   c1  "rows c1" over 1,000,000 Firefox visits         against  sqlite3 running the same join
//   d1  "rows d1" over 1,000,000 Chrome urls            against  sqlite3 running the same query
//   a1  "rows a1" over a History.IE5 of 500 records     against  msiecfexport reading it (libmsiecf
//       in-process; the reader runs it in a child process of its own, and this is what that costs)
// and the peak resident memory of "rows d1". Each is timed three times, the best run counts.
//   kestrova_cli_bench [--keep DIR]   (--keep: the fixtures are written to DIR and left there, for
//                                      profiling the command line on them)
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <vector>

#include "browsers/browser_data.h"
#include "process_run.h"
#include "index_file.h"
#include "msiecf/cache_file_writer.h"
#include "mksample/sample_system.h"

namespace {

using namespace kestrova;

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QByteArray cli = QFile::encodeName(QCoreApplication::applicationDirPath() + QStringLiteral("/kestrova-cli"));
    QTemporaryDir dir(argc == 3 && QByteArray(argv[1]) == "--keep" ? QString::fromLocal8Bit(argv[2]) + "/XXXXXX" : QString());
    dir.setAutoRemove(argc != 3);
    tools::makeProfileFolders(dir.path(), tools::kSampleUser);
    tools::sampleUserHive().write(dir.filePath(QStringLiteral("Users/%1/NTUSER.DAT").arg(tools::kSampleUser)));
    QString error;
    const QString index = dir.filePath("index.dat");
    if (!tools::writeFirefoxProfile(dir.path(), tools::kSampleUser, {.scale = 1000000}, &error) ||
        !tools::writeChromeProfile(dir.path(), tools::kSampleUser, {.scale = 1000000}, &error) ||
        !bench::writeIndex(index, qint64{256} << 20)) {
        std::fprintf(stderr, "cannot write the fixtures: %s\n", qPrintable(error));
        return 1;
    }
    tools::CacheFile cache;
    for (int i = 0; i < 500; ++i) {
        tools::CacheUrl visit;
        visit.location = "Visited: alice@http://www.site" + QByteArray::number(i) + ".example/page";
        visit.title = QStringLiteral("Page %1").arg(i);
        visit.primaryTime = visit.secondaryTime = tools::fileTimeOf(2026, 11, 1 + i % 28, 9, i % 60, 0);
        cache.urls.push_back(visit);
    }
    const QString historyIndex = dir.filePath("Users/alice/AppData/Local/Microsoft/Windows/History/History.IE5/index.dat");
    QDir().mkpath(QFileInfo(historyIndex).absolutePath());
    QFile historyFile(historyIndex);
    if (!historyFile.open(QIODevice::WriteOnly) || historyFile.write(tools::writeCacheFile(cache)) < 0) return 1;
    historyFile.close();
    const QByteArray root = QFile::encodeName(dir.path());
    const QByteArray places = QFile::encodeName(dir.filePath("Users/alice/AppData/Roaming/Mozilla/Firefox/Profiles/x7k2m9qa.default/places.sqlite"));
    const QByteArray history = QFile::encodeName(dir.filePath("Users/alice/AppData/Local/Google/Chrome/User Data/Default/History"));
    const auto kestrova = [&](std::vector<QByteArray> extra) {
        std::vector<QByteArray> args{cli, "--root", root, "--user", "alice"};
        args.insert(args.end(), extra.begin(), extra.end());
        return args;
    };

    struct Case {
        const char* key;
        const char* reference;
        std::vector<QByteArray> referenceArgs;
        std::vector<QByteArray> cliArgs;
        double target;
    };
    const Case cases[] = {
        {"a4", "cat", {"cat", QFile::encodeName(index)}, kestrova({"--index-file", QFile::encodeName(index), "rows", "a4"}), 3.0},
        {"c1", "sqlite3", {"sqlite3", places, "SELECT p.url, p.title, p.last_visit_date FROM moz_historyvisits v JOIN moz_places p ON p.id = v.place_id"},
         kestrova({"rows", "c1"}), 1.5},
        {"d1", "sqlite3", {"sqlite3", history, "SELECT url,title, visit_count,last_visit_time FROM urls where hidden<>1"},
         kestrova({"rows", "d1"}), 1.3},
        {"a1", "msiecfexport", {"msiecfexport", QFile::encodeName(historyIndex)}, kestrova({"rows", "a1"}), 0},
    };
    for (const Case& c : cases) {
        bench::runProcess(c.referenceArgs);  // the file into the page cache, for both
        const bench::ProcessRun reference = bench::bestOfThree(c.referenceArgs);
        const bench::ProcessRun measured = bench::bestOfThree(c.cliArgs);
        std::printf("%s: %s %.3f s, kestrova-cli rows %s %.3f s (peak %ld KiB)\n", c.key, c.reference, reference.seconds, c.key,
                    measured.seconds, measured.peakKiB);
        if (c.target > 0) {
            std::printf("ratio %s end to end / %s: %.2f (target %.1f or less)\n", c.key, c.reference,
                        measured.seconds / reference.seconds, c.target);
        } else {
            std::printf("ratio %s end to end / %s: %.2f\n", c.key, c.reference, measured.seconds / reference.seconds);
        }
        if (QByteArray(c.key) == "d1") {
            std::printf("peak memory of rows d1: %.1f MiB (target 64 or less)\n", measured.peakKiB / 1024.0);
        }
    }
    return 0;
}
