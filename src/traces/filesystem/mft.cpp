// file.mft: every entry of the volume's Master File Table that was ever written, in use or
// deleted, with its path, size and both sets of times (see mft_table.h for how it is read).
#include "traces/evidence_file_times.h"
#include "traces/filesystem/filesystem_sources.h"
#include "traces/filesystem/mft_table.h"
#include "traces/filesystem/usn_records.h"

namespace kestrova {
namespace {

namespace mf = mftfields;

bool writeEntry(TraceContext& context, TraceSink& sink, const MftTable& table, uint64_t index, const MftEntry& entry) {
    OwnedRecord<mf::Count> r;
    r.integer(mf::Entry, static_cast<int64_t>(index));
    r.integer(mf::Sequence, entry.sequence);
    r.boolean(mf::InUse, entry.inUse);
    r.boolean(mf::Folder, entry.folder);
    for (int t = 0; t < 4; ++t) {
        if (entry.siTimes[t]) r.time(mf::SiCreated + t, utc::fromFileTime(entry.siTimes[t]));
    }
    if (entry.hasStandardInformation) r.text(mf::Attributes, fileAttributeNames(entry.attributes));
    int streams = entry.dataStreams;
    std::optional<uint64_t> size = entry.dataSize;
    if (const MftExtension* more = entry.baseEntry == 0 ? table.extension(index) : nullptr) {
        streams += more->dataStreams;
        if (!size) size = more->dataSize;
    }
    r.integer(mf::DataStreams, streams);
    r.integer(mf::Size, static_cast<int64_t>(size.value_or(0)));
    if (!entry.names.empty()) {
        const MftFileName& fn = entry.names.front();
        r.text(mf::Path, mftEntryPath(table.names(), index, entry));
        for (int t = 0; t < 4; ++t) {
            if (fn.times[t]) r.time(mf::FnCreated + t, utc::fromFileTime(fn.times[t]));
        }
        if (entry.names.size() > 1) {
            QStringList all;
            for (const MftFileName& n : entry.names) all << mftNameText(n);
            r.text(mf::Names, all.join(QStringLiteral(", ")));
        }
        // Tools that set times write $STANDARD_INFORMATION only, and often whole seconds.
        const uint64_t si = entry.siTimes[0], created = fn.times[0];
        const bool earlier = si != 0 && created != 0 && si < created;
        const bool wholeSeconds = si != 0 && si % 10000000 == 0 && created % 10000000 != 0;
        r.boolean(mf::SiBeforeFn, earlier || wholeSeconds);
    }
    return context.deliver(sink, Provenance{{}, {}, {}, table.path().toUtf8(), QStringLiteral("entry %1").arg(index).toUtf8()}, r.values());
}

}  // namespace

void fileDeletedEntries(TraceContext& context, TraceSink& sink) {
    namespace ef = evidencefields;
    const auto table = MftTable::open(context, QStringLiteral("C:\\$MFT"));
    if (!table || !table->learn(context)) return;
    table->forEach(context, [&](uint64_t index, const MftEntry& entry) {
        // An extension entry is part of its base; an entry without a name was never a file.
        if (entry.inUse || entry.baseEntry != 0 || entry.names.empty()) return true;
        OwnedRecord<ef::Count> r;
        r.text(ef::Path, mftEntryPath(table->names(), index, entry));
        r.text(ef::What, QStringLiteral("deleted %1 (MFT entry %2)").arg(entry.folder ? QStringLiteral("folder") : QStringLiteral("file")).arg(index));
        for (int t = 0; t < 4; ++t) {
            if (entry.siTimes[t]) r.time(ef::Created + t, utc::fromFileTime(entry.siTimes[t]));
        }
        r.boolean(ef::Deleted, true);
        return context.deliver(sink, Provenance{{}, {}, {}, table->path().toUtf8(), QStringLiteral("entry %1").arg(index).toUtf8()}, r.values());
    });
}

void fileMft(TraceContext& context, TraceSink& sink) {
    const auto table = MftTable::open(context, QStringLiteral("C:\\$MFT"));
    if (!table || !table->learn(context)) return;
    table->forEach(context, [&](uint64_t index, const MftEntry& entry) { return writeEntry(context, sink, *table, index, entry); });
}

}  // namespace kestrova
