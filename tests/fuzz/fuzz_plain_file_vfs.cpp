// SQLite over a database's runs inside an image: runs of any offset and length (the first bytes),
// over an image of any bytes (the rest), read through the read-only VFS. A run outside the image
// must fail the open; anything opened must be readable without a fault.
#include <QByteArray>
#include <QString>
#include <cstdint>
#include <cstdlib>
#include <sqlite3.h>
#include <sys/mman.h>
#include <unistd.h>

#include "platform/sqlite/plain_file_vfs.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace kestrova;
    if (size < 1) return 0;
    const size_t runs = data[0] % 4 + 1;
    if (size < 1 + runs * 6) return 0;
    PlainFile file;
    for (size_t r = 0; r < runs; ++r) {
        const uint8_t* at = data + 1 + r * 6;
        const qint64 offset = at[0] | (at[1] << 8) | (at[2] << 16) | (qint64{at[3] & 0x7f} << 24);
        const quint64 length = static_cast<quint64>(at[4] | (at[5] << 8)) * 64;
        file.runs.emplace_back(offset % 131072, length);
        file.size += length;
    }
    const uint8_t* image = data + 1 + runs * 6;
    const size_t imageSize = size - 1 - runs * 6;
    const int fd = ::memfd_create("fuzz-image", MFD_CLOEXEC);
    if (fd < 0) return 0;
    (void)!::write(fd, image, imageSize);
    file.image = QStringLiteral("/proc/self/fd/%1").arg(fd);
    sqlite3* db = nullptr;
    if (openPlainFile(file, &db) == SQLITE_OK) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(db, "SELECT name, sql FROM sqlite_master", -1, &statement, nullptr) == SQLITE_OK) {
            for (int rows = 0; rows < 1000 && sqlite3_step(statement) == SQLITE_ROW; ++rows) {
            }
        }
        sqlite3_finalize(statement);
    }
    sqlite3_close(db);
    ::close(fd);
    return 0;
}
