// The service thread's loop and its messages.
#include "NotificationServiceRunnable.h"

#include <Poco/ErrorHandler.h>
#include <Poco/Exception.h>

#include <algorithm>
#include <cstring>

#include "LegacySubscriptionFilter.h"
#include "MutexFault.h"
#include "NbiNotification.h"
#include "NbiNotificationServiceStateChange.h"
#include "NotificationSubscription.h"
#include "SelectScript.h"
#include "ShellTest.h"

using namespace OrvTest;
using OrvNbiNotificationService::NbiNotification;
using OrvNbiNotificationService::NbiNotificationServiceStateChange;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

const char UNSUBSCRIBE_CLOCK[] = "removeSubscription:ZelClockChangeEventType_1";

// A message that tells of its end.
class Probe : public Orv::PipeMessage
{
public:
    Probe(int type, unsigned int& deleted) : PipeMessage(static_cast<Orv::MessageTypeT>(type)), _deleted(deleted) {}
    ~Probe() override { ++_deleted; }

private:
    unsigned int& _deleted;
};

Orv::PipeMessage* notificationMessage(int64_t eventTime, const std::string& dn)
{
    const Notification notification = makeNotification(eventTime, dn, objectCreated);
    return new NbiNotification(&*notification);
}

Orv::PipeMessage* stateChange(int reason)
{
    return new NbiNotificationServiceStateChange(static_cast<OrvStateChangeReason>(reason));
}

// Keeps the text of the exception that ended a thread.
class LastException : public Poco::ErrorHandler
{
public:
    LastException() : _before(Poco::ErrorHandler::set(this)) {}
    ~LastException() override { Poco::ErrorHandler::set(_before); }
    void exception(const Poco::Exception& exc) override { text = exc.displayText(); }
    std::string text;

private:
    Poco::ErrorHandler* _before;
};

class NotificationServiceRunnable : public ShellTest
{
protected:
    OrvNbiNotificationService::NotificationServiceRunnable& runnable() { return component().runnable; }

    // The messages, all there before the thread looks: one batch.
    void pushBatch(const std::vector<Orv::PipeMessage*>& messages)
    {
        for (Orv::PipeMessage* const message : messages)
        {
            component().notifyThread.pushToInput(message);
        }
    }
    // A run of the thread alone, without the component's start, which would look whether the thread still runs. The
    // batch waits in the pipe beforehand and ends with the run.
    void runWithBatch(const std::vector<Orv::PipeMessage*>& messages)
    {
        pushBatch(messages);
        component().notifyThread.start(runnable());
        component().notifyThread.join();
    }
};

TEST_F(NotificationServiceRunnable, StoresItsArgumentAsItStandsAndDoesNotRun)
{
    OrvNbiNotificationService::NotificationServiceRunnable small(3);
    EXPECT_EQ(small._bufferSize, 3u);
    EXPECT_FALSE(small._running);
    EXPECT_THAT(small._subscriptions, IsEmpty());
    EXPECT_EQ(small.getNotificationBuffer().getMaxBufferSize(), 10u) << "the buffer applies its own minimum";
}

TEST_F(NotificationServiceRunnable, ListensForClockChangesWhileItRuns)
{
    startService();
    EXPECT_EQ(framework.router().subscriptionsOf(CLOCK_EVENT_TYPE).size(), 1u);
    ASSERT_EQ(stop(), OrvOk);
    EXPECT_THAT(framework.router().subscriptions(), IsEmpty());
    EXPECT_EQ(framework.router().consumers(), 0u);
}

TEST_F(NotificationServiceRunnable, AsksSelectForItsOneDescriptorAndOneSecond)
{
    ASSERT_EQ(init(), OrvOk);
    SelectScript script({{0, 0}, {0, 0}});
    ASSERT_EQ(start(), OrvOk);
    ASSERT_TRUE(script.waitForCalls(3));
    const int descriptor = component().notifyThread.getInputReadFD();
    for (const SelectScript::Call& call : script.calls())
    {
        EXPECT_EQ(call.count, descriptor + 1);
        EXPECT_TRUE(call.readSetHoldsOnlyTheLast);
        EXPECT_FALSE(call.otherSets);
        EXPECT_EQ(call.seconds, 1);
        EXPECT_EQ(call.microseconds, 0);
    }
    ASSERT_EQ(stop(), OrvOk);
}

