// A Windows 11 Search index (ProgramData\Microsoft\Search\Data\Applications\Windows\Windows.db) of
// made-up items, as Windows lays it out: the properties' names in
// SystemIndex_1_PropertyStore_Metadata (Id, UniqueKey "<n>-<canonical name>"), one row a property
// of an item in SystemIndex_1_PropertyStore (WorkId, ColumnId, Value) WITHOUT ROWID, times as
// 8-byte FILETIME blobs, the owner as a UTF-16 blob (some properties are kept so), texts as text.
// No real Windows.db is shared: the layout follows the field's published notes on it.
#pragma once

#include <QString>

namespace kestrova::tools {

// Writes `items` items (item i: C:\Users\bob\Documents\folder<i/1000>\file<i>.txt, 100 × i bytes,
// created 2024-01-01 + i seconds, modified a minute later, accessed an hour later, indexed a day
// later, owned by DESKTOP\bob); false with the reason.
bool writeSearchIndex(const QString& path, int items, QString* error);

}  // namespace kestrova::tools
