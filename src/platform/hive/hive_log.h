// Replaying a dirty hive's transaction logs, as Windows does when it loads the hive.
//
// Since Windows 8.1 the kernel writes changed pages to NTUSER.DAT.LOG1/.LOG2 first and folds them
// into the hive file up to an hour later; a volume imaged meanwhile holds the newest keys and
// values only in its logs, and hivex reads the base file alone. A hive is dirty when its base
// block's two sequence numbers differ or its checksum is wrong. The replay applies the logs to a
// copy in memory: never to the evidence.
//
// Format knowledge: Maxim Suhanov's public description of the Windows registry file format (base
// block, old-format DIRT logs, new-format HvLE log entries with Marvin32 hashes) and libyal's
// libregf documentation; checked against the real dirty NTUSER.DAT in the shared samples.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <vector>

namespace kestrova {

struct HiveLog {
    QString name;     // "NTUSER.DAT.LOG1", for what is said about it
    QByteArray bytes;
};

struct HiveReplay {
    bool dirty = false;     // the base block asked for a replay
    QByteArray hive;        // the replayed hive; empty when nothing was applied
    int entries = 0;        // log entries (new format) or logs (old format) applied
    int pages = 0;          // dirty pages written
    QStringList used;       // the logs that were applied, by name
    QString why;            // when dirty and nothing or not everything applied: why, in the user's words
};

// Whether a hive's base block (its first 4096 bytes or more) asks for a replay.
bool hiveIsDirty(const QByteArray& baseBlock);

// Applies the logs to a copy of the primary file. Damaged logs, torn entries and gaps in the
// sequence end the replay where Windows would end it; what was applied before stays applied.
HiveReplay replayHive(const QByteArray& primary, const std::vector<HiveLog>& logs);

// The Marvin32 hash with the registry's seed, which guards each new-format log entry.
uint64_t registryMarvin32(const uint8_t* data, size_t size);

}  // namespace kestrova
