// The `file` kind's fields and source: the file-system times of the evidence files.
#pragma once

#include "traces/trace_context.h"

namespace kestrova {

namespace evidencefields {
enum Field { Path, What, Created, Modified, Accessed, Changed, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"path", FieldType::Path},
    {"evidence", FieldType::Text},
    {"created", FieldType::Time, "File Created"},
    {"modified", FieldType::Time, "File Modified"},
    {"accessed", FieldType::Time, "File Accessed"},
    {"changed", FieldType::Time, "Entry Changed"},
};
}  // namespace evidencefields

void evidenceFileTimes(TraceContext& context, TraceSink& sink);

}  // namespace kestrova
