// A database read where it lies in a raw image, in pieces: the pieces are put back in order, a
// piece outside the image is refused, and nothing is written.
#include <QCryptographicHash>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "browsers/browser_data.h"
#include "platform/sqlite/plain_file_vfs.h"

namespace kestrova {
namespace {

TEST(PlainFileVfs, ADatabaseInPiecesOfAnImageReadsAsTheDatabase) {
    QTemporaryDir dir;
    QString error;
    QString sql = "BEGIN; CREATE TABLE t (n INTEGER, s TEXT);";
    for (int i = 0; i < 2000; ++i) sql += QStringLiteral("INSERT INTO t VALUES (%1, 'row %1');").arg(i);
    ASSERT_TRUE(tools::writeDatabase(dir.filePath("db"), sql + "COMMIT;", &error)) << error.toStdString();
    QFile db(dir.filePath("db"));
    ASSERT_TRUE(db.open(QIODevice::ReadOnly));
    const QByteArray bytes = db.readAll();
    const qsizetype half = bytes.size() / 2 / 4096 * 4096;
    // The image: junk, the second half, junk, the first half.
    QFile image(dir.filePath("disk.raw"));
    ASSERT_TRUE(image.open(QIODevice::WriteOnly));
    image.write(QByteArray(8192, 'j'));
    image.write(bytes.mid(half));
    image.write(QByteArray(8192, 'j'));
    image.write(bytes.left(half));
    image.close();
    const qint64 second = 8192, first = 8192 + (bytes.size() - half) + 8192;
    const PlainFile file{image.fileName(), static_cast<quint64>(bytes.size()),
                         {{first, static_cast<quint64>(half)}, {second, static_cast<quint64>(bytes.size() - half)}}};
    const QByteArray before = QCryptographicHash::hash([&] { QFile f(image.fileName()); f.open(QIODevice::ReadOnly); return f.readAll(); }(),
                                                       QCryptographicHash::Sha256);
    sqlite3* handle = nullptr;
    ASSERT_EQ(openPlainFile(file, &handle), SQLITE_OK) << sqlite3_errmsg(handle);
    sqlite3_stmt* statement = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(handle, "SELECT count(*), sum(n), max(s) FROM t", -1, &statement, nullptr), SQLITE_OK);
    ASSERT_EQ(sqlite3_step(statement), SQLITE_ROW);
    EXPECT_EQ(sqlite3_column_int(statement, 0), 2000);
    EXPECT_EQ(sqlite3_column_int(statement, 1), 1999 * 2000 / 2);
    EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(statement, 2)), "row 999");
    sqlite3_finalize(statement);
    EXPECT_NE(sqlite3_exec(handle, "INSERT INTO t VALUES (1, 'x')", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(handle);
    const QByteArray after = QCryptographicHash::hash([&] { QFile f(image.fileName()); f.open(QIODevice::ReadOnly); return f.readAll(); }(),
                                                      QCryptographicHash::Sha256);
    EXPECT_EQ(after, before);

    // A piece that runs past the image, or pieces that do not cover the database: refused.
    PlainFile outside = file;
    outside.runs[1].first = first + half;
    handle = nullptr;
    EXPECT_EQ(openPlainFile(outside, &handle), SQLITE_CANTOPEN);
    sqlite3_close(handle);
    PlainFile shortOf = file;
    shortOf.runs.pop_back();
    handle = nullptr;
    EXPECT_EQ(openPlainFile(shortOf, &handle), SQLITE_CANTOPEN);
    sqlite3_close(handle);
}

}  // namespace
}  // namespace kestrova
