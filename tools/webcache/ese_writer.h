// A small Extensible Storage Engine (ESE) database writer, for fixtures: the tables and rows a
// test needs, in a file libesedb reads as Windows writes them. No real WebCacheV01.dat is small
// enough to carry, so the WebCache tests build theirs here.
//
// What is written (after libesedb's "Extensible Storage Engine (ESE) Database File (EDB) format"
// document; checked with esedbinfo and esedbexport of libesedb-utils):
//   page size 4096, format version 0x620 revision 0x0c; the file header and its shadow copy in
//   the first two pages (XOR-32 checksum from offset 4, seeded 0x89abcdef; state clean)
//   page N at (N + 1) * 4096; its 40-byte header (XOR-32 checksum from offset 4, the page number,
//   the FDP object identifier, free space, first free offset, tag count, flags), its values after
//   the header and its tags (size, offset from the header's end) from the page's end backwards
//   every tree one root page that is also its leaf (flags root | leaf): tag 0 the 16-byte root
//   header (initial pages, parent FDP, no extents, no space tree), then one value a record: its
//   key size, key and data
//   the catalog (MSysObjects, page 4) and its backup (page 24): a table definition (type 1) and
//   one column definition (type 2) a column, as records of the catalog's fixed columns
//   (ObjidTable, Type, Id, ColtypOrPgnoFDP, SpaceUsage, Flags, PagesOrLocale, RootFlag,
//   RecordOffset, LCMapFlags) and its Name
//   a record: last fixed column, last variable column, offset of the variable part; the fixed
//   columns in order and their null bits; the variable columns' end offsets (high bit: null),
//   then their bytes
// A table must fit its one page; writeEseDatabase says so when one does not.
#pragma once

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

namespace kestrova::tools {

// Column types as ESE numbers them.
namespace esetype {
inline constexpr uint32_t Long = 4;       // 32-bit signed
inline constexpr uint32_t Text = 10;      // up to 255 bytes, in the column's code page
inline constexpr uint32_t LongLong = 15;  // 64-bit signed
}  // namespace esetype

struct EseColumn {
    uint32_t id;  // 1-127: fixed size; 128-255: variable size
    QByteArray name;
    uint32_t type;
    uint32_t size;            // bytes of a fixed column; the most a variable one holds
    uint32_t codepage = 0;    // 1252 for text
};

struct EseTable {
    QByteArray name;
    std::vector<EseColumn> columns;                       // fixed ones first, each kind by id
    std::vector<std::map<uint32_t, QByteArray>> rows;     // by column id; a column left out is null
};

// The database's bytes; nullopt with the reason in *error when a table does not fit its page.
std::optional<QByteArray> writeEseDatabase(const std::vector<EseTable>& tables, QString* error = nullptr);

// A WebCacheV01.dat with these containers (Containers table, one Container_N table each).
struct WebCacheEntry {
    QByteArray url;       // "Visited: user@https://...", "Cookie:user@host/path", or a cache url
    QByteArray fileName;  // the cache file ("" for none)
    int32_t accessCount = 0;
    int64_t created = 0, expires = 0, modified = 0, accessed = 0;  // FILETIMEs, 0 for none
};
struct WebCacheContainer {
    int64_t id;
    QByteArray name;  // "History", "MSHist012024010120240108", "Content", "Cookies"
    std::vector<WebCacheEntry> entries;
};
std::optional<QByteArray> writeWebCache(const std::vector<WebCacheContainer>& containers, QString* error = nullptr);

}  // namespace kestrova::tools
