// The program's side of the image reader's conversation: replies of any bytes (the child parses
// evidence and may answer anything), and frames of any length on a socket.
#include <QByteArray>
#include <cstdint>
#include <cstdlib>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/image/image_server.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace kestrova;
    const QByteArray reply(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    ImageSummary summary;
    if (imagewire::decodeSummary(reply, &summary)) {
        // What decodes encodes again to a reply that decodes the same.
        ImageSummary again;
        if (!imagewire::decodeSummary(imagewire::encodeSummary(summary), &again) || again.partitions.size() != summary.partitions.size()) {
            std::abort();
        }
    }
    (void)imagewire::decodeStat(reply);
    bool found = false;
    (void)imagewire::decodeList(reply, &found);
    (void)imagewire::decodePlain(reply);
    int pair[2];
    if (size <= 65536 && ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) == 0) {
        (void)!::write(pair[1], data, size);
        ::close(pair[1]);
        QByteArray frame;
        while (imagewire::readFrame(pair[0], &frame, 1000)) {
        }
        ::close(pair[0]);
    }
    return 0;
}
