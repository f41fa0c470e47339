// Internet Explorer 5 to 9, for every user: the history containers (History.IE5's main index.dat
// and the daily and weekly MSHist… ones under it), the content cache index (Content.IE5) and the
// cookie text files. The cache indexes are read through libmsiecf in a contained child (see
// platform/historystore); what the times of a record mean depends on its container, after
// libmsiecf's format documentation and plaso's msiecf parser:
//   main history   primary: last visit (UTC)      secondary: last update (UTC)
//   MSHist…        primary: last visit (UTC)      secondary: the same in local time (not kept:
//                                                  a local time is no exact time)
//   content cache  primary: last modified (UTC)   secondary: last accessed (UTC)
// A cookie file holds records of nine lines, the last "*": name, value, host and path, flags,
// expiry (FILETIME low, high), creation (low, high).
#include "traces/ie/ie_sources.h"

#include "core/common/text.h"
#include "platform/historystore/history_file.h"

namespace kestrova {

QStringList iePlaces(const UserProfile& user, const char* vista, const char* xp) {
    const QString modern = user.local + QStringLiteral("\\Microsoft\\Windows\\") + QLatin1String(vista);
    return {modern, modern.section(QLatin1Char('\\'), 0, -2) + QStringLiteral("\\Low\\") + modern.section(QLatin1Char('\\'), -1),
            user.folder + QLatin1Char('\\') + QLatin1String(xp)};
}

QString webCachePath(const UserProfile& user) { return user.local + QStringLiteral("\\Microsoft\\Windows\\WebCache\\WebCacheV01.dat"); }

namespace {

// Reads a cache index of the volume; false when there is none or it cannot be read at all.
std::optional<CacheIndexRead> readIndex(TraceContext& context, const QString& path) {
    if (!context.exists(path)) return std::nullopt;
    const auto file = context.system().openFile(path, QStringLiteral("cache index"));
    if (!file) return std::nullopt;
    CacheIndexRead read = readCacheIndex(*file);
    if (read.problem) context.note(FindingKind::Damaged, QStringLiteral("cache index ") + path, *read.problem);
    return read;
}

void historyContainer(TraceContext& context, TraceSink& sink, const UserProfile& user, const QString& path,
                      const QString& container, bool main) {
    using namespace iefields::history;
    const auto read = readIndex(context, path);
    if (!read) return;
    const Provenance from = userProvenance(user, path, container);
    const QByteArray containerName = container.toUtf8();
    for (const CacheEntry& entry : read->entries) {
        // "Visited: USER@URL" (and "iedownload:", "res:" locations of the same form).
        const qsizetype colon = entry.location.indexOf(QLatin1Char(':'));
        const qsizetype at = entry.location.indexOf(QLatin1Char('@'));
        const QByteArray url = (at < 0 ? entry.location : entry.location.mid(at + 1)).toUtf8();
        const QByteArray visitor = (at < 0 || colon < 0 || colon > at) ? QByteArray() : entry.location.mid(colon + 1, at - colon - 1).trimmed().toUtf8();
        const auto title = historyTitle(entry.data);
        const QByteArray titleText = title ? title->toUtf8() : QByteArray();
        std::array<Value, Count> v{};
        v[LastVisited] = Value::time(utc::fromFileTime(entry.primary));
        if (main) v[LastUpdated] = Value::time(utc::fromFileTime(entry.secondary));
        v[Expires] = Value::time(entry.expiryTime());
        v[Url] = Value::text(url);
        if (title) v[Title] = Value::text(titleText);
        if (!visitor.isEmpty()) v[VisitedAs] = Value::text(visitor);
        v[Hits] = Value::integer(entry.hits);
        v[Container] = Value::text(containerName);
        if (!context.deliver(sink, from, v)) return;
    }
}

}  // namespace

void ieHistory(TraceContext& context, TraceSink& sink) {
    for (const UserProfile& user : context.users()) {
        for (const QString& base : iePlaces(user, "History\\History.IE5", "Local Settings\\History\\History.IE5")) {
            if (context.stopped()) return;
            if (!context.exists(base)) continue;
            historyContainer(context, sink, user, base + QStringLiteral("\\index.dat"), QStringLiteral("History.IE5"), true);
            for (const QString& name : context.list(base, true)) {
                if (!name.startsWith(QLatin1String("MSHist"), Qt::CaseInsensitive)) continue;
                historyContainer(context, sink, user, base + QLatin1Char('\\') + name + QStringLiteral("\\index.dat"), name, false);
            }
        }
    }
    webCacheRecords(context, sink, WebCacheKind::History);
}

void ieCache(TraceContext& context, TraceSink& sink) {
    using namespace iefields::cache;
    for (const UserProfile& user : context.users()) {
        for (const QString& base : iePlaces(user, "Temporary Internet Files\\Content.IE5",
                                            "Local Settings\\Temporary Internet Files\\Content.IE5")) {
            if (context.stopped()) return;
            const QString path = base + QStringLiteral("\\index.dat");
            const auto read = readIndex(context, path);
            if (!read) continue;
            const Provenance from = userProvenance(user, path, QStringLiteral("Content.IE5"));
            for (const CacheEntry& entry : read->entries) {
                const QByteArray url = entry.location.toUtf8(), file = entry.fileName.toUtf8();
                std::array<Value, Count> v{};
                v[Url] = Value::text(url);
                if (!entry.fileName.isEmpty()) v[FileName] = Value::text(file);
                v[LastModified] = Value::time(utc::fromFileTime(entry.primary));
                v[LastAccessed] = Value::time(utc::fromFileTime(entry.secondary));
                v[Expires] = Value::time(entry.expiryTime());
                v[Hits] = Value::integer(entry.hits);
                if (!context.deliver(sink, from, v)) return;
            }
        }
    }
    webCacheRecords(context, sink, WebCacheKind::Cache);
}

std::vector<IeCookie> parseCookieFile(const QByteArray& bytes) {
    std::vector<IeCookie> cookies;
    QList<QByteArray> lines = bytes.split('\n');
    for (QByteArray& line : lines) {
        if (line.endsWith('\r')) line.chop(1);
    }
    // A record is the eight lines before its "*"; one with fewer is damaged and skipped, so that
    // the next record is read from its own first line.
    for (qsizetype at = 0; at < lines.size();) {
        qsizetype end = at;
        while (end < lines.size() && lines[end] != "*") ++end;
        if (end - at >= 8) {
            IeCookie c;
            c.name = lines[at];
            c.value = lines[at + 1];
            const QByteArray where = lines[at + 2];
            const qsizetype slash = where.indexOf('/');
            c.host = slash < 0 ? where : where.left(slash);
            c.path = slash < 0 ? QByteArray("/") : where.mid(slash);
            c.flags = lines[at + 3].toUInt();
            const auto ft = [&](int low, int high) {
                return (static_cast<uint64_t>(lines[at + high].toUInt()) << 32) | lines[at + low].toUInt();
            };
            c.expires = utc::fromFileTime(ft(4, 5));
            c.created = utc::fromFileTime(ft(6, 7));
            cookies.push_back(std::move(c));
        }
        at = end + 1;
    }
    return cookies;
}

void ieCookies(TraceContext& context, TraceSink& sink) {
    using namespace browserfields::cookies;
    for (const UserProfile& user : context.users()) {
        const QString roaming = user.roaming + QStringLiteral("\\Microsoft\\Windows\\Cookies");
        const QString inet = user.local + QStringLiteral("\\Microsoft\\Windows\\INetCookies");
        for (const QString& folder : {roaming, roaming + QStringLiteral("\\Low"), inet, inet + QStringLiteral("\\Low"),
                                      user.folder + QStringLiteral("\\Cookies")}) {
            for (const QString& name : context.list(folder, false)) {
                if (context.stopped()) return;
                if (!name.endsWith(QLatin1String(".txt"), Qt::CaseInsensitive) && !name.endsWith(QLatin1String(".cookie"), Qt::CaseInsensitive)) continue;
                const QString path = folder + QLatin1Char('\\') + name;
                const auto bytes = context.readSmallFile(path, 1 << 20);
                if (!bytes) continue;
                const Provenance from = userProvenance(user, path, QString());
                for (const IeCookie& c : parseCookieFile(*bytes)) {
                    std::array<Value, Count> v{};
                    v[Host] = Value::text(c.host);
                    v[Name] = Value::text(c.name);
                    v[CookieValue] = Value::text(c.value);
                    v[Path] = Value::text(c.path);
                    v[Created] = Value::time(c.created);
                    v[Expires] = Value::time(c.expires);
                    // INTERNET_COOKIE_IS_SECURE and INTERNET_COOKIE_HTTPONLY.
                    v[Secure] = Value::boolean(c.flags & 0x1);
                    v[HttpOnly] = Value::boolean(c.flags & 0x2000);
                    if (!context.deliver(sink, from, v)) return;
                }
            }
        }
    }
    webCacheRecords(context, sink, WebCacheKind::Cookies);
}

}  // namespace kestrova
