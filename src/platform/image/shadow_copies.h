// The Volume Shadow Copies of an NTFS volume: the earlier states of the volume Windows keeps in
// stores (System Restore, backups), read with libvshadow over the partition's bytes. Each store
// is served as a disk of its own holding the volume as it was, so that its NTFS is read exactly
// as the current one is (image_volume.h). Read in the image's reader child only, as libfsntfs is.
#pragma once

#include <QString>
#include <libbfio.h>
#include <libvshadow.h>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "core/time/iso_time.h"
#include "platform/image/disk_image.h"

namespace kestrova {

struct ShadowStore {
    int number = 0;                    // from 1, oldest first
    QString identifier;                // the store's GUID, in braces
    std::optional<UtcMicros> created;  // when the copy was taken
    uint64_t size = 0;                 // the bytes the store keeps: the blocks changed since
    uint64_t volumeSize = 0;           // the volume's size in that state
};

class ShadowCopies : public std::enable_shared_from_this<ShadowCopies> {
public:
    // The stores of the volume in `size` bytes of `disk` from `offset`. A volume without shadow
    // copies gives an empty list; one whose store list cannot be read gives an empty list and the
    // reason in *why.
    static std::shared_ptr<ShadowCopies> open(std::shared_ptr<const DiskImage> disk, uint64_t offset, uint64_t size, QString* why);
    ~ShadowCopies();

    const std::vector<ShadowStore>& stores() const { return stores_; }
    // The volume as store `number` keeps it; nullptr with the reason when it cannot be read.
    std::shared_ptr<DiskImage> storeDisk(int number, QString* why);

private:
    friend class StoreDisk;
    ShadowCopies() = default;
    std::mutex mutex_;  // libvshadow's handles keep state
    libbfio_handle_t* io_ = nullptr;
    libvshadow_volume_t* volume_ = nullptr;
    bool opened_ = false;
    std::vector<ShadowStore> stores_;
};

}  // namespace kestrova
