#pragma once

#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "DemoRecorder.h"

namespace OrvElement
{

// Shows what the demo's subscribers receive, and holds it against what they should receive.
// Threads:   one at a time.
// Ownership: recorder and stream are the caller's.
class DemoChecker
{
public:
    // What subscribers should receive in one step: names, and summaries of records in order.
    typedef std::vector<std::pair<std::string, std::vector<std::string>>> Step;

    // timeout: milliseconds that a record may take. nudge is called after each stall, in milliseconds too, in which it
    // has not come.
    DemoChecker(DemoRecorder& recorder, std::FILE* output, long timeout, std::function<void()> nudge,
                long stall = 2000);

    // Waits for the records of the step, shows them, and compares.
    void expect(const Step& step);

    // Shows what came to any subscriber beyond what was expected, and counts it as wrong.
    void finish();

    // A statement of another kind; a false one counts as wrong.
    void check(bool right, const std::string& statement);

    unsigned int failures() const { return _failures; }

    DemoChecker(const DemoChecker&) = delete;
    DemoChecker& operator=(const DemoChecker&) = delete;

private:
    void showNew(const std::string& subscriber, size_t expectedNumber);
    std::vector<std::string> waitFor(const std::string& subscriber, size_t number);

    DemoRecorder& _recorder;
    std::FILE* const _output;
    const long _timeout;
    const std::function<void()> _nudge;
    const long _stall;
    std::map<std::string, std::vector<std::string>> _expected;  // of all steps so far, by subscriber
    std::map<std::string, size_t> _shown;                       // how many of a subscriber's records have been shown
    unsigned int _failures = 0;
};

}  // namespace OrvElement
