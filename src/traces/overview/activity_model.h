// What the computer was used for, as statements rather than rows: built from the records of every
// trace kind, read once through the sink interface the front ends use. Per user:
//  - active periods: the logon sessions of the event logs where they exist; otherwise bursts of the
//    user's own activity (visits, programs run, documents opened, activities...) closer than 30
//    minutes to one another, each an inferred period, labelled so;
//  - per day the first and last activity and the time in active periods; a weekday × hour grid;
//  - the programs used most (UserAssist, BAM, SRUM), the sites visited (by domain), the documents
//    opened (recent documents, shortcuts, Jump Lists, Office lists);
// and for the machine: the devices attached (with the user active then), the files deleted (the
// Recycle Bin's, the latest the change journal recorded), the
// notable events (accounts created or changed, logs cleared, services and tasks installed,
// Defender detections, remote logons from outside addresses), the programs Prefetch saw run.
// Every statement keeps references to the records that make it (a few of them), so that an
// examiner can go back to the rows.
//
// Times are grouped into days and hours in the zone given (the examiner's --tz).
#pragma once

#include <QString>
#include <QTimeZone>
#include <deque>
#include <map>
#include <optional>
#include <vector>

#include "traces/trace_kind.h"

namespace kestrova {

// A record a statement rests on: its kind, where it was read, and the time that counts.
struct RecordRef {
    QString kind, source, part;
    std::optional<UtcMicros> time;
};

struct ActivePeriod {
    UtcMicros start = 0, end = 0;
    bool inferred = false;
    QString how;  // "session, Interactive (2)"; "inferred from 18 records"
    int64_t records = 0;
    std::vector<RecordRef> from;
};

struct ActiveDay {
    QString date;  // "2026-11-01" in the zone given
    UtcMicros first = 0, last = 0;
    int64_t activeSeconds = 0;
    int64_t records = 0;
};

// One line of a top list: a program, a site, a document.
struct Ranked {
    QString name;
    int64_t count = 0;      // runs, visits, openings
    int64_t focusMs = 0;    // programs: the time in focus where it is kept
    std::optional<UtcMicros> first, last;
    std::vector<RecordRef> from;
};

struct UserActivity {
    QString user;
    std::vector<ActivePeriod> periods;
    std::vector<ActiveDay> days;
    int64_t hours[7][24] = {};  // records by weekday (Monday 0) and hour
    std::vector<Ranked> programs, sites, documents;
    std::optional<UtcMicros> first, last;
};

// A device, a deleted file, a notable event: one dated statement of the machine.
struct Statement {
    QString what;  // "USB disk SanDisk Cruzer (serial 4C530...)", "account created: bob"
    QString user;  // the user it concerns, or who was active then
    std::optional<UtcMicros> time, last;
    std::vector<RecordRef> from;
};

class ActivityModel : public TraceSink {
public:
    explicit ActivityModel(QTimeZone zone = QTimeZone::utc());
    // Only records inside [from, to] count (either end open when absent).
    void limit(std::optional<UtcMicros> from, std::optional<UtcMicros> to) { from_ = from, to_ = to; }
    // Only that user's activity is kept ("" for every user).
    void onlyUser(const QString& user) { onlyUser_ = user; }

    bool record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) override;
    // Builds the statements from what was read; call once, after the last record.
    void finish();

    const std::vector<UserActivity>& users() const { return users_; }
    const std::vector<Statement>& devices() const { return devices_; }
    const std::vector<Statement>& deletions() const { return deletions_; }
    const std::vector<Statement>& notable() const { return notable_; }
    const std::vector<Ranked>& machinePrograms() const { return machinePrograms_; }
    int64_t recordsRead() const { return records_; }
    const QTimeZone& zone() const { return zone_; }

    // Bursts closer than this are one inferred period.
    static constexpr int64_t kBurstGap = int64_t{30} * 60 * 1000000;
    // How many records a statement keeps to link to, how long a top list is, and how many of the
    // change journal's deletions are listed (the latest).
    static constexpr size_t kReferences = 5, kTopList = 20, kJournalDeletions = 500;
    // How many deletions the change journal recorded in all (those listed are the latest).
    int64_t journalDeletions() const { return journalDeleted_; }

private:
    // A moment of a user's own activity: its time and where its record was read, the kind, file and
    // part kept once each (interned) rather than a copy per record.
    struct Moment {
        UtcMicros time;
        uint32_t kind, source, part;
    };
    RecordRef refAt(const Moment& m) const;
    uint32_t intern(std::map<QByteArray, uint32_t>& index, std::vector<QString>& texts, const QByteArray& text);
    // What a kind's records give the model, worked out once a kind.
    struct Plan {
        std::vector<size_t> activity;  // its time fields that are the user's own doing
        uint32_t kind = 0;
    };
    const Plan& planOf(const TraceKind& kind);
    struct Session {
        UtcMicros start, end;
        QString how;
        RecordRef ref;
    };
    struct Pending {
        std::vector<Moment> moments;
        std::vector<Session> sessions;
        std::map<QString, Ranked> programs, sites, documents;
    };
    bool inRange(std::optional<UtcMicros> t) const;
    Pending& of(const QString& user);
    void usbDevice(const TraceKind& kind, const Provenance& from, std::span<const Value> values);

    QTimeZone zone_;
    std::map<const TraceKind*, Plan> plans_;
    std::vector<QString> kindNames_, sources_, parts_;
    std::map<QByteArray, uint32_t> sourceIndex_, partIndex_;
    // The last source and part interned: a source's records come one after another and share the
    // provenance's bytes, so most records need no lookup.
    const char* lastSource_ = nullptr;
    const char* lastPart_ = nullptr;
    uint32_t lastSourceIndex_ = 0, lastPartIndex_ = 0;
    std::optional<UtcMicros> from_, to_;
    QString onlyUser_;
    int64_t records_ = 0;
    std::map<QString, Pending> pending_;
    std::map<QString, Ranked> prefetch_;
    std::vector<UserActivity> users_;
    std::vector<Statement> devices_, deletions_, notable_;
    // The change journal's deletions, the latest kJournalDeletions of them (a journal holds
    // millions of records); how many there were in all.
    std::deque<Statement> journalDeletions_;
    int64_t journalDeleted_ = 0;
    std::vector<Ranked> machinePrograms_;
};

}  // namespace kestrova
