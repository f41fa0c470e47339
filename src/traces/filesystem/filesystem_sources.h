// Trace kinds of the file system's own records: the MFT, the NTFS change journal.
#pragma once

#include "traces/trace_context.h"
#include "traces/trace_kind.h"

namespace kestrova {

namespace journalfields {
// path: the file's path, its parents named as the journal's own folder records name them by then,
// else as the MFT names them (the root is C:); old_name: a rename's name before (its RENAME_OLD_NAME record, joined to the new).
enum Field { Time, Usn, Name, Path, Reasons, OldName, Attributes, FileReference, ParentReference, Version, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"time", FieldType::Time, "Journal Entry"}, {"usn", FieldType::Integer},   {"name", FieldType::Text},
    {"path", FieldType::Path},                  {"reasons", FieldType::Text},  {"old_name", FieldType::Text},
    {"attributes", FieldType::Text},            {"file_reference", FieldType::Text},
    {"parent_reference", FieldType::Text},      {"version", FieldType::Integer},
};
}  // namespace journalfields

namespace mftfields {
// path: rebuilt through the $FILE_NAME parent references ($OrphanFiles\name where a parent is
// lost); names: every $FILE_NAME's name where an entry has more than its Win32 one; fn_*: the
// times of the $FILE_NAME the path is made of; si_before_fn: $STANDARD_INFORMATION's creation
// time earlier than $FILE_NAME's, or without the fraction $FILE_NAME's has (a hint of time
// stomping); data_streams: how many $DATA attributes it has (named ones are alternate streams).
enum Field { Entry, Sequence, Path, InUse, Folder, Size, SiCreated, SiModified, SiAccessed, SiChanged, FnCreated, FnModified,
             FnAccessed, FnChanged, Attributes, DataStreams, Names, SiBeforeFn, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"entry", FieldType::Integer},
    {"sequence", FieldType::Integer},
    {"path", FieldType::Path},
    {"in_use", FieldType::Bool},
    {"folder", FieldType::Bool},
    {"size", FieldType::Integer},
    {"si_created", FieldType::Time, "Created ($STANDARD_INFORMATION)"},
    {"si_modified", FieldType::Time, "Modified ($STANDARD_INFORMATION)"},
    {"si_accessed", FieldType::Time, "Accessed ($STANDARD_INFORMATION)"},
    {"si_changed", FieldType::Time, "Entry Changed ($STANDARD_INFORMATION)"},
    {"fn_created", FieldType::Time, "Created ($FILE_NAME)"},
    {"fn_modified", FieldType::Time, "Modified ($FILE_NAME)"},
    {"fn_accessed", FieldType::Time, "Accessed ($FILE_NAME)"},
    {"fn_changed", FieldType::Time, "Entry Changed ($FILE_NAME)"},
    {"attributes", FieldType::Text},
    {"data_streams", FieldType::Integer},
    {"names", FieldType::Text},
    {"si_before_fn", FieldType::Bool},
};
}  // namespace mftfields

void fileJournal(TraceContext& context, TraceSink& sink);
void fileMft(TraceContext& context, TraceSink& sink);
// The MFT's deleted entries as records of the `file` kind.
void fileDeletedEntries(TraceContext& context, TraceSink& sink);

}  // namespace kestrova
