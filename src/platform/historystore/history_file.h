// Internet Explorer's URL history on a volume: the URL records of a History.IE5\index.dat, read
// through libmsiecf (libmsiecf's 1/0/-1 conventions end here), served as the analysed system's
// history store.
//
// A history record's location reads "Visited: USER@URL"; the URL is the text after the first
// "@". Its title is a property in the record's data, laid out as observed in the real
// History.IE5 sample (log2timeline test data), all values little-endian:
//   data  0   2  size of the data header (16)
//   data  h   2  property size, its 4 header bytes included (0 ends the list)
//         +2  2  property type: 0x1F10 is the title, UTF-16 text ended by a NUL
//         +4  .. the value
// Times: the primary time is the last visit, the secondary the last update (both FILETIME);
// the expiry is a FILETIME in format 4.7 and a FAT date and time (date in the low half) in 5.2.
#pragma once

#include <QIODevice>
#include <QString>
#include <optional>
#include <vector>

#include "core/common/findings.h"
#include "core/time/iso_time.h"
#include "core/system/url_history_store.h"

namespace kestrova {

// One URL record of a cache index (history, content cache, cookies), as libmsiecf gives it.
struct CacheEntry {
    uint8_t major = 0;           // the file's format version: 4 or 5
    uint64_t primary = 0;        // FILETIME; its meaning depends on the container (see above)
    uint64_t secondary = 0;      // FILETIME
    uint64_t expiry = 0;         // FILETIME in 4.7, a FAT date and time in 5.2
    uint32_t hits = 0;
    std::optional<uint32_t> flags;
    QString location;            // "Visited: USER@URL", "Cookie:USER@HOST/", "http://..."
    QByteArray data;             // the record's data (the title property of a history record)
    QString fileName;            // the cached file's name in its cache folder

    // The expiry as an exact time, whichever format the file has.
    std::optional<UtcMicros> expiryTime() const;
};

struct CacheIndexRead {
    std::vector<CacheEntry> entries;  // in file order: all of them, or those read before a failure
    std::optional<QString> problem;   // why the file could not be read, or not to its end
};

// Every URL record of an opened cache index, read as readHistoryFile reads (below).
CacheIndexRead readCacheIndex(QIODevice& file);

struct HistoryRead {
    std::vector<StatUrl> records;   // in file order: all of them, or those read before a failure
    std::optional<QString> problem; // why the file could not be read, or not to its end
};

// The history records of an opened file. libmsiecf reads it in a child process of its own
// (platform/contained), so that a crafted file can crash, exhaust or hang only that child: what
// it sent before is kept, and the problem says what ended it. A header whose sizes do not fit the
// file is refused before the library sees it.
HistoryRead readHistoryFile(QIODevice& file);

// Why a cache index header cannot be handed to the library (its first 0x50 bytes and the file's
// size); nullopt when it can.
std::optional<QString> historyHeaderProblem(QByteArrayView header, qint64 fileSize);

// The title property of a record's data, if it has one.
std::optional<QString> historyTitle(const QByteArray& data);

// A FAT date and time (date in the low 16 bits) as a FILETIME; 0 for an invalid one.
uint64_t fatToFileTime(uint32_t fat);

// The records of a history file as the run's changeable store; a file that could not be read
// is an empty store that says why whenever it is enumerated.
class HistoryFileStore : public MemoryHistoryStore {
public:
    HistoryFileStore(std::vector<StatUrl> records, std::optional<Finding> problem, Findings* findings)
        : MemoryHistoryStore(std::move(records)), problem_(std::move(problem)), findings_(findings) {}
    std::unique_ptr<UrlHistoryEnumerator> enumerate() override {
        if (problem_ && findings_) findings_->note(problem_->kind, problem_->what, problem_->why);
        return MemoryHistoryStore::enumerate();
    }

private:
    std::optional<Finding> problem_;
    Findings* findings_;
};

}  // namespace kestrova
