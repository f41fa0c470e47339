#include "platform/cases/case_file.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <sqlite3.h>

#include "core/common/text.h"

namespace kestrova {
namespace {

QString sqliteWhy(sqlite3* db) { return QString::fromUtf8(db ? sqlite3_errmsg(db) : "out of memory"); }

}  // namespace

QString CaseFile::pathFor(const QString& evidence) {
    QString data = qEnvironmentVariable("XDG_DATA_HOME");
    if (data.isEmpty()) data = QDir::homePath() + QStringLiteral("/.local/share");
    const QByteArray key = QCryptographicHash::hash(toFileNameBytes(QFileInfo(evidence).absoluteFilePath()), QCryptographicHash::Sha256).toHex();
    return data + QStringLiteral("/kestrova/cases/") + QString::fromLatin1(key.left(32)) + QStringLiteral(".sqlite");
}

std::unique_ptr<CaseFile> CaseFile::open(const QString& evidence, QString* why) {
    const QString path = pathFor(evidence);
    if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
        *why = QStringLiteral("the folder of the case files, %1, cannot be made").arg(QFileInfo(path).absolutePath());
        return nullptr;
    }
    std::unique_ptr<CaseFile> file(new CaseFile);
    if (sqlite3_open_v2(toFileNameBytes(path).constData(), &file->db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) != SQLITE_OK ||
        sqlite3_exec(file->db_,
                     "CREATE TABLE IF NOT EXISTS tags (identity TEXT PRIMARY KEY, label TEXT NOT NULL, note TEXT, kind TEXT, what TEXT, "
                     "tagged INTEGER);",
                     nullptr, nullptr, nullptr) != SQLITE_OK) {
        *why = QStringLiteral("the case file %1 cannot be opened: %2").arg(path, sqliteWhy(file->db_));
        return nullptr;
    }
    sqlite3_stmt* read = nullptr;
    if (sqlite3_prepare_v2(file->db_, "SELECT identity, label, note, kind, what, tagged FROM tags", -1, &read, nullptr) == SQLITE_OK) {
        while (sqlite3_step(read) == SQLITE_ROW) {
            const auto text = [&](int column) { return QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(read, column))); };
            file->tags_[QByteArray(reinterpret_cast<const char*>(sqlite3_column_text(read, 0)))] =
                RecordTag{text(1), text(2), text(3), text(4), sqlite3_column_int64(read, 5)};
        }
    }
    sqlite3_finalize(read);
    return file;
}

CaseFile::~CaseFile() { sqlite3_close(db_); }

const RecordTag* CaseFile::tagOf(const QByteArray& identity) const {
    const auto found = tags_.find(identity);
    return found == tags_.end() ? nullptr : &found->second;
}

bool CaseFile::setTag(const QByteArray& identity, const RecordTag& tag, QString* why) {
    sqlite3_stmt* write = nullptr;
    const bool ok = sqlite3_prepare_v2(db_, "INSERT OR REPLACE INTO tags VALUES (?, ?, ?, ?, ?, ?)", -1, &write, nullptr) == SQLITE_OK;
    if (ok) {
        const QByteArray texts[] = {identity, tag.label.toUtf8(), tag.note.toUtf8(), tag.kind.toUtf8(), tag.what.toUtf8()};
        for (int i = 0; i < 5; ++i) sqlite3_bind_text(write, i + 1, texts[i].constData(), static_cast<int>(texts[i].size()), SQLITE_TRANSIENT);
        sqlite3_bind_int64(write, 6, tag.tagged);
    }
    const bool written = ok && sqlite3_step(write) == SQLITE_DONE;
    sqlite3_finalize(write);
    if (!written) {
        *why = QStringLiteral("the tag cannot be kept: %1").arg(sqliteWhy(db_));
        return false;
    }
    tags_[identity] = tag;
    return true;
}

bool CaseFile::removeTag(const QByteArray& identity, QString* why) {
    sqlite3_stmt* remove = nullptr;
    const bool ok = sqlite3_prepare_v2(db_, "DELETE FROM tags WHERE identity = ?", -1, &remove, nullptr) == SQLITE_OK;
    if (ok) sqlite3_bind_text(remove, 1, identity.constData(), static_cast<int>(identity.size()), SQLITE_TRANSIENT);
    const bool done = ok && sqlite3_step(remove) == SQLITE_DONE;
    sqlite3_finalize(remove);
    if (!done) {
        *why = QStringLiteral("the tag cannot be removed: %1").arg(sqliteWhy(db_));
        return false;
    }
    tags_.erase(identity);
    return true;
}

}  // namespace kestrova
