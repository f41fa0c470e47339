// A disk image read in a child process of its own. The container libraries (libewf, libvhdi,
// libvmdk, libqcow) and libfsntfs parse bytes of the evidence and are older than their own
// fuzzing fixes: a crafted image may crash them, exhaust memory or loop. So the image is opened,
// its partitions listed and its NTFS file system read by a child process with a memory limit and
// no core dump, which answers the program's requests (does a path exist, list a folder, copy a
// file into a file the program hands it) over a socket. A request that finds the child gone, or
// that it does not answer in time, fails with the reason; the program goes on, and everything
// read before stays.
#pragma once

#include <QString>
#include <QStringList>
#include <memory>
#include <mutex>
#include <optional>
#include <sys/types.h>
#include <utility>
#include <vector>

#include "core/system/analysed_system.h"
#include "platform/image/partitions.h"
#include "platform/image/shadow_copies.h"

namespace kestrova {

// What the child found when it opened the image.
struct ImageSummary {
    QString format;                                   // "EWF", "VHDX", "raw (split)" ...
    quint64 size = 0;                                 // the disk's size in bytes
    QStringList files;                                // segments, extents
    std::vector<std::pair<QString, QString>> metadata;  // EWF's acquisition data
    std::vector<Partition> partitions;
    std::vector<int> windows;                         // the partitions that hold Windows
    int chosen = 0;                                   // the partition served, 0 when none
    QString label;                                    // its volume label
    QString problem;                                  // why none is served, in the user's words
    QString incomplete;                               // "incomplete: ...": what of the disk the image lacks
    std::vector<ShadowStore> stores;                  // the served partition's shadow copies
    QString storesProblem;                            // why they (or some) cannot be read
    int store = 0;                                    // the shadow copy served, 0: the current volume
};

// The reader's side: serves the image at `path` (its partition from 1, or 0 for the one that holds
// Windows; as shadow copy `store` keeps it, 0: as it is now) over `socket` until the program hangs
// up, then ends the process. Run by the helper program kestrova-image-reader, or in a forked child
// where that is not installed.
[[noreturn]] void serveImage(int socket, const QString& path, int partition, int store);

class ImageServer {
public:
    // Starts the child on the image: partition from 1, or 0 for the one that holds Windows; store
    // from 1 for a shadow copy of it, 0 for the volume as it is.
    static std::shared_ptr<ImageServer> start(const QString& path, int partition, int store = 0);
    // A child for each of the stores (0: the volume as it is), all started at once.
    static std::vector<std::shared_ptr<ImageServer>> startEach(const QString& path, int partition, const std::vector<int>& stores);
    ~ImageServer();

    const ImageSummary& summary() const { return summary_; }
    // Why the child no longer answers ("" while it does).
    QString failure() const;
    pid_t pid() const { return pid_; }

    // Requests on the served partition; nullopt when the child did not answer (failure() says why).
    struct Stat {
        bool exists = false;
        bool folder = false;
        quint64 reference = 0;  // the MFT reference: one file under every spelling of its path
        quint64 size = 0;
        FileTimes times;
    };
    std::optional<Stat> stat(const QString& windowsPath);
    // The folder's entries; nullopt when it did not answer; found false when there is no folder.
    std::optional<std::vector<DirEntry>> list(const QString& windowsPath, bool* found);
    // Copies a file's bytes into fd (a file of this process); false with the reason.
    bool copy(const QString& windowsPath, int fd, QString* why);
    // Where a file lies in a raw image file (PlainFile); nullopt where it cannot be read in place.
    std::optional<PlainFile> plainFile(const QString& windowsPath);
    // Another child serving what this one serves (the same image, partition and state), for
    // requests beside this one's; nullptr when it cannot be started, or where the reader is not
    // a program of its own (a child forked without an exec is not safe beside other threads).
    std::shared_ptr<ImageServer> another() const;

private:
    ImageServer() = default;
    // The child started; its summary then read (awaitSummary), its problem set when it has none.
    static std::shared_ptr<ImageServer> launch(const QString& path, int partition, int store);
    void awaitSummary(const QString& path);
    // One request (an operation on a path, a file descriptor riding along) and its answer.
    std::optional<QByteArray> request(quint8 op, const QString& windowsPath, int fd = -1);
    void fail(const QString& why);

    std::mutex mutex_;  // one request at a time
    QString path_;      // the image
    int socket_ = -1;
    pid_t pid_ = -1;
    ImageSummary summary_;
    QString failure_;
};

// The program's side of the conversation with the reader child: what the child sends is read as
// hostile (the child parses evidence and may be anything by the time it answers). Each decoder
// takes a reply's bytes and gives the answer, or nothing for a reply that is not one.
namespace imagewire {
QByteArray encodeSummary(const ImageSummary& summary);
bool decodeSummary(const QByteArray& reply, ImageSummary* summary);
std::optional<ImageServer::Stat> decodeStat(const QByteArray& reply);
std::optional<std::vector<DirEntry>> decodeList(const QByteArray& reply, bool* found);
std::optional<PlainFile> decodePlain(const QByteArray& reply);
// One frame (a 4-byte length, then as many bytes) from the socket; false at its end, on garbage
// (a length no answer has) or when the deadline (ms, -1: none) passes.
bool readFrame(int socket, QByteArray* payload, qint64 deadlineMs);
}  // namespace imagewire

}  // namespace kestrova
