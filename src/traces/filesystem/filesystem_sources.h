// Trace kinds of the file system's own records (the NTFS change journal).
#pragma once

#include "traces/trace_context.h"
#include "traces/trace_kind.h"

namespace kestrova {

namespace journalfields {
// path: the file's path as far as the journal's own folder records name its parents by then (the
// root is C:); old_name: a rename's name before (its RENAME_OLD_NAME record, joined to the new).
enum Field { Time, Usn, Name, Path, Reasons, OldName, Attributes, FileReference, ParentReference, Version, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"time", FieldType::Time, "Journal Entry"}, {"usn", FieldType::Integer},   {"name", FieldType::Text},
    {"path", FieldType::Path},                  {"reasons", FieldType::Text},  {"old_name", FieldType::Text},
    {"attributes", FieldType::Text},            {"file_reference", FieldType::Text},
    {"parent_reference", FieldType::Text},      {"version", FieldType::Integer},
};
}  // namespace journalfields

void fileJournal(TraceContext& context, TraceSink& sink);

}  // namespace kestrova
