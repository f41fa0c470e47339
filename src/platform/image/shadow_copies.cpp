#include "platform/image/shadow_copies.h"

#include "core/common/byte_view.h"
#include "platform/image/range_io.h"

namespace kestrova {
namespace {

// libvshadow's reason: the last line of its error, which names the failing step.
QString vshadowError(libvshadow_error_t* error) {
    if (!error) return QStringLiteral("libvshadow gives no reason");
    char text[1024] = {};
    libvshadow_error_sprint(error, text, sizeof text);
    libvshadow_error_free(&error);
    return QString::fromLocal8Bit(text).trimmed().section(QLatin1Char('\n'), -1).trimmed();
}

// The block size of a store's data: what libvshadow counts its blocks in.
constexpr uint64_t kStoreBlock = 0x4000;

}  // namespace

// The volume in one store's state, read through libvshadow under its owner's lock.
class StoreDisk : public DiskImage {
public:
    StoreDisk(std::shared_ptr<ShadowCopies> owner, libvshadow_store_t* store, const ShadowStore& about)
        : owner_(std::move(owner)), store_(store), about_(about) {}
    ~StoreDisk() override { libvshadow_store_free(&store_, nullptr); }
    QString format() const override { return QStringLiteral("shadow copy %1").arg(about_.number); }
    uint64_t size() const override { return about_.volumeSize; }
    QStringList files() const override { return {}; }

protected:
    int64_t readAt(uint64_t offset, void* buffer, size_t size) const override {
        if (offset >= about_.volumeSize) return 0;
        const std::lock_guard lock(owner_->mutex_);
        const ssize_t got = libvshadow_store_read_buffer_at_offset(store_, buffer, size, static_cast<off64_t>(offset), nullptr);
        return got < 0 ? -1 : got;
    }

private:
    std::shared_ptr<ShadowCopies> owner_;
    libvshadow_store_t* store_;
    ShadowStore about_;
};

std::shared_ptr<ShadowCopies> ShadowCopies::open(std::shared_ptr<const DiskImage> disk, uint64_t offset, uint64_t size, QString* why) {
    auto copies = std::shared_ptr<ShadowCopies>(new ShadowCopies);
    copies->io_ = rangeHandle(std::move(disk), offset, size);
    libvshadow_error_t* error = nullptr;
    if (!copies->io_ || libvshadow_volume_initialize(&copies->volume_, &error) != 1) {
        *why = QStringLiteral("its shadow copies cannot be read: %1").arg(vshadowError(error));
        return copies;
    }
    // A volume without the shadow copy header is not an error: it has no earlier states.
    const int marked = libvshadow_check_volume_signature_file_io_handle(copies->io_, &error);
    if (marked != 1) {
        if (marked < 0) *why = QStringLiteral("its shadow copies cannot be read: %1").arg(vshadowError(error));
        return copies;
    }
    if (libvshadow_volume_open_file_io_handle(copies->volume_, copies->io_, LIBVSHADOW_OPEN_READ, &error) != 1) {
        *why = QStringLiteral("its shadow copies cannot be read: %1").arg(vshadowError(error));
        return copies;
    }
    copies->opened_ = true;
    int count = 0;
    if (libvshadow_volume_get_number_of_stores(copies->volume_, &count, &error) != 1) {
        *why = QStringLiteral("its list of shadow copies cannot be read: %1").arg(vshadowError(error));
        return copies;
    }
    QStringList lost;
    for (int i = 0; i < count; ++i) {
        libvshadow_store_t* store = nullptr;
        if (libvshadow_volume_get_store(copies->volume_, i, &store, &error) != 1) {
            lost << QStringLiteral("store %1: %2").arg(i + 1).arg(vshadowError(error));
            error = nullptr;
            continue;
        }
        ShadowStore about;
        about.number = i + 1;
        uint8_t guid[16] = {};
        if (libvshadow_store_get_identifier(store, guid, sizeof guid, nullptr) == 1) about.identifier = ByteView(guid, sizeof guid).guidText(0);
        uint64_t filetime = 0;
        if (libvshadow_store_get_creation_time(store, &filetime, nullptr) == 1) about.created = utc::fromFileTime(filetime);
        size64_t volumeSize = 0;
        if (libvshadow_store_get_volume_size(store, &volumeSize, nullptr) == 1) about.volumeSize = volumeSize;
        int blocks = 0;
        if (libvshadow_store_get_number_of_blocks(store, &blocks, nullptr) == 1 && blocks > 0) about.size = uint64_t(blocks) * kStoreBlock;
        libvshadow_store_free(&store, nullptr);
        copies->stores_.push_back(std::move(about));
    }
    if (!lost.isEmpty()) *why = QStringLiteral("%1 of %2 shadow copies cannot be read (%3)").arg(lost.size()).arg(count).arg(lost.join(QStringLiteral("; ")));
    return copies;
}

ShadowCopies::~ShadowCopies() {
    if (opened_) libvshadow_volume_close(volume_, nullptr);
    if (volume_) libvshadow_volume_free(&volume_, nullptr);
    if (io_) libbfio_handle_free(&io_, nullptr);
}

std::shared_ptr<DiskImage> ShadowCopies::storeDisk(int number, QString* why) {
    const auto about = std::find_if(stores_.begin(), stores_.end(), [number](const ShadowStore& s) { return s.number == number; });
    if (about == stores_.end()) {
        *why = stores_.empty() ? QStringLiteral("the volume has no shadow copies")
                               : QStringLiteral("the volume has no shadow copy %1 (it has %2)").arg(number).arg(stores_.size());
        return nullptr;
    }
    const std::lock_guard lock(mutex_);
    libvshadow_store_t* store = nullptr;
    libvshadow_error_t* error = nullptr;
    if (libvshadow_volume_get_store(volume_, number - 1, &store, &error) != 1) {
        *why = QStringLiteral("shadow copy %1 cannot be read: %2").arg(number).arg(vshadowError(error));
        return nullptr;
    }
    if (about->volumeSize == 0) {
        libvshadow_store_free(&store, nullptr);
        *why = QStringLiteral("shadow copy %1 gives no volume size").arg(number);
        return nullptr;
    }
    return std::make_shared<StoreDisk>(shared_from_this(), store, *about);
}

}  // namespace kestrova
