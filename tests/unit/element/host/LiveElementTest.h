// The element with the real component: its library loaded, its subtree filters reading the element's data.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Element.h"
#include "ModelTestSupport.h"
#include "RecordingHandler.h"
#include "Records.h"
#include "SubscriberSet.h"
#include "SubtreeBuilder.h"

namespace OrvElement
{

typedef std::vector<std::string> Texts;

// A record that a subscriber got: "created DN", "deleted DN", "changed DN {attribute,attribute}", or a control record's
// type, behind it its DN if it has one.
struct LiveRecord
{
    std::string text;
    int64_t eventTime;
    uint32_t txHandle;
    uint32_t sequenceNumber;
};

// A subscription with trees of a test's own, straight at the service's table. Unsubscribes at its end.
class TreeSubscriber
{
public:
    TreeSubscriber(OrvOamSpiNbiNotificationService& table, const std::vector<OrvTest::Node>& trees);
    ~TreeSubscriber();

    bool hasSeenMarker() const;
    // The DNs of what came, but for the flush's marker.
    Texts dns() const;

    TreeSubscriber(const TreeSubscriber&) = delete;
    TreeSubscriber& operator=(const TreeSubscriber&) = delete;

private:
    OrvOamSpiNbiNotificationService& _table;
    OrvTest::Trees _trees;
    std::unique_ptr<OrvTest::RecordingHandler> _handler;
};

// An element "ne1" with the awkward model, the leaf of every type and two leaves at its root. A subscriber "all" gets
// everything. Every test ends with the check that no more transactions are open than reads have failed.
class LiveElementTest : public testing::Test
{
protected:
    LiveElementTest();
    ~LiveElementTest() override;

    void subscribe(const std::string& name, const Texts& subtrees, int64_t startTime = 0);

    // What stands in <box> or in <types>.
    void editBox(const std::string& content) { edit(ModelTest::AwkwardElement::text(content)); }
    void editTypes(const std::string& content) { edit(typesText(content)); }
    static std::string typesText(const std::string& content);
    // Applied, and published to the component.
    void edit(const std::string& text);

    // Passes the service a record of another producer, without attributes. The number is its event time, its
    // transaction and its sequence number.
    void push(const std::string& dn, int32_t type, uint32_t number = 1);
    // Returns when the service has judged and delivered everything.
    void flush();
    // Flushes. What has come since the last take.
    Texts take(const std::string& name);
    Texts dns(TreeSubscriber& subscriber);
    // Without a flush: what the last one brought.
    std::vector<LiveRecord> records(const std::string& name);

    uint64_t opened() const { return element.transactionCounters().opened; }
    OrvOamSpiNbiNotificationService& table();
    // Microseconds since the Unix epoch.
    static int64_t now();

    Element element;
    std::unique_ptr<SubscriberSet> subscribers;
    uint64_t failedReads = 0;  // that leave their transactions open

    // A new "all" and nobody else; for a service that has been started again.
    void makeSubscribers();

private:
    std::mutex _mutex;
    std::map<std::string, std::vector<LiveRecord>> _received;
};

}  // namespace OrvElement
