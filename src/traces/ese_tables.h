// Tables of ESE databases (WebCacheV01.dat, SRUDB.dat) read through libesedb, in a contained
// child: a table by name, its records one after another with every record libesedb cannot give
// counted and said, a record's values by column name.
#pragma once

#include <QByteArray>
#include <QString>
#include <cmath>
#include <cstring>
#include <libesedb.h>
#include <map>
#include <memory>
#include <optional>

#include "core/time/iso_time.h"
#include "traces/libyal.h"
#include "traces/trace_context.h"

namespace kestrova {

using Table = LibyalHandle<libesedb_table_t, libesedb_error_t, libesedb_table_free>;
using Record = LibyalHandle<libesedb_record_t, libesedb_error_t, libesedb_record_free>;

// A record's columns by name (the same for every record of a table).
class EseRow {
public:
    explicit EseRow(libesedb_record_t* record) : record_(record) {}
    // The value's bytes as stored (a binary column, a SID); empty where there are none.
    QByteArray bytes(int entry) const {
        size_t size = 0;
        if (entry >= 0 && libesedb_record_is_long_value(record_, entry, nullptr) == 1) {
            libesedb_long_value_t* raw = nullptr;
            if (libesedb_record_get_long_value(record_, entry, &raw, nullptr) != 1) return {};
            const std::unique_ptr<libesedb_long_value_t, void (*)(libesedb_long_value_t*)> value(
                raw, [](libesedb_long_value_t* v) { libesedb_long_value_free(&v, nullptr); });
            if (libesedb_long_value_get_data_size(raw, &size, nullptr) != 1 || size == 0 || size > (16u << 20)) return {};
            QByteArray data(static_cast<qsizetype>(size), '\0');
            if (libesedb_long_value_get_data(raw, reinterpret_cast<uint8_t*>(data.data()), size, nullptr) != 1) return {};
            return data;
        }
        if (entry < 0 || libesedb_record_get_value_data_size(record_, entry, &size, nullptr) != 1 || size == 0 || size > (16u << 20)) return {};
        QByteArray data(static_cast<qsizetype>(size), '\0');
        if (libesedb_record_get_value_data(record_, entry, reinterpret_cast<uint8_t*>(data.data()), size, nullptr) != 1) return {};
        return data;
    }
    // A date-and-time column (an OLE Automation date: days since 1899-12-30 as a double) in UTC.
    std::optional<UtcMicros> oleDate(int entry) const {
        const QByteArray data = bytes(entry);
        if (data.size() != 8) return std::nullopt;
        double days = 0;
        std::memcpy(&days, data.constData(), 8);
        constexpr double kUnixDay = 25569.0;  // 1970-01-01
        if (!(days > 0 && days < 2958466.0)) return std::nullopt;  // NaN, zero, or past 9999
        return static_cast<UtcMicros>(std::llround((days - kUnixDay) * 86400.0 * 1e6));
    }
    static std::map<QString, int> columnsOf(libesedb_record_t* record) {
        std::map<QString, int> columns;
        int count = 0;
        libesedb_record_get_number_of_values(record, &count, nullptr);
        for (int i = 0; i < count && i < 1024; ++i) {
            size_t size = 0;
            if (libesedb_record_get_utf8_column_name_size(record, i, &size, nullptr) != 1 || size == 0 || size > 256) continue;
            QByteArray name(static_cast<qsizetype>(size), '\0');
            if (libesedb_record_get_utf8_column_name(record, i, reinterpret_cast<uint8_t*>(name.data()), size, nullptr) == 1) {
                columns[QString::fromUtf8(name.constData())] = i;
            }
        }
        return columns;
    }
    std::optional<int64_t> integer(int entry) const {
        if (entry < 0) return std::nullopt;
        uint64_t v64 = 0;
        if (libesedb_record_get_value_64bit(record_, entry, &v64, nullptr) == 1) return static_cast<int64_t>(v64);
        uint32_t v32 = 0;
        if (libesedb_record_get_value_32bit(record_, entry, &v32, nullptr) == 1) return v32;
        uint16_t v16 = 0;
        if (libesedb_record_get_value_16bit(record_, entry, &v16, nullptr) == 1) return v16;
        uint8_t v8 = 0;
        if (libesedb_record_get_value_8bit(record_, entry, &v8, nullptr) == 1) return v8;
        return std::nullopt;
    }
    QString text(int entry) const {
        if (entry < 0) return QString();
        size_t size = 0;
        if (libesedb_record_is_long_value(record_, entry, nullptr) == 1) {
            libesedb_long_value_t* raw = nullptr;
            if (libesedb_record_get_long_value(record_, entry, &raw, nullptr) != 1) return QString();
            const std::unique_ptr<libesedb_long_value_t, void (*)(libesedb_long_value_t*)> value(
                raw, [](libesedb_long_value_t* v) { libesedb_long_value_free(&v, nullptr); });
            if (libesedb_long_value_get_utf8_string_size(raw, &size, nullptr) != 1 || size == 0 || size > (16u << 20)) return QString();
            QByteArray text(static_cast<qsizetype>(size), '\0');
            if (libesedb_long_value_get_utf8_string(raw, reinterpret_cast<uint8_t*>(text.data()), size, nullptr) != 1) return QString();
            return QString::fromUtf8(text.constData());
        }
        if (libesedb_record_get_value_utf8_string_size(record_, entry, &size, nullptr) != 1 || size == 0 || size > (16u << 20)) return QString();
        QByteArray text(static_cast<qsizetype>(size), '\0');
        if (libesedb_record_get_value_utf8_string(record_, entry, reinterpret_cast<uint8_t*>(text.data()), size, nullptr) != 1) return QString();
        return QString::fromUtf8(text.constData());
    }

private:
    libesedb_record_t* record_;
};

inline int column(const std::map<QString, int>& columns, const char* name) {
    const auto it = columns.find(QLatin1String(name));
    return it == columns.end() ? -1 : it->second;
}

inline QString esedbError(libesedb_error_t** error) {
    const QString text = libyalError(error, libesedb_error_sprint, libesedb_error_free);
    return text.isEmpty() ? QStringLiteral("libesedb gives no reason") : text;
}

// The table of that name; nullptr with *why "" when there is none, with the library's words when
// the catalog or the table could not be read.
inline Table tableNamed(libesedb_file_t* file, const QByteArray& name, QString* why) {
    libesedb_table_t* raw = nullptr;
    libesedb_error_t* error = nullptr;
    const int found = libesedb_file_get_table_by_utf8_name(file, reinterpret_cast<const uint8_t*>(name.constData()),
                                                           static_cast<size_t>(name.size()), &raw, &error);
    *why = found == -1 ? esedbError(&error) : QString();
    if (found != 1) {
        if (error) libesedb_error_free(&error);
        return nullptr;
    }
    return Table(raw);
}

// Calls each(row, columns) for every record of a table, the columns named from its first record.
// A table whose records cannot be counted, and every record libesedb cannot give, is noted on
// `what`: a damaged page loses its records with a word, never silently.
template <typename Each>
void forEachRecord(TraceContext& context, const QString& what, libesedb_table_t* table, Each each) {
    int count = 0;
    libesedb_error_t* error = nullptr;
    if (libesedb_table_get_number_of_records(table, &count, &error) != 1) {
        context.note(FindingKind::Damaged, what, QStringLiteral("its records cannot be counted (%1)").arg(esedbError(&error)));
        return;
    }
    std::map<QString, int> columns;
    int lost = 0;
    QString firstLoss;
    for (int i = 0; i < count; ++i) {
        libesedb_record_t* raw = nullptr;
        if (libesedb_table_get_record(table, i, &raw, &error) != 1) {
            const QString why = esedbError(&error);
            if (lost++ == 0) firstLoss = QStringLiteral("record %1: %2").arg(i).arg(why);
            continue;
        }
        const Record record(raw);
        if (columns.empty()) columns = EseRow::columnsOf(raw);
        if (!each(EseRow(raw), columns)) break;
    }
    if (lost > 0) {
        context.note(FindingKind::Damaged, what, QStringLiteral("%1 of its %2 records cannot be read (%3)").arg(lost).arg(count).arg(firstLoss));
    }
}

}  // namespace kestrova
