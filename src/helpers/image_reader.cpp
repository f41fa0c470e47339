// kestrova-image-reader SOCKET IMAGE PARTITION STORE: the disk image reader the program starts for
// an image (platform/image/image_server.h): it opens the image, serves its partition's files (as
// the shadow copy STORE keeps them, 0: as they are now) over the socket descriptor it inherited,
// and ends when the program hangs up.
//
// It is a program of its own rather than a forked copy of the program: a process with threads
// (the window, a sanitizer's) cannot safely allocate in a child it forked, and the reader
// allocates for as long as it serves.
#include <QFile>
#include <cstdio>
#include <cstdlib>
#include <zlib.h>

#include "platform/contained/contained_run.h"
#include "platform/image/image_server.h"
#include "platform/image/zlib_inflate.h"

// libewf inflates every compressed chunk of an EWF image through zlib's uncompress(), and taking
// a file out of such an image is mostly that. The reader defines uncompress() itself, with
// libdeflate: a program's own definition of a symbol comes before a shared library's, so
// libewf's calls (and any other library's here) land here (the link exports it: CMakeLists.txt).
extern "C" int uncompress(Bytef* dest, uLongf* destLen, const Bytef* source, uLong sourceLen) {
    return kestrova::inflateWholeZlib(dest, destLen, source, sourceLen);
}

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: kestrova-image-reader SOCKET IMAGE PARTITION STORE\n");
        return 2;
    }
    const int socket = std::atoi(argv[1]);
    // Whatever else the program left open is not the reader's to hold.
    kestrova::closeDescriptorsExcept({socket});
    kestrova::serveImage(socket, QFile::decodeName(argv[2]), std::atoi(argv[3]), std::atoi(argv[4]));
}