TEST_F(NotificationServiceRunnable, SaysNothingWhenSelectTimesOut)
{
    startService();
    framework.setLevel(8);
    waitForServiceThread();
    framework.log().clear();
    {
        SelectScript script({{0, 0}, {0, 0}, {0, 0}});
        component().notifyThread.pushToInput(stateChange(ZelStateChangeActivate));
        ASSERT_TRUE(script.waitForCalls(3));
    }
    waitForServiceThread();
    size_t retrieved = 0;
    for (const LogLine& line : lines())
    {
        if (line.source == LogLine::trace && line.function == "run")
        {
            EXPECT_EQ(line.text, "Retrieving messages, 1");
            ++retrieved;
        }
    }
    EXPECT_GE(retrieved, 1u);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NotificationServiceRunnable, WarnsOfASignalAndLosesNoMessage)
{
    ASSERT_EQ(init(), OrvOk);
    component().notifyThread.pushToInput(notificationMessage(1000, "A=1"));
    SelectScript script({{-1, EINTR}});
    ASSERT_EQ(start(), OrvOk);
    waitForServiceThread();
    EXPECT_TRUE(logged(lines(), 4, "Signal caught in select loop"));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_EQ(buffered(), 1u);
    ASSERT_EQ(stop(), OrvOk);
}

TEST_F(NotificationServiceRunnable, LogsEachFailureOfSelectAndGoesOnAtOnce)
{
    ASSERT_EQ(init(), OrvOk);
    component().notifyThread.pushToInput(notificationMessage(1000, "A=1"));
    SelectScript script(std::deque<SelectScript::Step>(200, {-1, EBADF}));
    ASSERT_EQ(start(), OrvOk);
    waitForServiceThread();
    EXPECT_TRUE(logged(lines(), 3, std::string("Select failed; ") + strerror(EBADF), 200));
    EXPECT_EQ(messages(lines()).size(), 200u);
    EXPECT_EQ(buffered(), 1u) << "a failure never ends the thread";
    ASSERT_EQ(stop(), OrvOk);
}

TEST_F(NotificationServiceRunnable, TracesWhetherItsDescriptorWasInTheSet)
{
    ASSERT_EQ(init(), OrvOk);
    framework.setLevel(8);
    component().notifyThread.pushToInput(notificationMessage(1000, "A=1"));
    SelectScript script({{1, 0}});
    ASSERT_EQ(start(), OrvOk);
    waitForServiceThread();
    std::vector<std::string> texts;
    for (const LogLine& line : lines())
    {
        if (line.source == LogLine::trace && line.text.rfind("Retrieving", 0) == 0)
        {
            texts.push_back(line.text);
        }
    }
    ASSERT_GE(texts.size(), 2u);
    EXPECT_EQ(texts[0], "Retrieving messages, 0");
    EXPECT_EQ(texts[1], "Retrieving messages, 1");
    EXPECT_TRUE(traced(lines(), 0, "Retrieving messages, 0"));
    EXPECT_TRUE(traced(lines(), 0, "Retrieving messages, 1"));
    EXPECT_EQ(buffered(), 1u);
    ASSERT_EQ(stop(), OrvOk);
}

TEST_F(NotificationServiceRunnable, TracesEachStateThatIsAskedFor)
{
    framework.setLevel(8);
    runnable().handleStateChange(ZelStateChangeActivate);
    runnable().handleStateChange(ZelStateChangeDeactivate);
    runnable().handleStateChange(ZelStateChangeFailover);
    runnable().handleStateChange(ZelStateChangeSwitchover);
    const char* const texts[] = {"Activating NbiNotificationServiceComponent while it is active -- ignoring.",
                                 "Deactivating NbiNotificationServiceComponent while it is active -- stopping.",
                                 "Failing over NbiNotificationServiceComponent while it is active -- stopping.",
                                 "Switching over NbiNotificationServiceComponent while it is active -- stopping."};
    for (const char* const text : texts)
    {
        EXPECT_TRUE(traced(lines(), 0, text));
    }
    EXPECT_THAT(messages(lines()), IsEmpty()) << "at trace level only";
}

TEST_F(NotificationServiceRunnable, StopsForTheReasonsTwoThreeAndFourAlone)
{
    for (const int reason : {-1, 0, 1, 5, 2, 3, 4})
    {
        runnable()._running = true;
        runnable().handleStateChange(static_cast<OrvStateChangeReason>(reason));
        EXPECT_EQ(runnable()._running, reason < 2 || reason > 4) << reason;
    }
}

