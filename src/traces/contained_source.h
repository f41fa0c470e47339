// Running the part of a trace source that hands evidence bytes to a third-party parser (libfwsi,
// liblnk, libolecf, libscca) in a contained child process: a crafted shortcut or prefetch file
// that crashes or hangs the library then ends the child, not the program. The child runs the
// very same source code; its records and notes travel home as frames and reach the sink and the
// findings in the order they were made. Whatever the child sent before it ended is kept, and why
// it ended is noted.
//
// The child gets a copy of the program's memory, not its files: the body works on bytes read
// (and hives opened) before the call, and must not read the volume itself, which may be served
// over a shared socket.
#pragma once

#include <QString>
#include <functional>

#include "traces/trace_context.h"

namespace kestrova {

// Runs body(context, sink) contained; `what` names the evidence for a note when the child ends badly.
void runContainedSource(TraceContext& context, TraceSink& sink, const QString& what,
                        const std::function<void(TraceContext&, TraceSink&)>& body);

}  // namespace kestrova
