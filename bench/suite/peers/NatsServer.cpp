#include "NatsServer.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace OrvBench
{

namespace
{

const std::chrono::seconds PATIENCE(20);
const std::chrono::milliseconds PAUSE(2);

// Nothing that is bounded may become the reason for a lost record: a slow reader is neither dropped nor cut off.
std::string configurationFor(const std::string& directory)
{
    std::ostringstream text;
    text << "listen: \"127.0.0.1:-1\"\n"
         << "ports_file_dir: \"" << directory << "\"\n"
         << "max_pending: 2GB\n"
         << "write_deadline: \"60s\"\n"
         << "jetstream { store_dir: \"" << directory << "\", max_memory_store: 2GB, max_file_store: 0 }\n";
    return text.str();
}

}  // namespace

NatsServer::NatsServer() : _process(0)
{
    start(_directory.write("server.conf", configurationFor(_directory.path())));
    try
    {
        readUrl();
    }
    catch (...)
    {
        end();
        throw;
    }
}

NatsServer::~NatsServer()
{
    end();
}

void NatsServer::start(const std::string& configuration)
{
    const pid_t parent = getpid();
    _process = fork();
    if (_process < 0)
    {
        throw std::runtime_error("no process for nats-server");
    }
    if (_process == 0)
    {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int nothing = open("/dev/null", O_RDWR);
        if (getppid() == parent && nothing >= 0 && dup2(nothing, STDOUT_FILENO) >= 0 &&
            dup2(nothing, STDERR_FILENO) >= 0)
        {
            execl(ORV_NATS_SERVER, "nats-server", "-c", configuration.c_str(), static_cast<char*>(nullptr));
        }
        _exit(127);
    }
}

// The server writes the port that it has found into a file: {"nats":["nats://127.0.0.1:34567"]}
void NatsServer::readUrl()
{
    const std::string path = _directory.path() + "/nats-server_" + std::to_string(_process) + ".ports";
    const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
    while (std::chrono::steady_clock::now() < deadline)
    {
        std::ifstream file(path);
        const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        const size_t begin = text.find("nats://");
        const size_t end = begin == std::string::npos ? begin : text.find('"', begin);
        if (end != std::string::npos)
        {
            _url = text.substr(begin, end - begin);
            return;
        }
        if (waitpid(_process, nullptr, WNOHANG) == _process)
        {
            _process = 0;
            throw std::runtime_error("nats-server ended as it was started");
        }
        std::this_thread::sleep_for(PAUSE);
    }
    throw std::runtime_error("nats-server does not tell its port");
}

void NatsServer::end()
{
    if (_process != 0)
    {
        kill(_process, SIGKILL);
        waitpid(_process, nullptr, 0);
        _process = 0;
    }
}

}  // namespace OrvBench
