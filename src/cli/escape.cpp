#include "cli/escape.h"

#include "traces/record.h"

#include <QChar>
#include <QString>
#include <QStringView>
#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <immintrin.h>
#include <type_traits>

namespace kestrova::cli {
namespace {

constexpr char kHex[] = "0123456789ABCDEF";
// U+DC80..U+DCFF standing alone carry a byte of a file name that is not UTF-8 (core/common/text.h).
constexpr char16_t kEscapeBase = 0xDC00;

// What an ASCII character becomes in a format: up to six bytes. Written eight bytes at a time,
// whatever its length, so that a character costs one table look-up and one copy (the room the
// writers are given has eight bytes of slack for that).
struct Escape {
    char text[8];
    uint8_t length;
};
using EscapeTable = std::array<Escape, 128>;

constexpr EscapeTable makeTable(Format format) {
    EscapeTable table{};
    const auto set = [&](unsigned c, const char* text) {
        uint8_t n = 0;
        for (; text[n]; ++n) table[c].text[n] = text[n];
        table[c].length = n;
    };
    for (unsigned c = 0; c < 128; ++c) {
        table[c].text[0] = static_cast<char>(c);
        table[c].length = 1;
    }
    switch (format) {
        case Format::Tsv:
            set('\\', "\\\\");
            set('\t', "\\t");
            set('\n', "\\n");
            set('\r', "\\r");
            set(0, "\\0");
            break;
        case Format::Csv:
            // Inside quotes only the quote itself is doubled; a NUL is shown, as in the list.
            set('"', "\"\"");
            set(0, "\\0");
            break;
        case Format::Json:
            for (unsigned c = 0; c < 0x20; ++c) {
                const char text[] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 0xF], 0};
                set(c, text);
            }
            set('"', "\\\"");
            set('\\', "\\\\");
            set('\n', "\\n");
            set('\r', "\\r");
            set('\t', "\\t");
            break;
    }
    return table;
}

constexpr EscapeTable kTables[] = {makeTable(Format::Tsv), makeTable(Format::Csv), makeTable(Format::Json)};

char* putAscii(char* to, unsigned c, const EscapeTable& table) {
    std::memcpy(to, table[c].text, 8);
    return to + table[c].length;
}

char* putUtf8(char* to, char32_t c) {
    if (c < 0x800) {
        *to++ = static_cast<char>(0xC0 | (c >> 6));
    } else if (c < 0x10000) {
        *to++ = static_cast<char>(0xE0 | (c >> 12));
        *to++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    } else {
        *to++ = static_cast<char>(0xF0 | (c >> 18));
        *to++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        *to++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    }
    *to++ = static_cast<char>(0x80 | (c & 0x3F));
    return to;
}

char* putLatin1Char(char* to, unsigned char c, const EscapeTable& table) {
    return c < 0x80 ? putAscii(to, c, table) : putUtf8(to, c);
}

char* putLatin1Scalar(char* to, const char* from, const char* end, const EscapeTable& table) {
    while (from < end) to = putLatin1Char(to, static_cast<unsigned char>(*from++), table);
    return to;
}

// Sixteen bytes at a time, with SSSE3. In TSV and CSV every byte becomes one or two: itself, an
// escape of two characters ("\0", "\t", "\\" in TSV; "\0", a doubled quote in CSV) or, from 0x80
// up, its two UTF-8 bytes. Each input byte is spread into a pair (its first and its second output
// byte) and a byte shuffle keeps the second only where there is one: a NUL-padded field (the 150
// bytes of an index.dat URL) costs a few instructions per sixteen bytes instead of a look-up per
// byte. JSON's control escapes are six characters long: there, plain bytes are copied sixteen at
// a time and the others go through the table.

// For each set of two-byte outputs among eight inputs: which bytes of the pairs (f0 s0 f1 s1 ...)
// are kept, and how many.
struct Compaction {
    alignas(16) int8_t shuffle[16];
};

