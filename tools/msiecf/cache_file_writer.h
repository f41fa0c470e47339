// Writes Internet Explorer cache index files (index.dat, format 5.2) for the sample system and
// tests: the History.IE5 and Content.IE5 kinds, read back by libmsiecf and msiecfexport.
//
// Layout (the public MSIE cache file format description, and the real samples of
// ../shared/realdata for what it leaves open), all values little-endian:
//   0x0000  file header: "Client UrlCache MMF Ver 5.2\0" (28), file size, offset of the first
//           hash table, number of 128-byte blocks, allocated blocks, then quota and sizes
//   0x0048  cache directory table: count, then per directory the files it holds and its
//           8-character name
//   0x0250  allocation bitmap: one bit per block from 0x4000 on, lowest bit first
//   0x4000  hash table, 4096 bytes: "HASH", its size in blocks (32), next table (0), sequence
//           (0), then (hash, record offset) pairs; unused pairs hold (3, 3)
//   0x5000  records, each a whole number of blocks, filled with 0xDEADBEEF:
//           URL record: "URL ", blocks, secondary and primary FILETIME, expiry FAT date-time,
//           cached file size, location offset 0x68 (the location, NUL-ended), cache directory
//           index, file name offset, entry flags, data offset and size, last checked FAT
//           date-time, hits; a history record's data carries its title as property 0x1F10.
#pragma once

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <vector>

namespace kestrova::tools {

struct CacheUrl {
    QByteArray location;        // "Visited: alice@http://..." (history) or "http://..." (content)
    QString title;              // history only; empty: no title property
    uint64_t primaryTime = 0;   // FILETIME: last visit or access
    uint64_t secondaryTime = 0; // FILETIME: last modification
    uint32_t expiryFat = 0;     // FAT date-time, date in the low half
    uint32_t lastCheckedFat = 0;
    QByteArray fileName;        // content only: the cached file's name
    QByteArray headers;         // content only: the HTTP response headers kept as the data
    uint8_t cacheDirectory = 0xFE;  // 0xFE: none
    uint32_t cachedSize = 0;
    uint32_t hits = 1;
    uint32_t entryFlags = 0x00200001;
};

struct CacheFile {
    std::vector<QByteArray> directories;  // 8-character names (content caches have four)
    std::vector<CacheUrl> urls;
};

QByteArray writeCacheFile(const CacheFile& file);

// A FILETIME from a UTC calendar moment; a FAT date-time from one.
uint64_t fileTimeOf(int year, int month, int day, int hour, int minute, int second);
uint32_t fatTimeOf(int year, int month, int day, int hour, int minute, int second);

}  // namespace kestrova::tools
