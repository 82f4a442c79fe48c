// Which attributes are notifiable: the event consumer's question to the model.
#include "IntakeTest.h"
#include "MeIdTranslator.h"
#include "OrvException.h"

using namespace OrvTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class IsAttrNotifiable : public IntakeTest
{
protected:
    // The answer for an attribute of a port.
    bool ask(const char* attributeName, const char* dn = "Rack=1,Port=2")
    {
        return consumer().isAttrNotifiable(dn, attributeName);
    }
};

TEST_F(IsAttrNotifiable, SaysYesForANotifiableAttribute)
{
    framework.setLevel(8);
    EXPECT_TRUE(ask("a"));
    EXPECT_THAT(tracesOf(lines()), ElementsAre("isAttrNotifiable:txOperation.dn = Rack=1,Port=2",
                                               "isAttrNotifiable:attribute \"a\" of moc \"Port\" is notifiable"));
    EXPECT_TRUE(traced(lines(), 0, "txOperation.dn = Rack=1,Port=2"));
    EXPECT_TRUE(traced(lines(), 0, "attribute \"a\" of moc \"Port\" is notifiable"));
}

TEST_F(IsAttrNotifiable, SaysNoForAnAttributeThatIsNotNotifiable)
{
    framework.setLevel(8);
    EXPECT_FALSE(ask("b"));
    EXPECT_TRUE(traced(lines(), 0, "attribute \"b\" of moc \"Port\" is NOT notifiable"));
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(IsAttrNotifiable, FindsTheLastAttributeOfAClass)
{
    EXPECT_TRUE(ask("c"));
    EXPECT_EQ(framework.plan().count("getNextAttribute"), 2u) << "it never asks for one behind the last";
    EXPECT_THAT(messages(lines()), IsEmpty());
}

TEST_F(IsAttrNotifiable, WalksFromTheStartAtEachCheckAndNoFurtherThanTheAttribute)
{
    EXPECT_TRUE(ask("a"));
    EXPECT_TRUE(ask("a"));
    EXPECT_EQ(framework.plan().count("getFirstAttribute"), 2u);
    EXPECT_EQ(framework.plan().count("getNextAttribute"), 0u);
}

TEST_F(IsAttrNotifiable, LogsAnAttributeThatTheClassDoesNotHave)
{
    EXPECT_FALSE(ask("d"));
    EXPECT_TRUE(logged(lines(), 3, "Attribute \"d\" does not exist in the model for moc \"Port\""));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_EQ(framework.plan().count("getNextAttribute"), 3u) << "the last answer was that there is no further one";
}

TEST_F(IsAttrNotifiable, ComparesNamesAsExactStrings)
{
    EXPECT_FALSE(ask("A"));
    EXPECT_FALSE(ask("a "));
    EXPECT_FALSE(ask(""));
    EXPECT_EQ(messages(lines()).size(), 3u);
}

TEST_F(IsAttrNotifiable, LogsAClassWithoutAttributes)
{
    EXPECT_FALSE(ask("a", "Bare=1"));
    EXPECT_TRUE(logged(lines(), 3, "Attribute \"a\" does not exist in the model for moc \"Bare\""));
    EXPECT_EQ(messages(lines()).size(), 1u);
    EXPECT_EQ(framework.plan().count("getNextAttribute"), 0u);
}

TEST_F(IsAttrNotifiable, LogsAClassThatTheModelDoesNotKnow)
{
    EXPECT_FALSE(ask("a", "Unknown=1"));
    EXPECT_TRUE(logged(lines(), 3, "moc of mo Unknown=1 is does not exist in the model"));
    EXPECT_EQ(messages(lines()).size(), 1u);
}

TEST_F(IsAttrNotifiable, AsksTheModelWithTheExternalDn)
{
    Orv::MeIdTranslator::instance().setTranslation([](const std::string&) { return std::string("Unknown=9"); });
    ASSERT_EQ(startConsumer(), OrvOk);
    CmEvent event(1000, 7);
    event.operation("Port=1", attributeChanged, {int32Attribute("a", 1)});
    framework.router().publish(event);
    EXPECT_TRUE(logged(lines(), 3, "moc of mo Unknown=9 is does not exist in the model"));
    EXPECT_THAT(pushed, IsEmpty());
}

// The repository's calls, each of which may fail.
class IsAttrNotifiableFailure : public IsAttrNotifiable, public testing::WithParamInterface<const char*>
{
};

TEST_P(IsAttrNotifiableFailure, LeavesAsAnExceptionAndEndsTheEvent)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    framework.setLevel(8);  // names of classes are read for traces only
    framework.plan().failAlways(GetParam(), -77);
    EXPECT_THROW(ask("c"), Orv::OrvException);
    CmEvent event(1000, 7);
    event.operation("Port=1", objectCreated);
    event.operation("Port=2", attributeChanged, {int32Attribute("c", 1)});
    event.operation("Port=3", objectDeleted);
    framework.router().publish(event);
    EXPECT_THAT(collect(&Pushed::dn), ElementsAre("Port=1"));
    EXPECT_TRUE(logged(lines(), 3, "Caught unhandled exception"));
}

INSTANTIATE_TEST_SUITE_P(Calls, IsAttrNotifiableFailure,
                         testing::Values("getMocFromDn", "getMocName", "getFirstAttribute", "getNextAttribute",
                                         "getAttributeName", "getAttributeNotifiable"));

TEST_F(IsAttrNotifiable, LogsAMissingRepositoryAndEndsTheEvent)
{
    ASSERT_EQ(startConsumer(), OrvOk);
    Orv::Portal::instance()->_modelRepository = nullptr;  // nothing was looked up before
    framework.withdraw("OrvOamSpiModelRepository");
    CmEvent event(1000, 7);
    event.operation("Port=1", attributeChanged, {int32Attribute("a", 1)});
    framework.router().publish(event);
    EXPECT_THAT(messages(lines()),
                ElementsAre("4 Interface OrvOamSpiModelRepository not found", "3 Caught unhandled exception"));
    EXPECT_THAT(pushed, IsEmpty());
}

}  // namespace
