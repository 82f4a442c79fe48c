// What the files of FaultLayer share. Nobody else needs it.
#pragma once

#include <dlfcn.h>

#include <atomic>
#include <cstdlib>

#include "FaultLayer.h"

namespace OrvTest
{
namespace FaultCore
{

// The real function of this name. Found at its first call, which may be the first of the process.
void* find(const char* name, std::atomic<void*>& found);

// For a function of the C library that a file replaces: ORV_REAL calls the one behind it.
#define ORV_REPLACES(name)         \
    std::atomic<void*> real_##name \
    {                              \
        nullptr                    \
    }
#define ORV_REAL(name) reinterpret_cast<decltype(&::name)>(OrvTest::FaultCore::find(#name, real_##name))
#define ORV_CALLER __builtin_return_address(0)

// A few words' work under a lock that is no mutex.
class Spin
{
public:
    Spin()
    {
        while (_busy.test_and_set(std::memory_order_acquire))
        {
        }
    }
    ~Spin() { _busy.clear(std::memory_order_release); }

    Spin(const Spin&) = delete;
    Spin& operator=(const Spin&) = delete;

private:
    static std::atomic_flag _busy;
};

// Addresses in the order in which they were met, or those that are held.
struct Addresses
{
    static const unsigned int CAPACITY = 1024;
    const void* entries[CAPACITY];
    unsigned int count;

    unsigned int placeOf(const void* address) const
    {
        unsigned int place = 0;
        while (place < count && entries[place] != address)
        {
            ++place;
        }
        return place;
    }
    void add(const void* address)
    {
        if (count == CAPACITY)
        {
            std::abort();
        }
        entries[count++] = address;
    }
    void removeAt(unsigned int place) { entries[place] = entries[--count]; }
};

// Calls of this thread do not count while the object lives: it is inside this layer, or makes a thread.
class Exemption
{
public:
    Exemption();
    ~Exemption();

    Exemption(const Exemption&) = delete;
    Exemption& operator=(const Exemption&) = delete;
};

// Whether watch has been called.
bool isWatching();
// Whether this thread runs on the service's side of its interfaces, and its calls count.
bool isOnService();

// A thread begins as a caller.
void becomeActor(Actor actor);

bool isServiceThread();
bool isPoolThread();
// Calls what FaultLayer was given for it.
void tellNews();
// Around a wait for input.
void serviceThreadWaits(bool waits);

// The fault, while one is armed for this operation and for what this thread is; else null.
const Fault* faultFor(Operation operation);
// Whether this call, which counts, is to fail.
bool isDue(const Fault& fault);
// Both in one, for every operation but those with a mutex.
bool fails(Operation operation);
// What a call that fails returns or leaves in errno.
int error();

// Of a library that was there before the service: whose code it is.
enum class Code
{
    service,   // or any code that is not known
    language,  // the C++ library's, which allocates for whoever calls it
    foreign    // POCO's and expat's
};
Code codeAt(const void* caller);

// What this thread allocates while the object lives is a library's: inside the C library no code tells whose it is.
class ForeignScope
{
public:
    ForeignScope();
    ~ForeignScope();

    ForeignScope(const ForeignScope&) = delete;
    ForeignScope& operator=(const ForeignScope&) = delete;
};
bool isForeignScope();

// Mutexes that have been met since arm.
void forgetMutexes();
// Blocks are remembered from now on.
void startBlocks();

}  // namespace FaultCore
}  // namespace OrvTest