constexpr std::array<Compaction, 256> makeCompactions() {
    std::array<Compaction, 256> all{};
    for (unsigned pairs = 0; pairs < 256; ++pairs) {
        int8_t n = 0;
        for (int8_t i = 0; i < 8; ++i) {
            all[pairs].shuffle[n++] = static_cast<int8_t>(2 * i);
            if (pairs & (1u << i)) all[pairs].shuffle[n++] = static_cast<int8_t>(2 * i + 1);
        }
        for (; n < 16; ++n) all[pairs].shuffle[n] = -128;  // zero
    }
    return all;
}

constexpr std::array<Compaction, 256> kCompactions = makeCompactions();

__attribute__((target("ssse3,popcnt"))) inline char* putPairs(char* to, __m128i pairs, unsigned two) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to),
                     _mm_shuffle_epi8(pairs, _mm_load_si128(reinterpret_cast<const __m128i*>(kCompactions[two].shuffle))));
    return to + 8 + std::popcount(two);
}

__attribute__((target("ssse3,popcnt"))) char* putLatin1Pairs(char* to, const char* from, const char* end,
                                                             const EscapeTable& table, Format format) {
    const auto is = [](__m128i v, char c) { return _mm_cmpeq_epi8(v, _mm_set1_epi8(c)); };
    const auto when = [](__m128i mask, char c) { return _mm_and_si128(mask, _mm_set1_epi8(c)); };
    const bool tsv = format == Format::Tsv;
    while (end - from >= 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
        const __m128i high = _mm_cmplt_epi8(v, _mm_setzero_si128());  // signed: 0x80 and up
        const __m128i nul = is(v, '\0');
        __m128i first, second, escaped;
        if (tsv) {
            const __m128i tab = is(v, '\t'), lf = is(v, '\n'), cr = is(v, '\r'), backslash = is(v, '\\');
            escaped = _mm_or_si128(_mm_or_si128(nul, tab), _mm_or_si128(_mm_or_si128(lf, cr), backslash));
            first = when(escaped, '\\');
            second = _mm_or_si128(_mm_or_si128(when(nul, '0'), when(tab, 't')),
                                  _mm_or_si128(_mm_or_si128(when(lf, 'n'), when(cr, 'r')), when(backslash, '\\')));
        } else {
            const __m128i quote = is(v, '"');
            escaped = _mm_or_si128(nul, quote);
            first = _mm_or_si128(when(nul, '\\'), when(quote, '"'));
            second = _mm_or_si128(when(nul, '0'), when(quote, '"'));
        }
        // From 0x80 up: 0xC2 or 0xC3, then 0x80 and the low six bits. (A 16-bit shift: each byte's
        // top two bits land in its own low two, whatever its neighbour holds above them.)
        const __m128i lead = _mm_or_si128(_mm_and_si128(_mm_srli_epi16(v, 6), _mm_set1_epi8(0x03)), _mm_set1_epi8(char(0xC0)));
        const __m128i trail = _mm_or_si128(_mm_and_si128(v, _mm_set1_epi8(0x3F)), _mm_set1_epi8(char(0x80)));
        const __m128i two = _mm_or_si128(escaped, high);
        first = _mm_or_si128(_mm_or_si128(first, _mm_and_si128(high, lead)), _mm_andnot_si128(two, v));
        second = _mm_or_si128(second, _mm_and_si128(high, trail));
        const auto mask = static_cast<unsigned>(_mm_movemask_epi8(two));
        if (mask == 0) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to), v);
            to += 16;
        } else {
            to = putPairs(to, _mm_unpacklo_epi8(first, second), mask & 0xFF);
            to = putPairs(to, _mm_unpackhi_epi8(first, second), mask >> 8);
        }
        from += 16;
    }
    return putLatin1Scalar(to, from, end, table);
}

