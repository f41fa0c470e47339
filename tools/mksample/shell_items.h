// Shell item lists (PIDLs) as Explorer stores them in the ComDlg32 MRU values, written for the
// sample system and tests. The layout follows real Windows 7 values (observed in the real
// NTUSER-WIN7.DAT sample: a "My Computer" root item, a 25-byte drive item, then file entry items
// of type 0x31 (folder) or 0x32 (file), each with a version 8 extension block 0xBEEF0004 holding
// the long name), closely enough that the MRU decoders find the names a real value gives.
#pragma once

#include <QByteArray>
#include <QString>

namespace kestrova::tools {

// An item list for a full path ("C:\Users\alice\Documents\report.docx"); the last component is a
// file item when lastIsFile. Ends with the two-byte terminator.
QByteArray shellItemList(const QString& path, bool lastIsFile);
// A LastVisitedPidlMRU or FirstFolder value: the program's name as UTF-16 with its NUL, then the
// item list of the folder it last used.
QByteArray programAndFolderValue(const QString& program, const QString& folder);
// An OpenSavePidlMRU value: the item list of the file.
QByteArray openSaveValue(const QString& filePath);

}  // namespace kestrova::tools
