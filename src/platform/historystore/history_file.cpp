#include "platform/historystore/history_file.h"

#include <QDateTime>
#include <QFile>
#include <QtEndian>
#include <libmsiecf.h>
#include <memory>

#include "core/common/text.h"

namespace kestrova {
namespace {

constexpr uint16_t kTitleProperty = 0x1F10;
constexpr qint64 kEntryFlagsOffset = 64;  // cache entry flags in a URL record (format 4.7 and 5.2)
constexpr uint64_t kUnixEpochTicks = 116444736000000000ULL;

struct FileCloser {
    void operator()(libmsiecf_file_t* file) const {
        libmsiecf_file_close(file, nullptr);
        libmsiecf_file_free(&file, nullptr);
    }
};
struct ItemFree {
    void operator()(libmsiecf_item_t* item) const { libmsiecf_item_free(&item, nullptr); }
};

QString errorText(libmsiecf_error_t* error) {
    if (!error) return QStringLiteral("not a cache file");
    char text[512] = {};
    libmsiecf_error_sprint(error, text, sizeof text);
    libmsiecf_error_free(&error);
    return QString::fromLocal8Bit(text).section(QLatin1Char('\n'), -1).trimmed();
}

QString location(libmsiecf_item_t* item) {
    size_t size = 0;
    if (libmsiecf_url_get_utf8_location_size(item, &size, nullptr) != 1 || size == 0) return QString();
    QByteArray text(static_cast<qsizetype>(size), '\0');
    if (libmsiecf_url_get_utf8_location(item, reinterpret_cast<uint8_t*>(text.data()), size, nullptr) != 1) return QString();
    return QString::fromUtf8(text.constData());
}

QByteArray data(libmsiecf_item_t* item) {
    size_t size = 0;
    if (libmsiecf_url_get_data_size(item, &size, nullptr) != 1 || size == 0) return {};
    QByteArray bytes(static_cast<qsizetype>(size), '\0');
    if (libmsiecf_url_get_data(item, reinterpret_cast<uint8_t*>(bytes.data()), size, nullptr) != 1) return {};
    return bytes;
}

FileTime fileTime(uint64_t ticks) {
    return FileTime{static_cast<uint32_t>(ticks & 0xFFFFFFFFu), static_cast<uint32_t>(ticks >> 32)};
}

}  // namespace

uint64_t fatToFileTime(uint32_t fat) {
    const uint32_t date = fat & 0xFFFF;
    const uint32_t time = fat >> 16;
    const QDate day(1980 + static_cast<int>(date >> 9), static_cast<int>((date >> 5) & 0xF), static_cast<int>(date & 0x1F));
    const QTime clock(static_cast<int>(time >> 11), static_cast<int>((time >> 5) & 0x3F), static_cast<int>((time & 0x1F) * 2));
    if (!day.isValid() || !clock.isValid()) return 0;
    const qint64 ms = QDateTime(day, clock, Qt::UTC).toMSecsSinceEpoch();
    return static_cast<uint64_t>(ms * 10000 + static_cast<qint64>(kUnixEpochTicks));
}

std::optional<QString> historyTitle(const QByteArray& bytes) {
    const auto u16 = [&](qsizetype at) { return qFromLittleEndian<uint16_t>(bytes.constData() + at); };
    if (bytes.size() < 2) return std::nullopt;
    for (qsizetype at = u16(0); at + 4 <= bytes.size();) {
        const uint16_t size = u16(at);
        if (size < 4 || at + size > bytes.size()) break;
        if (u16(at + 2) == kTitleProperty) {
            QString title;
            for (qsizetype i = at + 4; i + 1 < at + size && u16(i) != 0; i += 2) title.append(QChar(u16(i)));
            return title;
        }
        at += size;
    }
    return std::nullopt;
}

std::optional<std::vector<StatUrl>> readHistoryFile(const QString& localPath, QString* problem) {
    libmsiecf_error_t* error = nullptr;
    libmsiecf_file_t* raw = nullptr;
    if (libmsiecf_file_initialize(&raw, &error) != 1) {
        if (problem) *problem = errorText(error);
        return std::nullopt;
    }
    if (libmsiecf_file_open(raw, toFileNameBytes(localPath).constData(), LIBMSIECF_OPEN_READ, &error) != 1) {
        libmsiecf_file_free(&raw, nullptr);
        if (problem) *problem = QStringLiteral("not a cache index (%1)").arg(errorText(error));
        return std::nullopt;
    }
    const std::unique_ptr<libmsiecf_file_t, FileCloser> file(raw);
    uint8_t major = 0, minor = 0;
    libmsiecf_file_get_format_version(file.get(), &major, &minor, nullptr);
    int count = 0;
    libmsiecf_file_get_number_of_items(file.get(), &count, nullptr);
    // The entry flags are not among libmsiecf's fields; they are read from the record itself.
    QFile bytes(localPath);
    const bool flagsReadable = !hasEscapedBytes(localPath) && bytes.open(QIODevice::ReadOnly);

    std::vector<StatUrl> records;
    for (int i = 0; i < count; ++i) {
        libmsiecf_item_t* rawItem = nullptr;
        if (libmsiecf_file_get_item_by_index(file.get(), i, &rawItem, nullptr) != 1) continue;
        const std::unique_ptr<libmsiecf_item_t, ItemFree> item(rawItem);
        uint8_t type = 0;
        if (libmsiecf_item_get_type(item.get(), &type, nullptr) != 1 || type != LIBMSIECF_ITEM_TYPE_URL) continue;
        const QString where = location(item.get());
        if (!where.startsWith(QLatin1String("Visited:"))) continue;
        const qsizetype at = where.indexOf(QLatin1Char('@'));
        StatUrl record;
        record.url = at < 0 ? QString() : where.mid(at + 1);
        record.title = historyTitle(data(item.get()));
        uint64_t primary = 0, secondary = 0, expiry = 0;
        libmsiecf_url_get_primary_time(item.get(), &primary, nullptr);
        libmsiecf_url_get_secondary_time(item.get(), &secondary, nullptr);
        libmsiecf_url_get_expiration_time(item.get(), &expiry, nullptr);
        record.lastVisited = fileTime(primary);
        record.lastUpdated = fileTime(secondary);
        record.expires = fileTime(major >= 5 ? fatToFileTime(static_cast<uint32_t>(expiry)) : expiry);
        off64_t offset = 0;
        if (flagsReadable && libmsiecf_item_get_offset(item.get(), &offset, nullptr) == 1 && bytes.seek(offset + kEntryFlagsOffset)) {
            const QByteArray flags = bytes.read(4);
            if (flags.size() == 4) record.flags = qFromLittleEndian<quint32>(flags.constData());
        }
        records.push_back(std::move(record));
    }
    return records;
}

}  // namespace kestrova
