// Shell items: how Explorer names a place (a drive, a folder, a control panel page, a zip folder,
// a network share) in ShellBags, the Open/Save dialogs' MRU lists and shortcuts. Decoded through
// libfwsi; the GUID items it does not name (root folders, known folders, property views) are
// named here from the class identifiers Windows documents. A folder entry keeps the times Windows
// copied into it from the file system (FAT date-times in UTC, 2-second steps) and, from its
// 0xBEEF0004 extension block, its long name, creation and access times and MFT entry.
//
// Knowledge: libfwsi's "Windows Shell Item format" document, plaso's shell item parser.
// Call only where a crash of libfwsi on a crafted item cannot take the program down (see
// contained_source.h).
#pragma once

#include <QString>
#include <optional>
#include <vector>

#include "core/common/byte_view.h"
#include "core/time/iso_time.h"

namespace kestrova {

struct ShellItem {
    QString name;       // the place's component: "My Computer", "C:\", "Users", "{GUID}"
    QString type;       // "root folder", "drive", "folder", "file", "network", "zip folder", ...
    QString shortName;  // a folder entry's 8.3 name, where it differs from its name
    std::optional<UtcMicros> modified, created, accessed;
    std::optional<int64_t> mftEntry;
};

// The items of an item list (a PIDL) up to its terminator. `problem` says why decoding stopped
// early (an item libfwsi rejects); the items before it are kept.
std::vector<ShellItem> decodeItemList(ByteView bytes, QString* problem);

// Names an item libfwsi leaves unnamed from its own bytes: a Windows 10 drive item, a property
// store's display name, a delegate item's file entry (with its DOS times), a known folder's GUID;
// else "[item class 0xNN]". Our own bounds-checked reading: it never calls libfwsi.
void nameUnnamedItem(ByteView raw, uint8_t classType, ShellItem& out);

// The items joined to one path: "My Computer\C:\Users\bob".
QString joinItems(const std::vector<ShellItem>& items);

// A FAT date and time (date in the low 16 bits) as a time; nullopt for 0 or an impossible date.
std::optional<UtcMicros> fromFatDateTime(uint32_t value);

// The name Windows gives a known folder or shell namespace class ("{20D04FE0-...}" →
// "My Computer"); "" when unknown. The GUID text with or without braces, any case.
QString knownFolderName(const QString& guid);

}  // namespace kestrova
