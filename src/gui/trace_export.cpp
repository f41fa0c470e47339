#include "gui/trace_export.h"

#include <QFile>
#include <QSaveFile>
#include <optional>
#include <xlsxwriter.h>

namespace kestrova {
namespace {

void appendCsvCell(QByteArray& line, const QString& text) {
    const QByteArray bytes = text.toUtf8();
    if (bytes.contains(',') || bytes.contains('"') || bytes.contains('\n') || bytes.contains('\r')) {
        line += '"';
        line += QByteArray(bytes).replace("\"", "\"\"");
        line += '"';
    } else {
        line += bytes;
    }
}

void appendJsonString(QByteArray& out, const QString& text) {
    out += '"';
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (u == '"') out += "\\\"";
        else if (u == '\\') out += "\\\\";
        else if (u < 0x20) out += QByteArray("\\u00") + QByteArray::number(u, 16).rightJustified(2, '0');
        else out += QString(c).toUtf8();
    }
    out += '"';
}

// One event of the timeline as named cells, in the export's order.
struct Cell {
    const char* name;
    QString text;
    bool number = false;
    std::optional<int64_t> time{};  // a time's UtcMicros, for a spreadsheet's date cell
};

// The cell format of times in a workbook: a date a spreadsheet sorts, filters and computes with,
// to the millisecond (its finest), in the zone the window shows times in.
lxw_format* timeFormat(lxw_workbook* book) {
    lxw_format* format = workbook_add_format(book);
    format_set_num_format(format, "yyyy-mm-dd hh:mm:ss.000");
    return format;
}

// A time as a date cell; one a spreadsheet cannot hold (before 1900, after 9999) as its text.
void writeTime(lxw_worksheet* sheet, lxw_row_t row, lxw_col_t col, int64_t utc, const IsoTimeWriter& times, lxw_format* format) {
    const int64_t local = utc + int64_t{times.offsetAt(utc)} * 1000000;
    constexpr int64_t kDay = int64_t{86400} * 1000000;
    const int64_t days = local >= 0 ? local / kDay : -((-local + kDay - 1) / kDay);
    const int64_t within = local - days * kDay;
    const CivilDate date = civilFromDays(days);
    if (date.year < 1900 || date.year > 9999) {
        worksheet_write_string(sheet, row, col, times.text(utc).toUtf8().constData(), nullptr);
        return;
    }
    lxw_datetime when{static_cast<int>(date.year), static_cast<int>(date.month), static_cast<int>(date.day),
                      static_cast<int>(within / 3600000000), static_cast<int>(within / 60000000 % 60),
                      static_cast<double>(within % 60000000) / 1e6};
    worksheet_write_datetime(sheet, row, col, &when, format);
}

std::vector<Cell> timelineCells(const TimelineModel& timeline, const QString& hostname, uint32_t index, bool fieldsApart) {
    const TimelineStore& store = *timeline.store();
    const TimelineStore::Event& e = store.event(index);
    Provenance from;
    std::vector<Value> values;
    store.decode(e, from, values);
    const TraceKind& kind = store.kindOf(e);
    std::vector<Cell> cells{{"datetime", timeline.times().text(e.time), false, e.time},
                            {"timestamp", QString::number(e.time), true},
                            {"timestamp_desc", QString::fromLatin1(store.meaning(e))},
                            {"message", QString::fromStdString(store.message(e))},
                            {"kind", QLatin1String(kind.name)},
                            {"user", QString::fromUtf8(from.user)},
                            {"browser", QString::fromUtf8(from.browser)},
                            {"profile", QString::fromUtf8(from.profile)},
                            {"hostname", from.host.isEmpty() ? hostname : QString::fromUtf8(from.host)},
                            {"source", QString::fromUtf8(from.source)},
                            {"source_part", QString::fromUtf8(from.part)}};
    QStringList pairs;
    for (size_t f = 0; f < kind.fields.size(); ++f) {
        const Value& v = values[f];
        if (v.absent()) continue;
        Cell cell{kind.fields[f].name, QString()};
        if (v.is == Value::Is::Text && kind.fields[f].type == FieldType::Fields) {
            cell.text = QString::fromStdString(namedValuesLine(v.utf8));
        } else if (v.is == Value::Is::Text) {
            cell.text = QString::fromUtf8(v.utf8.data(), static_cast<qsizetype>(v.utf8.size()));
        } else if (kind.fields[f].type == FieldType::Time) {
            cell.text = timeline.times().text(v.number);
            cell.time = v.number;
        } else if (kind.fields[f].type == FieldType::Bool) {
            cell.text = v.number ? QStringLiteral("true") : QStringLiteral("false");
            cell.number = true;
        } else {
            cell.text = QString::number(v.number);
            cell.number = true;
        }
        if (fieldsApart) cells.push_back(cell);
        else pairs << QLatin1String(cell.name) + QLatin1Char('=') + cell.text;
    }
    if (!fieldsApart) cells.push_back({"fields", pairs.join(QStringLiteral("; "))});
    return cells;
}

// The table's row shown at a view row.
int recordAt(const QAbstractProxyModel& shown, int row) { return shown.mapToSource(shown.index(row, 0)).row(); }

}  // namespace

