#include "ComponentRegistry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ElementError.h"

namespace OrvElement
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

ZelReturnT ignoreReason(ZelStateChangeReason)
{
    return OrvOk;
}

// A component with the interfaces that a test names.
struct TestComponent
{
    explicit TestComponent(const char* name)
        : record{name, "Interface", "1", nullptr, nullptr, ignoreReason, ignoreReason, nullptr, 0}
    {
    }

    std::vector<ZelMgmtSpiInterface_1*> offers;
    std::vector<ZelMgmtSpiInterface_1*> dependencies;
    ZelMgmtSpiComponent record;

    ZelMgmtSpiComponent* get()
    {
        offers.push_back(nullptr);
        dependencies.push_back(nullptr);
        record.interfaceArray = offers.data();
        record.dependencyArray = dependencies.data();
        return &record;
    }
};

ZelMgmtSpiInterface_1 identity(const char* component, const char* interface, const char* version)
{
    return ZelMgmtSpiInterface_1{component, interface, version};
}

TEST(ComponentRegistry, FindsAnInterfaceByItsThreeStrings)
{
    ComponentRegistry registry;
    ZelMgmtSpiInterface_1 table = identity("Service", "Interface", "2");
    registry.offer(table);
    const std::string component = "Service";  // equal text elsewhere in memory
    void* found = nullptr;
    EXPECT_EQ(registry.getInterface(identity(component.c_str(), "Interface", "2"), &found), OrvOk);
    EXPECT_EQ(found, &table);
}

TEST(ComponentRegistry, DoesNotFindAnInterfaceOfWhichOneStringDiffers)
{
    ComponentRegistry registry;
    ZelMgmtSpiInterface_1 table = identity("Service", "Interface", "2");
    registry.offer(table);
    void* found = &registry;
    EXPECT_EQ(registry.getInterface(identity("Other", "Interface", "2"), &found), OrvNotFound);
    EXPECT_EQ(registry.getInterface(identity("Service", "Other", "2"), &found), OrvNotFound);
    EXPECT_EQ(registry.getInterface(identity("Service", "Interface", "1"), &found), OrvNotFound);
    EXPECT_EQ(found, &registry) << "a failed lookup must not touch the result";
}

TEST(ComponentRegistry, TakesANullNameOrVersionToEqualANullOnly)
{
    ComponentRegistry registry;
    ZelMgmtSpiInterface_1 log = identity(nullptr, "Log", "1");
    ZelMgmtSpiInterface_1 trace = identity(nullptr, "Trace", nullptr);
    ZelMgmtSpiInterface_1 service = identity("Service", "Interface", "1");
    registry.offer(log);
    registry.offer(trace);
    registry.offer(service);
    void* found = nullptr;
    EXPECT_EQ(registry.getInterface(identity(nullptr, "Log", "1"), &found), OrvOk);
    EXPECT_EQ(found, &log);
    EXPECT_EQ(registry.getInterface(identity(nullptr, "Trace", nullptr), &found), OrvOk);
    EXPECT_EQ(found, &trace);
    EXPECT_EQ(registry.getInterface(identity("Service", "Log", "1"), &found), OrvNotFound);
    EXPECT_EQ(registry.getInterface(identity(nullptr, "Trace", "1"), &found), OrvNotFound);
    EXPECT_EQ(registry.getInterface(identity(nullptr, "Interface", "1"), &found), OrvNotFound);
}

TEST(ComponentRegistry, OffersATableUnderAnIdentityOfItsOwn)
{
    ComponentRegistry registry;
    const ZelMgmtSpiInterface_1 pseudo = identity("Pseudo", "Interface", "1");
    int table = 0;
    registry.offer(pseudo, &table);
    void* found = nullptr;
    EXPECT_EQ(registry.getInterface(pseudo, &found), OrvOk);
    EXPECT_EQ(found, &table);
}

TEST(ComponentRegistry, RefusesToOfferAnIdentityTwice)
{
    ComponentRegistry registry;
    ZelMgmtSpiInterface_1 first = identity("Service", "Interface", "1");
    ZelMgmtSpiInterface_1 second = identity("Service", "Interface", "1");
    registry.offer(first);
    EXPECT_THROW(registry.offer(second), ElementError);
}

TEST(ComponentRegistry, AnswersBadArgumentForNullPointers)
{
    ComponentRegistry registry;
    void* found = nullptr;
    EXPECT_EQ(registry.getInterface(identity("Service", nullptr, "1"), &found), OrvBadArgument);
    EXPECT_EQ(registry.getInterface(identity("Service", "Interface", "1"), nullptr), OrvBadArgument);
    EXPECT_EQ(registry.registerComponent(nullptr), OrvBadArgument);
    TestComponent nameless(nullptr);
    EXPECT_EQ(registry.registerComponent(nameless.get()), OrvBadArgument);
    TestComponent withoutStop("Component");
    withoutStop.record.stop = nullptr;
    EXPECT_EQ(registry.registerComponent(withoutStop.get()), OrvBadArgument);
    EXPECT_THAT(registry.components(), IsEmpty());
}

TEST(ComponentRegistry, OffersAComponentsInterfacesWhileItIsRegistered)
{
    ComponentRegistry registry;
    ZelMgmtSpiInterface_1 first = identity("Component", "First", "1");
    ZelMgmtSpiInterface_1 second = identity("Component", "Second", "1");
    TestComponent component("Component");
    component.offers = {&first, &second};
    void* found = nullptr;
    EXPECT_EQ(registry.registerComponent(component.get()), OrvOk);
    EXPECT_THAT(registry.components(), ElementsAre(&component.record));
    EXPECT_EQ(registry.getInterface(second, &found), OrvOk);
    EXPECT_EQ(found, &second);
    EXPECT_EQ(registry.unregisterComponent(&component.record), OrvOk);
    EXPECT_EQ(registry.getInterface(first, &found), OrvNotFound);
    EXPECT_EQ(registry.getInterface(second, &found), OrvNotFound);
    EXPECT_THAT(registry.components(), IsEmpty());
}

