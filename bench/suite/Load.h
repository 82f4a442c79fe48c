#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Channel.h"

namespace OrvBench
{

struct LoadOptions
{
    unsigned int subscribers = 1;
    // How many records the producer may be ahead of the slowest subscriber.
    uint64_t window = 2500;
    // Subscribers tell how far they are at every multiple of this number of records, at most a quarter of the window.
    uint64_t step = 250;
    // As many more subscribers, numbered behind the others, are not waited for and may miss records, but must receive
    // none twice and none out of order.
    unsigned int laggards = 0;
};

// The producer of a scenario and the book of what its subscribers have received. It numbers the records from 1 on,
// never runs ahead of the slowest subscriber by more than the window, and sees to it that each subscriber receives
// every record once and in order.
// Threads:   one producer, which makes it, opens the channel, publishes and waits. receive is called by the channel's
//            threads. One object at a time.
// Ownership: the channel stays the caller's. It is closed by close, or at the latest at the end of this object's life.
// Failure:   std::runtime_error if a record is lost, doubled or out of order, and if nothing arrives for long although
//            records are outstanding.
class Load
{
public:
    // handler: what the channel calls; if it is not receive it must itself call that for every record.
    Load(Channel& channel, const ChannelOptions& channelOptions, const LoadOptions& options,
         Receive handler = &Load::receive);
    ~Load();

    // Waits until the window has room for another record.
    void awaitCredit();
    // Publishes the next record, room or not. Its event time is greater than that of every record before it.
    void push();
    // Waits until every subscriber has received every record that has been published so far. Looks again and again if
    // their number is no multiple of the step.
    void awaitAll();
    // For when all has been received: if nudges have left the number of records between two multiples of the step,
    // publishes up to the next one and waits for that. So what follows is as if there had been no nudge.
    void completeStep();

    // Publishes as fast as the window allows, for this time or up to this number of records, and on to the next
    // multiple of the step; waits until all is received. Returns the rate in records per second, from the first push to
    // the last call of receive.
    double saturate(int64_t nanoseconds, uint64_t records);

    // The rate of saturation after a start that is not measured. A quick run stops after a few steps.
    double measureRate(bool quick);
    // Publishes in the same way; nanoseconds that each push took, with one look at the clock. The waiting for credit is
    // no part of it.
    std::vector<int64_t> timePushes(bool quick);

    uint64_t published() const { return _published; }
    // Microseconds since the Unix epoch: of the latest record.
    int64_t eventTime() const { return _record.eventTime; }
    // Records that were published for no other reason than that nothing arrived although some were outstanding: the
    // service lets a record wait for the next arrival if its delivery run ends at that very moment. A machine that is
    // busy with something else looks the same from here.
    uint64_t nudges() const { return _nudges; }
    // Throws what has gone wrong so far.
    void check() const;
    // Closes the channel, then checks.
    void close();

    // Takes a record that a subscriber has received into the book.
    static void receive(unsigned int subscriber, uint64_t number);

    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

private:
    struct alignas(64) Progress
    {
        std::atomic<uint64_t> received{0};  // number of the latest record
    };

    void take(unsigned int subscriber, uint64_t number);
    void arriveAt(uint64_t milestone);
    void fail(unsigned int subscriber, uint64_t number, uint64_t before);
    void waitUntilReceived(uint64_t number);
    bool haveAllReceived(uint64_t number) const;
    uint64_t deliveries() const;

    Channel& _channel;
    const LoadOptions _options;
    OrvOamSpiNbiNotificationValue_1 _record;
    uint64_t _published = 0;
    uint64_t _credit;  // the window has room up to this number, as far as the producer knows
    uint64_t _nudges = 0;
    std::unique_ptr<Progress[]> _progress;
    // How many subscribers have reached a milestone, which is a multiple of the step. In a ring.
    const uint64_t _milestones;
    std::unique_ptr<std::atomic<unsigned int>[]> _arrivals;
    mutable std::mutex _mutex;
    std::condition_variable _moved;
    // Guarded by _mutex.
    uint64_t _slowest = 0;     // the latest multiple of the step that every subscriber has reached
    int64_t _slowestTime = 0;  // when the last of them did
    std::string _failure;
};

}  // namespace OrvBench
