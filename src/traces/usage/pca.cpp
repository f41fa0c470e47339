// windows.pca: the Program Compatibility Assistant's text logs of Windows 11 (22H2 and later),
// C:\Windows\appcompat\pca. Each line is one record, its fields separated by "|"; the times are UTC
// ("2022-11-15 00:02:08.476"). Windows writes them as UTF-16LE, some copies are ASCII.
//   PcaAppLaunchDic.txt               path|last launch
//   PcaGeneralDb0.txt, PcaGeneralDb1.txt
//                                     time|entry type|path|product|publisher|version|program id|
//                                     message (such as "Abnormal process exit with code 0x1")
// (Andrew Rathbun's and plaso's notes on the format; checked on plaso's samples.)
#include <QTimeZone>

#include "core/common/text.h"
#include "core/time/iso_time.h"
#include "traces/usage/usage_fields.h"
#include "traces/usage/usage_sources.h"

namespace kestrova {
namespace {

namespace pf = usagefields::pca;

constexpr const char* kFolder = "C:\\Windows\\appcompat\\pca\\";

std::optional<UtcMicros> pcaTime(const QString& text) {
    QString iso = text.trimmed();
    if (iso.size() > 10 && iso[10] == QLatin1Char(' ')) iso[10] = QLatin1Char('T');
    return parseIsoTime(iso, QTimeZone::utc());
}

// Reads one log; `general`: the general database's eight fields, else the launch dictionary's two.
void readLog(TraceContext& context, TraceSink& sink, const QString& path, bool general) {
    if (!context.exists(path)) return;
    const auto bytes = context.readSmallFile(path);
    if (!bytes) return;  // noted
    const QString text = decodeTextFile(*bytes);
    qint64 damaged = 0, records = 0;
    QString firstDamage;
    int lineNumber = 0;
    for (QStringView line : QStringView(text).split(QLatin1Char('\n'))) {
        ++lineNumber;
        if (line.endsWith(QLatin1Char('\r'))) line.chop(1);
        if (line.trimmed().isEmpty()) continue;
        const QList<QStringView> parts = line.split(QLatin1Char('|'));
        OwnedRecord<pf::Count> r;
        std::optional<UtcMicros> when;
        if (general) {
            when = parts.size() >= 3 ? pcaTime(parts[0].toString()) : std::nullopt;
            if (when) {
                r.text(pf::Event, QStringLiteral("type ") + parts[1].toString());
                r.text(pf::Path, parts[2].toString());
                const int fields[] = {pf::Product, pf::Publisher, pf::Version, pf::ProgramId, pf::Detail};
                for (int i = 0; i < 5 && 3 + i < parts.size(); ++i) r.text(fields[i], parts[3 + i].toString());
            }
        } else {
            when = parts.size() == 2 ? pcaTime(parts[1].toString()) : std::nullopt;
            if (when) {
                r.text(pf::Path, parts[0].toString());
                r.text(pf::Event, QStringLiteral("launched"));
            }
        }
        if (!when) {
            if (damaged++ == 0) firstDamage = QStringLiteral("line %1: \"%2\"").arg(lineNumber).arg(line.left(120));
            continue;
        }
        r.time(pf::Time, when);
        ++records;
        if (!context.deliver(sink, Provenance{{}, {}, {}, path.toUtf8(), QStringLiteral("line %1").arg(lineNumber).toUtf8()}, r.values())) return;
    }
    if (damaged > 0) {
        context.note(FindingKind::Damaged, QStringLiteral("PCA log ") + path,
                     QStringLiteral("%1 lines are not records of its form and were passed over (the first: %2)").arg(damaged).arg(firstDamage));
    }
    if (records == 0 && damaged == 0) context.note(FindingKind::Empty, QStringLiteral("PCA log ") + path, QStringLiteral("it holds no line"));
}

}  // namespace

void windowsPca(TraceContext& context, TraceSink& sink) {
    readLog(context, sink, QLatin1String(kFolder) + QStringLiteral("PcaAppLaunchDic.txt"), false);
    for (const char* name : {"PcaGeneralDb0.txt", "PcaGeneralDb1.txt"}) {
        if (context.stopped()) return;
        readLog(context, sink, QLatin1String(kFolder) + QLatin1String(name), true);
    }
}

}  // namespace kestrova
