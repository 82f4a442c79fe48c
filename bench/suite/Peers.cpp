#include "Peers.h"

#include "PeerChannels.h"
#include "ServiceChannel.h"

namespace OrvBench
{

namespace
{

struct Peer
{
    const char* name;
    std::unique_ptr<Channel> (*make)();
};

const Peer PEERS[] = {{"condvar", makeCondvarChannel},  {"poco_queue", makePocoQueueChannel},
                      {"zeromq", makeZeromqChannel},    {"nats", makeNatsChannel},
                      {"nats_own", makeNatsOwnChannel}, {"jetstream", makeJetstreamChannel}};

char dnOfTheRecord[] = "ManagedElement=ne-00001,interfaces=1,interface=eth-0-12-0001";
static_assert(sizeof(dnOfTheRecord) - 1 == 60, "the DN has 60 characters");

}  // namespace

std::vector<std::string> peerNames()
{
    std::vector<std::string> names;
    for (const Peer& peer : PEERS)
    {
        names.emplace_back(peer.name);
    }
    return names;
}

std::unique_ptr<Channel> makeChannel(const std::string& name)
{
    if (name == "service")
    {
        return std::make_unique<ServiceChannel>();
    }
    for (const Peer& peer : PEERS)
    {
        if (name == peer.name)
        {
            return peer.make();
        }
    }
    throw UnavailableChannel("there is no channel " + name);
}

OrvOamSpiNbiNotificationValue_1& benchRecord()
{
    static ZelMoAttributeValue_3 mtu = {};
    mtu.i32 = 1500;
    static ZelMoAttributeValue_3 description = {};
    description.str = "uplink to the core";
    static ZelMoNamedAttributeValueContainer_3 first = {"mtu", ZelMoAttributeInt32_3, 1, &mtu};
    static ZelMoNamedAttributeValueContainer_3 second = {"description", ZelMoAttributeString_3, 1, &description};
    static ZelMoNamedAttributeValueContainer_3* attributes[] = {&first, &second, nullptr};
    static OrvOamSpiNbiNotificationValue_1 record = {1, dnOfTheRecord, 0, 0, objectCreated, attributes};
    return record;
}

}  // namespace OrvBench
