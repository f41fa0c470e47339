// Verifying a disk image as ewfverify does: every byte of the disk it stands for is read through
// its container library and hashed (MD5 and SHA-1), and the hashes are compared with those the
// container stored at acquisition (EWF keeps them; other containers keep none). The reading runs
// in a contained child, like every other use of the container libraries: a crafted image ends the
// child, not the program, and says so.
#pragma once

#include <QString>
#include <cstdint>
#include <functional>

namespace kestrova {

struct ImageVerification {
    bool read = false;           // every byte was read
    uint64_t size = 0;           // the disk's size
    uint64_t done = 0;           // bytes hashed
    QString format;              // "EWF", "VHDX", ...
    QString md5, sha1;           // computed, lower-case hex (when read)
    QString storedMd5, storedSha1;  // as the container stored them ("" when it keeps none)
    QString why;                 // why the image could not be read whole, in the user's words
    // Whether every stored hash equals the computed one (true when none is stored).
    bool matches() const {
        return read && (storedMd5.isEmpty() || storedMd5.compare(md5, Qt::CaseInsensitive) == 0) &&
               (storedSha1.isEmpty() || storedSha1.compare(sha1, Qt::CaseInsensitive) == 0);
    }
};

// Hashes the image at path; progress(done, size) is called now and then as it reads.
ImageVerification verifyImage(const QString& path, const std::function<void(uint64_t, uint64_t)>& progress);

}  // namespace kestrova
