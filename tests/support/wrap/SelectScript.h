#pragma once

#include <sys/select.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

namespace OrvTest
{

// Answers the calls of select in order, and lets the real one answer when its steps are used up. One object at a time.
// Threads: any.
class SelectScript
{
public:
    struct Step
    {
        int result;  // one that is not negative leaves no descriptor in the set
        int error;   // for errno
    };
    // What one call was asked.
    struct Call
    {
        int count;
        bool readSetHoldsOnlyTheLast;  // the descriptor count - 1 and no other
        bool otherSets;                // a set of descriptors to write to, or of exceptions
        long seconds;
        long microseconds;
    };

    explicit SelectScript(const std::deque<Step>& steps = {});
    ~SelectScript();

    // Waits until select has been called count times, false after the time-out.
    bool waitForCalls(std::size_t count);
    std::vector<Call> calls() const;

    // A step's result, or nothing if the real select is to answer.
    std::optional<int> answer(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptionSet, timeval* timeout);

    SelectScript(const SelectScript&) = delete;
    SelectScript& operator=(const SelectScript&) = delete;

private:
    mutable std::mutex _mutex;
    std::condition_variable _called;
    std::deque<Step> _steps;
    std::vector<Call> _calls;
};

}  // namespace OrvTest
