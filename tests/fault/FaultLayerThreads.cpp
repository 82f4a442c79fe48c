// The threads that the service makes: their making can fail, and each is known for what it is until it has ended.
#include <pthread.h>

#include <atomic>

#include "Crossing.h"
#include "FaultCore.h"

namespace OrvTest
{

using namespace FaultCore;

namespace
{

ORV_REPLACES(pthread_create);
ORV_REPLACES(pthread_join);
ORV_REPLACES(pthread_detach);

// Threads that the service makes begin here.
struct ThreadStart
{
    void* (*function)(void*);
    void* argument;
    Actor actor;
};

const unsigned int MAX_STARTS = 4096;
ThreadStart threadStarts[MAX_STARTS];
std::atomic<unsigned int> startCount{0};
std::atomic<Actor> actorOfNewThreads{Actor::poolThread};
std::atomic<unsigned int> aliveServiceThreads{0};
std::atomic<unsigned int> aliveThreads{0};
Addresses unjoined;  // the threads' identifiers, which are addresses here
std::atomic<void (*)()> newsAction{nullptr};
std::atomic<bool> serviceThreadIsWaiting{false};

void noteThread(pthread_t thread)
{
    const Spin spin;
    unjoined.add(reinterpret_cast<void*>(thread));
}

// Nothing happens for a thread that the service has not made.
void forgetThread(pthread_t thread)
{
    const Spin spin;
    const unsigned int place = unjoined.placeOf(reinterpret_cast<void*>(thread));
    if (place < unjoined.count)
    {
        unjoined.removeAt(place);
    }
}

void* runThread(void* start)
{
    const ThreadStart& thread = *static_cast<ThreadStart*>(start);
    becomeActor(thread.actor);
    Crossing::startIn(Crossing::toService);
    void* const result = thread.function(thread.argument);
    Crossing::startIn(Crossing::toTest);
    if (thread.actor == Actor::serviceThread)
    {
        aliveServiceThreads.fetch_sub(1);
        tellNews();
    }
    aliveThreads.fetch_sub(1);
    return result;
}

}  // namespace

void FaultCore::tellNews()
{
    const Exemption here;
    void (*const action)() = newsAction.load();
    if (action != nullptr)
    {
        action();
    }
}

void FaultCore::serviceThreadWaits(bool waits)
{
    serviceThreadIsWaiting.store(waits);
    if (waits)
    {
        tellNews();
    }
}

void FaultLayer::threadsAre(Actor actor)
{
    actorOfNewThreads.store(actor);
}

void FaultLayer::whenThereIsNews(void (*action)())
{
    newsAction.store(action);
}

bool FaultLayer::isServiceThreadWaiting()
{
    return serviceThreadIsWaiting.load();
}

unsigned int FaultLayer::serviceThreads()
{
    return aliveServiceThreads.load();
}

unsigned int FaultLayer::threads()
{
    return aliveThreads.load();
}

unsigned int FaultLayer::unjoinedThreads()
{
    const Spin spin;
    return unjoined.count;
}

}  // namespace OrvTest

using namespace OrvTest;

extern "C"
{
    int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                       void* argument) noexcept
    {
        const auto create = ORV_REAL(pthread_create);
        if (!isOnService())
        {
            return create(thread, attributes, function, argument);
        }
        if (fails(Operation::createThread))
        {
            return error();
        }
        const unsigned int place = startCount.fetch_add(1);
        if (place >= MAX_STARTS)
        {
            std::abort();
        }
        const Actor actor = actorOfNewThreads.load();
        threadStarts[place] = {function, argument, actor};
        aliveThreads.fetch_add(1);
        aliveServiceThreads.fetch_add(actor == Actor::serviceThread ? 1 : 0);
        const Exemption here;
        const int result = create(thread, attributes, runThread, &threadStarts[place]);
        if (result != 0)
        {
            std::abort();  // a fault that nobody has asked for
        }
        noteThread(*thread);
        return result;
    }

    int pthread_join(pthread_t thread, void** result)
    {
        forgetThread(thread);
        return ORV_REAL(pthread_join)(thread, result);
    }

    int pthread_detach(pthread_t thread) noexcept
    {
        forgetThread(thread);
        return ORV_REAL(pthread_detach)(thread);
    }
}
