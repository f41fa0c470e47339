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

}  // namespace kestrova::usagefields
