// How a triage collection lays out the volumes it copied, recognised from its files' paths:
//   - a plain copy of a C: tree: Windows\..., Users\... at the top;
//   - KAPE: the volume under its drive letter, C\Windows\... (or C%3A, C:), with $MFT, $LogFile,
//     $Extend\$J or $Extend\$UsnJrnl$J beside it;
//   - a Velociraptor offline collection: uploads/<accessor>/<volume>/..., the volume's name
//     URL-encoded ("C%3A", "%5C%5C.%5CC%3A" for \\.\C:), shadow copies as
//     "%5C%5C%3F%5CGLOBALROOT%5CDevice%5CHarddiskVolumeShadowCopy1"; one volume may come through
//     several accessors (auto for most files, ntfs for locked ones), and they are one volume.
// A volume's root is where a path's decoded parts reach a Windows volume's top folders (Windows,
// Users, ProgramData, $Extend, ...).
#pragma once

#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

namespace kestrova {

enum class CollectionKind { PlainTree, Kape, Velociraptor };

struct CollectedVolume {
    QString name;           // "C:", "D:", or the shadow copy's device name
    int store = 0;          // a shadow copy of the collected volume: its number, from 1
    QStringList prefixes;   // where its files lie, as the collection spells them ("uploads/auto/C%3A")
    qint64 files = 0;       // how many files lie under them
};

struct CollectionLayout {
    CollectionKind kind = CollectionKind::PlainTree;
    std::vector<CollectedVolume> volumes;  // the examined volume first (C: where there is one), then the others, then the shadow copies
};

// Whether a name is one of a Windows volume's top folders or files (Windows, Users, $MFT, ...).
bool isVolumeTop(const QString& name);
// A path part as the collector wrote it, URL-decoded ("C%3A" -> "C:").
QString decodedPart(const QString& part);
// Recognises the layout from the collection's files, each as its path's parts ("uploads",
// "auto", "C%3A", "Windows", ...); nullopt when no file lies in a Windows volume.
std::optional<CollectionLayout> recogniseCollection(const std::vector<QStringList>& files);
// "KAPE collection", "Velociraptor offline collection", "copy of a C: tree".
QString collectionKindName(CollectionKind kind);

}  // namespace kestrova
