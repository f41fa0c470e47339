// The records' bytes of a timeline the window holds: in an unnamed file of the temporary folder,
// written through a buffer, so that a window showing millions of events keeps their keys in
// memory and not their texts; the page cache holds the texts as long as memory allows. What is
// drawn is read back as it is drawn, and a text filter reads the file from end to end on every
// core. Where no file can be made (or written), the bytes stay in memory.
#pragma once

#include <QString>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "traces/record.h"

namespace kestrova {

class BodyFile {
public:
    explicit BodyFile(const QString& folder);
    ~BodyFile();
    BodyFile(const BodyFile&) = delete;
    BodyFile& operator=(const BodyFile&) = delete;

    // Appends a record's body (record_body.h) with its number; where it lies.
    uint64_t append(uint32_t record, const Provenance& from, std::span<const Value> values);
    // Writes what is buffered: appends are over.
    void finish();
    uint64_t size() const { return written_ + pending_.size(); }

    // The body at `at` (as append gave it), read into `into`; the view is of `into`. Empty when
    // it cannot be read back.
    std::string_view read(uint64_t at, std::string& into) const;
    // Every body with its record number, in the order appended, the file cut into slices read on
    // `threads` threads at once: `each` is called from those threads, a slice's bodies in order.
    void scan(int threads, const std::function<void(uint32_t record, std::string_view body)>& each) const;

private:
    void flush();
    int fd_ = -1;
    bool writable_ = true;
    uint64_t written_ = 0;           // bytes in the file; the pending ones follow them
    std::string pending_;
    std::vector<uint64_t> slices_;   // where a record starts, about every kSlice bytes
    uint64_t nextSlice_ = 0;
    static constexpr size_t kBuffer = size_t{4} << 20;
    static constexpr uint64_t kSlice = uint64_t{8} << 20;
};

}  // namespace kestrova
