#pragma once

#include <chrono>
#include <thread>
#include <vector>

#include "Ledger.h"
#include "Service.h"

namespace OrvStress
{

// Push numbered records until the ledger ends, each producer on a thread of its own. All but the last call the table;
// the last one publishes CM events at the framework's router.
// Threads: start and join from one.
class Producers
{
public:
    // pause: between two pushes of a producer; zero for as fast as the ledger has room.
    Producers(Ledger& ledger, Service& service, std::chrono::microseconds pause);
    ~Producers();

    void start();
    void join();

    Producers(const Producers&) = delete;
    Producers& operator=(const Producers&) = delete;

private:
    void run(unsigned int producer);
    OrvReturnT push(const Mark& mark);
    void publish(const Mark& mark);

    Ledger& _ledger;
    Service& _service;
    const std::chrono::microseconds _pause;
    std::vector<std::thread> _threads;
};

}  // namespace OrvStress
