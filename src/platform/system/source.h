// Which Windows system is examined: the command line's --root/--user first, then, where the front
// end asks for it, the last choice kept in kr.ini section "source" (keys "Root" and "User"), and
// otherwise the sample system generated beside the program. The window asks for its last choice;
// the command line only with --last, so that a volume once opened in the window never becomes
// what a script or a test silently reads.
#pragma once

#include <QString>
#include <optional>

#include "core/settings/ini_file.h"

namespace kestrova {

struct Source {
    QString root{};    // the folder standing for C:\ ("" when an image is examined)
    QString user{};
    QString origin{};  // "command line", "kr.ini" or "sample"
    QString image{};   // the disk image examined ("" for a folder)
    int partition = 0;  // the image's partition, from 1; 0: the one that holds Windows
    QString collection{};  // the triage collection (a ZIP) examined ("" for a folder or an image)

    // What is examined: the image, the collection or the folder.
    const QString& evidence() const { return !image.isEmpty() ? image : !collection.isEmpty() ? collection : root; }
};

inline const QString kSourceSection = QStringLiteral("source");

enum class LastChoice { Ignore, Take };

// cliRoot/cliUser empty when not given. A user named nowhere is the volume's default profile; a
// named user is matched to a profile folder case-insensitively, by the folder's bytes or by the
// name as it is shown ("caf\xE9" for a folder whose name is not UTF-8).
Source chooseSource(const QString& cliRoot, const QString& cliUser, const IniFile& ini,
                    const QString& sampleRoot, LastChoice last = LastChoice::Take);

// The profile of that name among a volume's (as its folder or as it is shown), the first by name
// when none is named; "" when the volume has none.
QString matchProfile(const QStringList& profiles, const QString& user);

// What is wrong with the user chosen on a volume ("... holds no profile named bob; profiles found:
// alice"); where: the volume as the user named it.
std::optional<QString> profileProblem(const class Volume& volume, const QString& where, const QString& user);

// What is wrong with a source, in the user's words ("... does not exist", "... holds no user
// profile", "no profile named bob; profiles found: alice, Default"); nullopt when it can be
// examined. A wrong root or user would otherwise look like a system without traces.
// What keeps the chosen folder from being read at all (missing, not a folder, not readable);
// nullopt when it can be, whatever profiles it holds.
std::optional<QString> rootProblem(const Source& source);
std::optional<QString> sourceProblem(const Source& source);

}  // namespace kestrova
