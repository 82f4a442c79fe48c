#include "DemoChecker.h"

#include <algorithm>
#include <utility>

namespace OrvElement
{

DemoChecker::DemoChecker(DemoRecorder& recorder, std::FILE* output, long timeout, std::function<void()> nudge,
                         long stall)
    : _recorder(recorder), _output(output), _timeout(timeout), _nudge(std::move(nudge)), _stall(stall)
{
}

void DemoChecker::expect(const Step& step)
{
    for (const auto& subscriber : step)
    {
        std::vector<std::string>& expected = _expected[subscriber.first];
        expected.insert(expected.end(), subscriber.second.begin(), subscriber.second.end());
        showNew(subscriber.first, expected.size());
    }
    std::fflush(_output);
}

void DemoChecker::finish()
{
    for (const std::string& subscriber : _recorder.subscribers())
    {
        showNew(subscriber, 0);
    }
    std::fflush(_output);
}

void DemoChecker::check(bool right, const std::string& statement)
{
    if (!right)
    {
        ++_failures;
        std::fprintf(_output, "  WRONG: %s\n", statement.c_str());
    }
}

// Waits until expectedNumber records have come, and shows those that have not been shown.
void DemoChecker::showNew(const std::string& subscriber, size_t expectedNumber)
{
    const std::vector<std::string> received = waitFor(subscriber, expectedNumber);
    const std::vector<std::string>& expected = _expected[subscriber];
    size_t& shown = _shown[subscriber];
    for (; shown < received.size(); ++shown)
    {
        std::fprintf(_output, "  %-10s %s\n", subscriber.c_str(), received[shown].c_str());
        const bool wanted = shown < expected.size();
        check(wanted && received[shown] == expected[shown],
              subscriber + " should have received " + (wanted ? expected[shown] : "nothing more"));
    }
    for (size_t missing = received.size(); missing < expectedNumber; ++missing)
    {
        check(false, subscriber + " did not receive " + expected[missing]);
    }
}

// A record that arrives in the moment in which a delivery run ends waits for the next one, which the nudge brings.
std::vector<std::string> DemoChecker::waitFor(const std::string& subscriber, size_t number)
{
    long left = _timeout;
    std::vector<std::string> received = _recorder.waitFor(subscriber, number, std::min(_stall, left));
    for (left -= _stall; received.size() < number && left > 0; left -= _stall)
    {
        _nudge();
        received = _recorder.waitFor(subscriber, number, std::min(_stall, left));
    }
    return received;
}

}  // namespace OrvElement
