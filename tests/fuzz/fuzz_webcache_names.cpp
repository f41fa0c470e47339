// The WebCache container and URL mapping: any container name, any Url column ("Visited: u@x",
// "Cookie:u@h/p" and all that is neither). The first byte picks the kind; the rest is split at
// its first NUL into the container's name and the url.
#include <QByteArray>
#include <QString>
#include <cstdint>
#include <cstdlib>

#include "traces/ie/ie_sources.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const auto kind = static_cast<kestrova::WebCacheKind>(data[0] % 3);
    const QByteArray rest(reinterpret_cast<const char*>(data + 1), static_cast<qsizetype>(size - 1));
    const qsizetype nul = rest.indexOf('\0');
    const QString container = QString::fromUtf8(nul < 0 ? rest : rest.left(nul));
    const QString url = QString::fromUtf8(nul < 0 ? QByteArray() : rest.mid(nul + 1));
    (void)kestrova::webCacheHolds(kind, container);
    const kestrova::WebCacheUrl parts = kestrova::splitWebCacheUrl(kind, url);
    // What is taken apart comes from the text: never longer than it.
    if (parts.url.size() > url.size() || parts.user.size() > url.size() || parts.host.size() > url.size()) std::abort();
    if (kind == kestrova::WebCacheKind::Cookies && !parts.path.startsWith(QLatin1Char('/'))) std::abort();
    return 0;
}