std::optional<QString> exportCsv(const QAbstractProxyModel& shown, const TraceTableModel& table, const QString& path) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) return file.errorString();
    const int columns = table.columnCount();
    QByteArray line;
    for (int c = 0; c < columns; ++c) {
        if (c) line += ',';
        line += table.columns()[static_cast<size_t>(c)].name;
    }
    line += "\r\n";
    file.write(line);
    for (int r = 0; r < shown.rowCount(); ++r) {
        const int record = recordAt(shown, r);
        line.clear();
        for (int c = 0; c < columns; ++c) {
            if (c) line += ',';
            appendCsvCell(line, table.data(table.index(record, c), Qt::DisplayRole).toString());
        }
        line += "\r\n";
        if (file.write(line) != line.size()) return file.errorString();
    }
    if (!file.commit()) return file.errorString();
    return std::nullopt;
}

std::optional<QString> exportXlsx(const QAbstractProxyModel& shown, const TraceTableModel& table, const QString& path) {
    // A worksheet holds 1,048,576 rows, the header one of them.
    constexpr int kMaxRows = 1'048'575;
    if (shown.rowCount() > kMaxRows) {
        return QStringLiteral("%1 rows are more than a worksheet holds (%2); filter the table or export CSV").arg(shown.rowCount()).arg(kMaxRows);
    }
    const QByteArray name = QFile::encodeName(path);
    lxw_workbook_options options{};
    options.constant_memory = LXW_TRUE;  // rows go to disk as they are written
    lxw_workbook* book = workbook_new_opt(name.constData(), &options);
    if (!book) return QStringLiteral("the workbook cannot be created");
    const QByteArray sheetName = QByteArray(table.kind() ? table.kind()->name : "traces").left(31);
    lxw_worksheet* sheet = workbook_add_worksheet(book, sheetName.constData());
    lxw_format* dates = timeFormat(book);
    const int columns = table.columnCount();
    for (int c = 0; c < columns; ++c) worksheet_write_string(sheet, 0, static_cast<lxw_col_t>(c), table.columns()[static_cast<size_t>(c)].name, nullptr);
    for (int r = 0; r < shown.rowCount(); ++r) {
        const int record = recordAt(shown, r);
        const auto row = static_cast<lxw_row_t>(r + 1);
        for (int c = 0; c < columns; ++c) {
            if (!table.present(record, c)) continue;
            const auto col = static_cast<lxw_col_t>(c);
            const FieldType type = table.columns()[static_cast<size_t>(c)].type;
            const qint64 n = table.number(record, c);
            // Integers a double holds exactly are numbers; larger ones stay text.
            if (type == FieldType::Integer && n > -(qint64{1} << 53) && n < (qint64{1} << 53)) {
                worksheet_write_number(sheet, row, col, static_cast<double>(n), nullptr);
            } else if (type == FieldType::Time && n != TraceTableModel::kAbsent) {
                writeTime(sheet, row, col, n, table.times(), dates);
            } else {
                // A cell holds at most 32,767 characters.
                const QByteArray text = table.data(table.index(record, c), Qt::DisplayRole).toString().left(32767).toUtf8();
                worksheet_write_string(sheet, row, col, text.constData(), nullptr);
            }
        }
    }
    const lxw_error error = workbook_close(book);
    if (error != LXW_NO_ERROR) return QString::fromUtf8(lxw_strerror(error));
    return std::nullopt;
}

