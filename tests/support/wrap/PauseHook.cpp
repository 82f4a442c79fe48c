#include "PauseHook.h"

#include <atomic>
#include <utility>

namespace OrvTest
{

namespace
{

std::atomic<PauseHook*> pauseHook{nullptr};

}  // namespace

PauseHook::PauseHook(std::function<int()> action) : _action(std::move(action))
{
    pauseHook.store(this);
}

PauseHook::~PauseHook()
{
    pauseHook.store(nullptr);
}

int PauseHook::pause(const timespec& request)
{
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _requests.push_back(request);
    }
    return _action();
}

std::vector<timespec> PauseHook::requests() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _requests;
}

}  // namespace OrvTest

extern "C"
{
    int __real_nanosleep(const timespec* request, timespec* remaining);

    int __wrap_nanosleep(const timespec* request, timespec* remaining)
    {
        OrvTest::PauseHook* const hook = OrvTest::pauseHook.load();
        return hook == nullptr ? __real_nanosleep(request, remaining) : hook->pause(*request);
    }
}
