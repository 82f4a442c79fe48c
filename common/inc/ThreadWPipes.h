#pragma once

#include <Poco/Mutex.h>
#include <Poco/Runnable.h>
#include <Poco/Thread.h>

#include <deque>

#include "PipeMessage.h"
#include "ThreadSafety.h"

namespace Orv
{

// A thread with an input queue and a descriptor that is readable while messages wait, fit for select.
// Threads:   pushToInput from any; getInputReadFD and popFromInput from the running thread; start and join from the
//            thread that owns the object.
// Ownership: pushToInput takes the message, also when it throws; popFromInput gives the messages to the caller.
// Invariant: the descriptor holds at most one pending wake-up, and holds one exactly while the queue is not empty.
// Failure:   the constructor throws Orv::OrvException if no descriptor can be had or if it does not fit an fd_set.
//            A push that throws has changed nothing.
class ThreadWPipes : public Poco::Thread
{
public:
    ThreadWPipes();
    ~ThreadWPipes();  // frees what still waits; the thread must have ended

    // Starts the thread, again if it has ended; one that nobody has joined is joined here. The first start keeps what
    // was pushed before; any later one frees what waits, so a run never sees a message of an earlier run. A thread that
    // cannot be started, or runs already, is a Poco::SystemException; one that runs keeps its messages.
    void start(Poco::Runnable& target);

    // Waits for the thread to end, without limit.
    void join();

    // Never blocks. One system call when the queue was empty, none otherwise. Throws std::bad_alloc if the queue cannot
    // grow, Orv::OrvException if the descriptor cannot be signalled; the message is freed then.
    void pushToInput(PipeMessage* message);

    int getInputReadFD() const { return _eventFd; }

    // All waiting messages, oldest first; the descriptor is not readable afterwards.
    std::deque<PipeMessage*> popFromInput();

private:
    void freeWaiting();
    void takeWakeUp();

    const int _eventFd;
    bool _startedBefore;  // these two: of the thread that owns the object
    bool _joined;         // since the last start
    Poco::FastMutex _inputMutex;
    std::deque<PipeMessage*> _input ORV_GUARDED_BY(_inputMutex);
};

}  // namespace Orv
