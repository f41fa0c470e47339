// The one run control of the program: the stop flag, the report's skip flag and whether a reader
// is running. It lives as long as the program, so the Cancel button, the progress window and the
// report window can hold it without reaching into a session that "Choose Windows System" may
// replace. There is one thread; long readers let window events run, and those events act here.
#pragma once

namespace kestrova {

struct RunControl {
    // StopRequested: set by Cancel and by closing the progress window; long readers clear it
    // when they start and end when they find it set.
    bool stopRequested = false;
    // The report window's skip: ends the index.dat section of a report, and nothing else.
    bool skipRequested = false;
    // True while a reader runs. Commands that would replace or reset the session wait for it.
    bool running = false;
};

// Marks a reader as running for its lifetime; nests safely (a reader inside a report).
class RunningScope {
public:
    explicit RunningScope(RunControl& run) : run_(run), was_(run.running) { run_.running = true; }
    ~RunningScope() { run_.running = was_; }
    RunningScope(const RunningScope&) = delete;
    RunningScope& operator=(const RunningScope&) = delete;

private:
    RunControl& run_;
    bool was_;
};

}  // namespace kestrova
