// A Windows event log file (.evtx, Vista and later) read record by record, in bounded memory: one
// 64 KiB chunk at a time. A log is a 4 KiB file header and a ring of chunks; each chunk holds
// its records one after another, and the names and templates they share.
//
// Reading goes on through damage: a chunk whose checksums disagree is read as it lies, a record
// that breaks is given with what was read of it, a stretch that holds no record is passed over to
// the next record signature, and a chunk without its header is searched for records. The records
// left in a chunk's free space and in chunks the header no longer counts are read too, marked
// recovered. Every loss is counted and said: against the record numbers a chunk's header gives,
// nothing vanishes unnoticed.
//
// Layouts (libyal's "Windows XML Event Log (EVTX)" document; the offsets are checked on the shared
// samples):
//   file header   0 "ElfFile\0", 8 oldest chunk (8), 16 current chunk (8), 24 next record id (8),
//                 32 header size (4), 36 minor/major version (2+2), 40 header block size (2),
//                 42 number of chunks (2), 120 flags (4: 1 dirty, 2 full), 124 CRC32 of 0..119
//   chunk header  0 "ElfChnk\0", 8 first/16 last record number (8+8), 24 first/32 last record id
//                 (8+8), 40 header size (4), 44 last record offset (4), 48 free space offset (4),
//                 52 CRC32 of the records (4), 124 CRC32 of 0..119 and 128..511 (4), 128 string
//                 hash table, 384 template table; records from 512
//   record        0 "**\0\0", 4 size (4), 8 record id (8), 16 written (FILETIME 8), 24 binary XML,
//                 size-4 the size again
#pragma once

#include <QIODevice>
#include <QString>
#include <QStringList>
#include <functional>

#include "platform/evtx/binxml.h"

namespace kestrova {

struct EvtxRecord {
    EventXml xml;
    uint64_t recordId = 0;
    uint64_t written = 0;  // FILETIME of the record's header
    uint64_t offset = 0;   // in the file
    bool recovered = false;
};

// What a reading gave and lost.
struct EvtxReading {
    bool log = false;      // a file header, a chunk header or a record was found: this is an event log
    bool dirty = false;    // its header says it was not closed cleanly
    bool stopped = false;  // the receiver asked to stop
    struct Tally {
        qint64 given = 0;     // records handed over
        qint64 partly = 0;    // of them, records read in part
        QString firstPartly;  // "record 90 at offset 0x…: …"
    } records, recovered;
    qint64 unreadableLeftovers = 0;  // records in free space too damaged to give their event id
    qint64 lost = 0;       // records a chunk's header counts that could not be read at all
    QString firstLost;
    QStringList damage;    // the rest of what is wrong with the file, each said once (for a file that
                           // is no log, why)
};

// Reads every record of the log in `file`, oldest chunk first, then the recovered ones, handing
// each to `each` (false: stop).
EvtxReading readEvtx(QIODevice& file, const std::function<bool(EvtxRecord&)>& each);

}  // namespace kestrova
