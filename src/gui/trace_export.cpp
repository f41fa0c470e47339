#include "gui/trace_export.h"

#include <QFile>
#include <QSaveFile>
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

}  // namespace kestrova
