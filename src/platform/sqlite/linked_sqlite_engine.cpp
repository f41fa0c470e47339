#include "platform/sqlite/linked_sqlite_engine.h"

#include <QFile>
#include <QFileDevice>
#include <sqlite3.h>

#include "core/common/text.h"
#include "platform/sqlite/plain_file_vfs.h"
#include "platform/volume/regular_file.h"

namespace kestrova {
namespace {

sqlite3* asDb(SqlHandle h) { return reinterpret_cast<sqlite3*>(h); }
sqlite3_stmt* asStatement(SqlHandle h) { return reinterpret_cast<sqlite3_stmt*>(h); }

// Copies a file of the volume (only ever read) to a local path; false when there is none.
bool copyOut(const AnalysedSystem& system, const QString& windowsPath, const QString& label, const QString& to,
             bool noteMissing) {
    // A missing -wal or -journal is the normal case, not worth a note.
    if (!noteMissing && !system.exists(windowsPath)) return false;
    const auto in = system.openFile(windowsPath, label);
    if (!in) return false;
    QFile out(to);
    if (!out.open(QIODevice::WriteOnly)) return false;
    if (const auto* file = qobject_cast<QFileDevice*>(in.get()); file && file->handle() >= 0) {
        return copySparse(file->handle(), out.handle());
    }
    QByteArray buffer(1 << 20, Qt::Uninitialized);
    for (qint64 got; (got = in->read(buffer.data(), buffer.size())) > 0;) {
        if (out.write(buffer.constData(), got) != got) return false;
    }
    return true;
}

// A connection is only ever used by the thread that opened it, one statement at a time, so the
// library's per-call locking of the connection is not needed.
constexpr int kOneThread = SQLITE_OPEN_NOMUTEX;

// Opens the database behind an already opened file of the volume, immutable and read-only.
int openInPlace(QIODevice& original, sqlite3** handle) {
    const QByteArray path = descriptorPath(original);
    if (path.isEmpty()) return SQLITE_CANTOPEN;
    const QByteArray uri = "file:" + path + "?immutable=1";
    return sqlite3_open_v2(uri.constData(), handle, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | kOneThread, nullptr);
}

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
    const QString label = QStringLiteral("database");
    sqlite3* handle = nullptr;
    int code = SQLITE_CANTOPEN;
    Opened opened;
    bool copy = !path.isEmpty();
    if (copy && !system_.exists(path + QStringLiteral("-wal")) && !system_.exists(path + QStringLiteral("-journal"))) {
        // Nothing beside the database to replay or roll back: the file alone is the whole
        // database, read in place through the descriptor the volume layer checked (so the name
        // cannot be swapped for a link meanwhile). Immutable and read-only: no lock, no journal,
        // no -shm, not a byte written. A file that cannot be opened is not tried again for a
        // copy; one SQLite cannot open in place is. In a raw disk image the database is read
        // where it lies in the image, without taking it out first.
        if (const auto plain = system_.plainFile(path)) {
            code = openPlainFile(*plain, &handle);
            if (code != SQLITE_OK) {
                sqlite3_close(handle);
                handle = nullptr;
            }
        }
        if (!handle) {
            opened.original = system_.openFile(path, label);
            copy = opened.original != nullptr;
            if (opened.original) code = openInPlace(*opened.original, &handle);
            if (code != SQLITE_OK) {
                sqlite3_close(handle);
                handle = nullptr;
                opened.original.reset();
            }
        }
    }
    if (!handle) {
        auto folder = std::make_unique<QTemporaryDir>(tempFolder_ + QStringLiteral("/kestrova-db-XXXXXX"));
        const QString copyPath = folder->filePath(QStringLiteral("db"));
        if (copy && folder->isValid() && copyOut(system_, path, label, copyPath, true)) {
            copyOut(system_, path + QStringLiteral("-wal"), label, copyPath + QStringLiteral("-wal"), false);
            copyOut(system_, path + QStringLiteral("-journal"), label, copyPath + QStringLiteral("-journal"), false);
            code = sqlite3_open_v2(QFile::encodeName(copyPath).constData(), &handle, SQLITE_OPEN_READWRITE | kOneThread, nullptr);
            opened.copy = std::move(folder);
        } else {
            code = sqlite3_open_v2(":memory:", &handle, SQLITE_OPEN_READWRITE | kOneThread, nullptr);
        }
    }
    *db = reinterpret_cast<SqlHandle>(handle);
    if (handle) opened_[*db] = std::move(opened);
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
