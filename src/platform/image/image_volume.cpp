#include "platform/image/image_volume.h"

#include <QDir>
#include <QFile>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <libbfio.h>
#include <libfsntfs.h>
#include <thread>
#include <unistd.h>
#include <unordered_map>

#include "core/common/text.h"
#include "platform/image/range_io.h"
#include "platform/io/whole_io.h"
#include "platform/contained/fork_gate.h"
#include "platform/image/image_server.h"

namespace kestrova {
namespace {

QString ntfsError(libfsntfs_error_t* error) {
    if (!error) return QStringLiteral("unknown error");
    char text[1024] = {};
    libfsntfs_error_sprint(error, text, sizeof text);
    libfsntfs_error_free(&error);
    return QString::fromLocal8Bit(text).trimmed().section(QLatin1Char('\n'), -1).trimmed();
}

struct EntryFree {
    void operator()(libfsntfs_file_entry_t* entry) const { libfsntfs_file_entry_free(&entry, nullptr); }
};
using Entry = std::unique_ptr<libfsntfs_file_entry_t, EntryFree>;

QString nameOf(libfsntfs_file_entry_t* entry) {
    size_t size = 0;
    if (libfsntfs_file_entry_get_utf16_name_size(entry, &size, nullptr) != 1 || size == 0) return QString();
    std::vector<uint16_t> units(size);
    if (libfsntfs_file_entry_get_utf16_name(entry, units.data(), size, nullptr) != 1) return QString();
    return QString(reinterpret_cast<const QChar*>(units.data()), static_cast<qsizetype>(size - 1));
}

bool isFolder(libfsntfs_file_entry_t* entry) { return libfsntfs_file_entry_has_directory_entries_index(entry, nullptr) == 1; }

struct StreamFree {
    void operator()(libfsntfs_data_stream_t* stream) const { libfsntfs_data_stream_free(&stream, nullptr); }
};
using Stream = std::unique_ptr<libfsntfs_data_stream_t, StreamFree>;

// A file's content: its unnamed $DATA, or one of its alternate data streams. libfsntfs serves
// both with the same calls under other names.
struct Content {
    libfsntfs_file_entry_t* entry = nullptr;
    libfsntfs_data_stream_t* stream = nullptr;  // nullptr: the entry's own content

    bool size(size64_t* out) const {
        return (stream ? libfsntfs_data_stream_get_size(stream, out, nullptr) : libfsntfs_file_entry_get_size(entry, out, nullptr)) == 1;
    }
    bool extents(int* count) const {
        return (stream ? libfsntfs_data_stream_get_number_of_extents(stream, count, nullptr)
                       : libfsntfs_file_entry_get_number_of_extents(entry, count, nullptr)) == 1;
    }
    bool extent(int i, off64_t* offset, size64_t* length, uint32_t* flags) const {
        return (stream ? libfsntfs_data_stream_get_extent_by_index(stream, i, offset, length, flags, nullptr)
                       : libfsntfs_file_entry_get_extent_by_index(entry, i, offset, length, flags, nullptr)) == 1;
    }
    ssize_t read(uint8_t* buffer, size_t size, off64_t at) const {
        return stream ? libfsntfs_data_stream_read_buffer_at_offset(stream, buffer, size, at, nullptr)
                      : libfsntfs_file_entry_read_buffer_at_offset(entry, buffer, size, at, nullptr);
    }
};

// "C:\$Extend\$UsnJrnl:$J": the file's path and the name of its stream ("" for its content).
// A stream's type may follow its name (":$J:$DATA"); $DATA is the only type with content.
std::pair<QString, QString> splitStream(const QString& windowsPath) {
    const qsizetype name = windowsPath.lastIndexOf(QLatin1Char('\\'));
    const qsizetype colon = name < 0 ? -1 : windowsPath.indexOf(QLatin1Char(':'), name);
    if (colon < 0) return {windowsPath, QString()};
    QString stream = windowsPath.mid(colon + 1);
    if (stream.endsWith(QLatin1String(":$DATA"), Qt::CaseInsensitive)) stream.chop(6);
    return {windowsPath.left(colon), stream};
}

QStringList components(QString path) {
    if (path.size() >= 2 && path[1] == QLatin1Char(':')) {
        if (path[0].toUpper() != QLatin1Char('C')) return {QStringLiteral("\\:other drive")};
        path = path.mid(2);
    }
    path.replace(QLatin1Char('/'), QLatin1Char('\\'));
    QStringList parts;
    for (const QString& part : path.split(QLatin1Char('\\'), Qt::SkipEmptyParts)) {
        if (part == QLatin1String(".")) continue;
        if (part == QLatin1String("..")) {
            if (!parts.isEmpty()) parts.removeLast();
            continue;
        }
        parts << part;
    }
    return parts;
}

}  // namespace

// libfsntfs over one partition. Its handles keep state: every use is under one lock.
class NtfsReader {
public:
    ~NtfsReader() {
        if (opened_) libfsntfs_volume_close(volume_, nullptr);
        if (volume_) libfsntfs_volume_free(&volume_, nullptr);
        if (io_) libbfio_handle_free(&io_, nullptr);
    }

