// Reading a file where it lies inside a raw disk image, by its runs (PlainFile): offsets of the
// file become offsets of the image file, a sparse run reads as zeros. No copy is made. The SQLite
// databases of an image and its Master File Table are read this way.
#pragma once

#include <QString>
#include <memory>
#include <vector>

#include "core/system/analysed_system.h"

namespace kestrova {

class PlainFileReader {
public:
    // nullptr, with why, when the image is no regular file or a run lies outside it (the runs
    // come from a file system of the evidence).
    static std::unique_ptr<PlainFileReader> open(const PlainFile& file, QString* why);
    ~PlainFileReader();
    PlainFileReader(const PlainFileReader&) = delete;
    PlainFileReader& operator=(const PlainFileReader&) = delete;

    quint64 size() const { return size_; }
    // Reads `amount` bytes of the file from `offset`; false past its end or when the image fails.
    bool read(void* buffer, size_t amount, quint64 offset) const;

private:
    PlainFileReader() = default;
    int fd_ = -1;
    quint64 size_ = 0;
    std::vector<quint64> starts_;  // each run's first byte in the file
    std::vector<std::pair<qint64, quint64>> runs_;
};

}  // namespace kestrova
