// Scheduled tasks as Windows keeps them: the Task Scheduler 2.0 XML definitions of
// C:\Windows\System32\Tasks (UTF-16, Microsoft's "Task Scheduler Schema"), and the binary .job
// files of Task Scheduler 1.0 in C:\Windows\Tasks (XP, and kept for compatibility since).
//
// .job layout (libyal's "Windows Job File format" document; checked on plaso's wintask.job):
//   fixed part   0 product version (2), 2 format version (2, 1), 4 job identifier (GUID 16),
//                20 application name offset (2), 22 triggers offset (2), 24 retry count (2),
//                26 retry interval (2), 28 idle deadline (2), 30 idle wait (2), 32 priority (4),
//                36 maximum run time (4), 40 exit code (4), 44 status (4), 48 flags (4,
//                0x4 disabled, 0x200 hidden), 52 last run (SYSTEMTIME 16, local time: year,
//                month, weekday, day, hour, minute, second, millisecond)
//   variable     68 running instances (2), then five texts each as a character count (2, with
//                its NUL) and UTF-16: application, parameters, working folder, author, comment;
//                user data and reserved data (a byte count (2) and the bytes each); at the
//                triggers offset a count (2) and the triggers, 48 bytes each:
//                0 size (2), 4 start year, month, day (2 each), 10 end year, month, day,
//                16 start hour, minute (2 each), 20 duration (4), 24 interval (4), 28 flags (4),
//                32 type (4: 0 once, 1 daily, 2 weekly, 3 monthly by date, 4 monthly by weekday,
//                5 when idle, 6 at system start, 7 at logon)
// Times are given as written: a registration date without an offset, and a .job's last run,
// are the examined system's local time, which the source turns into UTC.
#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

namespace kestrova {

// A local date and time as a task file writes it.
struct LocalTime {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, millisecond = 0;
};

struct TaskDefinition {
    QString format;  // "XML" or ".job"
    QString author, description, uri, runAs, runLevel, command, arguments, workingFolder, triggers;
    QString registered;  // the XML's Date as written (ISO 8601, usually without an offset)
    bool enabled = true, hidden = false;
    std::optional<LocalTime> lastRun;  // a .job's
    QString status;
    std::optional<uint32_t> exitCode;
};

// nullopt, with why, where the bytes are no task definition of that form.
std::optional<TaskDefinition> parseTaskXml(const QByteArray& bytes, QString* why);
std::optional<TaskDefinition> parseJobFile(const QByteArray& bytes, QString* why);

}  // namespace kestrova
