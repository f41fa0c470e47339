// file.mft: every entry of a Master File Table, in use or not, read with libfsntfs's MFT metadata
// file API in a contained child (libfsntfs is older than its own fuzzing fixes). A folder tree
// keeps the table as C:\$MFT (triage collections copy it there); an image's is taken out of the
// image as any file is.
//
// Two passes over the entries: the first learns each entry's name and parent from its $FILE_NAME
// attributes, the second writes every entry with its path rebuilt through them. A parent that is
// not in the table, or whose entry was reused since (its sequence number moved on), is lost: the
// path then starts at $OrphanFiles, as The Sleuth Kit writes it.
#include <QFileDevice>
#include <fcntl.h>
#include <libbfio.h>
#include <libfsntfs.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <memory>

#include "traces/contained_source.h"
#include "traces/filesystem/filesystem_sources.h"
#include "traces/filesystem/usn_records.h"
#include "traces/libyal.h"

namespace kestrova {
namespace {

namespace mf = mftfields;

constexpr uint64_t kRootEntry = 5;
constexpr uint32_t kFileName = 0x30, kData = 0x80;

using FileEntry = LibyalHandle<libfsntfs_file_entry_t, libfsntfs_error_t, libfsntfs_file_entry_free>;
using Attribute = LibyalHandle<libfsntfs_attribute_t, libfsntfs_error_t, libfsntfs_attribute_free>;

QString errorText(libfsntfs_error_t** error) {
    const QString text = libyalError(error, libfsntfs_error_sprint, libfsntfs_error_free);
    return text.isEmpty() ? QStringLiteral("libfsntfs gives no reason") : text;
}

struct FileName {
    QString name;
    uint64_t parent = 0;
    uint16_t parentSequence = 0;
    uint64_t times[4] = {};  // created, modified, accessed, entry changed (FILETIME)
};

// The $FILE_NAME attributes of an entry, the Win32 name first (the longest: a DOS 8.3 name is the
// short one), how many $DATA attributes it has and the size of its unnamed one (the file's
// content; libfsntfs's entry size is not kept when it reads a bare table).
std::vector<FileName> fileNames(libfsntfs_file_entry_t* entry, int* dataStreams, std::optional<uint64_t>* dataSize = nullptr) {
    std::vector<FileName> names;
    int count = 0;
    *dataStreams = 0;
    if (libfsntfs_file_entry_get_number_of_attributes(entry, &count, nullptr) != 1) return names;
    for (int i = 0; i < count; ++i) {
        libfsntfs_attribute_t* raw = nullptr;
        if (libfsntfs_file_entry_get_attribute_by_index(entry, i, &raw, nullptr) != 1) continue;
        const Attribute attribute(raw);
        uint32_t type = 0;
        if (libfsntfs_attribute_get_type(raw, &type, nullptr) != 1) continue;
        if (type == kData) {
            ++*dataStreams;
            size_t nameSize = 0;
            uint64_t first = 0, last = 0;
            size64_t size = 0;
            // The unnamed stream's size is in its first (or only) piece: the one from cluster 0.
            const bool unnamed = libfsntfs_attribute_get_utf8_name_size(raw, &nameSize, nullptr) == 1 && nameSize <= 1;
            const bool firstPiece = libfsntfs_attribute_get_data_vcn_range(raw, &first, &last, nullptr) != 1 || first == 0;
            if (dataSize && unnamed && firstPiece && !*dataSize && libfsntfs_attribute_get_data_size(raw, &size, nullptr) == 1) *dataSize = size;
        }
        if (type != kFileName) continue;
        FileName fn;
        fn.name = libyalText(raw, libfsntfs_file_name_attribute_get_utf8_name_size, libfsntfs_file_name_attribute_get_utf8_name);
        uint64_t parent = 0;
        libfsntfs_file_name_attribute_get_parent_file_reference(raw, &parent, nullptr);
        fn.parent = parent & 0xFFFFFFFFFFFFull;
        fn.parentSequence = static_cast<uint16_t>(parent >> 48);
        libfsntfs_file_name_attribute_get_creation_time(raw, &fn.times[0], nullptr);
        libfsntfs_file_name_attribute_get_modification_time(raw, &fn.times[1], nullptr);
        libfsntfs_file_name_attribute_get_access_time(raw, &fn.times[2], nullptr);
        libfsntfs_file_name_attribute_get_entry_modification_time(raw, &fn.times[3], nullptr);
        names.push_back(std::move(fn));
    }
    std::stable_sort(names.begin(), names.end(), [](const FileName& a, const FileName& b) { return a.name.size() > b.name.size(); });
    return names;
}

struct Known {
    QString name;
    uint64_t parent = 0;
    uint16_t parentSequence = 0, sequence = 0;
    bool known = false;
};

QString pathOf(const std::vector<Known>& known, const QString& name, uint64_t parent, uint16_t parentSequence) {
    QStringList parts{name};
    for (int depth = 0; depth < 512; ++depth) {
        if (parent == kRootEntry) {
            parts << QStringLiteral("C:");
            std::reverse(parts.begin(), parts.end());
            return parts.join(QLatin1Char('\\'));
        }
        if (parent >= known.size() || !known[parent].known || known[parent].sequence != parentSequence) break;
        parts << known[parent].name;
        const Known& k = known[parent];
        parent = k.parent;
        parentSequence = k.parentSequence;
    }
    return QStringLiteral("C:\\$OrphanFiles\\") + name;
}

// The file mapped for reading; bytes nullptr when it cannot be (nothing is kept open then) or is
// larger than kLargest: libfsntfs touches much of a table when it opens it, and a mapped page it
// touched is the process's memory until it is let go.
struct MappedFile {
    static constexpr qint64 kLargest = qint64{512} << 20;
    explicit MappedFile(const QByteArray& name) {
        const int fd = ::open(name.constData(), O_RDONLY | O_CLOEXEC);
        struct stat about {};
        if (fd >= 0 && ::fstat(fd, &about) == 0 && S_ISREG(about.st_mode) && about.st_size > 0 && about.st_size <= kLargest) {
            void* at = ::mmap(nullptr, static_cast<size_t>(about.st_size), PROT_READ, MAP_PRIVATE, fd, 0);
            if (at != MAP_FAILED) {
                bytes = static_cast<uint8_t*>(at);
                size = static_cast<size_t>(about.st_size);
            }
        }
        if (fd >= 0) ::close(fd);
    }
    ~MappedFile() {
        if (bytes) ::munmap(bytes, size);
    }
    // Lets go of every page read so far (libfsntfs reads much of the table when it opens it).
    void releaseAll() const {
        if (bytes) ::madvise(bytes, size, MADV_DONTNEED);
    }
    // Lets go of the pages before entry `entry` (entries are at least 1 KiB): a pass reads the
    // table front to back, and the pages read stay the process's otherwise, a table's worth.
    void passed(uint64_t entry) const {
        constexpr uint64_t kSmallestEntry = 1024, kEvery = 4096;
        if (!bytes || entry % kEvery != 0) return;
        const auto page = static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
        const uint64_t upTo = std::min<uint64_t>(entry * kSmallestEntry, size) / page * page;
        if (upTo > 0) ::madvise(bytes, static_cast<size_t>(upTo), MADV_DONTNEED);
    }
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    uint8_t* bytes = nullptr;
    size_t size = 0;
};

void readMft(TraceContext& context, TraceSink& sink, const QByteArray& name, const QString& path) {
    const QString what = QStringLiteral("MFT ") + path;
    libfsntfs_mft_metadata_file_t* raw = nullptr;
    libfsntfs_error_t* error = nullptr;
    if (libfsntfs_mft_metadata_file_initialize(&raw, &error) != 1) {
        context.note(FindingKind::Unreadable, what, errorText(&error));
        return;
    }
    // Read from memory where the table can be mapped: libfsntfs reads an entry at a time, and
    // a read of the file each costs more than the entry's parsing.
    const MappedFile mapped(name);
    libbfio_handle_t* memory = nullptr;
    if (mapped.bytes && (libbfio_memory_range_initialize(&memory, nullptr) != 1 ||
                         libbfio_memory_range_set(memory, mapped.bytes, mapped.size, nullptr) != 1)) {
        if (memory) libbfio_handle_free(&memory, nullptr);
    }
    const std::unique_ptr<libbfio_handle_t, void (*)(libbfio_handle_t*)> ownedMemory(memory, [](libbfio_handle_t* h) {
        if (h) libbfio_handle_free(&h, nullptr);
    });
    const int opened = memory ? libfsntfs_mft_metadata_file_open_file_io_handle(raw, memory, LIBFSNTFS_OPEN_READ, &error)
                              : libfsntfs_mft_metadata_file_open(raw, name.constData(), LIBFSNTFS_OPEN_READ, &error);
    if (opened != 1) {
        context.note(FindingKind::Damaged, what, QStringLiteral("not an MFT libfsntfs reads (%1)").arg(errorText(&error)));
        libfsntfs_mft_metadata_file_free(&raw, nullptr);
        return;
    }
    // Closed and freed however the reading ends.
    const LibyalFile<libfsntfs_mft_metadata_file_t, libfsntfs_error_t> owned(raw, {libfsntfs_mft_metadata_file_close, libfsntfs_mft_metadata_file_free});
    libfsntfs_mft_metadata_file_t* file = owned.get();
    uint64_t count = 0;
    if (libfsntfs_mft_metadata_file_get_number_of_file_entries(file, &count, &error) != 1) {
        context.note(FindingKind::Damaged, what, QStringLiteral("its entries cannot be counted (%1)").arg(errorText(&error)));
        return;
    }
    mapped.releaseAll();
    const auto entryAt = [&](uint64_t i, QString* why) -> FileEntry {
        libfsntfs_file_entry_t* raw = nullptr;
        libfsntfs_error_t* e = nullptr;
        if (libfsntfs_mft_metadata_file_get_file_entry_by_index(file, static_cast<int>(i), &raw, &e) != 1) {
            if (why) *why = errorText(&e);
            else libfsntfs_error_free(&e);
            return nullptr;
        }
        return FileEntry(raw);
    };
    // First pass: names and parents.
    std::vector<Known> known(count);
    for (uint64_t i = 0; i < count && !context.stopped(); ++i) {
        mapped.passed(i);
        const FileEntry entry = entryAt(i, nullptr);
        if (!entry || libfsntfs_file_entry_is_empty(entry.get(), nullptr) == 1) continue;
        int streams = 0;
        const std::vector<FileName> names = fileNames(entry.get(), &streams);
        if (names.empty()) continue;
        uint64_t reference = 0;
        libfsntfs_file_entry_get_file_reference(entry.get(), &reference, nullptr);
        known[i] = Known{names.front().name, names.front().parent, names.front().parentSequence, static_cast<uint16_t>(reference >> 48), true};
    }
    // Second pass: every entry that is not empty.
    // An empty entry (never written since the volume was formatted) is no record, and nothing lost.
    qint64 lost = 0;
    QString firstLost;
    for (uint64_t i = 0; i < count && !context.stopped(); ++i) {
        mapped.passed(i);
        QString why;
        const FileEntry entry = entryAt(i, &why);
        if (!entry) {
            if (lost++ == 0) firstLost = QStringLiteral("entry %1: %2").arg(i).arg(why);
            continue;
        }
        if (libfsntfs_file_entry_is_empty(entry.get(), nullptr) == 1) continue;
        OwnedRecord<mf::Count> r;
        uint64_t reference = 0;
        libfsntfs_file_entry_get_file_reference(entry.get(), &reference, nullptr);
        r.integer(mf::Entry, static_cast<int64_t>(i));
        r.integer(mf::Sequence, static_cast<int64_t>(reference >> 48));
        r.boolean(mf::InUse, libfsntfs_file_entry_is_allocated(entry.get(), nullptr) == 1);
        r.boolean(mf::Folder, libfsntfs_file_entry_has_directory_entries_index(entry.get(), nullptr) == 1);
        uint64_t si[4] = {};
        libfsntfs_file_entry_get_creation_time(entry.get(), &si[0], nullptr);
        libfsntfs_file_entry_get_modification_time(entry.get(), &si[1], nullptr);
        libfsntfs_file_entry_get_access_time(entry.get(), &si[2], nullptr);
        libfsntfs_file_entry_get_entry_modification_time(entry.get(), &si[3], nullptr);
        for (int t = 0; t < 4; ++t) {
            if (si[t]) r.time(mf::SiCreated + t, utc::fromFileTime(si[t]));
        }
        if (uint32_t flags = 0; libfsntfs_file_entry_get_file_attribute_flags(entry.get(), &flags, nullptr) == 1) {
            r.text(mf::Attributes, fileAttributeNames(flags));
        }
        int streams = 0;
        std::optional<uint64_t> dataSize;
        const std::vector<FileName> names = fileNames(entry.get(), &streams, &dataSize);
        r.integer(mf::DataStreams, streams);
        if (uint64_t size = 0; !dataSize && libfsntfs_file_entry_get_size(entry.get(), &size, nullptr) == 1) dataSize = size;
        if (dataSize) r.integer(mf::Size, static_cast<int64_t>(*dataSize));
        if (!names.empty()) {
            const FileName& fn = names.front();
            r.text(mf::Path, i == kRootEntry ? QStringLiteral("C:\\") : pathOf(known, fn.name, fn.parent, fn.parentSequence));
            for (int t = 0; t < 4; ++t) {
                if (fn.times[t]) r.time(mf::FnCreated + t, utc::fromFileTime(fn.times[t]));
            }
            if (names.size() > 1) {
                QStringList all;
                for (const FileName& n : names) all << n.name;
                r.text(mf::Names, all.join(QStringLiteral(", ")));
            }
            // Tools that set times write $STANDARD_INFORMATION only, and often whole seconds.
            const bool earlier = si[0] != 0 && fn.times[0] != 0 && si[0] < fn.times[0];
            const bool wholeSeconds = si[0] != 0 && si[0] % 10000000 == 0 && fn.times[0] % 10000000 != 0;
            r.boolean(mf::SiBeforeFn, earlier || wholeSeconds);
        }
        if (!context.deliver(sink, Provenance{{}, {}, {}, path.toUtf8(), QStringLiteral("entry %1").arg(i).toUtf8()}, r.values())) return;
    }
    if (lost > 0) {
        context.note(FindingKind::Damaged, what, QStringLiteral("%1 of its %2 entries cannot be read (the first: %3)").arg(lost).arg(count).arg(firstLost));
    }
}

}  // namespace

void fileMft(TraceContext& context, TraceSink& sink) {
    const QString path = QStringLiteral("C:\\$MFT");
    if (!context.exists(path)) return;
    const auto file = context.system().openFile(path, QStringLiteral("MFT"));
    if (!file) return;  // noted
    const auto* device = qobject_cast<const QFileDevice*>(file.get());
    if (!device || device->handle() < 0) {
        context.note(FindingKind::Unreadable, QStringLiteral("MFT ") + path, QStringLiteral("it cannot be handed to libfsntfs as a file"));
        return;
    }
    // The child inherits the descriptor: libfsntfs reads the file itself, never the volume.
    const QByteArray name = "/proc/self/fd/" + QByteArray::number(device->handle());
    runContainedSource(context, sink, QStringLiteral("MFT ") + path, [&](TraceContext& c, TraceSink& s) { readMft(c, s, name, path); });
}

}  // namespace kestrova
