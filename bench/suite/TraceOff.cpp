// K: what the traces cost that are off: the rate of saturation of the library as it is, and of one that was built from
// the same sources without them. The second one stands, with a support library of its own, in a folder beside the
// first. A process has one support library, so each rate is measured in a process of its own, by the case of A; many
// short ones in turn, so that what else the machine does, and the luck of a process, meet both alike.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Cases.h"
#include "Figures.h"
#include "Peers.h"

namespace OrvBench
{

namespace
{

const unsigned int SUBSCRIBERS = 8;
const char* const CASE_OF_A = "A/service/S=8";
const unsigned int PAIRS = 10;                      // a difference of one in a hundred is to be seen
const char* const WITHOUT_TRACE = "without_trace";  // of the folder, of the contestant
const double MILLIONTH = 1e-6;

void require(int error, const char* what)
{
    if (error != 0)
    {
        throw std::runtime_error(std::string(what) + ": " + strerror(error));
    }
}

// Everything up to the end. Closes the descriptor.
std::string readAll(int descriptor)
{
    std::string text;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = read(descriptor, buffer, sizeof(buffer))) > 0 || (count < 0 && errno == EINTR))
    {
        text.append(buffer, count > 0 ? static_cast<size_t>(count) : 0);
    }
    close(descriptor);
    return text;
}

// What this program prints when it is started anew with these arguments.
std::string outputOf(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "/proc/self/exe");
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
    {
        pointers.push_back(&argument[0]);
    }
    pointers.push_back(nullptr);
    int ends[2] = {-1, -1};
    require(pipe2(ends, O_CLOEXEC) == 0 ? 0 : errno, "no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    pid_t process = 0;
    const int error = posix_spawn(&process, pointers[0], &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    const std::string output = readAll(ends[0]);
    require(error, "cannot start anew");
    int status = 0;
    waitpid(process, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
    {
        throw std::runtime_error("the case of A failed");
    }
    return output;
}

// Of A with this library.
double measureRate(const std::string& library, const Settings& settings)
{
    std::vector<std::string> arguments = {"--library", library, "--case", CASE_OF_A};
    if (settings.quick)
    {
        arguments.emplace_back("--quick");
    }
    std::istringstream lines(outputOf(arguments));
    std::string line;
    while (std::getline(lines, line))
    {
        const nlohmann::json figure = nlohmann::json::parse(line);
        if (figure.at("metric") == "rate")
        {
            return figure.at("value");
        }
    }
    throw std::runtime_error("the case of A has no rate");
}

void measure(const Settings& settings)
{
    const std::filesystem::path library = std::filesystem::canonical(settings.library);
    const std::filesystem::path without = library.parent_path() / WITHOUT_TRACE / library.filename();
    if (!std::filesystem::exists(without))
    {
        throw UnavailableChannel(std::string("there is no folder ") + WITHOUT_TRACE + " beside the library");
    }
    std::vector<int64_t> ratesWith;
    std::vector<int64_t> ratesWithout;
    std::vector<int64_t> losses;
    for (unsigned int i = 0; i < (settings.quick ? 1 : PAIRS); ++i)
    {
        const bool isWithFirst = i % 2 == 0;
        const double first = measureRate(isWithFirst ? library : without, settings);
        const double second = measureRate(isWithFirst ? without : library, settings);
        const double rateWith = isWithFirst ? first : second;
        const double rateWithout = isWithFirst ? second : first;
        ratesWith.push_back(static_cast<int64_t>(rateWith));
        ratesWithout.push_back(static_cast<int64_t>(rateWithout));
        losses.push_back(static_cast<int64_t>((1 - rateWith / rateWithout) / MILLIONTH));
    }
    Figures figures("K", "service", {{"S", SUBSCRIBERS}});
    figures.report("loss", "1", meanOfMiddle(losses) * MILLIONTH);
    figures.report("rate", "1/s", quantile(ratesWith, 0.5));
    Figures("K", WITHOUT_TRACE, {{"S", SUBSCRIBERS}}).report("rate", "1/s", quantile(ratesWithout, 0.5));
}

}  // namespace

void addTraceOff(Cases& cases)
{
    cases.push_back({"K/service/S=8", measure});
}

}  // namespace OrvBench
