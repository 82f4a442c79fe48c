#include "DemoCommand.h"

#include <algorithm>
#include <cstdio>

#include "ElementError.h"
#include "InstallPaths.h"
#include "TimeText.h"

namespace OrvElement
{

namespace
{

// Milliseconds that a record may take before the demo gives up. Nothing waits that long unless something is wrong.
const long TIMEOUT = 20000;

const char* const CREATED_INTERFACE =
    "objectCreated ManagedElement=demo,interfaces=1,interface=eth2 name=\"eth2\" type=\"iana-if-type:ethernetCsmacd\" "
    "enabled=true";
const char* const CREATED_IPV4 =
    "objectCreated ManagedElement=demo,interfaces=1,interface=eth2,ipv4=1 ipv4Id=\"1\" enabled=true forwarding=false";
const char* const CREATED_ADDRESS =
    "objectCreated ManagedElement=demo,interfaces=1,interface=eth2,ipv4=1,address=198.51.100.7 ip=\"198.51.100.7\" "
    "prefix-length=24";
const char* const CHANGED_HOSTNAME = "attributeChanged ManagedElement=demo,system=1 hostname=\"demo-renamed\"";
const char* const CHANGED_DESCRIPTION =
    "attributeChanged ManagedElement=demo,interfaces=1,interface=eth0 description=\"uplink\"";
const char* const DISABLED = "attributeChanged ManagedElement=demo,interfaces=1,interface=eth0 enabled=false";
const char* const ENABLED = "attributeChanged ManagedElement=demo,interfaces=1,interface=eth0 enabled=true";
const char* const CHANGED_TO_CORE =
    "attributeChanged ManagedElement=demo,interfaces=1,interface=eth0 description=\"core\"";
const char* const CHANGED_TO_EDGE =
    "attributeChanged ManagedElement=demo,interfaces=1,interface=eth0 description=\"edge\"";
const char* const DISABLED_ETH2 = "attributeChanged ManagedElement=demo,interfaces=1,interface=eth2 enabled=false";
const char* const ENABLED_ETH2 = "attributeChanged ManagedElement=demo,interfaces=1,interface=eth2 enabled=true";
const char* const DELETED_ETH2 = "objectDeleted ManagedElement=demo,interfaces=1,interface=eth2";
const char* const DELETED_IPV4 = "objectDeleted ManagedElement=demo,interfaces=1,interface=eth2,ipv4=1";
const char* const DELETED_ADDRESS =
    "objectDeleted ManagedElement=demo,interfaces=1,interface=eth2,ipv4=1,address=198.51.100.7";
const char* const DELETED_ADDRESSES_OF_IPV4 =
    "objectDeleted ManagedElement=demo,interfaces=1,interface=eth2,ipv4=1,address=*";
const char* const DELETED_ADDRESSES_OF_ETH2 =
    "objectDeleted ManagedElement=demo,interfaces=1,interface=eth2,ipv4=*,address=*";
const char* const DELETED_INTERFACE = "objectDeleted ManagedElement=demo,interfaces=1,interface=eth1";

ElementOptions demoOptions(ElementOptions options)
{
    options.model.modules = {"ietf-interfaces@2014-05-08", "ietf-ip@2014-06-16", "iana-if-type@2014-05-08",
                             "ietf-system@2014-08-06"};
    options.model.elementName = "demo";
    options.startupPath = dataPath("demo/startup.xml");
    // The demo raises the one clock change that it shows itself.
    options.watchClock = false;
    return options;
}

}  // namespace

DemoCommand::DemoCommand(const ElementOptions& options)
    : _options(demoOptions(options)), _checker(_recorder, stdout, TIMEOUT, [this] { _subscribers->nudge(); })
{
}

int DemoCommand::execute()
{
    say("An element with two interfaces and a host name, from ietf-interfaces, ietf-ip and ietf-system.");
    _element = std::make_unique<Element>(_options);
    _begin = formatTime(currentTime());
    _subscribers =
        std::make_unique<SubscriberSet>(Element::portal(), _element->model(),
                                        [this](const std::string& name, const OrvOamSpiNbiNotificationValue_1& record)
                                        { _recorder.record(name, record); });
    showLiveAndFiltered();
    showReplay();
    showStopTimeAndHeartbeat();
    showSubtrees();
    showClockChange();
    finish();
    if (_checker.failures() != 0)
    {
        say("FAILED: " + std::to_string(_checker.failures()) + " checks");
        return 1;
    }
    say("Every subscriber received exactly what it should.");
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
    {
        throw ElementError("cannot write to standard output");
    }
    return 0;
}

void DemoCommand::showLiveAndFiltered()
{
    say("A live subscriber takes everything, a filtered one interface eth2 coming up and changes of the host name.");
    subscribe("name=live");
    subscribe("name=filtered;filter=objectCreated:interface=eth2;filter=attributeChanged:,hostname");

    say("An edit creates interface eth2: the parents come first.");
    apply("1-create.xml");
    _checker.expect({{"live", {CREATED_INTERFACE, CREATED_IPV4, CREATED_ADDRESS}}, {"filtered", {CREATED_INTERFACE}}});

    say("An edit changes three attributes of two objects.");
    apply("2-change.xml");
    _checker.expect({{"live", {CHANGED_DESCRIPTION, DISABLED, CHANGED_HOSTNAME}}, {"filtered", {CHANGED_HOSTNAME}}});
}

void DemoCommand::showReplay()
{
    say("A replaying subscriber asks for what came since the element started. Records of one transaction share their\n"
        "time, and of equal times a replay gives the newest first.");
    subscribe("name=replaying;start=" + _begin);
    _checker.expect({{"replaying",
                      {CREATED_ADDRESS, CREATED_IPV4, CREATED_INTERFACE, CHANGED_HOSTNAME, DISABLED,
                       CHANGED_DESCRIPTION, "replayComplete"}}});

    say("One that asks for the last hour is told of the gap: the buffer does not reach back that far.");
    subscribe("name=latecomer;start=-1h;filter=attributeChanged:.*");
    _checker.expect({{"latecomer", {"replayGap", CHANGED_HOSTNAME, DISABLED, CHANGED_DESCRIPTION, "replayComplete"}}});
}

void DemoCommand::showStopTimeAndHeartbeat()
{
    say("A stopping subscriber has a stop time 3 seconds ahead and a heartbeat every second.");
    subscribe("name=stopping;stop=+3s;heartbeat=1");

    say("An edit deletes interface eth1.");
    apply("3-delete.json");
    _checker.expect(
        {{"live", {DELETED_INTERFACE}}, {"replaying", {DELETED_INTERFACE}}, {"stopping", {DELETED_INTERFACE}}});

    say("The stop time comes.");
    _checker.expect({{"stopping", {"notificationComplete"}}});
    const unsigned int heartbeats = _recorder.heartbeats("stopping");
    std::printf("  %-10s heartbeatNotification, %u times\n", "stopping", heartbeats);
    _checker.check(heartbeats >= 1, "stopping has had a heartbeat");

    say("A change after that reaches the others only.");
    apply("4-change.xml");
    _checker.expect({{"live", {ENABLED}}, {"replaying", {ENABLED}}, {"latecomer", {ENABLED}}});
}

// The service offers a record to the subscriptions in the order in which they were made, and filters judge it by the
// data of that moment. The subscriber "interfaces" comes last and takes every record, so when it has a step's last one,
// all filters have judged that step and the next edit can come.
void DemoCommand::showSubtrees()
{
    say("Three subscribers describe their part of the data by subtrees: what happens at enabled interfaces, two parts "
        "of\nan interface in the XML of NETCONF, and the whole class of interfaces.");
    subscribe("name=up;subtree=/interfaces/interface[enabled='true']");
    subscribe(
        "name=parts;subtree=<interfaces xmlns=\"urn:ietf:params:xml:ns:yang:ietf-interfaces\"><interface><enabled/>"
        "<ipv4 xmlns=\"urn:ietf:params:xml:ns:yang:ietf-ip\"><address/></ipv4></interface></interfaces>");
    subscribe("name=interfaces;subtree=/interfaces");

    say("An edit describes eth0, which is enabled, and disables eth2. A condition is held against the present data.");
    apply("5-disable.xml");
    _checker.expect({{"interfaces", {CHANGED_TO_CORE, DISABLED_ETH2}},
                     {"up", {CHANGED_TO_CORE}},
                     {"parts", {DISABLED_ETH2}},
                     {"live", {CHANGED_TO_CORE, DISABLED_ETH2}},
                     {"replaying", {CHANGED_TO_CORE, DISABLED_ETH2}},
                     {"latecomer", {CHANGED_TO_CORE, DISABLED_ETH2}}});

    say("An edit enables eth2 again.");
    apply("6-enable.xml");
    _checker.expect({{"interfaces", {ENABLED_ETH2}},
                     {"up", {ENABLED_ETH2}},
                     {"parts", {ENABLED_ETH2}},
                     {"live", {ENABLED_ETH2}},
                     {"replaying", {ENABLED_ETH2}},
                     {"latecomer", {ENABLED_ETH2}}});

    say("An edit deletes eth2, and the element tells of each object that goes. Of an object at which a subtree "
        "branches\n"
        "the subscriber is told what goes with it, each leaf of the subtree with \"*\" for any key. The objects below "
        "eth2\n"
        "do not pass a condition on eth2, which has no value any more.");
    apply("7-delete.json");
    _checker.expect({{"interfaces", {DELETED_ADDRESS, DELETED_IPV4, DELETED_ETH2}},
                     {"up", {DELETED_ETH2}},
                     {"parts", {DELETED_ADDRESS, DELETED_ADDRESSES_OF_IPV4, DELETED_ETH2, DELETED_ADDRESSES_OF_ETH2}},
                     {"live", {DELETED_ADDRESS, DELETED_IPV4, DELETED_ETH2}},
                     {"replaying", {DELETED_ADDRESS, DELETED_IPV4, DELETED_ETH2}}});

    say("Another change of eth0.");
    apply("8-change.xml");
    _checker.expect({{"interfaces", {CHANGED_TO_EDGE}},
                     {"up", {CHANGED_TO_EDGE}},
                     {"live", {CHANGED_TO_EDGE}},
                     {"replaying", {CHANGED_TO_EDGE}},
                     {"latecomer", {CHANGED_TO_EDGE}}});
}

void DemoCommand::showClockChange()
{
    say("The system clock is set: what was kept for replay is discarded, and everybody whose time is not over is "
        "told.");
    _element->raiseClockChange();
    _checker.expect({{"live", {"discardedOld"}},
                     {"filtered", {"discardedOld"}},
                     {"replaying", {"discardedOld"}},
                     {"latecomer", {"discardedOld"}},
                     {"up", {"discardedOld"}},
                     {"parts", {"discardedOld"}},
                     {"interfaces", {"discardedOld"}}});
}

// Waits for everything that may still be on its way, so that a record too many is seen as well.
void DemoCommand::finish()
{
    _element->drainEvents();
    _subscribers->flush(TIMEOUT);
    _checker.finish();
    _subscribers.reset();
    _element->stop();
}

void DemoCommand::say(const std::string& text) const
{
    std::printf("\n%s\n", text.c_str());
    std::fflush(stdout);
}

void DemoCommand::subscribe(const std::string& spec)
{
    std::printf("  > subscribe %s\n", spec.c_str());
    _subscribers->add(SubscriptionSpec::parse(spec, currentTime()));
}

void DemoCommand::apply(const std::string& edit)
{
    std::printf("  > edit %s\n", edit.c_str());
    _element->applyEditFile(dataPath("demo/" + edit));
}

}  // namespace OrvElement
