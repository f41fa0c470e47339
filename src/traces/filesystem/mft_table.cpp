#include "traces/filesystem/mft_table.h"

#include <QFileDevice>
#include <algorithm>
#include <unistd.h>

#include "platform/io/whole_io.h"
#include "platform/volume/plain_file_reader.h"

namespace kestrova {
namespace {

// Read in blocks of this many bytes: large enough that a read costs nothing beside the decoding,
// small enough to stay in the cache while it is decoded.
constexpr size_t kBlock = size_t{4} << 20;
constexpr int kDeepest = 512;  // parent chains longer than this are loops of a damaged table

}  // namespace

// -- MftNames ---------------------------------------------------------------------------------

void MftNames::learn(uint64_t entry, const MftEntry& decoded) {
    if (decoded.names.empty()) return;
    uint64_t at = entry;
    if (decoded.baseEntry != 0) {
        at = decoded.baseEntry;
        if (at >= known_.size() || known_[at].known) return;
    }
    if (at >= known_.size()) return;
    const MftFileName& fn = decoded.names.front();
    const size_t units = fn.name.size() / 2;
    if (arena_.size() + units > UINT32_MAX) return;  // more names than any volume holds: a hostile table
    Known& k = known_[at];
    k.nameAt = static_cast<uint32_t>(arena_.size());
    k.nameUnits = static_cast<uint16_t>(units);
    for (size_t i = 0; i < units; ++i) arena_.push_back(static_cast<char16_t>(fn.name.u16(i * 2)));
    k.parent = fn.parent;
    k.parentSequence = fn.parentSequence;
    k.sequence = decoded.baseEntry != 0 ? decoded.baseSequence : decoded.sequence;
    k.known = true;
}

std::optional<QString> MftNames::folderPath(uint64_t entry, uint16_t sequence) const {
    if (entry == lastFolder_ && sequence == lastSequence_) return lastPath_;
    std::vector<const Known*> chain;
    uint64_t at = entry;
    uint16_t expected = sequence;
    std::optional<QString> path;
    for (int depth = 0; depth < kDeepest; ++depth) {
        if (at == kMftRootEntry) {
            QString text = QStringLiteral("C:");
            for (auto k = chain.rbegin(); k != chain.rend(); ++k) {
                text += QLatin1Char('\\');
                text.append(reinterpret_cast<const QChar*>(arena_.data() + (*k)->nameAt), (*k)->nameUnits);
            }
            path = std::move(text);
            break;
        }
        if (at >= known_.size() || !known_[at].known || known_[at].sequence != expected) break;
        chain.push_back(&known_[at]);
        expected = known_[at].parentSequence;
        at = known_[at].parent;
    }
    lastFolder_ = entry;
    lastSequence_ = sequence;
    lastPath_ = path;
    return path;
}

QString MftNames::pathOf(const QString& name, uint64_t parent, uint16_t parentSequence) const {
    const std::optional<QString> folder = folderPath(parent, parentSequence);
    if (!folder) return QStringLiteral("C:\\$OrphanFiles\\") + name;
    return *folder + QLatin1Char('\\') + name;
}

QString mftEntryPath(const MftNames& names, uint64_t index, const MftEntry& entry) {
    if (index == kMftRootEntry) return QStringLiteral("C:\\");
    if (entry.names.empty()) return QString();
    const MftFileName& fn = entry.names.front();
    return names.pathOf(mftNameText(fn), fn.parent, fn.parentSequence);
}

// -- MftTable ---------------------------------------------------------------------------------

// The table's bytes: where they lie in a raw image, or the file the volume opened.
struct MftTable::Bytes {
    std::unique_ptr<PlainFileReader> plain;
    std::unique_ptr<QIODevice> file;
    uint64_t size = 0;

