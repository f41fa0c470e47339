// A stretch of a disk's bytes (a partition, a shadow copy's volume) as a libbfio handle, which the
// libyal libraries read file systems and stores through. Reads only: a write fails.
#pragma once

#include <libbfio.h>
#include <memory>

#include "platform/image/disk_image.h"

namespace kestrova {

// The handle over `size` bytes of `disk` from `offset` (it keeps the disk); nullptr when libbfio
// cannot make one. Freed with libbfio_handle_free.
libbfio_handle_t* rangeHandle(std::shared_ptr<const DiskImage> disk, uint64_t offset, uint64_t size);

}  // namespace kestrova