TEST_F(NotificationServiceRunnable, LogsAnUnknownReasonAndGoesOn)
{
    startService();
    component().notifyThread.pushToInput(stateChange(17));
    waitForServiceThread();
    EXPECT_TRUE(logged(
        lines(), 3, "Unknown state is requested for NbiNotificationServiceComponent while it is active -- ignoring."));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_TRUE(component().notifyThread.isRunning());
}

TEST_F(NotificationServiceRunnable, GoesOnServingAfterAStopMessageOfReasonOne)
{
    startService();
    RecordingHandler handler(1);
    ASSERT_EQ(subscribe(registerHandler(), 1), OrvOk);
    framework.setLevel(8);
    component().notifyThread.pushToInput(stateChange(ZelStateChangeActivate));
    ASSERT_EQ(push(1000, "A=1"), OrvOk);
    EXPECT_TRUE(handler.waitForDn("A=1"));
    EXPECT_TRUE(traced(lines(), 0, "Activating NbiNotificationServiceComponent while it is active -- ignoring."));
}

TEST_F(NotificationServiceRunnable, HandlesABatchInOrderAndDeletesEveryMessage)
{
    unsigned int deleted = 0;
    runnable().handleMessages({new Probe(7, deleted), notificationMessage(1000, "A=1"), new Probe(22, deleted)});
    EXPECT_EQ(deleted, 2u);
    EXPECT_TRUE(logged(lines(), 3, "received unknown message", 2));
    EXPECT_EQ(messages(lines()).size(), 2u);
    EXPECT_EQ(buffered(), 1u);
}

TEST_F(NotificationServiceRunnable, TellsMessagesApartByTheirTypeAndNotByTheirClass)
{
    unsigned int deleted = 0;
    runnable().handleMessages({new Probe(6, deleted), new Probe(20, deleted), new Probe(0, deleted)});
    EXPECT_TRUE(logged(lines(), 3, "received unknown message", 3));
    EXPECT_EQ(deleted, 3u);
}

TEST_F(NotificationServiceRunnable, HandlesWhatStandsBehindAMessageOfAnUnknownType)
{
    startService();
    unsigned int deleted = 0;
    pushBatch({new Probe(7, deleted), notificationMessage(1000, "A=1")});
    waitForServiceThread();
    EXPECT_EQ(buffered(), 1u);
    EXPECT_EQ(deleted, 1u);
    EXPECT_TRUE(logged(lines(), 3, "received unknown message"));
}

TEST_F(NotificationServiceRunnable, StoresWhatStandsBehindAStopAndEmptiesTheBufferAtTheEnd)
{
    framework.setLevel(8);
    unsigned int bufferedBehindTheStop = 0;
    framework.log().whenLine(LogLine::log, "received unknown message", [&] { bufferedBehindTheStop = buffered(); });
    unsigned int deleted = 0;
    runWithBatch({stateChange(ZelStateChangeDeactivate), notificationMessage(1000, "A=1"), new Probe(7, deleted)});
    EXPECT_EQ(bufferedBehindTheStop, 1u);
    EXPECT_EQ(deleted, 1u) << "the whole batch was handled";
    EXPECT_EQ(buffered(), 0u);
    EXPECT_THAT(traces(lines()), testing::Not(Contains(testing::StartsWith("Sending notification"))));
}

TEST_F(NotificationServiceRunnable, OffersToNoSubscriptionWhatStandsBehindAStop)
{
    RecordingHandler handler(1);
    ASSERT_EQ(runnable().addSubscription(1, RecordingHandler::handlerRecord(),
                                         new OrvNbiNotificationService::LegacySubscriptionFilter(LegacyFilter().get()),
                                         0, 0, false, 0),
              OrvOk);
    runnable().handleMessages({stateChange(ZelStateChangeDeactivate), notificationMessage(1000, "A=1")});
    EXPECT_THAT(runnable()._subscriptions, IsEmpty());
    EXPECT_EQ(buffered(), 1u) << "stored all the same";
    EXPECT_THAT(handler.received(), IsEmpty());
}

