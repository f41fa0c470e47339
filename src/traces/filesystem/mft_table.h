// A volume's Master File Table read as a whole: C:\$MFT of a folder tree (triage collections copy
// it there) or of an image, read where it lies in a raw image and otherwise from the file the
// volume gives. Entries are read in large blocks and decoded by our own bounds-checked reader
// (mft_entries.h), in the process: nothing of libfsntfs's is needed for the table alone.
//
// Paths are rebuilt through the $FILE_NAME parent references. A parent that is not in the table,
// or whose entry was reused since (its sequence number moved on), is lost: the path then starts
// at $OrphanFiles, as The Sleuth Kit writes it. The names are learnt in a first pass and kept
// compactly (one name and parent per entry), so that a second pass can write each entry with its
// path without holding any entry.
#pragma once

#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "traces/filesystem/mft_entries.h"
#include "traces/trace_context.h"

namespace kestrova {

// Every entry's name and parent, for paths.
class MftNames {
public:
    void resize(uint64_t entries) { known_.resize(entries); }
    // Notes the entry's name (its first, see MftEntry::names); an extension entry's names are its
    // base's, and count only where the base has none of its own.
    void learn(uint64_t entry, const MftEntry& decoded);
    // "C:\a\b\name"; "C:\$OrphanFiles\name" where a parent is lost.
    QString pathOf(const QString& name, uint64_t parent, uint16_t parentSequence) const;
    // The path of folder `entry` as it was when its sequence was `sequence`; nullopt where lost.
    std::optional<QString> folderPath(uint64_t entry, uint16_t sequence) const;
    bool empty() const { return known_.empty(); }

private:
    struct Known {
        uint64_t parent = 0;
        uint32_t nameAt = 0;
        uint16_t nameUnits = 0, parentSequence = 0, sequence = 0;
        bool known = false;
    };
    std::vector<Known> known_;
    std::vector<char16_t> arena_;  // every name, one after another
    // Entries of one folder lie together: its path is made once for a run of them.
    mutable uint64_t lastFolder_ = UINT64_MAX;
    mutable uint16_t lastSequence_ = 0;
    mutable std::optional<QString> lastPath_;
};

// What an extension entry adds to its base (a base of many attributes keeps some of them in
// extension entries, named by its $ATTRIBUTE_LIST).
struct MftExtension {
    int dataStreams = 0;
    std::optional<uint64_t> dataSize;
};

class MftTable {
public:
    // The table at `path`, or nullptr: absent (nothing said) or unreadable (noted).
    static std::unique_ptr<MftTable> open(TraceContext& context, const QString& path);
    ~MftTable();

    uint64_t entries() const { return entries_; }
    const QString& path() const { return path_; }
    // The first pass: names, parents and what extension entries add. False when stopped.
    bool learn(TraceContext& context);
    const MftNames& names() const { return names_; }
    const MftExtension* extension(uint64_t entry) const;

    // Every entry that was ever written, in order: each(index, entry). False from each, or a
    // stop, ends the walk. Damaged entries, and those the table's bytes cannot give, are not
    // handed over: they are counted and noted, the first with its reason.
    bool forEach(TraceContext& context, const std::function<bool(uint64_t, const MftEntry&)>& each);

private:
    struct Bytes;
    MftTable() = default;
    bool readBlock(uint64_t first, uint64_t count, std::vector<uint8_t>* into) const;

    QString path_;
    std::unique_ptr<Bytes> bytes_;
    size_t entrySize_ = 1024;
    uint64_t entries_ = 0;
    MftNames names_;
    std::vector<std::pair<uint64_t, MftExtension>> extensions_;  // sorted by base entry
};

// The path an entry of the table is written under: its first name through its parents.
QString mftEntryPath(const MftNames& names, uint64_t index, const MftEntry& entry);

}  // namespace kestrova
