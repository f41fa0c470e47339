// File > Export of a trace table or of the timeline: the rows as shown (filtered, in the view's order), every column,
// as CSV (RFC 4180, UTF-8, one header row) or as an XLSX workbook (libxlsxwriter): integers as
// numbers, times as their ISO 8601 texts (a spreadsheet's own date cells would drop the
// microseconds and the offset), everything else as text.
#pragma once

#include <QAbstractItemModel>
#include <QString>
#include <optional>

#include "gui/timeline_model.h"
#include "gui/trace_table_model.h"

namespace kestrova {

// The proxy's rows over the table's records. nullopt when written, else why not.
std::optional<QString> exportCsv(const QAbstractProxyModel& shown, const TraceTableModel& table, const QString& path);
std::optional<QString> exportXlsx(const QAbstractProxyModel& shown, const TraceTableModel& table, const QString& path);

// The timeline's events as shown, with the command line's timeline columns (datetime,
// timestamp, timestamp_desc, message, kind, user, browser, profile, hostname, source,
// source_part): as JSONL with the record's fields after them, or as CSV or XLSX with the
// record's fields as name=value pairs in a last column "fields". The format follows the name.
std::optional<QString> exportTimeline(const TimelineModel& timeline, const QString& hostname, const QString& path);

}  // namespace kestrova
