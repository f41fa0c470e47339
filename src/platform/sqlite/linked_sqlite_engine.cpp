#include "platform/sqlite/linked_sqlite_engine.h"

#include <QFile>
#include <QFileDevice>
#include <sqlite3.h>

#include "core/common/text.h"
#include "platform/sqlite/evidence_database.h"

namespace kestrova {
namespace {

sqlite3* asDb(SqlHandle h) { return reinterpret_cast<sqlite3*>(h); }
sqlite3_stmt* asStatement(SqlHandle h) { return reinterpret_cast<sqlite3_stmt*>(h); }

}  // namespace

LinkedSqliteEngine::~LinkedSqliteEngine() {
    while (!opened_.empty()) close(opened_.begin()->first);
}

QString LinkedSqliteEngine::errorMessage(SqlHandle db) { return QString::fromUtf8(sqlite3_errmsg(asDb(db))); }

int LinkedSqliteEngine::initialize() { return sqlite3_initialize(); }

int LinkedSqliteEngine::shutdown() {
    // The library stays usable for the next category: it is shut down only when nothing is open.
    return opened_.empty() ? sqlite3_shutdown() : SQLITE_OK;
}

int LinkedSqliteEngine::open(const QByteArray& name, SqlHandle* db) {
    const QString path = QString::fromUtf8(name).section(QChar(0), 0, 0);
    sqlite3* handle = nullptr;
    DatabaseBacking backing;
    int code = openVolumeDatabase(system_, path, QStringLiteral("database"), tempFolder_, &handle, &backing);
    if (!handle) {
        // A name that is no file of the volume: an empty database, so the reader's prepare fails
        // for want of its table, as it would.
        code = sqlite3_open_v2(":memory:", &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    }
    *db = reinterpret_cast<SqlHandle>(handle);
    if (handle) opened_[*db] = std::move(backing);
    return code;
}

int LinkedSqliteEngine::close(SqlHandle db) {
    if (!db) return sqlite3_close(nullptr);
    // Statements a reader left behind are finalized, so that the copy can be closed and removed.
    while (sqlite3_stmt* left = sqlite3_next_stmt(asDb(db), nullptr)) sqlite3_finalize(left);
    const int code = sqlite3_close(asDb(db));
    opened_.erase(db);  // removes the private copy, closes the original
    return code;
}

int LinkedSqliteEngine::prepare(SqlHandle db, const QByteArray& sql, int length, SqlHandle* statement) {
    sqlite3_stmt* handle = nullptr;
    const int code = sqlite3_prepare_v2(asDb(db), sql.constData(), length, &handle, nullptr);
    *statement = reinterpret_cast<SqlHandle>(handle);
    return code;
}

int LinkedSqliteEngine::step(SqlHandle statement) { return sqlite3_step(asStatement(statement)); }

int LinkedSqliteEngine::reset(SqlHandle statement) { return sqlite3_reset(asStatement(statement)); }

int LinkedSqliteEngine::bindText(SqlHandle statement, int index, const QByteArray& utf8) {
    return sqlite3_bind_text(asStatement(statement), index, utf8.constData(), static_cast<int>(utf8.size()), SQLITE_TRANSIENT);
}

int LinkedSqliteEngine::finalize(SqlHandle statement) { return sqlite3_finalize(asStatement(statement)); }

int LinkedSqliteEngine::columnBytes(SqlHandle statement, int column) {
    return sqlite3_column_bytes(asStatement(statement), column);
}

const unsigned char* LinkedSqliteEngine::columnText(SqlHandle statement, int column) {
    return sqlite3_column_text(asStatement(statement), column);
}

std::optional<int64_t> LinkedSqliteEngine::columnInteger(SqlHandle statement, int column) {
    if (sqlite3_column_type(asStatement(statement), column) != SQLITE_INTEGER) return std::nullopt;
    return sqlite3_column_int64(asStatement(statement), column);
}

std::optional<QString> LinkedSqliteEngine::schemaProblem(SqlHandle db, const QString& table, const QStringList& columns) {
    sqlite3_stmt* info = nullptr;
    const QByteArray sql = "PRAGMA table_info(\"" + table.toUtf8().replace('"', "\"\"") + "\")";
    if (sqlite3_prepare_v2(asDb(db), sql.constData(), -1, &info, nullptr) != SQLITE_OK) {
        return QStringLiteral("not a readable database (%1)").arg(QString::fromUtf8(sqlite3_errmsg(asDb(db))));
    }
    QStringList present;
    while (sqlite3_step(info) == SQLITE_ROW) present.append(QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(info, 1))));
    sqlite3_finalize(info);
    if (present.isEmpty()) return QStringLiteral("no table ") + table;
    for (const QString& column : columns) {
        if (!present.contains(column, Qt::CaseInsensitive)) return QStringLiteral("no column %1 in %2").arg(column, table);
    }
    return std::nullopt;
}

}  // namespace kestrova
