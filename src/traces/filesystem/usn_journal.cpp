// file.journal: every record of the NTFS change journal, read as a stream in blocks: the zeros
// Windows let go of are passed over fast (and, in a folder tree, the file's holes are not read at
// all), a stretch that holds no record is counted and said, a rename's two records are one.
// Where the journal lies: a folder tree (a triage collection) keeps the stream as a file,
// $Extend\$J or $Extend\$UsnJrnl$J; an image as the stream $Extend\$UsnJrnl:$J.
// Paths: a parent folder is named as the journal's own records named it by then; one the journal
// does not name (its records of it were let go of) is named as the MFT names it now, where the
// MFT is at hand and the folder's entry has not been reused since.
#include <QFileDevice>
#include <cerrno>
#include <unistd.h>
#include <unordered_map>

#include "traces/filesystem/filesystem_sources.h"
#include "traces/filesystem/mft_table.h"
#include "traces/filesystem/usn_records.h"

namespace kestrova {
namespace {

namespace jf = journalfields;

constexpr qint64 kBlock = 4 << 20;
constexpr uint64_t kRootEntry = 5;  // the volume's root folder

QString reference(uint64_t entry, uint16_t sequence) { return QStringLiteral("%1-%2").arg(entry).arg(sequence); }

class JournalReader {
public:
    JournalReader(TraceContext& context, TraceSink& sink, QString source, const MftNames* mft)
        : context_(context), sink_(sink), source_(std::move(source)), mft_(mft) {}

    // False once the receiver stopped.
    bool add(const UsnRecord& r) {
        if (r.attributes & kUsnDirectory && !(r.reason & 0x200)) folders_[r.fileEntry] = {r.name, r.parentEntry, r.parentSequence};
        const auto pending = pending_.find(r.fileEntry);
        if ((r.reason & kUsnRenameNew) && pending != pending_.end()) {
            UsnRecord joined = r;
            joined.reason |= pending->second.reason;
            const QString old = pending->second.name;
            pending_.erase(pending);
            return write(joined, old);
        }
        if (pending != pending_.end()) {
            const UsnRecord alone = pending->second;
            pending_.erase(pending);
            if (!write(alone, QString())) return false;
        }
        if ((r.reason & kUsnRenameOld) && !(r.reason & kUsnRenameNew)) {
            pending_[r.fileEntry] = r;  // its new name follows
            return true;
        }
        return write(r, QString());
    }
    bool finish() {
        for (const auto& [entry, r] : pending_) {
            if (!write(r, QString())) return false;
        }
        pending_.clear();
        return true;
    }

private:
    QString pathOf(const UsnRecord& r) const {
        QStringList parts{r.name};
        uint64_t parent = r.parentEntry;
        uint16_t sequence = r.parentSequence;
        for (int depth = 0; depth < 256; ++depth) {
            if (parent == kRootEntry) {
                parts << QStringLiteral("C:");
                std::reverse(parts.begin(), parts.end());
                return parts.join(QLatin1Char('\\'));
            }
            const auto folder = folders_.find(parent);
            if (folder == folders_.end()) {
                const std::optional<QString> known = mft_ ? mft_->folderPath(parent, sequence) : std::nullopt;
                if (!known) return QString();
                std::reverse(parts.begin(), parts.end());
                return *known + QLatin1Char('\\') + parts.join(QLatin1Char('\\'));
            }
            parts << folder->second.name;
            parent = folder->second.parent;
            sequence = folder->second.parentSequence;
        }
        return QString();
    }
    bool write(const UsnRecord& r, const QString& oldName) {
        OwnedRecord<jf::Count> out;
        out.time(jf::Time, r.time);
        out.integer(jf::Usn, r.usn);
        out.text(jf::Name, r.name);
        out.text(jf::Path, r.fileEntry == kRootEntry ? QStringLiteral("C:\\") : pathOf(r));
        out.text(jf::Reasons, usnReasonNames(r.reason));
        out.text(jf::OldName, oldName);
        out.text(jf::Attributes, fileAttributeNames(r.attributes));
        out.text(jf::FileReference, reference(r.fileEntry, r.fileSequence));
        out.text(jf::ParentReference, reference(r.parentEntry, r.parentSequence));
        out.integer(jf::Version, r.version);
        return context_.deliver(sink_, Provenance{{}, {}, {}, source_.toUtf8(), QStringLiteral("USN %1").arg(r.usn).toUtf8()}, out.values());
    }

