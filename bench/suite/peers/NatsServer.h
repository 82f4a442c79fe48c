#pragma once

#include <sys/types.h>

#include <string>

#include "TemporaryDirectory.h"

namespace OrvBench
{

// A nats-server of its own, on a free port of the loopback interface, with all its data below a temporary folder. It
// ends with this object, and with this process.
class NatsServer
{
public:
    // Returns when the server accepts connections. std::runtime_error if it does not.
    NatsServer();
    ~NatsServer();

    const std::string& url() const { return _url; }

    NatsServer(const NatsServer&) = delete;
    NatsServer& operator=(const NatsServer&) = delete;

private:
    void start(const std::string& configuration);
    void readUrl();
    void end();

    const OrvTest::TemporaryDirectory _directory;
    pid_t _process;
    std::string _url;
};

}  // namespace OrvBench
