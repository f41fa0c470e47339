// A bounds-checked, read-only view of bytes a file supplied, for the decoders of on-disk
// structures. Every read names its offset; a read that would leave the view gives 0 (or an empty
// text), so a decoder that checks has() before what it relies on never reads past its input,
// and one that does not gets zeros rather than another object's bytes.
#pragma once

#include <QByteArray>
#include <QString>
#include <QUuid>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace kestrova {

class ByteView {
public:
    ByteView() = default;
    ByteView(const void* data, size_t size) : data_(static_cast<const uint8_t*>(data)), size_(data ? size : 0) {}
    explicit ByteView(const QByteArray& bytes) : ByteView(bytes.constData(), static_cast<size_t>(bytes.size())) {}
    explicit ByteView(std::string_view bytes) : ByteView(bytes.data(), bytes.size()) {}

    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    const uint8_t* data() const { return data_; }
    // Whether n bytes from `at` lie inside the view (no overflow for any at and n).
    bool has(size_t at, size_t n) const { return at <= size_ && n <= size_ - at; }

    uint8_t u8(size_t at) const { return has(at, 1) ? data_[at] : 0; }
    uint16_t u16(size_t at) const { return static_cast<uint16_t>(little(at, 2)); }
    uint32_t u32(size_t at) const { return static_cast<uint32_t>(little(at, 4)); }
    uint64_t u64(size_t at) const { return little(at, 8); }
    int32_t i32(size_t at) const { return static_cast<int32_t>(u32(at)); }

    // The bytes from `at`, at most n of them (fewer where the view ends).
    ByteView sub(size_t at, size_t n = SIZE_MAX) const {
        if (at >= size_) return {};
        return ByteView(data_ + at, n < size_ - at ? n : size_ - at);
    }
    QByteArray bytes(size_t at, size_t n) const {
        const ByteView part = sub(at, n);
        return QByteArray(reinterpret_cast<const char*>(part.data_), static_cast<qsizetype>(part.size_));
    }
    bool startsWith(std::string_view magic, size_t at = 0) const {
        return has(at, magic.size()) && std::memcmp(data_ + at, magic.data(), magic.size()) == 0;
    }
    // UTF-16LE text from `at` up to its first NUL or the end of the view (an odd last byte
    // dropped); lone surrogates kept as they are.
    QString utf16z(size_t at) const {
        const ByteView part = sub(at);
        size_t units = 0;
        while (part.has(units * 2, 2) && part.u16(units * 2) != 0) ++units;
        return fromUtf16Le(part, units);
    }
    // UTF-16LE text of `units` code units from `at` (fewer where the view ends), NULs and all.
    QString utf16(size_t at, size_t units) const {
        const ByteView part = sub(at);
        return fromUtf16Le(part, units < part.size_ / 2 ? units : part.size_ / 2);
    }
    // A GUID in Microsoft's mixed-endian layout (the first three fields little-endian) at `at`,
    // as Windows writes it: "{0AFACED1-E828-11D1-9187-B532F1E9575D}".
    QString guidText(size_t at) const {
        const QUuid id(u32(at), u16(at + 4), u16(at + 6), u8(at + 8), u8(at + 9), u8(at + 10), u8(at + 11), u8(at + 12),
                       u8(at + 13), u8(at + 14), u8(at + 15));
        return id.toString(QUuid::WithBraces).toUpper();
    }
    // A security identifier in its binary form at `at` ("S-1-5-21-…"): revision (1), the count of
    // sub-authorities (1), the authority (6, big-endian), the sub-authorities (4 each,
    // little-endian). "" where the view does not hold it whole.
    QString sidText(size_t at) const {
        const size_t count = u8(at + 1);
        if (!has(at, 8 + count * 4) || u8(at) != 1) return QString();
        uint64_t authority = 0;
        for (size_t i = 0; i < 6; ++i) authority = (authority << 8) | u8(at + 2 + i);
        QString text = QStringLiteral("S-1-%1").arg(authority);
        for (size_t i = 0; i < count; ++i) text += QStringLiteral("-%1").arg(u32(at + 8 + i * 4));
        return text;
    }
    // Where utf16z() ends: the offset just past its NUL, or the view's size when it has none.
    size_t afterUtf16z(size_t at) const {
        size_t end = at;
        while (has(end, 2)) {
            if (u16(end) == 0) return end + 2;
            end += 2;
        }
        return size_;
    }

private:
    uint64_t little(size_t at, size_t n) const {
        if (!has(at, n)) return 0;
        uint64_t v = 0;
        for (size_t i = n; i-- > 0;) v = (v << 8) | data_[at + i];
        return v;
    }
    static QString fromUtf16Le(ByteView part, size_t units) {
        QString text(static_cast<qsizetype>(units), Qt::Uninitialized);
        if constexpr (std::endian::native == std::endian::little) {
            if (units > 0) std::memcpy(text.data(), part.data_, units * 2);  // the bytes may lie at any address
        } else {
            for (size_t i = 0; i < units; ++i) text[static_cast<qsizetype>(i)] = QChar(part.u16(i * 2));
        }
        return text;
    }

    const uint8_t* data_ = nullptr;
    size_t size_ = 0;
};

}  // namespace kestrova
