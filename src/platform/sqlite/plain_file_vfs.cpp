#include "platform/sqlite/plain_file_vfs.h"

#include <QByteArray>
#include <atomic>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>

#include "platform/volume/plain_file_reader.h"

namespace kestrova {
namespace {

using Pieces = PlainFileReader;

// Databases opened by name through this VFS wait here until SQLite opens them.
std::mutex pendingMutex;
std::map<std::string, std::shared_ptr<Pieces>> pending;
std::atomic<unsigned> nextName{0};

struct File {
    sqlite3_file base;
    std::shared_ptr<Pieces>* pieces;
};

Pieces& piecesOf(sqlite3_file* file) { return **reinterpret_cast<File*>(file)->pieces; }

int fileClose(sqlite3_file* file) {
    delete reinterpret_cast<File*>(file)->pieces;
    return SQLITE_OK;
}
int fileRead(sqlite3_file* file, void* buffer, int amount, sqlite3_int64 offset) {
    const Pieces& p = piecesOf(file);
    if (offset < 0) return SQLITE_IOERR_READ;
    const auto want = static_cast<quint64>(amount);
    const quint64 available = static_cast<quint64>(offset) >= p.size() ? 0 : std::min(want, p.size() - static_cast<quint64>(offset));
    if (available > 0 && !p.read(buffer, static_cast<size_t>(available), static_cast<quint64>(offset))) return SQLITE_IOERR_READ;
    if (available < want) {
        // A short read fills the rest with zeros, as SQLite expects of one.
        std::memset(static_cast<char*>(buffer) + available, 0, static_cast<size_t>(want - available));
        return SQLITE_IOERR_SHORT_READ;
    }
    return SQLITE_OK;
}
int fileWrite(sqlite3_file*, const void*, int, sqlite3_int64) { return SQLITE_READONLY; }
int fileTruncate(sqlite3_file*, sqlite3_int64) { return SQLITE_READONLY; }
int fileSync(sqlite3_file*, int) { return SQLITE_OK; }
int fileSize(sqlite3_file* file, sqlite3_int64* size) {
    *size = static_cast<sqlite3_int64>(piecesOf(file).size());
    return SQLITE_OK;
}
int fileLock(sqlite3_file*, int) { return SQLITE_OK; }
int fileCheckReservedLock(sqlite3_file*, int* reserved) {
    *reserved = 0;
    return SQLITE_OK;
}
int fileControl(sqlite3_file*, int, void*) { return SQLITE_NOTFOUND; }
int fileSectorSize(sqlite3_file*) { return 512; }
int fileDeviceCharacteristics(sqlite3_file*) { return SQLITE_IOCAP_IMMUTABLE; }

const sqlite3_io_methods kMethods = {
    1, fileClose, fileRead, fileWrite, fileTruncate, fileSync, fileSize, fileLock, fileLock, fileCheckReservedLock,
    fileControl, fileSectorSize, fileDeviceCharacteristics,
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};  // version 1: no shared memory, no mapping

int vfsOpen(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    std::shared_ptr<Pieces> pieces;
    {
        const std::lock_guard lock(pendingMutex);
        if (const auto it = name ? pending.find(name) : pending.end(); it != pending.end() && (flags & SQLITE_OPEN_MAIN_DB)) {
            pieces = it->second;
        }
    }
    if (!pieces) return SQLITE_CANTOPEN;  // no journal, no temporary file: nothing is written
    auto* f = reinterpret_cast<File*>(file);
    f->base.pMethods = &kMethods;
    f->pieces = new std::shared_ptr<Pieces>(std::move(pieces));
    if (outFlags) *outFlags = SQLITE_OPEN_READONLY;
    return SQLITE_OK;
}
int vfsDelete(sqlite3_vfs*, const char*, int) { return SQLITE_IOERR_DELETE; }
int vfsAccess(sqlite3_vfs*, const char*, int, int* result) {
    *result = 0;  // no journal or WAL lies beside a database read in place
    return SQLITE_OK;
}
int vfsFullPathname(sqlite3_vfs*, const char* name, int size, char* out) {
    sqlite3_snprintf(size, out, "%s", name);
    return SQLITE_OK;
}

sqlite3_vfs* vfs() {
    static sqlite3_vfs* registered = [] {
        sqlite3_vfs* base = sqlite3_vfs_find(nullptr);
        static sqlite3_vfs ours = *base;  // randomness, sleep and clocks as the default's
        ours.iVersion = 1;
        ours.szOsFile = sizeof(File);
        ours.mxPathname = 256;
        ours.pNext = nullptr;
        ours.zName = "kestrova-plain";
        ours.pAppData = nullptr;
        ours.xOpen = vfsOpen;
        ours.xDelete = vfsDelete;
        ours.xAccess = vfsAccess;
        ours.xFullPathname = vfsFullPathname;
        ours.xDlOpen = nullptr;
        ours.xDlError = nullptr;
        ours.xDlSym = nullptr;
        ours.xDlClose = nullptr;
        sqlite3_vfs_register(&ours, 0);
        return &ours;
    }();
    return registered;
}

}  // namespace

int openPlainFile(const PlainFile& file, sqlite3** handle) {
    QString why;
    std::shared_ptr<Pieces> pieces = PlainFileReader::open(file, &why);
    if (!pieces) return SQLITE_CANTOPEN;
    const std::string name = "kestrova-plain-" + std::to_string(nextName++);
    {
        const std::lock_guard lock(pendingMutex);
        pending[name] = pieces;
    }
    const int code = sqlite3_open_v2(name.c_str(), handle, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, vfs()->zName);
    const std::lock_guard lock(pendingMutex);
    pending.erase(name);
    return code;
}

}  // namespace kestrova
