#include "webcache/ese_writer.h"

#include <QtEndian>
#include <cstring>

namespace kestrova::tools {
namespace {

constexpr uint32_t kPageSize = 4096;
constexpr uint32_t kFormatVersion = 0x620;
constexpr uint32_t kFormatRevision = 0x0c;
constexpr uint32_t kCatalogPage = 4, kBackupCatalogPage = 24;
constexpr uint32_t kFirstTablePage = 30;
constexpr uint32_t kPageRoot = 0x01, kPageLeaf = 0x02, kPageEmpty = 0x08;
constexpr size_t kPageHeader = 40;

template <typename T>
void put(QByteArray& out, T value) {
    T le = qToLittleEndian(value);
    out.append(reinterpret_cast<const char*>(&le), sizeof le);
}
template <typename T>
void putAt(QByteArray& out, size_t at, T value) {
    T le = qToLittleEndian(value);
    std::memcpy(out.data() + at, &le, sizeof le);
}

uint32_t xor32(const QByteArray& bytes, size_t from) {
    uint32_t sum = 0x89abcdef;
    for (size_t at = from; at + 4 <= static_cast<size_t>(bytes.size()); at += 4) sum ^= qFromLittleEndian<uint32_t>(bytes.constData() + at);
    return sum;
}

QByteArray fileHeader() {
    QByteArray h(kPageSize, '\0');
    putAt<uint32_t>(h, 4, 0x89abcdef);  // signature
    putAt<uint32_t>(h, 8, kFormatVersion);
    putAt<uint32_t>(h, 52, 3);  // clean shutdown
    putAt<uint32_t>(h, 232, kFormatRevision);
    putAt<uint32_t>(h, 236, kPageSize);
    putAt<uint32_t>(h, 340, kFormatVersion);
    putAt<uint32_t>(h, 344, kFormatRevision);
    putAt<uint32_t>(h, 0, xor32(h, 4));
    return h;
}

// A page holding tag 0 and the values after it; nullopt when they do not fit.
std::optional<QByteArray> page(uint32_t number, uint32_t fdp, uint32_t flags, const QByteArray& tag0, const std::vector<QByteArray>& values) {
    QByteArray p(kPageSize, '\0');
    QByteArray data;
    std::vector<std::pair<uint16_t, uint16_t>> tags;  // (offset, size)
    std::vector<QByteArray> all{tag0};
    all.insert(all.end(), values.begin(), values.end());
    for (const QByteArray& v : all) {
        tags.emplace_back(static_cast<uint16_t>(data.size()), static_cast<uint16_t>(v.size()));
        data += v;
    }
    const size_t used = kPageHeader + static_cast<size_t>(data.size()) + 4 * tags.size();
    if (used > kPageSize || data.size() >= 0x1fff) return std::nullopt;
    std::memcpy(p.data() + kPageHeader, data.constData(), static_cast<size_t>(data.size()));
    for (size_t i = 0; i < tags.size(); ++i) {
        putAt<uint16_t>(p, kPageSize - 4 * (i + 1), tags[i].second);
        putAt<uint16_t>(p, kPageSize - 4 * (i + 1) + 2, tags[i].first);
    }
    putAt<uint32_t>(p, 4, number);
    putAt<uint32_t>(p, 24, fdp);
    putAt<uint16_t>(p, 28, static_cast<uint16_t>(kPageSize - used));
    putAt<uint16_t>(p, 32, static_cast<uint16_t>(data.size()));
    putAt<uint16_t>(p, 34, static_cast<uint16_t>(tags.size()));
    putAt<uint32_t>(p, 36, flags);
    putAt<uint32_t>(p, 0, xor32(p, 4));
    return p;
}

QByteArray rootHeader() {
    QByteArray h;
    put<uint32_t>(h, 1);  // initial pages
    put<uint32_t>(h, 1);  // parent FDP
    put<uint32_t>(h, 0);  // extent space: single
    put<uint32_t>(h, 0);  // no space tree
    return h;
}

// A record: fixed columns 1..n (each as given, or zeros when null), their null bits, then the
// variable columns' end offsets (high bit for null) and their bytes.
QByteArray record(const std::vector<std::pair<uint32_t, std::optional<QByteArray>>>& fixed,
                  const std::vector<std::optional<QByteArray>>& variable) {
    QByteArray fixedData, nullBits((static_cast<qsizetype>(fixed.size()) + 7) / 8, '\0');
    for (size_t i = 0; i < fixed.size(); ++i) {
        if (fixed[i].second) fixedData += *fixed[i].second;
        else {
            fixedData += QByteArray(static_cast<qsizetype>(fixed[i].first), '\0');
            nullBits[static_cast<qsizetype>(i / 8)] = static_cast<char>(nullBits[static_cast<qsizetype>(i / 8)] | (1 << (i % 8)));
        }
    }
    QByteArray offsets, bytes;
    for (const auto& v : variable) {
        if (v) bytes += *v;
        put<uint16_t>(offsets, static_cast<uint16_t>(bytes.size() | (v ? 0 : 0x8000)));
    }
    QByteArray r;
    put<uint8_t>(r, static_cast<uint8_t>(fixed.size()));
    put<uint8_t>(r, static_cast<uint8_t>(variable.empty() ? 127 : 127 + variable.size()));
    put<uint16_t>(r, static_cast<uint16_t>(4 + fixedData.size() + nullBits.size()));
    return r + fixedData + nullBits + offsets + bytes;
}

QByteArray leafValue(uint32_t key, const QByteArray& data) {
    QByteArray v;
    put<uint16_t>(v, 4);
    put<uint32_t>(v, qToBigEndian(key));
    return v + data;
}

template <typename T>
QByteArray bytesOf(T value) {
    QByteArray b;
    put<T>(b, value);
    return b;
}

QByteArray catalogEntry(uint32_t objid, uint16_t type, uint32_t id, uint32_t coltypOrPage, uint32_t size, uint32_t pagesOrCodepage,
                        const QByteArray& name) {
    return record({{4, bytesOf<uint32_t>(objid)},
                   {2, bytesOf<uint16_t>(type)},
                   {4, bytesOf<uint32_t>(id)},
                   {4, bytesOf<uint32_t>(coltypOrPage)},
                   {4, bytesOf<uint32_t>(size)},
                   {4, bytesOf<uint32_t>(0)},
                   {4, bytesOf<uint32_t>(pagesOrCodepage)},
                   {1, bytesOf<uint8_t>(0)},
                   {2, bytesOf<uint16_t>(0)},
                   {4, bytesOf<uint32_t>(0)}},
                  {name});
}

}  // namespace

std::optional<QByteArray> writeEseDatabase(const std::vector<EseTable>& tables, QString* error) {
    std::vector<QByteArray> catalog;
    std::map<uint32_t, QByteArray> pages;
    uint32_t key = 0;
    for (size_t t = 0; t < tables.size(); ++t) {
        const EseTable& table = tables[t];
        const uint32_t objid = 5 + static_cast<uint32_t>(t), pageNumber = kFirstTablePage + static_cast<uint32_t>(t);
        catalog.push_back(leafValue(++key, catalogEntry(objid, 1, objid, pageNumber, 80, 1, table.name)));
        for (const EseColumn& c : table.columns) {
            catalog.push_back(leafValue(++key, catalogEntry(objid, 2, c.id, c.type, c.size, c.codepage, c.name)));
        }
        std::vector<QByteArray> rows;
        for (size_t r = 0; r < table.rows.size(); ++r) {
            std::vector<std::pair<uint32_t, std::optional<QByteArray>>> fixed;
            std::vector<std::optional<QByteArray>> variable;
            for (const EseColumn& c : table.columns) {
                const auto it = table.rows[r].find(c.id);
                std::optional<QByteArray> value;
                if (it != table.rows[r].end()) value = it->second;
                if (c.id < 128) fixed.emplace_back(c.size, value);
                else variable.push_back(value);
            }
            rows.push_back(leafValue(static_cast<uint32_t>(r + 1), record(fixed, variable)));
        }
        const auto p = page(pageNumber, objid, kPageRoot | kPageLeaf, rootHeader(), rows);
        if (!p) {
            if (error) *error = QStringLiteral("table %1 does not fit one page").arg(QString::fromLatin1(table.name));
            return std::nullopt;
        }
        pages[pageNumber] = *p;
    }
    // The catalog's own table (MSysObjects) has object identifier 2, its backup 3.
    const auto main = page(kCatalogPage, 2, kPageRoot | kPageLeaf, rootHeader(), catalog);
    const auto backup = page(kBackupCatalogPage, 3, kPageRoot | kPageLeaf, rootHeader(), catalog);
    if (!main || !backup) {
        if (error) *error = QStringLiteral("the catalog does not fit one page");
        return std::nullopt;
    }
    pages[kCatalogPage] = *main;
    pages[kBackupCatalogPage] = *backup;
    QByteArray file = fileHeader() + fileHeader();
    const uint32_t last = pages.rbegin()->first;
    for (uint32_t n = 1; n <= last; ++n) {
        const auto it = pages.find(n);
        file += it != pages.end() ? it->second : *page(n, 0, kPageEmpty, QByteArray(), {});
    }
    return file;
}

std::optional<QByteArray> writeWebCache(const std::vector<WebCacheContainer>& containers, QString* error) {
    using namespace esetype;
    const auto text = [](const QByteArray& b) { return b.isEmpty() ? std::optional<QByteArray>() : std::optional<QByteArray>(b); };
    EseTable list{"Containers",
                  {{1, "ContainerId", LongLong, 8}, {128, "Name", Text, 255, 1252}, {129, "Directory", Text, 255, 1252}},
                  {}};
    std::vector<EseTable> tables;
    for (const WebCacheContainer& c : containers) {
        std::map<uint32_t, QByteArray> row{{1, bytesOf<int64_t>(c.id)}, {128, c.name}};
        list.rows.push_back(row);
        EseTable entries{"Container_" + QByteArray::number(static_cast<qlonglong>(c.id)),
                         {{1, "EntryId", LongLong, 8}, {2, "ContainerId", LongLong, 8}, {3, "AccessCount", Long, 4},
                          {4, "CreationTime", LongLong, 8}, {5, "ExpiryTime", LongLong, 8}, {6, "ModifiedTime", LongLong, 8},
                          {7, "AccessedTime", LongLong, 8}, {128, "Url", Text, 255, 1252}, {129, "Filename", Text, 255, 1252}},
                         {}};
        int64_t id = 0;
        for (const WebCacheEntry& e : c.entries) {
            std::map<uint32_t, QByteArray> r{{1, bytesOf<int64_t>(++id)},          {2, bytesOf<int64_t>(c.id)},
                                             {3, bytesOf<int32_t>(e.accessCount)}, {4, bytesOf<int64_t>(e.created)},
                                             {5, bytesOf<int64_t>(e.expires)},     {6, bytesOf<int64_t>(e.modified)},
                                             {7, bytesOf<int64_t>(e.accessed)}};
            if (const auto url = text(e.url)) r[128] = *url;
            if (const auto file = text(e.fileName)) r[129] = *file;
            entries.rows.push_back(r);
        }
        tables.push_back(entries);
    }
    tables.insert(tables.begin(), list);
    return writeEseDatabase(tables, error);
}

}  // namespace kestrova::tools
