// The MFT as libfsntfs reads it (its MFT metadata file API), entry by entry: the reference our own
// entry reader is checked against.
#pragma once

#include <QString>
#include <QStringList>
#include <cstdint>
#include <map>
#include <optional>

namespace kestrova::test {

struct ReferenceEntry {
    uint16_t sequence = 0;
    bool inUse = false, folder = false;
    uint64_t siTimes[4] = {};  // created, modified, accessed, entry changed
    uint32_t attributes = 0;
    QStringList names;  // every $FILE_NAME's name, in the order libfsntfs gives them
    uint64_t parent = 0;
    uint16_t parentSequence = 0;
    uint64_t fnTimes[4] = {};  // of the longest name
    int dataStreams = 0;
    uint64_t size = 0;
};

// Every entry that is not empty, by index; nullopt with why when libfsntfs cannot open the table.
std::optional<std::map<uint64_t, ReferenceEntry>> referenceMft(const QString& file, QString* why);

}  // namespace kestrova::test
