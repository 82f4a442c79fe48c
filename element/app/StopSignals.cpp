#include "StopSignals.h"

#include <poll.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "ElementError.h"

namespace OrvElement
{

StopSignals::StopSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    _signalFd = signalfd(-1, &signals, SFD_CLOEXEC);
    _requestFd = eventfd(0, EFD_CLOEXEC);
    _epollFd = epoll_create1(EPOLL_CLOEXEC);
    epoll_event readable = {};
    readable.events = EPOLLIN;
    if (_signalFd == -1 || _requestFd == -1 || _epollFd == -1 ||
        epoll_ctl(_epollFd, EPOLL_CTL_ADD, _signalFd, &readable) == -1 ||
        epoll_ctl(_epollFd, EPOLL_CTL_ADD, _requestFd, &readable) == -1)
    {
        const std::string cause = std::strerror(errno);
        closeAll();
        throw ElementError("cannot wait for signals: " + cause);
    }
}

StopSignals::~StopSignals()
{
    closeAll();
}

bool StopSignals::stopped() const
{
    pollfd descriptor = {_epollFd, POLLIN, 0};
    return poll(&descriptor, 1, 0) == 1;
}

void StopSignals::requestStop()
{
    const uint64_t one = 1;
    // Fails only at the counter's end, when a stop has been requested before.
    [[maybe_unused]] const ssize_t written = write(_requestFd, &one, sizeof(one));
}

void StopSignals::closeAll()
{
    for (const int descriptor : {_signalFd, _requestFd, _epollFd})
    {
        if (descriptor != -1)
        {
            close(descriptor);
        }
    }
}

}  // namespace OrvElement
