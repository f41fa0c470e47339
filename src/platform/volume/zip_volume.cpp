#include "platform/volume/zip_volume.h"

#include "platform/contained/fork_gate.h"
#include "platform/io/whole_io.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QDateTime>
#include <QTimeZone>
#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <set>
#include <cerrno>
#include <cstring>
#include <libdeflate.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zip.h>

#include "core/common/text.h"
#include "platform/volume/taken_out_files.h"

namespace kestrova {
namespace {

constexpr quint64 kMostMember = quint64{64} << 30;  // larger than any file a reader takes out
constexpr quint64 kSmallest = quint64{1} << 20;      // below this, a high ratio is no bomb (zeros compress so)
constexpr int kRefusedKept = 5;

QString zipWhy(zip_error_t* error) { return QString::fromUtf8(zip_error_strerror(error)); }

quint64 le(const zip_uint8_t* p, int n) {
    quint64 v = 0;
    for (int i = n - 1; i >= 0; --i) v = (v << 8) | p[i];
    return v;
}

constexpr qint64 kUnixToFiletime = 11644473600LL;

// A member's times in UTC, from its extra fields: the NTFS field (0x000a: a tag 1 block of three
// FILETIMEs, modified, accessed, created) that Windows collectors write, else the extended
// timestamp (0x5455: flags, then the modification time in seconds since 1970) that Info-ZIP
// writes. The DOS time of the entry itself keeps no zone, and is not taken for the volume's.
std::optional<FileTimes> extraTimes(zip* handle, zip_uint64_t index) {
    zip_uint16_t length = 0;
    if (const zip_uint8_t* ntfs = zip_file_extra_field_get_by_id(handle, index, 0x000a, 0, &length, ZIP_FL_CENTRAL); ntfs && length >= 4) {
        for (zip_uint16_t at = 4; at + 4 <= length;) {
            const quint64 tag = le(ntfs + at, 2), size = le(ntfs + at + 2, 2);
            if (at + 4 + size > length) break;
            if (tag == 1 && size >= 24) {
                FileTimes times;
                times.modified = static_cast<qint64>(le(ntfs + at + 4, 8));
                times.accessed = static_cast<qint64>(le(ntfs + at + 12, 8));
                times.created = static_cast<qint64>(le(ntfs + at + 20, 8));
                return times;
            }
            at = static_cast<zip_uint16_t>(at + 4 + size);
        }
    }
    for (const zip_flags_t where : {zip_flags_t{ZIP_FL_CENTRAL}, zip_flags_t{ZIP_FL_LOCAL}}) {
        const zip_uint8_t* ut = zip_file_extra_field_get_by_id(handle, index, 0x5455, 0, &length, where);
        if (ut && length >= 5 && (ut[0] & 1)) {
            FileTimes times;
            times.modified = (static_cast<qint64>(static_cast<qint32>(le(ut + 1, 4))) + kUnixToFiletime) * 10000000LL;
            return times;
        }
    }
    return std::nullopt;
}

}  // namespace

// The archive, shared by the volumes of one collection: libzip's handle (one reader at a time),
// the members' listing and the files already taken out.
class ZipArchive {
public:
    struct Listed : ZipVolume::Member {
        QStringList parts;
    };
    ~ZipArchive() {
        stopping = true;
        if (ahead.joinable()) ahead.join();
        if (handle) zip_discard(handle);
    }

