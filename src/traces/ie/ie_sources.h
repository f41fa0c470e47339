// Internet Explorer's kinds: history, content cache and cookies of every user, from the cache
// indexes of IE 5-9 and the cookie text files.
#pragma once

#include "traces/browsers/browser_fields.h"
#include "traces/trace_context.h"

namespace kestrova {

namespace iefields {
namespace history {
enum Field { LastVisited, LastUpdated, Expires, Url, Title, VisitedAs, Hits, Container, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"last_visited", FieldType::Time, "Last Visited"}, {"last_updated", FieldType::Time, "Record Updated"},
    {"expires", FieldType::Time, "Expires"},           {"url", FieldType::Url},
    {"title", FieldType::Text},                        {"visited_as", FieldType::Text},
    {"hits", FieldType::Integer},                      {"container", FieldType::Text},
};
}  // namespace history
namespace cache {
enum Field { Url, FileName, LastModified, LastAccessed, Expires, Hits, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"url", FieldType::Url},  {"file_name", FieldType::Text},
    {"last_modified", FieldType::Time, "Content Modified"}, {"last_accessed", FieldType::Time, "Last Accessed"},
    {"expires", FieldType::Time, "Expires"}, {"hits", FieldType::Integer},
};
}  // namespace cache
}  // namespace iefields

struct IeCookie {
    QByteArray name, value, host, path;
    uint32_t flags = 0;
    std::optional<UtcMicros> expires, created;
};
// The cookies of one cookie text file, in file order.
std::vector<IeCookie> parseCookieFile(const QByteArray& bytes);

// Where a user's Internet Explorer keeps a thing: the Vista and later place (under the local
// application data's Microsoft\Windows), its Low folder (protected mode), and the Windows XP
// place (under the profile folder).
QStringList iePlaces(const UserProfile& user, const char* vista, const char* xp);
// The user's WebCacheV01.dat (Internet Explorer 10/11, legacy Edge).
QString webCachePath(const UserProfile& user);

// The IE 10/11 and legacy Edge records of every user's WebCacheV01.dat of that kind, as the
// ie.history, ie.cache and ie.cookies records of the index.dat containers and cookie files.
enum class WebCacheKind { History, Cache, Cookies };
void webCacheRecords(TraceContext& context, TraceSink& sink, WebCacheKind kind);

// Whether a WebCache container (the Containers table's Name) holds records of that kind:
// "History" and the "MSHist01..." ones are history, "Content" the cache, "Cookies" cookies.
bool webCacheHolds(WebCacheKind kind, const QString& container);
// A container record's Url column taken apart: "Visited: user@url" (history), "Cookie:user@host/path"
// (cookies); a text of neither shape is the url itself.
struct WebCacheUrl {
    QString user, url, host, path;
};
WebCacheUrl splitWebCacheUrl(WebCacheKind kind, const QString& text);

void ieHistory(TraceContext& context, TraceSink& sink);
void ieCache(TraceContext& context, TraceSink& sink);
void ieCookies(TraceContext& context, TraceSink& sink);

}  // namespace kestrova
