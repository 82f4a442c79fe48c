#include "OrvCommon.h"

#include <gtest/gtest.h>

#include "Log.h"
#include "Portal.h"
#include "RecordingPortal.h"

namespace
{

class OrvCommon : public testing::Test
{
protected:
    RecordingPortal _framework;
    OrvOamSpiEventRouter_1 _router = {};
};

TEST_F(OrvCommon, TakesTheLookupOfThePortalOfVersionOne)
{
    _framework.offer("OrvOamSpiEventRouter", &_router);
    orvCommonInit(_framework.accessor());
    EXPECT_EQ(_framework.versions(), std::vector<std::string>{"1"});
    EXPECT_EQ(Orv::Portal::instance()->getEventRouter(), &_router);
}

TEST_F(OrvCommon, LooksUpTheLogAndTheTraceAndNothingElseAtItsStart)
{
    _framework.offerSinks();
    orvCommonInit(_framework.accessor());
    EXPECT_EQ(_framework.lookups(), (std::vector<std::string>{"-/OrvMwSpiLog/1", "-/ZelMwSpiTrace/-"}));
}

// Each way of not having a portal must leave what was set up before.
TEST_F(OrvCommon, StaysAsItWasWithoutAnAccessorOrItsPortal)
{
    _framework.offer("OrvOamSpiEventRouter", &_router);
    _framework.offerSinks();
    _framework.init(7);

    orvCommonInit(nullptr);
    ZelMgmtSpiInterfacePortalAccessor empty = {nullptr};
    orvCommonInit(&empty);
    _framework.setPortal(nullptr);
    orvCommonInit(_framework.accessor());
    _framework.portal().getInterface = nullptr;
    _framework.setPortal(&_framework.portal());
    orvCommonInit(_framework.accessor());

    EXPECT_EQ(_framework.lookups().size(), 0u);
    EXPECT_EQ(Orv::LoggingWrapper::get_level(), 7);
    EXPECT_EQ(Orv::Portal::instance()->getEventRouter(), &_router);
}

TEST_F(OrvCommon, CallsNothingOfTheFrameworkAfterItsEnd)
{
    _framework.offer("OrvOamSpiEventRouter", &_router);
    _framework.offerSinks();
    _framework.init(8);
    Orv::Portal::instance()->getEventRouter();
    _framework.forget();

    orvCommonTerminate();
    StandardErrorCapture capture;
    EXPECT_EQ(Orv::Portal::instance()->getEventRouter(), nullptr);
    ORV_LOG(Orv::Trace::Common, 3, "an error");
    ORV_TRACE(Orv::Trace::Common, "a trace");
    Orv::LoggingWrapper::instance().refreshLevel();

    EXPECT_EQ(_framework.calls().size(), 0u);
    EXPECT_EQ(_framework.lookups().size(), 0u);
    EXPECT_EQ(_framework.levelReads(), 0);
    EXPECT_EQ(capture.writes().size(), 2u);
}

TEST_F(OrvCommon, GoesBackToTheDefaultLevelAtItsEnd)
{
    _framework.offerSinks();
    _framework.init(9);
    ASSERT_EQ(Orv::LoggingWrapper::get_level(), 9);
    orvCommonTerminate();
    EXPECT_EQ(Orv::LoggingWrapper::get_level(), 6);
}

TEST_F(OrvCommon, CanBeEndedTwiceAndBegunAgain)
{
    _framework.offer("OrvOamSpiEventRouter", &_router);
    _framework.init(6);
    orvCommonTerminate();
    orvCommonTerminate();
    _framework.init(6);
    EXPECT_EQ(Orv::Portal::instance()->getEventRouter(), &_router);
}

}  // namespace
