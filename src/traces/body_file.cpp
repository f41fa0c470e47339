#include "traces/body_file.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <thread>
#include <unistd.h>

#include "platform/io/unnamed_file.h"
#include "platform/io/whole_io.h"
#include "traces/record_body.h"

namespace kestrova {
namespace {

// An entry: u32 body size, u32 record number, the body.
constexpr size_t kHeader = 8;

}  // namespace

BodyFile::BodyFile(const QString& folder) : fd_(openUnnamedFile(folder)) {}

BodyFile::~BodyFile() {
    if (fd_ >= 0) ::close(fd_);
}

uint64_t BodyFile::append(uint32_t record, const Provenance& from, std::span<const Value> values) {
    const uint64_t at = size();
    if (at >= nextSlice_) {
        slices_.push_back(at);
        nextSlice_ = at + kSlice;
    }
    const size_t start = pending_.size();
    pending_.append(kHeader, '\0');
    appendRecordBody(pending_, from, values);
    const auto bodySize = static_cast<uint32_t>(pending_.size() - start - kHeader);
    std::memcpy(pending_.data() + start, &bodySize, 4);
    std::memcpy(pending_.data() + start + 4, &record, 4);
    if (pending_.size() >= kBuffer) flush();
    return at;
}

void BodyFile::flush() {
    if (fd_ < 0 || !writable_ || pending_.empty()) return;
    if (!pwriteWhole(fd_, pending_.data(), pending_.size(), written_)) {
        // No room left: what is pending stays in memory, and so does what follows.
        writable_ = false;
        return;
    }
    written_ += pending_.size();
    pending_.clear();
}

void BodyFile::finish() { flush(); }

std::string_view BodyFile::read(uint64_t at, std::string& into) const {
    if (at >= written_) {
        const size_t offset = static_cast<size_t>(at - written_);
        if (offset + kHeader > pending_.size()) return {};
        uint32_t bodySize = 0;
        std::memcpy(&bodySize, pending_.data() + offset, 4);
        return std::string_view(pending_).substr(offset + kHeader, bodySize);
    }
    // Most bodies are small: one read takes the header and the body with it.
    into.resize(512);
    if (!preadWhole(fd_, into.data(), std::min<uint64_t>(into.size(), written_ - at), at)) return {};
    uint32_t bodySize = 0;
    std::memcpy(&bodySize, into.data(), 4);
    if (at + kHeader + bodySize > written_) return {};
    if (kHeader + bodySize > 512) {
        into.resize(kHeader + bodySize);
        if (!preadWhole(fd_, into.data(), into.size(), at)) return {};
    }
    return std::string_view(into).substr(kHeader, bodySize);
}

void BodyFile::scan(int threads, const std::function<void(uint32_t record, std::string_view body)>& each) const {
    const auto walk = [&](std::string_view bytes) {
        for (size_t at = 0; at + kHeader <= bytes.size();) {
            uint32_t bodySize = 0, record = 0;
            std::memcpy(&bodySize, bytes.data() + at, 4);
            std::memcpy(&record, bytes.data() + at + 4, 4);
            if (at + kHeader + bodySize > bytes.size()) break;
            each(record, bytes.substr(at + kHeader, bodySize));
            at += kHeader + bodySize;
        }
    };
    // The slices in the file, each read whole by one thread (they start where a record does).
    std::vector<std::pair<uint64_t, uint64_t>> ranges;
    for (size_t i = 0; i < slices_.size() && slices_[i] < written_; ++i) {
        ranges.emplace_back(slices_[i], i + 1 < slices_.size() ? std::min(slices_[i + 1], written_) : written_);
    }
    std::atomic<size_t> next{0};
    const auto work = [&] {
        std::string buffer;
        for (size_t i = next++; i < ranges.size(); i = next++) {
            buffer.resize(ranges[i].second - ranges[i].first);
            if (preadWhole(fd_, buffer.data(), buffer.size(), ranges[i].first)) walk(buffer);
        }
    };
    std::vector<std::thread> workers;
    for (int t = 1; t < std::min<int>(threads, static_cast<int>(ranges.size())); ++t) workers.emplace_back(work);
    work();
    for (std::thread& w : workers) w.join();
    walk(pending_);
}

}  // namespace kestrova
