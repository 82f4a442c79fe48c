// Compiled without sanitizers: malloc is called before they are ready.
#include "FaultLayer.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <pthread.h>
#include <regex.h>
#include <sys/select.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

#include "Crossing.h"

namespace OrvTest
{

namespace
{

// The real function of this name. Found at its first call, which may be the first of the process.
void* find(const char* name, std::atomic<void*>& found)
{
    void* function = found.load(std::memory_order_acquire);
    if (function == nullptr)
    {
        function = dlsym(RTLD_NEXT, name);
        found.store(function, std::memory_order_release);
    }
    return function;
}

#define ORV_REAL(name) reinterpret_cast<decltype(&::name)>(find(#name, real_##name))

std::atomic<void*> real_malloc{nullptr};
std::atomic<void*> real_free{nullptr};
std::atomic<void*> real_calloc{nullptr};
std::atomic<void*> real_realloc{nullptr};
std::atomic<void*> real_pthread_mutex_lock{nullptr};
std::atomic<void*> real_pthread_mutex_trylock{nullptr};
std::atomic<void*> real_pthread_mutex_unlock{nullptr};
std::atomic<void*> real_pthread_create{nullptr};
std::atomic<void*> real_pthread_join{nullptr};
std::atomic<void*> real_pthread_detach{nullptr};
std::atomic<void*> real_select{nullptr};
std::atomic<void*> real_nanosleep{nullptr};
std::atomic<void*> real_regcomp{nullptr};
std::atomic<void*> real_open64{nullptr};
std::atomic<void*> real_read{nullptr};
std::atomic<void*> real_write{nullptr};

// What is allocated while dlsym looks for malloc. Never freed.
alignas(16) char earlyMemory[64 * 1024];
std::atomic<size_t> earlyUsed{0};
thread_local bool lookingUp = false;

bool isEarly(const void* block)
{
    const char* const place = static_cast<const char*>(block);
    return place >= earlyMemory && place < earlyMemory + sizeof(earlyMemory);
}

void* earlyBlock(size_t size)
{
    const size_t place = earlyUsed.fetch_add((size + 15) / 16 * 16);
    return place + size <= sizeof(earlyMemory) ? earlyMemory + place : nullptr;
}

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

std::atomic_flag Spin::_busy = ATOMIC_FLAG_INIT;

const int MAX_PLACE = 24;
const int MAX_BLOCK_PLACE = 10;

thread_local Actor actorOfThisThread = Actor::caller;
thread_local bool compiling = false;  // inside regcomp
thread_local int exempt = 0;          // inside this layer, or in the making of a thread

// Calls of this thread do not count.
class Exemption
{
public:
    Exemption() { ++exempt; }
    ~Exemption() { --exempt; }

