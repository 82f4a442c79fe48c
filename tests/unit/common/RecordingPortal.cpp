#include "RecordingPortal.h"

#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <map>
#include <mutex>
#include <stdexcept>

namespace
{

struct State
{
    std::mutex mutex;
    std::map<std::string, void*> offered;
    std::vector<SinkCall> calls;
    std::vector<std::string> lookups;
    std::vector<std::string> versions;
    std::atomic<int> level{6};
    std::atomic<int> levelReads{0};
    OrvMgmtSpiInterfacePortal_1* given = nullptr;
};

State& state()
{
    static State theState;
    return theState;
}

std::string formatted(const char* format, va_list arguments) __attribute__((format(printf, 1, 0)));
std::string formatted(const char* format, va_list arguments)
{
    char text[4096];
    vsnprintf(text, sizeof(text), format, arguments);
    return text;
}

void record(const SinkCall& call)
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().calls.push_back(call);
}

int getLevel()
{
    ++state().levelReads;
    return state().level;
}

void vlog(const char* function, int severity, int flag, const char* format, va_list arguments)
    __attribute__((format(printf, 4, 0)));
void vlog(const char* function, int severity, int flag, const char* format, va_list arguments)
{
    record({SinkCall::Log, nullptr, severity, flag, function, "", 0, format, formatted(format, arguments)});
}

void vtrace(const char* file, const char* function, int line, int kind, const char* format, va_list arguments)
    __attribute__((format(printf, 5, 0)));
void vtrace(const char* file, const char* function, int line, int kind, const char* format, va_list arguments)
{
    record({SinkCall::Trace, nullptr, kind, 0, function, file, line, format, formatted(format, arguments)});
}

void vtraceV2(const void* subsystem, int level, const char* file, const char* function, int line, const char* format,
              va_list arguments) __attribute__((format(printf, 6, 0)));
void vtraceV2(const void* subsystem, int level, const char* file, const char* function, int line, const char* format,
              va_list arguments)
{
    record({SinkCall::TraceV2, subsystem, level, 0, function, file, line, format, formatted(format, arguments)});
}

void* getPortal(const char* version)
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().versions.push_back(version);
    return state().given;
}

OrvMgmtSpiInterfacePortal_1 thePortal;
ZelMgmtSpiInterfacePortalAccessor theAccessor = {&getPortal};
OrvMwSpiLog_1 theLog;
ZelMwSpiTrace theTrace;

}  // namespace

RecordingPortal::RecordingPortal()
{
    thePortal = {{nullptr, "OrvMgmtSpiInterfacePortal", "1"}, &RecordingPortal::getInterface};
    theLog = {{nullptr, "OrvMwSpiLog", "1"}, &getLevel, &vlog};
    theTrace = {{nullptr, "ZelMwSpiTrace", nullptr}, &vtrace, &vtraceV2};
    state().given = &thePortal;
    state().level = 6;
    forget();
}

RecordingPortal::~RecordingPortal()
{
    orvCommonTerminate();
    state().offered.clear();
    forget();
}

ZelMgmtSpiInterfacePortalAccessor* RecordingPortal::accessor()
{
    return &theAccessor;
}

ZelReturnT RecordingPortal::getInterface(ZelMgmtSpiInterface_1 id, void** result)
{
    const auto shown = [](const char* text) { return std::string(text != nullptr ? text : "-"); };
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().lookups.push_back(shown(id.componentName) + "/" + shown(id.interfaceName) + "/" +
                              shown(id.interfaceVersion));
    const auto found = state().offered.find(shown(id.interfaceName));
    if (found == state().offered.end())
    {
        return OrvNotFound;
    }
    *result = found->second;
    return OrvOk;
}

void RecordingPortal::offer(const std::string& interfaceName, void* table)
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    if (table == nullptr)
    {
        state().offered.erase(interfaceName);
    }
    else
    {
        state().offered[interfaceName] = table;
    }
}

void RecordingPortal::offerSinks()
{
    offer("OrvMwSpiLog", &theLog);
    offer("ZelMwSpiTrace", &theTrace);
}

void RecordingPortal::init(int level)
{
    setLevel(level);
    orvCommonInit(accessor());
    forget();
}

void RecordingPortal::setLevel(int level)
{
    state().level = level;
}

OrvMwSpiLog_1& RecordingPortal::log()
{
    return theLog;
}

ZelMwSpiTrace& RecordingPortal::trace()
{
    return theTrace;
}

void RecordingPortal::setPortal(OrvMgmtSpiInterfacePortal_1* portal)
{
    state().given = portal;
}

OrvMgmtSpiInterfacePortal_1& RecordingPortal::portal()
{
    return thePortal;
}

std::vector<SinkCall> RecordingPortal::calls() const
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    return state().calls;
}

std::vector<std::string> RecordingPortal::lookups() const
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    return state().lookups;
}

std::vector<std::string> RecordingPortal::versions() const
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    return state().versions;
}

int RecordingPortal::levelReads() const
{
    return state().levelReads;
}

void RecordingPortal::forget()
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().calls.clear();
    state().lookups.clear();
    state().versions.clear();
    state().levelReads = 0;
}

StandardErrorCapture::StandardErrorCapture() : _saved(dup(STDERR_FILENO)), _ends()
{
    fflush(stderr);
    // This kind of socket keeps the borders between writes, and has room for some hundred.
    if (_saved < 0 || socketpair(AF_UNIX, SOCK_SEQPACKET, 0, _ends) != 0 || dup2(_ends[1], STDERR_FILENO) < 0)
    {
        throw std::runtime_error("standard error cannot be captured");
    }
}

StandardErrorCapture::~StandardErrorCapture()
{
    dup2(_saved, STDERR_FILENO);
    close(_saved);
    close(_ends[0]);
    close(_ends[1]);
}

std::vector<std::string> StandardErrorCapture::writes()
{
    std::vector<std::string> result;
    char buffer[8192];
    ssize_t got;
    while ((got = recv(_ends[0], buffer, sizeof(buffer), MSG_DONTWAIT)) > 0)
    {
        result.emplace_back(buffer, static_cast<size_t>(got));
    }
    return result;
}
