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
#include "traces/reading_pool.h"
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
// case holds several. Each worker beyond the first reads through a sibling of the host's
// environment (its own analysed system over the shared volume), made on first use.
class HostReading {
public:
    HostReading(Host& host, const TraceRun& run, bool named) : host_(host), reading_(*host.env, run.user), run_(run), named_(named) {}
    // False after saying why (the exit status in *status).
    bool prepare(int* status) {
        QString why;
        QStringList said;
        const bool chosen = reading_.chooseStates(run_.snapshots, &said, &why);
        for (const QString& line : said) std::fprintf(stderr, "kestrova-cli: %s\n", qPrintable(line));
        if (!chosen) {
            *status = usageError(named_ ? host_.name + QStringLiteral(": ") + why : why);
            return false;
        }
        if (run_.tags && !(tags_ = openCaseFile(*host_.env))) {
            *status = 1;
            return false;
        }
        siblings_.resize(static_cast<size_t>(std::max(0, run_.jobs - 1)));
        return true;
    }
    bool withStates() const { return reading_.withStates(); }
    const Host& host() const { return host_; }
    bool named() const { return named_; }
    size_t parts(const TraceKind& kind) { return reading_.parts(kind); }

    // The reading of worker `worker` (from 0): the host's own for the first.
    cli::KindReading& forWorker(int worker) {
        if (worker == 0) return reading_;
        Sibling& sibling = siblings_[static_cast<size_t>(worker - 1)];
        if (!sibling.reading) {
            sibling.env = host_.env->sibling();
            sibling.reading = std::make_unique<cli::KindReading>(*sibling.env, run_.user);
            QStringList said;
            QString why;
            sibling.reading->chooseStates(run_.snapshots, &said, &why);  // as the host's own did
        }
        return *sibling.reading;
    }

    // Where this host's records go on their way to `target`: the tag and (unless the target keeps
    // the host itself, stamped) the host are added, by sinks `route` keeps (one a thread).
    struct Route {
        std::optional<HostSink> host;
        std::optional<TaggingSink> tagging;
    };
    TraceSink& route(Route& route, TraceSink& target, bool stamped) const {
        TraceSink* sink = &target;
        route.host.reset();
        route.tagging.reset();
        if (named_ && !stamped) sink = &route.host.emplace(*sink, host_.name.toUtf8());
        if (tags_) sink = &route.tagging.emplace(*sink, *tags_);
        return *sink;
    }

private:
    struct Sibling {
        std::unique_ptr<Environment> env;
        std::unique_ptr<cli::KindReading> reading;
    };
    Host& host_;
    cli::KindReading reading_;
    const TraceRun& run_;
    std::unique_ptr<CaseFile> tags_;
    bool named_;
    std::vector<Sibling> siblings_;
};

// Every host's reading prepared; nullopt with the exit status when one cannot be.
std::optional<std::vector<std::unique_ptr<HostReading>>> prepared(std::vector<Host>& hosts, const TraceRun& run, int* status) {
    std::vector<std::unique_ptr<HostReading>> readings;
    for (Host& host : hosts) {
        readings.push_back(std::make_unique<HostReading>(host, run, hosts.size() > 1));
        if (!readings.back()->prepare(status)) return std::nullopt;
    }
    return readings;
}

// Where the records of a kind of a host go, as the command wants them.
struct Target {
    TraceSink* sink;
    bool stamped = false;  // the sink keeps the host itself (the timeline's keys)
};
struct Targets {
    // Before the first record of a kind of a host; kinds come in the order chosen, and each
    // kind's hosts one after another.
    std::function<Target(const TraceKind&, const HostReading&)> start;
    std::function<bool()> healthy;  // false: stop (the output can no longer be written)
    const char* stderrBreak = "";   // what goes before what --verbose says
    // Where the records are written as text: each worker formats what it reads with a printer of
    // its own over its text (formatter), and the text comes to `text` in the output's order;
    // start's sink then gets no record. Otherwise the records come to start's sink.
    std::function<std::unique_ptr<TraceSink>(ByteOutput& text, const TraceKind&)> formatter;
    std::function<void(std::string_view)> text;
};

void sayHost(const HostReading& reading, const TraceRun& run, const char* stderrBreak) {
    if (run.verbose && reading.named()) std::fprintf(stderr, "%shost %s:\n", stderrBreak, qPrintable(showEscapedBytes(reading.host().name)));
}

