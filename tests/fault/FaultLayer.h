// The test program's own malloc, pthread_mutex_lock and others of the C library stand in front of the real ones, for
// every library of the process: the service, its support library, POCO and the C++ runtime. So the service's n-th
// allocation can be made to fail, whoever makes it on its behalf.
#pragma once

#include <cstddef>

namespace OrvTest
{

// What can be made to fail. Only calls from the service's side of its interfaces count (see Crossing): not those of a
// fake, a handler or a test.
enum class Operation
{
    allocate,      // malloc, calloc, realloc, operator new and what the C library allocates itself (strdup, regcomp).
                   // Not: what making a thread takes
    lock,          // these three: of the service and its support library. POCO's locks inside its own library do not
    tryLock,       // count
    unlock,        // it unlocks all the same
    createThread,  // EAGAIN
    wait,          // select
    pause,         // nanosleep
    compile,       // regcomp, REG_ESPACE
    open,
    read,
    write
};

// Whose calls count.
enum class Actor
{
    caller,         // who calls the service: the life cycle thread, an agent, the event thread
    serviceThread,  // made while threadsAre(serviceThread) held
    poolThread
};

struct Fault
{
    Operation operation;
    Actor actor;
    unsigned int nth;     // 1 is the next
    bool fromThenOn;      // or once
    int error;            // what a call that fails returns or leaves in errno
    unsigned int object;  // of the three with a mutex: of the n-th mutex that the actor meets; 0 for any
};

// Threads: any. One fault at a time.
class FaultLayer
{
public:
    static void arm(const Fault& fault);
    // Returns whether the fault has been met.
    static bool disarm();
    // Whether a mutex has failed so far, and the failing unlock has freed it.
    static bool hasMutexFailed();

    // The system clock as the service's side reads it stands at this time since the Unix epoch, or runs.
    static void holdClock(long long microseconds);
    static void releaseClock();

    // What threads that the service makes from now on are.
    static void threadsAre(Actor actor);
    // Called when the service thread is about to wait for its input, when it has ended, before it is gone, when a pool
    // thread has unlocked a mutex, and when a mutex has failed, on that thread. Null for nothing.
    static void whenThereIsNews(void (*action)());
    static bool isServiceThreadWaiting();   // for its input
    static unsigned int serviceThreads();   // alive
    static unsigned int threads();          // of any kind made by the service, alive
    static unsigned int unjoinedThreads();  // alive or ended, and neither joined nor detached

    // To be called once, before the service is loaded: from now on each block that the service's side allocates is
    // remembered until it is freed, and each mutex that its own code locks until it is unlocked.
    static void watch();
    static unsigned int blocks();         // that the service's own code has asked for
    static unsigned int foreignBlocks();  // that POCO, expat or regcomp has asked for on its behalf
    // Writes the size of each to standard error, and with ORV_FAULT_PLACES in the environment where it comes from.
    static void describeBlocks();

    static unsigned int heldMutexes();

    // Writes where the fault was met, innermost first, while the libraries are loaded. Empty if it was not.
    static void describePlace(char* text, size_t size);
    // Writes to standard error where this thread is.
    static void describeThread();
};

}  // namespace OrvTest
