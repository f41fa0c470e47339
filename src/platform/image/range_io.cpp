#include "platform/image/range_io.h"

#include <algorithm>
#include <cstdio>

namespace kestrova {
namespace {

struct Range {
    std::shared_ptr<const DiskImage> disk;
    uint64_t offset = 0;
    uint64_t size = 0;
    uint64_t position = 0;
};

Range* rangeOf(intptr_t* handle) { return reinterpret_cast<Range*>(handle); }

int freeRange(intptr_t** handle, libbfio_error_t**) {
    delete rangeOf(*handle);
    *handle = nullptr;
    return 1;
}
int cloneRange(intptr_t** into, intptr_t* from, libbfio_error_t**) {
    *into = reinterpret_cast<intptr_t*>(new Range(*rangeOf(from)));
    return 1;
}
int openRange(intptr_t*, int, libbfio_error_t**) { return 1; }
int closeRange(intptr_t*, libbfio_error_t**) { return 0; }
ssize_t readRange(intptr_t* handle, uint8_t* buffer, size_t size, libbfio_error_t**) {
    Range* r = rangeOf(handle);
    if (r->position >= r->size) return 0;
    const size_t want = static_cast<size_t>(std::min<uint64_t>(size, r->size - r->position));
    const int64_t got = r->disk->read(r->offset + r->position, buffer, want);
    if (got < 0) return -1;
    r->position += static_cast<uint64_t>(got);
    return static_cast<ssize_t>(got);
}
ssize_t writeRange(intptr_t*, const uint8_t*, size_t, libbfio_error_t**) { return -1; }  // never written
off64_t seekRange(intptr_t* handle, off64_t offset, int whence, libbfio_error_t**) {
    Range* r = rangeOf(handle);
    const int64_t base = whence == SEEK_CUR ? static_cast<int64_t>(r->position) : whence == SEEK_END ? static_cast<int64_t>(r->size) : 0;
    const int64_t to = base + offset;
    if (to < 0) return -1;
    r->position = static_cast<uint64_t>(to);
    return to;
}
int existsRange(intptr_t*, libbfio_error_t**) { return 1; }
int isOpenRange(intptr_t*, libbfio_error_t**) { return 1; }
int sizeOfRange(intptr_t* handle, size64_t* size, libbfio_error_t**) {
    *size = rangeOf(handle)->size;
    return 1;
}

}  // namespace

libbfio_handle_t* rangeHandle(std::shared_ptr<const DiskImage> disk, uint64_t offset, uint64_t size) {
    libbfio_handle_t* io = nullptr;
    libbfio_error_t* error = nullptr;
    auto* range = new Range{std::move(disk), offset, size, 0};
    if (libbfio_handle_initialize(&io, reinterpret_cast<intptr_t*>(range), freeRange, cloneRange, openRange, closeRange, readRange,
                                  writeRange, seekRange, existsRange, isOpenRange, sizeOfRange,
                                  LIBBFIO_FLAG_IO_HANDLE_MANAGED | LIBBFIO_FLAG_IO_HANDLE_CLONE_BY_FUNCTION, &error) != 1) {
        delete range;
        libbfio_error_free(&error);
        return nullptr;
    }
    return io;
}

}  // namespace kestrova
