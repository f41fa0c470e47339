#include "core/readers/ie/index_dat.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>
#include <cstring>
#include <limits>
#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "core/common/text.h"
#include "core/frame/collector.h"

namespace kestrova {
namespace {

// The distances of the scan, counted from the hit. A cache index record starts "URL " and keeps
// its location 0x68 bytes in; older records kept it at 0x60. The record's own offset field is
// never read: the two fixed distances are the scan's whole knowledge of the format.
constexpr qint64 kProbe = 7;    // bytes read at every position
constexpr qint64 kNear = 96;    // 0x60
constexpr qint64 kFar = 104;    // 0x68
constexpr qint64 kField = 150;  // bytes of the location taken
constexpr qint64 kLookahead = kFar + kField;
constexpr qint64 kBlock = qint64{4} << 20;

// The first "URL" starting in data[0 .. last], or -1; data must hold last + 3 bytes. Three
// shifted vector compares per step: a plain memmem with a three-byte needle is several times
// slower than reading the file. AVX2 where the processor has it, else SSE2 (every x86-64 has
// that), else memmem.
qint64 findUrlTail(const char* data, qint64 from, qint64 last) {
    const void* hit = ::memmem(data + from, static_cast<size_t>(last - from + 3), "URL", 3);
    return hit ? static_cast<const char*>(hit) - data : -1;
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) qint64 findUrlAvx2(const char* data, qint64 last) {
    const __m256i u = _mm256_set1_epi8('U'), r = _mm256_set1_epi8('R'), l = _mm256_set1_epi8('L');
    qint64 i = 0;
    for (; i + 31 <= last; i += 32) {
        const auto* at = reinterpret_cast<const __m256i*>(data + i);
        const auto* next = reinterpret_cast<const __m256i*>(data + i + 1);
        const auto* third = reinterpret_cast<const __m256i*>(data + i + 2);
        const __m256i hit = _mm256_and_si256(
            _mm256_and_si256(_mm256_cmpeq_epi8(_mm256_loadu_si256(at), u), _mm256_cmpeq_epi8(_mm256_loadu_si256(next), r)),
            _mm256_cmpeq_epi8(_mm256_loadu_si256(third), l));
        if (const auto mask = static_cast<unsigned>(_mm256_movemask_epi8(hit))) return i + __builtin_ctz(mask);
    }
    return findUrlTail(data, i, last);
}

qint64 findUrlSse2(const char* data, qint64 last) {
    const __m128i u = _mm_set1_epi8('U'), r = _mm_set1_epi8('R'), l = _mm_set1_epi8('L');
    qint64 i = 0;
    for (; i + 15 <= last; i += 16) {
        const auto load = [&](qint64 at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + at)); };
        const __m128i hit = _mm_and_si128(_mm_and_si128(_mm_cmpeq_epi8(load(i), u), _mm_cmpeq_epi8(load(i + 1), r)),
                                          _mm_cmpeq_epi8(load(i + 2), l));
        if (const auto mask = static_cast<unsigned>(_mm_movemask_epi8(hit))) return i + __builtin_ctz(mask);
    }
    return findUrlTail(data, i, last);
}

qint64 findUrl(const char* data, qint64 last) {
    static const bool avx2 = __builtin_cpu_supports("avx2");
    return avx2 ? findUrlAvx2(data, last) : findUrlSse2(data, last);
}
#else
qint64 findUrl(const char* data, qint64 last) { return findUrlTail(data, 0, last); }
#endif

bool readFully(QIODevice& file, qint64 at, char* into, qint64 length) {
    if (!file.seek(at)) return false;
    qint64 done = 0;
    while (done < length) {
        const qint64 got = file.read(into + done, length - done);
        if (got <= 0) return false;
        done += got;
    }
    return true;
}

// A file at a Windows path of the volume, or a local file named by an absolute path.
std::unique_ptr<QIODevice> openForScan(const SourceContext& src, const QString& path) {
    const QString label = QStringLiteral("index.dat file");
    if (path.startsWith(QLatin1Char('/'))) return src.os.desktop().openLocalFile(path, src.findings);
    return src.os.system().openFile(path, label);
}

}  // namespace

namespace {

// Reads the file's windows (a block and the lookahead behind it) on a thread of its own, a few
// ahead of the scan, so the file is read while the reader's thread scans and adds rows. Only
// this thread touches the file while it runs; the rows stay on the reader's thread.
class BlockReader {
public:
    struct Window {
        qint64 base = 0;
        qint64 held = 0;
        QByteArray bytes;
        bool ok = true;
    };

    BlockReader(QIODevice& file, qint64 lastProbe) : file_(file), lastProbe_(lastProbe), size_(file.size()) {
        thread_ = std::thread([this] { run(); });
    }
    ~BlockReader() {
        {
            const std::lock_guard lock(mutex_);
            stopped_ = true;
        }
        changed_.notify_all();
        thread_.join();
    }
    // Hands a window's buffer back for the next read: a few buffers serve the whole file.
    void recycle(QByteArray&& bytes) {
        const std::lock_guard lock(mutex_);
        free_.push_back(std::move(bytes));
    }
    // The next window in file order; nullopt after the last one.
    std::optional<Window> next() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return !ready_.empty() || done_; });
        if (ready_.empty()) return std::nullopt;
        Window window = std::move(ready_.front());
        ready_.pop_front();
        changed_.notify_all();
        return window;
    }

