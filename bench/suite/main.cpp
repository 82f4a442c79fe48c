// Measures one case of the benchmark suite, in a process of its own, and writes its figures to standard output as lines
// of JSON. Exit status: 0 measured; 77 this machine lacks what is to be measured; 1 failed; 2 called wrongly, or a
// build that is not fit for measuring.
#include <dlfcn.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "Cases.h"
#include "OrvCommon.h"
#include "Peers.h"

namespace
{

const int MEASURED = 0;
const int FAILED = 1;
const int MISUSED = 2;
const int UNAVAILABLE = 77;
const char* const SEARCH_PATH = "LD_LIBRARY_PATH";

OrvBench::Cases allCases()
{
    OrvBench::Cases cases;
    OrvBench::addSaturation(cases);
    OrvBench::addStoreGrowth(cases);
    OrvBench::addLowLoad(cases);
    OrvBench::addBurst(cases);
    OrvBench::addPushCall(cases);
    OrvBench::addReplay(cases);
    OrvBench::addFilters(cases);
    OrvBench::addEvents(cases);
    OrvBench::addMemory(cases);
    OrvBench::addTraceOff(cases);
    OrvBench::addSlowOne(cases);
    OrvBench::addOverflow(cases);
    OrvBench::addPurge(cases);
    OrvBench::addChurn(cases);
    OrvBench::addIdle(cases);
    OrvBench::addFloors(cases);
    return cases;
}

// The library that is measured brings a liborv_common.so in its own folder, and this program needs one too: a process
// has only one of them, and it must be the library's. The loader looks into the folders of LD_LIBRARY_PATH before those
// of this program's RUNPATH (it would look into an RPATH first), but reads the variable only when a program starts. So
// this one starts itself anew if it has been given another.
void useCommonLibraryBeside(const std::string& library, char** arguments)
{
    const std::filesystem::path wanted =
        std::filesystem::canonical(library).parent_path() / std::filesystem::path("liborv_common.so");
    if (!std::filesystem::exists(wanted))
    {
        throw std::runtime_error("there is no " + wanted.string());
    }
    Dl_info loaded = Dl_info();
    if (dladdr(reinterpret_cast<void*>(&orvCommonInit), &loaded) == 0)
    {
        throw std::runtime_error("liborv_common.so is not known to the loader");
    }
    if (std::filesystem::equivalent(loaded.dli_fname, wanted))
    {
        return;
    }
    const std::string folder = wanted.parent_path().string();
    const char* const before = std::getenv(SEARCH_PATH);
    if (before != nullptr && std::string(before).compare(0, folder.size(), folder) == 0)
    {
        throw std::runtime_error("the loader takes " + std::string(loaded.dli_fname) + " instead of " +
                                 wanted.string());
    }
    const std::string path = before == nullptr ? folder : folder + ":" + before;
    setenv(SEARCH_PATH, path.c_str(), 1);
    execv("/proc/self/exe", arguments);
    throw std::runtime_error(std::string("cannot start anew: ") + strerror(errno));
}

int measure(const std::string& name, const OrvBench::Settings& settings)
{
    const OrvBench::Cases cases = allCases();
    const auto found =
        std::find_if(cases.begin(), cases.end(), [&name](const OrvBench::Case& entry) { return entry.name == name; });
    if (found == cases.end())
    {
        throw std::runtime_error("there is no such case");
    }
    found->run(settings);
    return MEASURED;
}

}  // namespace

int main(int argc, char** argv)
{
    if (!ORV_MEASURABLE)
    {
        std::fprintf(stderr, "This build is not fit for measuring; use the release preset.\n");
        return MISUSED;
    }
    OrvBench::Settings settings;
    std::string name;
    bool list = false;
    CLI::App app("Measures one case of the benchmark suite");
    app.add_option("--library", settings.library, "liborv_notification_service.so, liborv_common.so beside it")
        ->required()
        ->check(CLI::ExistingFile);
    app.add_flag("--quick", settings.quick, "only show that the case works");
    CLI::Option_group* const what = app.add_option_group("what");
    what->add_flag("--list", list, "print the names of the cases");
    what->add_option("--case", name, "the case to measure");
    what->require_option(1);
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError& error)
    {
        return app.exit(error) == 0 ? MEASURED : MISUSED;
    }
    if (list)
    {
        for (const OrvBench::Case& entry : allCases())
        {
            std::puts(entry.name.c_str());
        }
        return MEASURED;
    }
    try
    {
        useCommonLibraryBeside(settings.library, argv);
        return measure(name, settings);
    }
    catch (const OrvBench::UnavailableChannel& error)
    {
        std::fprintf(stderr, "%s\n", error.what());
        return UNAVAILABLE;
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "%s\n", error.what());
        return FAILED;
    }
}
