// The `file` kind's fields and source: the file-system times of the evidence files.
#pragma once

#include "traces/trace_context.h"

namespace kestrova {

namespace evidencefields {
// deleted: an entry of the MFT no file uses any more (its times are its $STANDARD_INFORMATION's).
enum Field { Path, What, Created, Modified, Accessed, Changed, Deleted, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"path", FieldType::Path},
    {"evidence", FieldType::Text},
    {"created", FieldType::Time, "File Created"},
    {"modified", FieldType::Time, "File Modified"},
    {"accessed", FieldType::Time, "File Accessed"},
    {"changed", FieldType::Time, "Entry Changed"},
    {"deleted", FieldType::Bool},
};
}  // namespace evidencefields

void evidenceFileTimes(TraceContext& context, TraceSink& sink);

}  // namespace kestrova
