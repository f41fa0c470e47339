// The examiner's own case file: the tags and notes given to records, kept outside the evidence, in
// $XDG_DATA_HOME/kestrova/cases/<hash of the evidence's path>.sqlite (~/.local/share where
// XDG_DATA_HOME is not set), so that they are there again whenever the same image or folder is
// opened. A record is known by its identity (traces/record_identity.h): its kind, where it was
// read and its own fields, which do not change between readings.
#pragma once

#include <QByteArray>
#include <QString>
#include <map>
#include <memory>
#include <optional>

#include "core/time/iso_time.h"

struct sqlite3;

namespace kestrova {

struct RecordTag {
    QString label;  // "relevant", "suspicious", "reviewed", or the examiner's own word
    QString note;
    QString kind;   // the record's kind, to list tags without reading the evidence again
    QString what;   // a few words of the record, for the same
    UtcMicros tagged = 0;
};

class CaseFile {
public:
    // The case file of that evidence (an image file's or a folder's path), made where there is none
    // yet; nullptr with why when it cannot be opened or made.
    static std::unique_ptr<CaseFile> open(const QString& evidence, QString* why);
    // Where the case file of that evidence is.
    static QString pathFor(const QString& evidence);
    ~CaseFile();
    CaseFile(const CaseFile&) = delete;
    CaseFile& operator=(const CaseFile&) = delete;

    const RecordTag* tagOf(const QByteArray& identity) const;
    const std::map<QByteArray, RecordTag>& tags() const { return tags_; }
    // Tags a record (replacing its tag) or removes its tag; false with why when the file refuses.
    bool setTag(const QByteArray& identity, const RecordTag& tag, QString* why);
    bool removeTag(const QByteArray& identity, QString* why);

private:
    CaseFile() = default;
    sqlite3* db_ = nullptr;
    std::map<QByteArray, RecordTag> tags_;
};

}  // namespace kestrova
