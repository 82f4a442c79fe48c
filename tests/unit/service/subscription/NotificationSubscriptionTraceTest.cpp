// The traces, their order and their kinds.
#include <cstring>

#include "DeliveryToken.h"
#include "LogCheck.h"
#include "SubscriptionTest.h"
#include "Trace.h"

using namespace OrvTest;

typedef SubscriptionTest NotificationSubscriptionTrace;
typedef std::vector<std::string> Texts;
typedef OrvOamSpiNbiNotificationValue_1 Record;

namespace
{

const Texts START = {
    "NotificationSubscription", "init", "replay", "notify", "enqueue", "appendDerived", "checkQueue", "setupTimer",
    "sendNotificationComplete"};
const Texts NOTIFY = {"notify", "enqueue", "appendDerived", "checkQueue"};

std::string number(int64_t value)
{
    return std::to_string(value);
}

Texts concatenated(const std::vector<Texts>& parts)
{
    Texts all;
    for (const Texts& part : parts)
    {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

// Of a control record that is queued.
Texts acceptedControlRecord(int type)
{
    return {" >> notify, notification type is " + number(type) + " : ",
            "Received notification to valid subscription " + number(type),
            "Calling match function",
            "Filter match occurred. Pushing in notification queue",
            "in notify , Pushing notification (null)",
            " >> ",
            " << ",
            " << "};
}

}  // namespace

TEST_F(NotificationSubscriptionTrace, AStartWithEverythingTellsItsSteps)
{
    store(CREATED + SECOND, "A=1");
    framework.setLevel(8);
    Request request = replayFrom(CREATED - 1);
    request.stopTime = NOW - 1;
    request.heartbeatSupported = true;
    request.heartbeatInterval = 3600;
    subscribe(request);
    EXPECT_EQ(
        tracesHere(START),
        concatenated(
            {{" >> ", "startTime (" + number(CREATED - 1) + ") is and current time is (" + number(NOW) + ")",
              " >> doReplay 1 bufferSize: 1",
              "startTime (" + number(CREATED - 1) + ") is earlier than aged-/creationTime(" + number(CREATED) + ")"},
             acceptedControlRecord(replayGap),
             {"Pushing replayComplete notification", " >> ", " << ", " >> ", " >> "},
             acceptedControlRecord(notificationComplete),
             {" << ", " << ", "Heartbeat supported with value 3600", " << ", " << "}}));
}

TEST_F(NotificationSubscriptionTrace, AStartWithNothingTellsThatThereIsNoBufferAndNoFilter)
{
    framework.setLevel(8);
    Request request;
    request.withFilter = false;
    request.withBuffer = false;
    subscribe(request);
    EXPECT_EQ(tracesHere(START),
              Texts({" >> ", "Empty Filters received", "startTime (0) is and current time is (" + number(NOW) + ")",
                     " >> doReplay 0 bufferSize: -1", " >> ", " << ", " >> ", " << ", " << ", " << "}));
}

TEST_F(NotificationSubscriptionTrace, ARefusedRecord)
{
    filter.match = [](const Record&) { return false; };
    subscribe();
    framework.setLevel(8);
    notify(NOW, "A=1", objectDeleted);
    EXPECT_EQ(tracesHere(NOTIFY),
              Texts({" >> notify, notification type is 2 : ", "Received notification to valid subscription 2",
                     "Calling match function", " >> ", " << ", " << "}));
}

TEST_F(NotificationSubscriptionTrace, AnExpiredRecord)
{
    subscribe(until(NOW + HOUR));
    framework.setLevel(8);
    notify(NOW + HOUR + 1, "A=1");
    EXPECT_EQ(tracesHere(NOTIFY), Texts({" >> notify, notification type is 1 : ",
                                         "Received notification to expired subscription, ignoring", " << "}));
}

TEST_F(NotificationSubscriptionTrace, ARecordForANullFilterHasNoExit)
{
    Request request;
    request.withFilter = false;
    subscribe(request);
    framework.setLevel(8);
    notify(NOW, "A=1");
    EXPECT_EQ(tracesHere(NOTIFY),
              Texts({" >> notify, notification type is 1 : ", "Received notification to valid subscription 1",
                     "In notify(), _filters in empty "}));
}

TEST_F(NotificationSubscriptionTrace, AWantedRecordAndOneWithDerivedRecords)
{
    subscribe();
    const TokenHold token(*subscription);
    framework.setLevel(8);
    notify(NOW, "A=1");
    filter.deletes = [](const Record&, std::vector<Record*>& derived)
    {
        derived.push_back(derivedRecord(NOW, "D=1", objectDeleted));
        derived.push_back(derivedRecord(NOW, "D=2", objectDeleted));
    };
    filter.select = [](const Record&, Record* selected)
    {
        selected->dn = strdup("S=1");
        return true;
    };
    notify(NOW, "B=1", attributeChanged);
    EXPECT_EQ(tracesHere(NOTIFY),
              Texts({" >> notify, notification type is 1 : ", "Received notification to valid subscription 1",
                     "Calling match function", "Filter match occurred. Pushing in notification queue",
                     "in notify , Pushing notification A=1", " >> ", " << ", " << ",
                     " >> notify, notification type is 3 : ", "Received notification to valid subscription 3",
                     "Calling match function", "Filter match occurred. Pushing in notification queue",
                     "in notify , Pushing delete notification ", "in notify , Pushing delete notification ",
                     "in notify , Pushing Attr Selection notification S=1", " >> ", " << ", " << "}));
}

TEST_F(NotificationSubscriptionTrace, AHeartbeat)
{
    subscribe();
    framework.setLevel(8);
    subscription->onHeartbeatTimer(subscription->_heartbeatTimer);
    EXPECT_EQ(
        tracesHere({"onHeartbeatTimer", "notify", "enqueue", "appendDerived", "checkQueue"}),
        concatenated({{"----------------HEARTBEAT--------------"}, acceptedControlRecord(heartbeatNotification)}));
}

TEST_F(NotificationSubscriptionTrace, AStop)
{
    subscribe();
    framework.setLevel(8);
    subscription->stop();
    EXPECT_EQ(tracesHere({"stop"}),
              Texts({" >> ", "Waiting for notify thread to finish.", "Threads to finished.", " << "}));
}

TEST_F(NotificationSubscriptionTrace, ARunWithASubscriberHasAnEmptyTextAtItsEntry)
{
    subscribe();
    framework.setLevel(8);
    notify(NOW, "A=1");
    waitUntilIdle();
    pool().joinAll();
    EXPECT_EQ(tracesElsewhere({"processQueueImpl", "callHandler", "actOnAnswer"}), Texts({" >> ", " << "}));
}

TEST_F(NotificationSubscriptionTrace, TheStarterTellsThatNoThreadIsLeftBeforeTheErrors)
{
    subscribe();
    {
        const TokenHold token(*subscription);
        notify(NOW, "A=1");
    }
    {
        const NarrowPool none(0);
        framework.setLevel(8);
        EXPECT_THROW(subscription->checkQueue(), Poco::NoThreadAvailableException);
        framework.setLevel(6);
    }
    EXPECT_TRUE(traced(framework.lines(), 0, "Assigning a thread to active method. Available before assignment: 0"));
    OrvNbiNotificationService::giveToken(subscription->_processMutex);
    deliverAll();
}

TEST_F(NotificationSubscriptionTrace, EachTraceHasItsKindAndIsRepeatedForTheSubsystemAtLevel14)
{
    store(CREATED + SECOND, "A=1");
    framework.setLevel(8);
    Request request = replayFrom(CREATED - 1);
    request.stopTime = NOW + HOUR;
    subscribe(request);
    notify(NOW, "B=1");
    subscription->onHeartbeatTimer(subscription->_heartbeatTimer);
    deliverAll();
    subscription->stop();
    pool().joinAll();
    framework.setLevel(6);

    std::map<std::thread::id, std::vector<LogLine>> threads;
    for (const LogLine& line : framework.lines())
    {
        threads[line.thread].push_back(line);
    }
    EXPECT_GE(threads.size(), 2u);
    for (const auto& thread : threads)
    {
        const std::vector<LogLine>& lines = thread.second;
        ASSERT_EQ(lines.size() % 2, 0u) << describe(lines);
        for (size_t i = 0; i < lines.size(); i += 2)
        {
            const bool entry = lines[i].text.rfind(" >> ", 0) == 0;
            const bool exit = lines[i].text.rfind(" << ", 0) == 0;
            EXPECT_EQ(lines[i].source, LogLine::trace);
            EXPECT_EQ(lines[i].level, entry ? 9 : exit ? 10 : 0) << describe(lines[i]);
            EXPECT_EQ(lines[i + 1].source, LogLine::traceV2);
            EXPECT_EQ(lines[i + 1].level, 14);
            EXPECT_EQ(lines[i + 1].subsystem, Orv::Trace::Notif);
            EXPECT_EQ(lines[i + 1].text, lines[i].text);
        }
    }
}

TEST_F(NotificationSubscriptionTrace, BelowLevel8NothingIsTraced)
{
    framework.setLevel(7);
    store(CREATED + SECOND, "A=1");
    subscribe(replayFrom(CREATED - 1));
    notify(NOW, "B=1");
    deliverAll();
    subscription->stop();
    EXPECT_EQ(describe(framework.lines()), describe(std::vector<LogLine>()));
}
