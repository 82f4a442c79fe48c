#pragma once

#include <cstdint>
#include <string>

#include "OrvOamSpiNbiNotificationService_1.h"

namespace OrvBench
{

// What is called for each record that a subscriber receives: the subscriber's number, from 0, and the record's sequence
// number, from 1 on, or 0 for a record that has not been published but made on the way, such as an overflow. Called for
// one subscriber by one thread at a time, for several subscribers by several threads at once.
typedef void (*Receive)(unsigned int subscriber, uint64_t sequenceNumber);

// How a channel is set up. What a channel has no use for, it leaves alone.
struct ChannelOptions
{
    unsigned int subscribers = 1;
    unsigned int storeSize = 5000;  // records that the service keeps, and the limit of its queues
    std::string library;            // path of liborv_notification_service.so
    // A single record's way is measured, not how many there can be in a second: nothing waits to be sent together with
    // what may follow.
    bool prompt = false;
};

// One producer's way to a number of subscribers that all receive a copy of their own of every record, in order: the
// service, or what someone might use instead.
// Threads:   open, publish and close from one thread.
// Ownership: the record stays the caller's and is not looked at after publish has returned.
// Failure:   std::runtime_error with a text that can be printed. UnavailableChannel (Peers.h) if the machine has not
//            what it takes.
class Channel
{
public:
    virtual ~Channel() = default;

    virtual void open(const ChannelOptions& options, Receive receive) = 0;
    virtual void publish(const OrvOamSpiNbiNotificationValue_1& record) = 0;
    // No record is received after it has returned. May be called again, and after an open that has failed.
    virtual void close() = 0;
};

}  // namespace OrvBench
