#include "cli/kind_reading.h"

#include <cstdio>

#include "core/common/text.h"

namespace kestrova::cli {
namespace {

void addFindings(const Findings& findings, const QByteArray& prefix, QStringList* to) {
    for (const Finding& finding : findings.all()) to->append(QString::fromUtf8(prefix) + showEscapedBytes(finding.text()));
}

}  // namespace

void KindOutcome::add(const KindOutcome& part) {
    if (looked && part.looked) looked->add(*part.looked);
    else if (part.looked) looked = part.looked;
    records += part.records;
    found += part.found;
    states += part.states;
    if (why.isEmpty()) why = part.why;
    goOn = goOn && part.goOn;
}

void KindOutcome::say(const TraceKind& kind, bool verbose, const char* stderrBreak) const {
    if (verbose) {
        std::fprintf(stderr, "%s%s: %lld records\n", stderrBreak, kind.name, static_cast<long long>(records));
        for (const QString& line : found) std::fprintf(stderr, "  %s\n", qPrintable(line));
        if (records == 0 && found.isEmpty() && looked) {
            std::fprintf(stderr, "  nothing found: %s\n", qPrintable(showEscapedBytes(TraceContext::emptyReason(*looked))));
        }
        for (const QString& line : states) std::fprintf(stderr, "  %s\n", qPrintable(line));
    }
    if (!why.isEmpty()) std::fprintf(stderr, "kestrova-cli: %s: %s\n", kind.name, qPrintable(why));
}

bool KindReading::chooseStates(const QString& snapshots, QStringList* said, QString* why) {
    const bool chosen = reading_.chooseStates(snapshots, said, why);
    if (!chosen && !env_.image && !env_.collection) *why = QStringLiteral("--snapshots reads the shadow copies of a disk image's volume: name the image with --image");
    return chosen;
}

size_t KindReading::parts(const TraceKind& kind) {
    if (kind.readIn != ReadIn::BrowserProfiles || reading_.withStates()) return 0;
    if (!browserProfiles_) {
        // Found once, with a context of its own: what finding them notes belongs to the kinds read.
        TraceContext finding(*env_.system, env_.privateTemp.path());
        finding.narrowToUser(reading_.context().onlyUser());
        finding.setNoteHook([](FindingKind, const QString&, const QString&) {});
        browserProfiles_ = finding.browserProfiles().size();
    }
    return *browserProfiles_;
}

KindOutcome KindReading::read(const TraceKind& kind, TraceSink& sink, std::optional<size_t> part) {
    KindOutcome outcome;
    reading_.context().readPart(part);
    outcome.records = reading_.read(kind, sink, &outcome.goOn, &outcome.why);
    reading_.context().readPart(std::nullopt);
    if (!reading_.withStates()) {
        addFindings(env_.system->findings(), {}, &outcome.found);
        outcome.looked = reading_.context().lookedFor();
    }
    for (const StateReading& state : reading_.states()) {
        const QByteArray prefix = state.state->name + ": ";
        if (state.skipped) {
            outcome.states.append(QString::fromUtf8(prefix) + QStringLiteral("every file it reads is as in the current volume: not read again"));
            continue;
        }
        outcome.states.append(QString::fromUtf8(prefix) + QStringLiteral("%1 records read").arg(state.records));
        addFindings(state.state->system->findings(), prefix, &outcome.states);
        if (state.records == 0 && state.state->system->findings().all().empty()) {
            outcome.states.append(QString::fromUtf8(prefix) + QStringLiteral("nothing found: ") + showEscapedBytes(state.context->emptyReason()));
        }
    }
    return outcome;
}

}  // namespace kestrova::cli
