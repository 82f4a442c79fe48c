#include "NbiNotificationServiceEventConsumer.h"

#include <Poco/Exception.h>

#include <functional>
#include <future>

#include "IntakeTest.h"
#include "MeIdTranslator.h"
#include "MutexFault.h"
#include "OrvException.h"

using namespace OrvTest;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const char CM_SUBSCRIBE[] = "addSubscription:ZelOamSpiCmEvent_Notification_1";
const char LOOKUP_SERVICE[] = "portal1.getInterface:OrvOamSpiNbiNotificationService";
const char LOOKUP_MODEL[] = "portal1.getInterface:OrvOamSpiModelRepository";

class NbiNotificationServiceEventConsumer : public IntakeTest
{
};

TEST_F(NbiNotificationServiceEventConsumer, IsBornStoppedWithItsCounterAtOne)
{
    EXPECT_FALSE(consumer()._started);
    EXPECT_EQ(consumer()._service, nullptr);
    EXPECT_EQ(consumer()._modelRepository, nullptr);
    EXPECT_EQ(consumer()._sequenceNumber, 1u);
}

TEST_F(NbiNotificationServiceEventConsumer, StoresItsPortalWithoutALock)
{
    const MutexFault fault(consumer()._mutex, MutexFault::lockFails);
    EXPECT_EQ(consumer().init(nullptr), OrvOk);
    EXPECT_EQ(consumer()._portal, nullptr);
}

TEST_F(NbiNotificationServiceEventConsumer, LooksUpTheServiceAndThenTheModelAndThenSubscribes)
{
    EXPECT_EQ(startConsumer(), OrvOk);
    EXPECT_THAT(framework.plan().calls(),
                ElementsAre(LOOKUP_SERVICE, LOOKUP_MODEL, "portal1.getInterface:OrvOamSpiEventRouter",
                            "registerConsumer", CM_SUBSCRIBE));
    EXPECT_TRUE(consumer()._started);
    EXPECT_EQ(consumer()._service->pushNotification, recordPush);
    EXPECT_STREQ(consumer()._modelRepository->id.interfaceName, "OrvOamSpiModelRepository");
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NbiNotificationServiceEventConsumer, SubscribesToEveryDn)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    const std::vector<FakeEventRouter::Subscription> subscriptions = framework.router().subscriptions();
    ASSERT_EQ(subscriptions.size(), 1u);
    EXPECT_EQ(subscriptions[0].eventType, "ZelOamSpiCmEvent_Notification_1");
    ASSERT_NE(subscriptions[0].filter[0], nullptr);
    EXPECT_STREQ(subscriptions[0].filter[0]->name, "ZelOamSpiCmEvent_FilterTypeRegExp_1");
    EXPECT_STREQ(subscriptions[0].filter[0]->value, ".*$");
    EXPECT_EQ(subscriptions[0].filter[1], nullptr);
}

TEST_F(NbiNotificationServiceEventConsumer, DoesNotSubscribeAgainWhenItIsStartedTwice)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    framework.plan().clearCalls();
    EXPECT_EQ(startConsumer(), OrvOk);
    EXPECT_THAT(framework.plan().calls(), IsEmpty());
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NbiNotificationServiceEventConsumer, DoesNotStartWithoutTheService)
{
    framework.plan().failAlways(LOOKUP_SERVICE, 5);
    EXPECT_EQ(startConsumer(), OrvFailure);
    EXPECT_TRUE(logged(lines(), 3, "Could not lookup Notification Service"));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_FALSE(consumer()._started);
    EXPECT_THAT(framework.plan().calls(), ElementsAre(LOOKUP_SERVICE));
}

TEST_F(NbiNotificationServiceEventConsumer, DoesNotStartWithoutTheModelAndKeepsTheService)
{
    framework.plan().failAlways(LOOKUP_MODEL, 5);
    EXPECT_EQ(startConsumer(), OrvFailure);
    EXPECT_TRUE(logged(lines(), 3, "Could not lookup Model Repository service"));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_FALSE(consumer()._started);
    EXPECT_NE(consumer()._service, nullptr);
    EXPECT_EQ(consumer()._modelRepository, nullptr);
    EXPECT_THAT(framework.router().subscriptions(), IsEmpty());
}