    // A deflated member in one call of libdeflate (several times zlib's speed, which libzip
    // streams through), from its stored bytes straight into the copy's pages.
    static bool inflateWhole(zip* handle, const ZipVolume::Member& m, int fd, QString* why) {
        const auto damaged = [&](const QString& reason) {
            *why = QStringLiteral("its member %1 %2").arg(m.name, reason);
            return false;
        };
        zip_file_t* file = zip_fopen_index(handle, m.index, ZIP_FL_COMPRESSED);
        if (!file) return damaged(QStringLiteral("cannot be read: ") + zipWhy(zip_get_error(handle)));
        std::vector<char> stored(static_cast<size_t>(m.stored));
        quint64 got = 0;
        while (got < m.stored) {
            const zip_int64_t n = zip_fread(file, stored.data() + got, m.stored - got);
            if (n <= 0) break;
            got += static_cast<quint64>(n);
        }
        const QString reason = zipWhy(zip_file_get_error(file));
        zip_fclose(file);
        if (got != m.stored) return damaged(QStringLiteral("is cut short: %1 of %2 stored bytes (%3)").arg(got).arg(m.stored).arg(reason));
        if (m.size == 0) return true;
        if (::ftruncate(fd, static_cast<off_t>(m.size)) != 0) return damaged(QStringLiteral("has no room: ") + QString::fromLocal8Bit(std::strerror(errno)));
        void* out = ::mmap(nullptr, m.size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, fd, 0);
        if (out == MAP_FAILED) return damaged(QStringLiteral("has no room: ") + QString::fromLocal8Bit(std::strerror(errno)));
        const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> inflater(libdeflate_alloc_decompressor(),
                                                                                                     libdeflate_free_decompressor);
        size_t actual = 0;
        const libdeflate_result result =
            inflater ? libdeflate_deflate_decompress(inflater.get(), stored.data(), stored.size(), out, m.size, &actual) : LIBDEFLATE_BAD_DATA;
        const quint32 crc = result == LIBDEFLATE_SUCCESS ? libdeflate_crc32(0, out, actual) : 0;
        ::munmap(out, m.size);
        if (result == LIBDEFLATE_INSUFFICIENT_SPACE) return damaged(QStringLiteral("inflates past the %1 bytes it claims").arg(m.size));
        if (result != LIBDEFLATE_SUCCESS) return damaged(QStringLiteral("is not a valid deflate stream"));
        if (actual != m.size) return damaged(QStringLiteral("does not inflate to the %1 bytes it claims (%2 came out)").arg(m.size).arg(actual));
        if (crc != m.crc) return damaged(QStringLiteral("fails its CRC check"));
        return true;
    }

    // Inflates a member into `fd` through `handle` (whose user holds it alone), held to the size it
    // claims and to its check; false with why.
    static bool inflateInto(zip* handle, const ZipVolume::Member& m, int fd, QString* why) {
        if (m.method == ZIP_CM_DEFLATE && !m.encrypted && m.size <= TakenOutFiles::kInMemory) return inflateWhole(handle, m, fd, why);
        const quint64 index = m.index, size = m.size;
        const QString& name = m.name;
        zip_file_t* file = zip_fopen_index(handle, index, 0);
        if (!file) {
            *why = QStringLiteral("its member %1 cannot be read: %2").arg(name, zipWhy(zip_get_error(handle)));
            return false;
        }
        std::vector<char> buffer(1 << 20);
        quint64 total = 0;
        bool failed = false;
        for (;;) {
            const zip_int64_t got = zip_fread(file, buffer.data(), buffer.size());
            if (got < 0) {
                failed = true;
                break;
            }
            if (got == 0) break;
            total += static_cast<quint64>(got);
            // The member's header can lie about its size: the inflated bytes are held to it too.
            if (total > size || !writeWhole(fd, buffer.data(), static_cast<size_t>(got))) {
                failed = true;
                break;
            }
        }
        const QString reason = failed ? zipWhy(zip_file_get_error(file)) : QString();
        zip_fclose(file);
        if (failed || total != size) {
            *why = QStringLiteral("its member %1 does not inflate to the %2 bytes it claims (%3)")
                       .arg(name)
                       .arg(size)
                       .arg(reason.isEmpty() || reason == QLatin1String("No error") ? QStringLiteral("%1 bytes came out").arg(total) : reason);
            return false;
        }
        return true;
    }

    // A small member at the collection's top (uploads.json), whole; empty when absent, large or damaged.
    QByteArray small(const QString& name, qint64 most) {
        for (const Listed& l : listed) {
            if (l.parts.size() != 1 || l.parts[0].compare(name, Qt::CaseInsensitive) != 0 || l.size > static_cast<quint64>(most)) continue;
            if (l.stored == 0 || l.size / l.stored > ZipVolume::kMostRatio) return {};
            const auto file = open(l, name, nullptr);
            return file ? file->readAll() : QByteArray();
        }
        return {};
    }