std::optional<QString> exportTimeline(const TimelineModel& timeline, const QString& hostname, const QString& path) {
    if (!timeline.store()) return QStringLiteral("no timeline is shown");
    const std::vector<uint32_t>& shown = timeline.shown();
    if (path.endsWith(QLatin1String(".xlsx"), Qt::CaseInsensitive)) {
        constexpr size_t kMaxRows = 1'048'575;
        if (shown.size() > kMaxRows) {
            return QStringLiteral("%1 events are more than a worksheet holds (%2); filter the timeline or export CSV").arg(shown.size()).arg(kMaxRows);
        }
        lxw_workbook_options options{};
        options.constant_memory = LXW_TRUE;
        lxw_workbook* book = workbook_new_opt(QFile::encodeName(path).constData(), &options);
        if (!book) return QStringLiteral("the workbook cannot be created");
        lxw_worksheet* sheet = workbook_add_worksheet(book, "timeline");
        lxw_format* dates = timeFormat(book);
        for (size_t r = 0; r < shown.size(); ++r) {
            const std::vector<Cell> cells = timelineCells(timeline, hostname, shown[r], false);
            if (r == 0) {
                for (size_t c = 0; c < cells.size(); ++c) worksheet_write_string(sheet, 0, static_cast<lxw_col_t>(c), cells[c].name, nullptr);
            }
            for (size_t c = 0; c < cells.size(); ++c) {
                const auto row = static_cast<lxw_row_t>(r + 1);
                const auto col = static_cast<lxw_col_t>(c);
                if (c == 1) worksheet_write_number(sheet, row, col, cells[c].text.toDouble(), nullptr);
                else if (cells[c].time) writeTime(sheet, row, col, *cells[c].time, timeline.times(), dates);
                else worksheet_write_string(sheet, row, col, cells[c].text.left(32767).toUtf8().constData(), nullptr);
            }
        }
        const lxw_error error = workbook_close(book);
        if (error != LXW_NO_ERROR) return QString::fromUtf8(lxw_strerror(error));
        return std::nullopt;
    }
    const bool jsonl = path.endsWith(QLatin1String(".jsonl"), Qt::CaseInsensitive);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) return file.errorString();
    QByteArray line;
    if (!jsonl) {
        file.write("datetime,timestamp,timestamp_desc,message,kind,user,browser,profile,hostname,source,source_part,fields\r\n");
    }
    for (const uint32_t index : shown) {
        line.clear();
        const std::vector<Cell> cells = timelineCells(timeline, hostname, index, jsonl);
        if (jsonl) {
            line += '{';
            bool first = true;
            for (const Cell& cell : cells) {
                if (cell.text.isEmpty() && QLatin1String(cell.name) != QLatin1String("message")) continue;
                if (!first) line += ',';
                first = false;
                line += '"';
                line += cell.name;
                line += "\":";
                if (cell.number) line += cell.text.toUtf8();
                else appendJsonString(line, cell.text);
            }
            line += "}\n";
        } else {
            for (size_t c = 0; c < cells.size(); ++c) {
                if (c) line += ',';
                appendCsvCell(line, cells[c].text);
            }
            line += "\r\n";
        }
        if (file.write(line) != line.size()) return file.errorString();
    }
    if (!file.commit()) return file.errorString();
    return std::nullopt;
}

}  // namespace kestrova