__attribute__((target("ssse3,popcnt"))) char* putLatin1Json(char* to, const char* from, const char* end, const EscapeTable& table) {
    const __m128i space = _mm_set1_epi8(0x20);
    const __m128i del = _mm_set1_epi8(0x7F);
    const __m128i backslash = _mm_set1_epi8('\\');
    const __m128i quote = _mm_set1_epi8('"');
    while (end - from >= 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
        // Signed compare: bytes from 0x80 up are below 0x20 too.
        const __m128i special = _mm_or_si128(_mm_or_si128(_mm_cmplt_epi8(v, space), _mm_cmpeq_epi8(v, del)),
                                             _mm_or_si128(_mm_cmpeq_epi8(v, backslash), _mm_cmpeq_epi8(v, quote)));
        const auto mask = static_cast<unsigned>(_mm_movemask_epi8(special));
        const int plain = mask ? std::countr_zero(mask) : 16;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), v);  // what lies beyond the plain bytes is written over
        to += plain;
        from += plain;
        if (plain < 16) to = putLatin1Char(to, static_cast<unsigned char>(*from++), table);
    }
    return putLatin1Scalar(to, from, end, table);
}

char* putLatin1(char* to, QLatin1StringView text, Format format, const EscapeTable& table) {
    static const bool ssse3 = __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("popcnt");
    const char* from = text.data();
    const char* end = from + text.size();
    if (!ssse3) return putLatin1Scalar(to, from, end, table);
    return format == Format::Json ? putLatin1Json(to, from, end, table) : putLatin1Pairs(to, from, end, table, format);
}

// A byte that is not UTF-8, shown as "\xFF" (its backslash escaped in JSON, where it is text).
char* putEscapedByte(char* to, unsigned byte, Format format) {
    *to++ = '\\';
    if (format == Format::Json) *to++ = '\\';
    *to++ = 'x';
    *to++ = kHex[byte >> 4];
    *to++ = kHex[byte & 0xF];
    return to;
}

char* putUtf16(char* to, QStringView text, Format format, const EscapeTable& table) {
    const char16_t* units = text.utf16();
    const size_t size = static_cast<size_t>(text.size());
    for (size_t i = 0; i < size; ++i) {
        const char16_t c = units[i];
        if (c < 0x80) {
            to = putAscii(to, c, table);
        } else if (QChar::isHighSurrogate(c) && i + 1 < size && QChar::isLowSurrogate(units[i + 1])) {
            to = putUtf8(to, QChar::surrogateToUcs4(c, units[i + 1]));
            ++i;
        } else if (c >= 0xDC80 && c <= 0xDCFF) {
            to = putEscapedByte(to, c - kEscapeBase, format);
        } else {
            to = putUtf8(to, QChar::isSurrogate(c) ? char32_t{0xFFFD} : char32_t{c});
        }
    }
    return to;
}

bool needsCsvQuotes(QAnyStringView text) {
    return text.visit([](auto view) {
        for (const auto c : view) {
            const char16_t u = QChar(c).unicode();
            if (u == ',' || u == '"' || u == '\n' || u == '\r') return true;
        }
        return false;
    });
}

// The length of the well-formed UTF-8 sequence at `from` (RFC 3629: no overlong forms, no
// surrogates, nothing above U+10FFFF); 0 when the byte there starts none.
size_t utf8Sequence(const unsigned char* from, const unsigned char* end) {
    const unsigned char c = *from;
    const auto continuation = [&](size_t i, unsigned char low = 0x80, unsigned char high = 0xBF) {
        return from + i < end && from[i] >= low && from[i] <= high;
    };
    if (c >= 0xC2 && c <= 0xDF) return continuation(1) ? 2 : 0;
    if (c >= 0xE0 && c <= 0xEF) {
        const unsigned char low = c == 0xE0 ? 0xA0 : 0x80, high = c == 0xED ? 0x9F : 0xBF;
        return continuation(1, low, high) && continuation(2) ? 3 : 0;
    }
    if (c >= 0xF0 && c <= 0xF4) {
        const unsigned char low = c == 0xF0 ? 0x90 : 0x80, high = c == 0xF4 ? 0x8F : 0xBF;
        return continuation(1, low, high) && continuation(2) && continuation(3) ? 4 : 0;
    }
    return 0;
}

}  // namespace

