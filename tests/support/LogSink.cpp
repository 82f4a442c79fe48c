#include "LogSink.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace OrvTest
{

namespace
{

std::string format(const char* format, va_list arguments) __attribute__((format(printf, 1, 0)));

std::string format(const char* format, va_list arguments)
{
    va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    if (length < 0)
    {
        return std::string("(not printable) ") + format;
    }
    std::string text(static_cast<size_t>(length) + 1, '\0');
    std::vsnprintf(&text[0], text.size(), format, arguments);
    text.resize(static_cast<size_t>(length));
    return text;
}

}  // namespace

std::string describe(const LogLine& line)
{
    static const char* const names[] = {"log", "trace", "traceV2"};
    return std::string(names[line.source]) + " " + std::to_string(line.level) + " " + line.function + ": \"" +
           line.text + "\"";
}

std::string describe(const std::vector<LogLine>& lines)
{
    std::string text;
    for (const LogLine& line : lines)
    {
        text += "  " + describe(line) + "\n";
    }
    return text.empty() ? "  (no line)\n" : text;
}

void LogSink::add(LogLine::Source source, int level, int flag, const void* subsystem, const char* function,
                  const char* lineFormat, va_list arguments)
{
    LogLine line = {source,
                    level,
                    flag,
                    subsystem,
                    function == nullptr ? "" : function,
                    format(lineFormat, arguments),
                    std::this_thread::get_id()};
    if (_consumer)
    {
        _consumer(line);
        return;
    }
    std::function<void()> action;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        if (_echo)
        {
            std::fprintf(stderr, "%s\n", describe(line).c_str());
        }
        if (_action && source == _actionSource && line.text.rfind(_actionBeginning, 0) == 0)
        {
            action = _action;
        }
        _lines.push_back(std::move(line));
        _arrived.notify_all();
    }
    if (action)
    {
        action();
    }
}

std::vector<LogLine> LogSink::lines() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _lines;
}

void LogSink::clear()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _lines.clear();
}

bool LogSink::waitFor(LogLine::Source source, const std::string& text, size_t count, int timeoutSeconds) const
{
    std::unique_lock<std::mutex> lock(_mutex);
    return _arrived.wait_for(
        lock, std::chrono::seconds(timeoutSeconds),
        [&]
        {
            const auto wanted = [&](const LogLine& line) { return line.source == source && line.text == text; };
            return static_cast<size_t>(std::count_if(_lines.begin(), _lines.end(), wanted)) >= count;
        });
}

void LogSink::whenLine(LogLine::Source source, const std::string& beginning, std::function<void()> action)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _actionSource = source;
    _actionBeginning = beginning;
    _action = std::move(action);
}

void LogSink::keepNothing(std::function<void(const LogLine&)> consumer)
{
    _consumer = std::move(consumer);
}

void LogSink::echoToStandardError(bool on)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _echo = on;
}

}  // namespace OrvTest
