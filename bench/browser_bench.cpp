// The Firefox URL history (c1) over a generated places.sqlite with 1,000,000 visits, and the
// Chrome URL history (d1) over a History with 1,000,000 urls, read in-process through the real
// readers (rows stored in the list, nothing printed). Reference, measured in the same run on the
// same files: the sqlite3 command line running the equivalent query, output to /dev/null. Each
// is timed three times, the best run counts. Also prints the heap the rows take against the
// text they show.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>

#include "browsers/browser_data.h"
#include "sample_volume.h"
#include "core/app/session.h"

namespace {

using namespace kestrova;

constexpr int kScale = 1000000;

double sqliteCli(const QString& database, const QString& query) {
    QElapsedTimer timer;
    timer.start();
    QProcess cli;
    cli.setStandardOutputFile(QProcess::nullDevice());
    cli.start(QStringLiteral("sqlite3"), {database, query});
    cli.waitForFinished(-1);
    return timer.nsecsElapsed() / 1e9;
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    bench::SampleVolume volume;
    const QTemporaryDir& dir = volume.dir;
    QString error;
    if (!tools::writeFirefoxProfile(dir.path(), tools::kSampleUser, {.scale = kScale}, &error) ||
        !tools::writeChromeProfile(dir.path(), tools::kSampleUser, {.scale = kScale}, &error)) {
        std::fprintf(stderr, "cannot write the databases: %s\n", qPrintable(error));
        return 1;
    }
    const QString places = dir.filePath("Users/alice/AppData/Roaming/Mozilla/Firefox/Profiles/x7k2m9qa.default/places.sqlite");
    const QString history = dir.filePath("Users/alice/AppData/Local/Google/Chrome/User Data/Default/History");


    struct Case {
        const char* key;
        QString database;
        QString query;
    };
    const Case cases[] = {
        {"c1", places, QStringLiteral("SELECT p.url, p.title, p.last_visit_date FROM moz_historyvisits v "
                                      "JOIN moz_places p ON p.id = v.place_id")},
        {"d1", history, QStringLiteral("SELECT url,title, visit_count,last_visit_time FROM urls where hidden<>1")},
    };
    for (const Case& c : cases) {
        double reference = 1e9, reader = 1e9;
        int rows = 0;
        size_t heap = 0, text = 0;
        for (int round = 0; round < 3; ++round) {
            reference = std::min(reference, sqliteCli(c.database, c.query));
            const size_t before = bench::heapInUse();
            Session session(volume.os, volume.clock, volume.run, volume.host);
            QElapsedTimer timer;
            timer.start();
            session.select(QLatin1String(c.key));
            reader = std::min(reader, timer.nsecsElapsed() / 1e9);
            rows = session.list.rowCount();
            heap = bench::heapInUse() - before;
            text = session.list.textBytes();
        }
        std::printf("%s: %d rows; sqlite3 command line %.3f s, reader %.3f s\n", c.key, rows, reference, reader);
        std::printf("ratio %s time / sqlite3: %.2f (target %s)\n", c.key, reader / reference,
                    c.key[0] == 'c' ? "1.5 or less" : "1.3 or less");
        std::printf("ratio %s memory / text shown: %.2f (target under 3)\n", c.key, static_cast<double>(heap) / text);
    }
    return 0;
}
