// The notification service as it is built, loaded by an element with its own data: what subtree filters bring live and
// in a replay, and what they do with the element's transactions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "Element.h"
#include "ModelTestSupport.h"
#include "SubscriberSet.h"
#include "SubscriptionSpec.h"

namespace OrvElement
{
namespace
{

using testing::ElementsAre;

const long HANG = 60000;  // milliseconds

// What each subscription has received, as "type DN", and for a change the names of its attributes.
class Received
{
public:
    void add(const std::string& name, const OrvOamSpiNbiNotificationValue_1& record)
    {
        std::string text = std::to_string(record.notificationType);
        if (record.dn)
        {
            text.append(" ").append(record.dn);
        }
        for (auto* attribute = record.attributes;
             record.notificationType == attributeChanged && attribute && *attribute; ++attribute)
        {
            text.append(" ").append((*attribute)->name);
        }
        const std::lock_guard<std::mutex> lock(_mutex);
        _records[name].push_back(text);
        _arrived.notify_all();
    }

    // All records of the subscription, once the last of them is this one.
    std::vector<std::string> upTo(const std::string& name, const std::string& last)
    {
        std::unique_lock<std::mutex> lock(_mutex);
        EXPECT_TRUE(_arrived.wait_for(lock, std::chrono::milliseconds(HANG),
                                      [&] { return !_records[name].empty() && _records[name].back() == last; }))
            << name << " did not receive " << last;
        return _records[name];
    }

    // All records of the subscription, once there are so many.
    std::vector<std::string> upToCount(const std::string& name, size_t count)
    {
        std::unique_lock<std::mutex> lock(_mutex);
        EXPECT_TRUE(
            _arrived.wait_for(lock, std::chrono::milliseconds(HANG), [&] { return _records[name].size() >= count; }))
            << name << " did not receive " << count << " records";
        return _records[name];
    }

private:
    std::mutex _mutex;
    std::condition_variable _arrived;
    std::map<std::string, std::vector<std::string>> _records;
};

class ElementWithService : public testing::Test
{
protected:
    static ElementOptions options()
    {
        ElementOptions options;
        options.model = ModelTest::awkwardOptions();
        options.model.modules.push_back("orv-top");
        options.componentPath = ORV_COMPONENT;
        options.componentConfigPath = ORV_COMPONENT_CONFIG;
        options.watchClock = false;
        return options;
    }

    void edit(const std::string& boxContent) { apply(ModelTest::AwkwardElement::text(boxContent)); }

    void apply(const std::string& xml)
    {
        const ModelTest::TemporaryFile file(".xml", xml);
        element.applyEditFile(file.path());
    }

    void subscribe(const std::string& spec) { subscribers.add(SubscriptionSpec::parse(spec, now())); }

    static int64_t now()
    {
        return std::chrono::duration_cast<std::chrono::microseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
            .count();
    }

    Received received;
    Element element{options()};
    SubscriberSet subscribers{Element::portal(), element.model(),
                              [this](const std::string& name, const auto& record) { received.add(name, record); }};
};

const char* const ITEM = "ManagedElement=node-7,box=1,item=a";
const char* const CREATE = "<item><name>a</name><value>7</value></item>";
const char* const DELETE = "<item nc:operation='delete'><name>a</name></item>";

TEST_F(ElementWithService, ReplaysPlainCopiesWhereLiveDeliveryDerives)
{
    const std::string filter = "subtree=/box/item[name='a']/{value,settings}";
    const std::string item(ITEM);
    subscribe("name=live;" + filter);
    edit(CREATE);
    edit("<item><name>a</name><value>8</value></item>");
    edit(DELETE);
    EXPECT_THAT(received.upTo("live", "2 " + item + ",settings=*"),
                ElementsAre("1 " + item, "3 " + item + " value", "2 " + item, "2 " + item + ",settings=*"));

    subscribe("name=late;start=-1h;" + filter);
    EXPECT_THAT(received.upTo("late", "6"), ElementsAre("5", "1 " + item, "3 " + item + " value", "2 " + item, "6"));
}

TEST_F(ElementWithService, ReducesARecordOfTheElementItselfLiveButNotInAReplay)
{
    const std::string changed = "3 ManagedElement=node-7 ";
    subscribe("name=live;subtree=/contact");
    subscribe("name=last");
    // There is a record for each changed attribute, with those that follow it in the event.
    apply("<site xmlns='urn:orv:top'>north</site><contact xmlns='urn:orv:top'>me</contact>");
    received.upTo("last", changed + "contact");
    // A change that the filter refuses, so that both reduced records are there.
    apply("<site xmlns='urn:orv:top'>south</site>");
    received.upTo("last", changed + "site");
    EXPECT_THAT(received.upToCount("live", 2), ElementsAre(changed + "contact", changed + "contact"));

    // Records of one time are replayed newest first.
    subscribe("name=late;start=-1h;subtree=/contact");
    EXPECT_THAT(received.upTo("late", "6"), ElementsAre("5", changed + "contact", changed + "site contact", "6"));
}

TEST_F(ElementWithService, ClosesEachTransactionOfAConditionThatCanBeRead)
{
    const std::string item(ITEM);
    subscribe("name=seven;subtree=/box/item[value='7']");
    subscribe("name=all");
    edit(CREATE);
    received.upTo("all", "1 " + item);
    edit("<item><name>a</name><value>8</value></item>");
    received.upTo("all", "3 " + item + " value");
    edit("<item><name>a</name><value>7</value></item>");
    EXPECT_THAT(received.upTo("seven", "3 " + item + " value"), ElementsAre("1 " + item, "3 " + item + " value"));
    edit(DELETE);
    received.upTo("all", "2 " + item);

    // The last record is judged without its condition: there is nothing left to read.
    const TransactionCounters counters = element.transactionCounters();
    EXPECT_EQ(counters.opened, 3u);
    EXPECT_EQ(counters.closed, 3u);
    EXPECT_EQ(counters.openNow, 0u);
}

TEST_F(ElementWithService, LeavesTheTransactionOfAFailedReadToBeReclaimed)
{
    const std::string item(ITEM);
    subscribe("name=all");
    edit("<item><name>a</name><value>7</value><extra/></item>");
    received.upTo("all", "1 " + item + ",extra=1");
    subscribe("name=extra;subtree=/box/item[value='7']/extra");
    edit(DELETE);
    // The extra container goes first, and is asked for a condition on an item that is no more.
    EXPECT_THAT(received.upTo("extra", "2 " + item + ",extra=*"), ElementsAre("2 " + item + ",extra=*"));
    const TransactionCounters counters = element.transactionCounters();
    EXPECT_EQ(counters.opened, 1u);
    EXPECT_EQ(counters.closed, 0u);
    EXPECT_EQ(counters.openNow, 1u);
}

TEST_F(ElementWithService, ServesAnotherSubtreeFilterAfterOneIsGone)
{
    subscribe("name=first;subtree=/box/item");
    edit(CREATE);
    EXPECT_THAT(received.upTo("first", std::string("1 ") + ITEM), ElementsAre(std::string("1 ") + ITEM));
    subscribers.remove("first");
    subscribe("name=second;subtree=/box/item/*");
    edit(DELETE);
    EXPECT_THAT(received.upTo("second", std::string("2 ") + ITEM), ElementsAre(std::string("2 ") + ITEM));
}

}  // namespace
}  // namespace OrvElement
