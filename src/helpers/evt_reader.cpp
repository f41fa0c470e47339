// kestrova-evt-reader LOG: reads one Windows NT event log (.evt: Windows NT to Server 2003) with
// libevt and writes each record to standard output as a frame for the program
// (platform/evtx/evt_file.cpp), then exits 0.
//
// libevt runs in a process of its own, not merely a forked child of the program: the libyal
// libraries each export their own copy of their shared code (libfvalue among them), and in the
// program the first one loaded answers for all. Here libevt is the only library loaded. The
// program starts this with the limits of a contained parser (memory, processor time, wall clock)
// and reads what arrives.
//
// A frame is its length (4 bytes, host order) and its bytes: a type byte, then
//   'C' recovered (1), count (u32)                      how many records libevt lists
//   'R' recovered (1), record number (u32), written (u32 POSIX seconds), event id (u32), event
//       type (u16), offset (u64), then texts (u32 size, bytes): source, computer, user SID, the
//       number of strings (u32) and the strings, the data (raw bytes)
//   'L' recovered (1), index (u32), why (text)          a record libevt cannot give
//   'D'                                                 the header says the log is dirty
//   'E' why (text)                                      the file is no log libevt opens
// Nothing else is read or written.
#include <libevt.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>

#include "platform/io/whole_io.h"

namespace {

// Frames go to standard output, the pipe the program reads.
bool writeAll(const char* data, size_t size) { return kestrova::writeWhole(STDOUT_FILENO, data, size); }

class Frame {
public:
    explicit Frame(char type) { bytes_.push_back(type); }
    Frame& u8(uint8_t v) { return raw(&v, 1); }
    Frame& u16(uint16_t v) { return raw(&v, 2); }
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

std::string errorText(libevt_error_t** error) {
    if (!error || !*error) return "libevt gives no reason";
    char text[2048] = {};
    libevt_error_sprint(*error, text, sizeof text);
    libevt_error_free(error);
    std::string first(text);
    first = first.substr(0, first.find('\n'));
    const size_t colon = first.find(": ");
    return colon == std::string::npos ? first : first.substr(colon + 2);
}

// A text getter pair's value; "" when the record has none (1 MiB at most: a record is 64 KiB).
template <typename SizeFn, typename TextFn>
std::string textOf(libevt_record_t* record, SizeFn sizeFn, TextFn textFn) {
    size_t size = 0;
    if (sizeFn(record, &size, nullptr) != 1 || size == 0 || size > (1u << 20)) return {};
    std::string text(size, '\0');
    if (textFn(record, reinterpret_cast<uint8_t*>(text.data()), size, nullptr) != 1) return {};
    text.resize(std::strlen(text.c_str()));
    return text;
}

bool sendRecord(libevt_record_t* record, bool recovered) {
    uint32_t number = 0, written = 0, eventId = 0;
    uint16_t type = 0;
    off64_t offset = 0;
    libevt_record_get_identifier(record, &number, nullptr);
    libevt_record_get_written_time(record, &written, nullptr);
    libevt_record_get_event_identifier(record, &eventId, nullptr);
    libevt_record_get_event_type(record, &type, nullptr);
    libevt_record_get_offset(record, &offset, nullptr);
    Frame frame('R');
    frame.u8(recovered).u32(number).u32(written).u32(eventId).u16(type).u64(static_cast<uint64_t>(offset));
    frame.text(textOf(record, libevt_record_get_utf8_source_name_size, libevt_record_get_utf8_source_name));
    frame.text(textOf(record, libevt_record_get_utf8_computer_name_size, libevt_record_get_utf8_computer_name));
    frame.text(textOf(record, libevt_record_get_utf8_user_security_identifier_size, libevt_record_get_utf8_user_security_identifier));
    int strings = 0;
    if (libevt_record_get_number_of_strings(record, &strings, nullptr) != 1 || strings < 0 || strings > 1024) strings = 0;
    frame.u32(static_cast<uint32_t>(strings));
    for (int i = 0; i < strings; ++i) {
        size_t size = 0;
        std::string text;
        if (libevt_record_get_utf8_string_size(record, i, &size, nullptr) == 1 && size > 0 && size <= (1u << 20)) {
            text.assign(size, '\0');
            if (libevt_record_get_utf8_string(record, i, reinterpret_cast<uint8_t*>(text.data()), size, nullptr) == 1) {
                text.resize(std::strlen(text.c_str()));
            } else {
                text.clear();
            }
        }
        frame.text(text);
    }
    size_t dataSize = 0;
    std::string data;
    if (libevt_record_get_data_size(record, &dataSize, nullptr) == 1 && dataSize > 0 && dataSize <= (1u << 20)) {
        data.assign(dataSize, '\0');
        if (libevt_record_get_data(record, reinterpret_cast<uint8_t*>(data.data()), dataSize, nullptr) != 1) data.clear();
    }
    return frame.text(data).send();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: kestrova-evt-reader LOG\n");
        return 2;
    }
    libevt_file_t* file = nullptr;
    libevt_error_t* error = nullptr;
    if (libevt_file_initialize(&file, &error) != 1) {
        Frame('E').text(errorText(&error)).send();
        return 0;
    }
    // Closed and freed however the reading ends (a leak checker in a sanitized build watches).
    struct Closer {
        libevt_file_t*& file;
        bool opened = false;
        ~Closer() {
            if (opened) libevt_file_close(file, nullptr);
            libevt_file_free(&file, nullptr);
        }
    } closer{file};
    if (libevt_file_open(file, argv[1], LIBEVT_OPEN_READ, &error) != 1) {
        Frame('E').text(errorText(&error)).send();
        return 0;
    }
    closer.opened = true;
    if (uint32_t flags = 0; libevt_file_get_flags(file, &flags, nullptr) == 1 && (flags & LIBEVT_FILE_FLAG_IS_DIRTY)) {
        if (!Frame('D').send()) return 0;
    }
    for (const bool recovered : {false, true}) {
        int count = 0;
        if ((recovered ? libevt_file_get_number_of_recovered_records : libevt_file_get_number_of_records)(file, &count, &error) != 1) {
            if (!Frame('L').u8(recovered).u32(0xFFFFFFFFu).text(errorText(&error)).send()) return 0;
            continue;
        }
        if (!Frame('C').u8(recovered).u32(static_cast<uint32_t>(count)).send()) return 0;
        for (int i = 0; i < count; ++i) {
            libevt_record_t* record = nullptr;
            const int got = recovered ? libevt_file_get_recovered_record_by_index(file, i, &record, &error)
                                      : libevt_file_get_record_by_index(file, i, &record, &error);
            if (got != 1) {
                // Passed over, said, and the next one read: one bad record does not end the log.
                if (!Frame('L').u8(recovered).u32(static_cast<uint32_t>(i)).text(errorText(&error)).send()) return 0;
                continue;
            }
            const bool sent = sendRecord(record, recovered);
            libevt_record_free(&record, nullptr);
            if (!sent) return 0;  // the program stopped listening
        }
    }
    return 0;
}