TEST_F(NotificationServiceRunnable, StopsTwiceForTwoStopMessagesInOneBatch)
{
    framework.setLevel(8);
    runWithBatch({stateChange(ZelStateChangeDeactivate), stateChange(ZelStateChangeFailover)});
    const std::vector<std::string> texts = traces(lines());
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "Waiting for all threads to finish"), 2);
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(NotificationServiceRunnable, StopsAndDeletesItsSubscriptionsInAscendingOrderUnderTheRegistryLock)
{
    startService();
    const unsigned int handlerId = registerHandler();
    for (const unsigned int handle : {3u, 1u, 2u})
    {
        ASSERT_EQ(subscribe(handlerId, handle), OrvOk);
    }
    // A run that holds the token of a subscription holds up its stop.
    RecordingHandler first(1);
    first.hold();
    ASSERT_EQ(push(1000, "A=1"), OrvOk);
    ASSERT_TRUE(first.waitUntilHeld());
    framework.setLevel(8);
    component().notifyThread.pushToInput(stateChange(ZelStateChangeDeactivate));
    ASSERT_TRUE(framework.log().waitFor(LogLine::trace, "Waiting for notify thread to finish.", 1,
                                        RecordingHandler::TIMEOUT_SECONDS));
    EXPECT_FALSE(runnable()._mutex.tryLock());
    const std::vector<std::string> texts = traces(lines());
    EXPECT_EQ(std::count(texts.begin(), texts.end(), "Waiting for notify thread to finish."), 1)
        << "the lowest handle first";
    first.release();
    component().notifyThread.join();
    EXPECT_THAT(runnable()._subscriptions, IsEmpty());
}

TEST_F(NotificationServiceRunnable, WindsThePoolDownOutsideTheRegistryLock)
{
    startService();
    framework.setLevel(8);
    bool lockFree = false;
    framework.log().whenLine(LogLine::trace, "Waiting for all threads to finish",
                             [&]
                             {
                                 lockFree = runnable()._mutex.tryLock();
                                 if (lockFree)
                                 {
                                     runnable()._mutex.unlock();
                                 }
                             });
    ASSERT_EQ(stop(), OrvOk);
    framework.log().whenLine(LogLine::trace, "", nullptr);
    EXPECT_TRUE(lockFree);
}

TEST_F(NotificationServiceRunnable, EmptiesItsBufferAndClearsTheClockFlagBeforeItsClockHandlerGoes)
{
    startService();
    ASSERT_EQ(push(3000000, "A=1"), OrvOk);
    waitForServiceThread();
    framework.router().publishClockChange(2000000000);
    ASSERT_EQ(push(2000001, "A=2"), OrvOk);
    waitForServiceThread();
    ASSERT_EQ(buffered(), 1u);
    unsigned int bufferedAtTheEnd = 99;
    bool clockChangedAtTheEnd = true;
    framework.plan().whenCalled(UNSUBSCRIBE_CLOCK,
                                [&]
                                {
                                    bufferedAtTheEnd = buffered();
                                    clockChangedAtTheEnd = runnable()._notificationBuffer._clockChanged;
                                });
    ASSERT_EQ(stop(), OrvOk);
    EXPECT_EQ(bufferedAtTheEnd, 0u);
    EXPECT_FALSE(clockChangedAtTheEnd);
    EXPECT_EQ(runnable().getNotificationBuffer().getBufferCreationTime(), 2000000) << "stays";
}

TEST_F(NotificationServiceRunnable, KeepsTheLastAgedTimeBeyondItsEnd)
{
    startService("10");
    for (int64_t time = 1001; time <= 1011; ++time)
    {
        ASSERT_EQ(push(time, "A=1"), OrvOk);
    }
    ASSERT_EQ(stop(), OrvOk);
    EXPECT_EQ(runnable().getNotificationBuffer().getLastAgedNotificationTime(), 1001);
    EXPECT_EQ(buffered(), 0u);
}

TEST_F(NotificationServiceRunnable, RunsAgainAfterACompletedStop)
{
    startService();
    ASSERT_EQ(push(1000, "A=1"), OrvOk);
    ASSERT_EQ(stop(), OrvOk);
    EXPECT_FALSE(runnable()._running);

    ASSERT_EQ(start(), OrvOk);
    ASSERT_TRUE(framework.router().waitForSubscriptions(CLOCK_EVENT_TYPE, 1, RecordingHandler::TIMEOUT_SECONDS));
    EXPECT_EQ(framework.plan().count("addSubscription:ZelClockChangeEventType_1"), 2u);
    EXPECT_EQ(buffered(), 0u);
    RecordingHandler handler(1);
    ASSERT_EQ(subscribe(registerHandler(), 1), OrvOk);
    ASSERT_EQ(push(2000, "B=1"), OrvOk);
    EXPECT_TRUE(handler.waitForDn("B=1"));
    EXPECT_EQ(buffered(), 1u);
    EXPECT_TRUE(runnable()._running);
}

