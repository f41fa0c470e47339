// Text as the command line writes it: UTF-8, escaped for its format, written straight from the
// reader's views (Latin-1 bytes or UTF-16) into an output buffer without a copy in between.
//   TSV   a backslash "\\", a tab "\t", a line feed "\n", a carriage return "\r", a NUL "\0"
//   CSV   RFC 4180: a field holding a comma, a quote or a line break is quoted and its quotes
//         doubled; a NUL "\0"
//   JSON  the inside of a string literal: quote, backslash and control characters escaped
// In all three a byte of a file name that is not UTF-8 (core/common/text.h) is shown as "\xFF"
// (its backslash escaped in JSON), and a lone surrogate, which has no UTF-8 form, as U+FFFD.
#pragma once

#include <QAnyStringView>
#include <cstddef>
#include <string>
#include <string_view>

namespace kestrova::cli {

enum class Format { Tsv, Csv, Json };

// The room putEscaped may need for a text: six bytes a character (a control character in JSON),
// the quotes of CSV, and eight bytes beyond, which it may write over without committing them.
inline size_t escapedRoom(QAnyStringView text) { return static_cast<size_t>(text.size()) * 6 + 2 + 8; }

// Writes the text escaped at `to`, which has escapedRoom(text) bytes; returns where it ends.
char* putEscaped(char* to, QAnyStringView text, Format format);

// UTF-8 text as a source stored it, escaped the same way: well-formed sequences are kept, a byte
// that starts none is shown as "\xFF". Needs escapedUtf8Room(text) bytes.
inline size_t escapedUtf8Room(std::string_view text) { return text.size() * 6 + 2 + 8; }
char* putEscapedUtf8(char* to, std::string_view text, Format format);
// Named values (traces/record.h) as a JSON object {"name":"value",...}; needs
// escapedUtf8Room(encoded) * 2 bytes.
char* putNamedValuesObject(char* to, std::string_view encoded);

// The same appended to a string, or as one (headers, panels, tests).
void appendEscaped(std::string& out, QAnyStringView text, Format format);
std::string escaped(QAnyStringView text, Format format);

}  // namespace kestrova::cli
