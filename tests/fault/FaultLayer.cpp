// The fault that is armed, and whether a call meets it. Compiled without sanitizers, like the files of what can fail:
// some of it runs before they are ready.
#include "FaultLayer.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "Crossing.h"
#include "FaultCore.h"

namespace OrvTest
{
namespace FaultCore
{

namespace
{

const int MAX_PLACE = 24;

thread_local Actor actorOfThisThread = Actor::caller;
thread_local int exempt = 0;
thread_local bool inForeignScope = false;

std::atomic<bool> watching{false};
std::atomic<bool> armed{false};
Fault currentFault;
std::atomic<unsigned int> callCount{0};
std::atomic<bool> met{false};
void* faultPlace[MAX_PLACE + 1];

void notePlace()
{
    const Exemption here;
    const int depth = backtrace(faultPlace, MAX_PLACE);
    faultPlace[depth] = nullptr;
}

// The code of libraries that were there before the service. To ask the loader at each call would be a lock more.
struct Segment
{
    uintptr_t begin;
    uintptr_t end;
    bool isLanguage;  // the C++ library, which allocates for whoever calls it
};

const unsigned int MAX_FOREIGN = 64;
Segment foreignCode[MAX_FOREIGN];
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

}  // namespace

std::atomic_flag Spin::_busy = ATOMIC_FLAG_INIT;

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

Exemption::Exemption()
{
    ++exempt;
}

Exemption::~Exemption()
{
    --exempt;
}

ForeignScope::ForeignScope()
{
    inForeignScope = true;
}

ForeignScope::~ForeignScope()
{
    inForeignScope = false;
}

bool isForeignScope()
{
    return inForeignScope;
}

bool isWatching()
{
    return watching.load(std::memory_order_acquire);
}

bool isOnService()
{
    return exempt == 0 && Crossing::side() == Crossing::toService;
}

void becomeActor(Actor actor)
{
    actorOfThisThread = actor;
}

bool isServiceThread()
{
    return actorOfThisThread == Actor::serviceThread;
}

bool isPoolThread()
{
    return actorOfThisThread == Actor::poolThread;
}

const Fault* faultFor(Operation operation)
{
    const bool wanted = armed.load(std::memory_order_acquire) && currentFault.operation == operation &&
                        currentFault.actor == actorOfThisThread;
    return wanted ? &currentFault : nullptr;
}

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
    const Fault* const fault = faultFor(operation);
    return fault != nullptr && isOnService() && isDue(*fault);
}

int error()
{
    return currentFault.error;
}

Code codeAt(const void* caller)
{
    const uintptr_t code = reinterpret_cast<uintptr_t>(caller);
    for (unsigned int i = 0; i < foreignCount; ++i)
    {
        if (foreignCode[i].begin <= code && code < foreignCode[i].end)
        {
            return foreignCode[i].isLanguage ? Code::language : Code::foreign;
        }
    }
    return Code::service;
}

}  // namespace FaultCore

using namespace FaultCore;

void FaultLayer::arm(const Fault& fault)
{
    currentFault = fault;
    callCount.store(0);
    met.store(false);
    faultPlace[0] = nullptr;
    forgetMutexes();
    armed.store(true, std::memory_order_release);
}

bool FaultLayer::disarm()
{
    armed.store(false, std::memory_order_release);
    return met.load();
}

void FaultLayer::watch()
{
    foreignCount = 0;
    dl_iterate_phdr(noteForeignCode, nullptr);
    notePlace();  // its first call loads a library
    startBlocks();
    watching.store(true, std::memory_order_release);
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
