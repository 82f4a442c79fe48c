#include "ForkedRun.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>

#include "FaultLayer.h"

namespace OrvTest
{

namespace
{

const unsigned int TIMEOUT_SECONDS = 30;
const size_t MOST_SHOWN = 16 * 1024;

Facts* factsOfThisChild = nullptr;

[[noreturn]] void noteTermination()
{
    factsOfThisChild->terminated = true;
    std::abort();
}

std::atomic_flag placeIsNoted = ATOMIC_FLAG_INIT;

// Tells where the fault was before the process ends of this signal after all.
void tellPlaceAndEnd(int signal)
{
    notePlace(*factsOfThisChild);
    FaultLayer::describeThread();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

class SharedFacts
{
public:
    SharedFacts()
        : _facts(static_cast<Facts*>(
              mmap(nullptr, sizeof(Facts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
    {
        if (_facts == MAP_FAILED)
        {
            throw std::runtime_error("no shared memory");
        }
    }
    ~SharedFacts() { munmap(_facts, sizeof(Facts)); }

    Facts& operator*() const { return *_facts; }

    SharedFacts(const SharedFacts&) = delete;
    SharedFacts& operator=(const SharedFacts&) = delete;

private:
    Facts* const _facts;
};

// Takes what a child writes to standard error.
class ErrorFile
{
public:
    ErrorFile() : _descriptor(memfd_create("standard error", MFD_CLOEXEC))
    {
        if (_descriptor < 0)
        {
            throw std::runtime_error("no file for standard error");
        }
    }
    ~ErrorFile() { close(_descriptor); }

    void becomeStandardError() const { dup2(_descriptor, STDERR_FILENO); }

    std::string content() const
    {
        std::string text(MOST_SHOWN, '\0');
        const ssize_t got = pread(_descriptor, &text[0], text.size(), 0);
        text.resize(got > 0 ? static_cast<size_t>(got) : 0);
        return text;
    }

    ErrorFile(const ErrorFile&) = delete;
    ErrorFile& operator=(const ErrorFile&) = delete;

private:
    const int _descriptor;
};

[[noreturn]] void live(const std::function<void(Facts&)>& body, Facts& facts)
{
    factsOfThisChild = &facts;
    std::set_terminate(noteTermination);
    std::signal(SIGABRT, tellPlaceAndEnd);
    std::signal(SIGALRM, tellPlaceAndEnd);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    std::signal(SIGSEGV, tellPlaceAndEnd);  // a sanitizer tells more
#endif
    alarm(TIMEOUT_SECONDS);
    try
    {
        body(facts);
        facts.finished = true;
    }
    catch (const std::exception& e)
    {
        std::snprintf(facts.trouble, sizeof(facts.trouble), "%s", e.what());
    }
    _exit(facts.finished ? 0 : 1);
}

// A sanitizer ends the process of a null pointer with a report instead of a signal.
bool reportsNullPointer(const std::string& errors)
{
    return errors.find("SEGV on unknown address") != std::string::npos ||
           errors.find("null pointer of type") != std::string::npos;
}

Ending endingOf(int status, const Facts& facts, const std::string& errors)
{
    if (WIFEXITED(status))
    {
        if (WEXITSTATUS(status) == 0 && facts.finished)
        {
            return Ending::finished;
        }
        return facts.trouble[0] == '\0' && reportsNullPointer(errors) ? Ending::crashed : Ending::failed;
    }
    switch (WTERMSIG(status))
    {
        case SIGABRT:
            return facts.terminated ? Ending::terminated : Ending::aborted;
        case SIGALRM:
            return Ending::hung;
        case SIGSEGV:
            return Ending::crashed;
        default:
            return Ending::failed;
    }
}

}  // namespace

void notePlace(Facts& facts)
{
    if (!placeIsNoted.test_and_set())
    {
        FaultLayer::describePlace(facts.place, sizeof(facts.place));
    }
}

RunReport runInChild(const std::function<void(Facts&)>& body)
{
    const SharedFacts facts;
    const ErrorFile errors;
    std::fflush(nullptr);  // or the child might write it again
    const pid_t child = fork();
    if (child < 0)
    {
        throw std::runtime_error("no child");
    }
    if (child == 0)
    {
        errors.becomeStandardError();
        live(body, *facts);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child)
    {
        throw std::runtime_error("the child is lost");
    }
    const std::string told = errors.content();
    return {*facts, endingOf(status, *facts, told), told};
}

}  // namespace OrvTest
