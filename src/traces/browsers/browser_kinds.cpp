// Each browser kind's source: every browser profile of every user, each read by its engine's
// reader. A kind one engine does not keep (Firefox's top sites, logins in Login Data) is read
// from the engines that do.
#include "traces/browsers/browser_sources.h"

namespace kestrova {
namespace {

using ProfileReader = void (*)(TraceContext&, TraceSink&, const BrowserProfile&);

void eachProfile(TraceContext& context, TraceSink& sink, ProfileReader chromium, ProfileReader firefox) {
    const std::vector<BrowserProfile>& profiles = context.browserProfiles();
    if (profiles.empty() && !context.users().empty() && context.readsPart(0)) {
        context.note(FindingKind::Absent, QStringLiteral("browser profiles"),
                     QStringLiteral("no Chromium-family or Firefox profile in any user's application data"));
    }
    for (size_t i = 0; i < profiles.size(); ++i) {
        if (context.stopped()) return;
        if (!context.readsPart(i)) continue;
        const BrowserProfile& profile = profiles[i];
        const ProfileReader read = profile.engine == BrowserEngine::Chromium ? chromium : firefox;
        if (read) read(context, sink, profile);
    }
}

}  // namespace

void browserHistory(TraceContext& c, TraceSink& s) { eachProfile(c, s, chromium::history, firefox::history); }
void browserDownloads(TraceContext& c, TraceSink& s) { eachProfile(c, s, chromium::downloads, firefox::downloads); }
void browserCookies(TraceContext& c, TraceSink& s) { eachProfile(c, s, chromium::cookies, firefox::cookies); }
void browserSearches(TraceContext& c, TraceSink& s) { eachProfile(c, s, chromium::searches, firefox::searches); }
void browserForms(TraceContext& c, TraceSink& s) { eachProfile(c, s, chromium::forms, firefox::forms); }
void browserBookmarks(TraceContext& c, TraceSink& s) { eachProfile(c, s, chromium::bookmarks, firefox::bookmarks); }
void browserLogins(TraceContext& c, TraceSink& s) { eachProfile(c, s, chromium::logins, nullptr); }
void browserTopSites(TraceContext& c, TraceSink& s) { eachProfile(c, s, chromium::topSites, nullptr); }

}  // namespace kestrova