// Reads the kinds of the hosts, kind by kind and each host's after the other's, on run.jobs
// workers; the records reach the targets in that order whatever the number of workers, and
// what --verbose says of each kind comes after its records. False when reading stopped.
bool readKinds(std::span<const std::unique_ptr<HostReading>> from, const std::vector<const TraceKind*>& kinds, const TraceRun& run,
               const Targets& targets) {
    const char* kindBreak = run.verbose && from.front()->named() ? "" : targets.stderrBreak;
    if (run.jobs <= 1) {
        for (const TraceKind* kind : kinds) {
            for (const auto& reading : from) {
                sayHost(*reading, run, targets.stderrBreak);
                const Target target = targets.start(*kind, *reading);
                HostReading::Route route;
                const KindOutcome outcome = reading->forWorker(0).read(*kind, reading->route(route, *target.sink, target.stamped));
                outcome.say(*kind, run.verbose, kindBreak);
                if (!outcome.goOn || !targets.healthy()) return false;
            }
        }
        return true;
    }
    // A task: a kind of a host, or one browser profile of it.
    struct Task {
        const TraceKind* kind;
        HostReading* reading;
        std::optional<size_t> part;
        bool first, last;  // of its kind and host
    };
    std::vector<Task> tasks;
    for (const TraceKind* kind : kinds) {
        for (const auto& reading : from) {
            const size_t parts = reading->parts(*kind);
            if (parts <= 1) tasks.push_back({kind, reading.get(), std::nullopt, true, true});
            for (size_t i = 0; parts > 1 && i < parts; ++i) tasks.push_back({kind, reading.get(), i, i == 0, i + 1 == parts});
        }
    }
    std::vector<KindOutcome> outcomes(tasks.size());
    KindOutcome kindOutcome;
    HostReading::Route route;
    TraceSink* sink = nullptr;
    PoolTasks pool;
    pool.count = tasks.size();
    pool.read = [&](int worker, size_t t, PoolOutput& out) {
        const Task& task = tasks[t];
        cli::KindReading& reading = task.reading->forWorker(worker);
        if (!targets.formatter) {
            RecordsInto records(out);
            outcomes[t] = reading.read(*task.kind, records, task.part);
            return;
        }
        // Formatted here: the record's text into the output, a chunk handed over as it fills.
        struct Formatted : TraceSink {
            TraceSink* printer;
            PoolOutput* out;
            bool record(const TraceKind& kind, const Provenance& from, std::span<const Value> values) override {
                if (out->stopped()) return false;
                printer->record(kind, from, values);
                out->handOver();
                return true;
            }
        };
        ByteOutput text(out.bytes());
        const std::unique_ptr<TraceSink> printer = targets.formatter(text, *task.kind);
        Formatted formatted;
        formatted.printer = printer.get();
        formatted.out = &out;
        HostReading::Route ownRoute;
        outcomes[t] = reading.read(*task.kind, task.reading->route(ownRoute, formatted, false), task.part);
        text.flush();
    };
    pool.begin = [&](size_t t) {
        const Task& task = tasks[t];
        if (task.first) {
            sayHost(*task.reading, run, targets.stderrBreak);
            const Target target = targets.start(*task.kind, *task.reading);
            sink = &task.reading->route(route, *target.sink, target.stamped);
            kindOutcome = KindOutcome();
        }
        return true;
    };
    pool.chunk = [&](size_t t, std::string_view chunk) {
        if (targets.formatter) {
            targets.text(chunk);
            return targets.healthy();
        }
        return forEachRecord(chunk, *tasks[t].kind, [&](const Provenance& p, std::span<const Value> values) { return sink->record(*tasks[t].kind, p, values); });
    };
    pool.end = [&](size_t t) {
        kindOutcome.add(outcomes[t]);
        if (!tasks[t].last) return true;
        kindOutcome.say(*tasks[t].kind, run.verbose, kindBreak);
        return kindOutcome.goOn && targets.healthy();
    };
    QString why;
    const bool read = runPool({.workers = run.jobs, .spillFolder = from.front()->host().env->privateTemp.path()}, pool, &why);
    if (!why.isEmpty()) std::fprintf(stderr, "kestrova-cli: %s\n", qPrintable(why));
    return read;
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
        bool anyObject = false;
        const Targets targets{.start = [&](const TraceKind& kind, const HostReading& reading) {
                                  if (&reading == from.front().get()) printer.begin(kind);
                                  return Target{&printer};
                              },
                              .healthy = [&] { return !out.failed(); },
                              .formatter = [&](ByteOutput& text, const TraceKind& kind) {
                                  auto share = std::make_unique<TracePrinter>(text, *format, IsoTimeWriter(zone), extra);
                                  share->resume(kind);
                                  return share;
                              },
                              .text = [&](std::string_view text) {
                                  // A JSON array opens where its first object would have had its comma.
                                  if (*format == TraceFormat::Json && !anyObject && !text.empty()) {
                                      out.put("[");
                                      text.remove_prefix(1);
                                      printer.objectsWritten();
                                  }
                                  anyObject = anyObject || !text.empty();
                                  out.putFormatted(text);
                              }};
        readKinds(from, *kinds, run, targets);
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
        const Targets targets{.start = [&](const TraceKind& kind, const HostReading& reading) {
                                  if (terminal) std::fprintf(stderr, "\rtimeline: reading %-24s %lld %s so far", kind.name, static_cast<long long>(sofar()), body ? "lines" : "events");
                                  // The timeline keeps each event's host in its key rather than in every record.
                                  const bool stamped = !body && hosts.size() > 1 && events.setHost(reading.host().name.toUtf8());
                                  return Target{&sink, stamped};
                              },
                              .healthy = [&] { return !out.failed(); },
                              .stderrBreak = terminal ? "\n" : "",
                              .formatter = {},
                              .text = {}};
        readKinds(readingsFrom, *kinds, run, targets);
        bool drained = true;
        if (!body) {
            if (terminal) std::fprintf(stderr, "\rtimeline: %lld events, sorting%s\n", static_cast<long long>(events.events()), events.runs() ? " (merging runs)" : "");
            // One host: its computer's name for every event; several: each event's host.
            const QByteArray hostname = hosts.size() > 1 ? QByteArray() : first.os->ComputerName().toUtf8();
            const auto printerFor = [&](ByteOutput& to) { return std::make_unique<TimelinePrinter>(to, *format, IsoTimeWriter(zone), hostname, extra); };
            printerFor(out)->header();
            drained = writeEvents(events, out, run.jobs, printerFor);
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
