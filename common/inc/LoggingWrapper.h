#pragma once

#include <atomic>
#include <cstdarg>

#include "Trace.h"
#include "ZelMwSpi.h"

namespace Orv
{

// The way of every log line and trace to the framework's log and trace interfaces. Each may be missing (before
// orvCommonInit, or if the portal does not have it): without the log the level is 6 and messages go to standard error,
// one line each as "[severity] function: text"; without the trace, traces are dropped.
// Code uses the macros of Log.h, which test the level before anything is evaluated.
// Threads:   any. The level is one relaxed atomic, the sinks are read lock-free.
// Ownership: the sinks are the framework's. Format and arguments are borrowed for the call and forwarded unformatted.
//            A null %s argument is legal.
// Failure:   none is reported. The one object is never destroyed, so code may log until the process is gone.
class LoggingWrapper
{
public:
    enum
    {
        LEVEL_ERROR = 3,
        LEVEL_WARNING = 4,
        LEVEL_INFO = 6,
        LEVEL_TRACE = 8,      // traces are written at this level and above
        TRACE_V2_LEVEL = 14,  // the level that a trace is given at the second trace operation
        DEFAULT_LEVEL = 6
    };

    static LoggingWrapper& instance();

    // One load. Follows the framework's level as of the last refresh.
    static int get_level() { return _level.load(std::memory_order_relaxed); }

    // Looks the sinks up with a raw portal call (which must not log) and reads the level. orvCommonInit calls it, and
    // a host calls it when its level has changed. With a null function the built-in sinks take over.
    void refresh(ZelReturnT (*getInterface)(ZelMgmtSpiInterface_1, void**));
    // Reads the level anew from the sink in use.
    void refreshLevel();

    void log_printf(const char* function, int severity, int flag, const char* format, ...)
        __attribute__((format(printf, 5, 6)));
    void trace_printf(const char* file, const char* function, int line, int kind, const char* format, ...)
        __attribute__((format(printf, 6, 7)));
    void trace_v2_printf(const Trace::Subsystem* subsystem, int level, const char* file, const char* function, int line,
                         const char* format, ...) __attribute__((format(printf, 7, 8)));

    // A log message: log_printf, then trace_v2_printf at its severity, with the arguments evaluated once.
    void message(const Trace::Subsystem* subsystem, int severity, const char* file, const char* function, int line,
                 const char* format, ...) __attribute__((format(printf, 7, 8)));
    // A trace: trace_printf with the kind that the text tells, then trace_v2_printf at TRACE_V2_LEVEL.
    void trace(const Trace::Subsystem* subsystem, const char* file, const char* function, int line, const char* format,
               ...) __attribute__((format(printf, 6, 7)));

    LoggingWrapper(const LoggingWrapper&) = delete;
    LoggingWrapper& operator=(const LoggingWrapper&) = delete;

private:
    LoggingWrapper();
    ~LoggingWrapper() = default;

    static std::atomic<int> _level;
    std::atomic<OrvMwSpiLog_1*> _log;
    std::atomic<ZelMwSpiTrace*> _trace;
};

}  // namespace Orv