    Exemption(const Exemption&) = delete;
    Exemption& operator=(const Exemption&) = delete;
};

std::atomic<bool> watching{false};
std::atomic<bool> armed{false};
Fault currentFault;
std::atomic<unsigned int> callCount{0};
std::atomic<bool> met{false};
void* faultPlace[MAX_PLACE + 1];

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

Addresses metMutexes;
Addresses heldByService;

bool isOnService()
{
    return exempt == 0 && Crossing::side() == Crossing::toService;
}

void notePlace()
{
    const Exemption here;
    const int depth = backtrace(faultPlace, MAX_PLACE);
    faultPlace[depth] = nullptr;
}

// Whether this call, which counts, is to fail.
bool isDue(const Fault& fault)
{
    const unsigned int number = callCount.fetch_add(1) + 1;
    if (number != fault.nth && !(fault.fromThenOn && number > fault.nth))
    {
        return false;
    }
    if (!met.exchange(true))
    {
        notePlace();
    }
    return true;
}

bool fails(Operation operation)
{
    return armed.load(std::memory_order_acquire) && isOnService() && currentFault.operation == operation &&
           currentFault.actor == actorOfThisThread && isDue(currentFault);
}

// The code of libraries that were there before the service. To ask the loader at each call would be a lock more.
struct Code
{
    uintptr_t begin;
    uintptr_t end;
    bool isLanguage;  // the C++ library, which allocates for whoever calls it
};

const unsigned int MAX_FOREIGN = 64;
Code foreignCode[MAX_FOREIGN];
unsigned int foreignCount = 0;

int noteForeignCode(dl_phdr_info* library, size_t, void*)
{
    const bool isLanguage = std::strstr(library->dlpi_name, "libstdc++") != nullptr;
    if (!isLanguage && std::strstr(library->dlpi_name, "libPoco") == nullptr &&
        std::strstr(library->dlpi_name, "libexpat") == nullptr)
    {
        return 0;
    }
    for (int i = 0; i < library->dlpi_phnum; ++i)
    {
        const ElfW(Phdr)& segment = library->dlpi_phdr[i];
        if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0 && foreignCount < MAX_FOREIGN)
        {
            const uintptr_t begin = library->dlpi_addr + segment.p_vaddr;
            foreignCode[foreignCount++] = {begin, begin + segment.p_memsz, isLanguage};
        }
    }
    return 0;
}

// Null for the service's own code.
const Code* foreignCodeAt(const void* caller)
{
    const uintptr_t code = reinterpret_cast<uintptr_t>(caller);
    for (unsigned int i = 0; i < foreignCount; ++i)
    {
        if (foreignCode[i].begin <= code && code < foreignCode[i].end)
        {
            return &foreignCode[i];
        }
    }
    return nullptr;
}

bool isLockOfService(const void* caller)
{
    return watching.load(std::memory_order_acquire) && isOnService() && foreignCodeAt(caller) == nullptr;
}

bool lockFails(Operation operation, const pthread_mutex_t* mutex)
{
    if (!armed.load(std::memory_order_acquire) || currentFault.operation != operation ||
        currentFault.actor != actorOfThisThread)
    {
        return false;
    }
    const Spin spin;
    unsigned int place = metMutexes.placeOf(mutex);
    if (place == metMutexes.count)
    {
        metMutexes.add(mutex);
    }
    return (currentFault.object == 0 || currentFault.object == place + 1) && isDue(currentFault);
}

void noteHeld(const pthread_mutex_t* mutex)
{
    const Spin spin;
    heldByService.add(mutex);
}

// Whoever unlocks it: the delivery token is given back by another thread.
void noteFreed(const pthread_mutex_t* mutex)
{
    const Spin spin;
    const unsigned int place = heldByService.placeOf(mutex);
    if (place < heldByService.count)
    {
        heldByService.removeAt(place);
    }
}

// The watched blocks: an open hash table by address. A slot that has been used stays used.
struct Block
{
    void* address;
    size_t size;
    bool isForeign;
    void* place[MAX_BLOCK_PLACE];
};

const size_t BLOCKS = size_t(1) << 16;
void* const WAS_USED = reinterpret_cast<void*>(1);
bool placesWanted = false;
Block watched[BLOCKS];
unsigned int watchedCounts[2] = {};  // the service's own, foreign ones

size_t firstSlot(const void* address)
{
    return (reinterpret_cast<uintptr_t>(address) >> 4) * 0x9E3779B97F4A7C15u >> 48;
}

void watch(void* address, size_t size, const void* caller)
{
    if (address == nullptr || !watching.load(std::memory_order_acquire) || !isOnService())
    {
        return;
    }
    const Exemption here;
    const Code* const code = foreignCodeAt(caller);
    Block block = {address, size, compiling || (code != nullptr && !code->isLanguage), {}};
    if (placesWanted)
    {
        backtrace(block.place, MAX_BLOCK_PLACE);
    }
    const Spin spin;
    for (size_t i = 0; i < BLOCKS; ++i)
    {
        Block& slot = watched[(firstSlot(address) + i) % BLOCKS];
        if (slot.address == nullptr || slot.address == WAS_USED)
        {
            slot = block;
            ++watchedCounts[block.isForeign];
            return;
        }
    }
    std::abort();
}

// Whoever frees it.
void unwatch(const void* address)
{
    if (address == nullptr || !watching.load(std::memory_order_acquire))
    {
        return;
    }
    const Spin spin;
    for (size_t i = 0; i < BLOCKS; ++i)
    {
        Block& slot = watched[(firstSlot(address) + i) % BLOCKS];
        if (slot.address == address)
        {
            slot.address = WAS_USED;
            --watchedCounts[slot.isForeign];
            return;
        }
        if (slot.address == nullptr)
        {
            return;
        }
    }
}

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
std::atomic<void (*)()> serviceThreadEnded{nullptr};

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
    actorOfThisThread = thread.actor;
    Crossing::startIn(Crossing::toService);
    void* const result = thread.function(thread.argument);
    Crossing::startIn(Crossing::toTest);
    if (thread.actor == Actor::serviceThread)
    {
        aliveServiceThreads.fetch_sub(1);
        void (*const action)() = serviceThreadEnded.load();
        if (action != nullptr)
        {
            action();
        }
    }
    aliveThreads.fetch_sub(1);
    return result;
}

}  // namespace

