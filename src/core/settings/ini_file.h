// clsIniFile: the program's settings file kr.ini, read and written with the rules of Windows
// initialisation files: sections and keys matched without regard to case, values read into a
// 255-character buffer with the default "unknown value", every other line kept on write.
#pragma once

#include <QString>
#include <QStringList>

namespace kestrova {

inline const QString kUnknownValue = QStringLiteral("unknown value");

class IniFile {
public:
    IniFile() = default;
    explicit IniFile(QString path) : path_(std::move(path)) {}
    void setPath(const QString& path) { path_ = path; }
    const QString& path() const { return path_; }

    void EraseSection(const QString& section);
    // Non-zero on success, 0 when the file cannot be written.
    int SaveSetting(const QString& section, const QString& key, const QString& value);
    // The value; "unknown value" for a missing key, section or file; "" for an empty value.
    QString GetSetting(const QString& section, const QString& key) const;
    // Key names of a section into keys[1..n] (keys[0] stays empty); returns n. The list stops at
    // the first key name shorter than two characters.
    int GetSection(const QString& section, QStringList& keys) const;

private:
    QString path_;
};

}  // namespace kestrova
