#pragma once

#include <ctime>
#include <functional>
#include <mutex>
#include <vector>

namespace OrvTest
{

// While it lives, nanosleep notes what it is asked for and answers what the action gives; it does not sleep. One at a
// time.
// Threads: the action runs on the thread that wants to sleep. No thread may be asleep when this object is destroyed.
class PauseHook
{
public:
    // The default action answers 0: the whole time is over.
    explicit PauseHook(std::function<int()> action = [] { return 0; });
    ~PauseHook();

    std::vector<timespec> requests() const;
    int pause(const timespec& request);

    PauseHook(const PauseHook&) = delete;
    PauseHook& operator=(const PauseHook&) = delete;

private:
    const std::function<int()> _action;
    mutable std::mutex _mutex;
    std::vector<timespec> _requests;
};

}  // namespace OrvTest
