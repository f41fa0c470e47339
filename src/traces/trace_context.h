// What a trace source reads with: the examined volume (through the analysed system, so a folder
// tree and a disk image serve it alike), the private temporary folder where databases with a
// journal are copied, every user profile on the volume and every browser profile in them, and
// the run's state (the kind being read, a stop asked for, the user the run is narrowed to).
#pragma once

#include <QString>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "core/system/analysed_system.h"
#include "platform/hive/hive_file.h"
#include "platform/sqlite/evidence_database.h"
#include "traces/trace_kind.h"

namespace kestrova {

// A user profile folder: every folder under Users and Documents and Settings, whether or not its
// hive can be read.
struct UserProfile {
    QString name;     // the folder's name as listed
    QString folder;   // "C:\Users\bob"
    QString local;    // the local application data: "...\AppData\Local" or "...\Local Settings\Application Data"
    QString roaming;  // "...\AppData\Roaming" or "...\Application Data"
};

enum class BrowserEngine { Chromium, Firefox };

struct BrowserProfile {
    const UserProfile* user;
    BrowserEngine engine;
    QString browser;  // "Chrome", "Edge", "Brave", "Opera", "Firefox", ...
    QString name;     // the profile folder's name: "Default", "Profile 1", "abcd1234.default"
    QString folder;   // its Windows path
};

class TraceContext {
public:
    TraceContext(const AnalysedSystem& system, QString tempFolder) : system_(system), tempFolder_(std::move(tempFolder)) {}

    const AnalysedSystem& system() const { return system_; }
    // Only this user's profile is read (compared case-insensitively); "" reads every user.
    void narrowToUser(const QString& name) { onlyUser_ = name; }
    const QString& onlyUser() const { return onlyUser_; }

    // A kind read in parts by several workers (TraceKind::readIn): only the part of that index is
    // read, the others are left to the other workers; nullopt reads every part.
    void readPart(std::optional<size_t> part) { part_ = part; }
    bool readsPart(size_t index) const { return !part_ || *part_ == index; }

    const std::vector<UserProfile>& users();
    const std::vector<BrowserProfile>& browserProfiles();

    // A database of the volume, opened as evidence (see EvidenceDatabase); nullptr with the
    // reason noted when there is none to read.
    std::unique_ptr<EvidenceDatabase> openDatabase(const QString& windowsPath) const;
    // A small file of the volume (JSON, INI, a cookie text file), read whole up to `limit` bytes;
    // nullopt with the reason noted when it cannot be read or is larger.
    std::optional<QByteArray> readSmallFile(const QString& windowsPath, qint64 limit = 64 << 20) const;
    // Whether the path is on the volume; while a kind is read, what it looked for is kept, to say
    // why it found nothing (emptyReason).
    bool exists(const QString& windowsPath) const {
        const bool found = system_.exists(windowsPath);
        if (kind && !discovering_ && looked_.size() < kMostLooked) looked_.push_back({windowsPath, found});
        return found;
    }
    // Why the kind being read gave no record although nothing was noted: the places it looked
    // for and did not find, or those it read that held nothing of its kind.
    QString emptyReason() const { return emptyReason(lookedFor()); }
    // What it looked for, in the order asked, each once; a kind read in parts adds its parts'.
    struct LookedFor {
        QStringList read, missing;
        void add(const LookedFor& part);
    };
    LookedFor lookedFor() const;
    static QString emptyReason(const LookedFor& looked);
    // The names of a folder's entries, "." and ".." left out; folders only where asked.
    QStringList list(const QString& windowsFolder, bool foldersOnly) const;
    // A file's own times on the volume (nullopt when it has none to tell).
    std::optional<FileTimes> fileTimes(const QString& windowsPath) const { return system_.fileTimes(windowsPath); }

    // A registry hive of the volume, opened once for the run with its transaction logs replayed
    // where it is dirty (unless replayLogs is off); nullptr, with the reason noted, when there is
    // none. What a replay did is noted too, so that --verbose says it.
    std::shared_ptr<HiveFile> hive(const QString& windowsPath);
    bool replayLogs = true;
    // Notes what the walks of the hives opened so far lost (HiveFile::takeLosses), as findings
    // on each hive: runTraceKind does at the end of every kind.
    void reportHiveLosses();

    void note(FindingKind kind, const QString& what, const QString& why = QString()) const {
        if (capture_) capture_->push_back({kind, what, why});
        if (noteHook_) noteHook_(kind, what, why);
        else system_.findings().note(kind, what, why);
    }
    // Where notes go instead of the system's findings (a contained child sends them home).
    void setNoteHook(std::function<void(FindingKind, const QString&, const QString&)> hook) { noteHook_ = std::move(hook); }

    // The kind being read: set by runTraceKind for the sources, which hand records over through deliver().
    const TraceKind* kind = nullptr;
    // Hands a record to the sink; false (and stopped() from then on) when the sink wants no more.
    bool deliver(TraceSink& sink, const Provenance& from, std::span<const Value> values) {
        if (stopped_) return false;
        if (!sink.record(*kind, from, values)) stopped_ = true;
        return !stopped_;
    }
    bool stopped() const { return stopped_; }

private:
    friend qint64 runTraceKind(const TraceKind& kind, TraceContext& context, TraceSink& sink);
    static constexpr size_t kMostLooked = 256;
    void noteNoUsers() const;
    struct Looked {
        QString path;
        bool found;
    };
    mutable std::vector<Looked> looked_;
    bool discovering_ = false;  // finding the profiles: not what a kind looks for
    const AnalysedSystem& system_;
    QString tempFolder_;
    QString onlyUser_;
    bool stopped_ = false;
    std::optional<size_t> part_;
    std::optional<std::vector<UserProfile>> users_;
    std::optional<std::vector<BrowserProfile>> browsers_;
    struct HeldHive {
        std::shared_ptr<HiveFile> file;  // nullptr: none
        QStringList files;               // read from: the path as it was asked for, then its logs
        std::vector<Finding> notes;      // what opening it said
    };
    std::map<QString, HeldHive> hives_;  // by lower-cased path
    std::vector<Finding> profileNotes_;                  // what finding the browser profiles said
    mutable std::vector<Finding>* capture_ = nullptr;    // where notes are kept as well
    std::function<void(FindingKind, const QString&, const QString&)> noteHook_;
};

// Reads every record of a kind into the sink. Returns how many records were handed over.
qint64 runTraceKind(const TraceKind& kind, TraceContext& context, TraceSink& sink);

// Provenance of a browser profile's file: user, browser, profile, the file's path and the part.
Provenance browserProvenance(const BrowserProfile& profile, const QString& file, const QString& part);
// Provenance of a user's file without a browser.
Provenance userProvenance(const UserProfile& user, const QString& file, const QString& part);

}  // namespace kestrova
