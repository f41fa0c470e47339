// The partition table reader over any disk: MBR chains, GPT headers and entries, boot sectors.
// Every partition it lists lies inside the disk, but those it says lie beyond it.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/image/partitions.h"

namespace {

class MemoryDisk : public kestrova::DiskImage {
public:
    MemoryDisk(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    QString format() const override { return QStringLiteral("memory"); }
    uint64_t size() const override { return size_; }
    QStringList files() const override { return {}; }

protected:
    int64_t readAt(uint64_t offset, void* buffer, size_t size) const override {
        if (offset >= size_) return 0;
        const size_t n = std::min<size_t>(size, size_ - offset);
        std::memcpy(buffer, data_ + offset, n);
        return static_cast<int64_t>(n);
    }

private:
    const uint8_t* data_;
    size_t size_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const MemoryDisk disk(data, size);
    for (const kestrova::Partition& p : kestrova::listPartitions(disk)) {
        if (p.beyondImage ? p.offset < size || p.problem.isEmpty() : (p.offset > size || p.size > size - p.offset)) std::abort();
    }
    return 0;
}
