// CM events of the framework on their way to a subscriber.
#include "ComponentTest.h"
#include "ExpectedLeak.h"
#include "MeIdTranslator.h"

namespace OrvTest
{
namespace
{

class CmEvents : public ComponentTest
{
protected:
    typedef std::vector<std::string> Texts;

    ~CmEvents() override { Orv::MeIdTranslator::instance().setTranslation(nullptr); }

    // A model with the class A (attributes a, b, c, of which b is not notifiable) and the class Empty.
    void startWithModel()
    {
        framework.model().addClass("A", {{"a", true}, {"b", false}, {"c", true}});
        framework.model().addClass("Empty", {});
        startService();
    }

    static Attribute attribute(const std::string& name) { return int32Attribute(name, 1); }

    // Publishes and returns when the subscriber has all that came of it; false if it has not.
    bool publish(const CmEvent& event, Subscriber& subscriber)
    {
        framework.router().publish(event);
        if (push(1, "End=1", discardedOld) != OrvOk)
        {
            return false;
        }
        return subscriber->waitForType(discardedOld, ++_ends);
    }

    // What came, without the marks of publish.
    static std::vector<Received> notifications(Subscriber& subscriber)
    {
        std::vector<Received> wanted;
        for (const Received& received : subscriber->received())
        {
            if (received.type != discardedOld)
            {
                wanted.push_back(received);
            }
        }
        return wanted;
    }

private:
    size_t _ends = 0;
};

TEST_F(CmEvents, OfAVeryLongDnComeThroughTheRouterWhole)
{
    startWithModel();
    Subscriber subscriber(table());
    const std::string dn = "A=" + std::string(70000, 'x');
    CmEvent event(1000, 1);
    event.operation(dn, objectCreated);
    ASSERT_TRUE(publish(event, subscriber));
    ASSERT_EQ(1U, notifications(subscriber).size());
    EXPECT_TRUE(dn == notifications(subscriber)[0].dn) << "too long to print";
}

TEST_F(CmEvents, AreSubscribedToWithAnExpressionForEveryDn)
{
    startService();
    const auto subscriptions = framework.router().subscriptionsOf(CM_EVENT_TYPE);
    ASSERT_EQ(1u, subscriptions.size());
    ASSERT_NE(nullptr, subscriptions[0].filter[0]);
    EXPECT_STREQ("ZelOamSpiCmEvent_FilterTypeRegExp_1", subscriptions[0].filter[0]->name);
    EXPECT_STREQ(".*$", subscriptions[0].filter[0]->value);
    EXPECT_EQ(nullptr, subscriptions[0].filter[1]);
}

TEST_F(CmEvents, GiveOneNotificationForEachObjectAndForEachNotifiableAttribute)
{
    startWithModel();
    Subscriber subscriber(table());
    CmEvent event(7999, 55);
    event.operation("A=1", objectCreated, {attribute("b")});
    event.operation("A=2", attributeChanged, {attribute("a"), attribute("b"), attribute("c")});
    event.operation("A=3", objectDeleted);
    ASSERT_TRUE(publish(event, subscriber));

    const std::vector<Received> received = notifications(subscriber);
    ASSERT_EQ(4u, received.size());
    const int32_t types[] = {1, 3, 3, 2};
    const char* const dns[] = {"A=1", "A=2", "A=2", "A=3"};
    const Texts attributes[] = {{"b"}, {"a", "b", "c"}, {"c"}, {}};
    for (size_t i = 0; i < 4; ++i)
    {
        EXPECT_EQ(types[i], received[i].type) << i;
        EXPECT_EQ(dns[i], received[i].dn) << i;
        EXPECT_EQ(attributes[i], received[i].attributes) << i;
        EXPECT_EQ(i + 1, received[i].sequenceNumber) << i;
        EXPECT_EQ(7, received[i].eventTime) << i;
        EXPECT_EQ(55u, received[i].txHandle) << i;
    }
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
}

TEST_F(CmEvents, WithoutOperationsGiveNothing)
{
    startWithModel();
    Subscriber subscriber(table());
    ASSERT_TRUE(publish(CmEvent(7000, 1), subscriber));
    EXPECT_THAT(notifications(subscriber), testing::IsEmpty());
    EXPECT_THAT(messages(framework.lines()), testing::IsEmpty());
}

TEST_F(CmEvents, OfOverflowArePassedOn)
{
    startWithModel();
    Subscriber subscriber(table());
    ASSERT_TRUE(publish(CmEvent(7000, 1).operation("A=1", overflowNotification), subscriber));
    ASSERT_EQ(1u, notifications(subscriber).size());
    EXPECT_EQ(overflowNotification, notifications(subscriber)[0].type);
    EXPECT_EQ("A=1", notifications(subscriber)[0].dn);
}

TEST_F(CmEvents, AreDividedToMicrosecondsWithoutSign)
{
    startWithModel();
    Subscriber subscriber(table());
    ASSERT_TRUE(publish(CmEvent(1999, 1).operation("A=1", objectCreated), subscriber));
    ASSERT_TRUE(publish(CmEvent(18446744073709551615u, 1).operation("A=1", objectCreated), subscriber));
    ASSERT_EQ(2u, notifications(subscriber).size());
    EXPECT_EQ(1, notifications(subscriber)[0].eventTime);
    EXPECT_EQ(18446744073709551, notifications(subscriber)[1].eventTime);
}

TEST_F(CmEvents, CarryTheExternalDn)
{
    startWithModel();
    Orv::MeIdTranslator::instance().setTranslation([](const std::string& dn) { return "Node=x," + dn; });
    Subscriber subscriber(table());
    CmEvent event(7000, 1);
    event.operation("A=1", attributeChanged, {attribute("a")});
    framework.setLevel(8);
    ASSERT_TRUE(publish(event, subscriber));
    ASSERT_EQ(1u, notifications(subscriber).size());
    EXPECT_EQ("Node=x,A=1", notifications(subscriber)[0].dn);
    EXPECT_TRUE(traced(framework.lines(), 0,
                       "Received event with notification: eventTime: 7000, dn: Node=x,A=1, txHandle: 1, "
                       "notificationType: 3"));
    EXPECT_TRUE(traced(framework.lines(), 0, "txOperation.dn = Node=x,A=1")) << "the model is asked with it as well";
    EXPECT_TRUE(traced(framework.lines(), 0, "attribute \"a\" of moc \"A\" is notifiable"));
}

TEST_F(CmEvents, ADnWithoutAnExternalFormIsReportedAndUsesNoNumber)
{
    startWithModel();
    Orv::MeIdTranslator::instance().setTranslation([](const std::string& dn)
                                                   { return dn == "A=2" ? std::string() : dn; });
    Subscriber subscriber(table());
    CmEvent event(7000, 1);
    event.operation("A=1", objectCreated).operation("A=2", objectCreated).operation("A=3", objectCreated);
    ASSERT_TRUE(publish(event, subscriber));
    const std::vector<Received> received = notifications(subscriber);
    ASSERT_EQ(2u, received.size());
    EXPECT_EQ("A=3", received[1].dn);
    EXPECT_EQ(2u, received[1].sequenceNumber);
    EXPECT_EQ(Texts{"3 Incorrect Event received. The DN is null."}, messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 3, "Incorrect Event received. The DN is null."));
}

TEST_F(CmEvents, AChangeWithoutAttributesIsReportedAndSkipped)
{
    startWithModel();
    Subscriber subscriber(table());
    CmEvent event(7000, 1, 42);
    event.operation("A=1", attributeChanged).operation("A=2", objectCreated);
    ASSERT_TRUE(publish(event, subscriber));
    ASSERT_EQ(1u, notifications(subscriber).size());
    EXPECT_EQ("A=2", notifications(subscriber)[0].dn);
    EXPECT_EQ(1u, notifications(subscriber)[0].sequenceNumber);
    const std::string text =
        "Incorrect Event received from event source 42. Event type is AVC (3) but the attribute list is NULL. "
        "Ignoring this AVC.";
    EXPECT_EQ(Texts{"3 " + text}, messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 3, text));
}

