// kestrova-cli summary: what the computer was used for (traces/overview/activity_model.h), as text a
// person reads in a terminal, as JSON, or as the case report (traces/overview/case_report.h). Every statement carries the records it rests on in JSON
// (kind, source, source_part, time); the text names how many.
#pragma once

#include <QString>
#include <optional>

#include "core/time/iso_time.h"
#include "platform/cases/case_file.h"
#include "platform/system/environment.h"
#include "traces/overview/activity_model.h"

namespace kestrova::cli {

enum class SummaryFormat { Text, Json, Html };

struct SummaryOptions {
    SummaryFormat format = SummaryFormat::Text;
    QString user;
    std::optional<UtcMicros> from, to;
    QString snapshots;
    bool verbose = false;
};

// The case file of the evidence examined, for --tags; nullptr after saying why not.
std::unique_ptr<CaseFile> openCaseFile(const Environment& env);

// Reads every kind into the model and writes it to standard output; the exit status.
int summary(Environment& env, const SummaryOptions& options, const QTimeZone& zone);

// The model as text or JSON, with the examiner's tags where the evidence has a case file (tags may
// be nullptr).
QByteArray summaryText(const ActivityModel& model, const QString& computer, const IsoTimeWriter& times, const CaseFile* tags = nullptr);
QByteArray summaryJson(const ActivityModel& model, const QString& computer, const IsoTimeWriter& times, const CaseFile* tags = nullptr);

}  // namespace kestrova::cli
