#include "cli/trace_commands.h"

#include <QDir>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <tuple>
#include <unistd.h>

#include "cli/kind_reading.h"
#include "cli/output.h"
#include "cli/summary_output.h"
#include "cli/timeline_output.h"
#include "cli/trace_output.h"
#include "cli/usage.h"
#include "core/common/text.h"
#include "traces/record_tags.h"
#include "traces/timeline.h"

namespace kestrova::cli {
namespace {

// The kinds named on the command line, all when none is; nullopt after saying which is unknown.
std::optional<std::vector<const TraceKind*>> chosenKinds(const QStringList& names) {
    std::vector<const TraceKind*> kinds;
    for (const QString& name : names) {
        const TraceKind* kind = findTraceKind(name.toStdString());
        if (!kind) {
            QStringList known;
            for (const TraceKind& k : traceKinds()) known.append(QLatin1String(k.name));
            usageError(QStringLiteral("unknown trace kind \"%1\"; the kinds are: %2").arg(name, known.join(' ')));
            return std::nullopt;
        }
        kinds.push_back(kind);
    }
    if (kinds.empty()) {
        for (const TraceKind& kind : traceKinds()) kinds.push_back(&kind);
    }
    return kinds;
}

// A host's reading: its states, its case file's tags, and the host its records carry where a
// case holds several.
class HostReading {
public:
    HostReading(Host& host, const TraceRun& run, bool named) : host_(host), reading_(*host.env, run.user, run.verbose), named_(named), verbose_(run.verbose) {}
    // False after saying why (the exit status in *status).
    bool prepare(const TraceRun& run, int* status) {
        QString why;
        if (!reading_.chooseStates(run.snapshots, &why)) {
            *status = usageError(named_ ? host_.name + QStringLiteral(": ") + why : why);
            return false;
        }
        if (run.tags && !(tags_ = openCaseFile(*host_.env))) {
            *status = 1;
            return false;
        }
        return true;
    }
    bool withStates() const { return reading_.withStates(); }
    // stamped: the target keeps the host itself (the timeline's keys), records need not carry it.
    bool read(const TraceKind& kind, TraceSink& target, const char* stderrBreak = "", bool stamped = false) {
        if (verbose_ && named_) std::fprintf(stderr, "%shost %s:\n", stderrBreak, qPrintable(showEscapedBytes(host_.name)));
        TraceSink* sink = &target;
        std::optional<HostSink> host;
        if (named_ && !stamped) sink = &host.emplace(*sink, host_.name.toUtf8());
        std::optional<TaggingSink> tagging;
        if (tags_) sink = &tagging.emplace(*sink, *tags_);
        return reading_.read(kind, *sink, verbose_ && named_ ? "" : stderrBreak);
    }
    const Host& host() const { return host_; }

private:
    Host& host_;
    cli::KindReading reading_;
    std::unique_ptr<CaseFile> tags_;
    bool named_, verbose_;
};

// Every host's reading prepared; nullopt with the exit status when one cannot be.
std::optional<std::vector<std::unique_ptr<HostReading>>> prepared(std::vector<Host>& hosts, const TraceRun& run, int* status) {
    std::vector<std::unique_ptr<HostReading>> readings;
    for (Host& host : hosts) {
        readings.push_back(std::make_unique<HostReading>(host, run, hosts.size() > 1));
        if (!readings.back()->prepare(run, status)) return std::nullopt;
    }
    return readings;
}

// Where the output goes: standard output, or a host's file in the -o folder.
class Destination {
public:
    Destination(const QString& folder, const QString& host, const char* extension) {
        if (folder.isEmpty()) return;
        QDir().mkpath(folder);
        path_ = QDir(folder).filePath(hostFileName(host) + QLatin1Char('.') + QLatin1String(extension));
        fd_ = ::open(toFileNameBytes(path_).constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (fd_ < 0) std::fprintf(stderr, "kestrova-cli: cannot write %s: %s\n", qPrintable(path_), std::strerror(errno));
    }
    ~Destination() {
        if (fd_ >= 0 && fd_ != STDOUT_FILENO) ::close(fd_);
    }
    bool opened() const { return fd_ >= 0; }
    int fd() const { return fd_; }
    // 0, or 1 after saying the output could not be written.
    static int status(const ByteOutput& out) {
        if (!out.failed()) return 0;
        std::fprintf(stderr, "kestrova-cli: the output could not be written: %s\n", std::strerror(errno));
        return 1;
    }

private:
    QString path_;
    int fd_ = STDOUT_FILENO;
};

const char* extensionOf(TraceFormat format) {
    switch (format) {
    case TraceFormat::Jsonl: return "jsonl";
    case TraceFormat::Json: return "json";
    case TraceFormat::Csv: return "csv";
    case TraceFormat::Tsv: return "tsv";
    }
    return "txt";
}

const char* extensionOf(TimelineFormat format) {
    switch (format) {
    case TimelineFormat::Jsonl: return "jsonl";
    case TimelineFormat::Csv: return "csv";
    case TimelineFormat::Body: return "body";
    case TimelineFormat::Tln: return "tln";
    }
    return "txt";
}

// Every host into standard output, or (folder) each host into its own file there; the exit status.
template <typename Write>
int writeEach(const std::vector<std::unique_ptr<HostReading>>& readings, const QString& folder, const char* extension, const Write& write) {
    if (folder.isEmpty()) return write(std::span(readings), STDOUT_FILENO);
    int status = 0;
    for (const auto& reading : readings) {
        const Destination to(folder, reading->host().name, extension);
        status = std::max(status, to.opened() ? write(std::span(&reading, 1), to.fd()) : 1);
    }
    return status;
}

}  // namespace

int traces(std::vector<Host>& hosts, const TraceRun& run, const QTimeZone& zone) {
    const auto format = chosenFormat<TraceFormat>(run.format, {{"jsonl", TraceFormat::Jsonl}, {"csv", TraceFormat::Csv}, {"tsv", TraceFormat::Tsv}, {"json", TraceFormat::Json}});
    if (!format) return 2;
    const auto kinds = chosenKinds(run.kinds);
    if (!kinds) return 2;
    int status = 0;
    auto readings = prepared(hosts, run, &status);
    if (!readings) return status;
    const auto states = std::any_of(readings->begin(), readings->end(), [](const auto& r) { return r->withStates(); });
    const ExtraColumns extra{.states = states, .tags = run.tags, .host = hosts.size() > 1};
    // Kind by kind, each host's records after the other's: one table a kind. With -o DIR/, a
    // host's kinds into its own file.
    const auto write = [&](std::span<const std::unique_ptr<HostReading>> from, int fd) {
        ByteOutput out(fd);
        TracePrinter printer(out, *format, IsoTimeWriter(zone), extra);
        bool goOn = true;
        for (const TraceKind* kind : *kinds) {
            printer.begin(*kind);
            for (const auto& reading : from) goOn = goOn && reading->read(*kind, printer);
            if (!goOn) break;
        }
        printer.finish();
        out.flush();
        return Destination::status(out);
    };
    return writeEach(*readings, run.folder, extensionOf(*format), write);
}

int timeline(std::vector<Host>& hosts, const TraceRun& run, const QTimeZone& zone) {
    const auto format = chosenFormat<TimelineFormat>(run.format, {{"jsonl", TimelineFormat::Jsonl}, {"csv", TimelineFormat::Csv}, {"body", TimelineFormat::Body}, {"tln", TimelineFormat::Tln}});
    if (!format) return 2;
    const auto kinds = chosenKinds(run.kinds);
    if (!kinds) return 2;
    std::optional<UtcMicros> from, to;
    for (const auto& [text, bound, name] : {std::tuple{run.from, &from, "--from"}, std::tuple{run.to, &to, "--to"}}) {
        if (text.isEmpty()) continue;
        *bound = parseIsoTime(text, zone);
        if (!*bound) return usageError(QStringLiteral("%1 takes an ISO 8601 time such as 2026-11-01T08:00, not \"%2\"").arg(QLatin1String(name), text));
    }
    int status = 0;
    auto readings = prepared(hosts, run, &status);
    if (!readings) return status;
    const auto states = std::any_of(readings->begin(), readings->end(), [](const auto& r) { return r->withStates(); });
    const ExtraColumns extra{.states = states, .tags = run.tags, .host = hosts.size() > 1};
    const bool terminal = ::isatty(STDERR_FILENO) != 0;
    // Every host's events in one time order (or, with -o DIR/, each host's in its own file).
    const auto write = [&](std::span<const std::unique_ptr<HostReading>> readingsFrom, int fd) {
        const Environment& first = *readingsFrom.front()->host().env;
        Timeline events(first.privateTemp.path());
        events.limit(from, to);
        ByteOutput out(fd);
        // A body file is a line a record, unsorted (mactime sorts): written as the kinds are read.
        std::optional<BodyFileWriter> body;
        if (*format == TimelineFormat::Body) body.emplace(out, from, to);
        TraceSink& sink = body ? static_cast<TraceSink&>(*body) : events;
        const auto sofar = [&] { return body ? body->lines() : events.events(); };
        bool goOn = true;
        for (const TraceKind* kind : *kinds) {
            if (terminal) std::fprintf(stderr, "\rtimeline: reading %-24s %lld %s so far", kind->name, static_cast<long long>(sofar()), body ? "lines" : "events");
            for (const auto& reading : readingsFrom) {
                // The timeline keeps each event's host in its key rather than in every record.
                const bool stamped = !body && hosts.size() > 1 && events.setHost(reading->host().name.toUtf8());
                goOn = goOn && reading->read(*kind, sink, terminal ? "\n" : "", stamped) && !out.failed();
            }
            if (!goOn) break;
        }
        bool drained = true;
        if (!body) {
            if (terminal) std::fprintf(stderr, "\rtimeline: %lld events, sorting%s\n", static_cast<long long>(events.events()), events.runs() ? " (merging runs)" : "");
            // One host: its computer's name for every event; several: each event's host.
            const QByteArray hostname = hosts.size() > 1 ? QByteArray() : first.os->ComputerName().toUtf8();
            TimelinePrinter printer(out, *format, IsoTimeWriter(zone), hostname, extra);
            printer.header();
            drained = events.drain([&](const TimelineEvent& event) {
                printer.event(event);
                return !out.failed();
            });
        } else if (terminal) {
            std::fprintf(stderr, "\n");
        }
        out.flush();
        if (!drained) {
            std::fprintf(stderr, "kestrova-cli: the timeline could not be sorted: %s\n", qPrintable(events.why()));
            return 1;
        }
        return Destination::status(out);
    };
    return writeEach(*readings, run.folder, extensionOf(*format), write);
}

}  // namespace kestrova::cli