TEST_F(CmEvents, AnUnknownTypeEndsTheBatchAndUsesANumber)
{
    startWithModel();
    Subscriber subscriber(table());
    CmEvent event(7000, 1);
    event.operation("A=1", objectCreated).operation("A=2", 5).operation("A=3", objectCreated);
    ASSERT_TRUE(publish(event, subscriber));
    ASSERT_TRUE(publish(CmEvent(8000, 1).operation("A=4", objectCreated), subscriber));
    const std::vector<Received> received = notifications(subscriber);
    ASSERT_EQ(2u, received.size());
    EXPECT_EQ("A=1", received[0].dn);
    EXPECT_EQ(1u, received[0].sequenceNumber);
    EXPECT_EQ("A=4", received[1].dn);
    EXPECT_EQ(3u, received[1].sequenceNumber);
    EXPECT_EQ(Texts{"3 Caught unhandled exception"}, messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 3, "Caught unhandled exception"));
}

TEST_F(CmEvents, ARecordThatCannotBeCopiedIsLeftOutAndTheBatchGoesOn)
{
    startWithModel();
    Subscriber subscriber(table());
    CmEvent event(7000, 1);
    event.operation("A=1", objectCreated, {uncopyableAttribute("a")}).operation("A=2", objectCreated);
    const auto subscription = framework.router().subscriptionsOf(CM_EVENT_TYPE)[0];
    {
        // On this thread, where the message that is given up can be told from a leak.
        const ExpectedLeak message;
        EXPECT_EQ(OrvOk, subscription.consumer->notify(subscription.handle, CM_EVENT_TYPE, subscription.filter,
                                                       const_cast<ZelOamSpiCmEvent_Notification_1*>(&event.get())));
    }
    ASSERT_TRUE(subscriber->waitForDn("A=2"));
    ASSERT_EQ(1u, notifications(subscriber).size());
    EXPECT_EQ("A=2", notifications(subscriber)[0].dn);
    EXPECT_TRUE(logged(framework.lines(), 4,
                       "Neglecting notification due to the unsupported attribute type of the notification"));
}

