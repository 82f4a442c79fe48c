#pragma once

#include <Poco/Runnable.h>
#include <Poco/Thread.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace OrvElement
{

// Watches the system clock and tells of every discontinuous change (settimeofday and its like), by a timer on the real
// time clock that the kernel cancels when the clock is set.
// Threads:   one of its own, on which onChange is called; onChange must not throw. The destructor ends the thread and
//            waits for it.
// Failure:   ElementError if the timer or the thread cannot be had.
class ClockWatcher : private Poco::Runnable
{
public:
    // newTime: nanoseconds since the Unix epoch.
    typedef std::function<void(uint64_t newTime)> OnChange;

    // Where the watcher learns of a change: a descriptor that turns readable, and the question why it did.
    class Timer
    {
    public:
        virtual ~Timer() = default;
        virtual int descriptor() const = 0;
        // Called when the descriptor is readable; afterwards it is not, until the next event. True if the clock was
        // set.
        virtual bool clockWasSet() = 0;
    };

    explicit ClockWatcher(OnChange onChange);
    ClockWatcher(OnChange onChange, std::unique_ptr<Timer> timer);
    ~ClockWatcher();

    // The kernel's timer. Throws ElementError.
    static std::unique_ptr<Timer> kernelTimer();

    // The system clock, nanoseconds since the Unix epoch.
    static uint64_t now();

    ClockWatcher(const ClockWatcher&) = delete;
    ClockWatcher& operator=(const ClockWatcher&) = delete;

private:
    void run() override;

    const OnChange _onChange;
    const std::unique_ptr<Timer> _timer;
    const int _endFd;  // readable when the thread shall end
    Poco::Thread _thread;
};

}  // namespace OrvElement