TEST_F(NbiNotificationServiceEventConsumer, KeepsWhatItLookedUpWhenItStopsAndLooksAgainAtTheNextStart)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    EXPECT_EQ(consumer().stop(ZelStateChangeDeactivate), OrvOk);
    EXPECT_FALSE(consumer()._started);
    EXPECT_THAT(framework.router().subscriptions(), IsEmpty());
    EXPECT_NE(consumer()._service, nullptr);
    EXPECT_NE(consumer()._modelRepository, nullptr);
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_EQ(startConsumer(), OrvOk);
    EXPECT_EQ(framework.plan().count(LOOKUP_SERVICE), 2u);
    EXPECT_EQ(framework.plan().count(LOOKUP_MODEL), 2u);
}

TEST_F(NbiNotificationServiceEventConsumer, WarnsOfAStopWhenItIsStoppedAlready)
{
    EXPECT_EQ(consumer().stop(ZelStateChangeDeactivate), OrvOk);
    EXPECT_TRUE(logged(lines(), 4, "Event Consumer received stop, but is already stopped."));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_THAT(framework.plan().calls(), IsEmpty());
}

TEST_F(NbiNotificationServiceEventConsumer, IgnoresAnEventBeforeItsStartAndAfterItsStop)
{
    CmEvent event(1000, 7);
    event.operation("Port=1", objectCreated);
    consumer().notify(event.get());
    ASSERT_EQ(startConsumer(), OrvOk);
    ASSERT_EQ(consumer().stop(ZelStateChangeDeactivate), OrvOk);
    consumer().notify(event.get());
    EXPECT_THAT(pushed, IsEmpty());
    EXPECT_THAT(messages(lines()), IsEmpty());
    EXPECT_EQ(consumer()._sequenceNumber, 1u);
}

TEST_F(NbiNotificationServiceEventConsumer, PushesNothingForAnEventWithoutOperations)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    framework.router().publish(CmEvent(1000, 7));
    EXPECT_THAT(pushed, IsEmpty());
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NbiNotificationServiceEventConsumer, MakesFourNotificationsOfACreationTwoNotifiableChangesAndADeletion)
{
    Orv::MeIdTranslator::instance().setTranslation(translation);
    ASSERT_EQ(startConsumer(), OrvOk);
    CmEvent event(5000999, 0x80000007);
    event.operation("Port=1", objectCreated, {stringAttribute("x", "1")});
    event.operation("Port=2", attributeChanged,
                    {int32Attribute("a", 1), int32Attribute("b", 2), int32Attribute("c", 3)});
    event.operation("Port=3", objectDeleted);
    framework.router().publish(event);

    EXPECT_THAT(collect(&Pushed::dn),
                ElementsAre("External=1,Port=1", "External=1,Port=2", "External=1,Port=2", "External=1,Port=3"));
    EXPECT_THAT(collect(&Pushed::type), ElementsAre(objectCreated, attributeChanged, attributeChanged, objectDeleted));
    EXPECT_THAT(collect(&Pushed::sequenceNumber), ElementsAre(1u, 2u, 3u, 4u));
    EXPECT_THAT(collect(&Pushed::eventTime), Each(5000));
    EXPECT_THAT(collect(&Pushed::txHandle), Each(0x80000007u));
    EXPECT_THAT(messages(lines()), IsEmpty());

    // The list of a change is the tail of the event's own array.
    ASSERT_EQ(pushed.size(), 4u);
    ZelOamSpiCmEvent_TxOperation_1T** const operations = event.get().txOperations;
    EXPECT_EQ(pushed[0].attributes, operations[0]->attributes);
    EXPECT_EQ(pushed[1].attributes, &operations[1]->attributes[0]);
    EXPECT_EQ(pushed[2].attributes, &operations[1]->attributes[2]);
    EXPECT_EQ(pushed[3].attributes, operations[2]->attributes);
    EXPECT_THAT(pushed[1].names, ElementsAre("a", "b", "c"));
    EXPECT_THAT(pushed[2].names, ElementsAre("c"));
}

