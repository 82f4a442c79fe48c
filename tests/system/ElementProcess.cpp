#include "ElementProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace OrvTest
{

namespace
{

// Milliseconds without a byte of output.
const int TIMEOUT = 60000;
const int STALL = 2000;

const char* const NUDGE = "nudge ";

struct Pipe
{
    Pipe()
    {
        if (pipe2(ends, O_CLOEXEC) != 0)
        {
            throw std::runtime_error("no pipe");
        }
    }
    int ends[2];
};

void closeEnd(int& descriptor)
{
    if (descriptor != -1)
    {
        close(descriptor);
        descriptor = -1;
    }
}

}  // namespace

ElementProcess::ElementProcess(const std::vector<std::string>& arguments, Errors errors, int missing)
{
    ::signal(SIGPIPE, SIG_IGN);
    Pipe input;
    Pipe output;
    std::string terminalName = _errorDirectory.path() + "/errors";
    _errorPath = terminalName;
    if (errors == Errors::ToTerminal)
    {
        _terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (_terminal == -1 || grantpt(_terminal) != 0 || unlockpt(_terminal) != 0)
        {
            throw std::runtime_error("no terminal");
        }
        terminalName = ptsname(_terminal);
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input.ends[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output.ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, terminalName.c_str(), O_WRONLY | O_CREAT | O_NOCTTY,
                                     0600);
    if (missing != -1)
    {
        posix_spawn_file_actions_addclose(&actions, missing);
    }
    posix_spawn_file_actions_addchdir_np(&actions, _directory.path().c_str());

    std::vector<std::string> texts = {ORV_ELEMENT};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& text : texts)
    {
        pointers.push_back(&text[0]);
    }
    pointers.push_back(nullptr);
    const int failure = posix_spawn(&_pid, ORV_ELEMENT, &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(input.ends[0]);
    close(output.ends[1]);
    _input = input.ends[1];
    _output = output.ends[0];
    if (failure != 0)
    {
        throw std::runtime_error("cannot run " ORV_ELEMENT);
    }
}

ElementProcess::~ElementProcess()
{
    closeEnd(_input);
    closeEnd(_output);
    closeEnd(_terminal);
    if (_pid != -1)
    {
        kill(_pid, SIGKILL);
        waitpid(_pid, nullptr, 0);
    }
}

void ElementProcess::writeLine(const std::string& line)
{
    const std::string text = line + "\n";
    if (write(_input, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    {
        throw std::runtime_error("the program does not read its input");
    }
}

void ElementProcess::closeInput()
{
    closeEnd(_input);
}

void ElementProcess::closeOutput()
{
    closeEnd(_output);
}

void ElementProcess::signal(int number)
{
    kill(_pid, number);
}

std::string ElementProcess::readLine()
{
    while (true)
    {
        size_t end = 0;
        while ((end = _unread.find('\n')) == std::string::npos)
        {
            if (!readMore())
            {
                throw std::runtime_error("the output has ended; standard error: " + errors());
            }
        }
        const std::string line = _unread.substr(0, end);
        _unread.erase(0, end + 1);
        if (line.find(NUDGE) == std::string::npos)
        {
            _lines.push_back(line);
            return line;
        }
    }
}

std::string ElementProcess::readUntil(const std::string& text)
{
    while (true)
    {
        const std::string line = readLine();
        if (line.find(text) != std::string::npos)
        {
            return line;
        }
    }
}

int ElementProcess::finish()
{
    closeInput();
    return wait();
}

int ElementProcess::wait()
{
    _nudge = nullptr;
    while (_output != -1 && readMore())
    {
    }
    std::istringstream rest(_unread);
    for (std::string line; std::getline(rest, line);)
    {
        if (line.find(NUDGE) == std::string::npos)
        {
            _lines.push_back(line);
        }
    }
    _unread.clear();
    int status = 0;
    while (waitpid(_pid, &status, 0) == -1 && errno == EINTR)
    {
    }
    _pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::string ElementProcess::errors() const
{
    if (_terminal == -1)
    {
        std::ifstream file(_errorPath);
        return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    std::string text;
    char buffer[4096];
    ssize_t length = 0;
    while ((length = read(_terminal, buffer, sizeof(buffer))) > 0)
    {
        text.append(buffer, static_cast<size_t>(length));
    }
    return text;
}

// False at the end of output.
bool ElementProcess::readMore()
{
    if (!waitForOutput())
    {
        throw std::runtime_error("the program hangs; standard error: " + errors());
    }
    char buffer[4096];
    const ssize_t length = read(_output, buffer, sizeof(buffer));
    if (length > 0)
    {
        _unread.append(buffer, static_cast<size_t>(length));
    }
    return length > 0;
}

bool ElementProcess::waitForOutput()
{
    pollfd descriptor = {_output, POLLIN, 0};
    for (int left = TIMEOUT; left > 0; left -= STALL)
    {
        if (poll(&descriptor, 1, STALL) == 1)
        {
            return true;
        }
        if (_nudge)
        {
            _nudge(NUDGE + std::to_string(++_nudges));
        }
    }
    return false;
}

Outcome runElement(const std::vector<std::string>& arguments, const std::vector<std::string>& input)
{
    ElementProcess process(arguments);
    for (const std::string& line : input)
    {
        process.writeLine(line);
    }
    const int code = process.finish();
    return Outcome{code, process.lines(), process.errors()};
}

std::vector<std::string> runArguments(const std::vector<std::string>& added)
{
    std::vector<std::string> arguments = {"run",
                                          "--module",
                                          "ietf-interfaces@2014-05-08",
                                          "ietf-ip@2014-06-16",
                                          "iana-if-type@2014-05-08",
                                          "ietf-system@2014-08-06",
                                          "--startup",
                                          demoFile("startup.xml")};
    arguments.insert(arguments.end(), added.begin(), added.end());
    return arguments;
}

std::string demoFile(const std::string& name)
{
    return std::string(ORV_ELEMENT_DEMO) + "/" + name;
}

std::string createInterfaces(const std::vector<std::string>& names)
{
    std::string text = R"(<interfaces xmlns="urn:ietf:params:xml:ns:yang:ietf-interfaces">)";
    for (const std::string& name : names)
    {
        text +=
            "<interface><name>" + name +
            R"(</name><type xmlns:t="urn:ietf:params:xml:ns:yang:iana-if-type">t:ethernetCsmacd</type></interface>)";
    }
    return text + "</interfaces>";
}

std::string describeEth0(const std::string& description)
{
    return R"(<interfaces xmlns="urn:ietf:params:xml:ns:yang:ietf-interfaces"><interface><name>eth0</name><description>)" +
           description + "</description></interface></interfaces>";
}

}  // namespace OrvTest
