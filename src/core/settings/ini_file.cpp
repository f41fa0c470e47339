#include "core/settings/ini_file.h"

#include <QFile>
#include <QSaveFile>
#include <optional>

namespace kestrova {
namespace {

// GetPrivateProfileString is called with a 255-character buffer: one is the NUL.
constexpr int kValueBuffer = 255;
// GetSection asks for the key list in a buffer of 2500 characters; a list that does not fit is
// cut and closed with two NULs.
constexpr int kSectionBuffer = 2500;

struct IniText {
    QStringList lines;
    QString eol = QStringLiteral("\n");
};

std::optional<IniText> load(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    const QString text = QString::fromUtf8(file.readAll());
    IniText ini;
    if (text.contains(QLatin1String("\r\n"))) ini.eol = QStringLiteral("\r\n");
    ini.lines = text.split(QLatin1Char('\n'));
    for (QString& line : ini.lines) {
        if (line.endsWith(QLatin1Char('\r'))) line.chop(1);
    }
    if (!ini.lines.isEmpty() && ini.lines.last().isEmpty()) ini.lines.removeLast();
    return ini;
}

bool store(const QString& path, const IniText& ini) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) return false;
    QString text;
    for (const QString& line : ini.lines) text += line + ini.eol;
    file.write(text.toUtf8());
    return file.commit();
}

std::optional<QString> sectionName(const QString& line) {
    const QString t = line.trimmed();
    if (!t.startsWith(QLatin1Char('['))) return std::nullopt;
    const qsizetype close = t.indexOf(QLatin1Char(']'));
    return (close < 0 ? t.mid(1) : t.mid(1, close - 1)).trimmed();
}

bool isComment(const QString& line) {
    const QString t = line.trimmed();
    return t.isEmpty() || t.startsWith(QLatin1Char(';'));
}

QString keyOf(const QString& line) {
    const qsizetype eq = line.indexOf(QLatin1Char('='));
    return (eq < 0 ? line : line.left(eq)).trimmed();
}

QString valueOf(const QString& line) {
    const qsizetype eq = line.indexOf(QLatin1Char('='));
    if (eq < 0) return QString();
    QString v = line.mid(eq + 1).trimmed();
    // Windows strips one pair of matching quotes around a whole value.
    if (v.size() >= 2 && (v.front() == QLatin1Char('"') || v.front() == QLatin1Char('\'')) &&
        v.back() == v.front()) {
        v = v.mid(1, v.size() - 2);
    }
    return v;
}

// [first, end) line range of a section's body, the header at first - 1; nullopt when absent.
std::optional<std::pair<int, int>> findSection(const QStringList& lines, const QString& section) {
    for (int i = 0; i < lines.size(); ++i) {
        const auto name = sectionName(lines[i]);
        if (!name || name->compare(section, Qt::CaseInsensitive) != 0) continue;
        int end = i + 1;
        while (end < lines.size() && !sectionName(lines[end])) ++end;
        return std::make_pair(i + 1, end);
    }
    return std::nullopt;
}

int findKey(const QStringList& lines, std::pair<int, int> body, const QString& key) {
    for (int i = body.first; i < body.second; ++i) {
        if (!isComment(lines[i]) && keyOf(lines[i]).compare(key, Qt::CaseInsensitive) == 0) {
            return i;
        }
    }
    return -1;
}

}  // namespace

QString IniFile::GetSetting(const QString& section, const QString& key) const {
    const auto ini = load(path_);
    QString value = kUnknownValue;
    if (ini) {
        if (const auto body = findSection(ini->lines, section)) {
            const int at = findKey(ini->lines, *body, key);
            if (at >= 0) value = valueOf(ini->lines[at]);
        }
    }
    return value.left(kValueBuffer - 1);
}

int IniFile::SaveSetting(const QString& section, const QString& key, const QString& value) {
    IniText ini = load(path_).value_or(IniText{});
    if (const auto body = findSection(ini.lines, section)) {
        const int at = findKey(ini.lines, *body, key);
        if (at >= 0) {
            // The key keeps the spelling it has in the file, so "LastCheckUpdate" written into a
            // file holding "lastcheckupdate" updates that very line.
            ini.lines[at] = keyOf(ini.lines[at]) + QLatin1Char('=') + value;
        } else {
            int insertAt = body->second;
            while (insertAt > body->first && ini.lines[insertAt - 1].trimmed().isEmpty()) --insertAt;
            ini.lines.insert(insertAt, key + QLatin1Char('=') + value);
        }
    } else {
        if (!ini.lines.isEmpty() && !ini.lines.last().trimmed().isEmpty()) ini.lines.append(QString());
        ini.lines.append(QLatin1Char('[') + section + QLatin1Char(']'));
        ini.lines.append(key + QLatin1Char('=') + value);
    }
    return store(path_, ini) ? 1 : 0;
}

void IniFile::EraseSection(const QString& section) {
    auto ini = load(path_);
    if (!ini) return;
    const auto body = findSection(ini->lines, section);
    if (!body) return;
    ini->lines.erase(ini->lines.begin() + (body->first - 1), ini->lines.begin() + body->second);
    store(path_, *ini);
}

int IniFile::GetSection(const QString& section, QStringList& keys) const {
    keys = QStringList{QString()};
    const auto ini = load(path_);
    if (!ini) return 0;
    const auto body = findSection(ini->lines, section);
    if (!body) return 0;

    QString buffer;
    for (int i = body->first; i < body->second; ++i) {
        if (isComment(ini->lines[i])) continue;
        buffer += keyOf(ini->lines[i]) + QChar(0);
    }
    if (buffer.size() > kSectionBuffer - 2) buffer = buffer.left(kSectionBuffer - 2);

    // The scan ends at the first name shorter than two characters, as if the list ended there:
    // a one-letter key hides itself and every key after it.
    int count = 0;
    for (const QString& name : buffer.split(QChar(0))) {
        if (name.size() < 2) break;
        keys.append(name);
        ++count;
    }
    return count;
}

}  // namespace kestrova