    bool open(std::shared_ptr<const DiskImage> disk, uint64_t offset, uint64_t size, QString* why) {
        disk_ = disk;
        offset_ = offset;
        size_ = size;
        io_ = rangeHandle(std::move(disk), offset, size);
        if (!io_) {
            *why = QStringLiteral("the partition cannot be read");
            return false;
        }
        libfsntfs_error_t* error = nullptr;
        if (libfsntfs_volume_initialize(&volume_, &error) != 1 ||
            libfsntfs_volume_open_file_io_handle(volume_, io_, LIBFSNTFS_OPEN_READ, &error) != 1) {
            *why = QStringLiteral("damaged NTFS (%1)").arg(ntfsError(error));
            return false;
        }
        opened_ = true;
        if (libfsntfs_volume_has_bitlocker_drive_encryption(volume_, nullptr) == 1) {
            *why = QStringLiteral("encrypted with BitLocker");
            return false;
        }
        return true;
    }

    QString label() const {
        const std::lock_guard lock(mutex_);
        size_t size = 0;
        if (libfsntfs_volume_get_utf16_name_size(volume_, &size, nullptr) != 1 || size <= 1) return QString();
        std::vector<uint16_t> units(size);
        if (libfsntfs_volume_get_utf16_name(volume_, units.data(), size, nullptr) != 1) return QString();
        return QString(reinterpret_cast<const QChar*>(units.data()), static_cast<qsizetype>(size - 1));
    }

    // The entry a Windows path names; nullptr when there is none.
    Entry find(const QString& windowsPath) const {
        const std::lock_guard lock(mutex_);
        return findLocked(windowsPath);
    }

    // A file, or one of its streams ("C:\\$Extend\\$UsnJrnl:$J"); entry nullptr when there is none.
    struct Target {
        Entry entry;
        Stream stream;
        QString streamName;
        Content content() const { return {entry.get(), stream.get()}; }
    };
    Target findTarget(const QString& windowsPath) const {
        const auto [path, streamName] = splitStream(windowsPath);
        const std::lock_guard lock(mutex_);
        Target target{findLocked(path), nullptr, streamName};
        if (!target.entry || streamName.isEmpty()) return target;
        libfsntfs_data_stream_t* raw = nullptr;
        if (libfsntfs_file_entry_get_alternate_data_stream_by_utf16_name(target.entry.get(), reinterpret_cast<const uint16_t*>(streamName.utf16()),
                                                                         static_cast<size_t>(streamName.size()), &raw, nullptr) == 1) {
            target.stream.reset(raw);
            return target;
        }
        // Stream names are matched without regard to case, as files' are.
        int count = 0;
        libfsntfs_file_entry_get_number_of_alternate_data_streams(target.entry.get(), &count, nullptr);
        for (int i = 0; i < count && !target.stream; ++i) {
            raw = nullptr;
            if (libfsntfs_file_entry_get_alternate_data_stream_by_index(target.entry.get(), i, &raw, nullptr) != 1) continue;
            Stream candidate(raw);
            size_t size = 0;
            if (libfsntfs_data_stream_get_utf16_name_size(raw, &size, nullptr) != 1 || size == 0) continue;
            std::vector<uint16_t> units(size);
            if (libfsntfs_data_stream_get_utf16_name(raw, units.data(), size, nullptr) != 1) continue;
            const QString name(reinterpret_cast<const QChar*>(units.data()), static_cast<qsizetype>(size - 1));
            if (name.compare(streamName, Qt::CaseInsensitive) == 0) target.stream = std::move(candidate);
        }
        if (!target.stream) target.entry.reset();
        return target;
    }

