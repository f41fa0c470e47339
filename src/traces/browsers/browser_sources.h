// The browser kinds' sources. A kind's source walks every browser profile of every user and reads
// each one with its engine's reader; the readers below read one profile.
#pragma once

#include "traces/browsers/browser_fields.h"
#include "traces/trace_context.h"

namespace kestrova {

namespace chromium {
void history(TraceContext& context, TraceSink& sink, const BrowserProfile& profile);
void downloads(TraceContext& context, TraceSink& sink, const BrowserProfile& profile);
void cookies(TraceContext& context, TraceSink& sink, const BrowserProfile& profile);
void searches(TraceContext& context, TraceSink& sink, const BrowserProfile& profile);
void forms(TraceContext& context, TraceSink& sink, const BrowserProfile& profile);
void bookmarks(TraceContext& context, TraceSink& sink, const BrowserProfile& profile);
void logins(TraceContext& context, TraceSink& sink, const BrowserProfile& profile);
void topSites(TraceContext& context, TraceSink& sink, const BrowserProfile& profile);

// The name of a page transition's core type (the low byte): "link", "typed", ...
const char* transitionName(int64_t transition);
// A time Chromium stored in a column whose unit changed over the years: Unix seconds in early
// schemas (download start times, login creation), WebKit microseconds later. The two ranges do
// not meet: 10^12 seconds is 30,000 years away, any WebKit time after 1601 is above it.
std::optional<UtcMicros> secondsOrWebKit(int64_t value);
}  // namespace chromium

namespace firefox {
void history(TraceContext& context, TraceSink& sink, const BrowserProfile& profile);
void downloads(TraceContext& context, TraceSink& sink, const BrowserProfile& profile);
void cookies(TraceContext& context, TraceSink& sink, const BrowserProfile& profile);
void searches(TraceContext& context, TraceSink& sink, const BrowserProfile& profile);
void forms(TraceContext& context, TraceSink& sink, const BrowserProfile& profile);
void bookmarks(TraceContext& context, TraceSink& sink, const BrowserProfile& profile);

// A file:/// URI as the Windows path it names ("file:///C:/Users/a%20b/x.exe" is
// "C:\Users\a b\x.exe"); any other text unchanged.
QByteArray pathOfFileUri(std::string_view uri);
}  // namespace firefox

void browserHistory(TraceContext& context, TraceSink& sink);
void browserDownloads(TraceContext& context, TraceSink& sink);
void browserCookies(TraceContext& context, TraceSink& sink);
void browserSearches(TraceContext& context, TraceSink& sink);
void browserForms(TraceContext& context, TraceSink& sink);
void browserBookmarks(TraceContext& context, TraceSink& sink);
void browserLogins(TraceContext& context, TraceSink& sink);
void browserTopSites(TraceContext& context, TraceSink& sink);

}  // namespace kestrova
