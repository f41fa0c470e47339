// Reads and writes of this process's own descriptors (pipes, unnamed temporary files, output)
// that go on until every byte is through: a call may move fewer bytes than asked (a signal, a
// pipe's capacity), and such a short count is no error.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <sys/types.h>
#include <unistd.h>

namespace kestrova {

// False when the descriptor refuses the bytes (errno says why).
inline bool writeWhole(int fd, const char* data, size_t size) {
    while (size > 0) {
        const ssize_t put = ::write(fd, data, size);
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) return false;
        data += put;
        size -= static_cast<size_t>(put);
    }
    return true;
}

// The same at an offset of a file.
inline bool pwriteWhole(int fd, const char* data, size_t size, uint64_t at) {
    for (size_t done = 0; done < size;) {
        const ssize_t put = ::pwrite(fd, data + done, size - done, static_cast<off_t>(at + done));
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) return false;
        done += static_cast<size_t>(put);
    }
    return true;
}

// False when the bytes cannot be read, or the file ends before them.
inline bool preadWhole(int fd, char* to, size_t size, uint64_t at) {
    for (size_t done = 0; done < size;) {
        const ssize_t got = ::pread(fd, to + done, size - done, static_cast<off_t>(at + done));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        done += static_cast<size_t>(got);
    }
    return true;
}

}  // namespace kestrova