    std::vector<DirEntry> list(const QString& windowsFolder, bool* found) const {
        const std::lock_guard lock(mutex_);
        std::vector<DirEntry> entries;
        const Entry folder = findLocked(windowsFolder);
        *found = folder && isFolder(folder.get());
        if (!*found) return entries;
        for (const Child& child : childrenLocked(folder.get())) entries.push_back({child.name, child.attributes});
        return entries;
    }

    // The entry's MFT reference: the same file under every spelling of its path.
    static uint64_t referenceOf(libfsntfs_file_entry_t* entry) {
        uint64_t reference = 0;
        libfsntfs_file_entry_get_file_reference(entry, &reference, nullptr);
        return reference;
    }

    // Copies a file's bytes into fd; false when they cannot all be read. A file stored in plain
    // runs of clusters is read run by run straight from the disk in large pieces (libfsntfs would
    // read it a cluster at a time); sparse runs stay holes. Resident and compressed data are read
    // through libfsntfs.
    bool copy(const Content& content, int fd) const {
        const std::lock_guard lock(mutex_);
        size64_t size = 0;
        if (!content.size(&size)) return false;
        if (copyRuns(content, size, fd)) return true;
        std::vector<uint8_t> buffer(4 << 20);
        for (uint64_t at = 0; at < size;) {
            const size_t want = static_cast<size_t>(std::min<uint64_t>(buffer.size(), size - at));
            const ssize_t got = content.read(buffer.data(), want, static_cast<off64_t>(at));
            if (got <= 0) return false;
            if (!pwriteWhole(fd, reinterpret_cast<const char*>(buffer.data()), static_cast<size_t>(got), at)) return false;
            at += static_cast<uint64_t>(got);
        }
        return true;
    }

private:
    struct Run {
        uint64_t offset, size;  // in the partition
        bool sparse;
    };
    // The file's data runs, covering its size; nullopt where it is not stored in plain or sparse
    // runs (resident, compressed) or a run lies outside the partition.
    std::optional<std::vector<Run>> runsOf(const Content& content, uint64_t size) const {
        int count = 0;
        if (size == 0 || !content.extents(&count) || count <= 0) return std::nullopt;
        std::vector<Run> runs;
        uint64_t covered = 0;
        for (int i = 0; i < count; ++i) {
            off64_t offset = 0;
            size64_t length = 0;
            uint32_t flags = 0;
            if (!content.extent(i, &offset, &length, &flags)) return std::nullopt;
            if (flags & LIBFSNTFS_EXTENT_FLAG_IS_COMPRESSED) return std::nullopt;
            const bool sparse = flags & LIBFSNTFS_EXTENT_FLAG_IS_SPARSE;
            if (!sparse && (offset < 0 || static_cast<uint64_t>(offset) + length > size_)) return std::nullopt;
            runs.push_back({static_cast<uint64_t>(offset), length, sparse});
            covered += length;
        }
        if (covered < size) return std::nullopt;
        return runs;
    }

public:
    // Where the file lies in the image file, for reading in place.
    std::optional<PlainFile> plain(const Content& content) const {
        const std::lock_guard lock(mutex_);
        const QString image = disk_->plainFile();
        size64_t size = 0;
        if (image.isEmpty() || !content.size(&size)) return std::nullopt;
        const auto runs = runsOf(content, size);
        if (!runs) return std::nullopt;
        PlainFile file{image, size, {}};
        uint64_t logical = 0;
        for (const Run& run : *runs) {
            const uint64_t take = std::min<uint64_t>(run.size, size - logical);
            file.runs.emplace_back(run.sparse ? qint64{-1} : static_cast<qint64>(offset_ + run.offset), take);
            logical += take;
            if (logical >= size) break;
        }
        return file;
    }

private:
    // The copy by runs; false (nothing said) where it does not apply and libfsntfs must read.
    bool copyRuns(const Content& content, uint64_t size, int fd) const {
        const auto runs = runsOf(content, size);
        if (!runs) return false;
        std::vector<char> buffer(4 << 20);
        uint64_t logical = 0;
        for (const Run& run : *runs) {
            const uint64_t take = std::min<uint64_t>(run.size, size - logical);
            for (uint64_t done = 0; !run.sparse && done < take;) {
                const size_t want = static_cast<size_t>(std::min<uint64_t>(buffer.size(), take - done));
                if (disk_->read(offset_ + run.offset + done, buffer.data(), want) != static_cast<int64_t>(want)) return false;
                if (!pwriteWhole(fd, buffer.data(), want, logical + done)) return false;
                done += want;
            }
            logical += take;
            if (logical >= size) break;
        }
        return ::ftruncate(fd, static_cast<off_t>(size)) == 0;
    }

