#include "RfcFilterTest.h"

#include "Trace.h"

using OrvNbiNotificationService::NbiNotificationServiceCM;
using OrvNbiNotificationService::RfcSubscriptionFilter;

namespace OrvTest
{

namespace
{

NbiNotificationServiceCM& component()
{
    return Orv::ZelComponent<NbiNotificationServiceCM>::instance();
}

}  // namespace

RfcFilterTest::RfcFilterTest()
{
    component().portal3 = static_cast<ZelMgmtSpiInterfacePortal_3*>(framework.getPortal("3"));
}

RfcFilterTest::~RfcFilterTest()
{
    component().portal3 = nullptr;
    EXPECT_EQ(objects.misuses(), 0u);
}

RfcSubscriptionFilter& RfcFilterTest::filterOf(const std::vector<Node>& nodes)
{
    _filter.reset();
    _trees = Trees(nodes);
    _filter = std::make_unique<RfcSubscriptionFilter>(_trees.get());
    return *_filter;
}

bool RfcFilterTest::match(const std::string& dn, int32_t type, const std::vector<Attribute>& attributes)
{
    // The record before it stays until the filter has let go of it.
    std::unique_ptr<Notification> notification =
        std::make_unique<Notification>(makeNotification(TIME, dn, type, attributes));
    const bool passed = _filter->match(**notification);
    _notification.swap(notification);
    return passed;
}

bool RfcFilterTest::avc(const std::string& dn, const Texts& attributes)
{
    std::vector<Attribute> carried;
    for (const std::string& name : attributes)
    {
        carried.push_back(stringAttribute(name, "value of " + name));
    }
    return match(dn, attributeChanged, carried);
}

Texts RfcFilterTest::selected() const
{
    Texts names;
    for (const ZelMoNamedAttributeValueContainer_3* attribute : _filter->selectedAttributes)
    {
        names.emplace_back(attribute->name);
    }
    return names;
}

Texts RfcFilterTest::roots() const
{
    Texts names;
    for (const OrvOamSpiNbiNotificationSubTree_1* root : _filter->subTreeRoots)
    {
        names.emplace_back(root->className);
    }
    return names;
}

Texts RfcFilterTest::newTraces()
{
    Texts texts;
    const std::vector<LogLine> lines = framework.lines();
    for (size_t i = 0; i < lines.size(); ++i)
    {
        const LogLine& line = lines[i];
        if (line.source != LogLine::trace || line.text == " >> " || line.text == " << ")
        {
            continue;
        }
        EXPECT_EQ(line.level, 0) << describe(line);
        const bool repeated = i + 1 < lines.size() && lines[i + 1].source == LogLine::traceV2 &&
                              lines[i + 1].level == 14 && lines[i + 1].subsystem == Orv::Trace::Notif &&
                              lines[i + 1].text == line.text;
        EXPECT_TRUE(repeated) << describe(line);
        texts.push_back(line.text);
    }
    framework.setLevel(8);
    framework.log().clear();
    return texts;
}

Texts RfcFilterTest::newReads()
{
    const std::string name = "getMoAttribute(T";
    Texts reads;
    for (const std::string& call : objects.calls())
    {
        if (call.rfind(name, 0) == 0)
        {
            // What follows the transaction: "DN, NAME)".
            const size_t dn = call.find(", ") + 2;
            const size_t attribute = call.rfind(", ");
            reads.push_back(call.substr(dn, attribute - dn) + call.substr(attribute + 1, call.size() - attribute - 2));
        }
    }
    objects.clearCalls();
    return reads;
}

}  // namespace OrvTest
