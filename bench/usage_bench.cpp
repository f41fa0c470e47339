// Windows' usage databases end to end, as users run them:
//  - windows.srum.apps over the shared SRUDB.dat (../shared/realdata/usage/srum-win10) with
//    kestrova-cli traces --format jsonl, against esedbexport of the same database (libesedb's own
//    exporter, every table: the kind reads the IdMap and its table), measured in the same run
//    (target: 1.0 or less);
//  - windows.search over a Windows 11 Search index of ITEMS items (500,000 unless told) written
//    at bench time, against sqlite3 -csv of the query that reads the same properties of every item
//    (target: 1.5 or less).
// Best of three each, output to /dev/null.
//
//   kestrova_usage_bench [REALDATA] [ITEMS]    (default ../shared/realdata beside the source tree)
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <cstdio>

#include "process_run.h"
#include "usage/search_db_writer.h"

using namespace kestrova;

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QString realdata = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral(KESTROVA_REALDATA);
    const QString esedbexport = QStandardPaths::findExecutable(QStringLiteral("esedbexport"));
    if (esedbexport.isEmpty()) {
        std::fprintf(stderr, "esedbexport (libesedb-utils) is not installed\n");
        return 1;
    }
    const QString srum = realdata + QStringLiteral("/usage/srum-win10/SRUDB.dat");
    if (!QFileInfo::exists(srum)) {
        std::fprintf(stderr, "%s is not there\n", qPrintable(srum));
        return 1;
    }
    QTemporaryDir dir;
    QDir().mkpath(dir.filePath(QStringLiteral("Windows/System32/sru")));
    QDir().mkpath(dir.filePath(QStringLiteral("Users/examiner")));
    QFile::copy(srum, dir.filePath(QStringLiteral("Windows/System32/sru/SRUDB.dat")));
    const QByteArray exportTo = dir.filePath(QStringLiteral("export")).toUtf8();
    const QByteArray reference = "rm -rf \"" + exportTo + "\"*; \"" + esedbexport.toUtf8() + "\" -t \"" + exportTo + "\" \"" + srum.toUtf8() + "\" >/dev/null";
    const bench::ProcessRun exported = bench::bestOfThree({"sh", "-c", reference});
    const QByteArray cli = QCoreApplication::applicationDirPath().toUtf8() + "/kestrova-cli";
    const bench::ProcessRun apps = bench::bestOfThree({cli, "--root", dir.path().toUtf8(), "traces", "windows.srum.apps", "--format", "jsonl"});
    std::printf("esedbexport (every table): %.3f s\n", exported.seconds);
    std::printf("traces windows.srum.apps jsonl: %.3f s, peak %ld MiB\n", apps.seconds, apps.peakKiB / 1024);
    std::printf("ratio windows.srum.apps / esedbexport: %.2f (target 1.0 or less)\n", apps.seconds / exported.seconds);

    const int items = argc > 2 ? QByteArray(argv[2]).toInt() : 500000;
    QTemporaryDir search;
    const QString folder = search.filePath(QStringLiteral("ProgramData/Microsoft/Search/Data/Applications/Windows"));
    QDir().mkpath(folder);
    QDir().mkpath(search.filePath(QStringLiteral("Users/examiner")));
    QString error;
    std::fprintf(stderr, "writing a Search index of %d items...\n", items);
    if (!tools::writeSearchIndex(folder + QStringLiteral("/Windows.db"), items, &error)) {
        std::fprintf(stderr, "the index cannot be written: %s\n", qPrintable(error));
        return 1;
    }
    const QByteArray db = (folder + QStringLiteral("/Windows.db")).toUtf8();
    const bench::ProcessRun sqlite = bench::bestOfThree(
        {"sqlite3", "-csv", db,
         "SELECT WorkId, ColumnId, Value FROM SystemIndex_1_PropertyStore WHERE ColumnId IN (13,33,39,414,420,425,436,441,444,445,449,451) "
         "ORDER BY WorkId"});
    const bench::ProcessRun indexed = bench::bestOfThree({cli, "--root", search.path().toUtf8(), "traces", "windows.search", "--format", "jsonl"});
    std::printf("%d items: sqlite3 -csv %.2f s, traces windows.search jsonl %.2f s, peak %ld MiB\n", items, sqlite.seconds, indexed.seconds,
                indexed.peakKiB / 1024);
    std::printf("ratio windows.search end to end / sqlite3 -csv: %.2f (target 1.5 or less)\n", indexed.seconds / sqlite.seconds);
    return 0;
}
