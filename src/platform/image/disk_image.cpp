#include "platform/image/disk_image.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unordered_map>
#include <fcntl.h>
#include <libewf.h>
#include <libqcow.h>
#include <libvhdi.h>
#include <libvmdk.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/common/text.h"

namespace kestrova {
namespace {

QByteArray bytesOf(const QString& path) { return toFileNameBytes(path); }

// The last line of a libyal error, which names what failed; the error is freed.
template <typename Error, typename Sprint, typename Release>
QString errorText(Error* error, Sprint sprint, Release release) {
    if (!error) return QStringLiteral("unknown error");
    char text[1024] = {};
    sprint(error, text, sizeof text);
    release(&error);
    return QString::fromLocal8Bit(text).trimmed().section(QLatin1Char('\n'), -1).trimmed();
}

// --- raw: one file, or numbered segments read back to back --------------------------------------

class RawImage : public DiskImage {
public:
    static std::unique_ptr<RawImage> open(const QStringList& segments, QString* why) {
        auto image = std::unique_ptr<RawImage>(new RawImage);
        uint64_t start = 0;
        for (const QString& path : segments) {
            const int fd = ::open(bytesOf(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
            struct stat st {};
            if (fd < 0 || ::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
                if (fd >= 0) ::close(fd);
                *why = QStringLiteral("%1 cannot be read (%2)").arg(path, fd < 0 ? QString::fromLocal8Bit(std::strerror(errno))
                                                                                   : QStringLiteral("not a regular file"));
                return nullptr;
            }
            image->segments_.push_back({path, fd, start, static_cast<uint64_t>(st.st_size)});
            start += static_cast<uint64_t>(st.st_size);
        }
        image->size_ = start;
        return image;
    }
    ~RawImage() override {
        for (const Segment& s : segments_) ::close(s.fd);
    }
    QString format() const override { return segments_.size() > 1 ? QStringLiteral("raw (split)") : QStringLiteral("raw"); }
    QString plainFile() const override { return segments_.size() == 1 ? segments_.front().path : QString(); }
    uint64_t size() const override { return size_; }
    QStringList files() const override {
        QStringList names;
        for (const Segment& s : segments_) names << s.path;
        return names;
    }

protected:
    int64_t readAt(uint64_t offset, void* buffer, size_t size) const override {
        auto* into = static_cast<char*>(buffer);
        size_t done = 0;
        for (const Segment& s : segments_) {
            if (done == size) break;
            const uint64_t at = offset + done;
            if (at < s.start || at >= s.start + s.size) continue;
            const size_t want = static_cast<size_t>(std::min<uint64_t>(size - done, s.start + s.size - at));
            const ssize_t got = ::pread(s.fd, into + done, want, static_cast<off_t>(at - s.start));
            if (got < 0) return -1;
            done += static_cast<size_t>(got);
            if (static_cast<size_t>(got) < want) break;
        }
        return static_cast<int64_t>(done);
    }

private:
    struct Segment {
        QString path;
        int fd;
        uint64_t start;
        uint64_t size;
    };
    std::vector<Segment> segments_;
    uint64_t size_ = 0;
};

// The segments of a split raw image: FILE.000, FILE.001 ... (or from .001), as far as they go.
QStringList rawSegments(const QString& path) {
    static const QRegularExpression numbered(QStringLiteral("^(.*\\.)(\\d{3})$"));
    const auto match = numbered.match(path);
    if (!match.hasMatch() || (match.captured(2) != QLatin1String("000") && match.captured(2) != QLatin1String("001"))) {
        return {path};
    }
    QStringList segments;
    for (int n = match.captured(2).toInt();; ++n) {
        const QString segment = match.captured(1) + QStringLiteral("%1").arg(n, 3, 10, QLatin1Char('0'));
        if (!QFileInfo(segment).isFile()) break;
        segments << segment;
    }
    return segments;
}

// --- EWF -----------------------------------------------------------------------------------------

class EwfImage : public DiskImage {
public:
    static std::unique_ptr<EwfImage> open(const QString& path, QString* why) {
        const auto fail = [&](libewf_error_t* error) {
            *why = errorText(error, libewf_error_sprint, libewf_error_free);
            return nullptr;
        };
        libewf_error_t* error = nullptr;
        char** names = nullptr;
        int count = 0;
        const QByteArray name = bytesOf(path);
        if (libewf_glob(name.constData(), static_cast<size_t>(name.size()), LIBEWF_FORMAT_UNKNOWN, &names, &count, &error) != 1) {
            return fail(error);
        }
        auto image = std::unique_ptr<EwfImage>(new EwfImage);
        for (int i = 0; i < count; ++i) image->files_ << fromFileNameBytes(QByteArray(names[i]));
        if (libewf_handle_initialize(&image->handle_, &error) != 1 ||
            libewf_handle_open(image->handle_, names, count, LIBEWF_OPEN_READ, &error) != 1) {
            libewf_glob_free(names, count, nullptr);
            return fail(error);
        }
        libewf_glob_free(names, count, nullptr);
        image->opened_ = true;
        size64_t size = 0;
        if (libewf_handle_get_media_size(image->handle_, &size, &error) != 1) return fail(error);
        image->size_ = size;
        return image;
    }
    ~EwfImage() override {
        if (opened_) libewf_handle_close(handle_, nullptr);
        if (handle_) libewf_handle_free(&handle_, nullptr);
    }
    QString format() const override { return QStringLiteral("EWF"); }
    uint64_t size() const override { return size_; }
    QStringList files() const override { return files_; }
    std::vector<std::pair<QString, QString>> metadata() const override {
        std::vector<std::pair<QString, QString>> values;
        const auto add = [&](const char* label, auto get, const char* key) {
            uint8_t text[512] = {};
            if (get(handle_, reinterpret_cast<const uint8_t*>(key), std::strlen(key), text, sizeof text, nullptr) == 1 && text[0]) {
                values.emplace_back(QLatin1String(label), QString::fromUtf8(reinterpret_cast<const char*>(text)));
            }
        };
        for (const auto& [label, key] : {std::pair{"case number", "case_number"}, {"evidence number", "evidence_number"},
                                         {"description", "description"}, {"examiner", "examiner_name"},
                                         {"notes", "notes"}, {"acquired", "acquiry_date"},
                                         {"acquisition software", "acquiry_software"}}) {
            add(label, libewf_handle_get_utf8_header_value, key);
        }
        add("stored MD5", libewf_handle_get_utf8_hash_value, "MD5");
        add("stored SHA-1", libewf_handle_get_utf8_hash_value, "SHA1");
        return values;
    }

protected:
    int64_t readAt(uint64_t offset, void* buffer, size_t size) const override {
        return libewf_handle_read_random(handle_, buffer, size, static_cast<off64_t>(offset), nullptr);
    }
    // libewf opens a set whose last segments are missing or cut, and reads their part as zeros:
    // only this flag tells.
    QString containerDamage() const override {
        if (libewf_handle_segment_files_corrupted(handle_, nullptr) != 1) return QString();
        return QStringLiteral("incomplete: a segment after %1 is missing, or a segment is cut or damaged; what it held reads as zeros")
            .arg(QFileInfo(files_.isEmpty() ? QString() : files_.last()).fileName());
    }

private:
    libewf_handle_t* handle_ = nullptr;
    bool opened_ = false;
    uint64_t size_ = 0;
    QStringList files_;
};

// --- VHD/VHDX, VMDK, QCOW2: one library each, one shape ------------------------------------------

template <typename Traits>
class LibyalImage : public DiskImage {
public:
    // `format`: the container's name where its signature told it ("VHDX"); else the library says.
    static std::unique_ptr<LibyalImage> open(const QString& path, QString* why, const QString& format = QString()) {
        typename Traits::Error* error = nullptr;
        auto image = std::unique_ptr<LibyalImage>(new LibyalImage);
        image->files_ << path;
        const auto fail = [&] {
            *why = errorText(error, Traits::sprint, Traits::freeError);
            return nullptr;
        };
        if (Traits::initialize(&image->handle_, &error) != 1) return fail();
        if (Traits::open(image->handle_, bytesOf(path).constData(), Traits::kRead, &error) != 1) return fail();
        image->opened_ = true;
        if (!Traits::afterOpen(image->handle_, &error)) return fail();
        size64_t size = 0;
        if (Traits::mediaSize(image->handle_, &size, &error) != 1) return fail();
        image->size_ = size;
        image->format_ = format.isEmpty() ? Traits::formatOf(image->handle_) : format;
        return image;
    }
    ~LibyalImage() override {
        if (opened_) Traits::close(handle_, nullptr);
        if (handle_) Traits::release(&handle_, nullptr);
    }
    QString format() const override { return format_; }
    uint64_t size() const override { return size_; }
    QStringList files() const override { return files_; }

protected:
    // Small reads (a file system's entries and index records, a few hundred bytes each) go
    // through a cache of whole blocks: these libraries decompress or look up a cluster again for
    // every read of it, and a QCOW2's compressed cluster costs a zlib inflate each time.
    int64_t readAt(uint64_t offset, void* buffer, size_t size) const override {
        if (size >= kBlock) return Traits::read(handle_, buffer, size, static_cast<off64_t>(offset), nullptr);
        auto* into = static_cast<uint8_t*>(buffer);
        size_t done = 0;
        while (done < size) {
            const uint64_t at = offset + done;
            const Block* block = blockAt(at / kBlock);
            if (!block) return done > 0 ? static_cast<int64_t>(done) : -1;
            const size_t within = static_cast<size_t>(at % kBlock);
            if (within >= block->size) break;  // the end of the disk
            const size_t take = std::min(size - done, block->size - within);
            std::memcpy(into + done, block->bytes.data() + within, take);
            done += take;
        }
        return static_cast<int64_t>(done);
    }

private:
    static constexpr size_t kBlock = size_t{64} << 10;
    static constexpr size_t kBlocks = 256;  // 16 MiB
    struct Block {
        uint64_t index = 0;
        std::vector<uint8_t> bytes;
        size_t size = 0;
        uint64_t used = 0;
    };
    // The block, read on a miss in the place of the least recently used; nullptr on a read error.
    const Block* blockAt(uint64_t index) const {
        if (const auto known = where_.find(index); known != where_.end()) {
            blocks_[known->second].used = ++tick_;
            return &blocks_[known->second];
        }
        size_t slot = blocks_.size();
        if (slot < kBlocks) {
            blocks_.emplace_back();
        } else {
            slot = static_cast<size_t>(std::min_element(blocks_.begin(), blocks_.end(), [](const Block& a, const Block& b) { return a.used < b.used; }) - blocks_.begin());
            where_.erase(blocks_[slot].index);
        }
        Block& block = blocks_[slot];
        block.bytes.resize(kBlock);
        const uint64_t start = index * kBlock;
        const size_t want = start >= size_ ? 0 : static_cast<size_t>(std::min<uint64_t>(kBlock, size_ - start));
        const ssize_t got = want == 0 ? 0 : Traits::read(handle_, block.bytes.data(), want, static_cast<off64_t>(start), nullptr);
        if (got < 0) {
            blocks_.erase(blocks_.begin() + static_cast<std::ptrdiff_t>(slot));
            where_.clear();
            for (size_t i = 0; i < blocks_.size(); ++i) where_[blocks_[i].index] = i;
            return nullptr;
        }
        block.index = index;
        block.size = static_cast<size_t>(got);
        block.used = ++tick_;
        where_[index] = slot;
        return &block;
    }

    mutable std::vector<Block> blocks_;
    mutable std::unordered_map<uint64_t, size_t> where_;  // block index -> slot
    mutable uint64_t tick_ = 0;
    typename Traits::Handle* handle_ = nullptr;
    bool opened_ = false;
    uint64_t size_ = 0;
    QString format_;
    QStringList files_;
};

struct VhdiTraits {
    using Handle = libvhdi_file_t;
    using Error = libvhdi_error_t;
    static constexpr int kRead = LIBVHDI_OPEN_READ;
    static constexpr auto initialize = libvhdi_file_initialize;
    static constexpr auto open = libvhdi_file_open;
    static constexpr auto close = libvhdi_file_close;
    static constexpr auto release = libvhdi_file_free;
    static constexpr auto mediaSize = libvhdi_file_get_media_size;
    static constexpr auto read = libvhdi_file_read_buffer_at_offset;
    static constexpr auto sprint = libvhdi_error_sprint;
    static constexpr auto freeError = libvhdi_error_free;
    static bool afterOpen(Handle*, Error**) { return true; }
    static QString formatOf(Handle* handle) {
        uint16_t major = 0, minor = 0;
        libvhdi_file_get_format_version(handle, &major, &minor, nullptr);
        return major >= 2 ? QStringLiteral("VHDX") : QStringLiteral("VHD");
    }
};

struct VmdkTraits {
    using Handle = libvmdk_handle_t;
    using Error = libvmdk_error_t;
    static constexpr int kRead = LIBVMDK_OPEN_READ;
    static constexpr auto initialize = libvmdk_handle_initialize;
    static constexpr auto open = libvmdk_handle_open;
    static constexpr auto close = libvmdk_handle_close;
    static constexpr auto release = libvmdk_handle_free;
    static constexpr auto mediaSize = libvmdk_handle_get_media_size;
    static constexpr auto read = libvmdk_handle_read_buffer_at_offset;
    static constexpr auto sprint = libvmdk_error_sprint;
    static constexpr auto freeError = libvmdk_error_free;
    // A descriptor names its extent files; they are looked for beside it.
    static bool afterOpen(Handle* handle, Error** error) { return libvmdk_handle_open_extent_data_files(handle, error) == 1; }
    static QString formatOf(Handle*) { return QStringLiteral("VMDK"); }
};

struct QcowTraits {
    using Handle = libqcow_file_t;
    using Error = libqcow_error_t;
    static constexpr int kRead = LIBQCOW_OPEN_READ;
    static constexpr auto initialize = libqcow_file_initialize;
    static constexpr auto open = libqcow_file_open;
    static constexpr auto close = libqcow_file_close;
    static constexpr auto release = libqcow_file_free;
    static constexpr auto mediaSize = libqcow_file_get_media_size;
    static constexpr auto read = libqcow_file_read_buffer_at_offset;
    static constexpr auto sprint = libqcow_error_sprint;
    static constexpr auto freeError = libqcow_error_free;
    static bool afterOpen(Handle*, Error**) { return true; }
    static QString formatOf(Handle* handle) {
        uint32_t version = 0;
        libqcow_file_get_format_version(handle, &version, nullptr);
        return QStringLiteral("QCOW%1").arg(version);
    }
};

// The container by its first bytes, whatever the file is called.
enum class Kind { Ewf, Vhd, Vhdx, Vmdk, Qcow, Raw };

Kind kindOf(const QString& path) {
    char head[512] = {};
    const int fd = ::open(bytesOf(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return Kind::Raw;
    const ssize_t got = ::pread(fd, head, sizeof head, 0);
    struct stat st {};
    char footer[512] = {};
    ssize_t tail = 0;
    if (::fstat(fd, &st) == 0 && st.st_size >= 512) tail = ::pread(fd, footer, sizeof footer, st.st_size - 512);
    ::close(fd);
    const QByteArrayView start(head, std::max<ssize_t>(got, 0));
    if (start.startsWith("EVF\x09\x0D\x0A\xFF\x00") || start.startsWith("LVF\x09\x0D\x0A\xFF\x00") ||
        start.startsWith("EVF2\x0D\x0A\x81\x00")) {
        return Kind::Ewf;
    }
    if (start.startsWith("vhdxfile")) return Kind::Vhdx;
    if (start.startsWith("conectix") || (tail == 512 && QByteArrayView(footer, 8) == QByteArrayView("conectix"))) return Kind::Vhd;
    if (start.startsWith("KDMV") || start.startsWith("COWD") || start.startsWith("# Disk DescriptorFile")) return Kind::Vmdk;
    if (start.startsWith("QFI\xFB")) return Kind::Qcow;
    return Kind::Raw;
}

}  // namespace

std::unique_ptr<DiskImage> DiskImage::open(const QString& path, QString* why) {
    const QFileInfo info(path);
    if (!info.exists()) {
        *why = QStringLiteral("%1 does not exist").arg(path);
        return nullptr;
    }
    if (!info.isFile()) {
        *why = QStringLiteral("%1 is not a file").arg(path);
        return nullptr;
    }
    QString problem;
    std::unique_ptr<DiskImage> image;
    switch (kindOf(path)) {
        case Kind::Ewf: image = EwfImage::open(path, &problem); break;
        case Kind::Vhd: image = LibyalImage<VhdiTraits>::open(path, &problem, QStringLiteral("VHD")); break;
        case Kind::Vhdx: image = LibyalImage<VhdiTraits>::open(path, &problem, QStringLiteral("VHDX")); break;
        case Kind::Vmdk: image = LibyalImage<VmdkTraits>::open(path, &problem); break;
        case Kind::Qcow: image = LibyalImage<QcowTraits>::open(path, &problem); break;
        case Kind::Raw: image = RawImage::open(rawSegments(path), &problem); break;
    }
    if (!image) *why = QStringLiteral("%1 cannot be read as a disk image: %2").arg(path, problem);
    return image;
}

}  // namespace kestrova
