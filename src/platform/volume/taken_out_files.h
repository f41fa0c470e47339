// Files taken out of evidence that is not a folder (an image's NTFS, a collection's ZIP), for the
// readers and the libraries under them.
#pragma once

#include <QIODevice>
#include <QString>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <condition_variable>
#include <unordered_map>
#include <unordered_set>

#include "core/common/findings.h"

namespace kestrova {

// Files taken out of an image or a ZIP for the readers and the libraries under them: each an unnamed file
// in memory (memfd; one larger than kInMemory goes to the private temporary folder, unnamed
// too), made the first time the file is opened and
// shared (each opening with a file position of its own) by the readers that open it after one
// another or at once, as the Firefox categories all open places.sqlite.
class TakenOutFiles {
public:
    explicit TakenOutFiles(QString folder) : folder_(std::move(folder)) {}
    ~TakenOutFiles();
    // The file opened for reading, taken out through copyInto(fd, why) the first time; nullptr,
    // with the reason noted under `what`, when it is missing, a folder or cannot be taken out.
    std::unique_ptr<QIODevice> open(const QString& what, Findings* findings, bool exists, bool folder, quint64 reference,
                                    quint64 size, const std::function<bool(int, QString*)>& copyInto) const;
    // Where a file already taken out can be opened again by path ("/proc/self/fd/N"), while this
    // lives; empty when it is not taken out. SQLite resolves the links it is given, and an unnamed
    // file's link leads nowhere: its reader is given the path through PlainFile instead.
    QString heldPath(quint64 reference) const;
    // A copy under the file's own name, for the desktop's open action.
    std::optional<QString> named(const QString& windowsPath, const std::function<bool(int)>& copyInto) const;

    // Writing a file into memory is several times faster than into a file system's page cache.
    static constexpr quint64 kInMemory = quint64{1} << 30;

private:
    QString folder_;
    mutable std::mutex mutex_;
    mutable std::condition_variable made_;
    mutable std::unordered_map<quint64, int> copies_;  // by MFT reference, or a ZIP member's index
    mutable std::unordered_set<quint64> making_;       // being taken out by another thread
};

}  // namespace kestrova
