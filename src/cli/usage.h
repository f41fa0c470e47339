// How the command line refuses what it was asked: one line naming what is wrong, a pointer to
// --help, exit status 2.
#pragma once

#include <QString>
#include <QStringList>
#include <cstdio>
#include <initializer_list>
#include <optional>
#include <utility>

namespace kestrova::cli {

inline int usageError(const QString& why) {
    std::fprintf(stderr, "kestrova-cli: %s\nTry 'kestrova-cli --help' for the commands and options.\n", qPrintable(why));
    return 2;
}

// The format --format names among a command's formats (the first one is the default); nullopt
// after saying which formats there are.
template <typename Format>
std::optional<Format> chosenFormat(const std::optional<QString>& value, std::initializer_list<std::pair<const char*, Format>> known) {
    const QString name = value.value_or(QLatin1String(known.begin()->first));
    QStringList names;
    for (const auto& [text, format] : known) {
        if (name == QLatin1String(text)) return format;
        names.append(QLatin1String(text));
    }
    const QString last = names.takeLast();
    usageError(QStringLiteral("unknown format \"%1\": the formats are %2 and %3").arg(name, names.join(QStringLiteral(", ")), last));
    return std::nullopt;
}

}  // namespace kestrova::cli
