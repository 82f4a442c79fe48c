// The stage for the tests of RfcSubscriptionFilter: a framework that the component knows, and one filter.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "FakeFramework.h"
#include "LogCheck.h"
#include "NbiNotificationServiceCM.h"
#include "Records.h"
#include "RfcSubscriptionFilter.h"
#include "SubtreeBuilder.h"

namespace OrvTest
{

typedef std::vector<std::string> Texts;

// Threads: the test's own alone.
class RfcFilterTest : public testing::Test
{
protected:
    static constexpr int64_t TIME = 1600000000000000;

    RfcFilterTest();
    ~RfcFilterTest() override;

    // Makes the filter anew. The trees live until the next call.
    OrvNbiNotificationService::RfcSubscriptionFilter& filterOf(const std::vector<Node>& nodes);

    // Matches a notification that lives until the next one is matched.
    bool match(const std::string& dn, int32_t type, const std::vector<Attribute>& attributes = {});
    bool avc(const std::string& dn, const Texts& attributes = {});  // their values do not matter
    bool removed(const std::string& dn) { return match(dn, objectDeleted); }
    // The record matched last.
    const OrvOamSpiNbiNotificationValue_1& matched() const { return **_notification; }

    // What match has left.
    Texts selected() const;  // names
    Texts roots() const;     // classes
    const Texts& deleteDns() const { return _filter->deleteDns; }

    // The traces since the last call, or since the framework was made, without " >> " and " << ". Each must have come
    // with kind 0 and then with level 14 from the service's own subsystem. Turns tracing on.
    Texts newTraces();

    // Transactions opened and closed so far.
    typedef std::pair<unsigned int, unsigned int> Transactions;
    Transactions transactions() const { return {objects.opened(), objects.closed()}; }
    // The reads of the model since the last call: "A=1 x" for the attribute x of the object A=1.
    Texts newReads();

    FakeFramework framework;
    FakeManagedObjects& objects = framework.objects();

private:
    const CommonSession _session{framework};
    Trees _trees;
    std::unique_ptr<Notification> _notification;
    std::unique_ptr<OrvNbiNotificationService::RfcSubscriptionFilter> _filter;
};

}  // namespace OrvTest
