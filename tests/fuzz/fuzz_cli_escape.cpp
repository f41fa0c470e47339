// The command line's escaping of any cell: TSV keeps one record a line, and the block-wise path
// writes what the character-wise rules say (the same text as UTF-16 gives the same bytes).
#include <QString>
#include <cstdint>
#include <cstdlib>

#include "cli/escape.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QLatin1StringView latin1(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QString wide = QString::fromLatin1(latin1);
    for (const auto format : {kestrova::cli::Format::Tsv, kestrova::cli::Format::Csv, kestrova::cli::Format::Json}) {
        const std::string narrow = kestrova::cli::escaped(latin1, format);
        if (narrow != kestrova::cli::escaped(QStringView(wide), format)) std::abort();
        if (format == kestrova::cli::Format::Tsv && narrow.find_first_of("\t\n\r", 0) != std::string::npos) std::abort();
    }
    return 0;
}
