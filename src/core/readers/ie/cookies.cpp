#include "core/readers/ie/cookies.h"

#include "core/common/text.h"
#include "core/frame/collector.h"

namespace kestrova {
namespace {

template <typename Entry>
void eachPass(const SourceContext& src, Entry entry) {
    QString folder = trimBlanks(src.os.GetShellFolder(QStringLiteral("Cookies"))).toString() + QLatin1Char('\\');
    if (src.kept) src.kept->cookies = folder;
    const auto pass = [&] {
        for (const DirEntry& e : src.os.system().listFolder(folder)) {
            if (e.isDotEntry() || e.inFolderRange()) continue;
            entry(folder, e.name);
        }
    };
    pass();
    if (src.versionTag == QLatin1String("Vista")) {
        // The "Low" folder is the one kept afterwards.
        folder += QStringLiteral("Low\\");
        if (src.kept) src.kept->cookies = folder;
        pass();
    }
}

}  // namespace

std::optional<QString> cookieSiteLine(QIODevice& file) {
    // Only piece 2 is wanted, so reading ends at the line's carriage return, at the third line
    // feed or at the end, whichever comes first: a huge file is never read whole. Nor is a huge
    // file without line ends (a sparse gigabyte): a cookie's name, value and site lie within its
    // first few kilobytes (Internet Explorer keeps a cookie to 4 KiB), so the search stops at
    // kCookieLinesLimit, where the site line is taken as missing.
    QByteArray line;
    int feeds = 0;
    char c = 0;
    while (feeds < 3 && line.size() < kCookieLinesLimit && file.getChar(&c) && c != '\r') {
        line += c;
        if (c == '\n') ++feeds;
    }
    if (line.size() >= kCookieLinesLimit) return std::nullopt;
    const QList<QByteArray> pieces = line.split('\n');
    if (pieces.size() < 3) return std::nullopt;  // the index error, passed over
    return QString::fromLatin1(pieces[2]);       // the system's ANSI code page
}

void cookieRows(const SourceContext& src, RowSink& sink) {
    eachPass(src, [&](const QString& folder, const QString& name) {
        // Binary, case-sensitive tests, as the listing always made them.
        if (name != QLatin1String("index.dat") && name != QLatin1String("Low") && name.contains(QLatin1Char('@'))) {
            sink.add(name);
        } else if (name.contains(QLatin1String(".txt"))) {
            const auto file = src.os.system().openFile(folder + name, QStringLiteral("cookie file"));
            if (!file) return;
            if (const auto site = cookieSiteLine(*file)) sink.add(*site);
        } else {
            sink.stopRequested();  // lets pending events run, as after every entry
        }
    });
}

void cookieFullPathRows(const SourceContext& src, RowSink& sink) {
    eachPass(src, [&](const QString& folder, const QString& name) {
        if (name != QLatin1String("index.dat") && name != QLatin1String("Low")) sink.add(folder + name);
    });
}

QStringList GetCookies(const SourceContext& src) { return collectRows(cookieRows, src, OnError::EndReader); }

}  // namespace kestrova
