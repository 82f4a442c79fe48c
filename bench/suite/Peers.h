#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Channel.h"

namespace OrvBench
{

// What a channel or a case needs is not installed here, or cannot be had; what() says what.
class UnavailableChannel : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// "condvar", "poco_queue", "zeromq", "nats", "nats_own" and "jetstream": what someone might use instead of the service.
std::vector<std::string> peerNames();

// The service itself ("service") or a peer, not yet open. UnavailableChannel if this build lacks it.
std::unique_ptr<Channel> makeChannel(const std::string& name);

// The record that all scenarios send: a DN of 60 characters and two attributes. Owned by the function.
OrvOamSpiNbiNotificationValue_1& benchRecord();

}  // namespace OrvBench