TEST_F(NbiNotificationServiceEventConsumer, GoesOnWithItsNumbersAtTheNextEvent)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    CmEvent event(1000, 7);
    event.operation("Port=1", objectCreated);
    framework.router().publish(event);
    framework.router().publish(event);
    EXPECT_THAT(collect(&Pushed::sequenceNumber), ElementsAre(1u, 2u));
}

TEST_F(NbiNotificationServiceEventConsumer, GivesTheLowThirtyTwoBitsOfItsCounter)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    consumer()._sequenceNumber = 0xffffffff;
    CmEvent event(1000, 7);
    event.operation("Port=1", objectCreated);
    event.operation("Port=2", objectCreated);
    framework.router().publish(event);
    EXPECT_THAT(collect(&Pushed::sequenceNumber), ElementsAre(0xffffffffu, 0u));
    EXPECT_EQ(consumer()._sequenceNumber, 0x100000001u);
}

TEST_F(NbiNotificationServiceEventConsumer, CutsNanosecondsToWholeMicroseconds)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    CmEvent event(1999, 7);
    event.operation("Port=1", objectCreated);
    framework.router().publish(event);
    EXPECT_THAT(collect(&Pushed::eventTime), ElementsAre(1));
}

TEST_F(NbiNotificationServiceEventConsumer, DividesATimeAboveTheSignedRangeAsUnsigned)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    CmEvent event(0xffffffffffffffff, 7);
    event.operation("Port=1", objectCreated);
    framework.router().publish(event);
    EXPECT_THAT(collect(&Pushed::eventTime), ElementsAre(18446744073709551));
}

TEST_F(NbiNotificationServiceEventConsumer, SkipsAnOperationWhoseDnHasNoExternalFormWithoutUsingANumber)
{
    Orv::MeIdTranslator::instance().setTranslation(translation);
    ASSERT_EQ(startConsumer(), OrvOk);
    CmEvent event(1000, 7);
    event.operation("Hidden=1", objectCreated);
    event.operation("Port=1", objectCreated);
    framework.router().publish(event);
    EXPECT_THAT(collect(&Pushed::dn), ElementsAre("External=1,Port=1"));
    EXPECT_THAT(collect(&Pushed::sequenceNumber), ElementsAre(1u));
    EXPECT_TRUE(logged(lines(), 3, "Incorrect Event received. The DN is null."));
    EXPECT_EQ(messages(lines()).size(), 1u);
}

TEST_F(NbiNotificationServiceEventConsumer, SkipsAChangeWithoutAttributesAndGoesOn)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    CmEvent event(1000, 7, -42);
    event.operation("Port=1", attributeChanged);
    event.operation("Port=2", objectDeleted);
    framework.router().publish(event);
    EXPECT_THAT(collect(&Pushed::dn), ElementsAre("Port=2"));
    EXPECT_THAT(collect(&Pushed::sequenceNumber), ElementsAre(1u));
    EXPECT_TRUE(logged(lines(), 3,
                       "Incorrect Event received from event source -42. Event type is AVC (3) but the attribute list "
                       "is NULL. Ignoring this AVC."));
    EXPECT_EQ(messages(lines()).size(), 1u);
}

TEST_F(NbiNotificationServiceEventConsumer, MakesNothingOfAChangeOfAttributesThatAreNotNotifiable)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    CmEvent event(1000, 7);
    event.operation("Port=1", attributeChanged, {int32Attribute("b", 2)});
    framework.router().publish(event);
    EXPECT_THAT(pushed, IsEmpty());
    EXPECT_EQ(consumer()._sequenceNumber, 1u);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NbiNotificationServiceEventConsumer, TakesTypeFourLikeACreation)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    CmEvent event(1000, 7);
    event.operation("Port=1", overflowNotification, {int32Attribute("b", 2)});
    framework.router().publish(event);
    EXPECT_THAT(collect(&Pushed::type), ElementsAre(4));
    EXPECT_THAT(pushed.at(0).names, ElementsAre("b"));
}

