// The command line's escaping of any cell: TSV keeps one record a line, and the block-wise path
// writes what the character-wise rules say (the same text as UTF-16 gives the same bytes). The
// same bytes as a trace source's UTF-8 text: never more than the room asked for, and JSON output
// that is well-formed UTF-8 whatever the input.
#include <QString>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "cli/escape.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QLatin1StringView latin1(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QString wide = QString::fromLatin1(latin1);
    for (const auto format : {kestrova::cli::Format::Tsv, kestrova::cli::Format::Csv, kestrova::cli::Format::Json}) {
        const std::string narrow = kestrova::cli::escaped(latin1, format);
        if (narrow != kestrova::cli::escaped(QStringView(wide), format)) std::abort();
        if (format == kestrova::cli::Format::Tsv && narrow.find_first_of("\t\n\r", 0) != std::string::npos) std::abort();
        const std::string_view bytes(reinterpret_cast<const char*>(data), size);
        std::string out(kestrova::cli::escapedUtf8Room(bytes), '\0');
        const char* end = kestrova::cli::putEscapedUtf8(out.data(), bytes, format);
        out.resize(static_cast<size_t>(end - out.data()));
        if (out.size() + 8 > kestrova::cli::escapedUtf8Room(bytes)) std::abort();
        if (format == kestrova::cli::Format::Tsv && out.find_first_of("\t\n\r", 0) != std::string::npos) std::abort();
        if (format == kestrova::cli::Format::Json && !QUtf8StringView(out).isValidUtf8()) std::abort();
    }
    return 0;
}
