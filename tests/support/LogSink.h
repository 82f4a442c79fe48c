#pragma once

#include <condition_variable>
#include <cstdarg>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace OrvTest
{

// One line that reached the framework's log or trace interface.
struct LogLine
{
    enum Source
    {
        log,     // vlog
        trace,   // vtrace
        traceV2  // vtraceV2
    };

    Source source;
    int level;              // log: the severity; trace: the kind; traceV2: the level
    int flag;               // log only, otherwise 0
    const void* subsystem;  // traceV2 only, otherwise null
    std::string function;
    std::string text;  // formatted
    std::thread::id thread;
};

// For messages of failed expectations: source, level, function and text.
std::string describe(const LogLine& line);
std::string describe(const std::vector<LogLine>& lines);

// Keeps every line in the order of arrival.
// Threads: any.
class LogSink
{
public:
    void add(LogLine::Source source, int level, int flag, const void* subsystem, const char* function,
             const char* format, va_list arguments) __attribute__((format(printf, 7, 0)));

    std::vector<LogLine> lines() const;
    void clear();

    // Waits until count lines with exactly this text have come from this source, false after the time-out.
    bool waitFor(LogLine::Source source, const std::string& text, size_t count, int timeoutSeconds) const;

    // Runs the action after every further line from this source that begins so, on the thread that logs and with
    // whatever locks it holds. Null takes it back.
    void whenLine(LogLine::Source source, const std::string& beginning, std::function<void()> action);

    // From now on no line is kept: each goes to this function, on the thread that logs and with whatever locks it
    // holds. For programs that run for hours. Before the first line.
    void keepNothing(std::function<void(const LogLine&)> consumer);

    // Writes each further line to standard error as well: for death tests, whose parent sees nothing else.
    void echoToStandardError(bool on);

private:
    mutable std::mutex _mutex;
    mutable std::condition_variable _arrived;
    std::vector<LogLine> _lines;
    bool _echo = false;
    LogLine::Source _actionSource = LogLine::log;
    std::string _actionBeginning;
    std::function<void()> _action;
    std::function<void(const LogLine&)> _consumer;
};

}  // namespace OrvTest
