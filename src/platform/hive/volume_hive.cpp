#include "platform/hive/volume_hive.h"

#include "platform/hive/hive_log.h"
#include "platform/volume/regular_file.h"

namespace kestrova {
namespace {

constexpr qint64 kMaxHive = qint64{1} << 30;

std::optional<QByteArray> readWhole(QIODevice& file) {
    if (file.size() > kMaxHive) return std::nullopt;
    file.seek(0);
    QByteArray bytes = file.readAll();
    if (bytes.size() != file.size()) return std::nullopt;
    return bytes;
}

}  // namespace

OpenedHive openVolumeHive(QIODevice& hive, const std::function<std::unique_ptr<QIODevice>(const QString&)>& openLog,
                          bool replayLogs) {
    OpenedHive opened;
    const QByteArray head = hive.peek(4096);
    if (hiveIsDirty(head)) {
        if (!replayLogs) {
            opened.replay = QStringLiteral("dirty, read without its logs (--no-log-replay)");
        } else if (const auto primary = readWhole(hive)) {
            std::vector<HiveLog> logs;
            for (const QString& suffix : {QStringLiteral(".LOG1"), QStringLiteral(".LOG2"), QStringLiteral(".LOG")}) {
                if (auto file = openLog(suffix)) {
                    if (auto bytes = readWhole(*file)) logs.push_back({suffix.mid(1), std::move(*bytes)});
                }
            }
            const HiveReplay replay = replayHive(*primary, logs);
            if (!replay.hive.isEmpty()) {
                opened.file = HiveFile::openBytes(replay.hive, &opened.problem);
                opened.replay = QStringLiteral("dirty, replayed %1 log entries (%2 pages) from %3")
                                    .arg(replay.entries)
                                    .arg(replay.pages)
                                    .arg(replay.used.join(QStringLiteral(", ")));
                if (!replay.why.isEmpty()) opened.replay += QStringLiteral("; stopped: ") + replay.why;
                opened.replayed = opened.file != nullptr;
                if (opened.file) return opened;
            } else {
                opened.replay = QStringLiteral("dirty, not replayed: ") + replay.why;
            }
        }
    }
    // hivex opens a name itself: it is given the file that was opened and checked, so a hive
    // swapped for a pipe meanwhile cannot block it.
    opened.file = HiveFile::open(QString::fromLatin1(descriptorPath(hive)), &opened.problem);
    return opened;
}

}  // namespace kestrova
