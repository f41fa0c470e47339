#include "cli/kind_reading.h"

#include <cstdio>

#include "core/common/text.h"

namespace kestrova::cli {
namespace {

void sayFindings(const Findings& findings, const char* prefix) {
    for (const Finding& finding : findings.all()) std::fprintf(stderr, "  %s%s\n", prefix, qPrintable(showEscapedBytes(finding.text())));
}

}  // namespace

bool KindReading::chooseStates(const QString& snapshots, QString* why) {
    QStringList said;
    const bool chosen = reading_.chooseStates(snapshots, &said, why);
    for (const QString& line : said) std::fprintf(stderr, "kestrova-cli: %s\n", qPrintable(line));
    if (!chosen && !env_.image && !env_.collection) *why = QStringLiteral("--snapshots reads the shadow copies of a disk image's volume: name the image with --image");
    return chosen;
}

bool KindReading::read(const TraceKind& kind, TraceSink& sink, const char* stderrBreak) {
    bool goOn = true;
    QString why;
    const qint64 written = reading_.read(kind, sink, &goOn, &why);
    if (verbose_) {
        std::fprintf(stderr, "%s%s: %lld records\n", stderrBreak, kind.name, static_cast<long long>(written));
        if (!reading_.withStates()) {
            sayFindings(env_.system->findings(), "");
            if (written == 0 && env_.system->findings().all().empty()) {
                std::fprintf(stderr, "  nothing found: %s\n", qPrintable(showEscapedBytes(reading_.context().emptyReason())));
            }
        }
        for (const StateReading& state : reading_.states()) {
            const QByteArray prefix = state.state->name + ": ";
            if (state.skipped) {
                std::fprintf(stderr, "  %severy file it reads is as in the current volume: not read again\n", prefix.constData());
                continue;
            }
            std::fprintf(stderr, "  %s%lld records read\n", prefix.constData(), static_cast<long long>(state.records));
            sayFindings(state.state->system->findings(), prefix.constData());
            if (state.records == 0 && state.state->system->findings().all().empty()) {
                std::fprintf(stderr, "  %snothing found: %s\n", prefix.constData(), qPrintable(showEscapedBytes(state.context->emptyReason())));
            }
        }
    }
    if (!why.isEmpty()) std::fprintf(stderr, "kestrova-cli: %s: %s\n", kind.name, qPrintable(why));
    return goOn;
}

}  // namespace kestrova::cli
