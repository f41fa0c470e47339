// The file system's own memory end to end, as users run it:
//  - file.mft over an NTFS image of N files (200,000 unless told; some deleted), written with
//    mkntfs and filled through an ntfs-3g mount (FUSE), against sleuthkit's fls -r -m / -p of the
//    same image, measured in the same run (target: a ratio of 1.0 or less), with the command
//    line's peak memory (target 256 MiB or less at 1M entries);
//  - every kind with --snapshots all on the shared shadow-copy volume against --snapshots none
//    (target: 1.5 or less for its two stores of few changes).
// Best of three each, output to /dev/null.
//
//   kestrova_filesystem_bench [FILES] [REALDATA]
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <cstdio>

#include "process_run.h"

using namespace kestrova;

namespace {

bool run(const QString& program, const QStringList& args) {
    QProcess p;
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    p.start(program, args);
    if (!p.waitForFinished(-1) || p.exitCode() != 0) {
        std::fprintf(stderr, "%s %s failed\n", qPrintable(program), qPrintable(args.join(' ')));
        return false;
    }
    return true;
}

// An NTFS image of `files` empty files in folders of 1,000, one in ten of them deleted again.
bool buildImage(const QString& image, const QString& mount, int files) {
    const qint64 size = std::max<qint64>(qint64{1} << 30, qint64(files) * 4096);
    QFile(image).open(QIODevice::WriteOnly);
    QFile(image).resize(size);
    if (!run("mkntfs", {"-F", "-q", "-Q", image}) || !QDir().mkpath(mount) || !run("ntfs-3g", {"-o", "big_writes", image, mount})) return false;
    for (int made = 0, folder = 0; made < files; ++folder) {
        const QString dir = QStringLiteral("%1/folder%2").arg(mount).arg(folder);
        QDir().mkpath(dir);
        for (int f = 0; f < 1000 && made < files; ++f, ++made) {
            QFile file(QStringLiteral("%1/file%2.txt").arg(dir).arg(f));
            file.open(QIODevice::WriteOnly);
        }
        for (int f = 0; f < 1000; f += 10) QFile::remove(QStringLiteral("%1/file%2.txt").arg(dir).arg(f));
    }
    return run("umount", {mount});
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int files = argc > 1 ? QByteArray(argv[1]).toInt() : 200000;
    const QString realdata = argc > 2 ? QString::fromLocal8Bit(argv[2]) : QStringLiteral(KESTROVA_REALDATA);
    for (const char* tool : {"fls", "mkntfs", "ntfs-3g"}) {
        if (QStandardPaths::findExecutable(QLatin1String(tool)).isEmpty()) {
            std::fprintf(stderr, "%s is not installed\n", tool);
            return 1;
        }
    }
    const QByteArray cli = QCoreApplication::applicationDirPath().toUtf8() + "/kestrova-cli";
    QTemporaryDir dir;
    const QString image = dir.filePath("volume.raw");
    std::fprintf(stderr, "writing an NTFS image of %d files through ntfs-3g...\n", files);
    if (!buildImage(image, dir.filePath("mount"), files)) {
        std::fprintf(stderr, "the image cannot be written (ntfs-3g needs FUSE)\n");
        return 1;
    }
    const bench::ProcessRun fls = bench::bestOfThree({"fls", "-r", "-m", "/", "-p", image.toUtf8()});
    const bench::ProcessRun mft =
        bench::bestOfThree({cli, "--image", image.toUtf8(), "--partition", "1", "traces", "file.mft", "--format", "jsonl"});
    std::printf("%d files (one in ten deleted)\n", files);
    std::printf("fls -r -m / -p: %.2f s\n", fls.seconds);
    std::printf("traces file.mft jsonl: %.2f s, peak %ld MiB\n", mft.seconds, mft.peakKiB / 1024);
    std::printf("ratio file.mft end to end / fls: %.2f (target 1.0 or less)\n", mft.seconds / fls.seconds);

    const QByteArray vss = (realdata + QStringLiteral("/vss/vsstest.qcow2")).toUtf8();
    if (!QFile::exists(QString::fromUtf8(vss))) {
        std::fprintf(stderr, "no %s: the shadow copies are not measured\n", vss.constData());
        return 0;
    }
    const bench::ProcessRun none = bench::bestOfThree({cli, "--image", vss, "--partition", "1", "traces", "--snapshots", "none"});
    const bench::ProcessRun all = bench::bestOfThree({cli, "--image", vss, "--partition", "1", "traces", "--snapshots", "all"});
    std::printf("every kind, --snapshots none: %.2f s; all (2 stores): %.2f s\n", none.seconds, all.seconds);
    std::printf("ratio --snapshots all / none: %.2f (target 1.5 or less)\n", all.seconds / none.seconds);
    return 0;
}
