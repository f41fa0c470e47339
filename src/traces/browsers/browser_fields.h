// The fields of the browser kinds: for each kind, the field names and types in record order and an
// enum that names the positions, so that a source fills a record by name (values[Url]) and the
// table (trace_kinds.cpp) declares the very same list. Every browser writes the same record for
// a kind; what its schema lacks stays absent.
#pragma once

#include <array>

#include "traces/trace_kind.h"

namespace kestrova::browserfields {

namespace history {
enum Field { VisitTime, Url, Title, VisitType, Transition, DurationUs, FromVisit, VisitId, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"visit_time", FieldType::Time, "Visit Time"}, {"url", FieldType::Url},          {"title", FieldType::Text},
    {"visit_type", FieldType::Text},               {"transition", FieldType::Integer}, {"duration_us", FieldType::Integer},
    {"from_visit", FieldType::Integer},            {"visit_id", FieldType::Integer},
};
}  // namespace history

namespace downloads {
enum Field { StartTime, EndTime, Url, TargetPath, ReceivedBytes, TotalBytes, State, DangerType, Referrer, MimeType, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"start_time", FieldType::Time, "Download Started"}, {"end_time", FieldType::Time, "Download Ended"},
    {"url", FieldType::Url},                             {"target_path", FieldType::Path},
    {"received_bytes", FieldType::Integer},              {"total_bytes", FieldType::Integer},
    {"state", FieldType::Text},                          {"danger_type", FieldType::Text},
    {"referrer", FieldType::Url},                        {"mime_type", FieldType::Text},
};
}  // namespace downloads

namespace cookies {
enum Field { Host, Name, CookieValue, Path, Created, Expires, LastAccess, Secure, HttpOnly, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"domain", FieldType::Text}, {"name", FieldType::Text},
    {"value", FieldType::Text},  {"path", FieldType::Text},
    {"created", FieldType::Time, "Cookie Created"}, {"expires", FieldType::Time, "Cookie Expires"},
    {"last_access", FieldType::Time, "Cookie Last Accessed"}, {"secure", FieldType::Bool},
    {"httponly", FieldType::Bool},
};
}  // namespace cookies

namespace searches {
enum Field { Term, Url, UseCount, LastVisitTime, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"term", FieldType::Text}, {"url", FieldType::Url}, {"use_count", FieldType::Integer},
    {"last_visit_time", FieldType::Time, "Search Page Last Visited"},
};
}  // namespace searches

namespace forms {
enum Field { FieldName, FormValue, TimesUsed, FirstUsed, LastUsed, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"field", FieldType::Text}, {"value", FieldType::Text}, {"times_used", FieldType::Integer},
    {"first_used", FieldType::Time, "Form Value First Used"}, {"last_used", FieldType::Time, "Form Value Last Used"},
};
}  // namespace forms

namespace bookmarks {
enum Field { Title, Url, Folder, Added, Modified, LastUsed, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"title", FieldType::Text}, {"url", FieldType::Url}, {"folder", FieldType::Text},
    {"added", FieldType::Time, "Bookmark Added"}, {"modified", FieldType::Time, "Bookmark Modified"},
    {"last_used", FieldType::Time, "Bookmark Last Used"},
};
}  // namespace bookmarks

namespace logins {
enum Field { Origin, Action, SignonRealm, UserName, Created, LastUsed, PasswordChanged, TimesUsed, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"origin", FieldType::Url},      {"action", FieldType::Url},
    {"signon_realm", FieldType::Text}, {"user_name", FieldType::Text},
    {"created", FieldType::Time, "Login Saved"}, {"last_used", FieldType::Time, "Login Last Used"},
    {"password_changed", FieldType::Time, "Password Changed"}, {"times_used", FieldType::Integer},
};
}  // namespace logins

namespace topsites {
enum Field { Rank, Url, Title, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"rank", FieldType::Integer}, {"url", FieldType::Url}, {"title", FieldType::Text},
};
}  // namespace topsites

// One record's values, by the kind's field enum.
template <int N>
using Values = std::array<Value, N>;

}  // namespace kestrova::browserfields
