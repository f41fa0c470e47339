// Triage collections of a Windows volume's folder tree, laid out as responders receive them: a
// KAPE target folder (C\Windows\...), a Velociraptor offline collection (uploads/auto/C%3A/...,
// uploads.json, client_info.json, collection_context.json) in a ZIP, a ZIP of the tree itself.
// The ZIPs are written here, member by member and uncompressed, so that a test can make them lie
// (a member that claims more than it holds, a name that climbs out, names in CP437) and the
// members carry the files' times in the NTFS extra field, as Windows collectors write them.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

namespace kestrova::tools {

struct ZipMember {
    QByteArray name;                    // the bytes written as its name
    QByteArray content;
    bool utf8 = true;                   // the entry's "name is UTF-8" flag; false: CP437, as old zippers wrote
    std::optional<quint32> claimedSize{};  // an uncompressed size to claim instead of the content's
    std::optional<qint64> modified{};   // a FILETIME for the NTFS extra field (with accessed and created alike)
};

// Writes the members into a ZIP at `path`; false with why.
bool writeZip(const QString& path, const std::vector<ZipMember>& members, QString* why);

enum class CollectionLayoutKind { Kape, Velociraptor, PlainTree };

// The tree `volume` (C:\'s contents) as a collection at `out`: a folder for Kape (out/C/...), a ZIP
// for the others. Velociraptor's collection names the volume through `accessor` ("auto", "ntfs"),
// records `host` in client_info.json and holds the trees `shadows` as the volume's shadow copies
// 1, 2, ... (\\?\GLOBALROOT\Device\HarddiskVolumeShadowCopyN, through the ntfs accessor). false
// with why.
bool writeCollection(const QString& volume, const QString& out, CollectionLayoutKind kind, QString* why,
                     const QString& accessor = QStringLiteral("auto"), const QString& host = QStringLiteral("WKS-01"),
                     const QStringList& shadows = {});

}  // namespace kestrova::tools
