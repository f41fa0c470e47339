// The image reader's uncompress() (libdeflate) answers as zlib's does, which libewf was written
// against: the same bytes for a whole stream, the same refusal for one that does not fit. A
// damaged or cut stream is refused by both, though not always with the same code: zlib may run
// out of room before it finds the damage or the end missing (libewf takes either as a damaged
// chunk). No room at all is left out: zlib then inflates into a byte of its own, a quirk no
// caller here meets.
#include <QRandomGenerator>
#include <gtest/gtest.h>
#include <zlib.h>

#include "platform/image/zlib_inflate.h"

namespace kestrova {
namespace {

struct Answer {
    int code;
    std::vector<unsigned char> bytes;  // what was made, when Z_OK
    bool operator==(const Answer&) const = default;
};

template <typename Inflate>
Answer answer(Inflate inflate, const std::vector<unsigned char>& stream, size_t room) {
    std::vector<unsigned char> out(room + 1);  // never empty: data() is a real pointer
    unsigned long size = room;
    const int code = inflate(out.data(), &size, stream.data(), stream.size());
    if (code != Z_OK) return {code, {}};
    out.resize(size);
    return {code, out};
}

void expectAlike(const std::vector<unsigned char>& stream, size_t room, const char* what, bool damaged = false) {
    if (room == 0) return;
    Answer zlib = answer([](auto... a) { return ::uncompress(a...); }, stream, room);
    const Answer ours = answer([](auto... a) { return inflateWholeZlib(a...); }, stream, room);
    if (damaged && zlib.code != Z_OK && ours.code != Z_OK) zlib.code = ours.code;
    ASSERT_EQ(ours, zlib) << what << ", " << stream.size() << " bytes of stream, room for " << room;
}

TEST(ZlibInflate, AnswersAsZlibDoesForWholeCutDamagedAndTooLargeStreams) {
    QRandomGenerator rng(7);
    for (const size_t size : {size_t{0}, size_t{1}, size_t{200}, size_t{32768}, size_t{70000}}) {
        // Half text that repeats (a database's pages), half random bytes.
        std::vector<unsigned char> data(size);
        for (size_t i = 0; i < size; ++i) data[i] = i % 512 < 256 ? static_cast<unsigned char>("https://example.org/page"[i % 24]) : static_cast<unsigned char>(rng.generate());
        for (const int level : {0, 1, 9}) {
            unsigned long bound = compressBound(size);
            std::vector<unsigned char> stream(bound);
            ASSERT_EQ(compress2(stream.data(), &bound, data.data(), size, level), Z_OK);
            stream.resize(bound);
            expectAlike(stream, size, "whole");
            expectAlike(stream, size + 100, "whole, more room");
            if (size > 0) expectAlike(stream, size - 1, "a byte too little room");
            std::vector<unsigned char> trailed = stream;
            trailed.insert(trailed.end(), {0xDE, 0xAD, 0xBE, 0xEF});
            expectAlike(trailed, size, "followed by other bytes");
            for (const size_t cut : {size_t{0}, size_t{1}, stream.size() / 2, stream.size() - 4, stream.size() - 1}) {
                expectAlike(std::vector<unsigned char>(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(cut)), size, "cut short", true);
            }
            for (int flip = 0; flip < 200; ++flip) {
                std::vector<unsigned char> damaged = stream;
                damaged[rng.bounded(static_cast<quint32>(damaged.size()))] ^= static_cast<unsigned char>(1u << rng.bounded(8));
                expectAlike(damaged, size, "a bit flipped", true);
            }
        }
    }
}

}  // namespace
}  // namespace kestrova
