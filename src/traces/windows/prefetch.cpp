// Windows Prefetch files (Windows\Prefetch\*.pf) through libscca, which reads every format version
// Windows wrote (17: XP, 23: Vista/7, 26: 8, 30: 10, the last compressed with Xpress Huffman):
// the executable, how often it ran and when (one last-run time before Windows 8, eight since),
// the volumes it used and the files it loaded in its first seconds. The .pf file's own creation
// time is close to the first run the file still knows of.
#include <libscca.h>
#include <memory>

#include "traces/contained_source.h"
#include "traces/libyal.h"
#include "traces/windows/evidence_files.h"
#include "traces/windows/windows_fields.h"
#include "traces/windows/windows_sources.h"

namespace kestrova {
namespace {

namespace pf = windowsfields::prefetch;


void readPrefetch(TraceContext& context, TraceSink& sink, const EvidenceFile& f) {
    const MemoryFile memory(f.bytes);
    if (!memory.ok()) return;
    const auto file = openLibyal(memory.name(), libscca_file_initialize, libscca_file_open, libscca_file_close, libscca_file_free,
                                 LIBSCCA_OPEN_READ);
    if (!file) {
        context.note(FindingKind::Damaged, QStringLiteral("prefetch file ") + f.path, QStringLiteral("not a prefetch file libscca reads"));
        return;
    }
    libscca_file_t* raw = file.get();
    OwnedRecord<pf::Count> r;
    r.text(pf::Executable, libyalText(raw, libscca_file_get_utf8_executable_filename_size, libscca_file_get_utf8_executable_filename));
    if (uint32_t runs = 0; libscca_file_get_run_count(raw, &runs, nullptr) == 1) r.integer(pf::RunCount, runs);
    for (int i = 0; i < 8; ++i) {
        uint64_t t = 0;
        if (libscca_file_get_last_run_time(raw, i, &t, nullptr) != 1) break;
        r.time(pf::LastRun + static_cast<size_t>(i), utc::fromFileTime(static_cast<int64_t>(t)));
    }
    if (uint32_t hash = 0; libscca_file_get_prefetch_hash(raw, &hash, nullptr) == 1) {
        r.text(pf::Hash, QStringLiteral("%1").arg(hash, 8, 16, QLatin1Char('0')).toUpper());
    }
    if (uint32_t version = 0; libscca_file_get_format_version(raw, &version, nullptr) == 1) r.integer(pf::FormatVersion, version);
    int volumes = 0;
    libscca_file_get_number_of_volumes(raw, &volumes, nullptr);
    QStringList volumeTexts;
    for (int i = 0; i < volumes && i < 64; ++i) {
        libscca_volume_information_t* volume = nullptr;
        if (libscca_file_get_volume_information(raw, i, &volume, nullptr) != 1) continue;
        const QString device = libyalText(volume, libscca_volume_information_get_utf8_device_path_size,
                                        libscca_volume_information_get_utf8_device_path);
        uint32_t serial = 0;
        libscca_volume_information_get_serial_number(volume, &serial, nullptr);
        volumeTexts << QStringLiteral("%1 (serial %2)").arg(device, QStringLiteral("%1").arg(serial, 8, 16, QLatin1Char('0')).toUpper());
        if (uint64_t created = 0; i == 0 && libscca_volume_information_get_creation_time(volume, &created, nullptr) == 1) {
            r.time(pf::VolumeCreated, utc::fromFileTime(static_cast<int64_t>(created)));
        }
        libscca_volume_information_free(&volume, nullptr);
    }
    r.text(pf::Volumes, volumeTexts.join(QStringLiteral("; ")));
    int names = 0;
    libscca_file_get_number_of_filenames(raw, &names, nullptr);
    QStringList loaded;
    for (int i = 0; i < names && i < 65536; ++i) {
        size_t size = 0;
        if (libscca_file_get_utf8_filename_size(raw, i, &size, nullptr) != 1 || size == 0 || size > 65536) continue;
        QByteArray buffer(static_cast<qsizetype>(size), '\0');
        if (libscca_file_get_utf8_filename(raw, i, reinterpret_cast<uint8_t*>(buffer.data()), size, nullptr) == 1) {
            loaded << QString::fromUtf8(buffer.constData());
        }
    }
    r.integer(pf::FileCount, names);
    r.text(pf::Files, loaded.join(QStringLiteral("; ")));
    if (f.times) {
        r.time(pf::PfCreated, utc::fromFileTime(f.times->created));
        r.time(pf::PfModified, utc::fromFileTime(f.times->modified));
    }
    context.deliver(sink, Provenance{{}, {}, {}, f.path.toUtf8(), {}}, r.values());
}

}  // namespace

void windowsPrefetch(TraceContext& context, TraceSink& sink) {
    const std::vector<EvidenceFile> files =
        readFolderFiles(context, QStringLiteral("C:\\Windows\\Prefetch"), QStringLiteral(".pf"), nullptr);
    if (files.empty()) return;
    runContainedSource(context, sink, QStringLiteral("prefetch files"), [&](TraceContext& c, TraceSink& s) {
        for (const EvidenceFile& f : files) {
            if (c.stopped()) return;
            readPrefetch(c, s, f);
        }
    });
}

}  // namespace kestrova