void FaultLayer::arm(const Fault& fault)
{
    currentFault = fault;
    callCount.store(0);
    met.store(false);
    faultPlace[0] = nullptr;
    metMutexes.count = 0;
    armed.store(true, std::memory_order_release);
}

bool FaultLayer::disarm()
{
    armed.store(false, std::memory_order_release);
    return met.load();
}

unsigned int FaultLayer::calls()
{
    return callCount.load();
}

unsigned int FaultLayer::objects()
{
    const Spin spin;
    return metMutexes.count;
}

void FaultLayer::threadsAre(Actor actor)
{
    actorOfNewThreads.store(actor);
}

void FaultLayer::whenServiceThreadEnds(void (*action)())
{
    serviceThreadEnded.store(action);
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

void FaultLayer::watch()
{
    placesWanted = std::getenv("ORV_FAULT_PLACES") != nullptr;
    foreignCount = 0;
    dl_iterate_phdr(noteForeignCode, nullptr);
    notePlace();  // its first call loads a library
    watching.store(true, std::memory_order_release);
}

unsigned int FaultLayer::blocks()
{
    const Spin spin;
    return watchedCounts[false];
}

unsigned int FaultLayer::foreignBlocks()
{
    const Spin spin;
    return watchedCounts[true];
}

void FaultLayer::describeBlocks()
{
    for (const Block& block : watched)
    {
        if (block.address == nullptr || block.address == WAS_USED)
        {
            continue;
        }
        std::fprintf(stderr, "%zu bytes%s\n", block.size, block.isForeign ? " of a library" : "");
        int depth = 0;
        while (depth < MAX_BLOCK_PLACE && block.place[depth] != nullptr)
        {
            ++depth;
        }
        backtrace_symbols_fd(block.place, depth, STDERR_FILENO);
    }
}

unsigned int FaultLayer::heldMutexes()
{
    const Spin spin;
    return heldByService.count;
}

void FaultLayer::describeThread()
{
    const Exemption here;
    void* place[MAX_PLACE];
    backtrace_symbols_fd(place, backtrace(place, MAX_PLACE), STDERR_FILENO);
}

void FaultLayer::describePlace(char* text, size_t size)
{
    text[0] = '\0';
    size_t used = 0;
    Dl_info program = {};
    dladdr(reinterpret_cast<void*>(&FaultLayer::describePlace), &program);
    for (void* const* code = faultPlace; *code != nullptr && used < size; ++code)
    {
        Dl_info info = {};
        const bool known = dladdr(*code, &info) != 0;
        if (info.dli_fbase == program.dli_fbase)
        {
            continue;  // the test itself
        }
        const char* const symbol = known && info.dli_sname != nullptr ? info.dli_sname : "?";
        const char* const library = known && info.dli_fname != nullptr ? info.dli_fname : "?";
        const size_t offset = static_cast<size_t>(static_cast<char*>(*code) - static_cast<char*>(info.dli_fbase));
        const int written = std::snprintf(text + used, size - used, "  %s %s+0x%zx\n", symbol, library, offset);
        used += static_cast<size_t>(written);
    }
}

}  // namespace OrvTest

using namespace OrvTest;

namespace
{

void* allocate(size_t size, const void* caller)
{
    if (lookingUp)
    {
        return earlyBlock(size);
    }
    lookingUp = true;
    const auto function = ORV_REAL(malloc);
    lookingUp = false;
    if (fails(Operation::allocate))
    {
        errno = ENOMEM;
        return nullptr;
    }
    void* const block = function(size);
    watch(block, size, caller);
    return block;
}

}  // namespace

#define ORV_CALLER __builtin_return_address(0)

