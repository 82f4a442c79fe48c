#include "LoggingWrapper.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace Orv
{

namespace
{

const ZelMgmtSpiInterface_1 LOG_ID = {nullptr, "OrvMwSpiLog", "1"};
const ZelMgmtSpiInterface_1 TRACE_ID = {nullptr, "ZelMwSpiTrace", nullptr};

enum
{
    FLAG_OF_A_MESSAGE = 1,
    MAX_LINE = 2048,  // of standard error, with the line break and the terminator
    KIND_PLAIN = 0,
    KIND_ENTRY = 9,
    KIND_EXIT = 10
};

template <typename Table>
Table* find(ZelReturnT (*getInterface)(ZelMgmtSpiInterface_1, void**), const ZelMgmtSpiInterface_1& id)
{
    void* found = nullptr;
    if (getInterface == nullptr || getInterface(id, &found) != OrvOk)
    {
        return nullptr;
    }
    return static_cast<Table*>(found);
}

int kindOf(const char* format)
{
    if (strncmp(format, " >> ", 4) == 0)
    {
        return KIND_ENTRY;
    }
    return strncmp(format, " << ", 4) == 0 ? KIND_EXIT : KIND_PLAIN;
}

// One write for one line, so that lines of several threads do not mix. A line break within the text becomes a blank.
void writeToStandardError(const char* function, int severity, const char* format, va_list arguments)
    __attribute__((format(printf, 3, 0)));
void writeToStandardError(const char* function, int severity, const char* format, va_list arguments)
{
    const int errnoOfTheCaller = errno;
    char line[MAX_LINE];
    const size_t space = sizeof(line) - 1;  // leaves room for the line break
    snprintf(line, space, "[%d] %s: ", severity, function);
    const size_t prefix = strlen(line);
    vsnprintf(line + prefix, space - prefix, format, arguments);
    for (char* at = line; *at != '\0'; ++at)
    {
        if (*at == '\n' || *at == '\r')
        {
            *at = ' ';
        }
    }
    strcat(line, "\n");
    fputs(line, stderr);
    errno = errnoOfTheCaller;
}

void writeLog(OrvMwSpiLog_1* log, const char* function, int severity, int flag, const char* format, va_list arguments)
    __attribute__((format(printf, 5, 0)));
void writeLog(OrvMwSpiLog_1* log, const char* function, int severity, int flag, const char* format, va_list arguments)
{
    if (log != nullptr && log->vlog != nullptr)
    {
        log->vlog(function, severity, flag, format, arguments);
    }
    else
    {
        writeToStandardError(function, severity, format, arguments);
    }
}

void writeTrace(ZelMwSpiTrace* trace, const char* file, const char* function, int line, int kind, const char* format,
                va_list arguments) __attribute__((format(printf, 6, 0)));
void writeTrace(ZelMwSpiTrace* trace, const char* file, const char* function, int line, int kind, const char* format,
                va_list arguments)
{
    if (trace != nullptr && trace->vtrace != nullptr)
    {
        trace->vtrace(file, function, line, kind, format, arguments);
    }
}

void writeTraceV2(ZelMwSpiTrace* trace, const Trace::Subsystem* subsystem, int level, const char* file,
                  const char* function, int line, const char* format, va_list arguments)
    __attribute__((format(printf, 7, 0)));
void writeTraceV2(ZelMwSpiTrace* trace, const Trace::Subsystem* subsystem, int level, const char* file,
                  const char* function, int line, const char* format, va_list arguments)
{
    if (trace != nullptr && trace->vtraceV2 != nullptr)
    {
        trace->vtraceV2(subsystem, level, file, function, line, format, arguments);
    }
}

}  // namespace

std::atomic<int> LoggingWrapper::_level(LoggingWrapper::DEFAULT_LEVEL);

LoggingWrapper& LoggingWrapper::instance()
{
    // Never deleted: the destructors of other static objects may still log.
    static LoggingWrapper* const theInstance = new LoggingWrapper;
    return *theInstance;
}

LoggingWrapper::LoggingWrapper() : _log(nullptr), _trace(nullptr) {}

void LoggingWrapper::refresh(ZelReturnT (*getInterface)(ZelMgmtSpiInterface_1, void**))
{
    _log.store(find<OrvMwSpiLog_1>(getInterface, LOG_ID), std::memory_order_release);
    _trace.store(find<ZelMwSpiTrace>(getInterface, TRACE_ID), std::memory_order_release);
    refreshLevel();
}

void LoggingWrapper::refreshLevel()
{
    OrvMwSpiLog_1* const log = _log.load(std::memory_order_acquire);
    const bool known = log != nullptr && log->getLevel != nullptr;
    _level.store(known ? log->getLevel() : static_cast<int>(DEFAULT_LEVEL), std::memory_order_relaxed);
}

void LoggingWrapper::log_printf(const char* function, int severity, int flag, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    writeLog(_log.load(std::memory_order_acquire), function, severity, flag, format, arguments);
    va_end(arguments);
}

void LoggingWrapper::trace_printf(const char* file, const char* function, int line, int kind, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    writeTrace(_trace.load(std::memory_order_acquire), file, function, line, kind, format, arguments);
    va_end(arguments);
}

void LoggingWrapper::trace_v2_printf(const Trace::Subsystem* subsystem, int level, const char* file,
                                     const char* function, int line, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    writeTraceV2(_trace.load(std::memory_order_acquire), subsystem, level, file, function, line, format, arguments);
    va_end(arguments);
}

void LoggingWrapper::message(const Trace::Subsystem* subsystem, int severity, const char* file, const char* function,
                             int line, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    writeLog(_log.load(std::memory_order_acquire), function, severity, FLAG_OF_A_MESSAGE, format, arguments);
    writeTraceV2(_trace.load(std::memory_order_acquire), subsystem, severity, file, function, line, format, again);
    va_end(again);
    va_end(arguments);
}

void LoggingWrapper::trace(const Trace::Subsystem* subsystem, const char* file, const char* function, int line,
                           const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    ZelMwSpiTrace* const sink = _trace.load(std::memory_order_acquire);
    writeTrace(sink, file, function, line, kindOf(format), format, arguments);
    writeTraceV2(sink, subsystem, TRACE_V2_LEVEL, file, function, line, format, again);
    va_end(again);
    va_end(arguments);
}

}  // namespace Orv
