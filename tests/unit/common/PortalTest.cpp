#include "Portal.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "OrvCommon.h"
#include "RecordingPortal.h"

namespace
{

using testing::Test;

class Portal : public Test
{
protected:
    RecordingPortal _framework;
    OrvOamSpiEventRouter_1 _router = {};
    OrvOamSpiModelRepository_2 _repository = {};
    Orv::Portal& _portal = *Orv::Portal::instance();
};

TEST_F(Portal, IsOneObjectForTheWholeProcess)
{
    EXPECT_EQ(Orv::Portal::instance(), &_portal);
}

TEST_F(Portal, CarriesItsIdentity)
{
    EXPECT_STREQ(Orv::Portal::COMP_ID.componentName, "OrvCommonPortal");
    EXPECT_STREQ(Orv::Portal::COMP_ID.interfaceName, "OrvMgmtSpiInterfacePortal");
    EXPECT_STREQ(Orv::Portal::COMP_ID.interfaceVersion, "1");
}

// Its address is entered in lists of pointers to plain, writable identities.
static_assert(std::is_same<decltype(Orv::Portal::COMP_ID), ZelMgmtSpiInterface_1>::value, "not const");

TEST_F(Portal, LooksTheEventRouterUpByItsTriple)
{
    _framework.offer("OrvOamSpiEventRouter", &_router);
    _framework.init(6);
    EXPECT_EQ(_portal.getEventRouter(), &_router);
    EXPECT_EQ(_framework.lookups(), std::vector<std::string>{"OrvOamSpiEventService/OrvOamSpiEventRouter/1"});
}

TEST_F(Portal, LooksTheModelRepositoryUpByItsTriple)
{
    _framework.offer("OrvOamSpiModelRepository", &_repository);
    _framework.init(6);
    EXPECT_EQ(_portal.getModelRepository(), &_repository);
    EXPECT_EQ(_framework.lookups(),
              std::vector<std::string>{"OrvOamSpiModelRepositoryService/OrvOamSpiModelRepository/2"});
}

TEST_F(Portal, AsksOnceAndThenAnswersFromItsCache)
{
    _framework.offer("OrvOamSpiEventRouter", &_router);
    _framework.init(6);
    _portal.getEventRouter();
    _framework.offer("OrvOamSpiEventRouter", nullptr);
    EXPECT_EQ(_portal.getEventRouter(), &_router);
    EXPECT_EQ(_framework.lookups().size(), 1u);
}

TEST_F(Portal, WarnsAndGivesNullForAFailedLookup)
{
    _framework.offerSinks();
    _framework.init(4);
    EXPECT_EQ(_portal.getEventRouter(), nullptr);
    const std::vector<SinkCall> calls = _framework.calls();
    ASSERT_EQ(calls.size(), 2u);
    EXPECT_EQ(calls[0].operation, SinkCall::Log);
    EXPECT_EQ(calls[0].number, 4);
    EXPECT_EQ(calls[0].text, "Interface OrvOamSpiEventRouter not found");
    EXPECT_EQ(calls[1].operation, SinkCall::TraceV2);
    EXPECT_EQ(calls[1].subsystem, Orv::Trace::Common);
    EXPECT_EQ(calls[1].text, "Interface OrvOamSpiEventRouter not found");
}

TEST_F(Portal, LeavesTheCacheNullAfterAFailedLookupAndAsksAgain)
{
    _framework.offerSinks();
    _framework.init(3);
    EXPECT_EQ(_portal.getEventRouter(), nullptr);
    _framework.offer("OrvOamSpiEventRouter", &_router);
    EXPECT_EQ(_portal.getEventRouter(), &_router);
}

ZelReturnT failsButFillsTheResult(ZelMgmtSpiInterface_1, void** result)
{
    static OrvOamSpiEventRouter_1 router;
    *result = &router;
    return OrvFailure;
}

TEST_F(Portal, IgnoresWhatAFailedLookupLeftInTheResult)
{
    const StandardErrorCapture capture;
    _portal.setGetInterface(&failsButFillsTheResult);
    EXPECT_EQ(_portal.getEventRouter(), nullptr);
    EXPECT_EQ(_portal.getEventRouter(), nullptr);
}

TEST_F(Portal, WarnsWithoutACallWhenItHasNoLookupFunction)
{
    StandardErrorCapture capture;
    EXPECT_EQ(_portal.getEventRouter(), nullptr);
    EXPECT_EQ(_framework.lookups().size(), 0u);
    EXPECT_EQ(capture.writes(), std::vector<std::string>{"[4] lookup: Interface OrvOamSpiEventRouter not found\n"});
}

TEST_F(Portal, ForgetsItsCachesWhenItsLookupChanges)
{
    OrvOamSpiEventRouter_1 another = {};
    _framework.offer("OrvOamSpiEventRouter", &_router);
    _framework.init(6);
    _portal.getEventRouter();
    _framework.offer("OrvOamSpiEventRouter", &another);
    _framework.init(6);
    EXPECT_EQ(_portal.getEventRouter(), &another);
}

TEST_F(Portal, ForgetsBothCachesWhenItIsTerminated)
{
    _framework.offer("OrvOamSpiEventRouter", &_router);
    _framework.offer("OrvOamSpiModelRepository", &_repository);
    _framework.init(6);
    _portal.getEventRouter();
    _portal.getModelRepository();
    orvCommonTerminate();
    EXPECT_EQ(_portal._eventRouter, nullptr);
    EXPECT_EQ(_portal._modelRepository, nullptr);
}

// As a lookup on another thread finds the portal while its lookup function changes.
TEST_F(Portal, EmptiesACacheThatIsNotValidWhenTheLookupFails)
{
    ZelMwSpiTrace table = {};
    std::atomic<ZelMwSpiTrace*> cache{&table};
    _framework.init(3);
    _portal._valid = false;
    EXPECT_EQ(_portal.lookup({nullptr, "Something", "7"}, cache), nullptr);
    EXPECT_EQ(cache, nullptr);
}

TEST_F(Portal, KeepsACacheForItsCaller)
{
    ZelMwSpiTrace table = {};
    std::atomic<ZelMwSpiTrace*> cache{nullptr};
    const ZelMgmtSpiInterface_1 id = {nullptr, "Something", "7"};
    _framework.offer("Something", &table);
    _framework.init(6);
    EXPECT_EQ(_portal.lookup(id, cache), &table);
    EXPECT_EQ(cache, &table);
    EXPECT_EQ(_portal.lookup(id, cache), &table);
    EXPECT_EQ(_framework.lookups(), std::vector<std::string>{"-/Something/7"});
}

TEST_F(Portal, DoesNotTrustACallersCacheOnceItIsNotValid)
{
    ZelMwSpiTrace table = {};
    std::atomic<ZelMwSpiTrace*> cache{&table};
    orvCommonTerminate();
    const StandardErrorCapture capture;
    EXPECT_EQ(_portal.lookup({nullptr, "Something", "7"}, cache), nullptr);
}

TEST_F(Portal, ServesSeveralThreadsAtOnce)
{
    _framework.offer("OrvOamSpiEventRouter", &_router);
    _framework.init(6);
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
    {
        threads.emplace_back(
            [&]
            {
                for (int i = 0; i < 1000; ++i)
                {
                    right += _portal.getEventRouter() == &_router ? 1 : 0;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(right, 4000);
    EXPECT_LE(_framework.lookups().size(), 4u);
}

}  // namespace
