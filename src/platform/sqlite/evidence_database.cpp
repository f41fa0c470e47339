#include "platform/sqlite/evidence_database.h"

#include <QFile>
#include <QDir>
#include <QFileDevice>
#include <QFileInfo>
#include <cerrno>
#include <cstring>
#include <sqlite3.h>

#include "platform/sqlite/plain_file_vfs.h"
#include "platform/volume/regular_file.h"

namespace kestrova {
namespace {

// Copies a file of the volume (only ever read) to a local path; false when there is none or it
// could not be copied. A copy that fails for want of room (or any other local reason) is noted on
// the file: the database is then not read, and the examiner must be told why, not "unknown error".
bool copyOut(const AnalysedSystem& system, const QString& windowsPath, const QString& label, const QString& to,
             bool noteMissing) {
    // A missing -wal or -journal is the normal case, not worth a note.
    if (!noteMissing && !system.exists(windowsPath)) return false;
    const auto in = system.openFile(windowsPath, label);
    if (!in) return false;
    QFile out(to);
    const QString folder = QFileInfo(to).dir().absolutePath();
    const auto cannot = [&](int error) {
        const QString reason = error == ENOSPC ? QStringLiteral("no space left in %1 for its copy").arg(folder)
                                               : QStringLiteral("its copy in %1 cannot be written (%2)").arg(folder, QString::fromLocal8Bit(std::strerror(error)));
        system.findings().note(FindingKind::Unreadable, label + QLatin1Char(' ') + windowsPath, reason);
        return false;
    };
    if (!out.open(QIODevice::WriteOnly)) return cannot(errno ? errno : EACCES);
    if (const auto* file = qobject_cast<QFileDevice*>(in.get()); file && file->handle() >= 0) {
        errno = 0;
        return copySparse(file->handle(), out.handle()) || cannot(errno ? errno : EIO);
    }
    QByteArray buffer(1 << 20, Qt::Uninitialized);
    for (qint64 got; (got = in->read(buffer.data(), buffer.size())) > 0;) {
        errno = 0;
        if (out.write(buffer.constData(), got) != got || !out.flush()) return cannot(errno ? errno : ENOSPC);
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

void closeFailed(sqlite3** handle) {
    sqlite3_close(*handle);
    *handle = nullptr;
}

}  // namespace

int openVolumeDatabase(const AnalysedSystem& system, const QString& path, const QString& label, const QString& tempFolder,
                       sqlite3** handle, DatabaseBacking* backing) {
    *handle = nullptr;
    if (path.isEmpty()) return SQLITE_CANTOPEN;
    int code = SQLITE_CANTOPEN;
    bool copy = true;
    if (!system.exists(path + QStringLiteral("-wal")) && !system.exists(path + QStringLiteral("-journal"))) {
        // Nothing beside the database to replay or roll back: the file alone is the whole
        // database, read in place through the descriptor the volume layer checked (so the name
        // cannot be swapped for a link meanwhile). A file that cannot be opened is not tried
        // again for a copy; one SQLite cannot open in place is.
        if (const auto plain = system.plainFile(path)) {
            code = openPlainFile(*plain, handle);
            if (code != SQLITE_OK) closeFailed(handle);
        }
        if (!*handle) {
            backing->original = system.openFile(path, label);
            copy = backing->original != nullptr;
            if (backing->original) code = openInPlace(*backing->original, handle);
            if (code != SQLITE_OK) {
                closeFailed(handle);
                backing->original.reset();
            }
        }
    }
    if (*handle || !copy) return code;
    auto folder = std::make_unique<QTemporaryDir>(tempFolder + QStringLiteral("/kestrova-db-XXXXXX"));
    const QString copyPath = folder->filePath(QStringLiteral("db"));
    if (!folder->isValid()) {
        system.findings().note(FindingKind::Unreadable, label + QLatin1Char(' ') + path,
                               QStringLiteral("no folder for its copy in %1 (%2)").arg(tempFolder, folder->errorString()));
        return SQLITE_CANTOPEN;
    }
    if (!copyOut(system, path, label, copyPath, true)) return SQLITE_CANTOPEN;
    copyOut(system, path + QStringLiteral("-wal"), label, copyPath + QStringLiteral("-wal"), false);
    copyOut(system, path + QStringLiteral("-journal"), label, copyPath + QStringLiteral("-journal"), false);
    code = sqlite3_open_v2(QFile::encodeName(copyPath).constData(), handle, SQLITE_OPEN_READWRITE | kOneThread, nullptr);
    backing->copy = std::move(folder);
    return code;
}

std::unique_ptr<EvidenceDatabase> EvidenceDatabase::open(const AnalysedSystem& system, const QString& windowsPath,
                                                         const QString& tempFolder) {
    sqlite3* handle = nullptr;
    DatabaseBacking backing;
    const int code = openVolumeDatabase(system, windowsPath, QStringLiteral("database"), tempFolder, &handle, &backing);
    if (code != SQLITE_OK) {
        if (handle) {
            system.findings().note(FindingKind::Damaged, QStringLiteral("database ") + windowsPath,
                                   QString::fromUtf8(sqlite3_errmsg(handle)));
            sqlite3_close(handle);
        }
        return nullptr;
    }
    // Opening is lazy: the header is read by the first statement. A file that is no database
    // fails here, with SQLite's reason.
    sqlite3_stmt* probe = nullptr;
    const int probed = sqlite3_prepare_v2(handle, "SELECT count(*) FROM sqlite_master", -1, &probe, nullptr);
    const int stepped = probed == SQLITE_OK ? sqlite3_step(probe) : probed;
    sqlite3_finalize(probe);
    if (stepped != SQLITE_ROW) {
        system.findings().note(FindingKind::Damaged, QStringLiteral("database ") + windowsPath,
                               QString::fromUtf8(sqlite3_errmsg(handle)));
        sqlite3_close(handle);
        return nullptr;
    }
    return std::unique_ptr<EvidenceDatabase>(new EvidenceDatabase(handle, std::move(backing), windowsPath));
}

EvidenceDatabase::~EvidenceDatabase() {
    while (sqlite3_stmt* left = sqlite3_next_stmt(db_, nullptr)) sqlite3_finalize(left);
    sqlite3_close(db_);
}

QStringList EvidenceDatabase::columns(const QString& table) const {
    QStringList present;
    sqlite3_stmt* info = nullptr;
    const QByteArray sql = "PRAGMA table_info(\"" + table.toUtf8().replace('"', "\"\"") + "\")";
    if (sqlite3_prepare_v2(db_, sql.constData(), -1, &info, nullptr) == SQLITE_OK) {
        while (sqlite3_step(info) == SQLITE_ROW) {
            present.append(QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(info, 1))).toLower());
        }
    }
    sqlite3_finalize(info);
    return present;
}

QString EvidenceDatabase::errorMessage() const { return QString::fromUtf8(sqlite3_errmsg(db_)); }

Query::Query(const EvidenceDatabase& db, const QString& sql) : db_(db) {
    const QByteArray text = sql.toUtf8();
    if (sqlite3_prepare_v2(db.db_, text.constData(), static_cast<int>(text.size()), &statement_, nullptr) != SQLITE_OK) {
        error_ = db.errorMessage();
        sqlite3_finalize(statement_);
        statement_ = nullptr;
    }
}

Query::~Query() { sqlite3_finalize(statement_); }

bool Query::next() {
    if (!statement_) return false;
    const int code = sqlite3_step(statement_);
    if (code == SQLITE_ROW) return true;
    if (code != SQLITE_DONE) error_ = db_.errorMessage();
    return false;
}

bool Query::isBlob(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_BLOB; }

bool Query::isNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }

int64_t Query::integer(int column) const { return sqlite3_column_int64(statement_, column); }

std::optional<std::string_view> Query::text(int column) const {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    if (!bytes) return std::nullopt;
    return std::string_view(bytes, static_cast<size_t>(sqlite3_column_bytes(statement_, column)));
}

int Query::bytes(int column) const { return sqlite3_column_bytes(statement_, column); }

}  // namespace kestrova
