// The sources of the Windows activity kinds (their rows are in trace_kinds.cpp).
#pragma once

#include "traces/trace_context.h"

namespace kestrova {

// The folders a user's shortcuts to recent documents are in: the shell's Recent (the first, where
// the Jump Lists are too), the XP profile's, and Office's.
QStringList recentFolders(const UserProfile& user);

void windowsUserAssist(TraceContext& context, TraceSink& sink);
void windowsRecentDocs(TraceContext& context, TraceSink& sink);
void windowsShellBags(TraceContext& context, TraceSink& sink);
void windowsMru(TraceContext& context, TraceSink& sink);
void windowsLnk(TraceContext& context, TraceSink& sink);
void windowsJumpLists(TraceContext& context, TraceSink& sink);
void windowsUsb(TraceContext& context, TraceSink& sink);
void windowsPrefetch(TraceContext& context, TraceSink& sink);
void windowsRecycleBin(TraceContext& context, TraceSink& sink);
void windowsExecution(TraceContext& context, TraceSink& sink);
void windowsEvents(TraceContext& context, TraceSink& sink);
void windowsLogons(TraceContext& context, TraceSink& sink);
void windowsSessions(TraceContext& context, TraceSink& sink);
void windowsPower(TraceContext& context, TraceSink& sink);
void windowsInstalls(TraceContext& context, TraceSink& sink);
void windowsAccountEvents(TraceContext& context, TraceSink& sink);
void windowsDeviceEvents(TraceContext& context, TraceSink& sink);
void windowsScripts(TraceContext& context, TraceSink& sink);

}  // namespace kestrova