    Entry findLocked(const QString& windowsPath) const {
        const QStringList parts = components(windowsPath);
        if (!parts.isEmpty() && parts.front().startsWith(QLatin1String("\\:"))) return nullptr;
        libfsntfs_file_entry_t* raw = nullptr;
        // The directory index first: most lookups name the entry as it is stored.
        const QString exact = QLatin1Char('\\') + parts.join(QLatin1Char('\\'));
        if (libfsntfs_volume_get_file_entry_by_utf16_path(volume_, reinterpret_cast<const uint16_t*>(exact.utf16()),
                                                          static_cast<size_t>(exact.size()), &raw, nullptr) == 1) {
            return Entry(raw);
        }
        if (libfsntfs_volume_get_root_directory(volume_, &raw, nullptr) != 1) return nullptr;
        Entry current(raw);
        for (const QString& part : parts) {
            const std::vector<Child>& children = childrenLocked(current.get());
            const auto match = std::find_if(children.begin(), children.end(), [&](const Child& c) { return c.name.compare(part, Qt::CaseInsensitive) == 0; });
            libfsntfs_file_entry_t* next = nullptr;
            if (match == children.end() || libfsntfs_volume_get_file_entry_by_index(volume_, match->entry, &next, nullptr) != 1) return nullptr;
            current = Entry(next);
        }
        return current;
    }

    // A folder's children, learnt once: libfsntfs reads the whole index of every child folder it
    // hands over, so a folder of many folders costs seconds to walk, and lookups by another
    // spelling, or of names that are not there, walk their parents again and again.
    struct Child {
        QString name;
        uint32_t attributes = 0;
        uint64_t entry = 0;  // its MFT entry number
    };
    const std::vector<Child>& childrenLocked(libfsntfs_file_entry_t* folder) const {
        const uint64_t key = referenceOf(folder);
        if (const auto known = listings_.find(key); known != listings_.end()) return known->second;
        std::vector<Child> children;
        int count = 0;
        libfsntfs_file_entry_get_number_of_sub_file_entries(folder, &count, nullptr);
        for (int i = 0; i < count; ++i) {
            libfsntfs_file_entry_t* raw = nullptr;
            if (libfsntfs_file_entry_get_sub_file_entry_by_index(folder, i, &raw, nullptr) != 1) continue;
            const Entry child(raw);
            uint32_t attributes = 0;
            libfsntfs_file_entry_get_file_attribute_flags(child.get(), &attributes, nullptr);
            // The directory bit NTFS keeps in a folder's $FILE_NAME (0x10000000) is Windows' 16.
            if (isFolder(child.get())) attributes = (attributes & ~0x10000000u) | fileattr::Directory;
            children.push_back({nameOf(child.get()), attributes, referenceOf(child.get()) & 0xFFFFFFFFFFFFull});
        }
        // Bounded: a walk of a whole large volume lets go of what it learnt and starts again.
        cachedChildren_ += children.size();
        if (cachedChildren_ > kMostCachedChildren) {
            listings_.clear();
            cachedChildren_ = children.size();
        }
        return listings_.emplace(key, std::move(children)).first->second;
    }