class NbiNotificationServiceEventConsumerUnknownType : public NbiNotificationServiceEventConsumer,
                                                       public testing::WithParamInterface<int32_t>
{
};

TEST_P(NbiNotificationServiceEventConsumerUnknownType, LosesTheRestOfTheEventAndUsesUpANumber)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    CmEvent event(1000, 7);
    event.operation("Port=1", objectCreated);
    event.operation("Port=2", GetParam());
    event.operation("Port=3", objectDeleted);
    framework.router().publish(event);
    EXPECT_THAT(collect(&Pushed::dn), ElementsAre("Port=1")) << "what was pushed stands";
    EXPECT_TRUE(logged(lines(), 3, "Caught unhandled exception"));
    EXPECT_EQ(messages(lines()).size(), 1u) << "the frame hears of nothing";
    EXPECT_EQ(consumer()._sequenceNumber, 3u);

    CmEvent next(1000, 8);
    next.operation("Port=4", objectCreated);
    framework.router().publish(next);
    EXPECT_THAT(collect(&Pushed::sequenceNumber), ElementsAre(1u, 3u));
}

INSTANTIATE_TEST_SUITE_P(Types, NbiNotificationServiceEventConsumerUnknownType, testing::Values(5, 9, 0, -1, 259));

TEST_F(NbiNotificationServiceEventConsumer, ThrowsATextOfItsOwnForAnUnknownType)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    CmEvent event(1000, 7);
    event.operation("Port=1", 5);
    std::string text;
    try
    {
        consumer().translate(event.get(), *event.get().txOperations[0]);
    }
    catch (const Orv::OrvException& exception)
    {
        text = exception.what();
    }
    EXPECT_EQ(text, "Invalid Nbi Notification Type");
}

TEST_F(NbiNotificationServiceEventConsumer, IgnoresTheResultOfAPush)
{
    pushAnswer = OrvFailure;
    ASSERT_EQ(startConsumer(), OrvOk);
    CmEvent event(1000, 7);
    event.operation("Port=1", objectCreated);
    event.operation("Port=2", objectCreated);
    framework.router().publish(event);
    EXPECT_EQ(pushed.size(), 2u);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NbiNotificationServiceEventConsumer, TracesWhatItReceivedWithTheUnscaledTime)
{
    Orv::MeIdTranslator::instance().setTranslation(translation);
    ASSERT_EQ(startConsumer(), OrvOk);
    framework.setLevel(8);
    CmEvent event(5000999, 7);
    event.operation("Port=1", objectCreated);
    framework.router().publish(event);
    EXPECT_TRUE(traced(lines(), 0,
                       "Received event with notification: eventTime: 5000999, dn: External=1,Port=1, txHandle: 7, "
                       "notificationType: 1"));
}

TEST_F(NbiNotificationServiceEventConsumer, TracesTheStepsOfAChangeInTheirOrder)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    framework.setLevel(8);
    CmEvent event(5000, 7);
    event.operation("Port=2", attributeChanged, {int32Attribute("a", 1), int32Attribute("b", 2)});
    consumer().notify(event.get());
    EXPECT_THAT(tracesOf(lines()),
                ElementsAre("notify: >> ",
                            "translate:Received event with notification: eventTime: 5000, dn: Port=2, txHandle: 7, "
                            "notificationType: 3",
                            "isAttrNotifiable:txOperation.dn = Port=2",
                            "isAttrNotifiable:attribute \"a\" of moc \"Port\" is notifiable",
                            "isAttrNotifiable:txOperation.dn = Port=2",
                            "isAttrNotifiable:attribute \"b\" of moc \"Port\" is NOT notifiable", "notify: << "));
}

