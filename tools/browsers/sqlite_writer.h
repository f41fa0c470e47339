// What the database writers of the fixtures share: a database made anew, SQL run on it, many rows
// through one prepared statement, and the browsers' time formats.
#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <sqlite3.h>

namespace kestrova::tools {

struct Db {
    sqlite3* handle = nullptr;
    ~Db() { sqlite3_close(handle); }
};

inline bool fail(QString* error, const QString& why) {
    if (error) *error = why;
    return false;
}

inline bool exec(sqlite3* db, const QString& sql, QString* error) {
    char* message = nullptr;
    if (sqlite3_exec(db, sql.toUtf8().constData(), nullptr, nullptr, &message) == SQLITE_OK) return true;
    const QString why = QString::fromUtf8(message ? message : "sqlite error");
    sqlite3_free(message);
    return fail(error, why);
}

inline bool create(const QString& path, Db& db, QString* error) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile::remove(path);
    QFile::remove(path + "-wal");
    QFile::remove(path + "-shm");
    if (sqlite3_open(QFile::encodeName(path).constData(), &db.handle) != SQLITE_OK) return fail(error, "cannot create " + path);
    return true;
}

// PRTime (microseconds since 1970) and Chrome time (microseconds since 1601) of a UTC moment.
inline qint64 prTime(qint64 unixSeconds) { return unixSeconds * 1000000; }
inline qint64 chromeTime(qint64 unixSeconds) { return (unixSeconds + 11644473600LL) * 1000000; }
// Many rows through one prepared statement in one transaction.
template <typename Bind>
bool insertMany(sqlite3* db, const char* sql, int count, Bind bind, QString* error) {
    if (count <= 0) return true;
    sqlite3_stmt* insert = nullptr;
    if (!exec(db, "BEGIN", error) || sqlite3_prepare_v2(db, sql, -1, &insert, nullptr) != SQLITE_OK) {
        return fail(error, QString::fromUtf8(sqlite3_errmsg(db)));
    }
    for (int i = 0; i < count; ++i) {
        bind(insert, i);
        sqlite3_step(insert);
        sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    return exec(db, "COMMIT", error);
}

inline void bindText(sqlite3_stmt* s, int at, const QByteArray& text) {
    sqlite3_bind_text(s, at, text.constData(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

}  // namespace kestrova::tools
