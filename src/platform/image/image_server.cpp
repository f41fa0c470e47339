#include "platform/image/image_server.h"

#include <QDataStream>
#include <QElapsedTimer>
#include <QFile>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/contained/contained_run.h"
#include "platform/image/disk_image.h"
#include "platform/image/image_volume.h"

namespace kestrova {
namespace {

// Requests, one byte each, then their arguments (QDataStream).
enum Op : quint8 { OpStat = 1, OpList = 2, OpCopy = 3, OpPlain = 4 };

// How long one request may take: a copy of a large file from a compressed image takes a while,
// a loop in a damaged file system forever.
constexpr int kRequestSeconds = 300;

constexpr size_t kChildMemory = size_t{4} << 30;

// How long a child that was told to end (its socket closed) may take before it is killed.
constexpr int kEndGraceMs = 1000;

// A frame on the socket: its length (4 bytes, host order) and its bytes, with a file descriptor
// riding along on the first byte where one is passed.
bool sendFrame(int socket, const QByteArray& payload, int fd = -1) {
    QByteArray frame(4, '\0');
    const auto size = static_cast<quint32>(payload.size());
    std::memcpy(frame.data(), &size, 4);
    frame += payload;
    const char* at = frame.constData();
    size_t left = static_cast<size_t>(frame.size());
    bool first = true;
    while (left > 0) {
        iovec io{const_cast<char*>(at), left};
        msghdr message{};
        message.msg_iov = &io;
        message.msg_iovlen = 1;
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
        if (first && fd >= 0) {
            message.msg_control = control;
            message.msg_controllen = sizeof control;
            cmsghdr* header = CMSG_FIRSTHDR(&message);
            header->cmsg_level = SOL_SOCKET;
            header->cmsg_type = SCM_RIGHTS;
            header->cmsg_len = CMSG_LEN(sizeof(int));
            std::memcpy(CMSG_DATA(header), &fd, sizeof(int));
        }
        const ssize_t sent = ::sendmsg(socket, &message, MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        first = false;
        at += sent;
        left -= static_cast<size_t>(sent);
    }
    return true;
}

// Receives one frame; false at the end of the stream, on an error or when `deadline` (ms, -1:
// none) passes. *fd gets a descriptor that came with it (-1 when none).
bool receiveFrame(int socket, QByteArray* payload, int* fd, qint64 deadlineMs, bool* timedOut) {
    QElapsedTimer clock;
    clock.start();
    QByteArray bytes;
    qsizetype want = 4;
    if (fd) *fd = -1;
    while (bytes.size() < want) {
        if (deadlineMs >= 0) {
            const qint64 left = deadlineMs - clock.elapsed();
            pollfd watch{socket, POLLIN, 0};
            const int ready = left > 0 ? ::poll(&watch, 1, static_cast<int>(std::min<qint64>(left, 1000))) : 0;
            if (ready < 0 && errno == EINTR) continue;
            if (ready == 0) {
                if (clock.elapsed() < deadlineMs) continue;
                if (timedOut) *timedOut = true;
                return false;
            }
        }
        char buffer[65536];
        iovec io{buffer, static_cast<size_t>(std::min<qsizetype>(sizeof buffer, want - bytes.size()))};
        msghdr message{};
        message.msg_iov = &io;
        message.msg_iovlen = 1;
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        const ssize_t got = ::recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        for (cmsghdr* header = CMSG_FIRSTHDR(&message); header; header = CMSG_NXTHDR(&message, header)) {
            if (header->cmsg_level == SOL_SOCKET && header->cmsg_type == SCM_RIGHTS && fd) std::memcpy(fd, CMSG_DATA(header), sizeof(int));
        }
        bytes.append(buffer, got);
        if (want == 4 && bytes.size() >= 4) {
            quint32 size = 0;
            std::memcpy(&size, bytes.constData(), 4);
            if (size > (256u << 20)) return false;  // no answer of ours is that large
            want = 4 + static_cast<qsizetype>(size);
        }
    }
    *payload = bytes.mid(4);
    return true;
}

QDataStream& operator<<(QDataStream& out, const Partition& p) {
    return out << p.number << quint64(p.offset) << quint64(p.size) << p.scheme << p.type << p.name << p.fileSystem << p.reservedOrEfi
               << p.problem << p.beyondImage;
}
QDataStream& operator>>(QDataStream& in, Partition& p) {
    quint64 offset = 0, size = 0;
    in >> p.number >> offset >> size >> p.scheme >> p.type >> p.name >> p.fileSystem >> p.reservedOrEfi >> p.problem >> p.beyondImage;
    p.offset = offset;
    p.size = size;
    return in;
}

// The volume in the state asked for: as it is (store 0), or as shadow copy `store` keeps it. The
// partition's stores are listed in the summary either way; a store that cannot be served leaves
// nothing served, with the reason as the summary's problem.
std::unique_ptr<ImageVolume> servedState(const std::shared_ptr<DiskImage>& disk, const Partition& partition,
                                         std::unique_ptr<ImageVolume> current, int store, ImageSummary* summary) {
    QString why;
    const auto copies = ShadowCopies::open(disk, partition.offset, partition.size, &why);
    summary->stores = copies->stores();
    summary->storesProblem = why;
    summary->store = store;
    if (store == 0) return current;
    why.clear();
    const std::shared_ptr<DiskImage> state = copies->storeDisk(store, &why);
    if (!state) {
        summary->problem = QStringLiteral("partition %1: %2").arg(partition.number).arg(why);
        return nullptr;
    }
    Partition whole = partition;
    whole.offset = 0;
    whole.size = state->size();
    auto volume = ImageVolume::open(state, whole, &why);
    if (!volume) summary->problem = QStringLiteral("shadow copy %1 of %2").arg(store).arg(why);
    return volume;
}

QDataStream& operator<<(QDataStream& out, const ShadowStore& s) {
    return out << s.number << s.identifier << s.created.has_value() << qint64(s.created.value_or(0)) << quint64(s.size)
               << quint64(s.volumeSize);
}
QDataStream& operator>>(QDataStream& in, ShadowStore& s) {
    bool dated = false;
    qint64 created = 0;
    quint64 size = 0, volumeSize = 0;
    in >> s.number >> s.identifier >> dated >> created >> size >> volumeSize;
    if (dated) s.created = created;
    s.size = size;
    s.volumeSize = volumeSize;
    return in;
}

}  // namespace

// --- the child ------------------------------------------------------------------------------------

void serveImage(int socket, const QString& path, int partition, int store) {
    // No limit on processor time: the child serves the whole examination; each request has its
    // own time limit in the program.
    limitThisChild(kChildMemory, 0);
    ImageSummary summary;
    std::unique_ptr<ImageVolume> served;
    QString why;
    std::shared_ptr<DiskImage> disk = DiskImage::open(path, &why);
    if (!disk) {
        summary.problem = why;
    } else {
        summary.format = disk->format();
        summary.size = disk->size();
        summary.files = disk->files();
        summary.metadata = disk->metadata();
        summary.partitions = listPartitions(*disk);
        QStringList refused;
        for (const Partition& p : summary.partitions) {
            const bool ntfs = p.fileSystem == QLatin1String("NTFS") || p.fileSystem == QLatin1String("BitLocker");
            if (partition > 0 ? p.number != partition : (p.reservedOrEfi || !ntfs)) continue;
            if (p.beyondImage) {
                refused << QStringLiteral("partition %1 %2").arg(p.number).arg(p.problem);
                continue;
            }
            auto volume = ImageVolume::open(disk, p, &why);
            if (!volume) {
                refused << why;
                continue;
            }
            const bool windows = volume->holdsWindows();
            if (windows) summary.windows.push_back(p.number);
            if (!served && (windows || partition > 0)) {
                summary.chosen = p.number;
                summary.label = volume->label();
                served = std::move(volume);
            }
        }
        if (served) {
            const Partition& chosen = *std::find_if(summary.partitions.begin(), summary.partitions.end(),
                                                    [&](const Partition& p) { return p.number == summary.chosen; });
            served = servedState(disk, chosen, std::move(served), store, &summary);
        }
        summary.incomplete = disk->incomplete();
        if (!summary.problem.isEmpty()) {
            // The partition was found but the state asked of it cannot be served: said already.
        } else if (summary.partitions.empty()) {
            summary.problem = !summary.incomplete.isEmpty()
                                  ? QStringLiteral("%1 is %2").arg(path, summary.incomplete)
                                  : QStringLiteral("%1 holds no partition table and no file system this program knows").arg(path);
        } else if (partition > 0 && !served) {
            summary.problem = refused.isEmpty() ? QStringLiteral("%1 has no partition %2").arg(path).arg(partition)
                                                : QStringLiteral("%1: %2").arg(path, refused.join(QStringLiteral("; ")));
        } else if (!served) {
            summary.problem = QStringLiteral("no partition of %1 holds a Windows system%2; name one with --partition")
                                  .arg(path, refused.isEmpty() ? QString()
                                                               : QStringLiteral(" (") + refused.join(QStringLiteral("; ")) + QLatin1Char(')'));
        }
        if (!summary.problem.isEmpty() && !summary.incomplete.isEmpty() && !summary.problem.contains(summary.incomplete)) {
            summary.problem += QStringLiteral("; the image is ") + summary.incomplete;
        }
    }
    if (!sendFrame(socket, imagewire::encodeSummary(summary))) ::_exit(0);
    for (;;) {
        QByteArray request;
        int fd = -1;
        if (!receiveFrame(socket, &request, &fd, -1, nullptr)) ::_exit(0);  // the program is done
        QDataStream in(request);
        quint8 op = 0;
        QString windowsPath;
        in >> op >> windowsPath;
        QByteArray reply;
        QDataStream out(&reply, QIODevice::WriteOnly);
        if (!served) {
            out << false;
        } else if (op == OpStat) {
            bool folder = false;
            quint64 size = 0;
            FileTimes times;
            const auto reference = served->referenceOf(windowsPath, &folder, &size, &times);
            out << reference.has_value() << folder << quint64(reference.value_or(0)) << size << times.created
                << times.modified << times.accessed << times.changed;
        } else if (op == OpList) {
            bool found = false;
            const std::vector<DirEntry> entries = served->listFolder(windowsPath, &found);
            out << found << quint32(entries.size());
            for (const DirEntry& e : entries) out << e.name << e.attributes;
        } else if (op == OpCopy) {
            out << (fd >= 0 && served->copyTo(windowsPath, fd));
        } else if (op == OpPlain) {
            const auto plain = served->plainFile(windowsPath);
            out << plain.has_value();
            if (plain) {
                out << plain->image << plain->size << quint32(plain->runs.size());
                for (const auto& [offset, length] : plain->runs) out << offset << length;
            }
        }
        if (fd >= 0) ::close(fd);
        if (!sendFrame(socket, reply)) ::_exit(0);
    }
}

std::shared_ptr<ImageServer> ImageServer::start(const QString& path, int partition, int store) {
    auto server = launch(path, partition, store);
    server->awaitSummary(path);
    return server;
}

std::vector<std::shared_ptr<ImageServer>> ImageServer::startEach(const QString& path, int partition, const std::vector<int>& stores) {
    // Every child opens its image at the same time: on a disk image, the opening is most of the
    // work a store's reader does before it serves.
    std::vector<std::shared_ptr<ImageServer>> servers;
    for (const int store : stores) servers.push_back(launch(path, partition, store));
    for (const auto& server : servers) server->awaitSummary(path);
    return servers;
}

std::shared_ptr<ImageServer> ImageServer::launch(const QString& path, int partition, int store) {
    auto server = std::shared_ptr<ImageServer>(new ImageServer);
    server->path_ = path;
    int pair[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) {
        server->summary_.problem = QStringLiteral("%1 cannot be read: %2").arg(path, QString::fromLocal8Bit(std::strerror(errno)));
        return server;
    }
    // The reader runs as a program of its own where it is installed: a fork of a process with
    // threads (the window's, a sanitizer's) may hold a lock another thread held at the fork, and
    // the child's first allocation would wait on it for ever. Between the fork and the exec the
    // child only clears the socket's close-on-exec and executes; all it needs is made here.
    const QString helper = helperProgram("kestrova-image-reader");
    const ExecArguments exec({QFile::encodeName(helper), QByteArray::number(pair[1]), QFile::encodeName(path), QByteArray::number(partition),
                              QByteArray::number(store)});
    std::fflush(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        if (!helper.isEmpty()) {
            ::fcntl(pair[1], F_SETFD, 0);
            ::execv(exec.program(), exec.argv());
            ::_exit(127);
        }
        closeDescriptorsExcept({pair[1]});
        serveImage(pair[1], path, partition, store);
    }
    ::close(pair[1]);
    server->socket_ = pair[0];
    server->pid_ = pid;
    if (pid < 0) server->summary_.problem = QStringLiteral("%1 cannot be read: %2").arg(path, QString::fromLocal8Bit(std::strerror(errno)));
    return server;
}

void ImageServer::awaitSummary(const QString& path) {
    if (pid_ < 0) return;
    QByteArray reply;
    bool timedOut = false;
    if (!receiveFrame(socket_, &reply, nullptr, qint64{kRequestSeconds} * 1000, &timedOut)) {
        fail(timedOut ? QStringLiteral("took longer than %1 s").arg(kRequestSeconds) : QString());
        summary_.problem = QStringLiteral("%1 cannot be read as a disk image: its reader %2").arg(path, failure());
        return;
    }
    if (!imagewire::decodeSummary(reply, &summary_)) {
        fail(QStringLiteral("answered with a malformed summary"));
        summary_ = ImageSummary{};
        summary_.problem = QStringLiteral("%1 cannot be read as a disk image: its reader %2").arg(path, failure());
    }
}

ImageServer::~ImageServer() {
    if (socket_ >= 0) ::close(socket_);  // the child ends at the end of its stream...
    // ...at once, unless it is deep in a request for a damaged file system: the window must not
    // wait for that.
    if (pid_ > 0) reapChild(pid_, kEndGraceMs);
}

QString ImageServer::failure() const { return failure_; }

void ImageServer::fail(const QString& why) {
    if (!failure_.isEmpty()) return;
    if (pid_ > 0) {
        const int status = reapChild(pid_, 0);
        failure_ = why.isEmpty() ? describeChildEnd(status, 0) : why;
        pid_ = -1;
    } else {
        failure_ = why.isEmpty() ? QStringLiteral("is not running") : why;
    }
}

std::optional<QByteArray> ImageServer::request(quint8 op, const QString& windowsPath, int fd) {
    const std::lock_guard lock(mutex_);
    if (!failure_.isEmpty()) return std::nullopt;
    QByteArray message;
    QDataStream(&message, QIODevice::WriteOnly) << op << windowsPath;
    QByteArray reply;
    bool timedOut = false;
    if (!sendFrame(socket_, message, fd) || !receiveFrame(socket_, &reply, nullptr, qint64{kRequestSeconds} * 1000, &timedOut)) {
        // Gone or stuck: whatever it was doing, it does no more. Its status says which.
        // A child that is already gone keeps the status it ended with (killing it changes
        // nothing); one that answered with garbage is ended here.
        fail(timedOut ? QStringLiteral("took longer than %1 s").arg(kRequestSeconds) : QString());
        return std::nullopt;
    }
    return reply;
}

std::optional<ImageServer::Stat> ImageServer::stat(const QString& windowsPath) {
    const auto reply = request(OpStat, windowsPath);
    if (!reply) return std::nullopt;
    auto stat = imagewire::decodeStat(*reply);
    if (!stat) fail(QStringLiteral("answered with garbage"));
    return stat;
}

std::optional<std::vector<DirEntry>> ImageServer::list(const QString& windowsPath, bool* found) {
    const auto reply = request(OpList, windowsPath);
    if (!reply) return std::nullopt;
    auto entries = imagewire::decodeList(*reply, found);
    if (!entries) fail(QStringLiteral("answered with garbage"));
    return entries;
}

bool ImageServer::copy(const QString& windowsPath, int fd, QString* why) {
    const auto reply = request(OpCopy, windowsPath, fd);
    if (!reply) {
        *why = QStringLiteral("the image's reader %1").arg(failure_);
        return false;
    }
    bool copied = false;
    QDataStream(*reply) >> copied;
    if (!copied) *why = QStringLiteral("its data cannot be read from the image");
    return copied;
}

std::shared_ptr<ImageServer> ImageServer::another() const {
    if (summary_.chosen <= 0 || helperProgram("kestrova-image-reader").isEmpty()) return nullptr;
    auto server = start(path_, summary_.chosen, summary_.store);
    if (!server->summary().problem.isEmpty() || !server->failure().isEmpty()) return nullptr;
    return server;
}

std::optional<PlainFile> ImageServer::plainFile(const QString& windowsPath) {
    const auto reply = request(OpPlain, windowsPath);
    if (!reply) return std::nullopt;
    return imagewire::decodePlain(*reply);
}

namespace imagewire {

QByteArray encodeSummary(const ImageSummary& summary) {
    QByteArray reply;
    QDataStream out(&reply, QIODevice::WriteOnly);
    // Lists go as a count and their items, never as Qt containers: QDataStream reserves a
    // container's claimed size before it reads a byte, and the child's count may be anything.
    out << summary.format << summary.size << quint32(summary.files.size());
    for (const QString& file : summary.files) out << file;
    out << quint32(summary.metadata.size());
    for (const auto& [name, value] : summary.metadata) out << name << value;
    out << quint32(summary.partitions.size());
    for (const Partition& p : summary.partitions) out << p;
    out << quint32(summary.windows.size());
    for (const int w : summary.windows) out << w;
    out << summary.chosen << summary.label << summary.problem << summary.incomplete;
    out << quint32(summary.stores.size());
    for (const ShadowStore& s : summary.stores) out << s;
    out << summary.storesProblem << summary.store;
    return reply;
}

// A list of the child's: its count, then its items. The count comes from the child: the list ends
// where the stream does, whatever it claims (nothing is reserved for it).
template <typename Item, typename Add>
void readList(QDataStream& in, Add add) {
    quint32 count = 0;
    in >> count;
    for (quint32 i = 0; i < count && !in.atEnd() && in.status() == QDataStream::Ok; ++i) {
        Item item{};
        in >> item;
        add(std::move(item));
    }
}

// A stream that ran short or holds garbage is refused whole.
bool decodeSummary(const QByteArray& reply, ImageSummary* summary) {
    QDataStream in(reply);
    ImageSummary& s = *summary;
    in >> s.format >> s.size;
    readList<QString>(in, [&](QString file) { s.files.append(file); });
    readList<std::pair<QString, QString>>(in, [&](std::pair<QString, QString> nameValue) { s.metadata.push_back(std::move(nameValue)); });
    readList<Partition>(in, [&](Partition p) { s.partitions.push_back(std::move(p)); });
    readList<int>(in, [&](int w) { s.windows.push_back(w); });
    in >> s.chosen >> s.label >> s.problem >> s.incomplete;
    readList<ShadowStore>(in, [&](ShadowStore store) { s.stores.push_back(std::move(store)); });
    in >> s.storesProblem >> s.store;
    return in.status() == QDataStream::Ok;
}

std::optional<ImageServer::Stat> decodeStat(const QByteArray& reply) {
    ImageServer::Stat stat;
    QDataStream in(reply);
    in >> stat.exists >> stat.folder >> stat.reference >> stat.size >> stat.times.created >> stat.times.modified >> stat.times.accessed >>
        stat.times.changed;
    if (in.status() != QDataStream::Ok) return std::nullopt;
    return stat;
}

std::optional<std::vector<DirEntry>> decodeList(const QByteArray& reply, bool* found) {
    QDataStream in(reply);
    in >> *found;
    std::vector<DirEntry> entries;
    readList<std::pair<QString, uint32_t>>(in, [&](std::pair<QString, uint32_t> e) { entries.push_back({std::move(e.first), e.second}); });
    if (in.status() != QDataStream::Ok) return std::nullopt;
    return entries;
}

std::optional<PlainFile> decodePlain(const QByteArray& reply) {
    QDataStream in(reply);
    bool plain = false;
    in >> plain;
    if (!plain || in.status() != QDataStream::Ok) return std::nullopt;
    PlainFile file;
    in >> file.image >> file.size;
    readList<std::pair<qint64, quint64>>(in, [&](std::pair<qint64, quint64> run) { file.runs.push_back(run); });
    if (in.status() != QDataStream::Ok) return std::nullopt;
    return file;
}

bool readFrame(int socket, QByteArray* payload, qint64 deadlineMs) {
    bool timedOut = false;
    return receiveFrame(socket, payload, nullptr, deadlineMs, &timedOut);
}

}  // namespace imagewire

}  // namespace kestrova
