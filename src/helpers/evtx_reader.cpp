// kestrova-evtx-reader LOG: reads one Windows event log with libevtx and writes each record to
// standard output as a frame for the program (event_logs.cpp), then exits 0.
//
// libevtx runs in a process of its own, not merely a forked child of the program: the libyal
// libraries each export their own copy of libfvalue and libfwevt, and in the program the first
// one loaded (an older libmsiecf's or libesedb's) answers for all, which does not know the value
// types event logs hold. Here libevtx is the only library loaded. The program starts this with the
// limits of a contained parser (memory, processor time, wall clock) and reads what arrives.
//
// A frame is its length (4 bytes, host order) and its bytes: a type byte, then
//   'C' recovered (1), count (u32)                      how many records libevtx lists
//   'R' recovered (1), record id (u64), written (u64 FILETIME, 0: none), event id (u32,
//       0xFFFFFFFF: none), offset (u64), then five texts (u32 size, bytes): the XML, provider,
//       computer, user SID (these three only where there is no XML), and why the XML could not be
//       had ("" when it could)
//   'L' recovered (1), index (u32), why (text)          a record libevtx cannot give
//   'D'                                                 the header says the log is dirty
//   'E' why (text)                                      the file is no log libevtx opens
// Nothing else is read or written.
#include <libevtx.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>

namespace {

bool writeAll(const char* data, size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(STDOUT_FILENO, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

class Frame {
public:
    explicit Frame(char type) { bytes_.push_back(type); }
    Frame& u8(uint8_t v) { return raw(&v, 1); }
    Frame& u32(uint32_t v) { return raw(&v, 4); }
    Frame& u64(uint64_t v) { return raw(&v, 8); }
    Frame& text(const std::string& t) {
        u32(static_cast<uint32_t>(t.size()));
        bytes_ += t;
        return *this;
    }
    bool send() {
        const auto size = static_cast<uint32_t>(bytes_.size());
        return writeAll(reinterpret_cast<const char*>(&size), 4) && writeAll(bytes_.data(), bytes_.size());
    }

private:
    Frame& raw(const void* p, size_t n) {
        bytes_.append(static_cast<const char*>(p), n);
        return *this;
    }
    std::string bytes_;
};

std::string errorText(libevtx_error_t** error) {
    if (!error || !*error) return "libevtx gives no reason";
    char text[2048] = {};
    libevtx_error_sprint(*error, text, sizeof text);
    libevtx_error_free(error);
    std::string first(text);
    first = first.substr(0, first.find('\n'));
    const size_t colon = first.find(": ");
    return colon == std::string::npos ? first : first.substr(colon + 2);
}

// A text getter pair's value; "" when the record has none.
template <typename SizeFn, typename TextFn>
std::string textOf(libevtx_record_t* record, SizeFn sizeFn, TextFn textFn) {
    size_t size = 0;
    if (sizeFn(record, &size, nullptr) != 1 || size == 0 || size > (1u << 20)) return {};
    std::string text(size, '\0');
    if (textFn(record, reinterpret_cast<uint8_t*>(text.data()), size, nullptr) != 1) return {};
    text.resize(std::strlen(text.c_str()));
    return text;
}

bool sendRecord(libevtx_record_t* record, bool recovered) {
    libevtx_error_t* error = nullptr;
    std::string xml, why;
    size_t size = 0;
    if (libevtx_record_get_utf8_xml_string_size(record, &size, &error) == 1 && size > 0 && size <= (64u << 20)) {
        xml.assign(size, '\0');
        if (libevtx_record_get_utf8_xml_string(record, reinterpret_cast<uint8_t*>(xml.data()), size, &error) == 1) {
            xml.resize(std::strlen(xml.c_str()));
        } else {
            xml.clear();
            why = errorText(&error);
        }
    } else {
        why = errorText(&error);
    }
    // The System fields libevtx reads without the XML are only asked for where the XML failed:
    // each getter renders the record again.
    const bool fallback = xml.empty();
    uint64_t id = 0, written = 0;
    off64_t offset = 0;
    uint32_t eventId = 0xFFFFFFFFu;
    libevtx_record_get_identifier(record, &id, nullptr);
    libevtx_record_get_written_time(record, &written, nullptr);
    libevtx_record_get_offset(record, &offset, nullptr);
    if (uint32_t e = 0; libevtx_record_get_event_identifier(record, &e, nullptr) == 1) eventId = e;
    return Frame('R')
        .u8(recovered)
        .u64(id)
        .u64(written)
        .u32(eventId)
        .u64(static_cast<uint64_t>(offset))
        .text(xml)
        .text(fallback ? textOf(record, libevtx_record_get_utf8_source_name_size, libevtx_record_get_utf8_source_name) : std::string())
        .text(fallback ? textOf(record, libevtx_record_get_utf8_computer_name_size, libevtx_record_get_utf8_computer_name) : std::string())
        .text(fallback ? textOf(record, libevtx_record_get_utf8_user_security_identifier_size,
                                libevtx_record_get_utf8_user_security_identifier)
                       : std::string())
        .text(why)
        .send();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: kestrova-evtx-reader LOG\n");
        return 2;
    }
    libevtx_file_t* file = nullptr;
    libevtx_error_t* error = nullptr;
    if (libevtx_file_initialize(&file, &error) != 1) {
        Frame('E').text(errorText(&error)).send();
        return 0;
    }
    // Closed and freed however the reading ends (a leak checker in a sanitized build watches).
    struct Closer {
        libevtx_file_t*& file;
        bool opened = false;
        ~Closer() {
            if (opened) libevtx_file_close(file, nullptr);
            libevtx_file_free(&file, nullptr);
        }
    } closer{file};
    if (libevtx_file_open(file, argv[1], LIBEVTX_OPEN_READ, &error) != 1) {
        Frame('E').text(errorText(&error)).send();
        return 0;
    }
    closer.opened = true;
    if (uint32_t flags = 0; libevtx_file_get_flags(file, &flags, nullptr) == 1 && (flags & LIBEVTX_FILE_FLAG_IS_DIRTY)) {
        if (!Frame('D').send()) return 0;
    }
    for (const bool recovered : {false, true}) {
        int count = 0;
        if ((recovered ? libevtx_file_get_number_of_recovered_records : libevtx_file_get_number_of_records)(file, &count, &error) != 1) {
            if (!Frame('L').u8(recovered).u32(0xFFFFFFFFu).text(errorText(&error)).send()) return 0;
            continue;
        }
        if (!Frame('C').u8(recovered).u32(static_cast<uint32_t>(count)).send()) return 0;
        for (int i = 0; i < count; ++i) {
            libevtx_record_t* record = nullptr;
            const int got = recovered ? libevtx_file_get_recovered_record_by_index(file, i, &record, &error)
                                      : libevtx_file_get_record_by_index(file, i, &record, &error);
            if (got != 1) {
                // Passed over, said, and the next one read: one bad record does not end the log.
                if (!Frame('L').u8(recovered).u32(static_cast<uint32_t>(i)).text(errorText(&error)).send()) return 0;
                continue;
            }
            const bool sent = sendRecord(record, recovered);
            libevtx_record_free(&record, nullptr);
            if (!sent) return 0;  // the program stopped listening
        }
    }
    return 0;
}
