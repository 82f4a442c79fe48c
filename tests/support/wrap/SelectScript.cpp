#include "SelectScript.h"

#include <cerrno>
#include <chrono>

namespace OrvTest
{

namespace
{

const int TIMEOUT_SECONDS = 60;

// Not the script's own mutex, which dies with the script.
std::mutex scriptMutex;
SelectScript* currentScript = nullptr;

void setScript(SelectScript* script)
{
    const std::lock_guard<std::mutex> lock(scriptMutex);
    currentScript = script;
}

}  // namespace

SelectScript::SelectScript(const std::deque<Step>& steps) : _steps(steps)
{
    setScript(this);
}

SelectScript::~SelectScript()
{
    setScript(nullptr);
}

bool SelectScript::waitForCalls(std::size_t count)
{
    std::unique_lock<std::mutex> lock(_mutex);
    return _called.wait_for(lock, std::chrono::seconds(TIMEOUT_SECONDS), [&] { return _calls.size() >= count; });
}

std::vector<SelectScript::Call> SelectScript::calls() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _calls;
}

std::optional<int> SelectScript::answer(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptionSet,
                                        timeval* timeout)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    bool onlyTheLast = FD_ISSET(count - 1, readSet);
    for (int descriptor = 0; descriptor < FD_SETSIZE; ++descriptor)
    {
        onlyTheLast = onlyTheLast && (descriptor == count - 1 || !FD_ISSET(descriptor, readSet));
    }
    _calls.push_back(
        {count, onlyTheLast, writeSet != nullptr || exceptionSet != nullptr, timeout->tv_sec, timeout->tv_usec});
    _called.notify_all();
    if (_steps.empty())
    {
        return std::nullopt;
    }
    const Step step = _steps.front();
    _steps.pop_front();
    if (step.result >= 0)
    {
        FD_ZERO(readSet);
    }
    errno = step.error;
    return step.result;
}

}  // namespace OrvTest

extern "C"
{
    int __real_select(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptionSet, timeval* timeout);

    int __wrap_select(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptionSet, timeval* timeout)
    {
        std::optional<int> answer;
        {
            const std::lock_guard<std::mutex> lock(OrvTest::scriptMutex);
            if (OrvTest::currentScript != nullptr)
            {
                answer = OrvTest::currentScript->answer(count, readSet, writeSet, exceptionSet, timeout);
            }
        }
        return answer ? *answer : __real_select(count, readSet, writeSet, exceptionSet, timeout);
    }
}
