#pragma once

#include <memory>

#include "Channel.h"

namespace OrvBench
{

// A queue of records for each subscriber: std::deque, std::mutex, std::condition_variable and a thread, which is woken
// when the queue turns non-empty and takes all that waits. The producer makes the copies, and the subscriber's thread
// frees its own.
std::unique_ptr<Channel> makeCondvarChannel();

// The same with Poco::NotificationQueue.
std::unique_ptr<Channel> makePocoQueueChannel();

// A publishing socket and one subscribing socket with a thread for each subscriber, within the process and without a
// high-water mark. What is sent is bytes; each subscriber makes a record of its own of them.
// UnavailableChannel if the build was made without the library; so with those below.
std::unique_ptr<Channel> makeZeromqChannel();

// A server of its own on the loopback interface; one connection publishes, another one has an asynchronous
// subscription, with a thread, for each subscriber. Nothing is limited, so nothing is dropped. What is sent is bytes,
// as above.
std::unique_ptr<Channel> makeNatsChannel();

// The same with a connection of its own for each subscriber, as separate programs would have it.
std::unique_ptr<Channel> makeNatsOwnChannel();

// As the first of these two, over a stream in the server's memory that keeps storeSize records, with an ordered
// consumer for each subscriber. The producer does not wait for the server's acknowledgements.
std::unique_ptr<Channel> makeJetstreamChannel();

}  // namespace OrvBench
