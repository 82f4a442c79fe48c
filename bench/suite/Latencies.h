#pragma once

#include <cstdint>
#include <vector>

namespace OrvBench
{

// How long each delivery of a load takes, in nanoseconds from just before the push to the call of receive.
// Threads:   sending and samples on the producer's thread, samples after the channel has been closed; receive on those
// of
//            the channel. One object at a time.
class Latencies
{
public:
    // Records with greater numbers than this are not measured.
    Latencies(unsigned int subscribers, uint64_t records);
    ~Latencies();

    // The record of this number is going to be pushed. Those of which this is not said are not measured.
    void sending(uint64_t number);

    // For Load as its handler.
    static void receive(unsigned int subscriber, uint64_t number);

    // Of all deliveries, in no order.
    std::vector<int64_t> samples() const;

    Latencies(const Latencies&) = delete;
    Latencies& operator=(const Latencies&) = delete;

private:
    struct alignas(64) Subscriber
    {
        std::vector<int64_t> samples;
    };

    std::vector<int64_t> _sent;  // by number
    std::vector<Subscriber> _subscribers;
};

}  // namespace OrvBench
