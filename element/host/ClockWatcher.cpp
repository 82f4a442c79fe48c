#include "ClockWatcher.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ElementError.h"
#include "LogService.h"

namespace OrvElement
{

namespace
{

class KernelTimer : public ClockWatcher::Timer
{
public:
    KernelTimer() : _fd(timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK))
    {
        if (_fd == -1 || !arm())
        {
            const std::string cause = std::strerror(errno);
            closeTimer();
            throw ElementError("cannot watch the system clock: " + cause);
        }
    }
    ~KernelTimer() override { closeTimer(); }

    int descriptor() const override { return _fd; }

    bool clockWasSet() override
    {
        uint64_t expirations = 0;
        const bool cancelled = read(_fd, &expirations, sizeof(expirations)) == -1 && errno == ECANCELED;
        arm();
        return cancelled;
    }

private:
    // The expiry itself is of no interest: it lies as far ahead as the clock goes in practice.
    bool arm()
    {
        itimerspec farAhead = {};
        farAhead.it_value.tv_sec = 1L << 40;
        return timerfd_settime(_fd, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &farAhead, nullptr) == 0;
    }

    void closeTimer()
    {
        if (_fd != -1)
        {
            close(_fd);
        }
    }

    const int _fd;
};

int createEventFd()
{
    const int fd = eventfd(0, EFD_CLOEXEC);
    if (fd == -1)
    {
        throw ElementError(std::string("cannot watch the system clock: ") + std::strerror(errno));
    }
    return fd;
}

}  // namespace

ClockWatcher::ClockWatcher(OnChange onChange) : ClockWatcher(std::move(onChange), kernelTimer()) {}

ClockWatcher::ClockWatcher(OnChange onChange, std::unique_ptr<Timer> timer)
    : _onChange(std::move(onChange)), _timer(std::move(timer)), _endFd(createEventFd()), _thread("ClockWatcher")
{
    _thread.start(*this);
}

ClockWatcher::~ClockWatcher()
{
    const uint64_t one = 1;
    // An eventfd at 0 takes a 1 without fail.
    if (write(_endFd, &one, sizeof(one)) != sizeof(one))
    {
        LogService::write(3, std::string("cannot end the clock watcher: ") + std::strerror(errno));
    }
    _thread.join();
    close(_endFd);
}

std::unique_ptr<ClockWatcher::Timer> ClockWatcher::kernelTimer()
{
    return std::make_unique<KernelTimer>();
}

uint64_t ClockWatcher::now()
{
    timespec time = {};
    clock_gettime(CLOCK_REALTIME, &time);
    return static_cast<uint64_t>(time.tv_sec) * 1000000000u + static_cast<uint64_t>(time.tv_nsec);
}

void ClockWatcher::run()
{
    while (true)
    {
        pollfd descriptors[] = {{_timer->descriptor(), POLLIN, 0}, {_endFd, POLLIN, 0}};
        if (poll(descriptors, 2, -1) == -1)
        {
            if (errno == EINTR)
            {
                continue;
            }
            LogService::write(3, std::string("the system clock is not watched any more: ") + std::strerror(errno));
            return;
        }
        if (descriptors[1].revents != 0)
        {
            return;
        }
        if (_timer->clockWasSet())
        {
            _onChange(now());
        }
    }
}

}  // namespace OrvElement
