// SQLite databases of the examined volume, opened so that the evidence stays untouched: a
// database with a -wal or -journal file beside it is copied, with them, into a private temporary
// folder and opened there, so SQLite replays the log or rolls back the journal on the copy, as it
// would on the original; a database alone is read in place, immutable and read-only (in a raw
// image, where it lies in the image). No lock, no -shm file, no checkpoint ever reaches the
// volume.
//
// Two users: the classic access layer (LinkedSqliteEngine, through openVolumeDatabase) and the
// traces, which read through EvidenceDatabase and Query: the tables and columns that are there,
// and rows as typed values.
#pragma once

#include <QIODevice>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "core/system/analysed_system.h"

struct sqlite3;
struct sqlite3_stmt;

namespace kestrova {

// What an open database stands on: the volume's file read in place, or a private copy.
struct DatabaseBacking {
    std::unique_ptr<QIODevice> original;
    std::unique_ptr<QTemporaryDir> copy;
};

// Opens a database of the volume as described above; an SQLite result code, *handle set when one
// was made (also on failure, to be closed). A file that is missing or cannot be opened gives
// SQLITE_CANTOPEN with the reason noted in the system's findings under `label`.
int openVolumeDatabase(const AnalysedSystem& system, const QString& windowsPath, const QString& label,
                       const QString& tempFolder, sqlite3** handle, DatabaseBacking* backing);

class Query;

class EvidenceDatabase {
public:
    // nullptr, with the reason noted in the system's findings, when the file is missing,
    // unreadable or not an SQLite database.
    static std::unique_ptr<EvidenceDatabase> open(const AnalysedSystem& system, const QString& windowsPath,
                                                  const QString& tempFolder);
    ~EvidenceDatabase();
    EvidenceDatabase(const EvidenceDatabase&) = delete;
    EvidenceDatabase& operator=(const EvidenceDatabase&) = delete;

    // The columns of a table, lower-cased, in their order; empty when there is no such table.
    QStringList columns(const QString& table) const;
    bool hasTable(const QString& table) const { return !columns(table).isEmpty(); }
    // The engine's words for the last error ("database disk image is malformed").
    QString errorMessage() const;
    const QString& path() const { return path_; }

private:
    friend class Query;
    EvidenceDatabase(sqlite3* db, DatabaseBacking backing, QString path)
        : db_(db), backing_(std::move(backing)), path_(std::move(path)) {}
    sqlite3* db_;
    DatabaseBacking backing_;
    QString path_;
};

// One prepared statement over an evidence database. Rows are stepped one at a time; a column is
// read as the type the caller needs. Texts are views valid until the next step.
class Query {
public:
    Query(const EvidenceDatabase& db, const QString& sql);
    ~Query();
    Query(const Query&) = delete;
    Query& operator=(const Query&) = delete;

    // Whether the statement could be prepared; error() says why not.
    bool ok() const { return statement_ != nullptr; }
    // The next row: true while there is one. An error ends the rows; error() then says which.
    bool next();
    // Why preparing or stepping failed; empty when the rows ran to their end.
    const QString& error() const { return error_; }

    bool isNull(int column) const;
    // Whether the column holds a blob; asked before the column is read as text (reading it so
    // converts it).
    bool isBlob(int column) const;
    int64_t integer(int column) const;
    // The column as text (UTF-8 bytes as stored; a number as its decimal text); nullopt for NULL.
    std::optional<std::string_view> text(int column) const;
    // A blob's or text's size in bytes.
    int bytes(int column) const;

private:
    const EvidenceDatabase& db_;
    sqlite3_stmt* statement_ = nullptr;
    QString error_;
};

}  // namespace kestrova