TEST(ComponentRegistry, TakesAComponentWithoutAnyArrays)
{
    ComponentRegistry registry;
    TestComponent component("Component");
    EXPECT_EQ(registry.registerComponent(&component.record), OrvOk);
    EXPECT_THAT(registry.missingDependencies(component.record), IsEmpty());
}

TEST(ComponentRegistry, RefusesAComponentNameOrAnInterfaceThatIsTaken)
{
    ComponentRegistry registry;
    ZelMgmtSpiInterface_1 interface = identity("Component", "Interface", "1");
    TestComponent component("Component");
    component.offers = {&interface};
    TestComponent sameName("Component");
    TestComponent sameInterface("Other");
    sameInterface.offers = {&interface};
    EXPECT_EQ(registry.registerComponent(component.get()), OrvOk);
    EXPECT_EQ(registry.registerComponent(&component.record), OrvFailure);
    EXPECT_EQ(registry.registerComponent(sameName.get()), OrvFailure);
    EXPECT_EQ(registry.registerComponent(sameInterface.get()), OrvFailure);
    EXPECT_THAT(registry.components(), ElementsAre(&component.record));
}

TEST(ComponentRegistry, DoesNotUnregisterWhatIsNotRegistered)
{
    ComponentRegistry registry;
    TestComponent component("Component");
    EXPECT_EQ(registry.unregisterComponent(component.get()), OrvNotFound);
    EXPECT_EQ(registry.unregisterComponent(nullptr), OrvNotFound);
}

TEST(ComponentRegistry, NamesTheMissingDependenciesInTheirDeclaredOrder)
{
    ComponentRegistry registry;
    ZelMgmtSpiInterface_1 offered = identity(nullptr, "Offered", "1");
    registry.offer(offered);
    ZelMgmtSpiInterface_1 router = identity("Events", "Router", "1");
    ZelMgmtSpiInterface_1 trace = identity(nullptr, "Trace", nullptr);
    ZelMgmtSpiInterface_1 alsoOffered = identity(nullptr, "Offered", "1");
    TestComponent component("Component");
    component.dependencies = {&router, &alsoOffered, &trace};
    component.get();
    EXPECT_THAT(registry.missingDependencies(component.record), ElementsAre("Events/Router/1", "-/Trace/-"));
}

TEST(ComponentRegistry, GivesThePortalsOfTheVersionsOneAndThree)
{
    ComponentRegistry registry;
    auto* portal1 = static_cast<OrvMgmtSpiInterfacePortal_1*>(ComponentRegistry::accessor().getPortal("1"));
    auto* portal3 = static_cast<ZelMgmtSpiInterfacePortal_3*>(ComponentRegistry::accessor().getPortal("3"));
    ASSERT_NE(portal1, nullptr);
    ASSERT_NE(portal3, nullptr);
    EXPECT_STREQ(portal1->id.interfaceName, "OrvMgmtSpiInterfacePortal");
    EXPECT_STREQ(portal1->id.interfaceVersion, "1");
    EXPECT_STREQ(portal3->id.interfaceName, "ZelMgmtSpiInterfacePortal");
    EXPECT_STREQ(portal3->id.interfaceVersion, "3");
    EXPECT_EQ(ComponentRegistry::accessor().getPortal("2"), nullptr);
    EXPECT_EQ(ComponentRegistry::accessor().getPortal(nullptr), nullptr);

    ZelMgmtSpiInterface_1 interface = identity("Component", "Interface", "1");
    TestComponent component("Component");
    component.offers = {&interface};
    void* found = nullptr;
    EXPECT_EQ(portal3->registerComponent(component.get()), OrvOk);
    EXPECT_EQ(portal1->getInterface(interface, &found), OrvOk);
    EXPECT_EQ(found, &interface);
    EXPECT_EQ(portal3->unregisterComponent(&component.record), OrvOk);
    EXPECT_EQ(portal3->getInterface(interface, &found), OrvNotFound);
    portal3->reserved1();
}

TEST(ComponentRegistry, RefusesASecondRegistryInTheProcess)
{
    const ComponentRegistry registry;
    EXPECT_THROW(ComponentRegistry(), ElementError);
    EXPECT_NE(ComponentRegistry::accessor().getPortal("1"), nullptr) << "the first must stay the current one";
}

TEST(ComponentRegistry, LeavesPortalsThatAnswerFailureBehind)
{
    OrvMgmtSpiInterfacePortal_1* portal1 = nullptr;
    ZelMgmtSpiInterfacePortal_3* portal3 = nullptr;
    {
        const ComponentRegistry registry;
        portal1 = static_cast<OrvMgmtSpiInterfacePortal_1*>(ComponentRegistry::accessor().getPortal("1"));
        portal3 = static_cast<ZelMgmtSpiInterfacePortal_3*>(ComponentRegistry::accessor().getPortal("3"));
    }
    TestComponent component("Component");
    void* found = nullptr;
    EXPECT_EQ(portal1->getInterface(identity("Service", "Interface", "1"), &found), OrvFailure);
    EXPECT_EQ(portal3->registerComponent(component.get()), OrvFailure);
    EXPECT_EQ(portal3->unregisterComponent(&component.record), OrvFailure);
    EXPECT_EQ(ComponentRegistry::accessor().getPortal("1"), nullptr);
}

}  // namespace
}  // namespace OrvElement