extern "C"
{
    void* malloc(size_t size) noexcept
    {
        return allocate(size, ORV_CALLER);
    }

    void free(void* block) noexcept
    {
        if (isEarly(block))
        {
            return;
        }
        unwatch(block);
        ORV_REAL(free)(block);
    }

    void* calloc(size_t count, size_t size) noexcept
    {
        if (lookingUp)
        {
            return earlyBlock(count * size);  // fresh, thus zero
        }
        lookingUp = true;
        const auto function = ORV_REAL(calloc);
        lookingUp = false;
        if (fails(Operation::allocate))
        {
            errno = ENOMEM;
            return nullptr;
        }
        void* const block = function(count, size);
        watch(block, count * size, ORV_CALLER);
        return block;
    }

    void* realloc(void* block, size_t size) noexcept
    {
        if (isEarly(block))
        {
            void* const moved = malloc(size);
            if (moved != nullptr)
            {
                std::memcpy(moved, block, size);
            }
            return moved;
        }
        lookingUp = true;
        const auto function = ORV_REAL(realloc);
        lookingUp = false;
        if (fails(Operation::allocate))
        {
            errno = ENOMEM;
            return nullptr;
        }
        unwatch(block);
        void* const moved = function(block, size);
        watch(moved, size, ORV_CALLER);
        return moved;
    }

    int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
    {
        const auto function = ORV_REAL(pthread_mutex_lock);
        if (!isLockOfService(ORV_CALLER))
        {
            return function(mutex);
        }
        if (lockFails(Operation::lock, mutex))
        {
            return currentFault.error;
        }
        const int result = function(mutex);
        noteHeld(mutex);
        return result;
    }

    int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept
    {
        const auto function = ORV_REAL(pthread_mutex_trylock);
        if (!isLockOfService(ORV_CALLER))
        {
            return function(mutex);
        }
        if (lockFails(Operation::tryLock, mutex))
        {
            return currentFault.error;
        }
        const int result = function(mutex);
        if (result == 0)
        {
            noteHeld(mutex);
        }
        return result;
    }

    int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept
    {
        const auto function = ORV_REAL(pthread_mutex_unlock);
        if (!isLockOfService(ORV_CALLER))
        {
            return function(mutex);
        }
        // Before the mutex is free: from then on the next call may come, or the mutex be gone.
        const bool failing = lockFails(Operation::unlock, mutex);
        noteFreed(mutex);
        const int result = function(mutex);
        return failing ? currentFault.error : result;
    }

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
            return currentFault.error;
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

    int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout)
    {
        if (fails(Operation::wait))
        {
            errno = currentFault.error;
            return -1;
        }
        return ORV_REAL(select)(count, readable, writable, exceptional, timeout);
    }

    int nanosleep(const timespec* request, timespec* remaining)
    {
        if (fails(Operation::pause))
        {
            errno = currentFault.error;
            return -1;
        }
        return ORV_REAL(nanosleep)(request, remaining);
    }

    int regcomp(regex_t* compiled, const char* expression, int flags)
    {
        if (fails(Operation::compile))
        {
            return currentFault.error;
        }
        compiling = true;
        const int result = ORV_REAL(regcomp)(compiled, expression, flags);
        compiling = false;
        return result;
    }

    int open64(const char* path, int flags, ...)
    {
        mode_t mode = 0;
        if ((flags & O_CREAT) != 0)
        {
            va_list arguments;
            va_start(arguments, flags);
            mode = va_arg(arguments, mode_t);
            va_end(arguments);
        }
        if (fails(Operation::open))
        {
            errno = currentFault.error;
            return -1;
        }
        return ORV_REAL(open64)(path, flags, mode);
    }

    ssize_t read(int descriptor, void* buffer, size_t size)
    {
        if (fails(Operation::read))
        {
            errno = currentFault.error;
            return -1;
        }
        return ORV_REAL(read)(descriptor, buffer, size);
    }

    ssize_t write(int descriptor, const void* buffer, size_t size)
    {
        if (fails(Operation::write))
        {
            errno = currentFault.error;
            return -1;
        }
        return ORV_REAL(write)(descriptor, buffer, size);
    }
}

void* operator new(size_t size)
{
    void* const block = allocate(size != 0 ? size : 1, ORV_CALLER);
    if (block == nullptr)
    {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete(void* block) noexcept
{
    free(block);
}

void operator delete(void* block, size_t) noexcept
{
    free(block);
}
