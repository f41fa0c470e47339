// The SQLite engine behind the access layer: the system SQLite library, linked. SQLite's result
// codes pass through unchanged; the library needs no loading (the program folder's "kr3.dll" is
// where a loadable engine would be looked for, and is not needed).
//
// Evidence stays untouched. A database with a -wal or -journal file beside it is copied, with
// them, into a private temporary folder and opened there read-write, so SQLite replays the
// write-ahead log or rolls back the hot journal on the copy, exactly as it would on the
// original. A database with neither is the file alone: it is read in place, immutable and
// read-only, which takes no lock and writes nothing. Either way no lock, no -shm file and no
// checkpoint ever touches the volume, writable or not. A name that is no file of the volume
// opens an empty in-memory database, so the reader's prepare fails for want of its table, as it
// would.
#pragma once

#include <QIODevice>
#include <QString>
#include <QTemporaryDir>
#include <map>
#include <memory>

#include "core/sqlite/sqlite_engine.h"
#include "core/system/analysed_system.h"
#include "platform/sqlite/evidence_database.h"

namespace kestrova {

class LinkedSqliteEngine : public SqliteEngine {
public:
    // tempFolder: the local desktop's temporary folder, where the private copies live.
    LinkedSqliteEngine(const AnalysedSystem& system, QString tempFolder)
        : system_(system), tempFolder_(std::move(tempFolder)) {}
    ~LinkedSqliteEngine() override;
    QString errorMessage(SqlHandle db) override;

    bool load(const QString&) override { return true; }
    void unload() override {}
    int initialize() override;
    int shutdown() override;
    int open(const QByteArray& name, SqlHandle* db) override;
    int close(SqlHandle db) override;
    int prepare(SqlHandle db, const QByteArray& sql, int length, SqlHandle* statement) override;
    int step(SqlHandle statement) override;
    int reset(SqlHandle statement) override;
    int bindText(SqlHandle statement, int index, const QByteArray& utf8) override;
    int finalize(SqlHandle statement) override;
    int columnBytes(SqlHandle statement, int column) override;
    const unsigned char* columnText(SqlHandle statement, int column) override;
    std::optional<int64_t> columnInteger(SqlHandle statement, int column) override;
    std::optional<QString> schemaProblem(SqlHandle db, const QString& table, const QStringList& columns) override;

private:
    const AnalysedSystem& system_;
    QString tempFolder_;
    std::map<SqlHandle, DatabaseBacking> opened_;
};

}  // namespace kestrova