TEST_F(CmEvents, AreDroppedSilentlyAfterStop)
{
    startWithModel();
    ZelOamSpiEventConsumer* const consumer = framework.router().subscriptionsOf(CM_EVENT_TYPE)[0].consumer;
    ASSERT_EQ(OrvOk, component.stop());
    framework.log().clear();
    CmEvent event(7000, 1);
    event.operation("A=1", objectCreated).operation("A=2", 5);
    EXPECT_EQ(OrvOk, framework.router().call(consumer, 1, CM_EVENT_TYPE,
                                             const_cast<ZelOamSpiCmEvent_Notification_1*>(&event.get())));
    EXPECT_THAT(framework.lines(), testing::IsEmpty());

    ASSERT_EQ(OrvOk, component.start());
    Subscriber subscriber(table());
    ASSERT_TRUE(publish(CmEvent(8000, 1).operation("A=3", objectCreated), subscriber));
    ASSERT_EQ(1u, notifications(subscriber).size());
    EXPECT_EQ(1u, notifications(subscriber)[0].sequenceNumber) << "the dropped event used no number";
}

TEST_F(CmEvents, KeepCountingAfterARestart)
{
    startWithModel();
    {
        Subscriber subscriber(table());
        ASSERT_TRUE(publish(CmEvent(7000, 1).operation("A=1", objectCreated), subscriber));
    }
    ASSERT_EQ(OrvOk, component.stop());
    ASSERT_EQ(OrvOk, component.start());
    Subscriber subscriber(table());
    framework.router().publish(CmEvent(7000, 1).operation("A=1", objectCreated));
    ASSERT_TRUE(subscriber->waitFor(1));
    EXPECT_EQ(2u, subscriber->received()[0].sequenceNumber);
}

TEST_F(CmEvents, TheCallbackAnswersOk)
{
    startWithModel();
    const auto subscription = framework.router().subscriptionsOf(CM_EVENT_TYPE)[0];
    CmEvent event(7000, 1);
    event.operation("A=2", 5);
    EXPECT_EQ(OrvOk, framework.router().call(subscription.consumer, subscription.handle, CM_EVENT_TYPE,
                                             const_cast<ZelOamSpiCmEvent_Notification_1*>(&event.get())));
}

