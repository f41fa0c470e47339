#include "core/sqlite/msqlite.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string>

#include "core/time/mod_covert.h"

namespace kestrova {

QByteArray ToUtf8(const QString& text) {
    if (text.isEmpty()) return QByteArray();
    QByteArray utf8 = text.toUtf8();
    utf8.append('\0');
    return utf8;
}

QString DecodeUtf8(QByteArrayView bytes) {
    // Most column text is ASCII, one character a byte.
    qsizetype ascii = 0;
    while (ascii < bytes.size() && static_cast<unsigned char>(bytes[ascii]) < 0x80) ++ascii;
    if (ascii == bytes.size()) return QString::fromLatin1(bytes.data(), bytes.size());
    QString text = QString::fromLatin1(bytes.data(), ascii);
    text.reserve(bytes.size());
    const auto byte = [&](qsizetype i) { return static_cast<unsigned char>(bytes[i]); };
    for (qsizetype i = ascii; i < bytes.size();) {
        const unsigned char lead = byte(i);
        int length = 1;
        char32_t value = lead;
        if (lead >= 252) {
            length = 6;
            value = lead & 0x01;
        } else if (lead >= 248) {
            length = 5;
            value = lead & 0x03;
        } else if (lead >= 240) {
            length = 4;
            value = lead & 0x07;
        } else if (lead >= 224) {
            length = 3;
            value = lead & 0x0F;
        } else if (lead >= 192) {
            length = 2;
            value = lead & 0x1F;
        }
        if (length == 1) {
            text.append(QChar(static_cast<char16_t>(lead)));  // the ANSI code page: Latin-1
            ++i;
            continue;
        }
        if (i + length > bytes.size()) {
            text.append(QLatin1Char('?'));  // cut off by the end
            break;
        }
        // Continuation bytes add their low six bits, whatever their high ones.
        for (int k = 1; k < length; ++k) value = (value << 6) | (byte(i + k) & 0x3F);
        if (value > 0xFFFF && value <= 0x10FFFF) {
            text.append(QChar(QChar::highSurrogate(value)));
            text.append(QChar(QChar::lowSurrogate(value)));
        } else if (value > 0x10FFFF) {
            text.append(QChar(QChar::ReplacementCharacter));  // the 5- and 6-byte forms' upper range
        } else {
            text.append(QChar(static_cast<char16_t>(value)));
        }
        i += length;
    }
    return text;
}

bool IsAscii(QByteArrayView bytes) {
    // Eight bytes at a time: any high bit set means a byte of 128 or more.
    const char* at = bytes.data();
    const char* end = at + bytes.size();
    uint64_t high = 0;
    for (; end - at >= 8; at += 8) {
        uint64_t word;
        std::memcpy(&word, at, 8);
        high |= word;
    }
    for (; at < end; ++at) high |= static_cast<unsigned char>(*at);
    return (high & 0x8080808080808080ull) == 0;
}

QString CanonicalizeFolder(const QString& folder) {
    const bool absolute = folder.startsWith(QLatin1Char('/'));
    const QChar separator = folder.contains(QLatin1Char('\\')) ? QLatin1Char('\\') : QLatin1Char('/');
    QStringList parts;
    for (const QString& part : QString(folder).replace(QLatin1Char('/'), separator).split(separator)) {
        if (part == QLatin1String(".")) continue;
        if (part == QLatin1String("..")) {
            if (parts.size() > 1 || (parts.size() == 1 && !parts.first().isEmpty())) parts.removeLast();
            continue;
        }
        parts.append(part);
    }
    QString canonical = parts.join(separator);
    if (absolute && !canonical.startsWith(QLatin1Char('/'))) canonical.prepend(QLatin1Char('/'));
    return canonical;
}

MSQLite::~MSQLite() {
    if (statement) engine_.finalize(statement);
    if (db) engine_.close(db);
    if (libraryLoaded_) ShutdownEngine();
}

int MSQLite::LoadEngine(const QString& folder) {
    if (loaded_) ShutdownEngine();
    QString where = folder.isEmpty() ? programFolder_ : folder;
    const QChar separator = where.contains(QLatin1Char('\\')) ? QLatin1Char('\\') : QLatin1Char('/');
    if (!where.endsWith(separator)) where += separator;
    libraryPath_ = CanonicalizeFolder(where) + QStringLiteral("kr3.dll");
    libraryLoaded_ = engine_.load(libraryPath_);
    if (!libraryLoaded_) {
        ShutdownEngine();
        return sqlitecode::Error;
    }
    // A failed initialise is noticed later, when every operation answers 1.
    if (engine_.initialize() == sqlitecode::Ok) loaded_ = true;
    return sqlitecode::Ok;
}

int MSQLite::ShutdownEngine() {
    if (!libraryLoaded_) return sqlitecode::Error;
    if (engine_.shutdown() != sqlitecode::Ok) return sqlitecode::Error;
    engine_.unload();
    libraryLoaded_ = false;
    loaded_ = false;
    return sqlitecode::Ok;
}

int MSQLite::DbOpen(const QString& fileName, SqlHandle* handle) {
    if (!loaded_) return sqlitecode::Error;
    return engine_.open(ToUtf8(fileName), handle);
}

int MSQLite::DbClose(SqlHandle handle) {
    if (!loaded_) return sqlitecode::Error;
    const int code = engine_.close(handle);
    if (handle == db) db = 0;
    return code;
}

int MSQLite::DbPrepare(SqlHandle handle, const QString& sql, int length, SqlHandle* into) {
    if (!loaded_) return sqlitecode::Error;
    const QByteArray utf8 = ToUtf8(sql);
    return engine_.prepare(handle, utf8, length == 0 ? -1 : length, into);
}

int MSQLite::DbStep(SqlHandle handle) { return loaded_ ? engine_.step(handle) : sqlitecode::Error; }

int MSQLite::DbFinalize(SqlHandle handle) {
    if (!loaded_) return sqlitecode::Error;
    const int code = engine_.finalize(handle);
    if (handle == statement) statement = 0;
    return code;
}

int MSQLite::DbReset(SqlHandle handle) { return loaded_ ? engine_.reset(handle) : sqlitecode::Error; }

int MSQLite::DbBindText(SqlHandle handle, int index, const QString& text) {
    return loaded_ ? engine_.bindText(handle, index, text.toUtf8()) : sqlitecode::Error;
}

int MSQLite::ColumnBytes(SqlHandle handle, int column) { return loaded_ ? engine_.columnBytes(handle, column) : 0; }

std::optional<QByteArrayView> MSQLite::ColumnUtf8(SqlHandle handle, int column) {
    if (!loaded_) return std::nullopt;
    const unsigned char* text = engine_.columnText(handle, column);
    if (!text) return std::nullopt;  // NULL
    const int bytes = engine_.columnBytes(handle, column);
    // Up to the first zero byte.
    const char* chars = reinterpret_cast<const char*>(text);
    return QByteArrayView(chars, static_cast<qsizetype>(strnlen(chars, static_cast<size_t>(std::max(bytes, 0)))));
}

std::optional<QByteArrayView> MSQLite::ColumnUtf8(SqlHandle handle, int column, Digits& digits) {
    if (loaded_) {
        if (const auto integer = engine_.columnInteger(handle, column)) {
            const auto [end, error] = std::to_chars(digits.bytes, digits.bytes + sizeof digits.bytes, *integer);
            if (error == std::errc()) return QByteArrayView(digits.bytes, end - digits.bytes);
        }
    }
    return ColumnUtf8(handle, column);
}

QString MSQLite::ColumnText(SqlHandle handle, int column) {
    const auto utf8 = ColumnUtf8(handle, column);
    return utf8 ? DecodeUtf8(*utf8) : QString();
}

int MSQLite::CountRows(const QString& sql) {
    // The count statement is prepared into the module statement and not finalized before the
    // main query is prepared into the same handle; only the last statement is finalized.
    // Only the last row counts: each row's bytes are kept and the last ones decoded at the end
    // (a history's counting query runs over every visit).
    std::string lastText;
    if (DbPrepare(db, sql, 0, &statement) == sqlitecode::Ok) {
        Digits digits;
        while (DbStep(statement) == sqlitecode::Row) {
            const auto text = ColumnUtf8(statement, 0, digits);
            if (text) {
                lastText.assign(text->data(), static_cast<size_t>(text->size()));
            } else {
                lastText.clear();
            }
        }
    }
    const double last = leadingNumber(DecodeUtf8(QByteArrayView(lastText.data(), static_cast<qsizetype>(lastText.size()))));
    return std::isfinite(last) && std::fabs(last) < 2147483647.0 ? static_cast<int>(last) : 0;
}

bool MSQLite::NoteSchema(const QString& what, const QString& table, const QStringList& columns) {
    if (!loaded_ || !db) return false;
    const auto problem = engine_.schemaProblem(db, table, columns);
    if (problem && findings_) findings_->note(FindingKind::SchemaDiffers, what, *problem);
    return !problem;
}

void MSQLite::NoteStepEnd(const QString& what, int code) {
    if (code == sqlitecode::Done || code == sqlitecode::Row || !findings_) return;
    const QString message = loaded_ && db ? engine_.errorMessage(db) : QString();
    findings_->note(FindingKind::Damaged, what,
                    QStringLiteral("reading rows ended on an error (%1)").arg(message.isEmpty() ? QString::number(code) : message));
}

}  // namespace kestrova
