// The fields of the kinds of what Windows itself counts of its use: the Program Compatibility
// Assistant's logs, SRUM, the Windows Timeline and the Search index.
#pragma once

#include "traces/trace_kind.h"

namespace kestrova::usagefields {

namespace pca {
// event: "launched" (PcaAppLaunchDic.txt: the last launch of each program) or the general log's
// entry type ("type 2"); message: the general log's text ("Abnormal process exit with code 0x1").
enum Field { Time, Path, Event, Product, Publisher, Version, ProgramId, Message, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"time", FieldType::Time, "Recorded by PCA"}, {"path", FieldType::Path},      {"event", FieldType::Text},
    {"product", FieldType::Text},                 {"publisher", FieldType::Text}, {"version", FieldType::Text},
    {"program_id", FieldType::Text},              {"message", FieldType::Text},
};
}  // namespace pca

namespace activities {
// app: the application the AppId's JSON names first; display_text, description, app_name,
// content: the Payload's displayText, description, appDisplayName and contentUri (a document's
// path or a page's address); active_seconds: the Payload's time in focus (type 6 records);
// activity_type: the number and its meaning ("5 app or document opened"); clipboard: whether a
// clipboard payload is kept; table: Activity, or ActivityOperation for those not yet uploaded.
enum Field { Start, End, LastModified, Expiration, App, DisplayText, Description, AppName, Content, ActiveSeconds, ActivityType,
             Status, Platform, Device, Clipboard, Id, Table, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"start", FieldType::Time, "Activity Started"},
    {"end", FieldType::Time, "Activity Ended"},
    {"last_modified", FieldType::Time, "Activity Modified"},
    {"expiration", FieldType::Time, "Activity Expires"},
    {"app", FieldType::Text},
    {"display_text", FieldType::Text},
    {"description", FieldType::Text},
    {"app_name", FieldType::Text},
    {"content", FieldType::Url},
    {"active_seconds", FieldType::Integer},
    {"activity_type", FieldType::Text},
    {"status", FieldType::Integer},
    {"platform", FieldType::Text},
    {"device", FieldType::Text},
    {"clipboard", FieldType::Bool},
    {"id", FieldType::Text},
    {"table", FieldType::Text},
};
}  // namespace activities

}  // namespace kestrova::usagefields