class NotifiableAttribute : public CmEvents
{
protected:
    // Publishes a change of these attributes of this object and gives the first attribute of each notification.
    Texts notified(const std::string& dn, const std::vector<std::string>& names)
    {
        std::vector<Attribute> attributes;
        for (const std::string& name : names)
        {
            attributes.push_back(attribute(name));
        }
        Subscriber subscriber(table());
        framework.router().publish(CmEvent(7000, 1).operation(dn, attributeChanged, attributes));
        EXPECT_EQ(OrvOk, push(1, "End=1", discardedOld));
        EXPECT_TRUE(subscriber->waitForType(discardedOld));
        Texts firsts;
        for (const Received& received : notifications(subscriber))
        {
            firsts.push_back(received.attributes.front());
        }
        return firsts;
    }
};

TEST_F(NotifiableAttribute, IsAskedOfTheModelForEachAttribute)
{
    startWithModel();
    framework.setLevel(8);
    EXPECT_EQ((Texts{"c", "a"}), notified("Root=1,A=1", {"c", "b", "a"}));
    EXPECT_TRUE(traced(framework.lines(), 0, "attribute \"b\" of moc \"A\" is NOT notifiable"));
}

TEST_F(NotifiableAttribute, OfAnUnknownClassIsReported)
{
    startWithModel();
    EXPECT_EQ(Texts(), notified("B=1", {"a"}));
    EXPECT_EQ(Texts{"3 moc of mo B=1 is does not exist in the model"}, messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 3, "moc of mo B=1 is does not exist in the model"));
}

TEST_F(NotifiableAttribute, ThatTheClassDoesNotHaveIsReported)
{
    startWithModel();
    EXPECT_EQ(Texts{"a"}, notified("A=1", {"d", "a"}));
    EXPECT_EQ(Texts{"3 Attribute \"d\" does not exist in the model for moc \"A\""}, messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 3, "Attribute \"d\" does not exist in the model for moc \"A\""));
}

TEST_F(NotifiableAttribute, OfAClassWithoutAttributesIsReported)
{
    startWithModel();
    EXPECT_EQ(Texts(), notified("Empty=1", {"a"}));
    EXPECT_TRUE(logged(framework.lines(), 3, "Attribute \"a\" does not exist in the model for moc \"Empty\""));
}

class FailingModel : public NotifiableAttribute, public testing::WithParamInterface<const char*>
{
};

TEST_P(FailingModel, EndsTheBatch)
{
    startWithModel();
    framework.plan().failAlways(GetParam(), 99);
    Subscriber subscriber(table());
    CmEvent event(7000, 1);
    event.operation("A=1", objectCreated);
    event.operation("A=2", attributeChanged, {attribute("c")});
    event.operation("A=3", objectCreated);
    ASSERT_TRUE(publish(event, subscriber));
    ASSERT_EQ(1u, notifications(subscriber).size());
    EXPECT_EQ("A=1", notifications(subscriber)[0].dn);
    EXPECT_EQ(Texts{"3 Caught unhandled exception"}, messages(framework.lines()));
}

INSTANTIATE_TEST_SUITE_P(Each, FailingModel,
                         testing::Values("getMocFromDn", "getFirstAttribute", "getAttributeName", "getNextAttribute",
                                         "getAttributeNotifiable"));

TEST_F(NotifiableAttribute, WithoutAModelRepositoryEndsTheBatch)
{
    startWithModel();
    // The consumer has found it at the start; the facade's own lookup is still to come.
    framework.withdraw("OrvOamSpiModelRepository");
    EXPECT_EQ(Texts(), notified("A=1", {"a"}));
    EXPECT_EQ((Texts{"4 Interface OrvOamSpiModelRepository not found", "3 Caught unhandled exception"}),
              messages(framework.lines()));
    EXPECT_TRUE(logged(framework.lines(), 4, "Interface OrvOamSpiModelRepository not found"));
}

}  // namespace
}  // namespace OrvTest
