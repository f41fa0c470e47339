#include "cli/image_commands.h"

#include <QElapsedTimer>
#include <algorithm>
#include <cstdio>
#include <unistd.h>

#include "core/time/iso_time.h"
#include "platform/image/image_verify.h"

namespace kestrova::cli {

void describeImage(const ImageSource& image, QTextStream& out) {
    const ImageSummary& s = image.summary();
    if (s.format.isEmpty()) return;
    out << "image: " << s.files.join(QStringLiteral(", ")) << '\n' << "container: " << s.format << ", " << s.size << " bytes\n";
    for (const auto& [name, value] : s.metadata) out << "  " << name << ": " << value << '\n';
    if (!s.incomplete.isEmpty()) out << s.incomplete << '\n';
    for (const Partition& p : s.partitions) {
        const bool windows = std::find(s.windows.begin(), s.windows.end(), p.number) != s.windows.end();
        out << "partition " << p.number << ": " << p.scheme << (p.type.isEmpty() ? QString() : QLatin1Char(' ') + p.type)
            << (p.name.isEmpty() ? QString() : QStringLiteral(" \"%1\"").arg(p.name)) << ", offset " << p.offset << ", "
            << p.size << " bytes, " << (p.fileSystem.isEmpty() ? QStringLiteral("unknown file system") : p.fileSystem);
        if (p.number == s.chosen && !s.label.isEmpty()) out << ", label \"" << s.label << '"';
        if (windows) out << ", Windows";
        if (p.number == s.chosen) out << " (examined)";
        if (!p.problem.isEmpty()) out << "; " << p.problem;
        out << '\n';
    }
    // The examined partition's earlier states, as --snapshots numbers them.
    for (const ShadowStore& store : s.stores) {
        out << "shadow copy " << store.number << ": " << store.identifier << ", created "
            << (store.created ? IsoTimeWriter(QTimeZone::utc()).text(*store.created) : QStringLiteral("unknown"))
            << ", " << store.size << " bytes kept, volume " << store.volumeSize << " bytes"
            << (store.number == s.store ? " (examined)" : "") << '\n';
    }
    if (!s.storesProblem.isEmpty()) out << "shadow copies: " << s.storesProblem << '\n';
}

// A progress line on standard error while it reads: rewritten in place on a terminal, once at the
// end otherwise.
int verify(const QString& image, QTextStream& out) {
    const bool terminal = ::isatty(STDERR_FILENO) != 0;
    QElapsedTimer shown;
    shown.start();
    const auto line = [](uint64_t done, uint64_t size) {
        return QStringLiteral("verify: %1% (%2 of %3 MiB)").arg(size ? done * 100 / size : 100).arg(done >> 20).arg(size >> 20);
    };
    const ImageVerification v = verifyImage(image, [&](uint64_t done, uint64_t size) {
        if (terminal && (shown.elapsed() >= 200 || done == size)) {
            std::fprintf(stderr, "\r%s", qPrintable(line(done, size)));
            shown.restart();
        }
    });
    std::fprintf(stderr, terminal ? "\r%s\n" : "%s\n", qPrintable(line(v.done, v.size)));
    out << "image: " << image << '\n';
    if (!v.format.isEmpty()) out << "container: " << v.format << ", " << v.size << " bytes\n";
    if (!v.read) {
        out.flush();
        std::fprintf(stderr, "kestrova-cli: %s cannot be verified: %s\n", qPrintable(image), qPrintable(v.why));
        return 1;
    }
    const auto compare = [&](const char* name, const QString& computed, const QString& stored) {
        out << "computed " << name << ": " << computed << '\n';
        if (stored.isEmpty()) out << "stored " << name << ": none\n";
        else out << "stored " << name << ": " << stored << (stored.compare(computed, Qt::CaseInsensitive) == 0 ? " (matches)" : " (DIFFERS)") << '\n';
    };
    compare("MD5", v.md5, v.storedMd5);
    compare("SHA-1", v.sha1, v.storedSha1);
    const bool stored = !v.storedMd5.isEmpty() || !v.storedSha1.isEmpty();
    out << (v.matches() ? (stored ? "verified: the image's data is what was acquired\n" : "no hash is stored in the image to compare with\n")
                        : "NOT verified: the image's data differs from what was acquired\n");
    out.flush();
    return v.matches() ? 0 : 1;
}

}  // namespace kestrova::cli