    static constexpr size_t kMostCachedChildren = size_t{1} << 20;
    mutable std::unordered_map<uint64_t, std::vector<Child>> listings_;  // by the folder's MFT reference
    mutable size_t cachedChildren_ = 0;
    mutable std::mutex mutex_;
    std::shared_ptr<const DiskImage> disk_;  // the partition's bytes, for copies by runs
    uint64_t offset_ = 0;
    uint64_t size_ = 0;
    libbfio_handle_t* io_ = nullptr;
    libfsntfs_volume_t* volume_ = nullptr;
    bool opened_ = false;
};

std::unique_ptr<ImageVolume> ImageVolume::open(std::shared_ptr<const DiskImage> disk, const Partition& partition, QString* why) {
    if (partition.fileSystem == QLatin1String("BitLocker")) {
        *why = QStringLiteral("partition %1 is encrypted with BitLocker").arg(partition.number);
        return nullptr;
    }
    if (partition.fileSystem != QLatin1String("NTFS")) {
        *why = QStringLiteral("partition %1 holds no NTFS file system (%2)")
                   .arg(partition.number)
                   .arg(partition.fileSystem.isEmpty() ? QStringLiteral("unknown") : partition.fileSystem);
        return nullptr;
    }
    auto volume = std::unique_ptr<ImageVolume>(new ImageVolume);
    volume->ntfs_ = std::make_unique<NtfsReader>();
    QString problem;
    if (!volume->ntfs_->open(std::move(disk), partition.offset, partition.size, &problem)) {
        *why = QStringLiteral("partition %1: %2").arg(partition.number).arg(problem);
        return nullptr;
    }
    return volume;
}

ImageVolume::~ImageVolume() = default;

QString ImageVolume::label() const { return ntfs_->label(); }

bool ImageVolume::holdsWindows() const {
    const auto exists = [&](const QString& path) { return ntfs_->find(path) != nullptr; };
    if (exists(QStringLiteral("C:\\Windows\\System32\\config\\SYSTEM"))) return true;
    for (const char* parent : {"C:\\Users", "C:\\Documents and Settings"}) {
        bool found = false;
        for (const DirEntry& entry : ntfs_->list(QLatin1String(parent), &found)) {
            if (exists(QLatin1String(parent) + QLatin1Char('\\') + entry.name + QStringLiteral("\\NTUSER.DAT"))) return true;
        }
    }
    return false;
}

std::optional<quint64> ImageVolume::referenceOf(const QString& windowsPath, bool* folder, quint64* size, FileTimes* times) const {
    const NtfsReader::Target target = ntfs_->findTarget(windowsPath);
    if (!target.entry) return std::nullopt;
    libfsntfs_file_entry_t* entry = target.entry.get();
    *folder = !target.stream && isFolder(entry);
    size64_t bytes = 0;
    target.content().size(&bytes);
    *size = bytes;
    if (times) {
        // $STANDARD_INFORMATION's four times, the ones Windows shows and updates.
        uint64_t t = 0;
        if (libfsntfs_file_entry_get_creation_time(entry, &t, nullptr) == 1) times->created = static_cast<int64_t>(t);
        if (libfsntfs_file_entry_get_modification_time(entry, &t, nullptr) == 1) times->modified = static_cast<int64_t>(t);
        if (libfsntfs_file_entry_get_access_time(entry, &t, nullptr) == 1) times->accessed = static_cast<int64_t>(t);
        if (libfsntfs_file_entry_get_entry_modification_time(entry, &t, nullptr) == 1) times->changed = static_cast<int64_t>(t);
    }
    const uint64_t reference = NtfsReader::referenceOf(entry);
    if (!target.stream) return reference;
    // A stream is a file of its own to those who take files out by reference: its reference is
    // the file's, marked (the top bit) and mixed with its name's hash, so that it is told apart
    // from the file's content and from its other streams.
    const uint64_t name = qHash(target.streamName.toLower());
    return reference ^ (uint64_t{1} << 63) ^ ((name & 0x7FFFFFFFu) << 32);
}

std::vector<DirEntry> ImageVolume::listFolder(const QString& windowsPath, bool* found) const { return ntfs_->list(windowsPath, found); }

std::optional<PlainFile> ImageVolume::plainFile(const QString& windowsPath) const {
    const NtfsReader::Target target = ntfs_->findTarget(windowsPath);
    if (!target.entry || (!target.stream && isFolder(target.entry.get()))) return std::nullopt;
    return ntfs_->plain(target.content());
}

bool ImageVolume::copyTo(const QString& windowsPath, int fd) const {
    const NtfsReader::Target target = ntfs_->findTarget(windowsPath);
    return target.entry && (target.stream || !isFolder(target.entry.get())) && ntfs_->copy(target.content(), fd);
}

ServedVolume::ServedVolume(std::shared_ptr<ImageServer> server, QString description, QString tempFolder)
    : server_(std::move(server)), description_(std::move(description)), takenOut_(std::move(tempFolder)), copiers_{Copier{server_, false}} {}

bool ServedVolume::takeOut(const QString& windowsPath, int fd, QString* why) const {
    std::unique_lock lock(copiersMutex_);
    size_t chosen = 0;
    while (true) {
        const auto free = std::find_if(copiers_.begin(), copiers_.end(), [](const Copier& c) { return !c.busy; });
        if (free != copiers_.end()) {
            chosen = static_cast<size_t>(free - copiers_.begin());
            break;
        }
        if (!anotherTried_ && std::thread::hardware_concurrency() > 1) {
            anotherTried_ = true;
            lock.unlock();
            auto another = server_->another();
            lock.lock();
            if (another) copiers_.push_back(Copier{std::move(another), false});
            continue;
        }
        ForkGate::waitParked(lock, copierFree_, [&] { return std::any_of(copiers_.begin(), copiers_.end(), [](const Copier& c) { return !c.busy; }); });
    }
    copiers_[chosen].busy = true;
    const std::shared_ptr<ImageServer> copier = copiers_[chosen].server;
    lock.unlock();
    bool copied = copier->copy(windowsPath, fd, why);
    // The second child gone (it may have met what the first will too): the first says so.
    if (!copied && copier != server_ && !copier->failure().isEmpty()) {
        if (::ftruncate(fd, 0) == 0 && ::lseek(fd, 0, SEEK_SET) == 0) copied = server_->copy(windowsPath, fd, why);
    }
    lock.lock();
    const auto mine = std::find_if(copiers_.begin(), copiers_.end(), [&](const Copier& c) { return c.server == copier; });
    mine->busy = false;
    if (copier != server_ && !copier->failure().isEmpty()) copiers_.erase(mine);
    copierFree_.notify_one();
    return copied;
}

QString ServedVolume::label() const { return server_->summary().label; }

std::optional<PlainFile> ServedVolume::plainFile(const QString& windowsPath) const {
    if (auto plain = server_->plainFile(windowsPath)) return plain;
    // Not in place (a container that compresses or maps its blocks, a shadow copy's store): the
    // file as taken out into memory, read there by its path. SQLite resolves the /proc/self/fd
    // link it is given, and an unnamed file's leads nowhere: it would copy the database to disk
    // again at every opening, for every kind that reads it.
    const auto stat = server_->stat(windowsPath);
    if (!stat || !stat->exists || stat->folder || windowsPath.indexOf(QLatin1Char(':'), 2) >= 0) return std::nullopt;
    if (!openFile(windowsPath, QStringLiteral("file"), nullptr)) return std::nullopt;
    const QString held = takenOut_.heldPath(stat->reference);
    if (held.isEmpty()) return std::nullopt;
    PlainFile plain{held, stat->size, {}};
    if (stat->size > 0) plain.runs.emplace_back(0, stat->size);
    return plain;
}

std::optional<FileTimes> ServedVolume::fileTimes(const QString& windowsPath) const {
    const auto stat = server_->stat(windowsPath);
    if (!stat || !stat->exists) return std::nullopt;
    return stat->times;
}

std::optional<qint64> ServedVolume::fileSize(const QString& windowsPath) const {
    const auto stat = server_->stat(windowsPath);
    if (!stat || !stat->exists || stat->folder) return std::nullopt;
    return static_cast<qint64>(stat->size);
}

std::optional<ServedVolume::Identity> ServedVolume::identity(const QString& windowsPath) const {
    const auto stat = server_->stat(windowsPath);
    if (!stat) return std::nullopt;
    if (!stat->exists) return Identity{};
    return Identity{true, stat->folder, stat->reference, stat->size, stat->times.modified, stat->times.changed};
}

bool ServedVolume::exists(const QString& windowsPath) const {
    const auto stat = server_->stat(windowsPath);
    return stat && stat->exists;
}

std::unique_ptr<QIODevice> ServedVolume::openFile(const QString& windowsPath, const QString& label, Findings* findings) const {
    const QString what = label + QLatin1Char(' ') + windowsPath;
    const auto stat = server_->stat(windowsPath);
    if (!stat) {
        if (findings) findings->note(FindingKind::Damaged, what, QStringLiteral("the image's reader %1").arg(server_->failure()));
        return nullptr;
    }
    return takenOut_.open(what, findings, stat->exists, stat->folder, stat->reference, stat->size,
                          [&](int fd, QString* why) { return takeOut(windowsPath, fd, why); });
}

std::vector<DirEntry> ServedVolume::list(const QString& windowsFolder, Findings* findings) const {
    bool found = false;
    const auto entries = server_->list(windowsFolder, &found);
    if (!entries) {
        if (findings) {
            findings->note(FindingKind::Damaged, QStringLiteral("folder ") + windowsFolder,
                           QStringLiteral("the image's reader %1").arg(server_->failure()));
        }
        return {};
    }
    if (!found && findings) findings->note(FindingKind::Absent, QStringLiteral("folder ") + windowsFolder);
    return *entries;
}

std::optional<QString> ServedVolume::localPath(const QString& windowsPath) const {
    const auto stat = server_->stat(windowsPath);
    if (!stat || !stat->exists || stat->folder) return std::nullopt;
    return takenOut_.named(windowsPath, [&](int fd) {
        QString why;
        return takeOut(windowsPath, fd, &why);
    });
}

}  // namespace kestrova
