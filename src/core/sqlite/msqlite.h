// MSQLite: the small, handle-based way the browser readers and the report read SQLite
// databases: load the engine, open a file, prepare one SQL text, step through its rows, read
// column values as text, finalize, close, unload. Every operation returns the engine's result
// code; the layer itself answers 1 whenever the engine is not loaded, so callers need not tell
// the two apart. A missing engine is not an error shown to anyone: every browser category then
// simply comes out empty.
#pragma once

#include <QString>
#include <optional>

#include "core/common/findings.h"
#include "core/sqlite/sqlite_engine.h"

namespace kestrova {

// Text to the engine: UTF-8 with one NUL appended; an empty text stays empty.
QByteArray ToUtf8(const QString& text);
// Text from the engine, decoded by hand: lead bytes 252+ start 6-byte sequences, 248-251 5-byte,
// 240-247 4-byte, 224-239 3-byte, 192-223 2-byte (continuation bytes add 6 bits each); any other
// byte is one character of the ANSI code page (Latin-1 here); a sequence cut by the end is "?";
// characters above U+FFFF become surrogate pairs. It never fails.
QString DecodeUtf8(QByteArrayView bytes);
// True when no byte is 128 or more: such bytes decode one byte one character.
bool IsAscii(QByteArrayView bytes);
// The folder canonicalised as the path API does: "." and ".." steps resolved, "\" kept.
QString CanonicalizeFolder(const QString& folder);

class MSQLite {
public:
    // programFolder: where the engine library lies; findings: where schema problems are noted.
    MSQLite(SqliteEngine& engine, QString programFolder, Findings* findings = nullptr)
        : engine_(engine), programFolder_(std::move(programFolder)), findings_(findings) {}
    // Shuts the engine down if a reader that ended early left it loaded.
    ~MSQLite();
    MSQLite(const MSQLite&) = delete;
    MSQLite& operator=(const MSQLite&) = delete;

    int LoadEngine(const QString& folder);
    int ShutdownEngine();
    bool EngineLoaded() const { return loaded_; }
    int DbOpen(const QString& fileName, SqlHandle* db);
    int DbClose(SqlHandle db);
    int DbPrepare(SqlHandle db, const QString& sql, int length, SqlHandle* statement);
    int DbStep(SqlHandle statement);
    int DbFinalize(SqlHandle statement);
    int ColumnBytes(SqlHandle statement, int column);
    QString ColumnText(SqlHandle statement, int column);
    // For a lookup prepared once and run per key (the Firefox history's place lookup).
    int DbReset(SqlHandle statement);
    int DbBindText(SqlHandle statement, int index, const QString& text);

    // The module-wide handles every reader uses for its main query.
    SqlHandle db = 0;
    SqlHandle statement = 0;

    // The counting query of the progress window: column 0 of its last row, as a number.
    int CountRows(const QString& sql);
    // Notes (for --verbose) why the table lacks what the reader's query needs; true if it does.
    bool NoteSchema(const QString& what, const QString& table, const QStringList& columns);
    // Notes that reading rows ended on an error, not at the end (a damaged page): whatever the
    // rows read before, the source did not give all it holds. Done and Row are no errors.
    void NoteStepEnd(const QString& what, int code);
    // The library path of the last LoadEngine (tests look at it).
    const QString& libraryPath() const { return libraryPath_; }

    // A column's bytes up to the first zero byte; nullopt for NULL or an engine not loaded.
    std::optional<QByteArrayView> ColumnUtf8(SqlHandle statement, int column);
    // The same bytes, an integer's decimal text written into digits instead of asking the engine
    // for its text (which it would have to make, and keep, for every row of a long query).
    struct Digits {
        char bytes[24];
    };
    std::optional<QByteArrayView> ColumnUtf8(SqlHandle statement, int column, Digits& digits);

private:
    SqliteEngine& engine_;
    QString programFolder_;
    Findings* findings_;
    bool loaded_ = false;
    bool libraryLoaded_ = false;
    QString libraryPath_;
};

}  // namespace kestrova