TEST_F(NotificationServiceRunnable, TracesTheStepsOfARun)
{
    framework.setLevel(8);
    runWithBatch({stateChange(ZelStateChangeDeactivate)});
    std::vector<std::string> texts;
    for (const LogLine& line : lines())
    {
        if (line.source == LogLine::trace && line.thread != std::this_thread::get_id())
        {
            texts.push_back(line.function + ":" + line.text);
        }
    }
    EXPECT_THAT(
        texts,
        ElementsAre("run: >> ", "ClockChangeHandler: >> ", "start: >> ", "start: << ", "ClockChangeHandler: << ",
                    "run:Retrieving messages, 1", "handleMessages: >> ", "handleStateChange: >> ",
                    "handleStateChange:Deactivating NbiNotificationServiceComponent while it is active -- stopping.",
                    "stop: >> ", "stopAll: >> ", "stopAll:Waiting for all threads to finish",
                    "stopAll:All threads in the pool have finished executing, or,        \t\ttimed out (10 sec).",
                    "stopAll: << ", "stop: << ", "handleStateChange: << ", "handleMessages: << ", "run: << ",
                    "~ClockChangeHandler: >> ", "stop: >> ", "stop: << ", "~ClockChangeHandler: << "));
}

// A mutex that fails inside the run ends the thread.
class NotificationServiceRunnableBrokenMutex : public NotificationServiceRunnable
{
protected:
    // Pushes a record into the fault and gives the text of what ended the thread.
    template <typename Mutex>
    std::string endOfTheThread(Mutex& mutex, MutexFault::Operation operation)
    {
        startService();
        LastException last;
        const MutexFault fault(mutex, operation);
        EXPECT_EQ(push(1000, "A=1"), OrvOk);
        component().notifyThread.join();
        EXPECT_FALSE(component().notifyThread.isRunning());
        EXPECT_THAT(framework.router().subscriptionsOf(CLOCK_EVENT_TYPE), IsEmpty()) << "the clock handler is gone";
        return last.text;
    }
};

TEST_F(NotificationServiceRunnableBrokenMutex, EndsTheThreadWhenTheRegistryCannotBeLocked)
{
    EXPECT_EQ(endOfTheThread(runnable()._mutex, MutexFault::lockFails), "System exception: cannot lock mutex");
    EXPECT_EQ(buffered(), 0u);
}

TEST_F(NotificationServiceRunnableBrokenMutex, EndsTheThreadWhenTheRegistryCannotBeUnlocked)
{
    EXPECT_EQ(endOfTheThread(runnable()._mutex, MutexFault::unlockFails), "System exception: cannot unlock mutex");
}

TEST_F(NotificationServiceRunnableBrokenMutex, EndsTheThreadWhenTheBufferCannotBeLocked)
{
    EXPECT_EQ(endOfTheThread(runnable()._notificationBuffer._mutex, MutexFault::lockFails),
              "System exception: cannot lock mutex");
}

TEST_F(NotificationServiceRunnableBrokenMutex, EndsTheThreadWhenTheBufferCannotBeUnlocked)
{
    EXPECT_EQ(endOfTheThread(runnable()._notificationBuffer._mutex, MutexFault::unlockFails),
              "System exception: cannot unlock mutex");
}

TEST_F(NotificationServiceRunnableBrokenMutex, LeavesTheMessagesBehindTheFailingOneAlone)
{
    unsigned int deleted = 0;
    Probe* const behind = new Probe(7, deleted);
    {
        const MutexFault fault(runnable()._mutex, MutexFault::lockFails);
        EXPECT_THROW(runnable().handleMessages({notificationMessage(1000, "A=1"), behind}), Poco::SystemException);
    }
    EXPECT_EQ(deleted, 0u);
    EXPECT_THAT(messages(lines()), IsEmpty());
    delete behind;
}

TEST_F(NotificationServiceRunnableBrokenMutex, KeepsRunningWhenAStopCannotLockTheRegistry)
{
    runnable()._running = true;
    {
        const MutexFault fault(runnable()._mutex, MutexFault::lockFails);
        EXPECT_THROW(runnable().stop(), Poco::SystemException);
    }
    EXPECT_TRUE(runnable()._running);
}

TEST_F(NotificationServiceRunnableBrokenMutex, DoesNotWindThePoolDownWhenAStopCannotUnlockTheRegistry)
{
    framework.setLevel(8);
    const MutexFault fault(runnable()._mutex, MutexFault::unlockFails);
    EXPECT_THROW(runnable().stop(), Poco::SystemException);
    EXPECT_THAT(traces(lines()), testing::Not(Contains("Waiting for all threads to finish")));
}

}  // namespace