private:
    static constexpr size_t kAhead = 2;

    void run() {
        for (qint64 base = 0; base <= lastProbe_; base += kBlock) {
            {
                std::unique_lock lock(mutex_);
                changed_.wait(lock, [this] { return ready_.size() < kAhead || stopped_; });
                if (stopped_) break;
            }
            Window window;
            window.base = base;
            window.held = std::min(kBlock + kLookahead, size_ - base);
            {
                const std::lock_guard lock(mutex_);
                if (!free_.empty()) {
                    window.bytes = std::move(free_.back());
                    free_.pop_back();
                }
            }
            if (window.bytes.size() < window.held) window.bytes = QByteArray(kBlock + kLookahead, Qt::Uninitialized);
            window.ok = readFully(file_, base, window.bytes.data(), window.held);
            const bool ok = window.ok;
            {
                const std::lock_guard lock(mutex_);
                ready_.push_back(std::move(window));
            }
            changed_.notify_all();
            if (!ok) break;
        }
        const std::lock_guard lock(mutex_);
        done_ = true;
        changed_.notify_all();
    }

    QIODevice& file_;
    const qint64 lastProbe_;
    const qint64 size_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Window> ready_;
    std::vector<QByteArray> free_;
    bool stopped_ = false;
    bool done_ = false;
    std::thread thread_;
};

}  // namespace

bool scanForUrls(QIODevice& file, const std::function<bool(QByteArrayView, qint64)>& onHit,
                 const std::function<bool(qint64)>& poll) {
    const qint64 size = file.size();
    const qint64 lastProbe = size - kProbe;  // the last 0-based position whose 7 bytes fit
    if (lastProbe < 0) return true;
    std::array<char, kField> padded{};
    BlockReader reader(file, lastProbe);
    while (std::optional<BlockReader::Window> window = reader.next()) {
        if (!window->ok) return false;
        // The buffer goes back to the reader once this window is scanned, whichever way it ends.
        struct Recycle {
            BlockReader& reader;
            QByteArray& bytes;
            ~Recycle() { reader.recycle(std::move(bytes)); }
        } recycle{reader, window->bytes};
        const qint64 base = window->base;
        const qint64 held = window->held;
        if (!poll(base + 1)) return true;
        const char* data = window->bytes.constData();
        const qint64 last = std::min(kBlock - 1, lastProbe - base);  // relative, inclusive
        for (qint64 from = 0; from <= last;) {
            const qint64 found = findUrl(data + from, last - from);
            if (found < 0) break;
            const qint64 at = from + found;
            // One 150-byte read: what lies past the end of the file reads as zero, and a read
            // that ran past it ends the scan once its row is added.
            bool pastEnd = false;
            const auto field = [&](qint64 distance) -> QByteArrayView {
                const qint64 start = at + distance;
                pastEnd = pastEnd || base + start + kField > size;
                if (start + kField <= held) return QByteArrayView(data + start, kField);
                padded.fill('\0');
                if (start < held) std::memcpy(padded.data(), data + start, static_cast<size_t>(held - start));
                return QByteArrayView(padded.data(), kField);
            };
            QByteArrayView text = field(kNear);
            // No "http" test on the far field: whatever it holds is a row.
            if (!text.startsWith("http")) text = field(kFar);
            if (!onHit(text, base + at + 1) || pastEnd) return true;
            from = at + 1;
        }
    }
    return true;
}

QString indexFieldText(QByteArrayView field) { return QString::fromLatin1(field.data(), field.size()); }

void indexDatRows(const SourceContext& src, RowSink& sink) {
    const QString defaultFile = trimBlanks(src.os.GetShellFolder(QStringLiteral("cache"))).toString() +
                                QStringLiteral("\\Content.IE5\\index.dat");
    const bool window = src.side == Side::List;
    QString path = defaultFile;
    if (window) {
        path = sink.chooseIndexFile(defaultFile);
        if (trimBlanks(path).isEmpty()) {
            // Cancelled: only the column header, and no total.
            sink.leaveCountUnwritten();
            return;
        }
        sink.showStatus(path);
    }
    // A file that cannot be opened never reports its end; it ends the scan at once.
    const std::unique_ptr<QIODevice> file = openForScan(src, path);
    if (!file) return;
    // The progress bar counts byte positions; a file beyond its integer range is shown scaled.
    const qint64 size = file->size();
    const int shift = size > std::numeric_limits<int>::max() ? 12 : 0;
    qint64 rows = 0;
    if (window) sink.showProgress(static_cast<int>(size >> shift));
    const bool complete = scanForUrls(
        *file,
        [&](QByteArrayView field, qint64 position) {
            const bool goOn = sink.addLatin1(field);
            if (window) sink.setProgress(static_cast<int>(position >> shift), "Records: ", ++rows);
            return goOn;
        },
        [&](qint64 position) {
            if (window) sink.setProgress(static_cast<int>(position >> shift), "Records: ", rows);
            return !sink.stopRequested();
        });
    if (!complete) src.note(FindingKind::Unreadable, QStringLiteral("index.dat file ") + path, QStringLiteral("a read failed"));
    sink.closeProgress();
}

QStringList GetIndex(const SourceContext& src) { return collectRows(indexDatRows, src, OnError::EndReader); }

}  // namespace kestrova
