// The sources of the kinds of what Windows itself counts of its use (rows in trace_kinds.cpp).
#pragma once

#include "traces/trace_context.h"

namespace kestrova {

void windowsPca(TraceContext& context, TraceSink& sink);
void windowsActivities(TraceContext& context, TraceSink& sink);
void windowsSrumApps(TraceContext& context, TraceSink& sink);
void windowsSrumNetwork(TraceContext& context, TraceSink& sink);
void windowsSrumConnectivity(TraceContext& context, TraceSink& sink);
void windowsSrumOther(TraceContext& context, TraceSink& sink);
void windowsSearch(TraceContext& context, TraceSink& sink);

}  // namespace kestrova
