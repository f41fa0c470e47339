// The pure decoders of the Windows activity kinds: bytes or text in, values out, no hive, file or
// library touched. Kept apart from the sources that call them so that the fuzzing harnesses and
// the tests reach each one directly. Their formats are described where they are implemented.
#pragma once

#include <QByteArray>
#include <QString>
#include <optional>
#include <utility>
#include <vector>

#include "core/common/byte_view.h"
#include "core/time/iso_time.h"

namespace kestrova {

// An entry of a Jump List's DestList stream (shell_files.cpp has the layout).
struct DestEntry {
    uint32_t number = 0;
    std::optional<UtcMicros> lastAccess;
    bool pinned = false;
    int64_t accessCount = 0;
    QString path;
};
std::vector<DestEntry> readDestList(ByteView list);

// How many shortcuts a customDestinations-ms file declares, and whether its last category ends
// where a whole file would.
struct DeclaredEntries {
    qint64 entries = 0;
    bool whole = false;
};
DeclaredEntries declaredEntries(const QByteArray& bytes);

// A UserAssist value's data: Windows 7 and later (72 bytes), or XP (16 bytes); nothing for others.
struct UserAssistEntry {
    std::optional<int64_t> runCount, focusCount, focusTimeMs;
    std::optional<UtcMicros> lastRun;
};
UserAssistEntry decodeUserAssist(ByteView data);

// First installs by device instance from setupapi.dev.log (usb.cpp says how its local times
// become UTC with the zone's bias in minutes).
std::vector<std::pair<QString, UtcMicros>> setupApiInstalls(const QByteArray& log, int biasMinutes);

}  // namespace kestrova
