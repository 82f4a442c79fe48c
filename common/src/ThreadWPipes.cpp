#include "ThreadWPipes.h"

#include <sys/eventfd.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>

#include "OrvException.h"
#include "OrvThreadLock.h"

namespace Orv
{

namespace
{

int createEventFd()
{
    const int fd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (fd < 0)
    {
        throw OrvException("No descriptor for the input of a thread: %s", strerror(errno));
    }
    if (fd >= FD_SETSIZE)
    {
        close(fd);
        throw OrvException("Descriptor %d for the input of a thread does not fit an fd_set of %d", fd, FD_SETSIZE);
    }
    return fd;
}

}  // namespace

ThreadWPipes::ThreadWPipes() : _eventFd(createEventFd()), _startedBefore(false), _joined(false) {}

ThreadWPipes::~ThreadWPipes()
{
    freeWaiting();
    close(_eventFd);
}

void ThreadWPipes::start(Poco::Runnable& target)
{
    // A thread that still runs is refused by the base, and must keep its messages.
    if (_startedBefore && !isRunning())
    {
        if (!_joined)
        {
            join();  // an exception has ended it, and nobody has waited for that
        }
        freeWaiting();
    }
    Poco::Thread::start(target);
    _startedBefore = true;
    _joined = false;
}

void ThreadWPipes::join()
{
    Poco::Thread::join();
    _joined = true;
}

void ThreadWPipes::pushToInput(PipeMessage* message)
{
    std::unique_ptr<PipeMessage> owned(message);
    const OrvThreadLock<Poco::FastMutex> lock(_inputMutex);
    _input.push_back(message);
    if (_input.size() == 1)
    {
        const uint64_t wakeUp = 1;
        if (write(_eventFd, &wakeUp, sizeof(wakeUp)) != static_cast<ssize_t>(sizeof(wakeUp)))
        {
            _input.pop_back();
            throw OrvException("The input of a thread cannot be signalled: %s", strerror(errno));
        }
    }
    owned.release();
}

std::deque<PipeMessage*> ThreadWPipes::popFromInput()
{
    std::deque<PipeMessage*> waiting;
    const OrvThreadLock<Poco::FastMutex> lock(_inputMutex);
    if (!_input.empty())
    {
        takeWakeUp();
        waiting.swap(_input);
    }
    return waiting;
}

// Allocates nothing: it is also what the destructor does.
void ThreadWPipes::freeWaiting()
{
    const OrvThreadLock<Poco::FastMutex> lock(_inputMutex);
    if (!_input.empty())
    {
        takeWakeUp();
        for (PipeMessage* message : _input)
        {
            delete message;
        }
        _input.clear();
    }
}

// A wake-up that someone else has read already is no reason to keep the messages back.
void ThreadWPipes::takeWakeUp()
{
    uint64_t wakeUps = 0;
    const ssize_t ignored = read(_eventFd, &wakeUps, sizeof(wakeUps));
    static_cast<void>(ignored);
}

}  // namespace Orv
