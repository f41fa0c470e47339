// zlib's uncompress() made with libdeflate, at twice zlib's speed: what the disk image reader
// gives libewf for the chunks of a compressed EWF image (helpers/image_reader.cpp).
#pragma once

namespace kestrova {

// A whole zlib stream (what follows its end is left alone) into `out`, which holds *outSize
// bytes: as uncompress() answers, Z_OK with *outSize set to the bytes made; Z_BUF_ERROR when they
// do not fit; Z_DATA_ERROR when the stream is damaged or cut short; Z_MEM_ERROR.
int inflateWholeZlib(unsigned char* out, unsigned long* outSize, const unsigned char* in, unsigned long inSize);

}  // namespace kestrova
