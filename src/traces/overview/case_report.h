// The case report: the overview (activity_model.h) as one self-contained HTML file an examiner
// hands on. What was examined (the evidence, its container and stored hashes, the partition, the
// tool and its version, the zone, the options), per user the activity as charts (a weekday × hour
// grid and a bar a day, inline SVG) and top lists, the devices, the files deleted and the notable
// events. No script and no outside resource: the page forbids scripts, as the classic report
// does, and its charts are drawn in the page. Well-formed XHTML, so that it can be read back.
#pragma once

#include <QByteArray>
#include <QString>
#include <utility>
#include <vector>

#include "platform/cases/case_file.h"
#include "platform/system/environment.h"
#include "traces/overview/activity_model.h"

namespace kestrova {

struct CaseFacts {
    QString computer;
    QString evidence;                                   // the image's or folder's path
    std::vector<std::pair<QString, QString>> details;   // name, value: container, hashes, partition, options
    QString tool;                                       // "kestrova-cli 1.0"
    QString zone;                                       // the zone times are shown in
};

// tags: the examiner's tags and notes, listed after the overview (nullptr: none).
QByteArray caseReportHtml(const ActivityModel& model, const CaseFacts& facts, const CaseFile* tags = nullptr);

// What was examined: the evidence of the environment (an image's container, stored hashes and
// partition, or a folder), the computer, the zone; options: how it was read, in words.
CaseFacts caseFactsOf(const Environment& env, const QTimeZone& zone, const QString& options);

}  // namespace kestrova
