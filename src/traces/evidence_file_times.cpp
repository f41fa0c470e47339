// The `file` kind: the file-system times of the evidence files themselves, beside what is read
// from inside them. A database's own modification time tells when its browser last wrote it, a
// hive's when Windows last flushed it, a shortcut's creation time when a document was first
// opened. The times come from the volume as it is served: NTFS's $STANDARD_INFORMATION in
// an image, what Linux tells of a folder tree (where a copy may have changed them: the record
// says which). Files deleted since are there too, as the MFT still keeps them.
#include "traces/evidence_file_times.h"

#include "traces/filesystem/filesystem_sources.h"

#include "traces/ie/ie_sources.h"
#include "traces/windows/registry_walk.h"
#include "traces/windows/windows_sources.h"

namespace kestrova {
namespace {

using namespace evidencefields;

// The files each kind reads, where they lie: per browser profile, per user, per machine.
constexpr const char* kChromiumFiles[] = {"History", "Cookies", "Network\\Cookies", "Web Data", "Login Data", "Top Sites", "Bookmarks"};
constexpr const char* kFirefoxFiles[] = {"places.sqlite", "cookies.sqlite", "formhistory.sqlite", "downloads.sqlite"};
constexpr const char* kJournals[] = {"", "-wal", "-journal"};

struct Evidence {
    const UserProfile* user;
    QString path;
    QString what;
};

void addIfThere(TraceContext& context, std::vector<Evidence>& out, const UserProfile* user, const QString& path, const QString& what) {
    if (context.exists(path)) out.push_back({user, path, what});
}

void addFolder(TraceContext& context, std::vector<Evidence>& out, const UserProfile* user, const QString& folder,
               const QString& suffix, const QString& what) {
    for (const QString& name : context.list(folder, false)) {
        if (name.endsWith(suffix, Qt::CaseInsensitive)) out.push_back({user, folder + QLatin1Char('\\') + name, what});
    }
}

std::vector<Evidence> evidenceFiles(TraceContext& context) {
    std::vector<Evidence> files;
    for (const BrowserProfile& p : context.browserProfiles()) {
        const bool chromium = p.engine == BrowserEngine::Chromium;
        const auto names = chromium ? std::span<const char* const>(kChromiumFiles) : std::span<const char* const>(kFirefoxFiles);
        for (const char* name : names) {
            for (const char* journal : kJournals) {
                addIfThere(context, files, p.user, p.folder + QLatin1Char('\\') + QLatin1String(name) + QLatin1String(journal),
                           QStringLiteral("%1 %2 %3").arg(p.browser, p.name, QLatin1String(name) + QLatin1String(journal)));
            }
        }
    }
    for (const UserProfile& user : context.users()) {
        for (const QString& hive : {user.folder + QStringLiteral("\\NTUSER.DAT"), user.local + QStringLiteral("\\Microsoft\\Windows\\UsrClass.dat")}) {
            for (const char* log : {"", ".LOG1", ".LOG2"}) addIfThere(context, files, &user, hive + QLatin1String(log), QStringLiteral("user hive"));
        }
        for (const QString& history : iePlaces(user, "History\\History.IE5", "Local Settings\\History\\History.IE5")) {
            addIfThere(context, files, &user, history + QStringLiteral("\\index.dat"), QStringLiteral("Internet Explorer history"));
            for (const QString& name : context.list(history, true)) {
                addIfThere(context, files, &user, history + QLatin1Char('\\') + name + QStringLiteral("\\index.dat"),
                           QStringLiteral("Internet Explorer history"));
            }
        }
        addIfThere(context, files, &user, webCachePath(user), QStringLiteral("WebCache database"));
        for (const QString& cache : iePlaces(user, "Temporary Internet Files\\Content.IE5",
                                             "Local Settings\\Temporary Internet Files\\Content.IE5")) {
            addIfThere(context, files, &user, cache + QStringLiteral("\\index.dat"), QStringLiteral("Internet Explorer cache"));
        }
        const QString recent = recentFolders(user).front();
        for (const QString& folder : recentFolders(user)) addFolder(context, files, &user, folder, QStringLiteral(".lnk"), QStringLiteral("shortcut"));
        addFolder(context, files, &user, recent + QStringLiteral("\\AutomaticDestinations"), QStringLiteral("-ms"), QStringLiteral("Jump List"));
        addFolder(context, files, &user, recent + QStringLiteral("\\CustomDestinations"), QStringLiteral("-ms"), QStringLiteral("Jump List"));
    }
    for (const QString& hive : {kSystemHive, kSoftwareHive}) {
        for (const char* log : {"", ".LOG1", ".LOG2"}) addIfThere(context, files, nullptr, hive + QLatin1String(log), QStringLiteral("machine hive"));
    }
    addIfThere(context, files, nullptr, QStringLiteral("C:\\Windows\\AppCompat\\Programs\\Amcache.hve"), QStringLiteral("Amcache"));
    addIfThere(context, files, nullptr, QStringLiteral("C:\\Windows\\INF\\setupapi.dev.log"), QStringLiteral("device installation log"));
    addFolder(context, files, nullptr, QStringLiteral("C:\\Windows\\Prefetch"), QStringLiteral(".pf"), QStringLiteral("prefetch file"));
    return files;
}

}  // namespace

void evidenceFileTimes(TraceContext& context, TraceSink& sink) {
    for (const Evidence& file : evidenceFiles(context)) {
        const auto times = context.fileTimes(file.path);
        if (!times) continue;
        OwnedRecord<Count> r;
        r.text(Path, file.path);
        r.text(What, file.what);
        r.time(Created, utc::fromFileTime(times->created));
        r.time(Modified, utc::fromFileTime(times->modified));
        r.time(Accessed, utc::fromFileTime(times->accessed));
        r.time(Changed, utc::fromFileTime(times->changed));
        r.boolean(Deleted, false);
        const Provenance from = file.user ? userProvenance(*file.user, file.path, QString()) : Provenance{{}, {}, {}, file.path.toUtf8(), {}};
        if (!context.deliver(sink, from, r.values())) return;
    }
    fileDeletedEntries(context, sink);
}

}  // namespace kestrova
