#include "ZelComponent.h"

#include <type_traits>

#include "NotificationServiceRunnable.h"
#include "ShellTest.h"

using namespace OrvTest;
using OrvNbiNotificationService::NbiNotificationServiceCM;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

std::string text(const char* string)
{
    return string == nullptr ? "(null)" : string;
}

// The identities of a null-terminated array, as "component/interface/version".
std::vector<std::string> identities(ZelMgmtSpiInterface_1** array)
{
    std::vector<std::string> texts;
    for (; *array != nullptr; ++array)
    {
        texts.push_back(text((*array)->componentName) + "/" + text((*array)->interfaceName) + "/" +
                        text((*array)->interfaceVersion));
    }
    return texts;
}

class ZelComponent : public ShellTest
{
};

TEST_F(ZelComponent, HasNoVirtualFunctions)
{
    EXPECT_FALSE(std::is_polymorphic<Orv::ZelComponent<NbiNotificationServiceCM>>::value);
    EXPECT_FALSE(std::is_polymorphic<NbiNotificationServiceCM>::value);
}

TEST_F(ZelComponent, HandsOutOneObject)
{
    EXPECT_EQ(&NbiNotificationServiceCM::instance(), &NbiNotificationServiceCM::instance());
}

TEST_F(ZelComponent, IsBornWithCountersAtOneAndABufferOfOneHundred)
{
    EXPECT_EQ(component().nextHandlerId, 1u);
    EXPECT_EQ(component().nextSubscriptionHandle, 1u);
    EXPECT_THAT(component().handlers, IsEmpty());
    EXPECT_EQ(component().modelRepository, nullptr);
    EXPECT_EQ(component().runnable._bufferSize, 100u);
    EXPECT_EQ(component().runnable.getNotificationBuffer().getMaxBufferSize(), 100u);
    EXPECT_EQ(component().accessor, nullptr);
    EXPECT_EQ(component().portal3, nullptr);
    EXPECT_EQ(component().portal1, nullptr);
}

TEST_F(ZelComponent, LeavesTheArraysOfItsRecordNullUntilItIsLoaded)
{
    const ZelMgmtSpiComponent& record = component()._component;
    EXPECT_STREQ(record.componentName, "NbiNotificationServiceCM");
    EXPECT_NE(record.start, nullptr);
    EXPECT_NE(record.stop, nullptr);
    EXPECT_EQ(record.interfaceArray, nullptr);
    EXPECT_EQ(record.dependencyArray, nullptr);
    EXPECT_EQ(record.extraInterfaceArray, nullptr);
    EXPECT_EQ(record.flag, 0);
}

TEST_F(ZelComponent, RegistersARecordThatNamesItVersionTwo)
{
    ASSERT_EQ(init(), OrvOk);
    const ZelMgmtSpiComponent* const record = framework.component();
    ASSERT_NE(record, nullptr);
    EXPECT_STREQ(record->componentName, "NbiNotificationServiceCM");
    EXPECT_STREQ(record->interfaceName, "ZelMgmtSpiComponent");
    EXPECT_STREQ(record->interfaceVersion, "2");
    EXPECT_EQ(record->flag, 0);
}

TEST_F(ZelComponent, OffersTheAddressOfTheServiceTableAndNothingElse)
{
    ASSERT_EQ(init(), OrvOk);
    EXPECT_THAT(identities(framework.component()->interfaceArray),
                ElementsAre("NbiNotificationServiceCM/OrvOamSpiNbiNotificationService/1"));
    EXPECT_EQ(framework.component()->interfaceArray[0], &component().serviceInterface.id);
}

TEST_F(ZelComponent, RequiresSevenInterfacesInTheirOrder)
{
    ASSERT_EQ(init(), OrvOk);
    EXPECT_THAT(identities(framework.component()->dependencyArray),
                ElementsAre("OrvCommonPortal/OrvMgmtSpiInterfacePortal/1", "(null)/ZelMwSpiTrace/(null)",
                            "(null)/OrvMwSpiLog/1", "OrvOamSpiEventService/OrvOamSpiEventRouter/1",
                            "OrvOamSpiModelRepositoryService/OrvOamSpiModelRepository/2",
                            "OrvOamSpiExtCmRouterService/OrvOamSpiManagedObject/3",
                            "ZelOamSpiModelRepositoryService/ZelOamSpiModelRepository/3"));
    EXPECT_EQ(framework.component()->dependencyArray[0], &Orv::Portal::COMP_ID) << "entered by address";
}

TEST_F(ZelComponent, LeavesTheExtraListEmpty)
{
    ASSERT_EQ(init(), OrvOk);
    EXPECT_THAT(identities(framework.component()->extraInterfaceArray), IsEmpty());
}

