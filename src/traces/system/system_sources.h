// The sources of the system profile's kinds (rows in trace_kinds.cpp).
#pragma once

#include "traces/trace_context.h"

namespace kestrova {

void windowsTasks(TraceContext& context, TraceSink& sink);

}  // namespace kestrova
