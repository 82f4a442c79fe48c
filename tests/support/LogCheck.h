// Expectations on what was logged, for tests of every kind.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LogSink.h"

namespace OrvTest
{

// True if exactly `times` log messages of this severity and text have come, each followed, as the next line of its
// thread, by the same text at the second trace operation with the severity as its level.
inline testing::AssertionResult logged(const std::vector<LogLine>& lines, int severity, const std::string& text,
                                       unsigned int times = 1)
{
    unsigned int found = 0;
    for (size_t i = 0; i < lines.size(); ++i)
    {
        if (lines[i].source != LogLine::log || lines[i].text != text)
        {
            continue;
        }
        ++found;
        if (lines[i].level != severity || lines[i].flag != 1)
        {
            return testing::AssertionFailure() << "severity " << lines[i].level << " flag " << lines[i].flag
                                               << " instead of " << severity << " and 1: " << describe(lines[i]);
        }
        size_t next = i + 1;
        while (next < lines.size() && lines[next].thread != lines[i].thread)
        {
            ++next;
        }
        if (next == lines.size() || lines[next].source != LogLine::traceV2 || lines[next].level != severity ||
            lines[next].text != text)
        {
            return testing::AssertionFailure() << "no trace line follows: " << describe(lines[i]);
        }
    }
    if (found != times)
    {
        return testing::AssertionFailure()
               << "\"" << text << "\" was logged " << found << " times instead of " << times << " in\n"
               << describe(lines);
    }
    return testing::AssertionSuccess();
}

// True if this text has been traced at least once, with the kind (9 entry, 10 exit, 0 other) and followed, as the next
// line of its thread, by the same text at the second trace operation with level 14.
inline testing::AssertionResult traced(const std::vector<LogLine>& lines, int kind, const std::string& text)
{
    for (size_t i = 0; i < lines.size(); ++i)
    {
        if (lines[i].source != LogLine::trace || lines[i].text != text || lines[i].level != kind)
        {
            continue;
        }
        size_t next = i + 1;
        while (next < lines.size() && lines[next].thread != lines[i].thread)
        {
            ++next;
        }
        if (next < lines.size() && lines[next].source == LogLine::traceV2 && lines[next].level == 14 &&
            lines[next].text == text)
        {
            return testing::AssertionSuccess();
        }
    }
    return testing::AssertionFailure() << "\"" << text << "\" was not traced with kind " << kind << " in\n"
                                       << describe(lines);
}

// The texts of the log messages alone, oldest first, each with its severity: "3 text".
inline std::vector<std::string> messages(const std::vector<LogLine>& lines)
{
    std::vector<std::string> texts;
    for (const LogLine& line : lines)
    {
        if (line.source == LogLine::log)
        {
            texts.push_back(std::to_string(line.level) + " " + line.text);
        }
    }
    return texts;
}

// The texts of the first trace operation alone, oldest first.
inline std::vector<std::string> traces(const std::vector<LogLine>& lines)
{
    std::vector<std::string> texts;
    for (const LogLine& line : lines)
    {
        if (line.source == LogLine::trace)
        {
            texts.push_back(line.text);
        }
    }
    return texts;
}

}  // namespace OrvTest