TEST_F(NbiNotificationServiceEventConsumer, HoldsItsMutexAcrossAPushAndTheModelsAnswers)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    bool freeDuringPush = true;
    bool freeDuringModel = true;
    whenPushed = [&] { freeDuringPush = consumer()._mutex.tryLock(); };
    framework.plan().whenCalled("getMocFromDn", [&] { freeDuringModel = consumer()._mutex.tryLock(); });
    CmEvent event(1000, 7);
    event.operation("Port=1", attributeChanged, {int32Attribute("a", 1)});
    framework.router().publish(event);
    EXPECT_FALSE(freeDuringPush);
    EXPECT_FALSE(freeDuringModel);
    EXPECT_TRUE(consumer()._mutex.tryLock()) << "given back";
    consumer()._mutex.unlock();
}

TEST_F(NbiNotificationServiceEventConsumer, WaitsForAnEventInProgressWhenItStops)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    std::promise<void> inside;
    std::promise<void> goOn;
    whenPushed = [&]
    {
        inside.set_value();
        goOn.get_future().wait();
        whenPushed = nullptr;
    };
    const auto event = std::make_shared<CmEvent>(1000, 7);
    event->operation("Port=1", objectCreated).operation("Port=2", objectCreated);
    framework.router().post(event);
    inside.get_future().wait();
    std::promise<void> comesToWait;
    std::future<OrvReturnT> stopped;
    {
        const LockNotice notice(consumer()._mutex, [&] { comesToWait.set_value(); });
        stopped = std::async(std::launch::async, [&] { return consumer().stop(ZelStateChangeDeactivate); });
        comesToWait.get_future().wait();
    }
    EXPECT_EQ(stopped.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    goOn.set_value();
    EXPECT_EQ(stopped.get(), OrvOk);
    EXPECT_THAT(collect(&Pushed::dn), ElementsAre("Port=1", "Port=2")) << "the batch was made whole";
}

TEST_F(NbiNotificationServiceEventConsumer, FrameLogsAFailureOfItsMutexDuringAnEvent)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    CmEvent event(1000, 7);
    event.operation("Port=1", objectCreated);
    {
        const MutexFault fault(consumer()._mutex, MutexFault::lockFails);
        framework.router().publish(event);
    }
    EXPECT_THAT(pushed, IsEmpty());
    EXPECT_TRUE(logged(lines(), 4, "Exception thrown from event consumer :System exception"));
    EXPECT_EQ(messages(lines()).size(), 1u);
}

class NbiNotificationServiceEventConsumerBrokenMutex : public NbiNotificationServiceEventConsumer,
                                                       public testing::WithParamInterface<MutexFault::Operation>
{
protected:
    template <typename Action>
    std::string failure(Action action)
    {
        const MutexFault fault(consumer()._mutex, GetParam());
        try
        {
            action();
        }
        catch (const Poco::SystemException& exception)
        {
            return exception.message();
        }
        return "none";
    }
};

TEST_P(NbiNotificationServiceEventConsumerBrokenMutex, ComesOutOfAllThreeOperations)
{
    const bool locking = GetParam() == MutexFault::lockFails;
    const std::string text = locking ? "cannot lock mutex" : "cannot unlock mutex";
    EXPECT_EQ(failure([&] { startConsumer(); }), text);
    EXPECT_EQ(consumer()._started, !locking);
    CmEvent event(1000, 7);
    event.operation("Port=1", objectCreated);
    EXPECT_EQ(failure([&] { consumer().notify(event.get()); }), text);
    EXPECT_EQ(pushed.size(), locking ? 0u : 1u);
    EXPECT_EQ(failure([&] { consumer().stop(ZelStateChangeDeactivate); }), text);
    EXPECT_FALSE(consumer()._started);
}

INSTANTIATE_TEST_SUITE_P(Operations, NbiNotificationServiceEventConsumerBrokenMutex,
                         testing::Values(MutexFault::lockFails, MutexFault::unlockFails));

class NbiNotificationServiceEventConsumerDeathTest : public NbiNotificationServiceEventConsumer
{
protected:
    NbiNotificationServiceEventConsumerDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(NbiNotificationServiceEventConsumerDeathTest, ASecondConsumerEndsTheProcess)
{
    EXPECT_DEATH(OrvNbiNotificationService::NbiNotificationServiceEventConsumer(),
                 "Assertion `_instance == __null' failed");
}

}  // namespace
