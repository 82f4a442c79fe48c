// K: what the traces cost that are off: the rate of saturation of the library as it is, and of one that was built from
// the same sources without them. The second one stands, with a support library of its own, in a folder beside the
// first.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "Cases.h"
#include "Figures.h"
#include "Load.h"
#include "Peers.h"

namespace OrvBench
{

namespace
{

const unsigned int SUBSCRIBERS = 8;
const unsigned int REPETITIONS = 5;                 // a difference of one in a hundred is to be seen
const char* const WITHOUT_TRACE = "without_trace";  // of the folder, of the contestant
const char* const CASE_WITHOUT_TRACE = "K/without_trace";

void measure(const char* contestant, const Settings& settings)
{
    const std::unique_ptr<Channel> channel = makeChannel("service");
    ChannelOptions channelOptions;
    channelOptions.library = settings.library;
    LoadOptions options;
    options.subscribers = SUBSCRIBERS;
    Load load(*channel, channelOptions, options);
    std::vector<int64_t> rates;
    for (unsigned int i = 0; i < (settings.quick ? 1 : REPETITIONS); ++i)
    {
        rates.push_back(static_cast<int64_t>(load.measureRate(settings.quick)));
    }
    channel->close();
    load.check();
    Figures("K", contestant, {{"S", SUBSCRIBERS}}).report("rate", "1/s", quantile(rates, 0.5));
}

// This program once more, for another library: the one in use is chosen when a process starts.
[[noreturn]] void startAnew(const std::string& library, const Settings& settings)
{
    std::vector<std::string> arguments = {
        "/proc/self/exe", "--library", library, "--case", CASE_WITHOUT_TRACE, "--seed", std::to_string(settings.seed)};
    if (settings.quick)
    {
        arguments.emplace_back("--quick");
    }
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
    {
        pointers.push_back(&argument[0]);
    }
    pointers.push_back(nullptr);
    execv(pointers[0], pointers.data());
    throw std::runtime_error(std::string("cannot start anew: ") + strerror(errno));
}

void measureWithoutTrace(const Settings& settings)
{
    const std::filesystem::path library = std::filesystem::canonical(settings.library);
    if (library.parent_path().filename() == WITHOUT_TRACE)
    {
        measure(WITHOUT_TRACE, settings);
        return;
    }
    const std::filesystem::path other = library.parent_path() / WITHOUT_TRACE / library.filename();
    if (!std::filesystem::exists(other))
    {
        throw UnavailableChannel("there is no library without traces beside " + library.string());
    }
    startAnew(other.string(), settings);
}

}  // namespace

void addTraceOff(Cases& cases)
{
    cases.push_back({"K/service", [](const Settings& settings) { measure("service", settings); }});
    cases.push_back({CASE_WITHOUT_TRACE, measureWithoutTrace});
}

}  // namespace OrvBench
