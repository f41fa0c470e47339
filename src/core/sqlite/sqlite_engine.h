// The SQLite engine as the access layer drives it: the C interface's few functions, with
// database names as the readers give them (Windows paths of the examined volume). The platform
// puts the linked SQLite library behind it, reading each database from a private copy so that
// nothing is ever written to the volume; tests may put an engine behind it that fails to load.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <optional>

namespace kestrova {

// SQLite's result codes the layer and its callers look at.
namespace sqlitecode {
inline constexpr int Ok = 0;
inline constexpr int Error = 1;
inline constexpr int Row = 100;
inline constexpr int Done = 101;
}  // namespace sqlitecode

using SqlHandle = quintptr;  // opaque: handed back to the engine unchanged

class SqliteEngine {
public:
    virtual ~SqliteEngine() = default;
    // Loading the library from a file: false when it cannot be loaded.
    virtual bool load(const QString& libraryPath) = 0;
    virtual void unload() = 0;
    virtual int initialize() = 0;
    virtual int shutdown() = 0;
    // name: UTF-8 with its NUL (the file name as the reader built it).
    virtual int open(const QByteArray& name, SqlHandle* db) = 0;
    virtual int close(SqlHandle db) = 0;
    virtual int prepare(SqlHandle db, const QByteArray& sql, int length, SqlHandle* statement) = 0;
    virtual int step(SqlHandle statement) = 0;
    virtual int reset(SqlHandle statement) = 0;
    virtual int bindText(SqlHandle statement, int index, const QByteArray& utf8) = 0;
    virtual int finalize(SqlHandle statement) = 0;
    virtual int columnBytes(SqlHandle statement, int column) = 0;
    // NUL-ended bytes; nullptr for a NULL value.
    virtual const unsigned char* columnText(SqlHandle statement, int column) = 0;
    // The value when it is stored as an integer (ids, counts, times), asked before any text of
    // it: its decimal text is then what columnText would give, written without the engine
    // making it. nullopt for any other value, or an engine that does not tell.
    virtual std::optional<int64_t> columnInteger(SqlHandle statement, int column) {
        (void)statement, (void)column;
        return std::nullopt;
    }
    // Why a query over an open database cannot work: "no table downloads", "no column
    // full_path in downloads"; nullopt when the table has every column named.
    virtual std::optional<QString> schemaProblem(SqlHandle db, const QString& table, const QStringList& columns) = 0;
    // The connection's last error in the engine's words ("database disk image is malformed").
    virtual QString errorMessage(SqlHandle db) { (void)db; return QString(); }
};

}  // namespace kestrova
