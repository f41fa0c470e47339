// The sources of the kinds of what Windows itself counts of its use (rows in trace_kinds.cpp).
#pragma once

#include "traces/trace_context.h"

namespace kestrova {

void windowsPca(TraceContext& context, TraceSink& sink);
void windowsActivities(TraceContext& context, TraceSink& sink);

}  // namespace kestrova
