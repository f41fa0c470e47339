#include "platform/volume/plain_file_reader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/common/text.h"

namespace kestrova {

std::unique_ptr<PlainFileReader> PlainFileReader::open(const PlainFile& file, QString* why) {
    std::unique_ptr<PlainFileReader> reader(new PlainFileReader);
    reader->fd_ = ::open(toFileNameBytes(file.image).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat st {};
    if (reader->fd_ < 0 || ::fstat(reader->fd_, &st) != 0 || !S_ISREG(st.st_mode)) {
        *why = QStringLiteral("the image %1 cannot be opened as a regular file (%2)").arg(file.image, QString::fromLocal8Bit(std::strerror(errno)));
        return nullptr;
    }
    quint64 start = 0;
    for (const auto& [offset, length] : file.runs) {
        if (offset >= 0 && (length > static_cast<quint64>(st.st_size) || static_cast<quint64>(offset) > static_cast<quint64>(st.st_size) - length)) {
            *why = QStringLiteral("a run of %1 bytes at offset %2 lies outside the image").arg(length).arg(offset);
            return nullptr;
        }
        reader->starts_.push_back(start);
        start += length;
    }
    if (start < file.size || file.runs.empty()) {
        *why = QStringLiteral("its runs cover %1 of its %2 bytes").arg(start).arg(file.size);
        return nullptr;
    }
    reader->size_ = file.size;
    reader->runs_ = file.runs;
    return reader;
}

PlainFileReader::~PlainFileReader() {
    if (fd_ >= 0) ::close(fd_);
}

bool PlainFileReader::read(void* buffer, size_t amount, quint64 offset) const {
    auto* into = static_cast<char*>(buffer);
    while (amount > 0) {
        if (offset >= size_) return false;
        const auto at = static_cast<size_t>(std::upper_bound(starts_.begin(), starts_.end(), offset) - starts_.begin() - 1);
        const auto& [physical, length] = runs_[at];
        const quint64 within = offset - starts_[at];
        const size_t take = static_cast<size_t>(std::min<quint64>(amount, length - within));
        if (physical < 0) {
            std::memset(into, 0, take);
        } else if (::pread(fd_, into, take, static_cast<off_t>(physical + static_cast<qint64>(within))) != static_cast<ssize_t>(take)) {
            return false;
        }
        into += take;
        offset += take;
        amount -= take;
    }
    return true;
}

}  // namespace kestrova