    explicit ZipArchive(const QString& temp) : copies(temp) {}

    // The member taken out (once a run) and opened; nullptr with the reason noted under `what`.
    // A member the read-ahead is taking out is waited for, not taken out twice.
    std::unique_ptr<QIODevice> open(const ZipVolume::Member& m, const QString& what, Findings* findings) {
        {
            std::unique_lock lock(busyMutex);
            ForkGate::waitParked(lock, busyDone, [&] { return !busy.count(m.index); });
            busy.insert(m.index);
        }
        auto file = copies.open(what, findings, true, false, m.index, m.size, [&](int fd, QString* why) {
            const std::lock_guard lock(mutex);
            return inflateInto(handle, m, fd, why);
        });
        {
            const std::lock_guard lock(busyMutex);
            busy.erase(m.index);
        }
        busyDone.notify_all();
        return file;
    }

    // Takes the volume's large members out ahead of need, largest first, on a core of its own and
    // through a handle of its own, while the readers parse what they already have: a collection's
    // large files are the databases, logs and tables its readers read. What fails here is taken
    // out again, and said, when a reader opens it.
    void readAhead(const CollectedVolume& volume) {
        if (std::thread::hardware_concurrency() < 2) return;
        std::vector<const Listed*> large;
        for (const Listed& l : listed) {
            if (l.size < kAheadFrom || l.size > kAheadMost || l.size / std::max<quint64>(l.stored, 1) > ZipVolume::kMostRatio) continue;
            const bool inVolume = std::any_of(volume.prefixes.begin(), volume.prefixes.end(), [&](const QString& prefix) {
                return prefix.isEmpty() || l.name.startsWith(prefix + QLatin1Char('/'));
            });
            if (inVolume) large.push_back(&l);
        }
        std::stable_sort(large.begin(), large.end(), [](const Listed* a, const Listed* b) { return a->size > b->size; });
        quint64 total = 0;
        std::vector<const Listed*> chosen;
        for (const Listed* l : large) {
            if (total + l->size > kAheadBudget) continue;
            total += l->size;
            chosen.push_back(l);
        }
        if (chosen.empty()) return;
        int code = 0;
        zip* own = zip_open(toFileNameBytes(path).constData(), ZIP_RDONLY, &code);
        if (!own) return;
        ForkGate::instance().expectMember();
        ahead = std::thread([this, own, chosen = std::move(chosen)] {
            const ForkGate::Member member(ForkGate::expected);
            for (const Listed* l : chosen) {
                ForkGate::instance().safePoint();
                if (stopping) break;
                {
                    const std::lock_guard lock(busyMutex);
                    if (busy.count(l->index) || !copies.heldPath(l->index).isEmpty()) continue;
                    busy.insert(l->index);
                }
                copies.open(l->name, nullptr, true, false, l->index, l->size, [&](int fd, QString* why) { return inflateInto(own, *l, fd, why); });
                {
                    const std::lock_guard lock(busyMutex);
                    busy.erase(l->index);
                }
                busyDone.notify_all();
            }
            zip_discard(own);
        });
    }
    static constexpr quint64 kAheadFrom = quint64{1} << 20;     // smaller ones are quick to take when asked for
    static constexpr quint64 kAheadMost = quint64{256} << 20;   // a larger one would hold up the program's end
    static constexpr quint64 kAheadBudget = quint64{512} << 20;  // memory the read-ahead may fill
    QString path;
    zip* handle = nullptr;
    std::mutex mutex;
    std::vector<Listed> listed;
    CollectionLayout layout;
    QStringList refused;
    qint64 refusedCount = 0;
    TakenOutFiles copies;  // by member index
    std::mutex busyMutex;
    std::condition_variable busyDone;
    std::set<quint64> busy;  // members being taken out, by either thread
    std::thread ahead;
    std::atomic<bool> stopping{false};
};

QString ZipVolume::key(const QString& windowsPath) {
    QString k = windowsPath.toLower();
    k.replace(QLatin1Char('/'), QLatin1Char('\\'));
    while (k.endsWith(QLatin1Char('\\'))) k.chop(1);
    if (k.isEmpty() || k == QLatin1String("c:")) return QStringLiteral("c:");
    return k;
}

std::shared_ptr<ZipVolume> ZipVolume::open(const QString& path, const QString& tempFolder, QString* why) {
    int code = 0;
    zip* handle = zip_open(toFileNameBytes(path).constData(), ZIP_RDONLY, &code);
    if (!handle) {
        zip_error_t error;
        zip_error_init_with_code(&error, code);
        *why = QStringLiteral("%1 cannot be read as a ZIP: %2").arg(path, zipWhy(&error));
        zip_error_fini(&error);
        return nullptr;
    }
    auto archive = std::make_shared<ZipArchive>(tempFolder);
    archive->handle = handle;
    archive->path = path;
        const qint64 archiveSize = QFileInfo(path).size();
    const auto refuse = [&](const QString& reason) {
        if (archive->refused.size() < kRefusedKept) archive->refused << reason;
        ++archive->refusedCount;
    };
    const zip_int64_t count = zip_get_num_entries(handle, 0);
    for (zip_int64_t i = 0; i < count; ++i) {
        zip_stat_t st;
        zip_stat_init(&st);
        // ZIP_FL_ENC_GUESS: UTF-8 where the entry says so or its bytes are, CP437 otherwise.
        if (zip_stat_index(handle, static_cast<zip_uint64_t>(i), ZIP_FL_ENC_GUESS, &st) != 0 || !(st.valid & ZIP_STAT_NAME)) {
            refuse(QStringLiteral("entry %1: %2").arg(i).arg(zipWhy(zip_get_error(handle))));
            continue;
        }
        QString name = QString::fromUtf8(st.name);
        if (name.endsWith(QLatin1Char('/'))) continue;  // a folder's own entry
        // Collectors on Windows have written "\" between the parts.
        name.replace(QLatin1Char('\\'), QLatin1Char('/'));
        const QStringList parts = name.split(QLatin1Char('/'), Qt::SkipEmptyParts);
        if (name.startsWith(QLatin1Char('/')) || parts.contains(QStringLiteral("..")) || parts.contains(QStringLiteral(".")) || parts.isEmpty()) {
            refuse(QStringLiteral("%1: its name climbs out of the collection").arg(name));
            continue;
        }
        ZipArchive::Listed l;
        l.index = static_cast<quint64>(i);
        l.parts = parts;
        l.crc = (st.valid & ZIP_STAT_CRC) ? st.crc : 0;
        l.method = (st.valid & ZIP_STAT_COMP_METHOD) ? st.comp_method : ZIP_CM_STORE;
        l.encrypted = (st.valid & ZIP_STAT_ENCRYPTION_METHOD) && st.encryption_method != ZIP_EM_NONE;
        l.size = (st.valid & ZIP_STAT_SIZE) ? st.size : 0;
        l.stored = (st.valid & ZIP_STAT_COMP_SIZE) ? st.comp_size : 0;
        if (l.stored > static_cast<quint64>(archiveSize)) {
            refuse(QStringLiteral("%1: it claims %2 stored bytes, more than the archive's %3").arg(name).arg(l.stored).arg(archiveSize));
            continue;
        }
        l.times = extraTimes(handle, l.index);
        l.name = name;
        archive->listed.push_back(std::move(l));
    }
    std::vector<QStringList> files;
    files.reserve(archive->listed.size());
    for (const auto& l : archive->listed) files.push_back(l.parts);
    const auto layout = recogniseCollection(files);
    if (!layout) {
        *why = QStringLiteral("%1 holds no Windows volume: no member lies under Windows, Users or ProgramData").arg(path);
        return nullptr;
    }
    archive->layout = *layout;
    archive->readAhead(layout->volumes.front());
    return std::shared_ptr<ZipVolume>(new ZipVolume(archive, 0));
}

ZipVolume::ZipVolume(std::shared_ptr<ZipArchive> archive, size_t volume) : archive_(std::move(archive)), volume_(volume) {
    std::vector<QStringList> prefixes;
    for (const QString& p : collected().prefixes) prefixes.push_back(p.isEmpty() ? QStringList() : p.split(QLatin1Char('/')));
    std::map<QString, std::set<QString>> seen;  // folder key -> names listed, lower-cased
    for (const ZipArchive::Listed& l : archive_->listed) {
        const auto prefix = std::find_if(prefixes.begin(), prefixes.end(), [&](const QStringList& p) {
            return l.parts.size() > p.size() && std::equal(p.begin(), p.end(), l.parts.begin());
        });
        if (prefix == prefixes.end()) continue;
        QString windows = QStringLiteral("C:");
        QString folderKey = QStringLiteral("c:");
        for (qsizetype j = prefix->size(); j < l.parts.size(); ++j) {
            const QString part = decodedPart(l.parts[j]);
            const bool last = j == l.parts.size() - 1;
            if (seen[folderKey].insert(part.toLower()).second) folders_[folderKey].push_back({part, last ? 0x20u : 0x10u});
            windows += QLatin1Char('\\') + part;
            folderKey = key(windows);
            if (!last) folders_[folderKey];  // a folder, even one only named on the way
        }
        // One file through two accessors (Velociraptor's auto and ntfs): the first is kept.
        files_.emplace(key(windows), static_cast<const Member&>(l));
    }
    // NTFS keeps a folder's index sorted by upper-cased name, and that is the order Windows lists
    // entries in; the archive's own order is the collector's.
    for (auto& [folder, entries] : folders_) {
        std::stable_sort(entries.begin(), entries.end(), [](const DirEntry& a, const DirEntry& b) { return a.name.toUpper() < b.name.toUpper(); });
    }
}

ZipVolume::~ZipVolume() = default;

std::shared_ptr<ZipVolume> ZipVolume::sibling(size_t i) const {
    if (i >= archive_->layout.volumes.size()) return nullptr;
    return std::shared_ptr<ZipVolume>(new ZipVolume(archive_, i));
}

const CollectionLayout& ZipVolume::layout() const { return archive_->layout; }
const CollectedVolume& ZipVolume::collected() const { return archive_->layout.volumes[volume_]; }
const QStringList& ZipVolume::refusedMembers() const { return archive_->refused; }
qint64 ZipVolume::refusedCount() const { return archive_->refusedCount; }

QString ZipVolume::description() const {
    const CollectedVolume& v = collected();
    return QStringLiteral("%1 (%2, volume %3%4)")
        .arg(archive_->path, collectionKindName(layout().kind), v.name,
             v.prefixes.size() == 1 && v.prefixes[0].isEmpty() ? QString() : QStringLiteral(" under ") + v.prefixes.join(QStringLiteral(", ")));
}

std::vector<std::pair<QString, QString>> ZipVolume::metadata() const {
    std::vector<std::pair<QString, QString>> said;
    if (layout().kind != CollectionKind::Velociraptor) return said;
    said.emplace_back(QStringLiteral("collected by"), QStringLiteral("Velociraptor"));
    // client_info.json: the host the collector ran on; collection_context.json: when.
    const QJsonObject client = QJsonDocument::fromJson(archive_->small(QStringLiteral("client_info.json"), 1 << 20)).object();
    for (const char* name : {"Hostname", "hostname", "Fqdn"}) {
        const QString host = client.value(QLatin1String(name)).toString();
        if (!host.isEmpty()) {
            said.emplace_back(QStringLiteral("collected from"), host);
            break;
        }
    }
    const QJsonObject context = QJsonDocument::fromJson(archive_->small(QStringLiteral("collection_context.json"), 1 << 20)).object();
    const double created = context.value(QStringLiteral("create_time")).toDouble();
    if (created > 0) {
        // Velociraptor counts microseconds; older collectors seconds.
        const qint64 ms = created > 1e14 ? static_cast<qint64>(created / 1000) : created > 1e11 ? static_cast<qint64>(created) : static_cast<qint64>(created * 1000);
        said.emplace_back(QStringLiteral("collected at"), QDateTime::fromMSecsSinceEpoch(ms, QTimeZone::utc()).toString(Qt::ISODate));
    }
    // uploads.json: a JSON array, or one object a line, each naming a file collected.
    const QByteArray uploads = archive_->small(QStringLiteral("uploads.json"), 256 << 20);
    if (!uploads.isEmpty()) {
        qint64 named = 0;
        const QJsonDocument whole = QJsonDocument::fromJson(uploads);
        if (whole.isArray()) {
            named = whole.array().size();
        } else {
            for (const QByteArray& line : uploads.split('\n')) named += line.trimmed().startsWith('{') ? 1 : 0;
        }
        said.emplace_back(QStringLiteral("files listed in uploads.json"), QString::number(named));
    }
    return said;
}

const ZipVolume::Member* ZipVolume::member(const QString& windowsPath) const {
    const auto found = files_.find(key(windowsPath));
    return found == files_.end() ? nullptr : &found->second;
}

bool ZipVolume::exists(const QString& windowsPath) const {
    const QString k = key(windowsPath);
    return files_.count(k) || folders_.count(k);
}

std::unique_ptr<QIODevice> ZipVolume::openFile(const QString& windowsPath, const QString& label, Findings* findings) const {
    const QString what = label + QLatin1Char(' ') + windowsPath;
    const Member* m = member(windowsPath);
    if (!m) {
        const bool folder = folders_.count(key(windowsPath)) > 0;
        if (findings) findings->note(folder ? FindingKind::Unreadable : FindingKind::Absent, what, folder ? QStringLiteral("not a regular file") : QString());
        return nullptr;
    }
    // A member that would inflate far past what it stores is refused before a byte is inflated.
    if (m->size > kMostMember || (m->size > kSmallest && (m->stored == 0 || m->size / m->stored > kMostRatio))) {
        if (findings) {
            findings->note(FindingKind::Damaged, what,
                           QStringLiteral("refused: its member %1 claims %2 bytes from %3 stored (a ZIP bomb)").arg(m->name).arg(m->size).arg(m->stored));
        }
        return nullptr;
    }
    return archive_->open(*m, what, findings);
}

std::vector<DirEntry> ZipVolume::list(const QString& windowsFolder, Findings* findings) const {
    const auto found = folders_.find(key(windowsFolder));
    if (found == folders_.end()) {
        if (findings) findings->note(FindingKind::Absent, QStringLiteral("folder ") + windowsFolder);
        return {};
    }
    return found->second;
}

std::optional<QString> ZipVolume::localPath(const QString& windowsPath) const {
    const Member* m = member(windowsPath);
    // Refused members are not taken out for the desktop either.
    if (!m || !openFile(windowsPath, QStringLiteral("file"), nullptr)) return std::nullopt;
    return archive_->copies.named(windowsPath, [&](int fd) {
        QString why;
        const std::lock_guard lock(archive_->mutex);
        return ZipArchive::inflateInto(archive_->handle, *m, fd, &why);
    });
}

std::optional<PlainFile> ZipVolume::plainFile(const QString& windowsPath) const {
    const Member* m = member(windowsPath);
    if (!m || !openFile(windowsPath, QStringLiteral("file"), nullptr)) return std::nullopt;
    const QString held = archive_->copies.heldPath(m->index);
    if (held.isEmpty()) return std::nullopt;
    PlainFile plain{held, m->size, {}};
    if (m->size > 0) plain.runs.emplace_back(0, m->size);
    return plain;
}

std::optional<FileTimes> ZipVolume::fileTimes(const QString& windowsPath) const {
    const Member* m = member(windowsPath);
    if (!m) return std::nullopt;
    return m->times;
}

std::optional<qint64> ZipVolume::fileSize(const QString& windowsPath) const {
    const Member* m = member(windowsPath);
    if (!m) return std::nullopt;
    return static_cast<qint64>(m->size);
}

}  // namespace kestrova