// A component that bears the facade's own name would otherwise depend on itself.
class Facade : public Orv::ZelComponent<Facade>
{
public:
    Facade() : ZelComponent("OrvCommonPortal") {}
    ZelReturnT initialize(const char*) { return OrvOk; }
    ZelReturnT start(ZelStateChangeReason) { return OrvOk; }
    ZelReturnT stop(ZelStateChangeReason) { return OrvOk; }
    void terminate() {}
};

TEST_F(ZelComponent, DoesNotRequireTheFacadeWhoseNameItBears)
{
    Facade facade;
    EXPECT_THAT(facade._required, IsEmpty());
}

TEST_F(ZelComponent, AsksForPortalThreeAndThenForPortalOne)
{
    framework.plan().clearCalls();
    ASSERT_EQ(init(), OrvOk);
    EXPECT_THAT(framework.plan().calls(), ElementsAre("getPortal:3", "getPortal:1", "registerComponent"));
    EXPECT_EQ(component().accessor, framework.accessor());
    EXPECT_EQ(component().portal3, framework.accessor()->getPortal("3"));
    EXPECT_EQ(component().portal1, framework.accessor()->getPortal("1"));
    EXPECT_EQ(consumer()._portal, component().portal1);
}

TEST_F(ZelComponent, IsNotRegisteredWithoutPortalThreeAndSaysNothing)
{
    framework.plan().clearCalls();
    framework.plan().failAlways("getPortal:3", 1);
    EXPECT_EQ(init(), OrvFailure);
    EXPECT_THAT(framework.plan().calls(), ElementsAre("getPortal:3", "getPortal:1"));
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_EQ(component()._component.interfaceArray, nullptr);
}

TEST_F(ZelComponent, DoesNotMissPortalOneWhileItIsLoaded)
{
    framework.plan().failAlways("getPortal:1", 1);
    EXPECT_EQ(init(), OrvOk);
    EXPECT_EQ(consumer()._portal, nullptr);
}

TEST_F(ZelComponent, AnswersTheRegistrationsOwnFailureAndDoesNotInitialise)
{
    framework.plan().failAlways("registerComponent", 77);
    EXPECT_EQ(init(), 77);
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_EQ(component().runnable._bufferSize, 100u);
    EXPECT_EQ(consumer()._portal, nullptr) << "initialize has not run";
}

TEST_F(ZelComponent, StaysRegisteredWhenItsConfigurationFails)
{
    EXPECT_EQ(init("<configuration/>"), OrvFailure);
    EXPECT_NE(framework.component(), nullptr);
    EXPECT_EQ(framework.plan().count("unregisterComponent"), 0u);
    EXPECT_EQ(zelLCMterminate(), OrvOk);
    EXPECT_EQ(framework.component(), nullptr);
    EXPECT_EQ(framework.plan().count("unregisterComponent"), 1u);
}

TEST_F(ZelComponent, MakesNoPortalCallAtTheEndWhenItNeverFoundThePortal)
{
    framework.plan().failAlways("getPortal:3", 1);
    ASSERT_EQ(init(), OrvFailure);
    framework.plan().clearCalls();
    EXPECT_EQ(zelLCMterminate(), OrvOk);
    EXPECT_THAT(framework.plan().calls(), IsEmpty());
}

TEST_F(ZelComponent, AnswersTheResultOfItsUnregistrationAndForgetsThePortal)
{
    ASSERT_EQ(init(), OrvOk);
    framework.plan().fail("unregisterComponent", 1, 55);
    EXPECT_EQ(zelLCMterminate(), 55);
    EXPECT_EQ(component().portal3, nullptr);
    EXPECT_EQ(zelLCMterminate(), OrvOk) << "there is no portal to ask any more";
    EXPECT_EQ(framework.plan().count("unregisterComponent"), 1u);
}

TEST_F(ZelComponent, CanBeLoadedAgainAfterItWasUnloaded)
{
    ASSERT_EQ(init(), OrvOk);
    ASSERT_EQ(zelLCMterminate(), OrvOk);
    ASSERT_EQ(init(), OrvOk);
    EXPECT_THAT(identities(framework.component()->interfaceArray),
                ElementsAre("NbiNotificationServiceCM/OrvOamSpiNbiNotificationService/1"));
}

TEST_F(ZelComponent, LeavesServiceThreadAndConsumerRunningWhenItIsUnloadedWithoutAStop)
{
    startService();
    EXPECT_EQ(zelLCMterminate(), OrvOk);
    EXPECT_EQ(framework.component(), nullptr);
    EXPECT_TRUE(component().notifyThread.isRunning());
    EXPECT_TRUE(consumer()._started);
    EXPECT_EQ(framework.router().subscriptions().size(), 2u);
}

TEST_F(ZelComponent, TracesNothingButEntryAndExitOfTerminate)
{
    ASSERT_EQ(init(), OrvOk);
    framework.setLevel(8);
    framework.log().clear();
    EXPECT_EQ(zelLCMterminate(), OrvOk);
    EXPECT_THAT(tracesOf(lines()), ElementsAre("terminate: >> ", "terminate: << "));
}

}  // namespace