    TraceContext& context_;
    TraceSink& sink_;
    QString source_;
    const MftNames* mft_;
    struct Folder {
        QString name;
        uint64_t parent = 0;
        uint16_t parentSequence = 0;
    };
    std::unordered_map<uint64_t, Folder> folders_;  // by entry
    std::map<uint64_t, UsnRecord> pending_;                               // renames awaiting their new name
};

void readJournal(TraceContext& context, TraceSink& sink, const QString& path, QIODevice& file, const MftNames* mft) {
    const QString what = QStringLiteral("change journal ") + path;
    // A folder tree's copy keeps the journal's sparse parts as holes: reading goes on where data
    // does, and a file that is all hole is not read at all.
    const auto* device = qobject_cast<const QFileDevice*>(&file);
    const int fd = device ? device->handle() : -1;
    const auto nextData = [&](qint64 from) -> std::optional<qint64> {
        if (fd < 0) return from;
        const off_t data = ::lseek(fd, from, SEEK_DATA);
        if (data < 0) return errno == ENXIO ? std::nullopt : std::optional<qint64>(from);
        return std::max<qint64>(from, data & ~off_t{7});
    };
    qint64 base = 0;
    if (const auto first = nextData(0)) {
        base = *first;
    } else {
        context.note(FindingKind::Empty, what, QStringLiteral("it holds no record: it is all hole (%1 bytes of zeros)").arg(file.size()));
        return;
    }
    if (!file.seek(base)) base = 0;
    JournalReader reader(context, sink, path, mft);
    QByteArray carry;
    qint64 records = 0, damaged = 0;
    QString firstDamage;
    bool stopped = false;
    qint64 unreadFrom = -1;  // where the device stopped giving bytes before the file's end
    while (!stopped && !context.stopped()) {
        const QByteArray block = file.read(kBlock);
        if (block.isEmpty()) {
            if (file.pos() < file.size()) unreadFrom = file.pos();
            break;
        }
        const QByteArray buffer = carry + block;
        const ByteView view(buffer);
        size_t pos = 0;
        while (pos < view.size()) {
            size_t size = 0;
            UsnRecord record;
            QString why;
            const UsnFind found = decodeUsnRecord(view, pos, &size, &record, &why);
            if (found == UsnFind::Short) break;
            if (found == UsnFind::Damaged) {
                if (damaged++ == 0) firstDamage = QStringLiteral("at offset 0x%1: %2").arg(base + static_cast<qint64>(pos), 0, 16).arg(why);
                pos += 8;
                continue;
            }
            if (found == UsnFind::Record) {
                ++records;
                if (!reader.add(record)) {
                    stopped = true;
                    break;
                }
            }
            pos += size;
        }
        carry = buffer.mid(static_cast<qsizetype>(pos));
        base += static_cast<qint64>(pos);
        if (carry.isEmpty() && block.size() == kBlock) {
            // A block that ended in zeros: the next data may lie past a hole.
            const auto next = nextData(base);
            if (!next) break;
            if (*next > base && file.seek(*next)) base = *next;
        }
    }
    if (!stopped) reader.finish();
    if (!stopped && std::any_of(carry.begin(), carry.end(), [](char c) { return c != 0; })) {
        context.note(FindingKind::Damaged, what, QStringLiteral("it ends inside a record (the last %1 bytes)").arg(carry.size()));
    }
    if (unreadFrom >= 0) {
        context.note(FindingKind::Damaged, what,
                     QStringLiteral("its bytes from offset %1 of %2 could not be read: what they hold is lost").arg(unreadFrom).arg(file.size()));
    }
    if (damaged > 0) {
        context.note(FindingKind::Damaged, what,
                     QStringLiteral("%1 places of 8 bytes hold no record where one should begin, and were passed over (the first %2)").arg(damaged).arg(firstDamage));
    }
    if (records == 0 && damaged == 0) context.note(FindingKind::Empty, what, QStringLiteral("it holds no record: only zeros"));
}

}  // namespace

void fileJournal(TraceContext& context, TraceSink& sink) {
    for (const char* path : {"C:\\$Extend\\$J", "C:\\$Extend\\$UsnJrnl$J", "C:\\$Extend\\$UsnJrnl:$J"}) {
        const QString windowsPath = QLatin1String(path);
        if (!context.exists(windowsPath)) continue;
        const auto file = context.system().openFile(windowsPath, QStringLiteral("change journal"));
        if (!file) return;
        const auto table = MftTable::open(context, QStringLiteral("C:\\$MFT"));
        if (table && !table->learn(context)) return;
        readJournal(context, sink, windowsPath, *file, table ? &table->names() : nullptr);
        return;
    }
}

}  // namespace kestrova
