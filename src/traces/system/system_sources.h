// The sources of the system profile's kinds (rows in trace_kinds.cpp).
#pragma once

#include "traces/trace_context.h"

namespace kestrova {

void windowsTasks(TraceContext& context, TraceSink& sink);
void windowsSystem(TraceContext& context, TraceSink& sink);
void windowsLocalAccounts(TraceContext& context, TraceSink& sink);
void windowsPrograms(TraceContext& context, TraceSink& sink);
void windowsAutoruns(TraceContext& context, TraceSink& sink);
void windowsNetwork(TraceContext& context, TraceSink& sink);
void windowsRdpClient(TraceContext& context, TraceSink& sink);
void windowsMountPoints(TraceContext& context, TraceSink& sink);

}  // namespace kestrova
