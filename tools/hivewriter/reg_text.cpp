#include "hivewriter/reg_text.h"

#include <QStringList>
#include <QtEndian>
#include <optional>

namespace kestrova::tools {
namespace {

// Reads a quoted string starting at text[pos] == '"'; on success pos is just past the closing
// quote. regedit escapes only the backslash and the quote.
std::optional<QString> readQuoted(const QString& text, qsizetype& pos) {
    if (pos >= text.size() || text[pos] != QLatin1Char('"')) return std::nullopt;
    QString out;
    for (++pos; pos < text.size(); ++pos) {
        const QChar c = text[pos];
        if (c == QLatin1Char('\\') && pos + 1 < text.size()) {
            out += text[++pos];
        } else if (c == QLatin1Char('"')) {
            ++pos;
            return out;
        } else {
            out += c;
        }
    }
    return std::nullopt;
}

std::optional<QByteArray> readHex(const QString& list) {
    QByteArray bytes;
    for (const QString& item : list.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        bool ok = false;
        const uint v = item.trimmed().toUInt(&ok, 16);
        if (!ok || v > 0xFF) return std::nullopt;
        bytes.append(static_cast<char>(v));
    }
    return bytes;
}

}  // namespace

bool parseRegText(const QString& text, HiveBuilder& builder, QString* error) {
    const QStringList raw = QString(text).remove(QLatin1Char('\r')).split(QLatin1Char('\n'));
    QString currentKey;
    bool haveKey = false;
    for (int i = 0; i < raw.size(); ++i) {
        const int lineNo = i + 1;
        auto fail = [&](const QString& why) {
            if (error) *error = QStringLiteral("line %1: %2").arg(lineNo).arg(why);
            return false;
        };
        QString line = raw[i].trimmed();
        // Only hex lists are continued: a string or key line never ends in a backslash.
        while (line.endsWith(QLatin1Char('\\')) && i + 1 < raw.size()) {
            line.chop(1);
            line += raw[++i].trimmed();
        }
        if (line.isEmpty() || line.startsWith(QLatin1Char(';')) || line == QLatin1String("REGEDIT4") ||
            line.startsWith(QLatin1String("Windows Registry Editor"))) {
            continue;
        }
        if (line.startsWith(QLatin1Char('['))) {
            if (!line.endsWith(QLatin1Char(']'))) return fail(QStringLiteral("unclosed key name"));
            QString path = line.mid(1, line.size() - 2);
            if (path.startsWith(QLatin1Char('-'))) return fail(QStringLiteral("key deletion is not supported"));
            if (path.startsWith(QLatin1String("HKEY_"), Qt::CaseInsensitive)) {
                const qsizetype slash = path.indexOf(QLatin1Char('\\'));
                path = slash < 0 ? QString() : path.mid(slash + 1);
            }
            currentKey = path;
            haveKey = true;
            builder.key(currentKey);
            continue;
        }
        if (!haveKey) return fail(QStringLiteral("value before any [key]"));

        qsizetype pos = 0;
        QString name;
        if (line.startsWith(QLatin1Char('@'))) {
            pos = 1;
        } else {
            const auto quoted = readQuoted(line, pos);
            if (!quoted) return fail(QStringLiteral("expected a quoted value name or @"));
            name = *quoted;
        }
        if (pos >= line.size() || line[pos] != QLatin1Char('=')) return fail(QStringLiteral("expected ="));
        const QString data = line.mid(pos + 1).trimmed();

        if (data.startsWith(QLatin1Char('"'))) {
            qsizetype at = 0;
            const auto text = readQuoted(data, at);
            if (!text) return fail(QStringLiteral("unclosed string"));
            builder.sz(currentKey, name, *text);
        } else if (data.startsWith(QLatin1String("dword:"), Qt::CaseInsensitive)) {
            bool ok = false;
            const uint v = data.mid(6).toUInt(&ok, 16);
            if (!ok) return fail(QStringLiteral("bad dword"));
            builder.dword(currentKey, name, v);
        } else if (data.startsWith(QLatin1String("hex"), Qt::CaseInsensitive)) {
            uint type = 3;  // REG_BINARY
            const qsizetype colon = data.indexOf(QLatin1Char(':'));
            if (colon < 0) return fail(QStringLiteral("expected hex:"));
            const QString head = data.left(colon);
            if (head.size() > 3) {
                bool ok = false;
                type = head.mid(4, head.size() - 5).toUInt(&ok, 16);
                if (!ok || !head.startsWith(QLatin1String("hex(")) || !head.endsWith(QLatin1Char(')'))) {
                    return fail(QStringLiteral("bad hex(type)"));
                }
            }
            const auto bytes = readHex(data.mid(colon + 1));
            if (!bytes) return fail(QStringLiteral("bad hex byte list"));
            builder.value(currentKey, name, type, *bytes);
        } else {
            return fail(QStringLiteral("unknown value form"));
        }
    }
    return true;
}

}  // namespace kestrova::tools
