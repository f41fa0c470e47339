#include "platform/image/zlib_inflate.h"

#include <libdeflate.h>
#include <memory>
#include <zlib.h>

namespace kestrova {

int inflateWholeZlib(unsigned char* out, unsigned long* outSize, const unsigned char* in, unsigned long inSize) {
    // One decompressor a thread, kept: making one costs more than inflating a 32 KiB chunk.
    thread_local const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> inflater(
        libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
    if (!inflater) return Z_MEM_ERROR;
    size_t made = 0;
    switch (libdeflate_zlib_decompress(inflater.get(), in, inSize, out, *outSize, &made)) {
        case LIBDEFLATE_SUCCESS:
            *outSize = made;
            return Z_OK;
        case LIBDEFLATE_INSUFFICIENT_SPACE:
            return Z_BUF_ERROR;
        default:
            return Z_DATA_ERROR;
    }
}

}  // namespace kestrova
