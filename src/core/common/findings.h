// Why a source could not be read. The platform layer notes each source a reader asked for and did
// not get (a hive that is missing, a file that is unreadable, a database that is damaged, a table
// whose columns differ, a link that leads out of the volume); the reader frame collects the notes
// of one reader run and hands them to the front end, where --verbose prints them.
//
// The sentinels readers have always seen ("error440", empty lists) stay exactly where they are;
// findings only say why, next to them.
#pragma once

#include <QString>
#include <vector>

namespace kestrova {

enum class FindingKind {
    Absent,         // not there
    Unreadable,     // there, but cannot be read: permission, not a regular file
    Damaged,        // there and readable, but not what it should be
    SchemaDiffers,  // a database without the table or column a query needs
    NotFollowed,    // a link that leads out of the analysed volume
    Empty,          // there and read, and holds nothing
    Recovered,      // read after a repair (a dirty hive with its transaction logs replayed)
    Cleared,        // its records were deleted on purpose: an event log cleared
    AsItLies,       // read as it lies on the volume: a database not closed cleanly, its logs not replayed
};

struct Finding {
    FindingKind kind;
    QString what;  // "user hive C:\Users\bob\NTUSER.DAT", "key HKEY_CURRENT_USER\...\RunMRU"
    QString why;   // "Permission denied", "no column full_path in downloads"; may be empty

    QString text() const {
        static const char* const kWords[] = {"missing",        "unreadable",      "damaged",
                                             "schema differs", "link not followed", "empty",
                                             "recovered",      "cleared",         "read as it lies"};
        QString line = what + QStringLiteral(": ") + QLatin1String(kWords[static_cast<int>(kind)]);
        if (!why.isEmpty()) line += QStringLiteral(": ") + why;
        return line;
    }
    bool operator==(const Finding&) const = default;
};

class Findings {
public:
    // Notes a finding once; the same finding again (a missing hive behind every key) adds nothing.
    void note(FindingKind kind, const QString& what, const QString& why = QString()) {
        const Finding finding{kind, what, why};
        for (const Finding& seen : all_) {
            if (seen == finding) return;
        }
        all_.push_back(finding);
    }
    const std::vector<Finding>& all() const { return all_; }
    void clear() { all_.clear(); }

private:
    std::vector<Finding> all_;
};

}  // namespace kestrova
