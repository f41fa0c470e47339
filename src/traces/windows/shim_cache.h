// The AppCompatCache value (ShimCache) of a SYSTEM hive: the programs the compatibility layer
// looked at, newest first, in the layout of the Windows version that wrote it (see execution.cpp
// for the layouts).
#pragma once

#include <QString>
#include <optional>
#include <vector>

#include "core/common/byte_view.h"
#include "core/time/iso_time.h"

namespace kestrova {

struct ShimEntry {
    QString path;
    std::optional<UtcMicros> modified;
    std::optional<bool> executed;  // kept by Windows 7 and 8 only
};

// The entries, and in *layout the layout's name ("Windows 7, 32-bit"); none for a value of a
// layout not known here.
std::vector<ShimEntry> parseShimCache(ByteView data, QString* layout);

}  // namespace kestrova
