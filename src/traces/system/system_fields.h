// The fields of the kinds of the system's profile (group "System"): what the machine is and was
// set up to do, from its hives and its task definitions.
#pragma once

#include "traces/trace_kind.h"

namespace kestrova::systemfields {

namespace tasks {
// path: the task's path in the Task Scheduler's tree ("\Microsoft\Windows\Defrag\ScheduledDefrag");
// registered: its registration date (XML) ; last_run: the .job file's, else the Task Scheduler's
// cache in SOFTWARE (TaskCache), with its last successful run; triggers: each trigger in a few
// words, "; " between them; status and exit_code: what a .job file keeps of its last run.
enum Field { Path, Format, Author, Description, Registered, RunAs, RunLevel, Command, Arguments, WorkingFolder, Triggers, Enabled,
             Hidden, LastRun, LastSuccess, CacheCreated, Status, ExitCode, Count };
inline constexpr FieldSpec kFields[Count] = {
    {"path", FieldType::Path},
    {"format", FieldType::Text},
    {"author", FieldType::Text},
    {"description", FieldType::Text},
    {"registered", FieldType::Time, "Task Registered"},
    {"run_as", FieldType::Text},
    {"run_level", FieldType::Text},
    {"command", FieldType::Text},
    {"arguments", FieldType::Text},
    {"working_folder", FieldType::Text},
    {"triggers", FieldType::Text},
    {"enabled", FieldType::Bool},
    {"hidden", FieldType::Bool},
    {"last_run", FieldType::Time, "Task Last Run"},
    {"last_success", FieldType::Time, "Task Last Successful Run"},
    {"cache_created", FieldType::Time, "Task Cached"},
    {"status", FieldType::Text},
    {"exit_code", FieldType::Integer},
};
}  // namespace tasks

}  // namespace kestrova::systemfields