char* putEscaped(char* to, QAnyStringView text, Format format) {
    const EscapeTable& table = kTables[static_cast<int>(format)];
    const bool quoted = format == Format::Csv && needsCsvQuotes(text);
    if (quoted) *to++ = '"';
    text.visit([&](auto view) {
        using View = decltype(view);
        if constexpr (std::is_same_v<View, QLatin1StringView>) {
            to = putLatin1(to, view, format, table);
        } else if constexpr (std::is_same_v<View, QStringView>) {
            to = putUtf16(to, view, format, table);
        } else {
            const QString wide = view.toString();  // UTF-8: not what sources hand over
            to = putUtf16(to, wide, format, table);
        }
    });
    if (quoted) *to++ = '"';
    return to;
}

void appendEscaped(std::string& out, QAnyStringView text, Format format) {
    const size_t at = out.size();
    out.resize(at + escapedRoom(text));
    out.resize(static_cast<size_t>(putEscaped(out.data() + at, text, format) - out.data()));
}

std::string escaped(QAnyStringView text, Format format) {
    std::string out;
    appendEscaped(out, text, format);
    return out;
}

}  // namespace kestrova::cli

namespace kestrova::cli {

char* putEscapedUtf8(char* to, std::string_view text, Format format) {
    const EscapeTable& table = kTables[static_cast<int>(format)];
    const auto* from = reinterpret_cast<const unsigned char*>(text.data());
    const auto* end = from + text.size();
    const bool quoted = format == Format::Csv && std::any_of(from, end, [](unsigned char c) {
                            return c == ',' || c == '"' || c == '\n' || c == '\r';
                        });
    if (quoted) *to++ = '"';
    // Printable ASCII other than the quote and the backslash is written as it is in every
    // format: sixteen bytes of it at a time (SSE2, which every x86-64 has), the others one by one.
    const __m128i space = _mm_set1_epi8(0x20), quote = _mm_set1_epi8('"'), backslash = _mm_set1_epi8('\\');
    const auto specials = [&](__m128i v) {
        // Signed compare: bytes from 0x80 up are below 0x20 too.
        const __m128i special = _mm_or_si128(_mm_cmplt_epi8(v, space), _mm_or_si128(_mm_cmpeq_epi8(v, quote), _mm_cmpeq_epi8(v, backslash)));
        return static_cast<unsigned>(_mm_movemask_epi8(special));
    };
    while (from < end) {
        const auto left = static_cast<size_t>(end - from);
        if (left >= 16) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
            const unsigned mask = specials(v);
            const int plain = mask ? std::countr_zero(mask) : 16;
            // Each input byte is at least one output byte: the sixteen fit in the room given.
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to), v);
            to += plain;
            from += plain;
            if (plain == 16) continue;
        } else if (text.size() >= 16) {
            // The last bytes of a long text: the sixteen that end it, those written already
            // left out of the mask.
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(end - 16));
            const unsigned mask = specials(v) >> (16 - left) | 1u << left;
            const auto plain = static_cast<size_t>(std::countr_zero(mask));
            std::memcpy(to, from, plain);
            to += plain;
            from += plain;
            if (from == end) break;
        } else {
            // A short text (most fields): byte by byte, without the table for plain ones.
            while (from < end && *from >= 0x20 && *from < 0x80 && *from != '"' && *from != '\\') *to++ = static_cast<char>(*from++);
            if (from == end) break;
        }
        if (*from < 0x80) {
            to = putAscii(to, *from++, table);
        } else if (const size_t n = utf8Sequence(from, end)) {
            std::memcpy(to, from, n);
            to += n;
            from += n;
        } else {
            to = putEscapedByte(to, *from++, format);
        }
    }
    if (quoted) *to++ = '"';
    return to;
}

char* putNamedValuesObject(char* to, std::string_view encoded) {
    *to++ = '{';
    bool first = true;
    forEachNamedValue(encoded, [&](std::string_view name, std::string_view value) {
        if (!first) *to++ = ',';
        first = false;
        *to++ = '"';
        to = putEscapedUtf8(to, name, Format::Json);
        *to++ = '"';
        *to++ = ':';
        *to++ = '"';
        to = putEscapedUtf8(to, value, Format::Json);
        *to++ = '"';
    });
    *to++ = '}';
    return to;
}

}  // namespace kestrova::cli
