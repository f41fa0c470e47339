#include "cli/kind_reading.h"

#include <cstdio>

#include "core/common/text.h"

namespace kestrova::cli {
namespace {

void sayFindings(const Findings& findings, const char* prefix) {
    for (const Finding& finding : findings.all()) std::fprintf(stderr, "  %s%s\n", prefix, qPrintable(showEscapedBytes(finding.text())));
}

}  // namespace

KindReading::KindReading(Environment& env, const QString& user, bool verbose)
    : env_(env), verbose_(verbose), context_(*env.system, env.privateTemp.path()) {
    context_.replayLogs = env.replayLogs;
    context_.narrowToUser(user);
}

bool KindReading::chooseStates(const QString& snapshots, QString* why) {
    if (snapshots.isEmpty() || snapshots == QLatin1String("none")) return true;
    if (!env_.image) {
        *why = QStringLiteral("--snapshots reads the shadow copies of a disk image's volume: name the image with --image");
        return false;
    }
    const auto stores = chosenStores(snapshots, env_.image->summary().stores, why);
    if (!stores) return false;
    if (!env_.image->summary().storesProblem.isEmpty()) {
        std::fprintf(stderr, "kestrova-cli: shadow copies: %s\n", qPrintable(env_.image->summary().storesProblem));
    }
    if (stores->empty()) return true;
    QStringList problems;
    states_ = openVolumeStates(*env_.image, env_.source.image, *stores, env_.privateTemp.path(), env_.replayLogs, &problems);
    for (const QString& problem : problems) std::fprintf(stderr, "kestrova-cli: %s\n", qPrintable(problem));
    if (states_.empty()) {
        *why = QStringLiteral("the volume cannot be read again beside its shadow copies");
        return false;
    }
    readings_ = startStateReadings(states_, env_.privateTemp.path(), context_.onlyUser(), env_.replayLogs);
    return true;
}

bool KindReading::read(const TraceKind& kind, TraceSink& sink, const char* stderrBreak) {
    if (readings_.empty()) {
        env_.system->findings().clear();
        const qint64 records = runTraceKind(kind, context_, sink);
        if (verbose_) {
            std::fprintf(stderr, "%s%s: %lld records\n", stderrBreak, kind.name, static_cast<long long>(records));
            sayFindings(env_.system->findings(), "");
            if (records == 0 && env_.system->findings().all().empty()) {
                std::fprintf(stderr, "  nothing found: %s\n", qPrintable(showEscapedBytes(context_.emptyReason())));
            }
        }
        return !context_.stopped();
    }
    for (const StateReading& reading : readings_) reading.state->system->findings().clear();
    QString why;
    qint64 written = 0;
    const bool goOn = runTraceKindOverStates(kind, readings_, sink, env_.privateTemp.path(), &written, &why);
    if (verbose_) {
        std::fprintf(stderr, "%s%s: %lld records\n", stderrBreak, kind.name, static_cast<long long>(written));
        for (const StateReading& reading : readings_) {
            const QByteArray prefix = reading.state->name + ": ";
            if (reading.skipped) {
                std::fprintf(stderr, "  %severy file it reads is as in the current volume: not read again\n", prefix.constData());
                continue;
            }
            std::fprintf(stderr, "  %s%lld records read\n", prefix.constData(), static_cast<long long>(reading.records));
            sayFindings(reading.state->system->findings(), prefix.constData());
            if (reading.records == 0 && reading.state->system->findings().all().empty()) {
                std::fprintf(stderr, "  %snothing found: %s\n", prefix.constData(), qPrintable(showEscapedBytes(reading.context->emptyReason())));
            }
        }
    }
    if (!why.isEmpty()) std::fprintf(stderr, "kestrova-cli: %s: %s\n", kind.name, qPrintable(why));
    return goOn;
}

}  // namespace kestrova::cli
