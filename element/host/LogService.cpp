#include "LogService.h"

#include <Poco/ConsoleChannel.h>
#include <Poco/FormattingChannel.h>
#include <Poco/Logger.h>
#include <Poco/Message.h>
#include <Poco/PatternFormatter.h>

#include <cstdio>
#include <iostream>

#include "Trace.h"

namespace OrvElement
{

namespace
{

const char* const LOGGER_NAME = "orv-element";

Poco::Logger& logger()
{
    return Poco::Logger::get(LOGGER_NAME);
}

// The component's compiler has checked the format against its arguments.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::string formatText(const char* format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(length > 0 ? static_cast<size_t>(length) + 1 : 1, '\0');
    std::vsnprintf(&text[0], text.size(), format, again);
    va_end(again);
    text.pop_back();
    return text;
}
#pragma GCC diagnostic pop

// Nothing may be thrown into the component: a line that cannot be written is lost.
void writeNoThrow(int priority, const std::string& text) noexcept
{
    try
    {
        logger().log(Poco::Message(LOGGER_NAME, text, static_cast<Poco::Message::Priority>(priority)));
    }
    catch (...)
    {
    }
}

int getLevel()
{
    return logger().getLevel();
}

void vlog(const char*, int severity, int, const char* format, va_list arguments)
{
    if (getLevel() >= severity)
    {
        writeNoThrow(severity, formatText(format, arguments));
    }
}

void vtrace(const char*, const char* function, int line, int, const char* format, va_list arguments)
{
    if (getLevel() >= LogService::TRACE_LEVEL)
    {
        writeNoThrow(LogService::TRACE_LEVEL,
                     std::string(function) + ":" + std::to_string(line) + " " + formatText(format, arguments));
    }
}

void vtraceV2(const void* subsystem, int level, const char*, const char* function, int line, const char* format,
              va_list arguments)
{
    if (getLevel() >= LogService::SECOND_TRACE_LEVEL)
    {
        const char* name = static_cast<const Orv::Trace::Subsystem*>(subsystem)->name;
        writeNoThrow(LogService::TRACE_LEVEL, std::string(name) + "/" + std::to_string(level) + " " + function + ":" +
                                                  std::to_string(line) + " " + formatText(format, arguments));
    }
}

OrvMwSpiLog_1 theLog = {{nullptr, "OrvMwSpiLog", "1"}, getLevel, vlog};
ZelMwSpiTrace theTrace = {{nullptr, "ZelMwSpiTrace", nullptr}, vtrace, vtraceV2};

Poco::AutoPtr<Poco::Channel> standardErrorChannel()
{
    Poco::AutoPtr<Poco::Channel> console(new Poco::ConsoleChannel(std::cerr));
    Poco::AutoPtr<Poco::Formatter> formatter(new Poco::PatternFormatter("%Y-%m-%dT%H:%M:%S.%iZ %p %t"));
    return Poco::AutoPtr<Poco::Channel>(new Poco::FormattingChannel(formatter, console));
}

}  // namespace

LogService::LogService(int level, const Poco::AutoPtr<Poco::Channel>& channel)
{
    logger().setChannel(channel ? channel : standardErrorChannel());
    logger().setLevel(level);
}

LogService::~LogService()
{
    logger().setChannel(Poco::AutoPtr<Poco::Channel>());
}

OrvMwSpiLog_1& LogService::log()
{
    return theLog;
}

ZelMwSpiTrace& LogService::trace()
{
    return theTrace;
}

void LogService::write(int severity, const std::string& text)
{
    writeNoThrow(severity, text);
}

}  // namespace OrvElement