    bool read(uint8_t* into, size_t amount, uint64_t offset) const {
        if (plain) return plain->read(into, amount, offset);
        const auto* device = qobject_cast<const QFileDevice*>(file.get());
        if (device && device->handle() >= 0) return preadWhole(device->handle(), reinterpret_cast<char*>(into), amount, offset);
        return file->seek(static_cast<qint64>(offset)) && file->read(reinterpret_cast<char*>(into), static_cast<qint64>(amount)) == static_cast<qint64>(amount);
    }
};

MftTable::~MftTable() = default;

std::unique_ptr<MftTable> MftTable::open(TraceContext& context, const QString& path) {
    if (!context.exists(path)) return nullptr;
    std::unique_ptr<MftTable> table(new MftTable);
    table->path_ = path;
    table->bytes_ = std::make_unique<Bytes>();
    Bytes& bytes = *table->bytes_;
    const QString what = QStringLiteral("MFT ") + path;
    if (const auto plain = context.system().plainFile(path)) {
        QString why;
        bytes.plain = PlainFileReader::open(*plain, &why);
        if (bytes.plain) bytes.size = bytes.plain->size();
    }
    if (!bytes.plain) {
        bytes.file = context.system().openFile(path, QStringLiteral("MFT"));
        if (!bytes.file) return nullptr;  // noted
        bytes.size = static_cast<uint64_t>(bytes.file->size());
    }
    std::vector<uint8_t> first(std::min<uint64_t>(bytes.size, 4096));
    if (first.empty() || !bytes.read(first.data(), first.size(), 0)) {
        context.note(FindingKind::Empty, what, QStringLiteral("it holds no entry (%1 bytes)").arg(bytes.size));
        return nullptr;
    }
    table->entrySize_ = mftEntrySize(ByteView(first.data(), first.size()));
    if (!ByteView(first.data(), first.size()).startsWith("FILE")) {
        context.note(FindingKind::Damaged, what, QStringLiteral("not an MFT: its first entry does not begin with FILE"));
        return nullptr;
    }
    table->entries_ = bytes.size / table->entrySize_;
    if (bytes.size % table->entrySize_ != 0) {
        context.note(FindingKind::Damaged, what,
                     QStringLiteral("it ends %1 bytes into an entry of %2: that part is not read").arg(bytes.size % table->entrySize_).arg(table->entrySize_));
    }
    return table;
}

bool MftTable::readBlock(uint64_t first, uint64_t count, std::vector<uint8_t>* into) const {
    into->resize(static_cast<size_t>(count) * entrySize_);
    return bytes_->read(into->data(), into->size(), first * entrySize_);
}

bool MftTable::learn(TraceContext& context) {
    names_.resize(entries_);
    extensions_.clear();
    const uint64_t perBlock = std::max<uint64_t>(1, kBlock / entrySize_);
    std::vector<uint8_t> block;
    MftEntry entry;
    QString why;
    for (uint64_t first = 0; first < entries_; first += perBlock) {
        if (context.stopped()) return false;
        const uint64_t count = std::min(perBlock, entries_ - first);
        if (!readBlock(first, count, &block)) continue;  // forEach says it
        for (uint64_t i = 0; i < count; ++i) {
            const std::span<uint8_t> bytes(block.data() + i * entrySize_, entrySize_);
            if (decodeMftEntry(bytes, &entry, &why) != MftEntryRead::Entry) continue;
            names_.learn(first + i, entry);
            if (entry.baseEntry != 0 && (entry.dataStreams > 0 || entry.dataSize)) {
                extensions_.emplace_back(entry.baseEntry, MftExtension{entry.dataStreams, entry.dataSize});
            }
        }
    }
    // One base may have several extensions: join them.
    std::stable_sort(extensions_.begin(), extensions_.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::pair<uint64_t, MftExtension>> joined;
    for (const auto& [base, extension] : extensions_) {
        if (joined.empty() || joined.back().first != base) {
            joined.emplace_back(base, extension);
            continue;
        }
        joined.back().second.dataStreams += extension.dataStreams;
        if (!joined.back().second.dataSize) joined.back().second.dataSize = extension.dataSize;
    }
    extensions_ = std::move(joined);
    return true;
}

const MftExtension* MftTable::extension(uint64_t entry) const {
    const auto at = std::lower_bound(extensions_.begin(), extensions_.end(), entry, [](const auto& e, uint64_t v) { return e.first < v; });
    return at != extensions_.end() && at->first == entry ? &at->second : nullptr;
}

bool MftTable::forEach(TraceContext& context, const std::function<bool(uint64_t, const MftEntry&)>& each) {
    const QString what = QStringLiteral("MFT ") + path_;
    const uint64_t perBlock = std::max<uint64_t>(1, kBlock / entrySize_);
    std::vector<uint8_t> block;
    MftEntry entry;
    QString why;
    uint64_t damaged = 0, unread = 0, fixedUp = 0;
    QString firstDamage;
    bool finished = true;
    for (uint64_t first = 0; first < entries_ && finished; first += perBlock) {
        if (context.stopped()) return false;
        const uint64_t count = std::min(perBlock, entries_ - first);
        if (!readBlock(first, count, &block)) {
            unread += count;
            continue;
        }
        for (uint64_t i = 0; i < count; ++i) {
            const std::span<uint8_t> bytes(block.data() + i * entrySize_, entrySize_);
            const MftEntryRead read = decodeMftEntry(bytes, &entry, &why);
            if (read == MftEntryRead::Damaged && damaged++ == 0) firstDamage = QStringLiteral("entry %1: %2").arg(first + i).arg(why);
            if (read == MftEntryRead::Entry && entry.fixedUpBefore) ++fixedUp;
            if (read == MftEntryRead::Entry && !each(first + i, entry)) {
                finished = false;
                break;
            }
        }
    }
    if (damaged > 0) {
        context.note(FindingKind::Damaged, what,
                     QStringLiteral("%1 of its %2 entries are damaged and not read (the first: %3)").arg(damaged).arg(entries_).arg(firstDamage));
    }
    if (unread > 0) context.note(FindingKind::Damaged, what, QStringLiteral("%1 of its %2 entries could not be read from the volume").arg(unread).arg(entries_));
    if (fixedUp > 0) {
        context.note(FindingKind::AsItLies, what,
                     QStringLiteral("%1 of its entries were copied with their update sequence applied (through a file system driver, not raw): "
                                    "a torn entry cannot be told among them")
                         .arg(fixedUp));
    }
    return finished;
}

}  // namespace kestrova
